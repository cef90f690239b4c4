// Numeric evaluation through Quorbix(): levels, signs, number and radix
// tokens, registers, operators and their passes, the 64-term limit and the
// cursor after a failure. Values are compared by bit pattern, so 0.0 and
// -0.0 differ; after a failure the result must be +0.0. No evaluation,
// success or failure alike, may reach the heap.
#include <bit>
#include <cstdlib>
#include <limits>
#include <string>

#include "core/integer_conversion.h"
#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

struct Row {
    std::string text;
    int32_t code;
    double value = 0.0; // only read when code is 0
};

std::string Repeat(const std::string &piece, int times)
{
    std::string s;
    while (times-- > 0)
        s += piece;
    return s;
}

class NumericEvaluation : public ::testing::Test {
protected:
    NumericEvaluation()
    {
        t.registers[1] = 0.5;
        t.registers[25] = -3.25;
        held.reserve(4096); // so that Evaluate itself never allocates
    }

    int32_t Evaluate(const std::string &text)
    {
        held = text;
        t.ctx.text = held.c_str();
        t.ctx.result = 12345.0;
        qxtest::ResetAllocationCount();
        const int32_t rc = Quorbix(&t.ctx);
        EXPECT_EQ(qxtest::AllocationCount(), 0u) << text;
        return rc;
    }

    void Check(std::initializer_list<Row> rows)
    {
        for (const Row &row : rows) {
            EXPECT_EQ(Evaluate(row.text), row.code) << row.text;
            EXPECT_EQ(std::bit_cast<uint64_t>(t.ctx.result), std::bit_cast<uint64_t>(row.code ? 0.0 : row.value))
                << row.text << " gives " << t.ctx.result;
        }
    }

    qxtest::TestContext t;
    std::string held;
};

TEST_F(NumericEvaluation, LevelsSignsAndLogicalNot)
{
    Check({
        {"", 0, 0.0}, {" \t\n\v\f\r ", 0, 0.0}, {"()", 0, 0.0}, {"-()", 0, -0.0}, {",", -1}, {"(1)(2)", -1},
        {"2(3)", -1}, {"(1", -3}, {"(1,2)", -1}, {"(1,+2", -3}, {"1e308*10", -8}, {"1e308*10>5", 0, 1.0},
        {"(1e308*10)>5", -8}, {"1+", -1}, {"+", -1}, {"- 2", 0, -2.0}, {"1+-2", 0, -1.0}, {"1--2", 0, 3.0},
        {"1+++2", -1}, {"--2", -1}, {"!!0", -1}, {"!-1", -1}, {"-2^2", 0, 4.0}, {"!0", 0, 1.0}, {"!5", 0, 0.0},
        {"-!0", 0, -1.0}, {"2*-!0", 0, -2.0}, {"1!2", -1}, {"~1", -1}, {"1! =2", 0, 1.0},
        // A sign flips the sign bit, so zero keeps its sign information.
        {"-0", 0, -0.0}, {"-!5", 0, -0.0}, {"!-0", -1},
    });
}

TEST_F(NumericEvaluation, NumberAndRadixTokens)
{
    const std::string ones30(30, '1');
    constexpr double Saturated = 4294967295.0;
    Check({
        {"2 3", 0, 23.0}, {"5", 0, 5.0}, {".5", 0, 0.5}, {"5.", 0, 5.0}, {".", -1}, {"1.2.3", -1}, {"1E3", 0, 1e3},
        {"1e 3", 0, 1e3}, {"1e + 3", 0, 1e3}, {"1e-3", 0, 0.001}, {"1e", -1}, {"1e+", -1}, {"1e*5", -1},
        {"1e+5x", -1}, {"1e309", -8}, {"0xff", -1}, {"1a", -1}, {"2pi", -1}, {"2 pi", -1}, {"$", -1}, {"\"", -1},
        {"]", -1}, {"\x80", -1}, {"1+\x9F", -1}, {std::string(33, '1'), 0, 111111111111111111111111111111111.0},
        {std::string(34, '1'), -9}, {"." + std::string(33, '1'), -9}, // the length test comes first
        {std::string(32, '0') + "1", 0, 1.0}, {std::string(33, '0') + "1", -9}, // leading zeros count too
        // A token of 33 bytes that ends in 'e' has no room for its exponent,
        // unless the text ends there: then the missing exponent is the fault.
        {std::string(32, '1') + "e+5", -9}, {std::string(32, '1') + "e", -1}, {std::string(31, '1') + "e+55", -9},
        {ones30 + "e+5", 0, std::strtod((ones30 + "e+5").c_str(), nullptr)},
        {"101b", 0, 5.0}, {"17O", 0, 15.0}, {"19d", 0, 19.0}, {"0aBcDeFh", 0, 11259375.0}, {"1 0 h", 0, 16.0},
        {"1e5h", 0, 485.0}, {"1b+1", 0, 2.0}, {"12b", -1}, {"8o", -1}, {"1.5d", -1}, {"1gh", -1}, // suffix wins
        {"4294967295d", 0, Saturated}, {"0ffffffffh", 0, Saturated}, {std::string(32, '1') + "b", 0, Saturated},
        {"4294967296d", 0, Saturated}, {"100000000h", 0, Saturated}, {"99999999999999999999d", 0, Saturated},
        {"-100000000h", 0, -Saturated}, {std::string(31, '0') + "1h", 0, 1.0}, {std::string(33, '1') + "b", -9},
        {"400000000008o", -1}, // a bad digit counts after saturation too
    });
}

