// Every allocating call, with its n-th allocation made to fail for each n in
// turn: the result is 0 or ErrNoMemory, the table stays valid, and nothing
// leaks.
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "core/symbol_table.h"
#include "support/alloc_hooks.h"
#include "support/table_check.h"
#include "support/test_context.h"

namespace {

constexpr ArgKind StringArg[] = {ArgString};

char *QUORBIX_CALL Echo(CallFrame *frame)
{
    const size_t length = std::strlen(frame->args[0].text);
    char *out = static_cast<char *>(qx_malloc(length + 1));
    if (out == nullptr) {
        frame->error = ErrNoMemory;
        return nullptr;
    }
    std::memcpy(out, frame->args[0].text, length);
    frame->resultLength = static_cast<uint32_t>(length);
    return out;
}

double QUORBIX_CALL Zero(CallFrame *) { return 0; }

void Populate(EvalContext *ctx)
{
    Quorbix_AllocNParam(ctx, "x", 0, 1.5);
    Quorbix_AllocSParam(ctx, "s$", 0, "abc");
    Quorbix_AllocNDim(ctx, 3, 0, 0, "a");
    Quorbix_AllocNDim(ctx, 2, 2, AttrReadOnly, "m");
    Quorbix_AllocSDim(ctx, 3, 0, 0, "v$");
    Quorbix_AllocSDim(ctx, 2, 2, AttrDeleteProtected, "w$");
    for (const char *name : {"b1", "b2", "b3", "b4", "b5", "b6", "b7", "b8", "b9"})
        Quorbix_AllocNParam(ctx, name, 0, 2); // a bucket searched by halving
    const SFunctionDef echo{"echo$", 1, {ArgString}, Echo, 0};
    Quorbix_CreateSFunction(ctx, &echo);
}

int SavedFile(EvalContext *ctx)
{
    FILE *file = std::tmpfile();
    const int fd = dup(fileno(file));
    std::fclose(file);
    EXPECT_EQ(Quorbix_SaveParam(ctx, fd), 0);
    return fd;
}

struct Scenario {
    const char *name;
    std::function<int32_t(EvalContext *ctx, EvalContext *other)> run;
};

const Scenario scenarios[] = {
    {"create NS", [](EvalContext *c, EvalContext *) { return Quorbix_AllocNParam(c, "nn", 0, 1); }},
    {"create SS", [](EvalContext *c, EvalContext *) { return Quorbix_AllocSParam(c, "nn$", 0, "text"); }},
    {"create ND1", [](EvalContext *c, EvalContext *) { return Quorbix_AllocNDim(c, 4, 0, 0, "b0"); }},
    {"create ND2", [](EvalContext *c, EvalContext *) { return Quorbix_AllocNDim(c, 2, 3, 0, "nd"); }},
    {"create SD1", [](EvalContext *c, EvalContext *) { return Quorbix_AllocSDim(c, 3, 0, 0, "sd$"); }},
    {"create SD2", [](EvalContext *c, EvalContext *) { return Quorbix_AllocSDim(c, 2, 2, 0, "se$"); }},
    {"string expression",
     [](EvalContext *c, EvalContext *) {
         c->text = "left$(s$, 2) + echo$(s$ + v$(1)) + str$(x) + cr$";
         const int32_t rc = Quorbix_AddStr(c);
         EXPECT_TRUE(rc == 0 || c->stringResult == nullptr);
         Quorbix_FreeOut(c);
         return rc;
     }},
    {"string arguments",
     [](EvalContext *c, EvalContext *) {
         c->text = "len(s$ + \"x\") + strcmp(echo$(s$), v$(1)) + val(str$(x))";
         return Quorbix(c);
     }},
    {"statement creating a string",
     [](EvalContext *c, EvalContext *) {
         c->text = "bz$ = s$ + \"x\"";
         return Quorbix_Substitution(c, nullptr);
     }},
    {"statement creating a number",
     [](EvalContext *c, EvalContext *) {
         c->text = "b0 = b9 + 1";
         return Quorbix_Substitution(c, nullptr);
     }},
    {"statement on an element",
     [](EvalContext *c, EvalContext *) {
         c->text = "v$(1) = s$ + s$";
         return Quorbix_Substitution(c, nullptr);
     }},
    {"setters",
     [](EvalContext *c, EvalContext *) {
         if (int32_t rc = Quorbix_SetParam_SS(c, "s$", "a longer text"))
             return rc;
         if (int32_t rc = Quorbix_SetParam_SD1(c, "v$", 2, "element"))
             return rc;
         return Quorbix_SetParam_SD2(c, "w$", 1, 1, "corner");
     }},
    {"registration",
     [](EvalContext *c, EvalContext *) {
         const NFunctionDef f{"bf", 0, {}, Zero, 0};
         const SConstantDef k{"bk$", "constant"};
         if (int32_t rc = Quorbix_CreateNFunction(c, &f))
             return rc;
         return Quorbix_CreateSConstant(c, &k);
     }},
    {"delete", [](EvalContext *c, EvalContext *) { return Quorbix_DeleteParam(c, "b5"); }},
    {"delete all", [](EvalContext *c, EvalContext *) { return Quorbix_DeleteAllParams(c); }},
    {"load replacing",
     [](EvalContext *c, EvalContext *other) {
         const int fd = SavedFile(other);
         lseek(fd, 0, SEEK_SET);
         const int32_t rc = Quorbix_LoadParam(c, fd, 0);
         close(fd);
         return rc;
     }},
    {"copy", [](EvalContext *c, EvalContext *other) { return Quorbix_CopyParam(c, other, "v$", 0); }},
    {"duplicate", [](EvalContext *c, EvalContext *) { return Quorbix_DuplicateParam(c, "v$", "s$", 0); }},
};

TEST(AllocationFailure, EveryCallFailsCleanly)
{
    for (const Scenario &scenario : scenarios) {
        for (size_t n = 1;; ++n) {
            SCOPED_TRACE(std::string(scenario.name) + ", allocation " + std::to_string(n));
            const long before = qxtest::LiveBlocks();
            EvalContext ctx, other;
            ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
            ASSERT_EQ(Quorbix_Initialize(&other), 0);
            Populate(&ctx);
            Quorbix_AllocSDim(&other, 2, 0, 0, "v$");
            Quorbix_AllocNParam(&other, "b1", 0, 7);
            int32_t rc;
            bool injected;
            {
                qxtest::AllocationFailureScope fail(n);
                rc = scenario.run(&ctx, &other);
                injected = qxtest::AllocationFailed();
            }
            EXPECT_TRUE(rc == 0 || rc == ErrNoMemory) << rc;
            EXPECT_EQ(rc == ErrNoMemory, injected);
            qxtest::ExpectValidTable(&ctx);
            Quorbix_Terminate(&ctx);
            Quorbix_Terminate(&other);
            EXPECT_EQ(qxtest::LiveBlocks(), before);
            if (!injected)
                break;
        }
    }
}

} // namespace
