#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "core/symbol_table.h"
#include "quorbix.h"
#include "strexpr/text_scanners.h"

namespace {

// Shows control and high bytes of a row's text in failure messages.
std::string Printable(const std::string &text)
{
    std::string out;
    for (unsigned char c : text) {
        if (c >= 0x20 && c < 0x7F) {
            out += static_cast<char>(c);
        } else {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02X", c);
            out += hex;
        }
    }
    return "text \"" + out + "\"";
}

struct QuoteRow {
    std::string text;  // begins with the opening quote
    int close;         // offset of the closing quote, -1 for none
};

TEST(SkipQuotedStringTest, FindsTheClosingQuoteSteppingOverTrailBytes)
{
    const QuoteRow rows[] = {
        {"\"abc\"x", 4},
        {"\"\"", 1},
        {"\"abc", -1},
        {"\"\x81\"\"", 3},        // a trail byte equal to '"' does not close
        {"\"\xE0\"x\"", 4},
        {"\"\xA1\"", 2},          // half-width katakana is a single byte
        {"\"\x81", -1},           // a lead byte just before the end
        {"\"a\x9F", -1},
    };
    for (const QuoteRow &row : rows) {
        SCOPED_TRACE(Printable(row.text));
        // An exact-size heap copy lets the address checker catch a read past
        // the terminator.
        std::vector<char> exact(row.text.begin(), row.text.end());
        exact.push_back('\0');
        const char *close = qx::SkipQuotedString(exact.data());
        if (row.close < 0)
            EXPECT_EQ(close, nullptr);
        else
            EXPECT_EQ(close, exact.data() + row.close);
    }
}

class CheckStrTypeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
        ASSERT_EQ(Quorbix_AllocNParam(&ctx, "x", 0, 1.0), 0);
        ASSERT_EQ(Quorbix_AllocNParam(&ctx, "q", 0, 1.0), 0);
        ASSERT_EQ(Quorbix_AllocSParam(&ctx, "q$", 0, "q"), 0);
        ASSERT_EQ(Quorbix_AllocSDim(&ctx, 2, 0, 0, "s_t$"), 0);
        ASSERT_EQ(Quorbix_AllocNDim(&ctx, 2, 2, 0, std::string(33, 'n').c_str()), 0);
        // A string function of the host's, added through the table directly.
        SFunctionDef pad{"pad$", 1, {ArgString}, nullptr, 0};
        SymbolBucket *bucket = qx::BucketOf(&ctx, pad.name);
        ASSERT_EQ(qx::AddSFunctionEntry(bucket, pad), 0);
        qx::SortBucket(bucket);
    }
    void TearDown() override { Quorbix_Terminate(&ctx); }

    EvalContext ctx{};
    double registers[26]{};
};

struct RateRow {
    std::string text;
    int32_t withRegisters;
    int32_t withoutRegisters;
};

TEST_F(CheckStrTypeTest, RatesTheStartOfATextByItsFirstToken)
{
    const RateRow rows[] = {
        {"", 3, 3},          {" \t\r\n", 3, 3},   {"1+2", 1, 1},       {"(a", 1, 1},
        {"-x", 1, 1},        {".5", 1, 1},        {"!0", 1, 1},        {"+1", 1, 1},
        {"[a]", 1, 0},       {"  [a]", 1, 0},     {"\"s\"", 2, 2},     {"  \"", 2, 2},
        {"x", 1, 1},         {"X+1", 1, 1},       {"x$", 0, 0},        {"y", 0, 0},
        {"q", 1, 1},         {"q$", 2, 2},        {"pi", 1, 1},        {"PI*2", 1, 1},
        {"sin(1)", 1, 1},    {"cr$", 2, 2},       {"pad$(", 2, 2},     {"PAD$(1", 2, 2},
        {"s _t $ +\"\"", 2, 2},  // white space inside a name is dropped
        {"s_t", 0, 0},       {",", 0, 0},         {")", 0, 0},         {"*", 0, 0},
        {"~1", 0, 0},        {"$", 0, 0},         {"\x81\x40", 0, 0},  {"\xE0", 0, 0},
        {std::string(33, 'n'), 1, 1},
        {std::string(40, 'n'), 1, 1},  // only the first 33 bytes are looked up
        {std::string(32, 'n'), 0, 0},
    };
    for (const RateRow &row : rows) {
        SCOPED_TRACE(Printable(row.text));
        ctx.registers = registers;
        EXPECT_EQ(Quorbix_CheckStrType(&ctx, row.text.c_str()), row.withRegisters);
        ctx.registers = nullptr;
        EXPECT_EQ(Quorbix_CheckStrType(&ctx, row.text.c_str()), row.withoutRegisters);
    }
}

