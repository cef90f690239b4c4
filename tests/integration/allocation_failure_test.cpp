// Every allocating call, with its n-th allocation made to fail for each n in
// turn: the result is 0 or ErrNoMemory, the table stays valid, and nothing
// leaks. A creation or registration that fails leaves the table byte for
// byte as it was. Deletion and loading have sweeps of their own.
#include <functional>
#include <string>
#include <vector>

#include "core/symbol_table.h"
#include "support/alloc_hooks.h"
#include "support/table_check.h"
#include "support/test_context.h"

namespace {

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

struct Scenario {
    const char *name;
    std::function<int32_t(EvalContext *ctx, EvalContext *other)> run;
    bool failureChangesNothing = false;
};

// Every bucket's entries, byte for byte.
std::vector<unsigned char> TableBytes(EvalContext *ctx)
{
    std::vector<unsigned char> bytes;
    for (int b = 0; b < qx::BucketCount; ++b) {
        const SymbolBucket &bucket = ctx->symbols[b];
        const auto *first = reinterpret_cast<const unsigned char *>(bucket.entries);
        bytes.insert(bytes.end(), first, first + bucket.count * sizeof(qx::SymbolEntry));
    }
    return bytes;
}

const Scenario scenarios[] = {
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
    {"copy", [](EvalContext *c, EvalContext *other) { return Quorbix_CopyParam(c, other, "v$", 0); }},
    {"duplicate", [](EvalContext *c, EvalContext *) { return Quorbix_DuplicateParam(c, "v$", "s$", 0); }},
    // Into the bucket of b1..b9, which is searched by halving.
    {"create a number", [](EvalContext *c, EvalContext *) { return Quorbix_AllocNParam(c, "b0", 0, 1); }, true},
    {"create a string", [](EvalContext *c, EvalContext *) { return Quorbix_AllocSParam(c, "bs$", 0, "t"); }, true},
    {"create a number array", [](EvalContext *c, EvalContext *) { return Quorbix_AllocNDim(c, 2, 3, 0, "bm"); },
     true},
    {"create a string array", [](EvalContext *c, EvalContext *) { return Quorbix_AllocSDim(c, 2, 3, 0, "bg$"); },
     true},
    {"register a function",
     [](EvalContext *c, EvalContext *) {
         const SFunctionDef def{"bf$", 1, {ArgString}, Echo, 0};
         return Quorbix_CreateSFunction(c, &def);
     },
     true},
    {"register a constant",
     [](EvalContext *c, EvalContext *) {
         const SConstantDef def{"bc$", "t"};
         return Quorbix_CreateSConstant(c, &def);
     },
     true},
};

TEST(AllocationFailure, EveryCallFailsCleanly)
{
    for (const Scenario &scenario : scenarios) {
        for (size_t n = 1;; ++n) {
            SCOPED_TRACE(std::string(scenario.name) + ", allocation " + std::to_string(n));
            const long live = qxtest::LiveBlocks();
            EvalContext ctx, other;
            ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
            ASSERT_EQ(Quorbix_Initialize(&other), 0);
            Populate(&ctx);
            Quorbix_AllocSDim(&other, 2, 0, 0, "v$");
            Quorbix_AllocNParam(&other, "b1", 0, 7);
            const std::vector<unsigned char> before = TableBytes(&ctx);
            int32_t rc;
            bool injected;
            {
                qxtest::AllocationFailureScope fail(n);
                rc = scenario.run(&ctx, &other);
                injected = qxtest::AllocationFailed();
            }
            EXPECT_TRUE(rc == 0 || rc == ErrNoMemory) << rc;
            EXPECT_EQ(rc == ErrNoMemory, injected);
            if (rc != 0 && scenario.failureChangesNothing) {
                EXPECT_EQ(TableBytes(&ctx), before);
            }
            qxtest::ExpectValidTable(&ctx);
            Quorbix_Terminate(&ctx);
            Quorbix_Terminate(&other);
            EXPECT_EQ(qxtest::LiveBlocks(), live);
            if (!injected)
                break;
        }
    }
}

} // namespace
