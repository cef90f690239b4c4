// A number token in a numeric expression. The short way, for a literal that
// stands in one piece right before its delimiter, is inlined into the scan
// loop: a digit alone needs no conversion, and most other literals convert
// where they stand.
#pragma once

#include "core/always_inline.h"
#include "core/char_class.h"
#include "eval/evaluator.h"

namespace qx {

// A literal that white space splits, or that is long, has an exponent out of
// the short range or a radix suffix: it is gathered first.
int32_t GatheredNumberToken(EvalContext *ctx, TermStack *stack);

QX_ALWAYS_INLINE int32_t NumberToken(EvalContext *ctx, TermStack *stack)
{
    const char *p = ctx->cursor;
    if (Is(p[1], ClassDelimiter) && *p != '.') {
        ctx->cursor = p + 1;
        return PushTerm(stack, *p - '0');
    }
    double value;
    const char *end = ReadShortDecimal(p, &value);
    if (end == nullptr || !Is(*end, ClassDelimiter) || end - p > MaxTokenLength)
        return GatheredNumberToken(ctx, stack);
    ctx->cursor = end;
    return PushTerm(stack, value);
}

} // namespace qx
