// The numeric built-ins, called through their table rows the way the call
// path calls them: a CallFrame in, a double and frame.error out.
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include "builtin/builtin_tables.h"
#include "quorbix.h"

namespace {

constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Pi = 3.141592653589793;

const NFunctionDef *FindRow(const char *name)
{
    for (const NFunctionDef *row = qx::NumericFunctionTable; row->name != nullptr; ++row)
        if (std::strcmp(row->name, name) == 0)
            return row;
    return nullptr;
}

struct Outcome {
    double value;
    int32_t error;
};

// Slots behind argCount are filled too: a function must not read them.
Outcome Call(const char *name, const CallArg &a, const CallArg &b, EvalContext *ctx = nullptr)
{
    const NFunctionDef *row = FindRow(name);
    if (row == nullptr) {
        ADD_FAILURE() << "no row named " << name;
        return {0.0, 0};
    }
    CallFrame frame{};
    frame.args[0] = a;
    frame.args[1] = b;
    frame.argKinds = row->argKinds;
    frame.argCount = row->argCount;
    frame.context = ctx;
    return {row->callback(&frame), frame.error};
}

Outcome CallNumbers(const char *name, double x, double y = 0.0)
{
    return Call(name, CallArg{.number = x}, CallArg{.number = y});
}

Outcome CallTexts(const char *name, const char *s, const char *t = "", EvalContext *ctx = nullptr)
{
    return Call(name, CallArg{.text = s}, CallArg{.text = t}, ctx);
}

// Exact, down to the sign of a zero; a NaN matches any NaN.
void ExpectSame(double expected, double actual)
{
    if (std::isnan(expected)) {
        EXPECT_TRUE(std::isnan(actual)) << actual;
        return;
    }
    EXPECT_EQ(expected, actual);
    EXPECT_EQ(std::signbit(expected), std::signbit(actual)) << "sign of " << actual;
}

TEST(NumericFunctions, TableRowsAreInOrderWithTheirArgumentKinds)
{
    struct Shape {
        const char *name;
        const char *kinds; // 'n' numeric, 's' string, one letter per argument
    };
    const Shape shapes[] = {
        {"asin", "n"},   {"acos", "n"},   {"atan", "n"},    {"abs", "n"},     {"asc", "s"},
        {"atan2", "nn"}, {"ceil", "n"},   {"cos", "n"},     {"cosh", "n"},    {"exp", "n"},
        {"floor", "n"},  {"frac", "n"},   {"gcm", "nn"},    {"hypot", "nn"},  {"int", "n"},
        {"lcm", "nn"},   {"log", "n"},    {"ln", "n"},      {"len", "s"},     {"mblen", "s"},
        {"mbcode", "s"}, {"mbcmp", "ss"}, {"not", "n"},     {"sqrt", "n"},    {"sin", "n"},
        {"sinh", "n"},   {"strcmp", "ss"}, {"strcmpi", "ss"}, {"tan", "n"},   {"tanh", "n"},
        {"val", "s"},
    };
    const NFunctionDef *row = qx::NumericFunctionTable;
    for (const Shape &shape : shapes) {
        ASSERT_NE(row->name, nullptr) << "table ends before " << shape.name;
        SCOPED_TRACE(shape.name);
        EXPECT_STREQ(shape.name, row->name);
        const int count = static_cast<int>(std::strlen(shape.kinds));
        ASSERT_EQ(count, row->argCount);
        for (int k = 0; k < 16; ++k) {
            const ArgKind want = k >= count ? 0 : shape.kinds[k] == 'n' ? ArgNumeric : ArgString;
            EXPECT_EQ(want, row->argKinds[k]) << "kind " << k;
        }
        EXPECT_NE(row->callback, nullptr);
        EXPECT_EQ(0u, row->userWord);
        ++row;
    }
    EXPECT_EQ(row->name, nullptr);
}

struct NumberCase {
    const char *name;
    double x, y;
    double value;
    int32_t error;
};

// Cases whose value is exact, failures included: the errno rule hands the
// computed value back along with the error.
const NumberCase ExactCases[] = {
    {"asin", 2, 0, NaN, ErrDomain}, {"acos", -2, 0, NaN, ErrDomain},
    {"exp", 1000, 0, Inf, ErrRange}, {"cosh", 1000, 0, Inf, ErrRange},
    {"sinh", -1000, 0, -Inf, ErrRange}, {"hypot", 1.5e308, 1.5e308, Inf, ErrRange},
    {"sqrt", -1, 0, 0.0, ErrDomain}, {"sqrt", -0.0, 0, -0.0, 0}, {"sqrt", 2.25, 0, 1.5, 0},
    {"log", 0, 0, 0.0, ErrDomain}, {"log", -1, 0, 0.0, ErrDomain}, {"log", -0.0, 0, 0.0, ErrDomain},
    {"ln", 0, 0, 0.0, ErrDomain}, {"ln", -1, 0, 0.0, ErrDomain}, {"ln", 1, 0, 0.0, 0},
    {"abs", -0.0, 0, 0.0, 0}, {"abs", -2.5, 0, 2.5, 0},
    {"floor", 2.5, 0, 2, 0}, {"floor", -2.5, 0, -3, 0}, {"floor", -0.5, 0, -1, 0},
    {"floor", -1.0, 0, -1, 0}, {"floor", -0.0, 0, -0.0, 0}, {"floor", 1e300, 0, 1e300, 0},
    {"floor", -4503599627370495.5, 0, -4503599627370496.0, 0},
    {"ceil", -0.5, 0, -0.0, 0}, {"ceil", 2.1, 0, 3, 0},
    {"int", -1.5, 0, -1, 0}, {"int", -0.5, 0, -0.0, 0},
    {"frac", -1.5, 0, -0.5, 0}, {"frac", 2.0, 0, 0.0, 0}, {"frac", -2.0, 0, -0.0, 0},
    {"not", 0, 0, 4294967295.0, 0}, {"not", 1.9, 0, 4294967294.0, 0}, {"not", -1, 0, 0.0, 0},
    {"not", 4294967301.0, 0, 4294967290.0, 0}, // 2^32 + 5 keeps its low 32 bits
    {"not", 0x1p63, 0, 4294967295.0, 0}, {"not", -0x1p64, 0, 4294967295.0, 0},
    {"gcm", 12, 18, 6, 0}, {"gcm", 12.9, 18, 6, 0}, {"lcm", 4, 6, 12, 0},
    {"gcm", 0, 5, 0.0, ErrDomain}, {"lcm", 0, 5, 0.0, ErrDomain}, {"gcm", -1, 5, 0.0, ErrDomain},
    {"gcm", 5, 0, 0.0, ErrDomain}, {"lcm", 5, -0.0, 0.0, ErrDomain},
    {"gcm", 0.5, 12, 12, 0}, {"gcm", 7, 0.5, 7, 0}, {"lcm", 0.5, 12, 0, 0},
    {"gcm", 0.5, 0.5, 0, 0}, {"lcm", 0.5, 0.5, NaN, 0},
    {"gcm", 4294967295.0, 4294967295.0, 4294967295.0, 0},
    {"gcm", 4294967296.0, 1, 0.0, ErrDomain},
    {"gcm", 1, 0x1.fffffffe00001p31, 0.0, ErrDomain}, // next double above 2^32-1
    {"lcm", 65536, 65537, 4295032832.0, 0},         // wraps if taken in 32 bits
};

TEST(NumericFunctions, ExactValuesAndFailures)
{
    for (const NumberCase &c : ExactCases) {
        SCOPED_TRACE(testing::Message() << c.name << "(" << c.x << ", " << c.y << ")");
        const Outcome out = CallNumbers(c.name, c.x, c.y);
        EXPECT_EQ(c.error, out.error);
        ExpectSame(c.value, out.value);
    }
}

// One case per row of the maths library, so a row wired to the wrong
// function or with its arguments swapped shows up.
TEST(NumericFunctions, TranscendentalValues)
{
    const NumberCase cases[] = {
        {"asin", 1, 0, Pi / 2, 0},         {"acos", -1, 0, Pi, 0},
        {"atan", 1, 0, Pi / 4, 0},         {"atan2", 1, 0, Pi / 2, 0},
        {"atan2", 0, -1, Pi, 0},           {"cos", Pi, 0, -1, 0},
        {"cosh", 1, 0, 1.5430806348152437, 0}, {"exp", 1, 0, 2.718281828459045, 0},
        {"hypot", 3, 4, 5, 0},             {"log", 1000, 0, 3, 0},
        {"ln", 2.718281828459045, 0, 1, 0}, {"sin", Pi / 2, 0, 1, 0},
        {"sinh", 1, 0, 1.1752011936438014, 0}, {"tan", Pi / 4, 0, 1, 0},
        {"tanh", 1, 0, 0.7615941559557649, 0},
    };
    for (const NumberCase &c : cases) {
        SCOPED_TRACE(testing::Message() << c.name << "(" << c.x << ", " << c.y << ")");
        const Outcome out = CallNumbers(c.name, c.x, c.y);
        EXPECT_EQ(0, out.error);
        EXPECT_DOUBLE_EQ(c.value, out.value);
    }
}

TEST(NumericFunctions, ErrnoLeftOverFromEarlierIsNotBlamedOnTheCall)
{
    for (const char *name : {"sin", "ceil", "int", "frac", "ln", "floor", "abs", "sqrt"}) {
        SCOPED_TRACE(name);
        errno = ERANGE;
        EXPECT_EQ(0, CallNumbers(name, 1.0).error);
    }
}

struct TextCase {
    const char *name;
    const char *s, *t;
    double value;
};

TEST(NumericFunctions, BytesCharactersAndComparisons)
{
    const TextCase cases[] = {
        {"asc", "", "", 0}, {"asc", "\xE9z", "", 233},
        {"len", "", "", 0}, {"len", "a\x82\xA0", "", 3}, {"mblen", "a\x82\xA0", "", 2},
        {"mblen", "\xA1\xB1", "", 2},     // half-width bytes are single
        {"mblen", "a\x81", "", 2},        // lead byte standing last
        {"mblen", "\xE0\x81\x81", "", 2}, // a trail byte is never a lead byte
        {"mbcode", "", "", 0}, {"mbcode", "\x81\x40z", "", 0x8140}, {"mbcode", "\x82\xA0", "", 0x82A0},
        {"mbcode", "\x81", "", 0x81}, {"mbcode", "\xB1\x40", "", 0xB1},
        {"mbcmp", "\x81", "", 0}, {"mbcmp", "a\x81", "a", 0}, {"mbcmp", "abc", "ab\x81", 1},
        {"mbcmp", "\xB1", "\x81\x40", -1}, // a double-byte character sorts high
        {"mbcmp", "\x81\x40", "\xB1", 1}, {"mbcmp", "\x82\xA0", "\x82\xA1", -1},
        {"mbcmp", "ab", "abc", -1}, {"mbcmp", "ab", "ab", 0},
        {"strcmp", "abc", "abc", 0}, {"strcmp", "", "", 0}, {"strcmp", "abc", "ABC", 1},
        {"strcmp", "za", "a", 1}, {"strcmp", "ab", "abc", -1},
        {"strcmp", "\xB1", "\x81\x40", 1}, {"strcmp", "a", "\x80", -1},
        {"strcmpi", "aBc", "AbC", 0}, {"strcmpi", "za", "A", 1},
        {"strcmpi", "[", "A", -1},   // folds to lower case, not upper
        {"strcmpi", "a", "\x80", 1}, // bytes from 0x80 up are negative
        {"strcmpi", "a", "a\x80", 1}, {"strcmpi", "a\x80", "a", -1},
    };
    for (const TextCase &c : cases) {
        SCOPED_TRACE(testing::Message() << c.name << " of \"" << c.s << "\", \"" << c.t << "\"");
        const Outcome out = CallTexts(c.name, c.s, c.t);
        EXPECT_EQ(0, out.error);
        ExpectSame(c.value, out.value);
    }
}

struct Evaluation {
    const char *text;
    double value;
    int32_t error;
};

class NumericFunctionsInContext : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0, Quorbix_Initialize(&ctx));
        registers[1] = 0.5;
        ctx.registers = registers;
    }
    void TearDown() override { Quorbix_Terminate(&ctx); }

    EvalContext ctx{};
    double registers[26] = {};
};

