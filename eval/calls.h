// Argument lists: function calls and array element references share them,
// in numeric and string expressions and in statements alike.
#pragma once

#include <cstdint>

#include "core/symbol_table.h"
#include "eval/evaluator.h"

namespace qx {

void FreeStringArgs(int32_t count, const ArgKind *kinds, CallArg *slots);

// Steps over the '(' at the cursor, evaluates the arguments of a function
// entry into `frame` and fills the rest of it for the call.
int32_t PrepareCall(EvalContext *ctx, const SymbolEntry &function, CallFrame *frame);
// Releases the argument texts; returns the code the callback left in the frame.
int32_t FinishCall(const SymbolEntry &function, CallFrame *frame);

// Calls a numeric function entry with the cursor on its '(' and pushes the
// value it returns.
int32_t CallNFunction(EvalContext *ctx, const SymbolEntry &function, TermStack *stack);

struct ElementIndex {
    uint32_t i;
    uint32_t j;        // 0 for a one-dimensional array
    uint32_t position; // i + dim1 * j
};

// Evaluates the one or two indices of an array entry and checks their range
// (ErrBadName when out of range). The cursor stands behind the '(' and the
// caller has raised parenDepth.
int32_t EvaluateElementIndex(EvalContext *ctx, const SymbolEntry &array, ElementIndex *index);
// The same from the '(' itself, raising parenDepth as an expression does.
int32_t ReadElementIndex(EvalContext *ctx, const SymbolEntry &array, ElementIndex *index);

} // namespace qx
