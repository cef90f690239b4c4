// The built-in functions and constants every context starts with. Each table
// ends with a row whose name is null.
#pragma once

#include "quorbix.h"

namespace qx {

extern const NFunctionDef NumericFunctionTable[];
extern const SFunctionDef StringFunctionTable[];
extern const NConstantDef NumericConstantTable[];
extern const SConstantDef StringConstantTable[];

} // namespace qx
