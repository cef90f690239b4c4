// Looking at expression text without evaluating it: the rating of a text,
// and the scans for commas and bytes outside parentheses and literals, where
// a lead byte takes the byte after it, even a quote, but never the terminator.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_context.h"

namespace {

TEST(CheckStrType, RatesTheStartOfATextByItsFirstToken)
{
    qxtest::TestContext t;
    ASSERT_EQ(Quorbix_AllocNParam(&t.ctx, "q", 0, 1.0), 0);
    ASSERT_EQ(Quorbix_AllocSParam(&t.ctx, "q$", 0, "q"), 0);
    ASSERT_EQ(Quorbix_AllocSDim(&t.ctx, 2, 0, 0, "s_t$"), 0);
    ASSERT_EQ(Quorbix_AllocNDim(&t.ctx, 2, 2, 0, std::string(33, 'n').c_str()), 0);
    const ArgKind kinds[] = {ArgString};
    t.AddFunction("pad$", 1, kinds, SFunctionCallback{}); // a string function of the host's
    const struct { std::string text; int32_t withRegisters, withoutRegisters; } rows[] = {
        {"", 3, 3}, {" \t\r\n", 3, 3}, {"(a", 1, 1}, {".5", 1, 1}, {"!0", 1, 1}, {"  [a]", 1, 0}, {"  \"", 2, 2},
        {"Q+1", 1, 1}, {"x$", 0, 0}, {"q$", 2, 2}, {"PI*2", 1, 1}, {"sin(1)", 1, 1}, {"cr$", 2, 2}, {"PAD$(1", 2, 2},
        {"s _t $ +\"\"", 2, 2}, // white space inside a name is dropped
        {",", 0, 0}, {"~1", 0, 0}, {"\x81\x40", 0, 0},
        {std::string(40, 'n'), 1, 1}, // only the first 33 bytes are looked up
        {std::string(32, 'n'), 0, 0},
    };
    for (const auto &row : rows) {
        t.ctx.registers = t.registers;
        EXPECT_EQ(Quorbix_CheckStrType(&t.ctx, row.text.c_str()), row.withRegisters) << "row " << &row - rows;
        t.ctx.registers = nullptr;
        EXPECT_EQ(Quorbix_CheckStrType(&t.ctx, row.text.c_str()), row.withoutRegisters) << "row " << &row - rows;
    }
}

TEST(CommaPos, FindsLevelOneCommasAndTheMatchingParen)
{
    constexpr uint32_t Untouched = 0xA5A5A5A5;
    // offsets: all `capacity` slots after the call; cursor: where the caller's
    // pointer ends, 0 when unchanged.
    const struct { std::string text; uint32_t capacity; int32_t rc; std::vector<uint32_t> offsets; int cursor; }
        rows[] = {
        {"1,f(2,3),4)x", 4, 0, {1, 8, 0, 0}, 11}, {",)", 1, 0, {0}, 2},
        {"  ,a)", 2, 0, {2, 0}, 5}, // leading blanks count
        {"ab)", 0, 0, {}, 3}, {"a,b)", 0, ErrArgument, {}, 0}, {"a,b,c)", 1, ErrArgument, {1}, 0},
        {"\"x,y\",z)", 2, 0, {5, 0}, 8},  // not inside a literal
        {"(a,b),c)", 2, 0, {5, 0}, 8},    // nor inside nested parentheses
        {"\"\x81\",\"x)", 1, 0, {0}, 7},  // trail byte '"' stays in the literal
        {"", 1, ErrParenMismatch, {0}, 0}, {"a,(b", 2, ErrParenMismatch, {1, 0}, 4},
        {"a,\"b)", 2, ErrUnterminatedString, {1, 0}, 0}, {"a,\"b\x81", 2, ErrUnterminatedString, {1, 0}, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(&row - rows);
        std::vector<uint32_t> offsets(row.capacity + 1, Untouched);
        const std::vector<char> exact(row.text.c_str(), row.text.c_str() + row.text.size() + 1); // exact size
        const char *cursor = exact.data();
        EXPECT_EQ(Quorbix_CommaPos(&cursor, offsets.data(), row.capacity), row.rc);
        EXPECT_EQ(offsets.back(), Untouched) << "wrote past capacity";
        offsets.pop_back();
        EXPECT_EQ(offsets, row.offsets);
        EXPECT_EQ(cursor, exact.data() + row.cursor);
    }
}

TEST(SearchChr, FindsAByteOutsideParenthesesAndLiterals)
{
    constexpr int Null = -1;
    // cursor: the offset of the caller's pointer afterwards, or Null.
    const struct { std::string text; int32_t ch; int32_t rc; int cursor; } rows[] = {
        {"a(b=1)=2", '=', 0, 6}, {"a)b,c", ',', ErrParenMismatch, 5}, // the level went below zero
        {"ab", 'z', 0, 2}, {" x", ' ', 0, 0},                          // nothing is skipped
        {"a(b)c(", '(', ErrParenMismatch, 6}, {"f(x))", ')', ErrParenMismatch, 5},
        {"\"a=b\"=c", '=', 0, 5}, {"\"\x81\"=\"=", '=', 0, 5}, // trail byte '"' stays in the literal
        {"x\xE0", -32, 0, 1}, {"x\xE0", 0xE0, 0, 2},            // high bytes compare as signed
        {"\x81=", '=', 0, 1},                                   // no pairing outside a literal
        {"\"\xA1\"=", '=', 0, 3},                               // half-width katakana is a single byte
        {"a=\"bc", 'z', ErrUnterminatedString, Null}, {"a(\"b\x81", ')', ErrUnterminatedString, Null},
    };
    for (const auto &row : rows) {
        // An exact-size heap copy lets the address checker catch a read past the terminator.
        const std::vector<char> exact(row.text.c_str(), row.text.c_str() + row.text.size() + 1);
        const char *cursor = exact.data();
        EXPECT_EQ(Quorbix_SearchChr(&cursor, row.ch), row.rc) << "row " << &row - rows;
        EXPECT_EQ(cursor, row.cursor == Null ? nullptr : exact.data() + row.cursor) << "row " << &row - rows;
    }
}

} // namespace
