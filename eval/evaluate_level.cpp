// The driver: Quorbix and EvaluateLevel, with the loop that reads the tokens
// of a level, the common ones itself and the rest through a table of
// handlers chosen by the token's first byte.
#include <array>
#include <cmath>

#include "core/char_class.h"
#include "eval/evaluator.h"
#include "eval/name_token.h"
#include "eval/number_token.h"
#include "eval/operators.h"

namespace qx {
namespace {

// The tokens that ReadToken does not take itself.
constexpr std::array<TokenHandler, 256> BuildTokenTable()
{
    std::array<TokenHandler, 256> table{};
    for (TokenHandler &handler : table)
        handler = BadCharToken;
    for (unsigned char c : {'!', '<', '=', '>'})
        table[c] = DoubleOperatorToken;
    table['('] = OpenParenToken;
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

// The token at the cursor: operators, numbers and names, nearly every token
// of a level, are read in the loop itself; the rest through the table.
int32_t ReadToken(EvalContext *ctx, TermStack *stack, unsigned char c)
{
    if (const int8_t code = SingleByteOperator[c]) {
        const int32_t rc = AppendOperator(stack, code);
        ctx->cursor += rc == 0 ? 1 : 0;
        return rc;
    }
    if (Is(c, ClassNameStart))
        return NameToken(ctx, stack);
    if (Is(c, ClassDigit) || c == '.')
        return NumberToken(ctx, stack);
    if (c == ')') // ends every argument and every parenthesis
        return CloseParen(ctx);
    return TokenTable[c](ctx, stack);
}

// Reads tokens until one ends the level or a terminator is reached.
int32_t ScanLevel(EvalContext *ctx, TermStack *stack)
{
    for (;;) {
        if (int32_t rc = ReadToken(ctx, stack, static_cast<unsigned char>(*ctx->cursor)))
            return rc;
        ctx->cursor = SkipSpace(ctx->cursor);
        if (Is(*ctx->cursor, ClassTerminator))
            return 0;
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
