// Opening and closing a context, the version calls and the shared heap.
#include <cstdlib>
#include <cstring>

#include "builtin/builtin_tables.h"
#include "core/symbol_table.h"

namespace qx {
namespace {

template <typename Def, typename Add>
int32_t LoadTable(EvalContext *ctx, const Def *rows, Add add)
{
    for (const Def *row = rows; row->name != nullptr; ++row)
        if (add(BucketOf(ctx, row->name), *row) != 0)
            return ErrNoMemory;
    return 0;
}

// Appends every built-in, then sorts each bucket once.
int32_t LoadBuiltins(EvalContext *ctx)
{
    if (LoadTable(ctx, NumericFunctionTable, AddNFunctionEntry) != 0 ||
        LoadTable(ctx, StringFunctionTable, AddSFunctionEntry) != 0 ||
        LoadTable(ctx, NumericConstantTable, AddNConstantEntry) != 0 ||
        LoadTable(ctx, StringConstantTable, AddSConstantEntry) != 0)
        return ErrNoMemory;
    for (int b = 0; b < BucketCount; ++b)
        SortBucket(&ctx->symbols[b]);
    return 0;
}

void SetVersionText(VersionInfo *info, const char *text)
{
    std::memset(info->versionText, 0, sizeof info->versionText);
    std::strncpy(info->versionText, text, sizeof info->versionText - 1);
    info->versionMark = 1;
}

} // namespace
} // namespace qx

using namespace qx;

extern "C" {

QUORBIX_API int32_t QUORBIX_CALL Quorbix_Initialize(EvalContext *ctx)
{
    std::memset(ctx, 0, sizeof *ctx);
    ctx->symbols = static_cast<SymbolBucket *>(std::calloc(BucketCount, sizeof(SymbolBucket)));
    if (ctx->symbols == nullptr)
        return ErrNoMemory;
    if (LoadBuiltins(ctx) != 0) {
        Quorbix_Terminate(ctx);
        return ErrNoMemory;
    }
    return 0;
}

QUORBIX_API void QUORBIX_CALL Quorbix_Terminate(EvalContext *ctx)
{
    if (ctx->symbols == nullptr)
        return;
    for (int b = 0; b < BucketCount; ++b) {
        SymbolBucket &bucket = ctx->symbols[b];
        for (uint32_t k = 0; k < bucket.count; ++k)
            FreePayload(&bucket.entries[k]);
        std::free(bucket.entries);
    }
    std::free(ctx->symbols);
    ctx->symbols = nullptr;
}

QUORBIX_API void QUORBIX_CALL Quorbix_GetVersion(VersionInfo *info)
{
    SetVersionText(info, QUORBIX_VERSION_TEXT);
}

QUORBIX_API void QUORBIX_CALL Quorbix_GetVersion_FullStr(VersionInfo *info)
{
    SetVersionText(info, "Quorbix Ver " QUORBIX_VERSION_TEXT " - embeddable expression evaluator, C ABI");
}

QUORBIX_API void *QUORBIX_CALL qx_malloc(size_t size) { return std::malloc(size); }
QUORBIX_API void *QUORBIX_CALL qx_calloc(size_t count, size_t size) { return std::calloc(count, size); }
QUORBIX_API void *QUORBIX_CALL qx_realloc(void *block, size_t size) { return std::realloc(block, size); }
QUORBIX_API void QUORBIX_CALL qx_free(void *block) { std::free(block); }

} // extern "C"
