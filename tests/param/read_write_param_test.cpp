// Reading and writing parameters by name: setters, getters, Quorbix_Param
// and Quorbix_GetParamInfo.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

constexpr uint32_t MaxIndex = 4294967295u;

class ReadWriteParamTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(Quorbix_AllocNParam(c, "x", 0, 1.0), 0);
        ASSERT_EQ(Quorbix_AllocNParam(c, "guarded", AttrDeleteProtected, 1.0), 0);
        ASSERT_EQ(Quorbix_AllocNDim(c, 3, 0, 0, "v"), 0);
        ASSERT_EQ(Quorbix_AllocNDim(c, 3, 0, AttrReadOnly, "ro"), 0);
        ASSERT_EQ(Quorbix_AllocNDim(c, 3, 2, 0, "m"), 0);
        ASSERT_EQ(Quorbix_AllocSParam(c, "s$", 0, "abc"), 0);
        ASSERT_EQ(Quorbix_AllocSDim(c, 3, 0, 0, "l$"), 0);
        ASSERT_EQ(Quorbix_AllocSDim(c, 3, 0, AttrReadOnly, "rol$"), 0);
        ASSERT_EQ(Quorbix_AllocSDim(c, 3, 2, 0, "g$"), 0);
    }

    std::string Text(const char *expression)
    {
        const qxtest::StringOutcome out = t.EvalString(expression);
        EXPECT_EQ(out.code, 0) << expression;
        return out.value;
    }

    qxtest::TestContext t;
    EvalContext *c = &t.ctx;
};

// Where several things are wrong the kind decides first, then the read-only
// bit (setters only), then the bounds. Failed calls must not write.
TEST_F(ReadWriteParamTest, ChecksKindThenReadOnlyThenBounds)
{
    double out = -7.0;
    char buffer[8] = "keep";
    const struct { std::function<int32_t()> call; int32_t code; } rows[] = {
        {[&] { return Quorbix_SetParam_ND1(c, "v", 2, 5.0); }, 0},
        {[&] { return Quorbix_SetParam_ND1(c, "v", 3, 9.0); }, ErrArgument},
        {[&] { return Quorbix_SetParam_ND2(c, "m", 3, 0, 9.0); }, ErrArgument},
        {[&] { return Quorbix_SetParam_ND2(c, "m", 0, 2, 9.0); }, ErrArgument},
        {[&] { return Quorbix_SetParam_ND1(c, "m", 0, 9.0); }, ErrBadName},
        {[&] { return Quorbix_SetParam_NS(c, "pi", 9.0); }, ErrBadName},
        {[&] { return Quorbix_SetParam_ND1(c, "ro", 99, 9.0); }, ErrReadOnly},
        {[&] { return Quorbix_SetParam_ND2(c, "ro", 99, 0, 9.0); }, ErrBadName},
        {[&] { return Quorbix_SetParam_NS(c, "guarded", 4.0); }, 0}, // delete protection has no say
        {[&] { return Quorbix_SetParam_SD1(c, "l$", 3, "no"); }, ErrArgument},
        {[&] { return Quorbix_SetParam_SD1(c, "rol$", MaxIndex, "no"); }, ErrReadOnly},
        {[&] { return Quorbix_GetParam_ND1(c, "ro", 2, &out); }, 0}, // getters ignore read-only
        {[&] { return Quorbix_GetParam_ND1(c, "ro", 3, &out); }, ErrArgument},
        {[&] { return Quorbix_GetParam_SD2(c, "g$", 3, 0, buffer, 8); }, ErrArgument},
        {[&] { return Quorbix_GetParam_SS(c, "x", buffer, 8); }, ErrBadName},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(&row - rows);
        out = -7.0;
        EXPECT_EQ(row.call(), row.code);
        if (row.code != 0) {
            EXPECT_EQ(out, -7.0);
            EXPECT_STREQ(buffer, "keep");
        }
    }
    EXPECT_EQ(t.Eval("v(2) + guarded").value, 9.0);
    EXPECT_EQ(Text("rol$(0) + l$(0)"), "");
}

