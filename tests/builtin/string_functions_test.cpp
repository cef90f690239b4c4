// The string built-ins, called directly through their table rows.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "builtin/builtin_tables.h"
#include "support/alloc_hooks.h"

namespace {

using namespace std::string_view_literals;

// One argument: a number or a text. The row's kinds must agree.
struct Arg {
    Arg(int v) : number(v) {}
    Arg(double v) : number(v) {}
    Arg(const char *t) : text(t) {}
    double number = 0;
    const char *text = nullptr;
};

struct Outcome {
    std::string bytes;
    int32_t error;
};

const SFunctionDef *FindRow(std::string_view name)
{
    for (const SFunctionDef *row = qx::StringFunctionTable; row->name != nullptr; ++row)
        if (name == row->name)
            return row;
    return nullptr;
}

// Calls the built-in as the evaluator would and takes resultLength bytes, so
// embedded zero bytes count. A block must come back exactly when there is no
// error, and it must be terminated behind the result.
Outcome Call(std::string_view name, const std::vector<Arg> &args)
{
    const SFunctionDef *row = FindRow(name);
    if (row == nullptr) {
        ADD_FAILURE() << "no row " << name;
        return {"", 0};
    }
    EXPECT_EQ(row->argCount, static_cast<int32_t>(args.size())) << name;
    CallFrame frame{};
    for (size_t k = 0; k < args.size(); ++k) {
        EXPECT_EQ(row->argKinds[k], args[k].text ? ArgString : ArgNumeric) << name << " arg " << k;
        if (args[k].text)
            frame.args[k].text = args[k].text;
        else
            frame.args[k].number = args[k].number;
    }
    frame.argKinds = row->argKinds;
    frame.argCount = row->argCount;
    char *block = row->callback(&frame);
    EXPECT_EQ(block == nullptr, frame.error != 0) << name;
    Outcome out{"", frame.error};
    if (block != nullptr) {
        out.bytes.assign(block, frame.resultLength);
        EXPECT_EQ(block[frame.resultLength], '\0') << name << " is not terminated";
        std::free(block);
    }
    return out;
}

struct Case {
    const char *name;
    std::vector<Arg> args;
    std::string_view expected;
    int32_t error;
};

void RunCases(const std::vector<Case> &cases)
{
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.name << " case " << (&c - cases.data()));
        const Outcome out = Call(c.name, c.args);
        EXPECT_EQ(out.error, c.error);
        EXPECT_EQ(out.bytes, c.expected);
    }
}

TEST(StringFunctionTable, RowsInOrderWithNullTerminator)
{
    const char *names[] = {"bin$", "chr$", "hex$", "lower$", "left$", "mbchr$", "mid$",
                           "oct$", "real$", "right$", "str$", "spc$", "upper$"};
    const SFunctionDef *row = qx::StringFunctionTable;
    for (const char *name : names) {
        ASSERT_NE(row->name, nullptr);
        EXPECT_STREQ(row->name, name);
        EXPECT_EQ(row->userWord, 0u) << name;
        for (int k = row->argCount; k < 16; ++k)
            EXPECT_EQ(row->argKinds[k], 0u) << name << " kind " << k;
        ++row;
    }
    EXPECT_EQ(row->name, nullptr);
}

TEST(StringFunctions, RadixConversionsCoverTheUnsigned32Range)
{
    RunCases({
        {"hex$", {0}, "0", 0},                     {"oct$", {8}, "10", 0},
        {"bin$", {5}, "101", 0},                   {"hex$", {0xABCDEF}, "ABCDEF", 0},
        {"hex$", {-1}, "FFFFFFFF", 0},             {"oct$", {-1}, "37777777777", 0},
        {"bin$", {-1}, "11111111111111111111111111111111", 0},
        {"hex$", {4294967295.0}, "FFFFFFFF", 0},   {"hex$", {3e9}, "B2D05E00", 0},
        {"hex$", {255.9}, "FF", 0},                {"hex$", {4294967296.0}, "0", 0},
        {"hex$", {0x1p63}, "0", 0},                {"oct$", {-0x1p64}, "0", 0},
        {"bin$", {1e300}, "0", 0},
    });
}

TEST(StringFunctions, ChrAndMbchrGiveCountedBytes)
{
    RunCases({
        {"chr$", {65}, "A", 0},                    {"chr$", {65.9}, "A", 0},
        {"chr$", {321}, "A", 0},                   {"chr$", {-191}, "A", 0},
        {"chr$", {255}, "\xFF", 0},                {"chr$", {0}, "\0"sv, 0},
        {"chr$", {256}, "\0"sv, 0},                {"chr$", {3e9}, "\0"sv, 0},
        {"mbchr$", {0x8140}, "\x81\x40", 0},       {"mbchr$", {0xEF41}, "\xEF\x41", 0},
        {"mbchr$", {65}, "A", 0},                  {"mbchr$", {65536 + 65}, "A", 0},
        {"mbchr$", {0}, "\0"sv, 0},                {"mbchr$", {0x81}, "\x81", 0},
        // A high byte that opens no double-byte character is dropped.
        {"mbchr$", {0x4142}, "B", 0},              {"mbchr$", {0xF042}, "B", 0},
        {"mbchr$", {0xA042}, "B", 0},
    });
}

