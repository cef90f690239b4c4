// Creating parameters: numeric and string scalars, and arrays of one or two
// dimensions.
//
// A parameter's payload is built in a local entry before the table is
// touched, and the entry goes into its bucket only once everything it owns
// exists. So when an allocation fails, whether of the payload or of the
// bucket's growth, the blocks made so far are released here and the table is
// exactly as it was: there is never a half-made entry that reads, deletes or
// Quorbix_Terminate could follow, and never one to take out again.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/symbol_table.h"
#include "param/param_names.h"

namespace qx {
namespace {

// Every name test comes before any allocation, so a refused name costs
// nothing and changes nothing. Any symbol of the name blocks it, whatever its
// kind: a parameter never shadows a function or constant.
int32_t CheckNewName(const EvalContext *ctx, const char *name, bool isString)
{
    if (!ParamNameIsValid(name, isString) || FindSymbol(ctx, name) != nullptr)
        return ErrBadName;
    return 0;
}

SymbolEntry BlankEntry(uint16_t kind)
{
    SymbolEntry entry;
    std::memset(&entry, 0, sizeof entry);
    entry.kind = kind;
    return entry;
}

// Moves a fully built entry into its place in the bucket. If the bucket
// cannot grow, the payload is released and the table is left alone.
int32_t Install(EvalContext *ctx, const char *name, uint32_t attribute, SymbolEntry *made)
{
    CopyName(made->name, name); // as spelled: case is kept, though never compared
    made->attribute = attribute;
    if (InsertEntry(BucketOf(ctx, name), *made) == nullptr) {
        FreePayload(made);
        return ErrNoMemory;
    }
    return 0;
}

// The element count of an array. A product of the dimensions above 32 bits
// is refused rather than cut down, since a truncated count would make an
// array smaller than its dimensions and every index check would then lie. No
// request for more than 4294967295 elements can be satisfied, so it is
// reported as ErrNoMemory. The byte size must also fit a size_t, which only
// matters on a 32-bit host.
int32_t ElementCount(uint32_t dim1, uint32_t dim2, size_t elementSize, uint32_t *count)
{
    const uint64_t product = dim2 == 0 ? dim1 : static_cast<uint64_t>(dim1) * dim2;
    if (product > UINT32_MAX || product > SIZE_MAX / elementSize)
        return ErrNoMemory;
    *count = static_cast<uint32_t>(product);
    return 0;
}

// Kind and shape of an array entry; a one-dimensional array keeps dim1 and
// dim2 at zero.
int32_t PrepareArray(SymbolEntry *made, uint16_t oneDim, uint16_t twoDim, uint32_t dim1, uint32_t dim2,
                     size_t elementSize)
{
    uint32_t count = 0;
    if (int32_t rc = ElementCount(dim1, dim2, elementSize, &count))
        return rc;
    *made = BlankEntry(dim2 == 0 ? oneDim : twoDim);
    made->array.count = count;
    if (dim2 != 0) {
        made->array.dim1 = dim1;
        made->array.dim2 = dim2;
    }
    return 0;
}

int32_t BuildNumericArray(SymbolEntry *made, uint32_t dim1, uint32_t dim2)
{
    if (int32_t rc = PrepareArray(made, ND1, ND2, dim1, dim2, sizeof(double)))
        return rc;
    made->array.values = static_cast<double *>(std::calloc(made->array.count, sizeof(double)));
    return made->array.values != nullptr ? 0 : ErrNoMemory;
}

// Each element gets a block of its own holding the empty string. The pointer
// array starts all null, so when an element's block fails FreePayload can
// release the earlier ones and the array in one go.
int32_t BuildStringArray(SymbolEntry *made, uint32_t dim1, uint32_t dim2)
{
    if (int32_t rc = PrepareArray(made, SD1, SD2, dim1, dim2, sizeof(char *)))
        return rc;
    char **texts = static_cast<char **>(std::calloc(made->array.count, sizeof(char *)));
    if (texts == nullptr)
        return ErrNoMemory;
    made->array.texts = texts;
    for (uint32_t k = 0; k < made->array.count; ++k) {
        texts[k] = static_cast<char *>(std::calloc(1, 1));
        if (texts[k] == nullptr) {
            FreePayload(made);
            return ErrNoMemory;
        }
    }
    return 0;
}

// A copy of the caller's text with its terminator; a null text reads as the
// empty string.
char *CopyText(const char *text)
{
    const size_t length = text != nullptr ? std::strlen(text) : 0;
    char *copy = static_cast<char *>(std::malloc(length + 1));
    if (copy == nullptr)
        return nullptr;
    if (length != 0)
        std::memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

} // namespace
} // namespace qx

using namespace qx;

extern "C" {

QUORBIX_API int32_t QUORBIX_CALL Quorbix_AllocNParam(EvalContext *ctx, const char *name, uint32_t attribute,
                                                     double value)
{
    if (int32_t rc = CheckNewName(ctx, name, false))
        return rc;
    SymbolEntry made = BlankEntry(NS);
    made.value = value;
    return Install(ctx, name, attribute, &made);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_AllocSParam(EvalContext *ctx, const char *name, uint32_t attribute,
                                                     const char *text)
{
    if (int32_t rc = CheckNewName(ctx, name, true))
        return rc;
    SymbolEntry made = BlankEntry(SS);
    made.text = CopyText(text);
    if (made.text == nullptr)
        return ErrNoMemory;
    return Install(ctx, name, attribute, &made);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_AllocNDim(EvalContext *ctx, uint32_t dim1, uint32_t dim2,
                                                   uint32_t attribute, const char *name)
{
    if (dim1 == 0)
        return ErrBadName;
    if (int32_t rc = CheckNewName(ctx, name, false))
        return rc;
    SymbolEntry made;
    if (int32_t rc = BuildNumericArray(&made, dim1, dim2))
        return rc;
    return Install(ctx, name, attribute, &made);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_AllocSDim(EvalContext *ctx, uint32_t dim1, uint32_t dim2,
                                                   uint32_t attribute, const char *name)
{
    if (dim1 == 0)
        return ErrBadName;
    if (int32_t rc = CheckNewName(ctx, name, true))
        return rc;
    SymbolEntry made;
    if (int32_t rc = BuildStringArray(&made, dim1, dim2))
        return rc;
    return Install(ctx, name, attribute, &made);
}

} // extern "C"
