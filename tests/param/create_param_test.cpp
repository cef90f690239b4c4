#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/symbol_table.h"
#include "param/param_names.h"
#include "quorbix.h"
#include "support/alloc_hooks.h"

namespace {

using qx::SymbolEntry;

class CreateParamTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(Quorbix_Initialize(&ctx), 0); }
    void TearDown() override { Quorbix_Terminate(&ctx); }

    const SymbolEntry *Find(const char *name) { return qx::FindSymbol(&ctx, name); }
    const SymbolBucket &Bucket(const char *name) { return *qx::BucketOf(&ctx, name); }

    // The bytes of a whole bucket, to show a refused call changed nothing.
    std::vector<unsigned char> Snapshot(const char *name)
    {
        const SymbolBucket &bucket = Bucket(name);
        const auto *bytes = reinterpret_cast<const unsigned char *>(bucket.entries);
        return {bytes, bytes + bucket.count * sizeof(SymbolEntry)};
    }

    EvalContext ctx{};
};

struct NameRow {
    std::string name;
    int32_t rating;
};

TEST(ParamNameTest, RatesNamesAndAgreesWithInternalTest)
{
    const std::string letters33(33, 'q');
    const NameRow rows[] = {
        {"", 3},          {"a", 1},           {"_1", 1},          {"A9_z", 1},
        {"a$", 2},        {"_$", 2},          {"$", 0},           {"9a", 0},
        {"a$b", 0},       {"a$$", 0},         {"a b", 0},         {"a-b", 0},
        {"a.b", 0},       {"\x81\x40", 0},    {"a\xE9", 0},       {" a", 0},
        {letters33, 1},   {letters33 + "q", 0},
        {letters33.substr(1) + "$", 2},       {letters33 + "$", 0},
    };
    for (const NameRow &row : rows) {
        SCOPED_TRACE("name \"" + row.name + "\"");
        EXPECT_EQ(Quorbix_CheckParamName(row.name.c_str()), row.rating);
        EXPECT_EQ(qx::ParamNameIsValid(row.name.c_str(), false), row.rating == 1);
        EXPECT_EQ(qx::ParamNameIsValid(row.name.c_str(), true), row.rating == 2);
    }
}

struct RefusalRow {
    const char *label;
    int32_t (*create)(EvalContext *);
    const char *name; // whose bucket must stay as it was
};

TEST_F(CreateParamTest, RefusesBadNamesTakenNamesAndEmptyFirstDimension)
{
    ASSERT_EQ(Quorbix_AllocNParam(&ctx, "Speed", 0, 1.0), 0);
    const RefusalRow rows[] = {
        {"numeric name with $", [](EvalContext *c) { return Quorbix_AllocNParam(c, "x$", 0, 0.0); }, "x"},
        {"string name without $", [](EvalContext *c) { return Quorbix_AllocSParam(c, "x", 0, "t"); }, "x"},
        {"numeric array with $", [](EvalContext *c) { return Quorbix_AllocNDim(c, 2, 0, 0, "x$"); }, "x"},
        {"string array without $", [](EvalContext *c) { return Quorbix_AllocSDim(c, 2, 0, 0, "x"); }, "x"},
        {"empty name", [](EvalContext *c) { return Quorbix_AllocNParam(c, "", 0, 0.0); }, "a"},
        {"34 bytes", [](EvalContext *c) { return Quorbix_AllocNParam(c, "abcdefghijklmnopqrstuvwxyzabcdefgh", 0, 0.0); }, "a"},
        {"built-in constant", [](EvalContext *c) { return Quorbix_AllocNParam(c, "pi", 0, 0.0); }, "pi"},
        {"built-in in capitals", [](EvalContext *c) { return Quorbix_AllocNDim(c, 2, 0, 0, "PI"); }, "pi"},
        {"built-in function", [](EvalContext *c) { return Quorbix_AllocNParam(c, "sin", 0, 0.0); }, "sin"},
        {"string constant", [](EvalContext *c) { return Quorbix_AllocSParam(c, "CR$", 0, nullptr); }, "cr$"},
        {"parameter, other case", [](EvalContext *c) { return Quorbix_AllocNParam(c, "SPEED", 0, 0.0); }, "s"},
        {"parameter, other kind", [](EvalContext *c) { return Quorbix_AllocNDim(c, 4, 4, 0, "speed"); }, "s"},
        {"numeric dim1 zero", [](EvalContext *c) { return Quorbix_AllocNDim(c, 0, 3, 0, "fresh"); }, "fresh"},
        {"string dim1 zero", [](EvalContext *c) { return Quorbix_AllocSDim(c, 0, 0, 0, "fresh$"); }, "fresh$"},
    };
    for (const RefusalRow &row : rows) {
        SCOPED_TRACE(row.label);
        const auto before = Snapshot(row.name);
        EXPECT_EQ(row.create(&ctx), ErrBadName);
        EXPECT_EQ(Snapshot(row.name), before);
    }
    EXPECT_EQ(Find("fresh"), nullptr);
    EXPECT_EQ(Find("speed")->kind, NS);
    EXPECT_EQ(Find("speed")->value, 1.0);
}