// The integer view shapes getters only: the stored double, and what
// Quorbix_Param points at, stay as written.
TEST_F(ReadWriteParamTest, IntegerViewAppliesToNumericGettersOnly)
{
    ASSERT_EQ(Quorbix_SetAttrib(c, "x", AttrIntegerView), 0);
    ASSERT_EQ(Quorbix_SetAttrib(c, "m", AttrIntegerView | AttrReadOnly), 0);
    ParamRef ref{};
    ASSERT_EQ(Quorbix_Param(c, "x", &ref), 0);
    const double rows[][2] = {{3.9, 3.0}, {-1.5, 4294967295.0}, {-0.5, 0.0}, {4294967297.5, 1.0}, {1e300, 0.0}};
    for (const auto &row : rows) {
        ASSERT_EQ(Quorbix_SetParam_NS(c, "x", row[0]), 0);
        double out = 0.0;
        EXPECT_EQ(Quorbix_GetParam_NS(c, "x", &out), 0);
        EXPECT_EQ(out, row[1]) << row[0];
        EXPECT_EQ(*static_cast<double *>(ref.value), row[0]);
    }
    ASSERT_EQ(Quorbix_Param(c, "m", &ref), 0);
    (*static_cast<double **>(ref.value))[4] = -1.5; // written directly: the setter refuses read-only
    double out = 0.0;
    EXPECT_EQ(Quorbix_GetParam_ND2(c, "m", 1, 1, &out), 0);
    EXPECT_EQ(out, 4294967295.0);
    ASSERT_EQ(Quorbix_SetAttrib(c, "m", 0), 0);
    EXPECT_EQ(Quorbix_GetParam_ND2(c, "m", 1, 1, &out), 0);
    EXPECT_EQ(out, -1.5);
}

