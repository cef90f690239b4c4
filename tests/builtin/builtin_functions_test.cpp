// The numeric and string built-ins, called through their table rows the way
// the call path calls them: a CallFrame in, a double or a block and
// frame.error out.
#include <bit>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "builtin/builtin_tables.h"
#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

using namespace std::string_view_literals;

constexpr double Inf = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Pi = 3.141592653589793;

// One argument: a number or a text. The row's kinds must agree.
struct Arg {
    Arg(int v) : number(v) {}
    Arg(double v) : number(v) {}
    Arg(const char *t) : text(t) {}
    double number = 0;
    const char *text = nullptr;
};

// Finds the row, checks its argument count and kinds against `args` and
// calls it; the frame keeps the error and result length.
template <typename Def>
auto Invoke(const Def *row, std::string_view name, const std::vector<Arg> &args, CallFrame &frame,
            EvalContext *ctx = nullptr)
{
    while (row->name != nullptr && name != row->name)
        ++row;
    if (row->name == nullptr) {
        ADD_FAILURE() << "no row named " << name;
        return decltype(row->callback(&frame)){};
    }
    EXPECT_EQ(row->argCount, static_cast<int32_t>(args.size())) << name;
    for (size_t k = 0; k < args.size(); ++k) {
        EXPECT_EQ(row->argKinds[k], args[k].text ? ArgString : ArgNumeric) << name << " arg " << k;
        frame.args[k] = args[k].text ? CallArg{.text = args[k].text} : CallArg{.number = args[k].number};
    }
    frame.argKinds = row->argKinds;
    frame.argCount = row->argCount;
    frame.context = ctx;
    return row->callback(&frame);
}

struct NumberCase {
    const char *name;
    std::vector<Arg> args;
    double value;
    int32_t error;
};

// Exact, down to the sign of a zero (a NaN matches any NaN), or to a few
// units in the last place. errno is left set from before: it must not be
// blamed on the call.
void CheckNumbers(const std::vector<NumberCase> &cases, EvalContext *ctx = nullptr, bool exact = true)
{
    for (const NumberCase &c : cases) {
        SCOPED_TRACE(testing::Message() << c.name << " case " << (&c - cases.data()));
        CallFrame frame{};
        errno = ERANGE;
        const double got = Invoke(qx::NumericFunctionTable, c.name, c.args, frame, ctx);
        EXPECT_EQ(frame.error, c.error);
        if (!exact)
            EXPECT_DOUBLE_EQ(got, c.value);
        else if (std::isnan(c.value))
            EXPECT_TRUE(std::isnan(got)) << got;
        else
            EXPECT_TRUE(got == c.value && std::signbit(got) == std::signbit(c.value)) << got;
    }
}

