#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/symbol_table.h"
#include "quorbix.h"
#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

using qxtest::TestContext;
using Names = std::vector<std::string>;

int32_t QUORBIX_CALL Collect(const char *name, uintptr_t user)
{
    reinterpret_cast<Names *>(user)->push_back(name);
    return 1;
}

Names Enumerate(EvalContext *ctx)
{
    Names names;
    EXPECT_EQ(Quorbix_EnumParamName(ctx, Collect, reinterpret_cast<uintptr_t>(&names)), 0);
    return names;
}

// The table's invariants after any call: every bucket strictly sorted with
// no deleted mark inside its count, and the parameters found by name,
// counted and enumerated being exactly `present`.
void ExpectConsistent(EvalContext *ctx, Names present)
{
    for (int b = 0; b < qx::BucketCount; ++b) {
        const SymbolBucket &bucket = ctx->symbols[b];
        EXPECT_EQ(bucket.count == 0, bucket.entries == nullptr) << "bucket " << b;
        for (uint32_t k = 0; k < bucket.count; ++k) {
            const qx::SymbolEntry &entry = bucket.entries[k];
            EXPECT_NE(static_cast<unsigned char>(entry.name[0]), 0xFF) << "bucket " << b;
            if (k > 0) {
                EXPECT_LT(qx::CompareForSort(bucket.entries[k - 1].name, entry.name), 0) << entry.name;
            }
        }
    }
    for (const std::string &name : present) {
        const qx::SymbolEntry *entry = qx::FindSymbol(ctx, name.c_str());
        EXPECT_TRUE(entry != nullptr && qx::IsParameter(*entry)) << name;
    }
    EXPECT_EQ(Quorbix_ParamCount(ctx, nullptr), static_cast<int32_t>(present.size()));
    Names listed = Enumerate(ctx);
    std::sort(listed.begin(), listed.end());
    std::sort(present.begin(), present.end());
    EXPECT_EQ(listed, present);
}

struct Made {
    std::string name;
    uint32_t attribute;
};

// Eleven parameters of mixed kinds in each of five buckets, every fourth one
// protected, so that buckets hold more than eight entries and are searched by
// halving, and deletions free every kind of payload.
std::vector<Made> ManyParams()
{
    std::vector<Made> made;
    for (const char *prefix : {"a", "B", "k", "Z", "_"})
        for (int k = 0; k < 11; ++k) {
            const bool isString = k % 2 == 1;
            uint32_t attribute = k == 4 ? AttrIntegerView : 0;
            if (k % 4 == 3)
                attribute = k % 8 == 3 ? AttrReadOnly : AttrDeleteProtected;
            made.push_back({prefix + std::to_string(k) + (isString ? "$" : ""), attribute});
        }
    return made;
}

void Populate(EvalContext *ctx, const std::vector<Made> &made)
{
    for (size_t k = 0; k < made.size(); ++k) {
        const char *name = made[k].name.c_str();
        const uint32_t attribute = made[k].attribute;
        const bool isString = made[k].name.back() == '$';
        const int32_t rc = k % 3 == 0   ? (isString ? Quorbix_AllocSParam(ctx, name, attribute, "text")
                                                   : Quorbix_AllocNParam(ctx, name, attribute, 1.0))
                           : k % 3 == 1 ? (isString ? Quorbix_AllocSDim(ctx, 2, 2, attribute, name)
                                                    : Quorbix_AllocNDim(ctx, 4, 0, attribute, name))
                                        : (isString ? Quorbix_AllocSDim(ctx, 3, 0, attribute, name)
                                                    : Quorbix_AllocNDim(ctx, 2, 3, attribute, name));
        ASSERT_EQ(rc, 0) << name;
    }
    const NConstantDef constant{"k_const", 2.5};
    ASSERT_EQ(Quorbix_CreateNConstant(ctx, &constant), 0);
}

// Fails the n-th allocation of `operate` for n = 1, 2, ... on a fresh table
// each time, until a run meets no failure. Every run must end in 0 or
// ErrNoMemory, pass `verify`, and leave nothing behind once the context is
// closed: a marked entry whose payload was not freed would show as a leak.
template <typename Operate, typename Verify>
void SweepAllocationFailures(const std::vector<Made> &made, Operate operate, Verify verify)
{
    for (size_t n = 1;; ++n) {
        ASSERT_LT(n, 200u);
        SCOPED_TRACE("failing allocation " + std::to_string(n));
        const long baseline = qxtest::LiveBlocks();
        bool injected = false;
        {
            TestContext t;
            Populate(&t.ctx, made);
            int32_t rc;
            {
                qxtest::AllocationFailureScope fail(n);
                rc = operate(&t.ctx);
                injected = qxtest::AllocationFailed();
            }
            EXPECT_EQ(rc, injected ? ErrNoMemory : 0);
            verify(&t.ctx, rc);
            EXPECT_EQ(t.Eval("k_const+sin(0)+pi").value, 2.5 + 3.141592653589793);
        }
        EXPECT_EQ(qxtest::LiveBlocks(), baseline);
        if (!injected)
            return;
    }
}

