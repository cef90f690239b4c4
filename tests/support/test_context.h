// A context for tests: opened and closed with the fixture, registers set,
// and short ways to evaluate a text and to add host functions directly.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>

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
    template <typename Callback>
    void AddFunction(const char *name, int32_t argCount, const ArgKind *kinds, Callback callback, uintptr_t userWord = 0)
    {
        constexpr bool numeric = std::is_same_v<Callback, NFunctionCallback>;
        std::conditional_t<numeric, NFunctionDef, SFunctionDef> def{name, argCount, {}, callback, userWord};
        std::memcpy(def.argKinds, kinds, sizeof(ArgKind) * static_cast<size_t>(argCount));
        SymbolBucket *bucket = qx::BucketOf(&ctx, name);
        if constexpr (numeric) {
            ASSERT_EQ(qx::AddNFunctionEntry(bucket, def), 0);
        } else {
            ASSERT_EQ(qx::AddSFunctionEntry(bucket, def), 0);
        }
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