TEST_F(NumericEvaluation, Registers)
{
    t.registers[2] = std::numeric_limits<double>::infinity(); // fails where its level ends
    Check({{"[ A ]", 0, 0.0}, {"[b]+[Z]", 0, -2.75}, {"-[b]", 0, -0.5}, {"[ab]", -4}, {"[1]", -4}, {"[a", -4},
           {"[c]", -8}, {"([c])>5", -8}, {"[c]>5", 0, 1.0}});
    EXPECT_EQ(t.registers[0], 0.0); // reading leaves the host's array alone
    t.ctx.registers = nullptr;      // then even malformed references are refused as syntax
    Check({{"[a]", -1}, {"[ab]", -1}, {"1+2", 0, 3.0}});
}

TEST_F(NumericEvaluation, OperatorsAndTheirPasses)
{
    Check({
        {"2+3*4", 0, 14.0}, {"(2+3)*4", 0, 20.0}, {"2*3%4", 0, 2.0}, {"6/2*3", 0, 9.0}, {"2-3-4", 0, -5.0},
        {"1-2+3", 0, 2.0}, {"2^3^2", 0, 64.0}, {"0-2^2", 0, -4.0}, {"(-8)^-2", 0, 0.015625}, {"-0^3", 0, -0.0},
        {"0^0", -7}, {"0^-1", -7}, {"(-8)^(1/3)", -7}, {"10^400", -8}, {"1/0", -2}, {"1%-0", -2}, {"-7%3", 0, -1.0},
        {"5%-3", 0, 2.0}, {"7.5%2", 0, 1.5}, {"-0*1", 0, -0.0}, {"-0-0", 0, -0.0}, {"-0+0", 0, 0.0},
        {"1<2<3", 0, 1.0}, {"3>2>1", 0, 0.0}, {"0.1+0.2=0.3", 0, 0.0}, {"2 < = 2", 0, 1.0}, {"1=<2", 0, 1.0},
        {"2=>1", 0, 1.0}, {"2<=1", 0, 0.0}, {"2>=2", 0, 1.0}, {"1<>2", 0, 1.0}, {"1><2", 0, 1.0}, {"1!=2", 0, 1.0},
        {"1==1", 0, 1.0}, {"2==2==2", 0, 0.0}, {"1<-2", 0, 0.0}, {"1<2==1", 0, 1.0}, {"2==2<1", 0, 0.0},
        {"1<<31", 0, 2147483648.0}, {"1<<32", 0, 1.0}, {"1<<-1", 0, 2147483648.0}, {"-1>>28", 0, 15.0},
        {"1 > > 1", 0, 0.0}, {"-1|0", 0, 4294967295.0}, {"1.5|0", 0, 1.0}, {"4294967296+5|0", 0, 5.0},
        {"-4294967296|0", 0, 0.0}, {"1|2&3", 0, 3.0}, {"1~3", 0, 2.0}, {"3~5|8&12", 0, 14.0}, {"1<<2+1", 0, 8.0},
        {"1+2<<1", 0, 6.0}, {"8>>1>2", 0, 1.0}, {"1==1&1", 0, 1.0}, {"1&&2", -1}, {"1||2", -1}, {"2**3", -1},
        {"1<<<2", -1}, {"1<=>2", -1}, {"1===2", -1}, {"1^^2", -1}, {"1//2", -1},
        // Scan failures come first, then the passes in precedence order, then
        // left to right within a pass.
        {"1/0+0^0", -7}, {"1/0+", -1}, {"1/0+(1", -2}, {"1/0+(0^0)", -7}, {"1/0*0^0", -7}, {"10^400+1/0", -8},
        {"1/0+1e309", -8}, {"0^0+(1/0)", -2},
    });
}

