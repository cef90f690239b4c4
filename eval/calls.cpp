#include "eval/calls.h"

#include <cstdlib>

#include "core/always_inline.h"
#include "core/char_class.h"
#include "core/integer_conversion.h"
#include "strexpr/string_evaluator.h"

namespace qx {
namespace {

int32_t EvaluateEmptyList(EvalContext *ctx)
{
    const char *p = SkipSpace(ctx->cursor);
    if (*p != ')')
        return ErrArgument;
    --ctx->parenDepth;
    ctx->cursor = p + 1;
    return 0;
}

// A kind other than numeric or string evaluates nothing: its slot stays 0
// and the byte at the cursor is taken as the separator.
int32_t EvaluateOneArg(EvalContext *ctx, ArgKind kind, CallArg *slot)
{
    slot->number = 0.0;
    if (kind == ArgNumeric) {
        if (int32_t rc = EvaluateLevel(ctx))
            return rc;
        slot->number = ctx->result;
    } else if (kind == ArgString) {
        if (int32_t rc = EvaluateString(ctx))
            return rc;
        slot->text = ctx->stringResult; // the slot owns the text from here on
    }
    return 0;
}

// Each argument is a full level that ends on ',' or ')' (or the end of the
// text) without consuming it; the closing ')' has already lowered parenDepth
// when it is met, so only the separator itself is stepped over here.
int32_t EvaluateArgList(EvalContext *ctx, const ArgKind *kinds, CallArg *slots, int32_t count)
{
    if (count == 0)
        return EvaluateEmptyList(ctx);
    for (int32_t k = 0; k < count; ++k) {
        if (int32_t rc = EvaluateOneArg(ctx, kinds[k], &slots[k])) {
            FreeStringArgs(k, kinds, slots);
            return rc;
        }
        const char separator = *ctx->cursor;
        if (separator != '\0')
            ++ctx->cursor;
        if (separator != (k == count - 1 ? ')' : ',')) {
            FreeStringArgs(k + 1, kinds, slots);
            return ErrArgument; // too few, too many, or cut off by the end
        }
    }
    return 0;
}

// One numeric argument, the list of nearly every call and element, is the
// list above for a count of one, without its loop.
int32_t EvaluateSoleNumber(EvalContext *ctx, CallArg *slot)
{
    slot->number = 0.0;
    if (int32_t rc = EvaluateLevel(ctx))
        return rc;
    slot->number = ctx->result;
    const char separator = *ctx->cursor;
    if (separator != '\0')
        ++ctx->cursor;
    return separator == ')' ? 0 : ErrArgument;
}

// Evaluates `count` arguments at the cursor, which stands behind the '(' of a
// list whose opening already raised parenDepth. On success the cursor is
// behind the ')'. On failure no argument text is left allocated.
QX_ALWAYS_INLINE int32_t EvaluateArgs(EvalContext *ctx, const ArgKind *kinds, CallArg *slots, int32_t count)
{
    if (count == 1 && kinds[0] == ArgNumeric)
        return EvaluateSoleNumber(ctx, slots);
    return EvaluateArgList(ctx, kinds, slots, count);
}

} // namespace

void FreeStringArgs(int32_t count, const ArgKind *kinds, CallArg *slots)
{
    for (int32_t k = 0; k < count; ++k)
        if (kinds[k] == ArgString)
            std::free(const_cast<char *>(slots[k].text));
}

namespace {

QX_ALWAYS_INLINE int32_t PrepareFrame(EvalContext *ctx, const SymbolEntry &function, CallFrame *frame)
{
    ++ctx->cursor;
    if (int32_t rc = OpenLevel(ctx))
        return rc;
    const FunctionPayload &f = function.function;
    if (int32_t rc = EvaluateArgs(ctx, f.argKinds, frame->args, f.argCount))
        return rc;
    frame->argKinds = f.argKinds;
    frame->argCount = f.argCount;
    frame->context = ctx;
    frame->userWord = f.userWord;
    frame->error = 0;
    // Preset so that a string callback that forgets it appends nothing
    // instead of an undefined number of bytes.
    frame->resultLength = 0;
    return 0;
}

} // namespace

int32_t PrepareCall(EvalContext *ctx, const SymbolEntry &function, CallFrame *frame)
{
    return PrepareFrame(ctx, function, frame);
}

int32_t FinishCall(const SymbolEntry &function, CallFrame *frame)
{
    FreeStringArgs(function.function.argCount, function.function.argKinds, frame->args);
    return frame->error;
}

int32_t CallNFunction(EvalContext *ctx, const SymbolEntry &function, TermStack *stack)
{
    CallFrame frame;
    if (int32_t rc = PrepareFrame(ctx, function, &frame))
        return rc;
    const NFunctionCallback callback = function.function.callback.numeric;
    const double value = callback != nullptr ? callback(&frame) : 0.0;
    if (callback == nullptr)
        frame.error = ErrSyntax; // registered without a function to call
    if (int32_t rc = FinishCall(function, &frame))
        return rc;
    return PushTerm(stack, value);
}

int32_t EvaluateElementIndex(EvalContext *ctx, const SymbolEntry &array, ElementIndex *index)
{
    static constexpr ArgKind numericKinds[2] = {ArgNumeric, ArgNumeric};
    const bool twoDimensional = (array.kind & (ND2 | SD2)) != 0;
    CallArg args[2];
    if (int32_t rc = EvaluateArgs(ctx, numericKinds, args, twoDimensional ? 2 : 1))
        return rc;
    index->i = ToUnsigned32(args[0].number);
    index->j = twoDimensional ? ToUnsigned32(args[1].number) : 0;
    if (!twoDimensional) {
        index->position = index->i;
        return index->i < array.array.count ? 0 : ErrBadName;
    }
    if (index->i >= array.array.dim1 || index->j >= array.array.dim2)
        return ErrBadName;
    index->position = index->i + array.array.dim1 * index->j;
    return 0;
}

int32_t ReadElementIndex(EvalContext *ctx, const SymbolEntry &array, ElementIndex *index)
{
    ++ctx->cursor;
    if (int32_t rc = OpenLevel(ctx))
        return rc;
    return EvaluateElementIndex(ctx, array, index);
}

} // namespace qx