// A size of 1 or less is answered before the name is looked at and receives
// nothing; otherwise the text is cut to size - 1 bytes and a terminator.
TEST_F(ReadWriteParamTest, StringGetterCutsToSizeAndTestsSizeFirst)
{
    // expected: with its terminator; empty when the buffer is left as it was.
    const struct { int32_t size; std::string expected; } rows[] = {
        {-1, ""}, {1, ""}, {2, std::string("a", 2)}, {4, std::string("abc", 4)}, {9, std::string("abc", 4)}};
    for (const auto &row : rows) {
        char buffer[10];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(Quorbix_GetParam_SS(c, "S$", buffer, row.size), 0);
        EXPECT_EQ(std::string(buffer, 10), row.expected + std::string(10 - row.expected.size(), '#')) << row.size;
    }
    char buffer[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(Quorbix_GetParam_SS(c, "missing$", buffer, 1), 0);
    EXPECT_EQ(Quorbix_GetParam_SD1(c, "l$", MaxIndex, buffer, 0), 0);
    EXPECT_EQ(Quorbix_GetParam_SS(c, "missing$", buffer, 2), ErrBadName);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(Quorbix_GetParam_SD1(c, "l$", 0, buffer, 2), 0); // an empty text
    EXPECT_EQ(std::string(buffer, 2), std::string("\0#", 2));
}

// Each write leaves exactly the new text, whether it grows or shrinks the
// block, and touches no other element. A failed resize keeps the old text.
TEST_F(ReadWriteParamTest, StringSettersReplaceTheWholeTextOrNothing)
{
    for (const char *text : {"a much longer text than before", "", "xy", "another rather long one", "z"}) {
        ASSERT_EQ(Quorbix_SetParam_SS(c, "s$", text), 0);
        ASSERT_EQ(Quorbix_SetParam_SD1(c, "L$", 1, text), 0);
        ASSERT_EQ(Quorbix_SetParam_SD2(c, "g$", 2, 1, text), 0);
        EXPECT_EQ(Text("S$ + \",\" + L$(1) + \",\" + g$(2, 1)"), std::string(text) + "," + text + "," + text);
    }
    EXPECT_EQ(Text("L$(0) + L$(2) + g$(1, 1)"), "");
    const std::string longer(200, 'q');
    const long live = qxtest::LiveBlocks();
    {
        qxtest::AllocationFailureScope fail(1, true);
        EXPECT_EQ(Quorbix_SetParam_SS(c, "s$", longer.c_str()), ErrNoMemory);
        EXPECT_EQ(Quorbix_SetParam_SD2(c, "g$", 2, 1, longer.c_str()), ErrNoMemory);
    }
    EXPECT_EQ(Text("S$ + g$(2, 1)"), "zz");
    EXPECT_EQ(qxtest::LiveBlocks(), live);
}

// Quorbix_GetParamInfo answers for any symbol, and fields a kind has no use
// for keep the caller's contents. Quorbix_Param hands out pointers into the
// entry; a function or constant gets its kind and attribute but no storage.
TEST_F(ReadWriteParamTest, InfoAndPointersIntoTheEntry)
{
    ParamInfo info{99, 98, 97, 96, 95};
    ASSERT_EQ(Quorbix_GetParamInfo(c, "SIN", &info), 0);
    EXPECT_TRUE(info.kind == NFunction && info.attribute == 1u);
    ASSERT_EQ(Quorbix_SetAttrib(c, "x", 0x80000004u), 0);
    ASSERT_EQ(Quorbix_GetParamInfo(c, "X", &info), 0);
    EXPECT_TRUE(info.kind == NS && info.attribute == 0x80000004u && info.count == 97u && info.dim1 == 96u);
    ASSERT_EQ(Quorbix_GetParamInfo(c, "l$", &info), 0);
    EXPECT_TRUE(info.kind == SD1 && info.count == 3u && info.dim1 == 96u);
    ASSERT_EQ(Quorbix_GetParamInfo(c, "g$", &info), 0);
    EXPECT_TRUE(info.count == 6u && info.dim1 == 3u && info.dim2 == 2u);
    const ParamInfo before = info;
    EXPECT_EQ(Quorbix_GetParamInfo(c, "nothing", &info), ErrBadName);
    // Field by field: the record has padding after `kind`, which memcmp would read.
    EXPECT_TRUE(info.kind == before.kind && info.attribute == before.attribute && info.count == before.count &&
                info.dim1 == before.dim1 && info.dim2 == before.dim2);

    uint32_t sentinel = 0;
    ParamRef ref{0, nullptr, &sentinel, &sentinel, &sentinel, &sentinel};
    EXPECT_EQ(Quorbix_Param(c, "nothing", &ref), ErrBadName);
    EXPECT_EQ(ref.attribute, nullptr);
    EXPECT_EQ(Quorbix_Param(c, "sin", &ref), ErrBadName);
    EXPECT_TRUE(ref.kind == NFunction && ref.attribute != nullptr && *ref.attribute == 1u && ref.value == &sentinel);
    ASSERT_EQ(Quorbix_Param(c, "s$", &ref), 0);
    EXPECT_EQ(ref.count, &sentinel);
    EXPECT_STREQ(*static_cast<char **>(ref.value), "abc");
    // Element (i, j) of a two-dimensional array lies at i + dim1 * j.
    ASSERT_EQ(Quorbix_SetParam_ND2(c, "m", 2, 1, 8.5), 0);
    ASSERT_EQ(Quorbix_SetParam_SD2(c, "G$", 1, 1, "one-one"), 0);
    ASSERT_EQ(Quorbix_Param(c, "m", &ref), 0);
    EXPECT_TRUE(*ref.count == 6u && *ref.dim1 == 3u && *ref.dim2 == 2u);
    double *values = *static_cast<double **>(ref.value);
    EXPECT_EQ(std::vector<double>(values, values + 6), (std::vector<double>{0, 0, 0, 0, 0, 8.5}));
    values[1] = 6.25; // a write through the storage is seen by getters
    double out = 0.0;
    EXPECT_EQ(Quorbix_GetParam_ND2(c, "m", 1, 0, &out), 0);
    EXPECT_EQ(out, 6.25);
    ASSERT_EQ(Quorbix_Param(c, "g$", &ref), 0);
    EXPECT_STREQ((*static_cast<char ***>(ref.value))[4], "one-one");
}

} // namespace
