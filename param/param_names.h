// What a parameter may be called.
#pragma once

namespace qx {

// A letter or '_', then letters, digits and '_', and for a string name one
// '$' as the last byte; at most 33 bytes in all.
bool ParamNameIsValid(const char *name, bool isString);

} // namespace qx
