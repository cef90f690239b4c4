// Creating parameters: the name rule, scalars, arrays, refusals and
// allocation failures.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/alloc_hooks.h"
#include "support/table_check.h"
#include "support/test_context.h"

namespace {

using qx::SymbolEntry;

class CreateParamTest : public ::testing::Test {
protected:
    // 'n' and 's' make scalars, 'N' and 'S' arrays of dim1 x dim2.
    int32_t Create(char kind, const char *name, uint32_t dim1 = 2, uint32_t dim2 = 0, uint32_t attribute = 0)
    {
        switch (kind) {
        case 'n': return Quorbix_AllocNParam(c, name, attribute, 1.0);
        case 's': return Quorbix_AllocSParam(c, name, attribute, "text");
        case 'N': return Quorbix_AllocNDim(c, dim1, dim2, attribute, name);
        default: return Quorbix_AllocSDim(c, dim1, dim2, attribute, name);
        }
    }
    const SymbolEntry *Find(const char *name) { return qx::FindSymbol(c, name); }
    std::vector<unsigned char> Snapshot(const char *name) { return qxtest::BucketBytes(c, name); }

    qxtest::TestContext t;
    EvalContext *c = &t.ctx;
};

TEST(ParamName, RatesNames)
{
    const std::string q33(33, 'q');
    const std::pair<std::string, int32_t> rows[] = {
        {"", 3}, {"a", 1}, {"_1", 1}, {"A9_z", 1}, {"a$", 2}, {"$", 0}, {"9a", 0}, {"a$b", 0}, {"a$$", 0},
        {"a b", 0}, {"a.b", 0}, {"\x81\x40", 0}, {" a", 0}, {q33, 1}, {q33 + "q", 0}, {q33.substr(1) + "$", 2},
        {q33 + "$", 0},
    };
    for (const auto &[name, rating] : rows)
        EXPECT_EQ(Quorbix_CheckParamName(name.c_str()), rating) << name;
}

// A bad or taken name, whatever the symbol's kind or case, or an empty first
// dimension, is refused with the name's bucket left byte for byte as it was.
TEST_F(CreateParamTest, RefusesBadNamesTakenNamesAndEmptyFirstDimension)
{
    ASSERT_EQ(Create('n', "Speed"), 0);
    const struct { char kind; const char *name; uint32_t dim1 = 2, dim2 = 0; } rows[] = {
        {'n', "x$"}, {'s', "x"}, {'N', "x$"}, {'S', "x"}, {'n', "abcdefghijklmnopqrstuvwxyzabcdefgh"}, {'N', "PI"},
        {'n', "sin"}, {'s', "CR$"}, {'n', "SPEED"}, {'N', "speed", 4, 4}, {'N', "fresh", 0, 3}, {'S', "fresh$", 0, 0},
    };
    for (const auto &row : rows) {
        const auto before = Snapshot(row.name);
        EXPECT_EQ(Create(row.kind, row.name, row.dim1, row.dim2), ErrBadName) << row.name;
        EXPECT_EQ(Snapshot(row.name), before) << row.name;
    }
    EXPECT_EQ(Find("speed")->value, 1.0);
}

TEST_F(CreateParamTest, ScalarsCopyNameAsSpelledAttributeAndValue)
{
    char text[] = "hello";
    ASSERT_EQ(Quorbix_AllocNParam(c, "MixedCase", 0xDEADBEEF, -2.5), 0);
    ASSERT_EQ(Quorbix_AllocSParam(c, "MixedCase$", 5, text), 0); // the '$' makes a name of its own
    ASSERT_EQ(Quorbix_AllocSParam(c, "nothing$", 0, nullptr), 0);
    std::strcpy(text, "bye!"); // the caller's text is its own again
    const SymbolEntry *number = Find("mixedcase"), *string = Find("MIXEDCASE$");
    ASSERT_TRUE(number != nullptr && string != nullptr);
    EXPECT_STREQ(number->name, "MixedCase");
    EXPECT_TRUE(number->kind == NS && number->attribute == 0xDEADBEEFu && number->value == -2.5);
    EXPECT_TRUE(string->kind == SS && string->attribute == 5u);
    EXPECT_STREQ(string->text, "hello");
    EXPECT_STREQ(Find("nothing$")->text, "");
}

// Twelve names in one bucket, searched by halving, are only found if every
// creation left the bucket sorted. A second dimension of 1 still makes a
// two-dimensional array; its elements start empty, each in a block of its own.
TEST_F(CreateParamTest, BucketStaysSortedAndArraysHaveTheirShape)
{
    for (const char *name : {"Zeta", "z1", "zz", "Zed", "z_", "ZA", "zeb", "z9", "zoo", "Zq", "z", "zed2"})
        ASSERT_EQ(Create('n', name), 0) << name;
    qxtest::ExpectValidTable(c);
    ASSERT_EQ(Create('N', "col", 3, 1, 0x40), 0);
    ASSERT_EQ(Create('S', "grid$", 2, 3), 0);
    const SymbolEntry *col = Find("col"), *grid = Find("grid$");
    EXPECT_TRUE(col->kind == ND2 && col->attribute == 0x40u && col->array.count == 3u && col->array.dim2 == 1u);
    EXPECT_TRUE(grid->kind == SD2 && grid->array.count == 6u && grid->array.dim1 == 2u && grid->array.dim2 == 3u);
    for (uint32_t k = 0; k < 6; ++k) {
        EXPECT_STREQ(grid->array.texts[k], "");
        EXPECT_TRUE(k == 0 || grid->array.texts[k] != grid->array.texts[k - 1]);
    }
}

// A product of the dimensions beyond 32 bits must not wrap into a smaller
// array (65536 x 65537 would wrap to 65536 elements, 65536 x 65536 to none).
TEST_F(CreateParamTest, DimensionsWhoseProductOverflowsCreateNothing)
{
    for (const auto &[dim1, dim2] : {std::pair{65536u, 65537u}, {65536u, 65536u}, {0xFFFFFFFFu, 2u}}) {
        EXPECT_EQ(Create('N', "huge", dim1, dim2), ErrNoMemory) << dim1 << "x" << dim2;
        EXPECT_EQ(Create('S', "huge$", dim1, dim2), ErrNoMemory) << dim1 << "x" << dim2;
    }
    EXPECT_EQ(qx::BucketOf(c, "h")->count, 2u); // hex$ and hypot: nothing was added
}

} // namespace
