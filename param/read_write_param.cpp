// Reading and writing parameters by name, without an expression: the six
// setters and six getters, Quorbix_Param and Quorbix_GetParamInfo.
//
// The twelve accessors differ only in the kind they demand and in whether
// the element is a number or a text. One routine finds the entry and checks
// it, one locates the element, and the exports are thin rows on top.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/symbol_table.h"
#include "eval/names.h"

namespace qx {
namespace {

enum class Access { Read, Write };

// One element of a parameter: a scalar is its own single element.
struct Element {
    SymbolEntry *entry;
    uint32_t position;
};

constexpr uint16_t OneDimensional = ND1 | SD1;
constexpr uint16_t TwoDimensional = ND2 | SD2;

// The bounds test of the entry's shape; indices a shape has no use for are
// ignored. i < dim1 and j < dim2 keep i + dim1 * j below dim1 * dim2, the
// element count, so the position cannot wrap.
bool Locate(const SymbolEntry &entry, uint32_t i, uint32_t j, uint32_t *position)
{
    if (entry.kind & OneDimensional) {
        *position = i;
        return i < entry.array.count;
    }
    if (entry.kind & TwoDimensional) {
        *position = i + entry.array.dim1 * j;
        return i < entry.array.dim1 && j < entry.array.dim2;
    }
    *position = 0;
    return true;
}

// The checks in the order that decides between several faults: the exact
// kind, then (for writes) the read-only bit, then the bounds. So a read-only
// array with a bad index reports ErrReadOnly. Delete protection and the
// integer view have no say in writing.
int32_t Reach(EvalContext *ctx, const char *name, uint16_t kind, Access access, uint32_t i, uint32_t j,
              Element *element)
{
    SymbolEntry *entry = FindSymbol(ctx, name);
    if (entry == nullptr || entry->kind != kind)
        return ErrBadName;
    if (access == Access::Write && (entry->attribute & AttrReadOnly))
        return ErrReadOnly;
    if (!Locate(*entry, i, j, &element->position))
        return ErrArgument;
    element->entry = entry;
    return 0;
}

double *NumberSlot(const Element &element)
{
    SymbolEntry *entry = element.entry;
    return entry->kind == NS ? &entry->value : &entry->array.values[element.position];
}

char **TextSlot(const Element &element)
{
    SymbolEntry *entry = element.entry;
    return entry->kind == SS ? &entry->text : &entry->array.texts[element.position];
}

int32_t SetNumber(EvalContext *ctx, const char *name, uint16_t kind, uint32_t i, uint32_t j, double value)
{
    Element element;
    if (int32_t rc = Reach(ctx, name, kind, Access::Write, i, j, &element))
        return rc;
    *NumberSlot(element) = value;
    return 0;
}

// The element's block is resized to fit before the copy, so on failure the
// old block, and with it the old text, is untouched.
int32_t SetText(EvalContext *ctx, const char *name, uint16_t kind, uint32_t i, uint32_t j, const char *text)
{
    Element element;
    if (int32_t rc = Reach(ctx, name, kind, Access::Write, i, j, &element))
        return rc;
    char **slot = TextSlot(element);
    const size_t bytes = std::strlen(text) + 1;
    char *block = static_cast<char *>(std::realloc(*slot, bytes));
    if (block == nullptr)
        return ErrNoMemory;
    std::memcpy(block, text, bytes);
    *slot = block;
    return 0;
}

int32_t GetNumber(EvalContext *ctx, const char *name, uint16_t kind, uint32_t i, uint32_t j, double *out)
{
    Element element;
    if (int32_t rc = Reach(ctx, name, kind, Access::Read, i, j, &element))
        return rc;
    *out = ReadNumeric(*element.entry, *NumberSlot(element));
    return 0;
}

// A buffer with no room beyond the terminator is answered before the name is
// even looked at, and receives nothing. Otherwise the text is cut to fit,
// between bytes, whatever character that splits.
int32_t GetText(EvalContext *ctx, const char *name, uint16_t kind, uint32_t i, uint32_t j, char *buffer,
                int32_t size)
{
    if (size <= 1)
        return 0;
    Element element;
    if (int32_t rc = Reach(ctx, name, kind, Access::Read, i, j, &element))
        return rc;
    const char *text = *TextSlot(element);
    const size_t limit = static_cast<size_t>(size) - 1;
    size_t length = 0;
    while (length < limit && text[length] != '\0')
        ++length;
    std::memcpy(buffer, text, length);
    buffer[length] = '\0';
    return 0;
}

} // namespace
} // namespace qx

