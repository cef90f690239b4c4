#include "core/symbol_table.h"

#include <cstdlib>
#include <cstring>

#include "core/char_class.h"

namespace qx {

namespace {

int FoldedSigned(char c) { return static_cast<signed char>(FoldLower(c)); }
int FoldedUnsigned(char c) { return static_cast<unsigned char>(FoldLower(c)); }

bool LessOrEqual(const SymbolEntry &a, const SymbolEntry &b) { return CompareForSort(a.name, b.name) <= 0; }
bool GreaterOrEqual(const SymbolEntry &a, const SymbolEntry &b) { return CompareForSort(a.name, b.name) >= 0; }

void Swap(SymbolEntry *a, SymbolEntry *b)
{
    SymbolEntry held;
    std::memcpy(&held, a, sizeof held);
    std::memcpy(a, b, sizeof held);
    std::memcpy(b, &held, sizeof held);
}

void SelectionSort(SymbolEntry *lo, SymbolEntry *hi)
{
    for (; hi > lo; --hi) {
        SymbolEntry *greatest = lo;
        for (SymbolEntry *p = lo + 1; p <= hi; ++p)
            if (CompareForSort(p->name, greatest->name) > 0)
                greatest = p;
        Swap(greatest, hi);
    }
}

// One partition step: the pivot goes to its place, and the two sides are
// returned through lower and upper.
void Partition(SymbolEntry *lo, SymbolEntry *hi, SymbolEntry **pivotAt, SymbolEntry **upperStart)
{
    Swap(lo + (hi - lo + 1) / 2, lo);
    SymbolEntry *i = lo;
    SymbolEntry *j = hi + 1;
    for (;;) {
        do
            ++i;
        while (i <= hi && LessOrEqual(*i, *lo));
        do
            --j;
        while (j > lo && GreaterOrEqual(*j, *lo));
        if (j < i)
            break;
        Swap(i, j);
    }
    Swap(lo, j);
    *pivotAt = j;
    *upperStart = i;
}

} // namespace

// Every name in an expression goes through here on each evaluation. Bytes
// that are equal as they stand need no folding, so only a difference pays
// for the table lookups. The name `a` is the first `length` bytes at a (the
// evaluator compares names where they stand in the text); `b` ends at its
// terminator.
int CompareFolded(const char *a, size_t length, const char *b)
{
    for (size_t k = 0; k < length; ++k) {
        if (a[k] == b[k])
            continue;
        const int x = FoldedSigned(a[k]);
        const int y = FoldedSigned(b[k]);
        if (x != y)
            return x - y;
    }
    return -FoldedSigned(b[length]); // 0 when b ends here too
}

int CompareFolded(const char *a, const char *b) { return CompareFolded(a, std::strlen(a), b); }

int CompareForSort(const char *a, const char *b)
{
    // The deleted mark has no terminator: stop at the field's end.
    for (int k = 0; k < NameFieldSize; ++k) {
        const int x = FoldedUnsigned(a[k]);
        const int y = FoldedUnsigned(b[k]);
        if (x != y || x == 0)
            return x - y;
    }
    return 0;
}

SymbolEntry *SearchSortedBucket(uint32_t count, SymbolEntry *entries, const char *name, size_t length)
{
    uint32_t lo = 0;
    uint32_t hi = count; // the range is [lo, hi)
    while (lo < hi) {
        const uint32_t mid = lo + (hi - lo - 1) / 2;
        const int order = CompareFolded(name, length, entries[mid].name);
        if (order == 0)
            return &entries[mid];
        if (order < 0)
            hi = mid;
        else
            lo = mid + 1;
    }
    return nullptr;
}

SymbolEntry *FindSymbol(uint32_t count, SymbolEntry *entries, const char *name)
{
    return FindSymbol(count, entries, name, std::strlen(name));
}

SymbolEntry *FindSymbol(const EvalContext *ctx, const char *name) { return FindSymbol(ctx, name, std::strlen(name)); }

SymbolEntry *AppendEntry(SymbolBucket *bucket)
{
    const size_t newCount = static_cast<size_t>(bucket->count) + 1;
    void *grown = std::realloc(bucket->entries, newCount * sizeof(SymbolEntry));
    if (grown == nullptr)
        return nullptr;
    bucket->entries = static_cast<SymbolEntry *>(grown);
    bucket->count = static_cast<uint32_t>(newCount);
    SymbolEntry *entry = &bucket->entries[newCount - 1];
    std::memset(entry, 0, sizeof *entry);
    return entry;
}

// Adding one entry to a sorted bucket costs a search and one move of the
// entries behind its place, where a full sort would cost n log n swaps of
// whole entries; names created in ascending order move nothing at all.
SymbolEntry *InsertEntry(SymbolBucket *bucket, const SymbolEntry &made)
{
    uint32_t place = 0;
    uint32_t end = bucket->count;
    while (place < end) {
        const uint32_t mid = place + (end - place) / 2;
        if (CompareForSort(bucket->entries[mid].name, made.name) < 0)
            place = mid + 1;
        else
            end = mid;
    }
    if (AppendEntry(bucket) == nullptr)
        return nullptr;
    SymbolEntry *slot = &bucket->entries[place];
    std::memmove(slot + 1, slot, (bucket->count - 1 - place) * sizeof(SymbolEntry));
    std::memcpy(slot, &made, sizeof made);
    return slot;
}

namespace {

template <typename Def>
SymbolEntry *AppendDefinition(SymbolBucket *bucket, const Def &def, uint16_t kind)
{
    SymbolEntry *entry = AppendEntry(bucket);
    if (entry == nullptr)
        return nullptr;
    entry->kind = kind;
    entry->attribute = AttrReadOnly;
    CopyName(entry->name, def.name);
    return entry;
}

template <typename Def>
int32_t AddFunctionEntry(SymbolBucket *bucket, const Def &def, uint16_t kind)
{
    SymbolEntry *entry = AppendDefinition(bucket, def, kind);
    if (entry == nullptr)
        return ErrNoMemory;
    entry->function.argCount = def.argCount;
    std::memcpy(entry->function.argKinds, def.argKinds, sizeof def.argKinds);
    entry->function.userWord = def.userWord;
    return 0;
}

} // namespace

int32_t AddNFunctionEntry(SymbolBucket *bucket, const NFunctionDef &def)
{
    if (int32_t rc = AddFunctionEntry(bucket, def, NFunction))
        return rc;
    bucket->entries[bucket->count - 1].function.callback.numeric = def.callback;
    return 0;
}

int32_t AddSFunctionEntry(SymbolBucket *bucket, const SFunctionDef &def)
{
    if (int32_t rc = AddFunctionEntry(bucket, def, SFunction))
        return rc;
    bucket->entries[bucket->count - 1].function.callback.string = def.callback;
    return 0;
}

int32_t AddNConstantEntry(SymbolBucket *bucket, const NConstantDef &def)
{
    SymbolEntry *entry = AppendDefinition(bucket, def, NConstant);
    if (entry == nullptr)
        return ErrNoMemory;
    entry->value = def.value;
    return 0;
}

int32_t AddSConstantEntry(SymbolBucket *bucket, const SConstantDef &def)
{
    SymbolEntry *entry = AppendDefinition(bucket, def, SConstant);
    if (entry == nullptr)
        return ErrNoMemory;
    entry->constant.text = def.text;
    entry->constant.length = static_cast<uint32_t>(std::strlen(def.text));
    return 0;
}

// Quicksort with an explicit stack of ranges. Pushing the larger part and
// going on with the smaller bounds the stack by log2 of the count: 32 ranges
// cover any 32-bit count.
void SortBucket(uint32_t count, SymbolEntry *entries)
{
    if (count < 2)
        return;
    struct Range {
        SymbolEntry *lo, *hi;
    } stack[32];
    int depth = 0;
    SymbolEntry *lo = entries;
    SymbolEntry *hi = entries + count - 1;
    for (;;) {
        if (hi - lo + 1 <= 8) {
            SelectionSort(lo, hi);
        } else {
            SymbolEntry *pivot, *upper;
            Partition(lo, hi, &pivot, &upper);
            Range lower{lo, pivot - 1}, higher{upper, hi};
            const bool lowerLarger = (lower.hi - lower.lo) >= (higher.hi - higher.lo);
            const Range pushed = lowerLarger ? lower : higher;
            const Range next = lowerLarger ? higher : lower;
            if (pushed.hi > pushed.lo)
                stack[depth++] = pushed;
            if (next.hi > next.lo) {
                lo = next.lo;
                hi = next.hi;
                continue;
            }
        }
        if (depth == 0)
            return;
        --depth;
        lo = stack[depth].lo;
        hi = stack[depth].hi;
    }
}

void SortBucket(SymbolBucket *bucket) { SortBucket(bucket->count, bucket->entries); }

void FreePayload(SymbolEntry *entry)
{
    switch (entry->kind) {
    case ND1:
    case ND2:
        std::free(entry->array.values);
        break;
    case SS:
        std::free(entry->text);
        break;
    case SD1:
    case SD2:
        if (entry->array.texts != nullptr)
            for (uint32_t k = 0; k < entry->array.count; ++k)
                std::free(entry->array.texts[k]);
        std::free(entry->array.texts);
        break;
    default:
        break;
    }
}

void CopyName(char (&field)[NameFieldSize], const char *name)
{
    std::memset(field, 0, sizeof field);
    for (int k = 0; k < MaxNameLength && name[k] != '\0'; ++k)
        field[k] = name[k];
}

void SetDeletedMark(SymbolEntry *entry) { std::memset(entry->name, 0xFF, sizeof entry->name); }

} // namespace qx
