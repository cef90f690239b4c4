// Assignment statements: creating scalars, writing elements and registers,
// the order of failures, and what the statement reports and puts back.
#include <cstring>
#include <string>

#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

using qxtest::TestContext;

class StatementTest : public ::testing::Test {
protected:
    StatementTest()
    {
        EXPECT_EQ(Quorbix_AllocNParam(&t.ctx, "n", 0, 2), 0);
        EXPECT_EQ(Quorbix_AllocSParam(&t.ctx, "s$", 0, "abc"), 0);
        EXPECT_EQ(Quorbix_AllocNDim(&t.ctx, 3, 0, 0, "a"), 0);
        EXPECT_EQ(Quorbix_AllocNDim(&t.ctx, 2, 3, 0, "m"), 0);
        EXPECT_EQ(Quorbix_AllocSDim(&t.ctx, 3, 0, 0, "v$"), 0);
        EXPECT_EQ(Quorbix_AllocSDim(&t.ctx, 2, 2, 0, "w$"), 0);
        EXPECT_EQ(Quorbix_AllocNParam(&t.ctx, "ro", AttrReadOnly, 1), 0);
        EXPECT_EQ(Quorbix_AllocNDim(&t.ctx, 2, 0, AttrReadOnly, "roa"), 0);
    }

    int32_t Run(const char *statement, SubstitutionTarget *target = nullptr)
    {
        t.ctx.text = statement;
        return Quorbix_Substitution(&t.ctx, target);
    }

    double Number(const char *text) { return t.Eval(text).value; }
    std::string Text(const char *text) { return t.EvalString(text).value; }
    bool Exists(const char *name) { return qx::FindSymbol(&t.ctx, name) != nullptr; }

    TestContext t;
};

TEST_F(StatementTest, AssignsToEveryKindOfTarget)
{
    const struct { const char *statement, *readBack; double number; const char *text; } cases[] = {
        {"n = 2*pi", "n", 2 * 3.141592653589793, nullptr}, {"fresh = 5", "fresh", 5, nullptr},
        {"fresh$ = left$(s$,1)", "fresh$", 0, "a"},       {"a(1) = 7", "a(1)", 7, nullptr},
        {"a(-0.5) = 9", "a(0)", 9, nullptr},               {"a() = 4", "a(0)", 4, nullptr},
        {"a(atan2(0,1)) = 3", "a(0)", 3, nullptr},         {"m(1,2) = 6", "m(1,2)", 6, nullptr},
        {"m(,) = 1", "m(0,0)", 1, nullptr},                {"v$(2) = \"x\" + s$", "v$(2)", 0, "xabc"},
        {"w$(1,1) = \"corner\"", "w$(1,1)", 0, "corner"}, {"s$ = s$ + s$", "s$", 0, "abcabc"},
        {"x = x + 1", "x", 1, nullptr},                    {"e =", "e", 0, nullptr},
        {"e$ =", "e$", 0, ""},                             {"c = n = 2*pi", "c", 1, nullptr},
        {"a b = 1", "ab", 1, nullptr},                     {"N = 3", "n", 3, nullptr},
        {"[A] = 1.5", "[a]", 1.5, nullptr},                {"[ z ] = [a] * 2", "[Z]", 3, nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.statement);
        ASSERT_EQ(Run(c.statement), 0);
        if (c.text == nullptr)
            EXPECT_EQ(Number(c.readBack), c.number);
        else
            EXPECT_EQ(Text(c.readBack), c.text);
    }
    EXPECT_STREQ(qx::FindSymbol(&t.ctx, "n")->name, "n"); // the stored spelling stays
}

TEST_F(StatementTest, RefusesInTheOrderOfItsTests)
{
    struct Case {
        const char *statement;
        int32_t code;
    } cases[] = {
        {"", ErrSyntax},           {"   ", ErrSyntax},         {"x(1) = 5", ErrBadName},
        {"x$(1,2) = s$", ErrBadName}, {"x$y = 1", ErrBadName}, {"1 = 2", ErrBadName},
        {"= 1", ErrBadName},       {"(n) = 1", ErrBadName},    {"pi = 3", ErrBadName},
        {"sin = 3", ErrBadName},   {"tab$ = s$", ErrBadName},  {"a = 1", ErrBadName},
        {"n(0) = 1", ErrBadName},  {"a(0,0) = 1", ErrBadName}, {"m(0) = 1", ErrBadName},
        {"a(0,0,0) = 1", ErrBadName}, {"a(0 = 1", ErrBadName}, {"s$(0) = s$", ErrBadName},
        {"v$ = s$", ErrBadName},   {"ro = 1", ErrReadOnly},
        {"ro(1) = 2", ErrReadOnly}, {"roa(5) = 1", ErrReadOnly}, {"a(\"x) = 1", ErrUnterminatedString},
        {"a(3) = 1", ErrBadName},  {"a(-1) = 1", ErrBadName},  {"m(2,0) = 1", ErrBadName},
        {"a(1/0) = 1", ErrDivideByZero}, {"n 5", ErrSyntax},   {"n == 1", ErrSyntax},
        {"n != 1", ErrSyntax},     {"n < 1", ErrSyntax},       {"n = 1, 2", ErrSyntax},
        {"s$ = 5", ErrSyntax},     {"n = s$", ErrSyntax},      {"n = \"a\"", ErrSyntax},
        {"n = 1 +", ErrSyntax},    {"a(1) = 1/0", ErrDivideByZero}, {"[ab] = 1", ErrBadName},
        {"[1] = 1", ErrBadName},   {"[] = 1", ErrBadName},     {"[a] 5", ErrSyntax},
        {"[a] = \"x\"", ErrSyntax},
        {"abcdefghijklmnopqrstuvwxyzabcdefgh = 1", ErrBadName}, {"[b] = 1/0", ErrDivideByZero},
    };
    t.registers[1] = 0.5;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.statement);
        EXPECT_EQ(Run(c.statement), c.code);
    }
    EXPECT_EQ(Number("n"), 2); // failed statements left every value alone
    EXPECT_EQ(Number("ro"), 1);
    EXPECT_EQ(Text("s$"), "abc");
    EXPECT_EQ(t.registers[1], 0.5);
    EXPECT_FALSE(Exists("x"));
    EXPECT_FALSE(Exists("x$"));
    t.ctx.registers = nullptr;
    EXPECT_EQ(Run("[a] = 1"), ErrSyntax);
    EXPECT_EQ(Run("[ab] = 1"), ErrSyntax); // the missing array is reported first
}

