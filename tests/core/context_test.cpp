// Opening and closing a context, the version calls and the shared heap.
#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "core/symbol_table.h"
#include "support/alloc_hooks.h"

namespace {

TEST(Context, InitializeClearsTheRecordLoadsTheConstantsAndReopens)
{
    EvalContext ctx;
    std::memset(&ctx, 0x5C, sizeof ctx); // whatever the record held is overwritten
    ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
    EXPECT_TRUE(!ctx.cursor && !ctx.registers && !ctx.stringResult && !ctx.text && ctx.parenDepth == 0);
    EXPECT_EQ(std::bit_cast<uint64_t>(ctx.result), 0u);
    for (const auto &[name, bits] : {std::pair{"intmax", 0x41EFFFFFFFE00000u}, {"maxval", 0x7FEFFFFFFFFFFFFF},
                                     {"minval", 0x0010000000000000}, {"Pi", 0x400921FB54442D18}}) {
        const qx::SymbolEntry *e = qx::FindSymbol(&ctx, name);
        ASSERT_NE(e, nullptr) << name;
        EXPECT_TRUE(e->kind == NConstant && e->attribute == 1u && std::bit_cast<uint64_t>(e->value) == bits) << name;
    }
    for (const auto &[name, text] : {std::pair{"cr$", "\n"}, {"DQ$", "\""}, {"Tab$", "\t"}}) {
        const qx::SymbolEntry *e = qx::FindSymbol(&ctx, name);
        ASSERT_NE(e, nullptr) << name;
        EXPECT_TRUE(e->kind == SConstant && e->attribute == 1u && e->constant.length == 1u) << name;
        EXPECT_STREQ(e->constant.text, text);
    }
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
        EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << "one line";
        EXPECT_EQ(std::string(info.versionText + text.size(), info.versionText + sizeof info.versionText),
                  std::string(sizeof info.versionText - text.size(), '\0'));
    }
}

// The four exports are the standard allocators, so blocks pass freely
// between host and library.
TEST(Heap, ExportsForwardToTheStandardAllocators)
{
    qxtest::ResetAllocationCount();
    char *a = static_cast<char *>(qx_malloc(8));
    std::strcpy(a, "1234567");
    a = static_cast<char *>(qx_realloc(a, 4096));
    const auto *z = static_cast<unsigned char *>(qx_calloc(16, 4));
    EXPECT_STREQ(a, "1234567");
    EXPECT_EQ(qxtest::AllocationCount(), 3u);
    EXPECT_EQ(std::count(z, z + 64, 0), 64);
    std::free(a); // a library block, released by the host's free
    qx_free(const_cast<unsigned char *>(z));
    qx_free(std::malloc(5)); // a host block, released by the library
    qxtest::AllocationFailureScope failAll(1, true);
    EXPECT_TRUE(qx_malloc(8) == nullptr && qx_calloc(2, 8) == nullptr && qx_realloc(nullptr, 8) == nullptr);
}

} // namespace
