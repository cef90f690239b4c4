// A name token in a numeric expression. The short way, for a numeric scalar
// or constant standing alone, is by far the most common name in an
// expression and is inlined into the scan loop; every other case stays out
// of line, so that the loop does not pay for their registers and stack.
#pragma once

#include "core/always_inline.h"
#include "eval/calls.h"
#include "eval/evaluator.h"
#include "eval/names.h"

namespace qx {

// A name with '(' behind it: a function call or an array element.
int32_t NameWithParen(EvalContext *ctx, const SymbolEntry *entry, TermStack *stack);
// A name without '(' that is not a numeric scalar or constant, or names
// nothing (then perhaps a literal such as ffh).
int32_t NameAlone(const char *start, const SymbolEntry *entry, TermStack *stack);
// A name that white space splits or that is too long.
int32_t GatheredNameToken(EvalContext *ctx, TermStack *stack);

QX_ALWAYS_INLINE int32_t NameToken(EvalContext *ctx, TermStack *stack)
{
    const char *delimiter;
    const size_t length = NameInPlace(ctx->cursor, &delimiter);
    if (length == 0 || length > MaxNameLength)
        return GatheredNameToken(ctx, stack);
    const char *start = ctx->cursor;
    const SymbolEntry *entry = FindSymbol(ctx, start, length);
    ctx->cursor = delimiter;
    if (*delimiter == '(')
        return entry != nullptr && entry->kind == NFunction ? CallNFunction(ctx, *entry, stack)
                                                            : NameWithParen(ctx, entry, stack);
    if (entry == nullptr || (entry->kind & (NS | NConstant)) == 0)
        return NameAlone(start, entry, stack);
    return PushTerm(stack, entry->kind == NS ? ReadNumeric(*entry, entry->value) : entry->value);
}

} // namespace qx
