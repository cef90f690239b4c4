// Opening and closing a context, the version calls and the shared heap.
#include <bit>
#include <cfloat>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "core/symbol_table.h"
#include "support/alloc_hooks.h"

namespace {

void ExpectEveryBucketSorted(const EvalContext &ctx)
{
    for (int b = 0; b < qx::BucketCount; ++b) {
        const SymbolBucket &bucket = ctx.symbols[b];
        EXPECT_EQ(bucket.count == 0, bucket.entries == nullptr) << "bucket " << b;
        for (uint32_t k = 0; k < bucket.count; ++k) {
            EXPECT_EQ(qx::BucketOf(&ctx, bucket.entries[k].name), &bucket) << bucket.entries[k].name;
            if (k > 0) {
                EXPECT_LT(qx::CompareForSort(bucket.entries[k - 1].name, bucket.entries[k].name), 0);
            }
        }
    }
}

TEST(Context, InitializeClearsTheRecordAndLoadsTheConstants)
{
    EvalContext ctx;
    std::memset(&ctx, 0x5C, sizeof ctx); // whatever the record held is overwritten
    ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
    ASSERT_NE(ctx.symbols, nullptr);
    EXPECT_EQ(ctx.cursor, nullptr);
    EXPECT_EQ(ctx.parenDepth, 0);
    EXPECT_EQ(ctx.registers, nullptr);
    EXPECT_EQ(std::bit_cast<uint64_t>(ctx.result), 0u);
    EXPECT_EQ(ctx.stringResult, nullptr);
    EXPECT_EQ(ctx.text, nullptr);
    ExpectEveryBucketSorted(ctx);

    const struct {
        const char *name;
        uint64_t bits;
    } numeric[] = {
        {"intmax", 0x41EFFFFFFFE00000}, {"maxval", 0x7FEFFFFFFFFFFFFF},
        {"minval", 0x0010000000000000}, {"pi", 0x400921FB54442D18},
        {"PI", 0x400921FB54442D18},     {"Pi", 0x400921FB54442D18},
    };
    for (const auto &c : numeric) {
        const qx::SymbolEntry *e = qx::FindSymbol(&ctx, c.name);
        ASSERT_NE(e, nullptr) << c.name;
        EXPECT_EQ(e->kind, NConstant) << c.name;
        EXPECT_EQ(e->attribute, 1u) << c.name;
        EXPECT_EQ(std::bit_cast<uint64_t>(e->value), c.bits) << c.name;
    }
    const struct {
        const char *name;
        const char *text;
    } strings[] = {{"cr$", "\n"}, {"DQ$", "\""}, {"Tab$", "\t"}};
    for (const auto &c : strings) {
        const qx::SymbolEntry *e = qx::FindSymbol(&ctx, c.name);
        ASSERT_NE(e, nullptr) << c.name;
        EXPECT_EQ(e->kind, SConstant) << c.name;
        EXPECT_EQ(e->attribute, 1u) << c.name;
        EXPECT_STREQ(e->constant.text, c.text) << c.name;
        EXPECT_EQ(e->constant.length, 1u) << c.name;
    }
    Quorbix_Terminate(&ctx);
    EXPECT_EQ(ctx.symbols, nullptr);
}

TEST(Context, TerminateIsHarmlessOnAClosedContextAndItReopens)
{
    EvalContext ctx{};
    Quorbix_Terminate(&ctx); // never opened
    ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
    Quorbix_Terminate(&ctx);
    Quorbix_Terminate(&ctx);
    EXPECT_EQ(ctx.symbols, nullptr);
    ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
    EXPECT_NE(qx::FindSymbol(&ctx, "pi"), nullptr);
    Quorbix_Terminate(&ctx);
}

// Every allocation of Initialize is made to fail in turn. Each failure must
// close the context and give back every block, and the sweep ends with the
// first n that Initialize no longer reaches.
TEST(Context, InitializeFailsCleanlyAtEveryAllocation)
{
    size_t n = 1;
    for (;; ++n) {
        SCOPED_TRACE(n);
        ASSERT_LT(n, 1000u) << "the sweep does not end";
        EvalContext ctx{};
        const long live = qxtest::LiveBlocks();
        int32_t rc;
        bool injected;
        {
            qxtest::AllocationFailureScope failNth(n);
            rc = Quorbix_Initialize(&ctx);
            injected = qxtest::AllocationFailed();
        }
        if (!injected) {
            EXPECT_EQ(rc, 0);
            EXPECT_NE(ctx.symbols, nullptr);
            Quorbix_Terminate(&ctx);
            EXPECT_EQ(qxtest::LiveBlocks(), live) << "Terminate left blocks behind";
            break;
        }
        EXPECT_EQ(rc, ErrNoMemory);
        EXPECT_EQ(ctx.symbols, nullptr);
        EXPECT_EQ(qxtest::LiveBlocks(), live) << "a failed open leaked";
        Quorbix_Terminate(&ctx); // after a failed open: nothing to do
        ASSERT_EQ(Quorbix_Initialize(&ctx), 0); // and it opens again
        Quorbix_Terminate(&ctx);
    }
    EXPECT_GT(n, 1u + 7u) << "the table and the seven constants each need an allocation";
}

TEST(Version, ShortAndFullTextsAreZeroFilled)
{
    const struct {
        void(QUORBIX_CALL *call)(VersionInfo *);
        std::string prefix;
        bool exact;
    } calls[] = {{Quorbix_GetVersion, "3.8.1", true}, {Quorbix_GetVersion_FullStr, "Quorbix Ver 3.8.1", false}};
    for (const auto &c : calls) {
        SCOPED_TRACE(c.prefix);
        VersionInfo info;
        std::memset(&info, 0xA5, sizeof info);
        c.call(&info);
        EXPECT_EQ(info.versionMark, 1u);
        const size_t length = strnlen(info.versionText, sizeof info.versionText);
        ASSERT_LT(length, sizeof info.versionText);
        const std::string text(info.versionText, length);
        EXPECT_EQ(text.substr(0, c.prefix.size()), c.prefix);
        if (c.exact) {
            EXPECT_EQ(text, c.prefix);
        }
        EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << "one line";
        for (size_t k = length; k < sizeof info.versionText; ++k)
            EXPECT_EQ(info.versionText[k], '\0') << "byte " << k;
    }
}

// The four exports are the standard allocators, so blocks pass freely
// between host and library.
TEST(Heap, ExportsForwardToTheStandardAllocators)
{
    qxtest::ResetAllocationCount();
    char *a = static_cast<char *>(qx_malloc(8));
    ASSERT_NE(a, nullptr);
    std::memcpy(a, "1234567", 8);
    a = static_cast<char *>(qx_realloc(a, 4096));
    ASSERT_NE(a, nullptr);
    EXPECT_STREQ(a, "1234567");
    auto *z = static_cast<unsigned char *>(qx_calloc(16, 4));
    ASSERT_NE(z, nullptr);
    for (int k = 0; k < 64; ++k)
        EXPECT_EQ(z[k], 0);
    EXPECT_EQ(qxtest::AllocationCount(), 3u);
    std::free(a); // a library block, released by the host's free
    qx_free(z);
    qx_free(std::malloc(5)); // a host block, released by the library
    qx_free(nullptr);
    {
        qxtest::AllocationFailureScope failAll(1, true);
        EXPECT_EQ(qx_malloc(8), nullptr);
        EXPECT_EQ(qx_calloc(2, 8), nullptr);
        EXPECT_EQ(qx_realloc(nullptr, 8), nullptr);
    }
}

} // namespace