TEST(StringFunctions, CountsAreSigned32AndTestedFirst)
{
    RunCases({
        {"spc$", {0}, "", 0},                      {"spc$", {3}, "   ", 0},
        {"spc$", {2.9}, "  ", 0},                  {"spc$", {-0.5}, "", 0},
        {"spc$", {-1}, "", ErrDomain},             {"spc$", {3e9}, "", ErrDomain},
        {"left$", {"abcde", 3}, "abc", 0},         {"left$", {"abcde", 5}, "abcde", 0},
        {"left$", {"abcde", 99}, "abcde", 0},      {"left$", {"abcde", 0}, "", 0},
        {"left$", {"abcde", -0.5}, "", 0},         {"left$", {"abcde", -1}, "", ErrDomain},
        {"left$", {"abcde", 3e9}, "", ErrDomain},  {"left$", {"", -1}, "", ErrDomain},
        {"left$", {"", 2}, "", 0},                 {"right$", {"abcde", 3}, "cde", 0},
        {"right$", {"abcde", 99}, "abcde", 0},     {"right$", {"abcde", 0}, "", 0},
        {"right$", {"abcde", -1}, "", ErrDomain},  {"right$", {"abcde", 3e9}, "", ErrDomain},
        {"mid$", {"abcde", 2, 3}, "bcd", 0},       {"mid$", {"abcde", 4, 10}, "de", 0},
        {"mid$", {"abcde", 5, 1}, "e", 0},         {"mid$", {"abcde", 6, 1}, "", 0},
        {"mid$", {"abcde", 1, 0}, "", 0},          {"mid$", {"abcde", 2.9, 1.9}, "b", 0},
        {"mid$", {"abcde", 2147483647.0, 2147483647.0}, "", 0},
        {"mid$", {"abcde", 0, 1}, "", ErrDomain},  {"mid$", {"abcde", 1, -1}, "", ErrDomain},
        {"mid$", {"abcde", 3e9, 1}, "", ErrDomain}, {"mid$", {"abcde", 1, 3e9}, "", ErrDomain},
        {"mid$", {"", 0, 1}, "", ErrDomain},       {"mid$", {"", 1, -1}, "", ErrDomain},
        {"mid$", {"", 1, 1}, "", 0},
    });
}

TEST(StringFunctions, CaseFoldTouchesOnlyAsciiLetters)
{
    // The neighbours of both letter ranges, and bytes whose low 7 bits are
    // letters, must come through unchanged; a trail byte is folded like any.
    RunCases({
        {"lower$", {"AbZ-9_@[`{\x80\xC1\xE1"}, "abz-9_@[`{\x80\xC1\xE1", 0},
        {"upper$", {"aBz-9_@[`{\x80\xC1\xE1"}, "ABZ-9_@[`{\x80\xC1\xE1", 0},
        {"lower$", {"\x83\x41"}, "\x83\x61", 0},   {"lower$", {""}, "", 0},
        {"upper$", {""}, "", 0},
    });
}

TEST(StringFunctions, NumberTexts)
{
    RunCases({
        {"str$", {1}, "1", 0},                     {"str$", {-0.5}, "-0.5", 0},
        {"str$", {0.1}, "0.1", 0},                 {"str$", {-0.0}, "-0", 0},
        {"str$", {1e15}, "1000000000000000", 0},   {"str$", {1e16}, "1E+16", 0},
        {"str$", {1e-5}, "1E-05", 0},              {"str$", {0.0001}, "0.0001", 0},
        {"str$", {-DBL_MAX}, "-1.797693134862316E+308", 0},
        {"real$", {8, 2, 3.14159}, "    3.14", 0}, {"real$", {0, 2, 3.14159}, "3.14", 0},
        {"real$", {4, 0, 2.5}, "   2", 0},         {"real$", {-0.5, -0.5, 1.5}, "2", 0},
        {"real$", {16, 16, 1}, "1.0000000000000000", 0},
        {"real$", {17, 2, 1}, "", ErrDomain},      {"real$", {2, 17, 1}, "", ErrDomain},
        {"real$", {-1, 2, 1}, "", ErrDomain},      {"real$", {2, -1, 1}, "", ErrDomain},
        {"real$", {3e9, 2, 1}, "", ErrDomain},
    });
}