constexpr uint32_t Untouched = 0xA5A5A5A5;
constexpr int Unchanged = -1;

struct CommaRow {
    std::string text;
    uint32_t capacity;
    int32_t rc;
    std::vector<uint32_t> offsets;  // all `capacity` slots after the call
    int cursor;                     // where the caller's pointer ends, or Unchanged
};

TEST(CommaPosTest, FindsLevelOneCommasAndTheMatchingParen)
{
    const CommaRow rows[] = {
        {"1,f(2,3),4)x", 4, 0, {1, 8, 0, 0}, 11},
        {")", 2, 0, {0, 0}, 1},
        {",)", 1, 0, {0}, 2},
        {"  ,a)", 2, 0, {2, 0}, 5},           // leading blanks count
        {"ab)", 0, 0, {}, 3},
        {"a,b)", 0, ErrArgument, {}, Unchanged},
        {"a,b,c)", 1, ErrArgument, {1}, Unchanged},
        {"\"x,y\",z)", 2, 0, {5, 0}, 8},      // not inside a literal
        {"(a,b),c)", 2, 0, {5, 0}, 8},        // nor inside nested parentheses
        {"\"\x81\",\"x)", 1, 0, {0}, 7},      // trail byte '"' stays in the literal
        {"", 1, ErrParenMismatch, {0}, 0},
        {"a,(b", 2, ErrParenMismatch, {1, 0}, 4},
        {"a,\"b)", 2, ErrUnterminatedString, {1, 0}, Unchanged},
        {"a,\"b\x81", 2, ErrUnterminatedString, {1, 0}, Unchanged},
    };
    for (const CommaRow &row : rows) {
        SCOPED_TRACE(Printable(row.text));
        std::vector<uint32_t> offsets(row.capacity + 1, Untouched);
        const char *cursor = row.text.c_str();
        EXPECT_EQ(Quorbix_CommaPos(&cursor, offsets.data(), row.capacity), row.rc);
        EXPECT_EQ(offsets.back(), Untouched) << "wrote past capacity";
        offsets.pop_back();
        EXPECT_EQ(offsets, row.offsets);
        const int expected = row.cursor == Unchanged ? 0 : row.cursor;
        EXPECT_EQ(cursor, row.text.c_str() + expected);
    }
}

constexpr int Null = -2;

struct SearchRow {
    std::string text;
    int32_t ch;
    int32_t rc;
    int cursor;  // offset of the caller's pointer afterwards, or Null
};

TEST(SearchChrTest, FindsAByteOutsideParenthesesAndLiterals)
{
    const SearchRow rows[] = {
        {"a(b=1)=2", '=', 0, 6},
        {"a)b,c", ',', ErrParenMismatch, 5},  // the level went below zero
        {"", 'x', 0, 0},
        {"ab", 'z', 0, 2},
        {" x", ' ', 0, 0},                    // nothing is skipped
        {"a(b)c(", '(', ErrParenMismatch, 6},
        {"a(b)c", '(', 0, 5},
        {"f(x))", ')', ErrParenMismatch, 5},
        {"\"a=b\"=c", '=', 0, 5},
        {"\"\x81\"=\"=", '=', 0, 5},          // trail byte '"' stays in the literal
        {"x\xE0", -32, 0, 1},                 // high bytes compare as signed
        {"x\xE0", 0xE0, 0, 2},
        {"\x81=", '=', 0, 1},                 // no pairing outside a literal
        {"(a=b", '=', ErrParenMismatch, 4},
        {"a=\"bc", 'z', ErrUnterminatedString, Null},
        {"a(\"bc", ')', ErrUnterminatedString, Null},
    };
    for (const SearchRow &row : rows) {
        SCOPED_TRACE(Printable(row.text) + " ch " + std::to_string(row.ch));
        const char *cursor = row.text.c_str();
        EXPECT_EQ(Quorbix_SearchChr(&cursor, row.ch), row.rc);
        if (row.cursor == Null)
            EXPECT_EQ(cursor, nullptr);
        else
            EXPECT_EQ(cursor, row.text.c_str() + row.cursor);
    }
}

}  // namespace