// A new scalar stays even when the rest of its statement fails; a failed
// right-hand side leaves no value behind.
TEST_F(StatementTest, NewScalarSurvivesALaterFailure)
{
    EXPECT_EQ(Run("y = 1 +"), ErrSyntax);
    EXPECT_EQ(Run("x 5"), ErrSyntax); // the blank joins the name
    EXPECT_EQ(Run("q$ = 5"), ErrSyntax);
    EXPECT_EQ(Number("y") + Number("x5"), 0);
    EXPECT_EQ(Text("q$"), "");
    EXPECT_EQ(Run("n = 1/0"), ErrDivideByZero);
    EXPECT_EQ(t.ctx.result, 0.0);
    EXPECT_EQ(Run("s$ = s$ + nosuch$"), ErrSyntax);
    EXPECT_EQ(t.ctx.stringResult, nullptr);
    ASSERT_EQ(Run("n = 4"), 0);
    EXPECT_EQ(t.ctx.result, 4); // a numeric statement leaves its value in result
    EXPECT_EQ(Run("abcdefghijklmnopqrstuvwxyzabcdefg = 2"), 0); // 33 bytes
}

// In a bucket searched by halving, a name created by the statement itself is
// found by its own right-hand side, and every other name stays findable.
TEST_F(StatementTest, LargeBucketFindsTheNewName)
{
    const char *names[] = {"b1", "b3", "b5", "b7", "b9", "bb", "bd", "bf", "bh", "bj"};
    for (const char *name : names)
        ASSERT_EQ(Quorbix_AllocNParam(&t.ctx, name, 0, 1), 0);
    EXPECT_EQ(Run("b4 = b4 + b9 + 1"), 0);
    EXPECT_EQ(Run("b0 = 1 +"), ErrSyntax);
    EXPECT_EQ(Number("b4"), 2);
    EXPECT_EQ(Number("b0"), 0);
    for (const char *name : names)
        EXPECT_EQ(Number(name), 1) << name;
}

TEST_F(StatementTest, ReportsTheTargetAsWritten)
{
    struct Case {
        const char *statement;
        int32_t code;
        const char *name;
        uint16_t kind;
        uint32_t index1, index2;
    } cases[] = {
        {"N = 1", 0, "N", NS, 0xABABABAB, 0xABABABAB},
        {"S $ = \"\"", 0, "S$", SS, 0xABABABAB, 0xABABABAB},
        {"a(2) = 1", 0, "a", ND1, 2, 0xABABABAB},
        {"v$(1) = \"\"", 0, "v$", SD1, 1, 0xABABABAB},
        {"m(1,2) = 1", 0, "m", ND2, 1, 2},
        {"w$(0,1) = \"\"", 0, "w$", SD2, 0, 1},
        {"m(1,2) 5", ErrSyntax, "m", ND2, 1, 2},
        {"[C] = 1", 0, "\xAB\xAB", NRegister, 2, 0xABABABAB},
        {"[a] 5", ErrSyntax, "\xAB\xAB", NRegister, 0, 0xABABABAB},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.statement);
        SubstitutionTarget target;
        std::memset(&target, 0xAB, sizeof target);
        EXPECT_EQ(Run(c.statement, &target), c.code);
        EXPECT_EQ(std::string(target.name, std::strlen(c.name)), c.name);
        EXPECT_EQ(target.kind, c.kind);
        EXPECT_EQ(target.index1, c.index1);
        EXPECT_EQ(target.index2, c.index2);
    }
    SubstitutionTarget untouched;
    std::memset(&untouched, 0xAB, sizeof untouched);
    for (const char *early : {"ro = 1", "a(9) = 1", "[1] = 2", "pi = 1"}) {
        SubstitutionTarget target = untouched;
        EXPECT_NE(Run(early, &target), 0);
        EXPECT_EQ(std::memcmp(&target, &untouched, sizeof target), 0) << early;
    }
}

// A depth left stale by a failed evaluation must not spoil the next statement.
TEST_F(StatementTest, PutsCursorDepthAndTextBackOnEveryOutcome)
{
    const char *sentinel = "sentinel";
    for (const char *statement : {"a(1) = 5", "a(1) = (2", "a(5) = 1", "s$ = s$ + \"x\"", "q = )", "[a] = 1,", ""}) {
        SCOPED_TRACE(statement);
        t.ctx.cursor = sentinel + 3;
        t.ctx.parenDepth = -7;
        t.ctx.text = statement;
        Quorbix_Substitution(&t.ctx, nullptr);
        EXPECT_EQ(t.ctx.cursor, sentinel + 3);
        EXPECT_EQ(t.ctx.parenDepth, -7);
        EXPECT_EQ(t.ctx.text, statement);
    }
    EXPECT_EQ(Number("a(1)"), 5);
}

} // namespace
