// A context for tests: opened and closed with the fixture, registers set,
// and short ways to evaluate a text and to add host functions directly.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/symbol_table.h"
#include "quorbix.h"

namespace qxtest {

struct NumberOutcome {
    int32_t code;
    double value;
};

struct StringOutcome {
    int32_t code;
    std::string value;
};

class TestContext {
public:
    TestContext()
    {
        EXPECT_EQ(Quorbix_Initialize(&ctx), 0);
        ctx.registers = registers;
    }
    ~TestContext() { Quorbix_Terminate(&ctx); }
    TestContext(const TestContext &) = delete;
    TestContext &operator=(const TestContext &) = delete;

    NumberOutcome Eval(const char *text)
    {
        ctx.text = text;
        const int32_t rc = Quorbix(&ctx);
        return {rc, ctx.result};
    }

    StringOutcome EvalString(const char *text)
    {
        ctx.text = text;
        const int32_t rc = Quorbix_AddStr(&ctx);
        StringOutcome out{rc, {}};
        if (rc == 0) {
            out.value = ctx.stringResult;
            Quorbix_FreeOut(&ctx);
        } else {
            EXPECT_EQ(ctx.stringResult, nullptr) << text;
        }
        return out;
    }

    // Adds a function without the registration checks, as the built-ins are.
    void AddFunction(const char *name, int32_t argCount, const ArgKind *kinds, NFunctionCallback callback,
                     uintptr_t userWord = 0)
    {
        NFunctionDef def{name, argCount, {}, callback, userWord};
        std::memcpy(def.argKinds, kinds, sizeof(ArgKind) * static_cast<size_t>(argCount));
        SymbolBucket *bucket = qx::BucketOf(&ctx, name);
        ASSERT_EQ(qx::AddNFunctionEntry(bucket, def), 0);
        qx::SortBucket(bucket);
    }

    void AddFunction(const char *name, int32_t argCount, const ArgKind *kinds, SFunctionCallback callback,
                     uintptr_t userWord = 0)
    {
        SFunctionDef def{name, argCount, {}, callback, userWord};
        std::memcpy(def.argKinds, kinds, sizeof(ArgKind) * static_cast<size_t>(argCount));
        SymbolBucket *bucket = qx::BucketOf(&ctx, name);
        ASSERT_EQ(qx::AddSFunctionEntry(bucket, def), 0);
        qx::SortBucket(bucket);
    }

    EvalContext ctx;
    double registers[26] = {};
};

// Exact comparison of doubles, telling 0.0 from -0.0.
inline bool SameDouble(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

} // namespace qxtest