// The errno rule hands the computed value back along with the error.
TEST(NumericFunctions, ExactValuesFailuresAndComparisons)
{
    CheckNumbers({
        {"asin", {2}, NaN, ErrDomain}, {"exp", {1000}, Inf, ErrRange},
        {"hypot", {1.5e308, 1.5e308}, Inf, ErrRange}, {"sqrt", {-1}, 0.0, ErrDomain}, {"sqrt", {-0.0}, -0.0, 0},
        {"log", {-0.0}, 0.0, ErrDomain}, {"ln", {-1}, 0.0, ErrDomain}, {"ln", {1}, 0, 0}, {"abs", {-0.0}, 0.0, 0},
        {"floor", {-0.5}, -1, 0},
        {"ceil", {-0.5}, -0.0, 0}, {"floor", {-4503599627370495.5}, -4503599627370496.0, 0}, {"int", {-1.5}, -1, 0},
        {"int", {-0.5}, -0.0, 0}, {"frac", {-1.5}, -0.5, 0}, {"frac", {-2}, -0.0, 0}, {"not", {0}, 4294967295.0, 0},
        {"not", {1.9}, 4294967294.0, 0}, {"not", {4294967301.0}, 4294967290.0, 0}, {"not", {0x1p63}, 4294967295.0, 0},
        {"gcm", {12.9, 18}, 6, 0}, {"lcm", {4, 6}, 12, 0}, {"gcm", {0, 5}, 0.0, ErrDomain},
        {"lcm", {5, -0.0}, 0.0, ErrDomain}, {"gcm", {0.5, 12}, 12, 0},
        {"lcm", {0.5, 12}, 0, 0}, {"lcm", {0.5, 0.5}, NaN, 0}, {"gcm", {4294967295.0, 4294967295.0}, 4294967295.0, 0},
        {"gcm", {1, 0x1.fffffffe00001p31}, 0.0, ErrDomain}, // above 2^32-1
        {"lcm", {65536, 65537}, 4295032832.0, 0}, // wraps if taken in 32 bits
        {"asc", {""}, 0, 0}, {"asc", {"\xE9z"}, 233, 0}, {"len", {"a\x82\xA0"}, 3, 0}, {"mblen", {"a\x82\xA0"}, 2, 0},
        {"mblen", {"\xA1\xB1"}, 2, 0}, // half-width bytes are single
        {"mblen", {"a\x81"}, 2, 0}, // lead byte standing last
        {"mblen", {"\xE0\x81\x81"}, 2, 0}, // a trail byte is never a lead byte
        {"mbcode", {""}, 0, 0}, {"mbcode", {"\x81\x40z"}, 0x8140, 0}, {"mbcode", {"\x81"}, 0x81, 0},
        {"mbcode", {"\xB1\x40"}, 0xB1, 0}, {"mbcmp", {"a\x81", "a"}, 0, 0}, {"mbcmp", {"abc", "ab\x81"}, 1, 0},
        {"mbcmp", {"\xB1", "\x81\x40"}, -1, 0}, // a double-byte character sorts high
        {"mbcmp", {"\x82\xA0", "\x82\xA1"}, -1, 0}, {"mbcmp", {"ab", "abc"}, -1, 0}, {"mbcmp", {"ab", "ab"}, 0, 0},
        {"strcmp", {"abc", "abc"}, 0, 0}, {"strcmp", {"abc", "ABC"}, 1, 0}, {"strcmp", {"ab", "abc"}, -1, 0},
        {"strcmp", {"a", "\x80"}, -1, 0}, {"strcmpi", {"aBc", "AbC"}, 0, 0},
        {"strcmpi", {"[", "A"}, -1, 0}, // folds to lower case, not upper
        {"strcmpi", {"a", "\x80"}, 1, 0}, // bytes from 0x80 up are negative
        {"strcmpi", {"a\x80", "a"}, -1, 0},
    });
}

// One case per row of the maths library, so a row wired to the wrong
// function or with its arguments swapped shows up.
TEST(NumericFunctions, TranscendentalValues)
{
    CheckNumbers({{"asin", {1}, Pi / 2, 0}, {"acos", {-1}, Pi, 0}, {"atan", {1}, Pi / 4, 0},
                  {"atan2", {1, 0}, Pi / 2, 0}, {"atan2", {0, -1}, Pi, 0}, {"cos", {Pi}, -1, 0},
                  {"cosh", {1}, 1.5430806348152437, 0}, {"exp", {1}, 2.718281828459045, 0}, {"hypot", {3, 4}, 5, 0},
                  {"log", {1000}, 3, 0}, {"ln", {2.718281828459045}, 1, 0}, {"sin", {Pi / 2}, 1, 0},
                  {"sinh", {1}, 1.1752011936438014, 0}, {"tan", {Pi / 4}, 1, 0}, {"tanh", {1}, 0.7615941559557649, 0}},
                 nullptr, false);
}

