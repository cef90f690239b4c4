#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include "quorbix.h"
#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

using qxtest::TestContext;

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

    std::string Text(const char *name, uint32_t i = 0, uint32_t j = 0)
    {
        ParamInfo info{};
        EXPECT_EQ(Quorbix_GetParamInfo(c, name, &info), 0) << name;
        char buffer[64] = "unset";
        const int32_t rc = info.kind == SS    ? Quorbix_GetParam_SS(c, name, buffer, sizeof buffer)
                           : info.kind == SD1 ? Quorbix_GetParam_SD1(c, name, i, buffer, sizeof buffer)
                                              : Quorbix_GetParam_SD2(c, name, i, j, buffer, sizeof buffer);
        EXPECT_EQ(rc, 0) << name;
        return buffer;
    }

    TestContext t;
    EvalContext *c = &t.ctx;
};

struct CallRow {
    const char *label;
    std::function<int32_t(EvalContext *)> call;
    int32_t code;
};

// Where several things are wrong the kind decides first, then the read-only
// bit (setters only), then the bounds. Failed setters must not write.
TEST_F(ReadWriteParamTest, ChecksKindThenReadOnlyThenBounds)
{
    double out = -7.0;
    char buffer[8] = "keep";
    const CallRow rows[] = {
        {"ND1 index 2", [](EvalContext *e) { return Quorbix_SetParam_ND1(e, "v", 2, 5.0); }, 0},
        {"ND1 index 3", [](EvalContext *e) { return Quorbix_SetParam_ND1(e, "v", 3, 9.0); }, ErrArgument},
        {"ND1 index max", [](EvalContext *e) { return Quorbix_SetParam_ND1(e, "V", MaxIndex, 9.0); }, ErrArgument},
        {"ND2 (3,0)", [](EvalContext *e) { return Quorbix_SetParam_ND2(e, "m", 3, 0, 9.0); }, ErrArgument},
        {"ND2 (0,2)", [](EvalContext *e) { return Quorbix_SetParam_ND2(e, "m", 0, 2, 9.0); }, ErrArgument},
        {"ND1 on ND2", [](EvalContext *e) { return Quorbix_SetParam_ND1(e, "m", 0, 9.0); }, ErrBadName},
        {"NS on ND1", [](EvalContext *e) { return Quorbix_SetParam_NS(e, "v", 9.0); }, ErrBadName},
        {"NS missing", [](EvalContext *e) { return Quorbix_SetParam_NS(e, "nothing", 9.0); }, ErrBadName},
        {"NS on constant", [](EvalContext *e) { return Quorbix_SetParam_NS(e, "pi", 9.0); }, ErrBadName},
        {"read-only, bad index", [](EvalContext *e) { return Quorbix_SetParam_ND1(e, "ro", 99, 9.0); }, ErrReadOnly},
        {"read-only, wrong kind", [](EvalContext *e) { return Quorbix_SetParam_ND2(e, "ro", 99, 0, 9.0); }, ErrBadName},
        {"delete-protected", [](EvalContext *e) { return Quorbix_SetParam_NS(e, "guarded", 4.0); }, 0},
        {"SD1 index 3", [](EvalContext *e) { return Quorbix_SetParam_SD1(e, "l$", 3, "no"); }, ErrArgument},
        {"SD2 (0,2)", [](EvalContext *e) { return Quorbix_SetParam_SD2(e, "g$", 0, 2, "no"); }, ErrArgument},
        {"SS on SD1", [](EvalContext *e) { return Quorbix_SetParam_SS(e, "l$", "no"); }, ErrBadName},
        {"SD1 on SD2", [](EvalContext *e) { return Quorbix_SetParam_SD1(e, "g$", 0, "no"); }, ErrBadName},
        {"string read-only, bad index", [](EvalContext *e) { return Quorbix_SetParam_SD1(e, "rol$", MaxIndex, "no"); },
         ErrReadOnly},
        {"getter ignores read-only", [&](EvalContext *e) { return Quorbix_GetParam_ND1(e, "ro", 2, &out); }, 0},
        {"getter bounds", [&](EvalContext *e) { return Quorbix_GetParam_ND1(e, "ro", 3, &out); }, ErrArgument},
        {"getter kind", [&](EvalContext *e) { return Quorbix_GetParam_NS(e, "s$", &out); }, ErrBadName},
        {"string getter bounds", [&](EvalContext *e) { return Quorbix_GetParam_SD2(e, "g$", 3, 0, buffer, 8); },
         ErrArgument},
        {"string getter kind", [&](EvalContext *e) { return Quorbix_GetParam_SS(e, "x", buffer, 8); }, ErrBadName},
    };
    for (const CallRow &row : rows) {
        SCOPED_TRACE(row.label);
        out = -7.0;
        EXPECT_EQ(row.call(c), row.code);
        if (row.code != 0) {
            EXPECT_EQ(out, -7.0);
            EXPECT_STREQ(buffer, "keep");
        }
    }
    double value = 0.0;
    EXPECT_EQ(Quorbix_GetParam_ND1(c, "v", 2, &value), 0);
    EXPECT_EQ(value, 5.0);
    EXPECT_EQ(Quorbix_GetParam_NS(c, "guarded", &value), 0);
    EXPECT_EQ(value, 4.0);
    EXPECT_EQ(Text("rol$", 0), "");
    EXPECT_EQ(Text("l$", 0), "");
}