TEST(ManageParamsTest, DeleteParamRefusesNonParametersAndProtectedOnes)
{
    TestContext t;
    EvalContext *c = &t.ctx;
    struct Row {
        const char *name;
        uint32_t attribute;
        int32_t code;
    } rows[] = {
        {"ro", AttrReadOnly, ErrProtected},
        {"dp", AttrDeleteProtected, ErrProtected},
        {"both", AttrReadOnly | AttrDeleteProtected, ErrProtected},
        {"viewonly", AttrIntegerView, 0},
        {"highbits", 0xFFFFFFF8u, 0},
    };
    for (const Row &row : rows)
        ASSERT_EQ(Quorbix_AllocNParam(c, row.name, row.attribute, 1.0), 0);
    for (const char *name : {"pi", "SIN", "cr$", "missing", ""})
        EXPECT_EQ(Quorbix_DeleteParam(c, name), ErrBadName) << name;
    for (const Row &row : rows)
        EXPECT_EQ(Quorbix_DeleteParam(c, row.name), row.code) << row.name;
    ExpectConsistent(c, {"ro", "dp", "both"});
    EXPECT_EQ(t.Eval("pi").code, 0);
    EXPECT_EQ(t.Eval("sin(0)").code, 0);

    ASSERT_EQ(Quorbix_SetAttrib(c, "ro", AttrIntegerView), 0);
    EXPECT_EQ(Quorbix_DeleteParam(c, "ro"), 0);
    ExpectConsistent(c, {"dp", "both"});
}

TEST(ManageParamsTest, DeletingTheOnlyEntryEmptiesTheBucketForReuse)
{
    TestContext t;
    EvalContext *c = &t.ctx;
    const SymbolBucket &bucket = *qx::BucketOf(c, "q");
    const long baseline = qxtest::LiveBlocks();
    ASSERT_EQ(Quorbix_AllocSDim(c, 2, 3, 0, "Quux$"), 0);
    ASSERT_EQ(Quorbix_SetParam_SD2(c, "quux$", 1, 2, "payload"), 0);
    EXPECT_EQ(Quorbix_DeleteParam(c, "QUUX$"), 0);
    EXPECT_EQ(bucket.count, 0u);
    EXPECT_EQ(bucket.entries, nullptr);
    EXPECT_EQ(qxtest::LiveBlocks(), baseline);
    EXPECT_EQ(Quorbix_DeleteParam(c, "quux$"), ErrBadName);

    ASSERT_EQ(Quorbix_AllocNParam(c, "quux", 0, 2.0), 0);
    EXPECT_EQ(t.Eval("QUUX*3").value, 6.0);
    ExpectConsistent(c, {"quux"});
}

TEST(ManageParamsTest, DeleteParamSurvivesAFailedShrink)
{
    const std::vector<Made> made = ManyParams();
    for (const char *target : {"K2", "a0", "z9$", "_5$"}) {
        SCOPED_TRACE(target);
        SweepAllocationFailures(
            made, [&](EvalContext *ctx) { return Quorbix_DeleteParam(ctx, target); },
            [&](EvalContext *ctx, int32_t) {
                Names present;
                for (const Made &m : made)
                    if (qx::CompareFolded(m.name.c_str(), target) != 0)
                        present.push_back(m.name);
                ExpectConsistent(ctx, present);
            });
    }
}

// A failure stops the walk at one bucket: the buckets before it and that one
// lose their unprotected parameters, the later ones keep them all.
TEST(ManageParamsTest, DeleteAllParamsSurvivesAllocationFailures)
{
    const std::vector<Made> made = ManyParams();
    SweepAllocationFailures(made, Quorbix_DeleteAllParams, [&](EvalContext *ctx, int32_t rc) {
        Names present;
        int firstSurvivorBucket = qx::BucketCount;
        for (const Made &m : made)
            if (qx::FindSymbol(ctx, m.name.c_str()) != nullptr) {
                present.push_back(m.name);
                if (!qx::IsProtected(m.attribute))
                    firstSurvivorBucket = std::min(firstSurvivorBucket, m.name[0] & 31);
            }
        if (rc == 0) {
            EXPECT_EQ(firstSurvivorBucket, qx::BucketCount);
        }
        for (const Made &m : made) {
            const bool survives = qx::IsProtected(m.attribute) || (m.name[0] & 31) >= firstSurvivorBucket;
            EXPECT_EQ(qx::FindSymbol(ctx, m.name.c_str()) != nullptr, survives) << m.name;
        }
        ExpectConsistent(ctx, present);
    });
}