TEST_F(NumericFunctionsInContext, ValueOrOneDomainFailure)
{
    const Evaluation cases[] = {
        {"", 0.0, 0}, {" \t ", 0.0, 0}, {"2*(3+4)  ", 14, 0}, {"[b]*4", 2, 0},
        {"1,2", 0.0, ErrDomain}, {"(1", 0.0, ErrDomain}, {"1)", 0.0, ErrDomain},
        {"1/0", 0.0, ErrDomain}, {"1e999", 0.0, ErrDomain}, {"nosuchname", 0.0, ErrDomain},
    };
    for (const Evaluation &c : cases) {
        SCOPED_TRACE(c.text);
        const Outcome out = CallTexts("val", c.text, "", &ctx);
        EXPECT_EQ(c.error, out.error);
        ExpectSame(c.value, out.value);
    }
}

TEST_F(NumericFunctionsInContext, LeavesTheCallersEvaluationAlone)
{
    const char *outer = "sin(val(\"1+1\"))";
    ctx.text = outer;
    ctx.cursor = outer + 8;
    ctx.parenDepth = 2;
    ctx.result = 42.0;
    const Outcome out = CallTexts("val", "1+1", "", &ctx);
    EXPECT_EQ(0, out.error);
    EXPECT_EQ(2.0, out.value);
    EXPECT_EQ(outer + 8, ctx.cursor);
    EXPECT_EQ(2, ctx.parenDepth);
    EXPECT_EQ(42.0, ctx.result);
    EXPECT_EQ(outer, ctx.text);
}