// val evaluates on a record of its own: any inner failure is one domain
// failure, and the caller's cursor, depth, result and text survive.
TEST(NumericFunctions, ValInAContext)
{
    qxtest::TestContext t;
    t.registers[1] = 0.5;
    ASSERT_EQ(0, Quorbix_AllocNParam(&t.ctx, "x", 0, 3.0));
    const char *outer = "sin(val(\"1+1\"))";
    t.ctx.text = outer;
    t.ctx.cursor = outer + 8;
    t.ctx.parenDepth = 2;
    t.ctx.result = 42.0;
    CheckNumbers({{"val", {""}, 0.0, 0}, {"val", {"2*(3+4)  "}, 14, 0}, {"val", {"[b]*x"}, 1.5, 0},
                  {"val", {"1,2"}, 0.0, ErrDomain}, {"val", {"(1"}, 0.0, ErrDomain}, {"val", {"1)"}, 0.0, ErrDomain},
                  {"val", {"1/0"}, 0.0, ErrDomain}, {"val", {"nosuchname"}, 0.0, ErrDomain}},
                 &t.ctx);
    EXPECT_TRUE(t.ctx.cursor == outer + 8 && t.ctx.parenDepth == 2 && t.ctx.result == 42.0 && t.ctx.text == outer);
    EXPECT_EQ(t.Eval("2 + val(\"(1\")").code, ErrDomain);
    EXPECT_EQ(t.Eval("not(not(5.7))").value, 5.0);
    EXPECT_EQ(t.Eval("lcm(0.5, 0.5)").code, ErrRange); // the NaN fails the end-of-level test
}

struct StringCase {
    const char *name;
    std::vector<Arg> args;
    std::string_view bytes;
    int32_t error;
};

// Takes resultLength bytes, so embedded zero bytes count. A block must come
// back exactly when there is no error, terminated behind the result.
std::string CallString(const char *name, const std::vector<Arg> &args, int32_t *error = nullptr)
{
    CallFrame frame{};
    char *block = Invoke(qx::StringFunctionTable, name, args, frame);
    EXPECT_EQ(block == nullptr, frame.error != 0) << name;
    if (error != nullptr)
        *error = frame.error;
    if (block == nullptr)
        return "";
    EXPECT_EQ(block[frame.resultLength], '\0') << name << " is not terminated";
    std::string bytes(block, frame.resultLength);
    std::free(block);
    return bytes;
}

// Each case runs twice: as it is, and with the first allocation failing,
// when it must give ErrNoMemory, unless its arguments are bad: they are
// refused before anything is allocated.
void CheckStrings(const std::vector<StringCase> &cases)
{
    for (const StringCase &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.name << " case " << (&c - cases.data()));
        int32_t error = 1;
        EXPECT_EQ(CallString(c.name, c.args, &error), c.bytes);
        EXPECT_EQ(error, c.error);
        qxtest::AllocationFailureScope fail(1);
        EXPECT_EQ((CallString(c.name, c.args, &error), error), c.error ? c.error : ErrNoMemory);
        EXPECT_EQ(qxtest::AllocationFailed(), c.error == 0);
    }
}

