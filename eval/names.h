// Reading a name token, shared by every scan that reads names: in place when
// it stands in one piece, gathered into a buffer when white space splits it.
#pragma once

#include "core/char_class.h"
#include "core/integer_conversion.h"
#include "core/symbol_table.h"

namespace qx {

struct NameBuffer {
    char bytes[NameFieldSize];
    int length;
};

// Takes the byte at p whatever it is, then every following byte up to one
// with ClassDelimiter, dropping white space: "s i n" is the token "sin".
// Returns the delimiter, or null when more than 33 bytes would be needed.
const char *GatherName(const char *p, NameBuffer *name);

// Reads the name at the cursor, leaves the cursor on the delimiter behind
// it and looks the name up (null when nothing has that name). Returns
// ErrTokenTooLong, with the cursor unmoved, for a name over 33 bytes.
int32_t LookUpName(EvalContext *ctx, SymbolEntry **entry);
// The same for a name that white space splits, which must be gathered.
int32_t LookUpGatheredName(EvalContext *ctx, SymbolEntry **entry);

// The usual name stands in one piece, with at most white space between it
// and its delimiter, and is looked up where it stands, without a copy.
// Returns its length and sets the delimiter, or returns 0 for a name that
// white space splits.
inline size_t NameInPlace(const char *name, const char **delimiter)
{
    const char *end = name + 1;
    while (!Is(*end, ClassDelimiter | ClassSpace))
        ++end;
    *delimiter = SkipSpace(end);
    return Is(**delimiter, ClassDelimiter) ? static_cast<size_t>(end - name) : 0;
}

inline int32_t LookUpName(EvalContext *ctx, SymbolEntry **entry)
{
    const char *delimiter;
    const size_t length = NameInPlace(ctx->cursor, &delimiter);
    if (length == 0)
        return LookUpGatheredName(ctx, entry);
    if (length > MaxNameLength)
        return ErrTokenTooLong;
    *entry = FindSymbol(ctx, ctx->cursor, length);
    ctx->cursor = delimiter;
    return 0;
}

// A numeric parameter's value as an expression or a getter reads it: with
// the integer-view bit set, the stored double through ToUnsigned32.
inline double ReadNumeric(const SymbolEntry &entry, double stored)
{
    return (entry.attribute & AttrIntegerView) ? static_cast<double>(ToUnsigned32(stored)) : stored;
}

} // namespace qx