TEST_F(CreateParamTest, DollarMakesADistinctNameInTheSameBucket)
{
    ASSERT_EQ(Quorbix_AllocNParam(&ctx, "x", 0, 2.0), 0);
    ASSERT_EQ(Quorbix_AllocSParam(&ctx, "X$", 0, "two"), 0);
    EXPECT_EQ(Find("x")->kind, NS);
    EXPECT_EQ(Find("x$")->kind, SS);
    EXPECT_STREQ(Find("x$")->name, "X$");
    EXPECT_EQ(Bucket("x").count, 2u);
}

TEST_F(CreateParamTest, ScalarsCopyNameAsSpelledAttributeAndValue)
{
    char text[] = "hello";
    ASSERT_EQ(Quorbix_AllocNParam(&ctx, "MixedCase", 0xDEADBEEF, -2.5), 0);
    ASSERT_EQ(Quorbix_AllocSParam(&ctx, "Greeting$", 5, text), 0);
    ASSERT_EQ(Quorbix_AllocSParam(&ctx, "nothing$", 0, nullptr), 0);
    ASSERT_EQ(Quorbix_AllocSParam(&ctx, "blank$", 0, ""), 0);
    std::strcpy(text, "bye!");  // the caller's text is its own again

    const SymbolEntry *number = Find("mixedcase");
    ASSERT_NE(number, nullptr);
    EXPECT_STREQ(number->name, "MixedCase");
    EXPECT_EQ(number->attribute, 0xDEADBEEFu);
    EXPECT_EQ(number->value, -2.5);

    const SymbolEntry *greeting = Find("GREETING$");
    ASSERT_NE(greeting, nullptr);
    EXPECT_EQ(greeting->kind, SS);
    EXPECT_EQ(greeting->attribute, 5u);
    EXPECT_NE(greeting->text, text);
    EXPECT_STREQ(greeting->text, "hello");
    EXPECT_STREQ(Find("nothing$")->text, "");
    EXPECT_STREQ(Find("blank$")->text, "");
}

struct ArrayRow {
    const char *name;
    bool isString;
    uint32_t dim1, dim2;
    uint16_t kind;
    uint32_t count, storedDim1, storedDim2;
};

TEST_F(CreateParamTest, ArraysHaveTheirShapeAndEmptyElements)
{
    const ArrayRow rows[] = {
        {"v", false, 3, 0, ND1, 3, 0, 0},      {"col", false, 3, 1, ND2, 3, 3, 1},
        {"m", false, 2, 5, ND2, 10, 2, 5},     {"one", false, 1, 0, ND1, 1, 0, 0},
        {"list$", true, 4, 0, SD1, 4, 0, 0},   {"grid$", true, 2, 3, SD2, 6, 2, 3},
        {"row$", true, 1, 7, SD2, 7, 1, 7},
    };
    for (const ArrayRow &row : rows) {
        SCOPED_TRACE(row.name);
        const int32_t rc = row.isString ? Quorbix_AllocSDim(&ctx, row.dim1, row.dim2, 0x40, row.name)
                                        : Quorbix_AllocNDim(&ctx, row.dim1, row.dim2, 0x40, row.name);
        ASSERT_EQ(rc, 0);
        const SymbolEntry *entry = Find(row.name);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->kind, row.kind);
        EXPECT_EQ(entry->attribute, 0x40u);
        EXPECT_EQ(entry->array.count, row.count);
        EXPECT_EQ(entry->array.dim1, row.storedDim1);
        EXPECT_EQ(entry->array.dim2, row.storedDim2);
        for (uint32_t k = 0; k < row.count; ++k) {
            if (row.isString) {
                ASSERT_NE(entry->array.texts[k], nullptr);
                EXPECT_STREQ(entry->array.texts[k], "");
                if (k > 0) {  // each element owns a block of its own
                    EXPECT_NE(entry->array.texts[k], entry->array.texts[k - 1]);
                }
            } else {
                EXPECT_EQ(entry->array.values[k], 0.0);
            }
        }
    }
}

