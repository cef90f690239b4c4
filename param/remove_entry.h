// Taking one parameter out of its bucket: the only way a single entry leaves
// the table, shared by deletion, replacing loads and replacing copies.
#pragma once

#include <cstdint>

#include "core/symbol_table.h"

namespace qx {

// Frees the entry's payload, marks it deleted, sorts it to the end of the
// bucket and shrinks the array by one. 0, or ErrNoMemory when the array
// could not be trimmed; the entry is gone from the table either way.
int32_t RemoveEntry(SymbolBucket *bucket, SymbolEntry *entry);

// Makes room for a parameter that replaces whatever holds `name`: 0 when
// nothing does or an unprotected parameter did and has been removed. With
// `noReplace` set, or when the holder is a function, a constant or a
// protected parameter, the result is `refusal`; ErrNoMemory when the
// removal could not trim the bucket.
int32_t ClearForReplacement(SymbolBucket *bucket, const char *name, int32_t noReplace, int32_t refusal);

} // namespace qx