TEST(StringFunctions, ValuesFailuresAndAllocationFailures)
{
    CheckStrings({
        {"hex$", {0}, "0", 0}, {"oct$", {8}, "10", 0}, {"bin$", {5}, "101", 0}, {"hex$", {0xABCDEF}, "ABCDEF", 0},
        {"hex$", {-1}, "FFFFFFFF", 0}, {"oct$", {-1}, "37777777777", 0},
        {"bin$", {-1}, "11111111111111111111111111111111", 0}, {"hex$", {3e9}, "B2D05E00", 0},
        {"hex$", {255.9}, "FF", 0}, {"hex$", {4294967296.0}, "0", 0}, {"chr$", {321}, "A", 0},
        {"chr$", {-191}, "A", 0}, {"chr$", {0}, "\0"sv, 0}, {"chr$", {3e9}, "\0"sv, 0},
        {"mbchr$", {0x8140}, "\x81\x40", 0}, {"mbchr$", {0x10041}, "A", 0}, {"mbchr$", {0}, "\0"sv, 0},
        {"mbchr$", {0x81}, "\x81", 0},
        {"mbchr$", {0x4142}, "B", 0}, {"mbchr$", {0xF042}, "B", 0}, // a high byte that opens no pair is dropped
        // The neighbours of both letter ranges, and bytes whose low 7 bits are
        // letters, come through unchanged; a trail byte is folded like any.
        {"lower$", {"AbZ-9_@[`{\x80\xC1\xE1"}, "abz-9_@[`{\x80\xC1\xE1", 0},
        {"upper$", {"aBz-9_@[`{\x80\xC1\xE1"}, "ABZ-9_@[`{\x80\xC1\xE1", 0}, {"lower$", {"\x83\x41"}, "\x83\x61", 0},
        // Counts are signed 32-bit values, tested before anything else.
        {"spc$", {2.9}, "  ", 0}, {"spc$", {-0.5}, "", 0}, {"spc$", {-1}, "", ErrDomain},
        {"spc$", {3e9}, "", ErrDomain}, {"left$", {"abcde", 3}, "abc", 0}, {"left$", {"abcde", 99}, "abcde", 0},
        {"left$", {"abcde", 3e9}, "", ErrDomain}, {"left$", {"", -1}, "", ErrDomain},
        // The edge of the signed conversion: just below 2^31 truncates, 2^31 itself does not fit.
        {"left$", {"abcde", 2147483647.5}, "abcde", 0}, {"left$", {"abcde", 2147483648.0}, "", ErrDomain},
        {"right$", {"abcde", 3}, "cde", 0}, {"right$", {"abcde", 0}, "", 0}, {"right$", {"abcde", -1}, "", ErrDomain},
        {"mid$", {"abcde", 4, 10}, "de", 0}, {"mid$", {"abcde", 6, 1}, "", 0}, {"mid$", {"abcde", 1, 0}, "", 0},
        {"mid$", {"abcde", 2.9, 1.9}, "b", 0},
        {"mid$", {"abcde", 2147483647, 2147483647}, "", 0}, {"mid$", {"abcde", 0, 1}, "", ErrDomain},
        {"mid$", {"abcde", 3e9, 1}, "", ErrDomain}, {"mid$", {"", 0, 1}, "", ErrDomain},
        {"mid$", {"", 1, -1}, "", ErrDomain}, {"mid$", {"", 1, 1}, "", 0}, {"str$", {-0.0}, "-0", 0},
        {"real$", {-0.5, -0.5, 1.5}, "2", 0}, {"real$", {17, 2, 1}, "", ErrDomain},
        {"real$", {2, 17, 1}, "", ErrDomain}, {"real$", {-1, 2, 1}, "", ErrDomain},
        {"real$", {2, -1, 1}, "", ErrDomain},
    });
}

// Values that stress rounding and the switch between plain and exponent form:
// hand-picked ones, powers of ten from denormal to huge, and random doubles.
std::vector<double> SampleValues(int powerStep, int randomRounds)
{
    std::vector<double> values = {0.0, -0.0, 0.5, -2.5, 1.0 / 3, 0.1 + 0.2, 1.005, 99.995, 0x1p53 + 2,
                                  9999999999999998.0, 0.9999999999999999, DBL_MAX, -DBL_MAX, DBL_MIN, DBL_TRUE_MIN};
    for (int e = -324; e <= 308; e += powerStep) {
        const double p = std::strtod(("1e" + std::to_string(e)).c_str(), nullptr);
        values.insert(values.end(), {p, -p * 7.5});
    }
    std::mt19937_64 random(20240611);
    std::uniform_real_distribution<double> unit(-1e6, 1e6);
    for (int round = 0; round < randomRounds; ++round) {
        const double any = std::bit_cast<double>(random());
        values.insert(values.end(), {std::isfinite(any) ? any : 0.0, unit(random),
                                     static_cast<double>(static_cast<int64_t>(random()) >> (random() % 64))});
    }
    return values;
}

TEST(StringFunctions, StrAndRealMatchPrintfInTheCLocale)
{
    char expected[400];
    for (double x : SampleValues(3, 300)) {
        std::snprintf(expected, sizeof expected, "%.16G", x);
        ASSERT_EQ(CallString("str$", {x}), expected) << "value " << expected;
    }
    for (double x : SampleValues(29, 10))
        for (int width = 0; width <= 16; ++width)
            for (int precision = 0; precision <= 16; ++precision) {
                std::snprintf(expected, sizeof expected, "%*.*f", width, precision, x);
                ASSERT_EQ(CallString("real$", {width, precision, x}), expected)
                    << "width " << width << " precision " << precision;
            }
}

} // namespace