using namespace qx;

extern "C" {

QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_NS(EvalContext *ctx, const char *name, double value)
{
    return SetNumber(ctx, name, NS, 0, 0, value);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_ND1(EvalContext *ctx, const char *name, uint32_t index,
                                                      double value)
{
    return SetNumber(ctx, name, ND1, index, 0, value);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_ND2(EvalContext *ctx, const char *name, uint32_t i, uint32_t j,
                                                      double value)
{
    return SetNumber(ctx, name, ND2, i, j, value);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_SS(EvalContext *ctx, const char *name, const char *text)
{
    return SetText(ctx, name, SS, 0, 0, text);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_SD1(EvalContext *ctx, const char *name, uint32_t index,
                                                      const char *text)
{
    return SetText(ctx, name, SD1, index, 0, text);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_SD2(EvalContext *ctx, const char *name, uint32_t i, uint32_t j,
                                                      const char *text)
{
    return SetText(ctx, name, SD2, i, j, text);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_NS(EvalContext *ctx, const char *name, double *out)
{
    return GetNumber(ctx, name, NS, 0, 0, out);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_ND1(EvalContext *ctx, const char *name, uint32_t index,
                                                      double *out)
{
    return GetNumber(ctx, name, ND1, index, 0, out);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_ND2(EvalContext *ctx, const char *name, uint32_t i, uint32_t j,
                                                      double *out)
{
    return GetNumber(ctx, name, ND2, i, j, out);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_SS(EvalContext *ctx, const char *name, char *buffer,
                                                     int32_t size)
{
    return GetText(ctx, name, SS, 0, 0, buffer, size);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_SD1(EvalContext *ctx, const char *name, uint32_t index,
                                                      char *buffer, int32_t size)
{
    return GetText(ctx, name, SD1, index, 0, buffer, size);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_SD2(EvalContext *ctx, const char *name, uint32_t i, uint32_t j,
                                                      char *buffer, int32_t size)
{
    return GetText(ctx, name, SD2, i, j, buffer, size);
}

// Pointers straight into the entry, good until its bucket next changes. A
// function or constant is reported by kind and attribute but hands out no
// storage. `value` of a scalar is the value's own slot; of any other kind it
// is the slot holding the pointer to the storage.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_Param(EvalContext *ctx, const char *name, ParamRef *ref)
{
    SymbolEntry *entry = FindSymbol(ctx, name);
    if (entry == nullptr)
        return ErrBadName;
    ref->kind = entry->kind;
    ref->attribute = &entry->attribute;
    if (!IsParameter(*entry))
        return ErrBadName;
    if (entry->kind & (OneDimensional | TwoDimensional))
        ref->count = &entry->array.count;
    if (entry->kind & TwoDimensional) {
        ref->dim1 = &entry->array.dim1;
        ref->dim2 = &entry->array.dim2;
    }
    if (entry->kind == NS)
        ref->value = &entry->value;
    else if (entry->kind == SS)
        ref->value = &entry->text;
    else
        ref->value = &entry->array.values;
    return 0;
}

// The one query here that answers for functions and constants too, so a host
// can learn what any name is. Fields a kind has no use for keep the caller's
// contents.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParamInfo(EvalContext *ctx, const char *name, ParamInfo *info)
{
    const SymbolEntry *entry = FindSymbol(ctx, name);
    if (entry == nullptr)
        return ErrBadName;
    info->kind = entry->kind;
    info->attribute = entry->attribute;
    if (entry->kind & (OneDimensional | TwoDimensional))
        info->count = entry->array.count;
    if (entry->kind & TwoDimensional) {
        info->dim1 = entry->array.dim1;
        info->dim2 = entry->array.dim2;
    }
    return 0;
}

} // extern "C"
