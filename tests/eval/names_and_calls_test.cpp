// Names in numeric expressions: constants, parameters, array elements, host
// function calls, argument lists and the hexadecimal fall-back.
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

using qxtest::SameDouble;
using qxtest::TestContext;

constexpr ArgKind N[] = {ArgNumeric, ArgNumeric, ArgNumeric};
constexpr ArgKind S[] = {ArgString, ArgString, ArgString};

double QUORBIX_CALL Twice(CallFrame *f) { return 2 * f->args[0].number; }
double QUORBIX_CALL Sub(CallFrame *f) { return f->args[0].number - f->args[1].number; }
double QUORBIX_CALL Seven(CallFrame *) { return 7; }
double QUORBIX_CALL Size(CallFrame *f) { return static_cast<double>(std::strlen(f->args[0].text)); }
double QUORBIX_CALL Fail100(CallFrame *f)
{
    f->error = -100;
    return 1;
}
double QUORBIX_CALL Infinite(CallFrame *) { return HUGE_VAL; }
double QUORBIX_CALL UserWord(CallFrame *f) { return static_cast<double>(f->userWord) + f->argCount; }

class NamesTest : public ::testing::Test {
protected:
    NamesTest()
    {
        t.AddFunction("twice", 1, N, Twice);
        t.AddFunction("sub", 2, N, Sub);
        t.AddFunction("f", 0, N, Seven);
        t.AddFunction("size", 1, S, Size);
        t.AddFunction("size3", 3, S, Size);
        t.AddFunction("fail", 1, S, Fail100);
        t.AddFunction("inf", 0, N, Infinite);
        t.AddFunction("word", 2, N, UserWord, 40);
        EXPECT_EQ(Quorbix_AllocNParam(&t.ctx, "x", 0, 1.5), 0);
        EXPECT_EQ(Quorbix_AllocNDim(&t.ctx, 3, 0, 0, "a"), 0);
        EXPECT_EQ(Quorbix_AllocNDim(&t.ctx, 2, 3, 0, "m"), 0);
        EXPECT_EQ(Quorbix_AllocSParam(&t.ctx, "s$", 0, "abc"), 0);
        double *a = Values("a");
        for (int k = 0; k < 3; ++k)
            a[k] = 10 + k;
        double *m = Values("m");
        for (int k = 0; k < 6; ++k)
            m[k] = k;
    }

    double *Values(const char *name) { return qx::FindSymbol(&t.ctx, name)->array.values; }

    TestContext t;
};

// A failure must leave the result at +0.0.
TEST_F(NamesTest, EvaluatesNamesCallsAndElementsAndRefusesWhatDoesNotFit)
{
    const struct { const char *text; int32_t code; double value; } cases[] = {
        {"x", 0, 1.5}, {"X*2", 0, 3}, {"x *2", 0, 3}, {"TwIcE(2)", 0, 4}, {"PI", 0, 3.141592653589793},
        {"twice (3)", 0, 6}, {"t w i c e(3)", 0, 6},
        {"twice()", 0, 0}, {"sub(,1)", 0, -1}, {"sub(5,twice(2))", 0, 1}, {"f()", 0, 7}, {"size(s$)", 0, 3},
        {"size()", 0, 0}, {"size(s$+)", 0, 3}, {"size(\"a,b)\")", 0, 4}, {"word(1,2)", 0, 42}, {"a(2.9)", 0, 12},
        {"a(-0.5)", 0, 10}, {"a()", 0, 10}, {"a(4294967296)", 0, 10}, {"m(1,2)", 0, 5}, {"m(,)", 0, 0},
        {"ffh", 0, 255}, {"f f h", 0, 255}, {"ah", 0, 10},
        {"sub(1)", ErrArgument, 0}, {"twice(1,2)", ErrArgument, 0}, {"twice(1", ErrArgument, 0},
        {"f(1)", ErrArgument, 0}, {"f(", ErrArgument, 0}, {"twice", ErrSyntax, 0}, {"pi(1)", ErrSyntax, 0},
        {"x(1)", ErrSyntax, 0}, {"a", ErrSyntax, 0}, {"s$", ErrSyntax, 0}, {"tab$", ErrSyntax, 0},
        {"nosuch", ErrSyntax, 0}, {"nosuch(1)", ErrSyntax, 0}, {"ffh(1)", ErrSyntax, 0}, {"h", ErrSyntax, 0},
        {"ab", ErrSyntax, 0}, {"_0h", ErrSyntax, 0}, {"ffe", ErrSyntax, 0}, {"g1h", ErrSyntax, 0},
        {"a(3)", ErrBadName, 0}, {"a(-1)", ErrBadName, 0}, {"a(0,0)", ErrArgument, 0}, {"m(2,0)", ErrBadName, 0},
        {"m(0,3)", ErrBadName, 0}, {"m(1)", ErrArgument, 0}, {"fail(s$)", -100, 0}, {"inf()", ErrRange, 0},
        {"size(1)", ErrSyntax, 0}, {"twice(\"a\")", ErrSyntax, 0}, {"twice(1))", ErrParenMismatch, 0},
    };
    for (const auto &c : cases) {
        const qxtest::NumberOutcome got = t.Eval(c.text);
        EXPECT_EQ(got.code, c.code) << c.text;
        EXPECT_TRUE(SameDouble(got.value, c.value)) << c.text << " gives " << got.value;
    }
}