// Values that stress rounding and the switch between plain and exponent form:
// hand-picked ones, powers of ten from denormal to huge, and random doubles.
std::vector<double> SampleValues(int powerStep, int randomRounds)
{
    std::vector<double> values = {0.0, -0.0, 0.5, -0.5, 1.5, 2.5, -2.5, 0.125, 1.0 / 3, 2.0 / 3,
                                  0.1 + 0.2, 1.005, 0.045, 9.5, 99.995, 0x1p53 + 2, 4294967295.0,
                                  9999999999999998.0, 1234567890123456.7, 0.9999999999999999,
                                  1.0000000000000002, 0.0001, 0.00009999999999999999,
                                  DBL_MAX, -DBL_MAX, DBL_MIN, DBL_TRUE_MIN, -DBL_TRUE_MIN};
    for (int e = -324; e <= 308; e += powerStep) {
        const double p = std::strtod(("1e" + std::to_string(e)).c_str(), nullptr);
        values.insert(values.end(), {p, -p * 7.5});
    }
    std::mt19937_64 random(20240611);
    std::uniform_real_distribution<double> unit(-1e6, 1e6);
    for (int round = 0; round < randomRounds; ++round) {
        const uint64_t bits = random();
        double any;
        std::memcpy(&any, &bits, sizeof any);
        if (std::isfinite(any))
            values.push_back(any);
        values.push_back(unit(random));
        values.push_back(static_cast<double>(static_cast<int64_t>(random()) >> (random() % 64)));
    }
    return values;
}

TEST(StringFunctions, StrMatchesPrintfInTheCLocale)
{
    char expected[64];
    for (double x : SampleValues(1, 2000)) {
        std::snprintf(expected, sizeof expected, "%.16G", x);
        ASSERT_EQ(Call("str$", {x}).bytes, expected) << "value " << expected;
    }
}

TEST(StringFunctions, RealMatchesPrintfForEveryWidthAndPrecision)
{
    char expected[400];
    for (double x : SampleValues(9, 60)) {
        for (int width = 0; width <= 16; ++width)
            for (int precision = 0; precision <= 16; ++precision) {
                std::snprintf(expected, sizeof expected, "%*.*f", width, precision, x);
                ASSERT_EQ(Call("real$", {width, precision, x}).bytes, expected)
                    << "width " << width << " precision " << precision;
            }
    }
}

TEST(StringFunctions, NumberTextsIgnoreTheHostLocale)
{
    const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
    bool haveComma = false;
    for (const char *name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "fr_FR.utf8"}) {
        if (std::setlocale(LC_NUMERIC, name) == nullptr)
            continue;
        char probe[8];
        std::snprintf(probe, sizeof probe, "%.1f", 0.5);
        if ((haveComma = std::strcmp(probe, "0,5") == 0))
            break;
    }
    if (!haveComma) {
        std::setlocale(LC_NUMERIC, saved.c_str());
        GTEST_SKIP() << "no decimal-comma locale is installed";
    }
    const Outcome str = Call("str$", {0.5});
    const Outcome real = Call("real$", {8, 2, 3.14159});
    std::setlocale(LC_NUMERIC, saved.c_str());
    EXPECT_EQ(str.bytes, "0.5");
    EXPECT_EQ(real.bytes, "    3.14");
}

TEST(StringFunctions, AllocationFailureGivesNoMemoryUnlessArgumentsAreBad)
{
    const std::vector<Case> cases = {
        {"bin$", {5}, "", ErrNoMemory},          {"chr$", {65}, "", ErrNoMemory},
        {"hex$", {255}, "", ErrNoMemory},        {"lower$", {"Ab"}, "", ErrNoMemory},
        {"left$", {"abc", 2}, "", ErrNoMemory},  {"mbchr$", {0x8140}, "", ErrNoMemory},
        {"mid$", {"abc", 9, 1}, "", ErrNoMemory}, {"oct$", {8}, "", ErrNoMemory},
        {"real$", {8, 2, 1.5}, "", ErrNoMemory}, {"right$", {"abc", 0}, "", ErrNoMemory},
        {"str$", {1}, "", ErrNoMemory},          {"spc$", {0}, "", ErrNoMemory},
        {"upper$", {""}, "", ErrNoMemory},       {"left$", {"", -1}, "", ErrDomain},
        {"right$", {"abc", -1}, "", ErrDomain},  {"spc$", {-1}, "", ErrDomain},
        {"mid$", {"", 0, 1}, "", ErrDomain},     {"mid$", {"abc", 1, -1}, "", ErrDomain},
        {"real$", {17, 2, 1}, "", ErrDomain},    {"real$", {2, -1, 1}, "", ErrDomain},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        qxtest::AllocationFailureScope fail(1);
        EXPECT_EQ(Call(c.name, c.args).error, c.error);
        EXPECT_EQ(qxtest::AllocationFailed(), c.error == ErrNoMemory);
    }
}

} // namespace
