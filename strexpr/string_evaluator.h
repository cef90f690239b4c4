// String expressions: terms joined by '+', their value a new heap block.
#pragma once

#include <cstdint>

#include "quorbix.h"

namespace qx {

// Evaluates the string expression at the cursor, up to a ',', a ')' that
// closes an open level, or the end of the text, none of which it consumes.
// On 0 the value's block is in stringResult and belongs to the caller; on
// failure nothing is left allocated and stringResult is untouched.
int32_t EvaluateString(EvalContext *ctx);

} // namespace qx
