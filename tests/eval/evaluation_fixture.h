// A context opened once per test, with registers set ([a] holds 0.0), and a
// checker for {text, code, value} rows. Values are compared by bit pattern,
// so 0.0 and -0.0 differ; after a failure the result must be +0.0.
#pragma once

#include <bit>
#include <cstdint>
#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

#include "quorbix.h"

namespace qxtest {

inline uint64_t Bits(double v) { return std::bit_cast<uint64_t>(v); }

struct EvalRow {
    std::string text;
    int32_t code;
    double value = 0.0; // only read when code is 0
};

class Evaluation : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
        registers[1] = 0.5;
        registers[25] = -3.25;
        ctx.registers = registers;
        held.reserve(4096); // so that Evaluate itself never allocates
    }
    void TearDown() override { Quorbix_Terminate(&ctx); }

    int32_t Evaluate(const std::string &text)
    {
        held = text;
        ctx.text = held.c_str();
        ctx.result = 12345.0; // a failure must overwrite it with 0.0
        return Quorbix(&ctx);
    }

    void Check(const EvalRow &row)
    {
        SCOPED_TRACE("text \"" + row.text + "\"");
        EXPECT_EQ(Evaluate(row.text), row.code);
        const double want = row.code == 0 ? row.value : 0.0;
        EXPECT_EQ(Bits(ctx.result), Bits(want)) << "result " << ctx.result << ", want " << want;
    }

    void Check(std::initializer_list<EvalRow> rows)
    {
        for (const EvalRow &row : rows)
            Check(row);
    }

    std::ptrdiff_t CursorOffset() const { return ctx.cursor - ctx.text; }

    EvalContext ctx{};
    double registers[26]{};
    std::string held;
};

inline std::string Repeat(const std::string &piece, int times)
{
    std::string s;
    for (int k = 0; k < times; ++k)
        s += piece;
    return s;
}

} // namespace qxtest
