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

} // namespace qx