TEST(ManageParamsTest, DeleteAllParamsLeavesProtectedOnesAndBuiltins)
{
    TestContext t;
    EvalContext *c = &t.ctx;
    ASSERT_EQ(Quorbix_AllocNParam(c, "keep", AttrReadOnly, 4.0), 0);
    ASSERT_EQ(Quorbix_AllocSParam(c, "hold$", AttrDeleteProtected, "held"), 0);
    EXPECT_EQ(Quorbix_DeleteAllParams(c), 0);
    ExpectConsistent(c, {"keep", "hold$"});

    ASSERT_EQ(Quorbix_AllocNDim(c, 3, 0, AttrIntegerView, "gone"), 0);
    ASSERT_EQ(Quorbix_AllocSParam(c, "gone$", 0, "bye"), 0);
    EXPECT_EQ(Quorbix_DeleteAllParams(c), 0);
    ExpectConsistent(c, {"keep", "hold$"});
    EXPECT_EQ(t.Eval("keep+sin(0)+pi").value, 4.0 + 3.141592653589793);
    EXPECT_EQ(t.EvalString("hold$+upper$(\"x\")").value, "heldX");
}

int32_t QUORBIX_CALL StopAtOnce(const char *name, uintptr_t user)
{
    ++*reinterpret_cast<int *>(user);
    const_cast<char *>(name)[0] = '!'; // the buffer is the callback's to spoil
    return 0;
}

TEST(ManageParamsTest, ClosedTableIsEmptyForListingCalls)
{
    EvalContext closed{};
    int calls = 0;
    uint32_t guarded = 77;
    EXPECT_EQ(Quorbix_DeleteAllParams(&closed), 0);
    EXPECT_EQ(Quorbix_EnumParamName(&closed, StopAtOnce, reinterpret_cast<uintptr_t>(&calls)), 0);
    EXPECT_EQ(Quorbix_ParamCount(&closed, &guarded), 0);
    EXPECT_EQ(guarded, 0u);
    EXPECT_EQ(calls, 0);
}

TEST(ManageParamsTest, EnumerationFollowsBucketsThenBucketOrder)
{
    TestContext t;
    EvalContext *c = &t.ctx;
    int calls = 0;
    EXPECT_EQ(Quorbix_EnumParamName(c, StopAtOnce, reinterpret_cast<uintptr_t>(&calls)), 0);
    EXPECT_EQ(calls, 0);

    for (const char *name : {"Z", "_x", "b", "a1", "A"})
        ASSERT_EQ(Quorbix_AllocNParam(c, name, 0, 0.0), 0);
    ASSERT_EQ(Quorbix_SetAttrib(c, "b", AttrReadOnly), 0);
    EXPECT_EQ(Enumerate(c), (Names{"A", "a1", "b", "Z", "_x"}));

    EXPECT_EQ(Quorbix_EnumParamName(c, StopAtOnce, reinterpret_cast<uintptr_t>(&calls)), ErrSyntax);
    EXPECT_EQ(calls, 1);
    const qx::SymbolEntry *first = qx::FindSymbol(c, "A");
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->name, "A");
}

TEST(ManageParamsTest, CountAndAttributesConcernParametersOnly)
{
    TestContext t;
    EvalContext *c = &t.ctx;
    const uint32_t attributes[] = {AttrReadOnly, AttrDeleteProtected, AttrReadOnly | AttrDeleteProtected,
                                   AttrIntegerView, 0};
    for (size_t k = 0; k < 5; ++k)
        ASSERT_EQ(Quorbix_AllocNParam(c, ("p" + std::to_string(k)).c_str(), attributes[k], 0.0), 0);
    uint32_t guarded = 0;
    EXPECT_EQ(Quorbix_ParamCount(c, &guarded), 5);
    EXPECT_EQ(guarded, 3u);
    EXPECT_EQ(Quorbix_ParamCount(c, nullptr), 5);

    uint32_t out = 12;
    EXPECT_EQ(Quorbix_GetAttrib(c, "sin", &out), ErrBadName);
    EXPECT_EQ(Quorbix_GetAttrib(c, "nothing", &out), ErrBadName);
    EXPECT_EQ(out, 12u);
    EXPECT_EQ(Quorbix_SetAttrib(c, "sin", 0), ErrBadName);
    ParamInfo info{};
    ASSERT_EQ(Quorbix_GetParamInfo(c, "sin", &info), 0);
    EXPECT_EQ(info.attribute, 1u);

    ASSERT_EQ(Quorbix_SetAttrib(c, "P4", 4294967295u), 0);
    EXPECT_EQ(Quorbix_GetAttrib(c, "p4", &out), 0);
    EXPECT_EQ(out, 4294967295u);
    EXPECT_EQ(Quorbix_SetParam_NS(c, "p4", 1.0), ErrReadOnly);
    EXPECT_EQ(Quorbix_DeleteParam(c, "p4"), ErrProtected);
    EXPECT_EQ(Quorbix_ParamCount(c, &guarded), 5);
    EXPECT_EQ(guarded, 4u);
}

} // namespace