struct ViewRow {
    double stored;
    double viewed;
};

// The integer view shapes getters only: the stored double, and what
// Quorbix_Param points at, stay as written.
TEST_F(ReadWriteParamTest, IntegerViewAppliesToNumericGettersOnly)
{
    const ViewRow rows[] = {
        {3.9, 3.0},          {-1.5, 4294967295.0}, {-0.5, 0.0},    {3e9 + 0.7, 3e9},
        {4294967296.0, 0.0}, {4294967297.5, 1.0},  {1e300, 0.0},   {-1e300, 0.0},
    };
    ASSERT_EQ(Quorbix_SetAttrib(c, "x", AttrIntegerView), 0);
    ASSERT_EQ(Quorbix_SetAttrib(c, "m", AttrIntegerView | AttrReadOnly), 0);
    ParamRef ref{};
    ASSERT_EQ(Quorbix_Param(c, "x", &ref), 0);
    for (const ViewRow &row : rows) {
        SCOPED_TRACE(row.stored);
        ASSERT_EQ(Quorbix_SetParam_NS(c, "x", row.stored), 0);
        double out = 0.0;
        EXPECT_EQ(Quorbix_GetParam_NS(c, "x", &out), 0);
        EXPECT_EQ(out, row.viewed);
        EXPECT_EQ(*static_cast<double *>(ref.value), row.stored);
    }
    ParamRef array{};
    ASSERT_EQ(Quorbix_Param(c, "m", &array), 0);
    (*static_cast<double **>(array.value))[4] = -1.5; // written directly: the setter refuses read-only
    double out = 0.0;
    EXPECT_EQ(Quorbix_GetParam_ND2(c, "m", 1, 1, &out), 0);
    EXPECT_EQ(out, 4294967295.0);
    ASSERT_EQ(Quorbix_SetAttrib(c, "m", 0), 0);
    EXPECT_EQ(Quorbix_GetParam_ND2(c, "m", 1, 1, &out), 0);
    EXPECT_EQ(out, -1.5);
}

struct CutRow {
    int32_t size;
    const char *expected; // null: the buffer is left as it was
};

TEST_F(ReadWriteParamTest, StringGetterCutsToSizeAndTestsSizeFirst)
{
    const CutRow rows[] = {{-1, nullptr}, {0, nullptr}, {1, nullptr}, {2, "a"}, {3, "ab"}, {4, "abc"}, {9, "abc"}};
    for (const CutRow &row : rows) {
        SCOPED_TRACE(row.size);
        char buffer[10];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(Quorbix_GetParam_SS(c, "S$", buffer, row.size), 0);
        const std::string expected = row.expected != nullptr ? std::string(row.expected) + '\0' : "";
        EXPECT_EQ(std::memcmp(buffer, expected.data(), expected.size()), 0);
        for (size_t k = expected.size(); k < sizeof buffer; ++k)
            EXPECT_EQ(buffer[k], '#') << "byte " << k;
    }
    char buffer[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(Quorbix_GetParam_SS(c, "missing$", buffer, 1), 0);
    EXPECT_EQ(Quorbix_GetParam_SD1(c, "l$", MaxIndex, buffer, 0), 0);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(Quorbix_GetParam_SS(c, "missing$", buffer, 2), ErrBadName);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(Quorbix_GetParam_SD1(c, "l$", 0, buffer, 2), 0); // an empty text
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], '#');
}

// Each write leaves exactly the new text, whether it grows or shrinks the
// block, and touches no other element.
TEST_F(ReadWriteParamTest, StringSettersReplaceTheWholeText)
{
    const char *sequence[] = {"a much longer text than before", "", "xy", "another rather long one", "z"};
    for (const char *text : sequence) {
        SCOPED_TRACE(text);
        ASSERT_EQ(Quorbix_SetParam_SS(c, "s$", text), 0);
        ASSERT_EQ(Quorbix_SetParam_SD1(c, "L$", 1, text), 0);
        ASSERT_EQ(Quorbix_SetParam_SD2(c, "g$", 2, 1, text), 0);
        EXPECT_EQ(Text("s$"), text);
        EXPECT_EQ(Text("l$", 1), text);
        EXPECT_EQ(Text("g$", 2, 1), text);
        EXPECT_EQ(t.EvalString("s$").value, text);
    }
    EXPECT_EQ(Text("l$", 0), "");
    EXPECT_EQ(Text("l$", 2), "");
    EXPECT_EQ(Text("g$", 1, 1), "");
}

