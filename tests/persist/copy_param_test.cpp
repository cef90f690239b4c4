#include <gtest/gtest.h>

#include <string>

#include "core/symbol_table.h"
#include "quorbix.h"
#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

using qxtest::TestContext;

const qx::SymbolEntry *Find(EvalContext *ctx, const char *name) { return qx::FindSymbol(ctx, name); }

std::string Element(EvalContext *ctx, const char *name, uint32_t i, uint32_t j)
{
    char buffer[64] = "unread";
    EXPECT_EQ(Quorbix_GetParam_SD2(ctx, name, i, j, buffer, sizeof buffer), 0);
    return buffer;
}

double QUORBIX_CALL Nothing(CallFrame *) { return 0; }

TEST(CopyParam, StringArrayCopySharesNothing)
{
    TestContext a, b;
    ASSERT_EQ(Quorbix_AllocSDim(&a.ctx, 3, 2, AttrIntegerView | 0x100, "Grid$"), 0);
    ASSERT_EQ(Quorbix_SetParam_SD2(&a.ctx, "grid$", 1, 1, "source"), 0);
    ASSERT_EQ(Quorbix_CopyParam(&b.ctx, &a.ctx, "GRID$", 0), 0);
    ASSERT_EQ(Quorbix_SetParam_SD2(&b.ctx, "grid$", 1, 1, "a much longer text in the copy"), 0);
    ASSERT_EQ(Quorbix_SetParam_SD2(&a.ctx, "grid$", 0, 1, "only in the source"), 0);
    EXPECT_EQ(Element(&a.ctx, "grid$", 1, 1), "source");
    EXPECT_EQ(Element(&b.ctx, "grid$", 0, 1), "");
    ASSERT_EQ(Quorbix_DeleteParam(&a.ctx, "grid$"), 0);
    EXPECT_EQ(Element(&b.ctx, "grid$", 1, 1), "a much longer text in the copy");
    ParamInfo info{};
    ASSERT_EQ(Quorbix_GetParamInfo(&b.ctx, "grid$", &info), 0);
    EXPECT_EQ(info.attribute, AttrIntegerView | 0x100u);
    EXPECT_EQ(info.kind * 100 + info.dim1 * 10 + info.dim2, SD2 * 100 + 32u);
    EXPECT_STREQ(Find(&b.ctx, "grid$")->name, "GRID$"); // spelled as the caller asked
}

// The source holds x as ND1; the destination, as `prepare` leaves it, decides.
TEST(CopyParam, TargetRules)
{
    using Prepare = int32_t (*)(EvalContext *);
    const Prepare none = [](EvalContext *) { return 0; };
    const Prepare scalar = [](EvalContext *d) { return Quorbix_AllocNParam(d, "X", 0, 1); };
    const struct {
        const char *what;
        Prepare prepare;
        const char *name;
        int32_t noReplace, code;
        uint16_t kindAfter;
    } rows[] = {
        {"array replaces scalar", scalar, "x", 0, 0, ND1},
        {"noReplace", scalar, "x", 1, ErrCannotReplace, NS},
        {"delete-protected", [](EvalContext *d) { return Quorbix_AllocNParam(d, "x", AttrDeleteProtected, 1); }, "x",
         0, ErrCannotReplace, NS},
        {"function", [](EvalContext *d) {
             const NFunctionDef def{"x", 0, {}, Nothing, 0};
             return Quorbix_CreateNFunction(d, &def);
         }, "x", 0, ErrCannotReplace, NFunction},
        {"constant is no source", none, "pi", 0, ErrBadName, 0},
        {"missing source", none, "nope", 0, ErrBadName, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        TestContext source, dest;
        ASSERT_EQ(Quorbix_AllocNDim(&source.ctx, 3, 0, 0, "x"), 0);
        ASSERT_EQ(row.prepare(&dest.ctx), 0);
        const long baseline = qxtest::LiveBlocks();
        EXPECT_EQ(Quorbix_CopyParam(&dest.ctx, &source.ctx, row.name, row.noReplace), row.code);
        EXPECT_TRUE(row.code == 0 || qxtest::LiveBlocks() == baseline); // a refused copy is released
        EXPECT_EQ(Find(&dest.ctx, "x") != nullptr ? Find(&dest.ctx, "x")->kind : 0, row.kindAfter);
    }
}

TEST(CopyParam, ReadOnlyCopiesAndCopyingOntoItself)
{
    TestContext a, b;
    ASSERT_EQ(Quorbix_AllocNParam(&a.ctx, "ro", AttrReadOnly, 4), 0);
    ASSERT_EQ(Quorbix_CopyParam(&b.ctx, &a.ctx, "ro", 0), 0);
    EXPECT_EQ(Quorbix_SetParam_NS(&b.ctx, "ro", 5), ErrReadOnly);
    EXPECT_EQ(Quorbix_CopyParam(&b.ctx, &a.ctx, "ro", 0), ErrCannotReplace);
    EXPECT_EQ(Quorbix_CopyParam(&a.ctx, &a.ctx, "RO", 0), ErrCannotReplace);
    ASSERT_EQ(Quorbix_AllocNParam(&a.ctx, "speed", AttrIntegerView, 2.5), 0);
    ASSERT_EQ(Quorbix_CopyParam(&a.ctx, &a.ctx, "Speed", 0), 0);
    const qx::SymbolEntry *speed = Find(&a.ctx, "speed");
    ASSERT_NE(speed, nullptr);
    EXPECT_STREQ(speed->name, "Speed");
    EXPECT_EQ(speed->attribute * 10 + speed->value, AttrIntegerView * 10 + 2.5);
    EXPECT_EQ(Quorbix_ParamCount(&a.ctx, nullptr), 2);
}

// A source ending in '$' is made as a string "text", any other as 7.
TEST(DuplicateParam, NameRules)
{
    const std::string longName(34, 'y');
    const struct {
        const char *source, *copy;
        bool sourceExists;
        int32_t code;
    } rows[] = {
        {"x", "X", true, ErrArgument},  {"x", "X", false, ErrArgument},  {"x", "x$", true, ErrArgument},
        {"x$", "x", true, ErrArgument}, {"x", "x$", false, ErrBadName},  {"pi", "y", false, ErrBadName},
        {"x", "1y", true, ErrArgument}, {"x", "pi", true, ErrCannotReplace},
        {"x", longName.c_str(), true, ErrArgument},
        {"x", "y", true, 0},            {"x$", "y$", true, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.source) + " -> " + row.copy);
        TestContext t;
        const bool isString = row.source[1] == '$';
        const uint32_t attribute = AttrIntegerView | 0x40;
        if (row.sourceExists) {
            ASSERT_EQ(isString ? Quorbix_AllocSParam(&t.ctx, row.source, attribute, "text")
                               : Quorbix_AllocNParam(&t.ctx, row.source, attribute, 7), 0);
        }
        const long baseline = qxtest::LiveBlocks();
        ASSERT_EQ(Quorbix_DuplicateParam(&t.ctx, row.source, row.copy, 0), row.code);
        if (row.code != 0) {
            EXPECT_EQ(qxtest::LiveBlocks(), baseline);
            continue;
        }
        EXPECT_EQ(Find(&t.ctx, row.copy)->attribute, attribute);
        if (isString)
            EXPECT_EQ(t.EvalString("y$ + x$").value, "texttext");
        else
            EXPECT_EQ(t.Eval("y + x").value, 14.0);
    }
}

} // namespace