TEST_F(NumericEvaluation, SixtyFourTermsAndOperatorsPerLevel)
{
    const std::string terms64 = "1" + Repeat("+1", 63);
    Check({
        {terms64, 0, 64.0}, {terms64 + "+1", -5},
        {terms64 + "+(1)", -5},                                  // the 65th term fails though its text is valid
        {Repeat("1+", 64), -1}, {Repeat("1+", 64) + "+1", -5},   // a 65th operator held at once
        {"1" + Repeat("*-1", 63), 0, -1.0}, {"-1" + Repeat("+-1", 63), 0, -64.0}, // signs give their slot back
        {"1" + Repeat("+1", 62) + "+(" + terms64 + ")", 0, 127.0}, // each level has a stack of its own
        {"(" + terms64 + ")*(" + terms64 + ")", 0, 4096.0},
    });
}

// Where the cursor stops after a failure, and what stays open.
TEST_F(NumericEvaluation, CursorAfterFailure)
{
    const struct { std::string text; int32_t code; std::ptrdiff_t cursor; } rows[] = {
        {".", -1, 0}, {"1+.", -1, 2}, {"1+" + std::string(34, '2'), -9, 2},
        {"1+" + std::string(32, '2') + "e+1", -9, 2},
        {"1+2pi", -1, 2}, {"1+1e", -1, 2}, {"1+" + std::string(32, '2') + "e", -1, 2}, // unchanged
        {"1.2.3+1", -1, 5}, {"1e*5", -1, 4}, {"1 + 1e309 * 2", -8, 10}, {"12b+1", -1, 3}, // behind the token
        {"1)", -3, 1}, {"1,2", -1, 1}, {Repeat("1+", 64) + "+1", -5, 128}, // on the 65th operator
    };
    for (const auto &row : rows) {
        EXPECT_EQ(Evaluate(row.text), row.code) << row.text;
        EXPECT_EQ(t.ctx.cursor - t.ctx.text, row.cursor) << row.text;
        EXPECT_EQ(std::bit_cast<uint64_t>(t.ctx.result), 0u) << row.text;
    }
    EXPECT_EQ(Evaluate("((1)"), -3);
    EXPECT_EQ(t.ctx.parenDepth, 1);
    EXPECT_EQ(t.ctx.cursor - t.ctx.text, 4);
}

TEST(IntegerConversion, UnsignedKeepsTheLow32BitsAndSignedGivesTheMinimumOutsideItsRange)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    const struct { double in; uint32_t out; } unsignedRows[] = {
        {-0.0, 0}, {-1.5, 0xFFFFFFFFu}, {-0.5, 0}, {3.9, 3}, {0x1p32 + 1.5, 1}, {3e9, 3000000000u}, {nan, 0},
        {-inf, 0}, {-0x1p63, 0}, {0x1p63, 0}, {-0x1p63 - 2048, 0}, {0x1p63 - 1024, 0xFFFFFC00u}, {-0x1p63 + 1024, 1024},
    };
    for (const auto &row : unsignedRows)
        EXPECT_EQ(qx::ToUnsigned32(row.in), row.out) << row.in;
    const struct { double in; int32_t out; } signedRows[] = {
        {-1.5, -1}, {-0.5, 0}, {2147483647.9, INT32_MAX}, {-2147483648.9, INT32_MIN}, {2147483648.0, INT32_MIN},
        {-2147483649.0, INT32_MIN}, {0x1p32 + 5, INT32_MIN}, {nan, INT32_MIN}, {inf, INT32_MIN}, {3e9, INT32_MIN},
    };
    for (const auto &row : signedRows)
        EXPECT_EQ(qx::ToSigned32(row.in), row.out) << row.in;
}

} // namespace