TEST_F(NamesTest, NameLengthCountsBytesWithoutWhiteSpace)
{
    const char *name33 = "abcdefghijklmnopqrstuvwxyzabcdefg";
    ASSERT_EQ(std::strlen(name33), 33u);
    ASSERT_EQ(Quorbix_AllocNParam(&t.ctx, name33, 0, 4), 0);
    EXPECT_EQ(t.Eval(name33).value, 4);
    EXPECT_EQ(t.Eval("abcdefghijklmnopqrstuvwxyz abcdefg").value, 4);
    EXPECT_EQ(t.Eval("abcdefghijklmnopqrstuvwxyzabcdefgh").code, ErrTokenTooLong);
    EXPECT_EQ(t.ctx.cursor, t.ctx.text); // left on the token's first byte
    EXPECT_EQ(t.Eval("abcdefghijklmnopqrstuvwxyzabcdefgh(1)").code, ErrTokenTooLong);
}

TEST_F(NamesTest, IntegerViewAndParametersBeforeHexLiterals)
{
    ASSERT_EQ(Quorbix_AllocNParam(&t.ctx, "v", AttrIntegerView, -1), 0);
    ASSERT_EQ(Quorbix_AllocNParam(&t.ctx, "w", 0, -1), 0);
    ASSERT_EQ(Quorbix_AllocNDim(&t.ctx, 2, 0, AttrIntegerView, "iv"), 0);
    Values("iv")[1] = 3.9;
    EXPECT_EQ(t.Eval("v").value, 4294967295.0);
    EXPECT_EQ(t.Eval("w").value, -1);
    EXPECT_EQ(t.Eval("iv(1)").value, 3);
    EXPECT_EQ(qx::FindSymbol(&t.ctx, "v")->value, -1); // the stored value is untouched
    ASSERT_EQ(Quorbix_AllocNParam(&t.ctx, "ffh", 0, 2), 0); // a parameter wins over a hex literal
    EXPECT_EQ(t.Eval("ffh").value, 2);
    EXPECT_EQ(t.Eval("0ffh").value, 255);
}

TEST_F(NamesTest, CursorAndDepthAfterCalls)
{
    t.ctx.text = "sub(1,2)+twice(3)";
    ASSERT_EQ(Quorbix(&t.ctx), 0);
    EXPECT_EQ(t.ctx.parenDepth, 0);
    EXPECT_EQ(*t.ctx.cursor, '\0');
    t.ctx.text = "x+a(7)";
    EXPECT_EQ(Quorbix(&t.ctx), ErrBadName);
    EXPECT_EQ(t.ctx.cursor, t.ctx.text + 6); // behind the ')'
    t.ctx.text = "1+nosuch*2";
    EXPECT_EQ(Quorbix(&t.ctx), ErrSyntax);
    EXPECT_EQ(t.ctx.cursor, t.ctx.text + 8); // on the delimiter
}

// Argument texts belong to the call: whatever fails (a bad or unknown third
// argument, too few or too many, a failing callback, a nested failure after a
// success, an open literal, a cut-off list), none may be left behind.
TEST_F(NamesTest, StringArgumentsAreFreedOnEveryPath)
{
    for (const char *text : {"size3(s$, s$, 1)", "size3(s$, s$+\"x\", nosuch$)", "size3(s$, s$)",
                             "size3(s$, s$, s$, s$)", "fail(s$)", "size3(s$, s$, s$)+twice(fail(s$))",
                             "size3(s$, s$, \"open", "size3(s$,s$,s$"}) {
        SCOPED_TRACE(text);
        const long before = qxtest::LiveBlocks();
        EXPECT_NE(t.Eval(text).code, 0);
        EXPECT_EQ(qxtest::LiveBlocks(), before);
    }
    EXPECT_EQ(t.Eval("size3(s$, s$, s$)").value, 3);
}

} // namespace
