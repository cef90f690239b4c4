// The symbol table of a context: 32 buckets chosen by the low five bits of a
// name's first byte, each an exact-fit array of fixed-size entries kept in
// case-folded name order.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/char_class.h"
#include "quorbix.h"

namespace qx {

constexpr int BucketCount = 32;
constexpr int NameFieldSize = 34; // 33 bytes of name and a terminator
constexpr int MaxNameLength = 33;

// Kind masks tested as sets.
constexpr uint16_t AnyParameter = NS | ND1 | ND2 | SS | SD1 | SD2;
constexpr uint16_t NumericParameter = NS | ND1 | ND2;
constexpr uint16_t StringValued = SFunction | SConstant | SS | SD1 | SD2;
static_assert(AnyParameter == 0x03F0 && NumericParameter == 0x0070 && StringValued == 0x038A);

struct FunctionPayload {
    int32_t argCount;
    ArgKind argKinds[16];
    union {
        NFunctionCallback numeric;
        SFunctionCallback string;
    } callback;
    uintptr_t userWord;
};

struct StringConstantPayload {
    const char *text; // the registrant's bytes, never copied or freed
    uint32_t length;
};

// ND1/SD1 use count only; ND2/SD2 also dim1 and dim2, with count their product.
struct ArrayPayload {
    uint32_t count;
    uint32_t dim1;
    uint32_t dim2;
    union {
        double *values;
        char **texts;
    };
};

// The first three fields are also, byte for byte, the head of a record of
// the parameter file.
struct SymbolEntry {
    uint16_t kind;
    char name[NameFieldSize];
    uint32_t attribute;
    union {
        FunctionPayload function;
        double value; // NConstant, NS
        StringConstantPayload constant;
        char *text; // SS
        ArrayPayload array;
    };
};

inline bool IsParameter(const SymbolEntry &entry) { return (entry.kind & AnyParameter) != 0; }
inline bool IsProtected(uint32_t attribute) { return (attribute & (AttrReadOnly | AttrDeleteProtected)) != 0; }

// Case-folded order of two names, the first either terminated or of
// `length` bytes.
int CompareFolded(const char *a, const char *b);
int CompareFolded(const char *a, size_t length, const char *b);
// The order of a bucket: folded, unsigned, a shorter name first. Agrees with
// CompareFolded on valid names and puts the deleted mark last.
int CompareForSort(const char *a, const char *b);

// Looks up a terminated name; the inline forms below take a name read in
// place from a text, the first `length` bytes at `name`.
SymbolEntry *FindSymbol(uint32_t count, SymbolEntry *entries, const char *name);
SymbolEntry *FindSymbol(const EvalContext *ctx, const char *name);

SymbolEntry *AppendEntry(SymbolBucket *bucket);
// Puts a complete entry at the place its name takes in the bucket's order,
// so the bucket stays sorted without a sort. Returns where it now stands, or
// null with the bucket unchanged when the bucket cannot grow.
SymbolEntry *InsertEntry(SymbolBucket *bucket, const SymbolEntry &made);
int32_t AddNFunctionEntry(SymbolBucket *bucket, const NFunctionDef &def);
int32_t AddSFunctionEntry(SymbolBucket *bucket, const SFunctionDef &def);
int32_t AddNConstantEntry(SymbolBucket *bucket, const NConstantDef &def);
int32_t AddSConstantEntry(SymbolBucket *bucket, const SConstantDef &def);

void SortBucket(uint32_t count, SymbolEntry *entries);
void SortBucket(SymbolBucket *bucket);
void FreePayload(SymbolEntry *entry);

// Copies a name of at most 33 bytes into a name field, zero-filling the rest.
void CopyName(char (&field)[NameFieldSize], const char *name);
void SetDeletedMark(SymbolEntry *entry);

} // namespace qx

struct SymbolBucket {
    uint32_t count;
    qx::SymbolEntry *entries; // exactly count entries; null when empty
};

namespace qx {

// Small buckets are scanned, larger ones halved.
constexpr uint32_t LinearSearchLimit = 8;

SymbolEntry *SearchSortedBucket(uint32_t count, SymbolEntry *entries, const char *name, size_t length);

// The byte behind the length rules out most names of a bucket at once; only
// bytes that differ as they stand are folded.
inline bool SameName(const char *name, size_t length, const SymbolEntry &entry)
{
    if (entry.name[length] != '\0')
        return false;
    for (size_t k = 0; k < length; ++k)
        if (name[k] != entry.name[k] && FoldLower(name[k]) != FoldLower(entry.name[k]))
            return false;
    return true;
}

inline SymbolEntry *FindSymbol(uint32_t count, SymbolEntry *entries, const char *name, size_t length)
{
    if (length > MaxNameLength)
        return nullptr; // no entry holds a name that long
    if (count > LinearSearchLimit)
        return SearchSortedBucket(count, entries, name, length);
    for (uint32_t k = 0; k < count; ++k)
        if (SameName(name, length, entries[k]))
            return &entries[k];
    return nullptr;
}

inline SymbolBucket *BucketOf(const EvalContext *ctx, const char *name)
{
    return &ctx->symbols[static_cast<unsigned char>(name[0]) & (BucketCount - 1)];
}

inline SymbolEntry *FindSymbol(const EvalContext *ctx, const char *name, size_t length)
{
    const SymbolBucket *bucket = BucketOf(ctx, name);
    return FindSymbol(bucket->count, bucket->entries, name, length);
}

} // namespace qx
