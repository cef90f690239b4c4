// Copying a parameter into another context, and duplicating one under a new
// name in its own context.
//
// Both calls build the whole copy in a local entry that shares no block with
// the source before they look at the target. So it does not matter that
// removing the old target and growing the bucket move entries, the source
// among them when it lives in the same bucket, or that a copy onto itself
// removes the very parameter it copied: by then nothing reads the source.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/symbol_table.h"
#include "param/param_names.h"
#include "param/remove_entry.h"

namespace qx {
namespace {

constexpr uint16_t StringParameter = SS | SD1 | SD2;

char *CopyText(const char *text)
{
    const size_t size = std::strlen(text) + 1;
    char *copy = static_cast<char *>(std::malloc(size));
    if (copy != nullptr)
        std::memcpy(copy, text, size);
    return copy;
}

// The pointer table starts all null, so FreePayload can release a partly
// copied array in one go.
int32_t CopyTexts(const ArrayPayload &from, ArrayPayload *to)
{
    to->texts = static_cast<char **>(std::calloc(from.count, sizeof(char *)));
    if (to->texts == nullptr)
        return ErrNoMemory;
    for (uint32_t k = 0; k < from.count; ++k)
        if ((to->texts[k] = CopyText(from.texts[k])) == nullptr)
            return ErrNoMemory;
    return 0;
}

int32_t CopyValues(const ArrayPayload &from, ArrayPayload *to)
{
    const size_t size = static_cast<size_t>(from.count) * sizeof(double);
    to->values = static_cast<double *>(std::malloc(size));
    if (to->values == nullptr)
        return ErrNoMemory;
    std::memcpy(to->values, from.values, size);
    return 0;
}

// Kind, attribute and payload of a parameter, with blocks of its own. The
// name is left to the caller. On failure nothing of the copy remains.
int32_t DeepCopy(const SymbolEntry &source, SymbolEntry *made)
{
    std::memset(made, 0, sizeof *made);
    made->kind = source.kind;
    made->attribute = source.attribute;
    int32_t rc = 0;
    switch (source.kind) {
    case NS:
        made->value = source.value;
        break;
    case SS:
        made->text = CopyText(source.text);
        rc = made->text != nullptr ? 0 : ErrNoMemory;
        break;
    case ND1:
    case ND2:
        made->array = source.array;
        rc = CopyValues(source.array, &made->array);
        break;
    default: // SD1, SD2
        made->array = source.array;
        rc = CopyTexts(source.array, &made->array);
        break;
    }
    if (rc != 0)
        FreePayload(made);
    return rc;
}

SymbolEntry *FindParameter(const EvalContext *ctx, const char *name)
{
    SymbolEntry *entry = FindSymbol(ctx, name);
    return entry != nullptr && IsParameter(*entry) ? entry : nullptr;
}

// Puts a finished copy, name already in place, into `ctx`. Every failure
// releases the copy; if the bucket cannot grow after the old parameter was
// removed, that one is gone.
int32_t Place(EvalContext *ctx, int32_t noReplace, SymbolEntry *made)
{
    SymbolBucket *bucket = BucketOf(ctx, made->name);
    if (int32_t rc = ClearForReplacement(bucket, made->name, noReplace, ErrCannotReplace)) {
        FreePayload(made);
        return rc;
    }
    if (InsertEntry(bucket, *made) == nullptr) {
        FreePayload(made);
        return ErrNoMemory;
    }
    return 0;
}

} // namespace
} // namespace qx

using namespace qx;

extern "C" {

// The copy takes the name as the caller spelled it, so copying a parameter
// onto itself with other capitals renames it.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CopyParam(EvalContext *dest, EvalContext *source, const char *name,
                                                   int32_t noReplace)
{
    const SymbolEntry *original = FindParameter(source, name);
    if (original == nullptr)
        return ErrBadName;
    SymbolEntry made;
    if (int32_t rc = DeepCopy(*original, &made))
        return rc;
    CopyName(made.name, name); // found, so a valid name of at most 33 bytes
    return Place(dest, noReplace, &made);
}

// The new name must differ from the old one by more than case, and belong to
// the same family: a string parameter's copy ends in '$', a numeric one's
// does not. The family is known only from the source, so that test waits
// until the source is found.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_DuplicateParam(EvalContext *ctx, const char *sourceName,
                                                        const char *newName, int32_t noReplace)
{
    if (CompareFolded(sourceName, newName) == 0)
        return ErrArgument;
    const SymbolEntry *original = FindParameter(ctx, sourceName);
    if (original == nullptr)
        return ErrBadName;
    SymbolEntry made;
    if (int32_t rc = DeepCopy(*original, &made))
        return rc;
    if (!ParamNameIsValid(newName, (made.kind & StringParameter) != 0)) {
        FreePayload(&made);
        return ErrArgument;
    }
    CopyName(made.name, newName);
    return Place(ctx, noReplace, &made);
}

} // extern "C"
