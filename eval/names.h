// Gathering a name token, shared by every scan that reads names.
#pragma once

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

// Gathers the name at the cursor, leaves the cursor on the delimiter behind
// it and looks the name up (null when nothing has that name). Returns
// ErrTokenTooLong, with the cursor unmoved, for a name over 33 bytes.
int32_t LookUpName(EvalContext *ctx, NameBuffer *name, SymbolEntry **entry);

// A numeric parameter's value as an expression or a getter reads it: with
// the integer-view bit set, the stored double through ToUnsigned32.
double ReadNumeric(const SymbolEntry &entry, double stored);

} // namespace qx
