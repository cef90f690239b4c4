// The driver: Quorbix and EvaluateLevel, with the table that sends the first
// byte of each token to its handler.
#include <array>
#include <cmath>

#include "core/char_class.h"
#include "eval/evaluator.h"
#include "eval/operators.h"

namespace qx {
namespace {

constexpr std::array<TokenHandler, 256> BuildTokenTable()
{
    std::array<TokenHandler, 256> table{};
    for (TokenHandler &handler : table)
        handler = BadCharToken;
    for (int c = '0'; c <= '9'; ++c)
        table[c] = NumberToken;
    table['.'] = NumberToken;
    for (int c = 0; c < 256; ++c)
        if (CharClass[c] & ClassNameStart)
            table[c] = NameToken;
    for (unsigned char c : {'!', '<', '=', '>'})
        table[c] = DoubleOperatorToken;
    table['('] = OpenParenToken;
    table[')'] = [](EvalContext *ctx, TermStack *) { return CloseParen(ctx); };
    table['['] = RegisterToken;
    return table;
}

constexpr std::array<TokenHandler, 256> TokenTable = BuildTokenTable();

void StartTermStack(TermStack *stack)
{
    stack->slots[0] = 0;
    stack->operators = stack->slots + 1;
    stack->termCount = 0;
    stack->operatorCount = 0;
    stack->additiveWeight = 0;
    stack->classMask = 0;
}

// Runs handlers until one ends the level or a terminator is reached. The
// one-byte operators, every other token of a level, are taken in the loop.
int32_t ScanLevel(EvalContext *ctx, TermStack *stack)
{
    const char *p = ctx->cursor;
    for (;;) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (const int8_t code = SingleByteOperator[c]) {
            if (int32_t rc = AppendOperator(stack, code)) {
                ctx->cursor = p;
                return rc;
            }
            ++p;
        } else {
            ctx->cursor = p;
            if (int32_t rc = TokenTable[c](ctx, stack))
                return rc;
            p = ctx->cursor;
        }
        p = SkipSpace(p);
        if (Is(*p, ClassTerminator)) {
            ctx->cursor = p;
            return 0;
        }
    }
}

} // namespace

int32_t EvaluateLevel(EvalContext *ctx)
{
    ctx->cursor = SkipSpace(ctx->cursor);
    if (Is(*ctx->cursor, ClassTerminator)) {
        ctx->result = 0.0;
        return 0;
    }
    TermStack stack;
    StartTermStack(&stack);
    const int32_t scanned = ScanLevel(ctx, &stack);
    if (scanned < 0)
        return scanned;
    if (stack.termCount == 0 && stack.operatorCount == 0) { // "()" and the like
        ctx->result = 0.0;
        return 0;
    }
    if (stack.termCount <= stack.operatorCount)
        return ErrSyntax; // an operator with no term to its right
    const int32_t reduced = stack.termCount >= 2 ? RunOperatorPasses(&stack) : 0;
    ctx->result = stack.terms[0];
    if (reduced != 0)
        return reduced;
    return std::isfinite(ctx->result) ? 0 : ErrRange;
}

int32_t OpenParenToken(EvalContext *ctx, TermStack *stack)
{
    ++ctx->cursor;
    if (int32_t rc = OpenLevel(ctx))
        return rc;
    if (int32_t rc = EvaluateLevel(ctx))
        return rc;
    if (int32_t rc = PushTerm(stack, ctx->result))
        return rc;
    // Takes the ')' or, in a malformed text, a ',' that ended the inner level.
    if (*ctx->cursor != '\0')
        ++ctx->cursor;
    return 0;
}

// The byte stays under the cursor: whoever opened the level steps over it.
int32_t CloseParen(EvalContext *ctx)
{
    if (--ctx->parenDepth < 0)
        return ErrParenMismatch;
    return EndOfLevel;
}

int32_t ParseRegister(const char *bracket, int *number, const char **after)
{
    const char *p = SkipSpace(bracket + 1);
    if (!Is(*p, ClassLetter))
        return ErrBadName;
    *number = FoldLower(*p) - 'a';
    p = SkipSpace(p + 1);
    if (*p != ']')
        return ErrBadName;
    *after = p + 1;
    return 0;
}

int32_t RegisterToken(EvalContext *ctx, TermStack *stack)
{
    if (ctx->registers == nullptr)
        return ErrSyntax;
    int number;
    if (int32_t rc = ParseRegister(ctx->cursor, &number, &ctx->cursor))
        return rc;
    return PushTerm(stack, ctx->registers[number]);
}

int32_t BadCharToken(EvalContext *, TermStack *) { return ErrSyntax; }

} // namespace qx

extern "C" QUORBIX_API int32_t QUORBIX_CALL Quorbix(EvalContext *ctx)
{
    ctx->cursor = ctx->text;
    ctx->parenDepth = 0;
    int32_t rc = qx::EvaluateLevel(ctx);
    if (rc == 0 && ctx->parenDepth != 0)
        rc = ErrParenMismatch;
    else if (rc == 0 && *ctx->cursor != '\0')
        rc = ErrSyntax; // a ',' or a stray ')' ended the outer level
    if (rc != 0)
        ctx->result = 0.0;
    return rc;
}
