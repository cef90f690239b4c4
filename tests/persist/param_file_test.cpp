#include <gtest/gtest.h>

#include <unistd.h>

#include <bit>
#include <cstdio>
#include <string>

#include "core/symbol_table.h"
#include "quorbix.h"
#include "support/alloc_hooks.h"
#include "support/table_check.h"
#include "support/temp_file.h"
#include "support/test_context.h"

namespace {

using qxtest::TempFile;
using qxtest::TestContext;
using Bytes = std::string;

Bytes Save(EvalContext *ctx)
{
    TempFile file;
    EXPECT_EQ(Quorbix_SaveParam(ctx, file.fd), 0);
    return file.Bytes();
}

int32_t Load(EvalContext *ctx, const Bytes &bytes, int32_t noReplace = 0)
{
    TempFile file(bytes);
    return Quorbix_LoadParam(ctx, file.fd, noReplace);
}

// Hand-made file pieces, little-endian whatever the host.
Bytes Le(uint64_t value, int size)
{
    Bytes bytes;
    for (int k = 0; k < size; ++k)
        bytes += static_cast<char>(value >> (8 * k));
    return bytes;
}
Bytes U32(uint32_t value) { return Le(value, 4); }
Bytes F64(double value) { return Le(std::bit_cast<uint64_t>(value), 8); }
Bytes Text(const Bytes &withTerminator) { return U32(static_cast<uint32_t>(withTerminator.size())) + withTerminator; }
Bytes Head(uint16_t kind, Bytes name, uint32_t attribute = 0)
{
    name.resize(qx::NameFieldSize, '\0'); // a 34-byte name keeps no terminator
    return Le(kind, 2) + name + U32(attribute);
}
const Bytes End(40, '\xFF');

uint16_t KindOf(EvalContext *ctx, const char *name)
{
    const qx::SymbolEntry *entry = qx::FindSymbol(ctx, name);
    return entry != nullptr ? entry->kind : 0;
}

// All six kinds, an empty text and empty elements, mixed case, attribute bits.
void MakeAllKinds(EvalContext *c)
{
    ASSERT_EQ(Quorbix_AllocNParam(c, "Speed", 0xFFFFFFFF, -0.0), 0);
    ASSERT_EQ(Quorbix_AllocNDim(c, 3, 0, AttrIntegerView, "vec"), 0);
    ASSERT_EQ(Quorbix_AllocNDim(c, 2, 3, 0, "Grid"), 0);
    ASSERT_EQ(Quorbix_AllocSParam(c, "empty$", AttrDeleteProtected, ""), 0);
    ASSERT_EQ(Quorbix_AllocSDim(c, 2, 0, 0, "list$"), 0);
    ASSERT_EQ(Quorbix_AllocSDim(c, 1, 2, 0x80000000, "_names$"), 0);
    for (uint32_t k = 0; k < 6; ++k)
        ASSERT_EQ(Quorbix_SetParam_ND2(c, "grid", k % 2, k / 2, k % 2 + 10.0 * (k / 2) + 0.5), 0);
    ASSERT_EQ(Quorbix_SetParam_ND1(c, "vec", 2, 1e300), 0);
    ASSERT_EQ(Quorbix_SetParam_SD1(c, "list$", 1, "second"), 0);
    ASSERT_EQ(Quorbix_SetParam_SD2(c, "_names$", 0, 1, "bottom"), 0);
}

TEST(ParamFile, WorkedExampleAndEmptyTableAreExactBytes)
{
    const Bytes example = Bytes("\x80\x00" "a$", 4) + Bytes(36, '\0') + Bytes("\x03\0\0\0" "hi", 7) +
                          Bytes("\x10\x00" "x", 3) + Bytes(37, '\0') + Bytes("\0\0\0\0\0\0\xF8\x3F", 8) + End;
    ASSERT_EQ(example.size(), 135u);
    TestContext a, b;
    EXPECT_EQ(Save(&a.ctx), End);
    EXPECT_EQ(Load(&a.ctx, End), 0);
    EXPECT_EQ(Quorbix_ParamCount(&a.ctx, nullptr), 0);
    ASSERT_EQ(Quorbix_AllocNParam(&a.ctx, "x", 0, 1.5), 0);
    ASSERT_EQ(Quorbix_AllocSParam(&a.ctx, "a$", 0, "hi"), 0);
    EXPECT_EQ(Save(&a.ctx), example);
    ASSERT_EQ(Load(&b.ctx, example), 0);
    EXPECT_EQ(b.EvalString("a$ + \"!\"").value, "hi!");
    EXPECT_EQ(b.Eval("x * 2").value, 3.0);
}

TEST(ParamFile, RoundTripKeepsEverythingAndLeavesHostBytesUnread)
{
    TestContext a, b;
    MakeAllKinds(&a.ctx);
    const Bytes saved = Save(&a.ctx);
    TempFile file(saved + "host data");
    ASSERT_EQ(Quorbix_LoadParam(&b.ctx, file.fd, 0), 0);
    EXPECT_EQ(file.Position(), static_cast<off_t>(saved.size()));
    EXPECT_EQ(Save(&b.ctx), saved); // names as spelled, kinds, shapes, values, attributes
    uint32_t attribute = 0; // and the saved bytes themselves carry the whole word
    ASSERT_EQ(Quorbix_GetAttrib(&b.ctx, "_NAMES$", &attribute), 0);
    EXPECT_EQ(attribute, 0x80000000u);
    EXPECT_EQ(b.Eval("grid(1, 2) + vec(0)").value, 21.5);
    EXPECT_EQ(b.EvalString("list$(0) + \"|\" + list$(1) + _names$(0, 1) + empty$").value, "|secondbottom");
}

// Eleven records of all six kinds in one bucket, in descending order, the
// last one repeating the first name: the bucket is searched by halving, so
// both the collision scan and the closing sort must cope with disorder. Once
// the repeat's head is read, the old p9 is gone even if the body is cut.
TEST(ParamFile, CutAtEveryByteKeepsCompleteRecordsInOrder)
{
    const uint16_t kinds[] = {NS, ND1, ND2, SS, SD1, SD2, ND1};
    const Bytes bodies[] = {F64(9), U32(2) + F64(1) + F64(2), U32(2) + U32(1) + U32(2) + F64(3) + F64(4),
                            Text(Bytes("six", 4)), U32(2) + Text(Bytes(1, '\0')) + Text(Bytes("b", 2)),
                            U32(1) + U32(1) + U32(1) + Text(Bytes("c", 2)), U32(1) + F64(5)};
    Bytes file;
    std::string names[11];
    size_t ends[11];
    for (int k = 0; k < 11; ++k) {
        const int shape = k < 10 ? k % 6 : 6;
        names[k] = k < 10 ? "p" + std::to_string(9 - k) + (kinds[shape] >= SS ? "$" : "") : "P9";
        file += Head(kinds[shape], names[k]) + bodies[shape];
        ends[k] = file.size();
    }
    file += End;
    for (size_t cut = 0; cut <= file.size(); ++cut) {
        const long baseline = qxtest::LiveBlocks();
        {
            TestContext t;
            ASSERT_EQ(Load(&t.ctx, file.substr(0, cut)), cut == file.size() ? 0 : ErrFileRead) << cut;
            int complete = 0;
            while (complete < 11 && ends[complete] <= cut)
                ++complete;
            const bool repeatSeen = cut >= ends[9] + 40;
            ASSERT_EQ(Quorbix_ParamCount(&t.ctx, nullptr), complete == 11 ? 10 : complete - repeatSeen) << cut;
            for (int k = 1; k < complete && k < 10; ++k)
                ASSERT_EQ(KindOf(&t.ctx, names[k].c_str()), kinds[k % 6]) << cut;
            ASSERT_EQ(KindOf(&t.ctx, "p9"), complete == 11 ? ND1 : complete == 0 || repeatSeen ? 0 : NS) << cut;
            qxtest::ExpectValidTable(&t.ctx);
        }
        ASSERT_EQ(qxtest::LiveBlocks(), baseline) << cut;
    }
}

// With `existing` the table holds x as ND1 first. Afterwards x has kind
// `kindAfter`, spelled `spelling`. A failure leaves the handle behind the
// head it refused (`stopsAt`), a success behind the end record.
TEST(ParamFile, ReplacementRulesAndHeadChecks)
{
    const Bytes bigX = Head(NS, "X") + F64(2);
    const Bytes twice = Head(NS, "x") + F64(1) + bigX;
    const struct {
        const char *what;
        bool existing;
        uint32_t attribute;
        Bytes records;
        int32_t noReplace, code;
        uint16_t kindAfter;
        const char *spelling;
        off_t stopsAt;
    } rows[] = {
        {"replaces another kind", true, 0, bigX, 0, 0, NS, "X", 0},
        {"noReplace", true, 0, bigX, 1, ErrBadName, ND1, "x", 40},
        {"delete-protected", true, AttrDeleteProtected, bigX, 0, ErrBadName, ND1, "x", 40},
        {"unknown kind, name taken", true, 0, Head(0x0800, "x"), 1, ErrBadName, ND1, "x", 40},
        {"unknown kind, name free", false, 0, Head(0x0800, "x"), 0, ErrFileRead, 0, "", 40},
        {"two kind bits", false, 0, Head(NS | SS, "x$") + F64(1), 0, ErrFileRead, 0, "", 40},
        {"0xFFFF kind, not an end record", false, 0, Head(0xFFFF, "x"), 0, ErrFileRead, 0, "", 40},
        {"end record but its last byte", false, 0, Bytes(39, '\xFF') + '\xFE', 0, ErrFileRead, 0, "", 40},
        {"built-in", false, 0, Head(NS, "pi") + F64(1), 0, ErrBadName, 0, "", 40},
        {"one name twice", false, 0, twice, 0, 0, NS, "X", 0},
        {"one name twice, first read-only", false, 0, Head(NS, "x", AttrReadOnly) + F64(1) + bigX, 0, ErrBadName, NS,
         "x", 88},
        {"one name twice, noReplace", false, 0, twice, 1, ErrBadName, NS, "x", 88},
        {"numeric kind, string name", false, 0, Head(NS, "x$") + F64(1), 0, ErrFileRead, 0, "", 40},
        {"string kind, numeric name", false, 0, Head(SS, "x") + Text("a"), 0, ErrFileRead, 0, "", 40},
        {"no terminator in the field", false, 0, Head(NS, Bytes(34, 'x')) + F64(1), 0, ErrFileRead, 0, "", 40},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        TestContext t;
        ASSERT_EQ(row.existing ? Quorbix_AllocNDim(&t.ctx, 2, 0, row.attribute, "x") : 0, 0);
        const Bytes bytes = row.records + End + "tail";
        TempFile file(bytes);
        EXPECT_EQ(Quorbix_LoadParam(&t.ctx, file.fd, row.noReplace), row.code);
        EXPECT_EQ(file.Position(), row.stopsAt != 0 ? row.stopsAt : static_cast<off_t>(bytes.size() - 4));
        EXPECT_EQ(KindOf(&t.ctx, "x"), row.kindAfter);
        EXPECT_STREQ(row.kindAfter != 0 ? qx::FindSymbol(&t.ctx, "x")->name : "", row.spelling);
        EXPECT_EQ(KindOf(&t.ctx, "pi"), NConstant);
    }
}

// Behind a good record. A reader that trusted a huge count would ask for
// 32 GiB and fail with ErrNoMemory (or be stopped by a sanitizer): the data
// must run out first.
TEST(ParamFile, DamagedShapesAndTextsAreRefused)
{
    const struct {
        const char *what;
        Bytes record;
        int32_t code;
    } rows[] = {
        {"huge numeric count", Head(ND1, "v") + U32(0xFFFFFFFF) + F64(1) + F64(2), ErrFileRead},
        {"zero count", Head(ND1, "v") + U32(0), ErrFileRead},
        {"count is not dim1*dim2", Head(ND2, "v") + U32(6) + U32(2) + U32(2) + Bytes(48, '\0'), ErrFileRead},
        {"dim1*dim2 wraps onto the count", Head(ND2, "v") + U32(1) + U32(641) + U32(6700417) + F64(1), ErrFileRead},
        {"huge string count", Head(SD1, "s$") + U32(0xFFFFFFFF) + Text(Bytes("a", 2)), ErrFileRead},
        {"zero length", Head(SS, "s$") + U32(0), ErrFileRead},
        {"huge length", Head(SS, "s$") + U32(0xFFFFFFFF) + "abc", ErrFileRead},
        {"element without terminator", Head(SD1, "s$") + U32(2) + Text(Bytes("a", 2)) + Text("b"), ErrFileRead},
        {"zero inside a text", Head(SS, "s$") + Text(Bytes("a\0b", 4)), 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        const long baseline = qxtest::LiveBlocks();
        {
            TestContext t;
            EXPECT_EQ(Load(&t.ctx, Head(NS, "a") + F64(1) + row.record + End), row.code);
            EXPECT_EQ(Quorbix_ParamCount(&t.ctx, nullptr), row.code == 0 ? 2 : 1);
            EXPECT_EQ(t.EvalString("s$").value, row.code == 0 ? "a" : "");
        }
        EXPECT_EQ(qxtest::LiveBlocks(), baseline);
    }
}

// The load replaces vec, and list$ with a parameter of another kind. A load
// that runs out of memory keeps the records before the one it failed on:
// those matching the source form a prefix of the file, never shorter for a
// later failure.
TEST(ParamFile, FailedLoadKeepsTheRecordsBeforeIt)
{
    TestContext source;
    MakeAllKinds(&source.ctx);
    const Bytes saved = Save(&source.ctx);
    const char *fileOrder[] = {"empty$", "Grid", "list$", "Speed", "vec", "_names$"}; // by bucket
    int lastPrefix = 0;
    for (size_t n = 1;; ++n) {
        ASSERT_LT(n, 100u);
        const long baseline = qxtest::LiveBlocks();
        bool injected = false;
        {
            TestContext t;
            ASSERT_EQ(Quorbix_AllocNDim(&t.ctx, 5, 0, 0, "VEC"), 0);
            ASSERT_EQ(Quorbix_AllocSParam(&t.ctx, "list$", 0, "old"), 0);
            TempFile file(saved);
            int32_t rc;
            {
                qxtest::AllocationFailureScope fail(n);
                rc = Quorbix_LoadParam(&t.ctx, file.fd, 0);
                injected = qxtest::AllocationFailed();
            }
            EXPECT_EQ(rc, injected ? ErrNoMemory : 0) << n;
            qxtest::ExpectValidTable(&t.ctx);
            int prefix = 0;
            bool gap = false;
            for (const char *name : fileOrder) {
                ParamInfo want{}, got{};
                Quorbix_GetParamInfo(&source.ctx, name, &want);
                const bool same = Quorbix_GetParamInfo(&t.ctx, name, &got) == 0 && got.kind == want.kind &&
                                  got.count == want.count && got.dim1 == want.dim1 && got.attribute == want.attribute;
                EXPECT_FALSE(same && gap) << n << ' ' << name; // a record kept behind a lost one
                gap = gap || !same;
                prefix += gap ? 0 : 1;
            }
            EXPECT_GE(prefix, lastPrefix) << n;
            lastPrefix = prefix;
            EXPECT_TRUE(injected || Save(&t.ctx) == saved);
        }
        EXPECT_EQ(qxtest::LiveBlocks(), baseline) << n;
        if (!injected)
            break;
    }
}

} // namespace
