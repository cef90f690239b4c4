// The driver, the term stack, number tokens and registers, through Quorbix().
#include <cstdlib>
#include <limits>

#include "eval/evaluation_fixture.h"

namespace qxtest {
namespace {

using NumericEvaluation = Evaluation;

TEST_F(NumericEvaluation, LevelsParenthesesAndCommas)
{
    Check({
        {"", 0, 0.0}, {" \t\n\v\f\r ", 0, 0.0}, {"()", 0, 0.0}, {"1+()", 0, 1.0},
        {"-()", 0, -0.0}, {",", -1}, {"1,2", -1},
        {"(1)(2)", -1}, {"2(3)", -1}, {"(2)3", -1}, {"()()", -1},
        {"(1", -3}, {"((1)", -3}, {"1)", -3},
        {"(1,2)", -1}, {"(1,+2)", -1}, {"((1,+2))", -1}, {"(1,+2", -3}, {"(,", -3},
        {"1e308*10", -8}, {"1e308*10>5", 0, 1.0}, {"(1e308*10)>5", -8},
    });
}

TEST_F(NumericEvaluation, SignsAndLogicalNot)
{
    Check({
        {"1+", -1}, {"+", -1}, {"-", -1}, {"*", -1}, {"1 +", -1},
        {"- 2", 0, -2.0}, {"1+-2", 0, -1.0}, {"1++2", 0, 3.0}, {"1--2", 0, 3.0},
        {"1+++2", -1}, {"--2", -1}, {"!!0", -1}, {"!-1", -1}, {"1*/2", -1},
        {"-2^2", 0, 4.0}, {"2^-1", 0, 0.5}, {"!0", 0, 1.0}, {"!5", 0, 0.0},
        {"-!0", 0, -1.0}, {"2*-!0", 0, -2.0}, {"1!2", -1}, {"1!+2", -1}, {"~1", -1},
        {"1! =2", 0, 1.0},
        // A sign flips the sign bit, so zero keeps its sign information.
        {"-0", 0, -0.0}, {"-!5", 0, -0.0}, {"!-0", -1},
    });
}

TEST_F(NumericEvaluation, NumberTokens)
{
    Check({
        {"2 3", 0, 23.0}, {"2 3+1", 0, 24.0}, {"1 2 3", 0, 123.0},
        {"5", 0, 5.0}, {"5 ", 0, 5.0}, {".5", 0, 0.5}, {"5.", 0, 5.0},
        {".", -1}, {".e1", -1}, {"1.2.3", -1},
        {"1e3", 0, 1e3}, {"1E3", 0, 1e3}, {"1e+3", 0, 1e3}, {"1e 3", 0, 1e3},
        {"1 e 3", 0, 1e3}, {"1e + 3", 0, 1e3}, {"1e-3", 0, 0.001}, {"1e+1", 0, 10.0},
        {"1e", -1}, {"1e+", -1}, {"1e*5", -1}, {"1e+5x", -1},
        {"1e308", 0, 1e308}, {"1e309", -8},
        {"0xff", -1}, {"1a", -1}, {"1f", -1}, {"2pi", -1}, {"2 pi", -1},
        {std::string(33, '1'), 0, 111111111111111111111111111111111.0},
        {std::string(34, '1'), -9},
        // The length test comes before any test of the content.
        {"." + std::string(33, '1'), -9},
        // A token of 33 bytes that ends in 'e' has no room for its exponent,
        // unless the text ends there: then the missing exponent is the fault.
        {std::string(32, '1') + "e+5", -9},
        {std::string(32, '1') + "e", -1},
        {std::string(31, '1') + "e+55", -9},
        {std::string(30, '1') + "e+5", 0, std::strtod((std::string(30, '1') + "e+5").c_str(), nullptr)},
    });
}

TEST_F(NumericEvaluation, BytesThatStartNoToken)
{
    for (const char *text : {"$", "\"", "#", ":", ";", "?", "@", "\\", "{", "}", "]", "`", "'", "\x80", "\x81",
                             "\xA0", "\xE0", "\xFF", "1+\x9F"})
        Check({text, -1});
}

TEST_F(NumericEvaluation, Registers)
{
    registers[2] = std::numeric_limits<double>::infinity();
    Check({
        {"[a]", 0, 0.0}, {"[A]", 0, 0.0}, {"[ a ]", 0, 0.0}, {"[b]+[Z]", 0, -2.75}, {"-[b]", 0, -0.5},
        {"[ab]", -4}, {"[1]", -4}, {"[a", -4}, {"[]", -4}, {"[_]", -4},
        // A non-finite register fails where its level ends.
        {"[c]", -8}, {"([c])>5", -8}, {"[c]>5", 0, 1.0},
    });
    EXPECT_EQ(registers[0], 0.0); // reading leaves the host's array alone
}

TEST_F(NumericEvaluation, RegistersNotSetRefuseEvenMalformedReferences)
{
    ctx.registers = nullptr;
    Check({{"[a]", -1}, {"[ab]", -1}, {"1+2", 0, 3.0}});
}

// Where the cursor stops after a failure, and what stays open.
TEST_F(NumericEvaluation, CursorAfterFailure)
{
    struct Row {
        std::string text;
        int32_t code;
        std::ptrdiff_t cursor;
    };
    const Row rows[] = {
        {".", -1, 0},
        {"1+.", -1, 2},
        {"1+" + std::string(34, '2'), -9, 2},
        {"1+" + std::string(32, '2') + "e+1", -9, 2},
        {"1+2pi", -1, 2},           // a letter with no meaning: unchanged
        {"1+1e", -1, 2},            // 'e' at the very end: unchanged
        {"1+" + std::string(32, '2') + "e", -1, 2},
        {"1.2.3+1", -1, 5},         // refused by the conversion: behind the token
        {"1e*5", -1, 4},
        {"1 + 1e309 * 2", -8, 10},  // out of range: behind the token
        {"12b+1", -1, 3},           // a bad radix digit: behind the token
        {"1)", -3, 1},
        {"1,2", -1, 1},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("text \"" + row.text + "\"");
        EXPECT_EQ(Evaluate(row.text), row.code);
        EXPECT_EQ(CursorOffset(), row.cursor);
        EXPECT_EQ(Bits(ctx.result), 0u);
    }
    EXPECT_EQ(Evaluate("((1)"), -3);
    EXPECT_EQ(ctx.parenDepth, 1);
    EXPECT_EQ(CursorOffset(), 4);
}

TEST_F(NumericEvaluation, SixtyFourTermsAndOperatorsPerLevel)
{
    const std::string terms64 = "1" + Repeat("+1", 63);
    Check({
        {terms64, 0, 64.0},
        {terms64 + "+1", -5},
        {terms64 + "+(1)", -5}, // the 65th term fails even though its text is valid
        {Repeat("1+", 64), -1}, // 64 operators with nothing behind the last
        {Repeat("1+", 64) + "+1", -5}, // a 65th operator held at once
        // Signs are folded into their term and give their operator slot back.
        {"1" + Repeat("*-1", 63), 0, -1.0},
        {"-1" + Repeat("+-1", 63), 0, -64.0},
        // Each parenthesised level has a stack of its own.
        {"1" + Repeat("+1", 62) + "+(" + terms64 + ")", 0, 127.0},
        {"(" + terms64 + ")*(" + terms64 + ")", 0, 4096.0},
    });
}

} // namespace
} // namespace qxtest
