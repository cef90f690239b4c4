// Deleting parameters, listing and counting them, and their attribute words.
//
// An entry leaves a bucket in three steps: its payload is released, its name
// becomes the deleted mark, and a sort carries it to the end, where cutting
// the count by one drops it. No code of its own closes the gap.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/symbol_table.h"
#include "param/remove_entry.h"

namespace qx {
namespace {

// Cuts a freshly sorted bucket down to its first `count` entries.
//
// The entries behind `count` are marked and have lost their payload, so they
// must never be reachable again, whatever the allocator says. When the
// shrinking realloc fails the smaller count is stored all the same and the
// larger block is kept: it holds at least `count` entries, which is all the
// bucket needs, and the next addition reallocates it anyway. ErrNoMemory
// still reports that the array could not be trimmed.
int32_t TrimBucket(SymbolBucket *bucket, uint32_t count)
{
    if (count == 0) {
        std::free(bucket->entries);
        bucket->entries = nullptr;
        bucket->count = 0;
        return 0;
    }
    bucket->count = count;
    void *trimmed = std::realloc(bucket->entries, count * sizeof(SymbolEntry));
    if (trimmed == nullptr)
        return ErrNoMemory;
    bucket->entries = static_cast<SymbolEntry *>(trimmed);
    return 0;
}

// Functions and constants are invisible to these calls: for them a name that
// is not a parameter is as good as missing.
SymbolEntry *FindParameter(EvalContext *ctx, const char *name)
{
    SymbolEntry *entry = FindSymbol(ctx, name);
    return entry != nullptr && IsParameter(*entry) ? entry : nullptr;
}

bool IsDeletable(const SymbolEntry &entry) { return IsParameter(entry) && !IsProtected(entry.attribute); }

// Marks every unprotected parameter of the bucket, sorts the marks to the
// end and drops them. The array is resized even when nothing was marked.
int32_t ClearBucket(SymbolBucket *bucket)
{
    uint32_t marked = 0;
    for (uint32_t k = 0; k < bucket->count; ++k) {
        SymbolEntry *entry = &bucket->entries[k];
        if (!IsDeletable(*entry))
            continue;
        FreePayload(entry);
        SetDeletedMark(entry);
        ++marked;
    }
    SortBucket(bucket);
    return TrimBucket(bucket, bucket->count - marked);
}

} // namespace

int32_t ClearForReplacement(SymbolBucket *bucket, const char *name, int32_t noReplace, int32_t refusal)
{
    SymbolEntry *existing = FindSymbol(bucket->count, bucket->entries, name);
    if (existing == nullptr)
        return 0;
    if (noReplace != 0 || !IsDeletable(*existing))
        return refusal;
    return RemoveEntry(bucket, existing) == 0 ? 0 : ErrNoMemory;
}

int32_t RemoveEntry(SymbolBucket *bucket, SymbolEntry *entry)
{
    FreePayload(entry);
    SetDeletedMark(entry);
    SortBucket(bucket);
    return TrimBucket(bucket, bucket->count - 1);
}

} // namespace qx

using namespace qx;

extern "C" {

QUORBIX_API int32_t QUORBIX_CALL Quorbix_DeleteParam(EvalContext *ctx, const char *name)
{
    SymbolEntry *entry = FindParameter(ctx, name);
    if (entry == nullptr)
        return ErrBadName;
    if (IsProtected(entry->attribute))
        return ErrProtected;
    return RemoveEntry(BucketOf(ctx, name), entry);
}

// Protected parameters are no failure: they simply stay. A bucket whose
// array cannot be trimmed ends the call, and later buckets are left as they
// are; the bucket itself is already consistent (see TrimBucket).
QUORBIX_API int32_t QUORBIX_CALL Quorbix_DeleteAllParams(EvalContext *ctx)
{
    if (ctx->symbols == nullptr)
        return 0;
    for (int b = 0; b < BucketCount; ++b)
        if (int32_t rc = ClearBucket(&ctx->symbols[b]))
            return rc;
    return 0;
}

// Offers the names bucket by bucket (A to Z, then '_') in each bucket's
// order. The callback gets a copy, so it may scribble on its buffer, and it
// may change values and attributes: none of that moves an entry.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_EnumParamName(EvalContext *ctx, ParamNameCallback callback,
                                                       uintptr_t user)
{
    if (ctx->symbols == nullptr)
        return 0;
    char name[NameFieldSize];
    for (int b = 0; b < BucketCount; ++b) {
        const SymbolBucket &bucket = ctx->symbols[b];
        for (uint32_t k = 0; k < bucket.count; ++k) {
            if (!IsParameter(bucket.entries[k]))
                continue;
            std::memcpy(name, bucket.entries[k].name, sizeof name);
            if (callback(name, user) == 0)
                return ErrSyntax;
        }
    }
    return 0;
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_ParamCount(EvalContext *ctx, uint32_t *protectedCount)
{
    uint32_t all = 0;
    uint32_t guarded = 0;
    for (int b = 0; ctx->symbols != nullptr && b < BucketCount; ++b) {
        const SymbolBucket &bucket = ctx->symbols[b];
        for (uint32_t k = 0; k < bucket.count; ++k) {
            if (!IsParameter(bucket.entries[k]))
                continue;
            ++all;
            guarded += IsProtected(bucket.entries[k].attribute) ? 1 : 0;
        }
    }
    if (protectedCount != nullptr)
        *protectedCount = guarded;
    return static_cast<int32_t>(all);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetAttrib(EvalContext *ctx, const char *name, uint32_t *out)
{
    const SymbolEntry *entry = FindParameter(ctx, name);
    if (entry == nullptr)
        return ErrBadName;
    *out = entry->attribute;
    return 0;
}

// All 32 bits are replaced without a test, and no protection guards the word
// itself: this is how a host makes a read-only parameter writable again.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetAttrib(EvalContext *ctx, const char *name, uint32_t attribute)
{
    SymbolEntry *entry = FindParameter(ctx, name);
    if (entry == nullptr)
        return ErrBadName;
    entry->attribute = attribute;
    return 0;
}

} // extern "C"
