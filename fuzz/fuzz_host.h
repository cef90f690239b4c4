// What every fuzz target shares: a context holding parameters of all six
// kinds and a host numeric and string function, and the checks a host relies
// on after any input. A check that fails aborts, which the fuzzer reports.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "quorbix.h"

namespace qxfuzz {

constexpr int32_t HostError = -100;

inline void Require(bool holds, const char *what)
{
    if (!holds) {
        std::fprintf(stderr, "invariant broken: %s\n", what);
        std::abort();
    }
}

inline double QUORBIX_CALL HostNumber(CallFrame *frame)
{
    if (frame->args[0].number < -1000)
        frame->error = HostError;
    return frame->args[0].number + static_cast<double>(std::strlen(frame->args[1].text));
}

inline char *QUORBIX_CALL HostString(CallFrame *frame)
{
    const size_t length = std::strlen(frame->args[0].text);
    if (length > 8) {
        frame->error = HostError;
        return nullptr;
    }
    char *out = static_cast<char *>(qx_malloc(length + 1));
    if (out == nullptr) {
        frame->error = ErrNoMemory;
        return nullptr;
    }
    std::memcpy(out, frame->args[0].text, length);
    frame->resultLength = static_cast<uint32_t>(length);
    return out;
}

// A context with one parameter of each kind, a host function of each kind
// and 26 registers. Lives for one input.
struct Host {
    EvalContext ctx;
    double registers[26] = {};

    Host()
    {
        Require(Quorbix_Initialize(&ctx) == 0, "initialize");
        ctx.registers = registers;
        registers[0] = 1.5;
        Quorbix_AllocNParam(&ctx, "x", 0, 2.5);
        Quorbix_AllocNParam(&ctx, "ro", AttrReadOnly | AttrIntegerView, -1);
        Quorbix_AllocSParam(&ctx, "s$", 0, "abc");
        Quorbix_AllocNDim(&ctx, 4, 0, 0, "a");
        Quorbix_AllocNDim(&ctx, 2, 3, AttrDeleteProtected, "m");
        Quorbix_AllocSDim(&ctx, 3, 0, 0, "v$");
        Quorbix_AllocSDim(&ctx, 2, 2, 0, "w$");
        Quorbix_SetParam_SD1(&ctx, "v$", 1, "val(x)");
        const NFunctionDef number{"hostn", 2, {ArgNumeric, ArgString}, HostNumber, 0};
        const SFunctionDef string{"hosts$", 1, {ArgString}, HostString, 0};
        Require(Quorbix_CreateNFunction(&ctx, &number) == 0, "register hostn");
        Require(Quorbix_CreateSFunction(&ctx, &string) == 0, "register hosts$");
    }

    ~Host()
    {
        CheckTable();
        Quorbix_Terminate(&ctx);
    }

    // Every parameter that enumeration offers is found again by name, the
    // count agrees, and each can be deleted unless protected.
    void CheckTable()
    {
        struct Walk {
            EvalContext *ctx;
            int32_t seen;
        } walk{&ctx, 0};
        const auto visit = [](const char *name, uintptr_t user) -> int32_t {
            Walk *w = reinterpret_cast<Walk *>(user);
            ParamInfo info;
            Require(Quorbix_GetParamInfo(w->ctx, name, &info) == 0, "enumerated name is found");
            Require((info.kind & 0x03F0) != 0, "enumerated name is a parameter");
            ++w->seen;
            return 1;
        };
        Require(Quorbix_EnumParamName(&ctx, visit, reinterpret_cast<uintptr_t>(&walk)) == 0, "enumeration");
        Require(Quorbix_ParamCount(&ctx, nullptr) == walk.seen, "count agrees with enumeration");
        Require(Quorbix_DeleteAllParams(&ctx) == 0, "delete all");
        uint32_t guarded = 0;
        Require(Quorbix_ParamCount(&ctx, &guarded) == static_cast<int32_t>(guarded), "only protected remain");
    }
};

inline bool IsKnownCode(int32_t rc) { return rc == 0 || rc == HostError || (rc <= -1 && rc >= -16); }

// Copies the input into a zero-terminated text.
struct Text {
    char *bytes;
    Text(const uint8_t *data, size_t size) : bytes(static_cast<char *>(std::malloc(size + 1)))
    {
        std::memcpy(bytes, data, size);
        bytes[size] = '\0';
    }
    ~Text() { std::free(bytes); }
};

} // namespace qxfuzz

// Without libFuzzer the target replays the files named on its command line,
// so the seed corpus runs as an ordinary test under any compiler.
#ifndef QUORBIX_LIBFUZZER
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
int main(int argc, char **argv)
{
    for (int k = 1; k < argc; ++k) {
        FILE *file = std::fopen(argv[k], "rb");
        if (file == nullptr) {
            std::fprintf(stderr, "cannot open %s\n", argv[k]);
            return 1;
        }
        static uint8_t buffer[1 << 20];
        const size_t size = std::fread(buffer, 1, sizeof buffer, file);
        std::fclose(file);
        LLVMFuzzerTestOneInput(buffer, size);
    }
    std::printf("replayed %d inputs\n", argc - 1);
    return 0;
}
#endif
