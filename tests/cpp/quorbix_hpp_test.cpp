// The C++ layer: ownership across moves, results and codes, whole texts,
// callables as host functions, constants, the name walk and files.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "quorbix.hpp"
#include "support/alloc_hooks.h"

namespace {

using quorbix::CallContext;
using quorbix::Context;

TEST(CppContext, MoveHandsOverTableRegistersAndCallables)
{
    Context a;
    ASSERT_TRUE(a.ok());
    a.reg('b') = 2;
    ASSERT_TRUE(a.defineFunction("twice", [](double x) { return 2 * x; }));
    double *registers = a.registers();
    Context b(std::move(a));
    EXPECT_FALSE(a.ok());
    EXPECT_EQ(a.eval("1").code(), ErrNoMemory);
    EXPECT_EQ(b.registers(), registers); // the library may keep pointing there
    EXPECT_EQ(b.eval("twice([b]) + [B]").valueOr(0), 6);
    Context c;
    c = std::move(b);
    c.reg('Z') = 1;
    EXPECT_EQ(c.eval("twice([b]) + [z]").valueOr(0), 5);
}

TEST(CppContext, FailedInitialiseLeavesAnEmptyContextAndNoBlocks)
{
    const long baseline = qxtest::LiveBlocks();
    {
        qxtest::AllocationFailureScope fail(1);
        Context ctx;
        EXPECT_FALSE(ctx.ok());
        EXPECT_EQ(ctx.createNumber("x").code(), ErrNoMemory);
        EXPECT_EQ(ctx.kind("1"), quorbix::TextKind::Unknown);
        EXPECT_EQ(ctx.count(), 0u);
    }
    EXPECT_EQ(qxtest::LiveBlocks(), baseline);
}

TEST(CppContext, EvaluationResultsCodesAndStopOffset)
{
    Context ctx;
    const std::string longSum = "1" + std::string(200, ' ') + "+ 2"; // copied to the heap as a view
    struct Row { std::string_view text; int32_t code; double value; size_t stop; };
    for (const Row &row : std::vector<Row>{{"2*(3+4)", 0, 14, 7},
                                           {std::string_view("1+2junk", 3), 0, 3, 3},
                                           {longSum, 0, 3, longSum.size()},
                                           {"1/0", ErrDivideByZero, 0, 3},
                                           {"1 + (2 * 3", ErrParenMismatch, 0, 10}}) {
        const quorbix::Result<double> r = ctx.eval(row.text);
        EXPECT_EQ(r.code(), row.code) << row.text;
        EXPECT_EQ(r.valueOr(-1), row.code == 0 ? row.value : -1) << row.text;
        EXPECT_EQ(ctx.stopOffset(), row.stop) << row.text;
    }
    EXPECT_EQ(ctx.evalString("\"ab\" + left$(\"xyz\", 2)").valueOr("?"), "abxy");
    EXPECT_EQ(ctx.evalString("\"ab").code(), ErrUnterminatedString);
    SubstitutionTarget target{};
    EXPECT_TRUE(ctx.assign(std::string_view("x = 5;", 5), &target));
    EXPECT_STREQ(target.name, "x");
    EXPECT_EQ(ctx.eval("x + 1").valueOr(0), 6);
    EXPECT_EQ(ctx.assign("= 1").code(), ErrBadName);
    EXPECT_EQ(ctx.kind("\"a\""), quorbix::TextKind::String);
    EXPECT_EQ(ctx.kind("  "), quorbix::TextKind::Blank);
}

TEST(CppContext, TextsOfAnyLengthReadBackWhole)
{
    Context ctx;
    const std::string big = std::string(5000, 'x') + "end";
    ASSERT_TRUE(ctx.createString("s$", big));
    EXPECT_EQ(ctx.getString("s$").valueOr(""), big);
    ASSERT_TRUE(ctx.createStringArray("t$", 3, 3));
    ASSERT_TRUE(ctx.setString("t$", 1, 2, big));
    EXPECT_EQ(ctx.getString("t$", 1, 2).valueOr(""), big);
    // The in-place read refuses what the C getter refuses, with its codes.
    char buffer[8];
    EXPECT_EQ(ctx.getString("t$", 3, 0).code(), Quorbix_GetParam_SD2(ctx.raw(), "t$", 3, 0, buffer, 8));
    EXPECT_EQ(ctx.getString("t$", 0, 3).code(), ErrArgument);
    EXPECT_EQ(ctx.getString("t$", 0).code(), Quorbix_GetParam_SD1(ctx.raw(), "t$", 0, buffer, 8));
    EXPECT_EQ(ctx.getString("len$").code(), ErrBadName); // a built-in, not a parameter
}

TEST(CppContext, CallablesBecomeFunctions)
{
    Context ctx;
    int calls = 0;
    ASSERT_TRUE(ctx.defineFunction("weigh", [&calls](std::string_view s, double n, const char *t) {
        ++calls;
        return static_cast<double>(s.size()) * n + static_cast<double>(std::strlen(t));
    }));
    ASSERT_TRUE(ctx.defineFunction("rep$", [](std::string s, double n) {
        std::string out;
        for (int k = 0; k < static_cast<int>(n); ++k)
            out += s;
        return out;
    }));
    ASSERT_TRUE(ctx.defineFunction("reg", [](CallContext &cc) { return cc.registers()[0]; }));
    ctx.reg('a') = 7;
    EXPECT_EQ(ctx.eval("weigh(\"abc\", 2, \"xy\") + reg()").valueOr(0), 15);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(ctx.evalString("rep$(\"ab\", 3) + rep$(\"q\", 0)").valueOr("?"), "ababab");
    EXPECT_EQ(ctx.eval("weigh(1, 2, \"\")").code(), ErrSyntax); // argument kinds come from the types
    EXPECT_EQ(ctx.defineFunction("rep", [] { return std::string(); }).code(), ErrSyntax); // no '$'
}

TEST(CppContext, FailuresAndExceptionsBecomeCodesWithoutLeaks)
{
    Context ctx;
    ASSERT_TRUE(ctx.defineFunction("root", [](double x, CallContext &cc) {
        if (x < 0)
            cc.fail(x < -1 ? 5 : -100);
        return std::sqrt(x);
    }));
    ASSERT_TRUE(ctx.defineFunction("boom", [](double x) -> double {
        if (x > 0)
            throw std::runtime_error("boom");
        throw std::bad_alloc();
    }));
    ASSERT_TRUE(ctx.defineFunction("oops$", [](std::string_view s, CallContext &cc) {
        if (s == "fail")
            cc.fail(-200);
        else
            throw std::logic_error("oops");
        return std::string(s);
    }));
    const long baseline = qxtest::LiveBlocks();
    struct Row { const char *text; int32_t code; };
    for (const Row &row : {Row{"root(4) - 2", 0}, Row{"root(-1)", -100}, Row{"root(-2)", ErrDomain},
                           Row{"boom(1)", ErrDomain}, Row{"boom(0)", ErrNoMemory}})
        EXPECT_EQ(ctx.eval(row.text).code(), row.code) << row.text;
    EXPECT_EQ(ctx.evalString("oops$(\"fail\")").code(), -200);
    EXPECT_EQ(ctx.evalString("oops$(\"x\" + \"y\")").code(), ErrDomain);
    EXPECT_EQ(qxtest::LiveBlocks(), baseline);
}

TEST(CppContext, ConstantsOutliveTheCallersText)
{
    Context ctx;
    std::string text(300, 'g');
    ASSERT_TRUE(ctx.defineConstant("greeting$", text));
    ASSERT_TRUE(ctx.defineConstant("half", 0.5));
    text = std::string(300, '?'); // a new buffer: the old one is freed
    EXPECT_EQ(ctx.evalString("greeting$").valueOr(""), std::string(300, 'g'));
    EXPECT_EQ(ctx.defineConstant("half", 1.0).code(), ErrSyntax);
    EXPECT_EQ(ctx.eval("half * 4").valueOr(0), 2);
}

TEST(CppContext, ParamWalkKeepsTableOrderAndStops)
{
    Context ctx;
    for (const char *name : {"zed", "_u", "alpha", "b"})
        ASSERT_TRUE(ctx.createNumber(name));
    ASSERT_TRUE(ctx.createString("a$"));
    std::vector<std::string> seen;
    EXPECT_TRUE(ctx.forEachParam([&](std::string_view name) { seen.emplace_back(name); }));
    EXPECT_EQ(seen, (std::vector<std::string>{"a$", "alpha", "b", "zed", "_u"}));
    seen.clear();
    EXPECT_EQ(ctx.forEachParam([&](std::string_view name) { seen.emplace_back(name); return seen.size() < 2; }).code(),
              ErrSyntax);
    EXPECT_EQ(seen.size(), 2u);
    EXPECT_THROW((void)ctx.forEachParam([](std::string_view) { throw std::runtime_error("stop"); }),
                 std::runtime_error);
}

TEST(CppContext, SaveAndLoadRoundTrip)
{
    Context from;
    ASSERT_TRUE(from.createNumber("n", 1.25, AttrDeleteProtected));
    ASSERT_TRUE(from.createString("s$", std::string(1000, 's')));
    ASSERT_TRUE(from.createNumberArray("m", 2, 3));
    ASSERT_TRUE(from.setNumber("m", 1, 2, -4));
    ASSERT_TRUE(from.duplicate("s$", "copy$"));
    FILE *file = std::tmpfile();
    ASSERT_TRUE(from.save(fileno(file)));
    ASSERT_EQ(lseek(fileno(file), 0, SEEK_SET), 0);
    Context to;
    ASSERT_TRUE(to.load(fileno(file)));
    std::fclose(file);
    uint32_t guarded = 0;
    EXPECT_EQ(to.count(&guarded), 4u);
    EXPECT_EQ(guarded, 1u);
    EXPECT_EQ(to.attributes("n").valueOr(0), uint32_t(AttrDeleteProtected));
    EXPECT_EQ(to.getNumber("n").valueOr(0), 1.25);
    EXPECT_EQ(to.getNumber("m", 1, 2).valueOr(0), -4);
    EXPECT_EQ(to.getString("copy$").valueOr(""), std::string(1000, 's'));
    EXPECT_EQ(to.erase("n").code(), ErrProtected);
}

} // namespace
