// Opening and closing a context, the version calls and the shared heap.
#include <bit>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "core/symbol_table.h"
#include "support/alloc_hooks.h"

namespace {

TEST(Context, InitializeClearsTheRecordAndReopens)
{
    EvalContext ctx;
    std::memset(&ctx, 0x5C, sizeof ctx); // whatever the record held is overwritten
    ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
    EXPECT_TRUE(!ctx.cursor && !ctx.registers && !ctx.stringResult && !ctx.text && ctx.parenDepth == 0);
    EXPECT_EQ(std::bit_cast<uint64_t>(ctx.result), 0u);
    const qx::SymbolEntry *cr = qx::FindSymbol(&ctx, "CR$");
    ASSERT_NE(cr, nullptr);
    EXPECT_TRUE(cr->kind == SConstant && cr->attribute == 1u && cr->constant.length == 1u);
    Quorbix_Terminate(&ctx);
    EXPECT_EQ(ctx.symbols, nullptr);
    Quorbix_Terminate(&ctx); // a closed context is left alone
    ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
    Quorbix_Terminate(&ctx);
}

// Every allocation of Initialize is made to fail in turn: each failure must
// close the context and give back every block.
TEST(Context, InitializeFailsCleanlyAtEveryAllocation)
{
    size_t n = 1;
    for (bool injected = true; injected; ++n) {
        ASSERT_LT(n, 1000u) << "the sweep does not end";
        EvalContext ctx{};
        const long live = qxtest::LiveBlocks();
        qxtest::FailAllocation(n);
        const int32_t rc = Quorbix_Initialize(&ctx);
        injected = qxtest::AllocationFailed();
        qxtest::FailAllocation(0);
        EXPECT_EQ(rc, injected ? ErrNoMemory : 0) << n;
        EXPECT_EQ(ctx.symbols == nullptr, injected) << n;
        Quorbix_Terminate(&ctx);
        EXPECT_EQ(qxtest::LiveBlocks(), live) << n;
    }
    EXPECT_GT(n, 1u + 7u) << "the table and the seven constants each need an allocation";
}

TEST(Version, ShortAndFullTextsAreZeroFilled)
{
    for (const bool full : {false, true}) {
        VersionInfo info;
        std::memset(&info, 0xA5, sizeof info);
        (full ? Quorbix_GetVersion_FullStr : Quorbix_GetVersion)(&info);
        EXPECT_EQ(info.versionMark, 1u);
        const std::string text(info.versionText, strnlen(info.versionText, sizeof info.versionText));
        EXPECT_EQ(full ? text.substr(0, 17) : text, full ? "Quorbix Ver 3.8.1" : "3.8.1");
        EXPECT_EQ(std::string(info.versionText + text.size(), info.versionText + sizeof info.versionText),
                  std::string(sizeof info.versionText - text.size(), '\0'));
    }
}

// The exports are the standard allocators, so blocks pass freely between
// host and library.
TEST(Heap, ExportsForwardToTheStandardAllocators)
{
    char *a = static_cast<char *>(qx_malloc(8));
    std::strcpy(a, "1234567");
    a = static_cast<char *>(qx_realloc(a, 4096));
    EXPECT_STREQ(a, "1234567");
    std::free(a);            // a library block, released by the host's free
    qx_free(std::malloc(5)); // a host block, released by the library
    const auto *z = static_cast<unsigned char *>(qx_calloc(16, 4));
    EXPECT_EQ(std::string(z, z + 64), std::string(64, '\0'));
    std::free(const_cast<unsigned char *>(z));
    qxtest::AllocationFailureScope failAll(1, true);
    EXPECT_TRUE(qx_malloc(8) == nullptr && qx_calloc(2, 8) == nullptr && qx_realloc(nullptr, 8) == nullptr);
}

} // namespace