// A failed resize leaves the old text in place and leaks nothing.
TEST_F(ReadWriteParamTest, StringSetterSurvivesAllocationFailure)
{
    const std::string longer(200, 'q');
    for (const char *name : {"s$", "l$"}) {
        SCOPED_TRACE(name);
        const bool scalar = std::strcmp(name, "s$") == 0;
        const auto set = [&](const char *text) {
            return scalar ? Quorbix_SetParam_SS(c, name, text) : Quorbix_SetParam_SD1(c, name, 2, text);
        };
        ASSERT_EQ(set("old"), 0);
        const long live = qxtest::LiveBlocks();
        int32_t rc;
        {
            qxtest::AllocationFailureScope fail(1);
            rc = set(longer.c_str());
            EXPECT_TRUE(qxtest::AllocationFailed());
        }
        EXPECT_EQ(rc, ErrNoMemory);
        EXPECT_EQ(Text(name, 2), "old");
        EXPECT_EQ(qxtest::LiveBlocks(), live);
    }
}

TEST_F(ReadWriteParamTest, InfoReportsAnySymbolAndOnlyItsShapeFields)
{
    ParamInfo info{99, 98, 97, 96, 95};
    ASSERT_EQ(Quorbix_GetParamInfo(c, "SIN", &info), 0);
    EXPECT_EQ(info.kind, NFunction);
    EXPECT_EQ(info.attribute, 1u);
    ASSERT_EQ(Quorbix_GetParamInfo(c, "pi", &info), 0);
    EXPECT_EQ(info.kind, NConstant);
    ASSERT_EQ(Quorbix_SetAttrib(c, "x", 0x80000004u), 0);
    ASSERT_EQ(Quorbix_GetParamInfo(c, "X", &info), 0);
    EXPECT_EQ(info.kind, NS);
    EXPECT_EQ(info.attribute, 0x80000004u);
    EXPECT_EQ(info.count, 97u); // a scalar leaves the shape fields alone
    EXPECT_EQ(info.dim1, 96u);
    ASSERT_EQ(Quorbix_GetParamInfo(c, "l$", &info), 0);
    EXPECT_EQ(info.kind, SD1);
    EXPECT_EQ(info.count, 3u);
    EXPECT_EQ(info.dim1, 96u);
    ASSERT_EQ(Quorbix_GetParamInfo(c, "g$", &info), 0);
    EXPECT_EQ(info.count, 6u);
    EXPECT_EQ(info.dim1, 3u);
    EXPECT_EQ(info.dim2, 2u);
    const ParamInfo before = info;
    EXPECT_EQ(Quorbix_GetParamInfo(c, "nothing", &info), ErrBadName);
    EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0);
}

// Quorbix_Param hands out pointers into the entry; a function or constant
// gets its kind and attribute reported but no storage.
TEST_F(ReadWriteParamTest, ParamPointsIntoTheEntry)
{
    uint32_t sentinel = 0;
    ParamRef ref{0, nullptr, &sentinel, &sentinel, &sentinel, &sentinel};
    EXPECT_EQ(Quorbix_Param(c, "nothing", &ref), ErrBadName);
    EXPECT_EQ(ref.attribute, nullptr);
    EXPECT_EQ(Quorbix_Param(c, "sin", &ref), ErrBadName);
    EXPECT_EQ(ref.kind, NFunction);
    ASSERT_NE(ref.attribute, nullptr);
    EXPECT_EQ(*ref.attribute, 1u);
    EXPECT_EQ(ref.value, &sentinel);
    ASSERT_EQ(Quorbix_Param(c, "s$", &ref), 0);
    EXPECT_EQ(ref.kind, SS);
    EXPECT_EQ(ref.count, &sentinel);
    EXPECT_STREQ(*static_cast<char **>(ref.value), "abc");
    // Element (i, j) of a two-dimensional array lies at i + dim1 * j.
    ASSERT_EQ(Quorbix_SetParam_ND2(c, "m", 2, 1, 8.5), 0);
    ASSERT_EQ(Quorbix_SetParam_SD2(c, "G$", 1, 1, "one-one"), 0);
    ASSERT_EQ(Quorbix_Param(c, "m", &ref), 0);
    EXPECT_EQ(*ref.count, 6u);
    EXPECT_EQ(*ref.dim1, 3u);
    EXPECT_EQ(*ref.dim2, 2u);
    for (uint32_t k = 0; k < 6; ++k)
        EXPECT_EQ((*static_cast<double **>(ref.value))[k], k == 5 ? 8.5 : 0.0) << k;
    ASSERT_EQ(Quorbix_Param(c, "g$", &ref), 0);
    EXPECT_STREQ((*static_cast<char ***>(ref.value))[4], "one-one");
    EXPECT_EQ(Text("g$", 0, 1), "");

    ParamRef array{0, nullptr, &sentinel, &sentinel, &sentinel, &sentinel};
    ASSERT_EQ(Quorbix_Param(c, "v", &array), 0);
    EXPECT_EQ(*array.count, 3u);
    EXPECT_EQ(array.dim1, &sentinel);
    (*static_cast<double **>(array.value))[1] = 6.25; // a write through the storage is seen by getters
    double out = 0.0;
    EXPECT_EQ(Quorbix_GetParam_ND1(c, "v", 1, &out), 0);
    EXPECT_EQ(out, 6.25);
}

} // namespace