// Through the whole call path: argument evaluation, the frame the caller
// builds, and what becomes of a value or an error afterwards.
TEST_F(NumericFunctionsInContext, CalledFromExpressions)
{
    ASSERT_EQ(0, Quorbix_AllocNParam(&ctx, "x", 0, 3.0));
    const Evaluation cases[] = {
        {"not(not(5.7))", 5, 0},
        {"not(0) - intmax", 0, 0},
        {"gcm(0.5, 0.5)", 0, 0},
        {"lcm(0.5, 0.5)", 0.0, ErrRange}, // the NaN fails the end-of-level test
        {"gcm(0, 5)", 0.0, ErrDomain},
        {"val(\"[b] * x\")", 1.5, 0},
        {"1/0", 0.0, ErrDivideByZero},
        {"val(\"1/0\")", 0.0, ErrDomain},
        {"2 + val(\"(1\")", 0.0, ErrDomain},
        {"len(\"ab\" + \"c\") + mblen(\"\x82\xA0\")", 4, 0},
        {"strcmp(\"b\", \"a\") - strcmpi(\"A\", \"b\")", 2, 0},
    };
    for (const Evaluation &c : cases) {
        SCOPED_TRACE(c.text);
        ctx.text = c.text;
        EXPECT_EQ(c.error, Quorbix(&ctx));
        ExpectSame(c.value, ctx.result);
    }
    ctx.text = "atan2(1, 0)";
    ASSERT_EQ(0, Quorbix(&ctx));
    EXPECT_DOUBLE_EQ(Pi / 2, ctx.result);
}

} // namespace