// Twelve names in one bucket: enough to be searched by halving, which only
// finds them if every creation left the bucket sorted.
TEST_F(CreateParamTest, BucketStaysSortedAcrossCreations)
{
    const char *names[] = {"Zeta", "z1", "zz", "Zed", "z_", "ZA", "zeb", "z9", "zoo", "Zq", "z", "zed2"};
    for (const char *name : names)
        ASSERT_EQ(Quorbix_AllocNParam(&ctx, name, 0, 0.0), 0) << name;
    const SymbolBucket &bucket = Bucket("z");
    ASSERT_EQ(bucket.count, 12u);
    for (uint32_t k = 1; k < bucket.count; ++k)
        EXPECT_LT(qx::CompareForSort(bucket.entries[k - 1].name, bucket.entries[k].name), 0) << k;
    for (const char *name : names) {
        const SymbolEntry *entry = Find(name);
        ASSERT_NE(entry, nullptr) << name;
        EXPECT_STREQ(entry->name, name);
    }
}

// A product of the dimensions beyond 32 bits must not wrap into a smaller
// array (65536 x 65537 would wrap to 65536 elements, 65536 x 65536 to none).
TEST_F(CreateParamTest, DimensionsWhoseProductOverflowsCreateNothing)
{
    const uint32_t pairs[][2] = {{65536, 65537}, {65536, 65536}, {0xFFFFFFFFu, 2}};
    const auto before = Snapshot("huge");
    for (const auto &pair : pairs) {
        SCOPED_TRACE(std::to_string(pair[0]) + " x " + std::to_string(pair[1]));
        EXPECT_EQ(Quorbix_AllocNDim(&ctx, pair[0], pair[1], 0, "huge"), ErrNoMemory);
        EXPECT_EQ(Quorbix_AllocSDim(&ctx, pair[0], pair[1], 0, "huge$"), ErrNoMemory);
        EXPECT_EQ(Find("huge"), nullptr);
        EXPECT_EQ(Find("huge$"), nullptr);
        EXPECT_EQ(Snapshot("huge"), before);
    }
}

struct SweepRow {
    const char *name;
    int32_t (*create)(EvalContext *);
};

// Fails each allocation of a creation in turn. Every failure must end in
// ErrNoMemory with the bucket byte for byte as before; the suite runs under
// a leak checker, so nothing made on the way may be left behind.
TEST_F(CreateParamTest, AllocationFailuresLeaveTheTableAsItWas)
{
    const SweepRow rows[] = {
        {"x", [](EvalContext *c) { return Quorbix_AllocNParam(c, "x", 0, 1.0); }},
        {"sval$", [](EvalContext *c) { return Quorbix_AllocSParam(c, "sval$", 0, "text"); }},
        {"v", [](EvalContext *c) { return Quorbix_AllocNDim(c, 5, 0, 0, "v"); }},
        {"mat", [](EvalContext *c) { return Quorbix_AllocNDim(c, 2, 3, 0, "mat"); }},
        {"list$", [](EvalContext *c) { return Quorbix_AllocSDim(c, 3, 0, 0, "list$"); }},
        {"grid$", [](EvalContext *c) { return Quorbix_AllocSDim(c, 2, 2, 0, "grid$"); }},
    };
    for (const SweepRow &row : rows) {
        SCOPED_TRACE(row.name);
        bool created = false;
        size_t n = 1;
        for (; !created; ++n) {
            ASSERT_LT(n, 100u);
            const auto before = Snapshot(row.name);
            int32_t rc;
            bool injected;
            {
                qxtest::AllocationFailureScope fail(n);
                rc = row.create(&ctx);
                injected = qxtest::AllocationFailed();
            }
            if (rc == 0) {
                created = true;
                EXPECT_NE(Find(row.name), nullptr);
                continue;
            }
            ASSERT_EQ(rc, ErrNoMemory) << "failing allocation " << n;
            EXPECT_TRUE(injected);
            EXPECT_EQ(Find(row.name), nullptr);
            EXPECT_EQ(Snapshot(row.name), before) << "failing allocation " << n;
        }
        EXPECT_GT(n, 2u) << "no allocation was ever failed";
    }
}

}  // namespace
