// Deleting parameters, listing and counting them, and their attribute words.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/alloc_hooks.h"
#include "support/table_check.h"
#include "support/test_context.h"

namespace {

using qxtest::TestContext;
using Names = std::vector<std::string>;
constexpr uint32_t ReadOnly = AttrReadOnly, DeleteProtected = AttrDeleteProtected, IntegerView = AttrIntegerView;

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

// The table's invariants after any call, no deleted mark inside a bucket's
// count, and the parameters found, counted and enumerated being `present`.
void ExpectConsistent(EvalContext *ctx, Names present)
{
    qxtest::ExpectValidTable(ctx);
    for (int b = 0; b < qx::BucketCount; ++b)
        for (uint32_t k = 0; k < ctx->symbols[b].count; ++k)
            EXPECT_NE(static_cast<unsigned char>(ctx->symbols[b].entries[k].name[0]), 0xFF) << "bucket " << b;
    EXPECT_EQ(Quorbix_ParamCount(ctx, nullptr), static_cast<int32_t>(present.size()));
    Names listed = Enumerate(ctx);
    std::sort(listed.begin(), listed.end());
    std::sort(present.begin(), present.end());
    EXPECT_EQ(listed, present);
}

struct Made {
    std::string name;
    uint32_t attribute;
    int bucket() const { return name[0] & 31; }
};

// Eleven parameters of every kind in each of five buckets, some protected,
// so that buckets hold more than eight entries and are searched by halving,
// and deletions free every kind of payload.
const std::vector<Made> Many = [] {
    std::vector<Made> made;
    for (const char *prefix : {"a", "B", "k", "Z", "_"})
        for (uint32_t k = 0; k < 11; ++k)
            made.push_back({prefix + std::to_string(k) + (k % 2 ? "$" : ""),
                            k == 3 ? ReadOnly : k == 7 ? DeleteProtected : k == 4 ? IntegerView : 0});
    return made;
}();

// Fails the n-th allocation of `operate` for n = 1, 2, ... on a fresh table
// each time, until a run meets no failure. Every run must end in 0 or
// ErrNoMemory, pass `verify`, and leave nothing behind once the context is
// closed: a marked entry whose payload was not freed would show as a leak.
template <typename Operate, typename Verify>
void SweepAllocationFailures(Operate operate, Verify verify)
{
    for (size_t n = 1, injected = 1; injected; ++n) {
        ASSERT_LT(n, 200u);
        const long baseline = qxtest::LiveBlocks();
        {
            TestContext t;
            for (size_t k = 0; k < Many.size(); ++k) {
                const char *name = Many[k].name.c_str();
                const uint32_t a = Many[k].attribute, dim1 = 1 + k % 3, dim2 = 2 * (k % 3 == 1);
                const bool isString = Many[k].name.back() == '$';
                ASSERT_EQ(k % 3 == 0 ? (isString ? Quorbix_AllocSParam(&t.ctx, name, a, "text")
                                                 : Quorbix_AllocNParam(&t.ctx, name, a, 1.0))
                                     : (isString ? Quorbix_AllocSDim : Quorbix_AllocNDim)(&t.ctx, dim1, dim2, a, name),
                          0);
            }
            const NConstantDef constant{"k_const", 2.5};
            ASSERT_EQ(Quorbix_CreateNConstant(&t.ctx, &constant), 0);
            qxtest::FailAllocation(n);
            const int32_t rc = operate(&t.ctx);
            injected = qxtest::AllocationFailed();
            qxtest::FailAllocation(0);
            EXPECT_EQ(rc, injected ? ErrNoMemory : 0) << n;
            verify(&t.ctx, rc);
            EXPECT_EQ(t.Eval("k_const+sin(0)+pi").value, 2.5 + 3.141592653589793) << n;
        }
        EXPECT_EQ(qxtest::LiveBlocks(), baseline) << n;
    }
}

// A failed shrink still takes the entry out. A failure of DeleteAll stops
// the walk at one bucket: the buckets before it and that one lose their
// unprotected parameters, the later ones keep them all. Without a failure
// only the protected ones stay, and never a function or constant.
TEST(ManageParamsTest, DeletionsSurviveAllocationFailures)
{
    for (const char *target : {"K2", "z9$"})
        SweepAllocationFailures([&](EvalContext *ctx) { return Quorbix_DeleteParam(ctx, target); },
                                [&](EvalContext *ctx, int32_t) {
                                    Names present;
                                    for (const Made &m : Many)
                                        if (qx::CompareFolded(m.name.c_str(), target) != 0)
                                            present.push_back(m.name);
                                    ExpectConsistent(ctx, present);
                                });
    SweepAllocationFailures(Quorbix_DeleteAllParams, [&](EvalContext *ctx, int32_t rc) {
        int firstKept = qx::BucketCount; // the first bucket that kept an unprotected parameter
        for (const Made &m : Many)
            if (!qx::IsProtected(m.attribute) && qx::FindSymbol(ctx, m.name.c_str()) != nullptr)
                firstKept = std::min(firstKept, m.bucket());
        EXPECT_TRUE(rc != 0 || firstKept == qx::BucketCount);
        Names present;
        for (const Made &m : Many) {
            const bool survives = qx::IsProtected(m.attribute) || m.bucket() >= firstKept;
            EXPECT_EQ(qx::FindSymbol(ctx, m.name.c_str()) != nullptr, survives) << m.name;
            if (survives)
                present.push_back(m.name);
        }
        ExpectConsistent(ctx, present);
    });
}

TEST(ManageParamsTest, DeleteParamRefusesNonParametersAndProtectedOnesAndEmptiesABucket)
{
    TestContext t;
    EvalContext *c = &t.ctx;
    for (const auto &[name, attribute] : {std::pair{"ro", ReadOnly}, {"dp", DeleteProtected},
                                          {"viewonly", IntegerView}, {"highbits", 0xFFFFFFF8u}})
        ASSERT_EQ(Quorbix_AllocNParam(c, name, attribute, 1.0), 0);
    for (const char *name : {"pi", "SIN", "cr$", "missing", ""})
        EXPECT_EQ(Quorbix_DeleteParam(c, name), ErrBadName) << name;
    for (const auto &[name, code] : {std::pair{"ro", +ErrProtected}, {"dp", +ErrProtected}, 
                                     {"viewonly", 0}, {"highbits", 0}})
        EXPECT_EQ(Quorbix_DeleteParam(c, name), code) << name;
    ExpectConsistent(c, {"ro", "dp"});
    EXPECT_EQ(t.Eval("sin(0)+pi").code, 0);
    ASSERT_EQ(Quorbix_SetAttrib(c, "ro", AttrIntegerView), 0);
    EXPECT_EQ(Quorbix_DeleteParam(c, "ro"), 0);
    // The only entry of a bucket leaves it empty and ready for reuse.
    const SymbolBucket &bucket = *qx::BucketOf(c, "q");
    const long baseline = qxtest::LiveBlocks();
    ASSERT_EQ(Quorbix_AllocSDim(c, 2, 3, 0, "Quux$"), 0);
    ASSERT_EQ(Quorbix_SetParam_SD2(c, "quux$", 1, 2, "payload"), 0);
    EXPECT_EQ(Quorbix_DeleteParam(c, "QUUX$"), 0);
    EXPECT_TRUE(bucket.count == 0 && bucket.entries == nullptr);
    EXPECT_EQ(qxtest::LiveBlocks(), baseline);
    ASSERT_EQ(Quorbix_AllocNParam(c, "quux", 0, 2.0), 0);
    EXPECT_EQ(t.Eval("QUUX*3").value, 6.0);
    ExpectConsistent(c, {"dp", "quux"});
}

int32_t QUORBIX_CALL StopAtOnce(const char *name, uintptr_t user)
{
    ++*reinterpret_cast<int *>(user);
    const_cast<char *>(name)[0] = '!'; // the buffer is the callback's to spoil
    return 0;
}

// Enumeration follows the buckets, then the order within each, and stops
// when asked; counts and attribute words concern parameters only.
TEST(ManageParamsTest, EnumerationCountAndAttributesConcernParametersOnly)
{
    EvalContext closed{};
    int calls = 0;
    uint32_t guarded = 77, out = 12;
    const auto callsWord = reinterpret_cast<uintptr_t>(&calls);
    EXPECT_EQ(Quorbix_DeleteAllParams(&closed), 0);
    EXPECT_EQ(Quorbix_EnumParamName(&closed, StopAtOnce, callsWord), 0);
    EXPECT_EQ(Quorbix_ParamCount(&closed, &guarded), 0);
    EXPECT_EQ(guarded, 0u);
    TestContext t;
    EvalContext *c = &t.ctx;
    EXPECT_EQ(Quorbix_EnumParamName(c, StopAtOnce, callsWord), 0);
    EXPECT_EQ(calls, 0);
    for (const auto &[name, attribute] : {std::pair{"Z", ReadOnly}, {"_x", DeleteProtected},
                                          {"b", ReadOnly | DeleteProtected}, {"a1", IntegerView}, {"A", 0u}})
        ASSERT_EQ(Quorbix_AllocNParam(c, name, attribute, 0.0), 0);
    EXPECT_EQ(Quorbix_ParamCount(c, &guarded), 5);
    EXPECT_EQ(guarded, 3u);
    EXPECT_EQ(Enumerate(c), (Names{"A", "a1", "b", "Z", "_x"}));
    EXPECT_EQ(Quorbix_EnumParamName(c, StopAtOnce, callsWord), ErrSyntax);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(Enumerate(c), (Names{"A", "a1", "b", "Z", "_x"})); // the spoiled buffer was a copy
    EXPECT_EQ(Quorbix_GetAttrib(c, "sin", &out), ErrBadName);
    EXPECT_EQ(Quorbix_GetAttrib(c, "nothing", &out), ErrBadName);
    EXPECT_EQ(out, 12u);
    EXPECT_EQ(Quorbix_SetAttrib(c, "sin", 0), ErrBadName);
    ASSERT_EQ(Quorbix_SetAttrib(c, "a", 4294967295u), 0); // all 32 bits, with no protection of the word
    EXPECT_EQ(Quorbix_GetAttrib(c, "A", &out), 0);
    EXPECT_EQ(out, 4294967295u);
    EXPECT_EQ(Quorbix_SetParam_NS(c, "a", 1.0), ErrReadOnly);
    EXPECT_EQ(Quorbix_DeleteParam(c, "a"), ErrProtected);
    EXPECT_EQ(Quorbix_ParamCount(c, &guarded), 5);
    EXPECT_EQ(guarded, 4u);
}

} // namespace
