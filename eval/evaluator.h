// The numeric evaluator: one level of an expression is scanned once into a
// TermStack, then reduced by precedence passes. There is no tree and no
// separate lexer; nested levels recurse on the host's stack.
#pragma once

#include <cstdint>

#include "eval/operators.h"
#include "quorbix.h"

namespace qx {

constexpr int32_t MaxTerms = 64;
constexpr int32_t MaxOperators = 64;
constexpr int MaxTokenLength = 33;

struct TermStack {
    int8_t slots[MaxOperators + 1]; // slots[0] is the guard byte, always 0
    int8_t *operators;              // slots + 1: operators[-1] reads the guard
    int32_t termCount;
    int32_t operatorCount;
    int32_t additiveWeight; // 8 per '+'/'-' read, less 8 per one taken as a sign
    uint32_t classMask;     // union of the mask bits of every operator read
    double terms[MaxTerms];
};

using TokenHandler = int32_t (*)(EvalContext *ctx, TermStack *stack);

// Parentheses, calls and element references recurse on the host's stack, one
// level per '(' still open, at about 1 KiB a level (a numeric call with its
// frame and term stack is the largest). 100 levels keep the deepest legal
// text near 110 KiB, well inside a 256 KiB thread stack even in a sanitizer
// build; a deeper text fails with ErrStackFull.
constexpr int32_t MaxNesting = 100;

// Counts one more open '(' across all levels of the text being evaluated.
inline int32_t OpenLevel(EvalContext *ctx)
{
    return ++ctx->parenDepth > MaxNesting ? ErrStackFull : 0;
}

// A positive handler result ends the level without failing.
constexpr int32_t EndOfLevel = 1;

int32_t EvaluateLevel(EvalContext *ctx);

// A term that follows a binary operator (or opens the level) goes straight
// in; one behind a sign or '!' takes the longer way.
int32_t PushPrefixedTerm(TermStack *stack, double value);

// Fails with ErrStackFull, the stack unchanged, when the operators are full.
inline int32_t AppendOperator(TermStack *stack, int8_t code)
{
    if (stack->operatorCount >= MaxOperators)
        return ErrStackFull;
    const uint32_t mask = MaskOf(code);
    stack->operators[stack->operatorCount++] = code;
    stack->classMask |= mask;
    if (mask == MaskAdditive)
        stack->additiveWeight += AdditiveStep;
    return 0;
}

inline int32_t PushTerm(TermStack *stack, double value)
{
    const int32_t n = stack->termCount;
    if (stack->operatorCount != n || stack->operators[n - 1] == OpNot || n >= MaxTerms)
        return PushPrefixedTerm(stack, value);
    stack->terms[n] = value;
    stack->termCount = n + 1;
    return 0;
}

int32_t RunOperatorPasses(TermStack *stack);

int32_t DoubleOperatorToken(EvalContext *ctx, TermStack *stack);
int32_t OpenParenToken(EvalContext *ctx, TermStack *stack);
// Ends a level at a ')', shared with the string evaluator. The byte stays
// under the cursor: whoever opened the level steps over it.
inline int32_t CloseParen(EvalContext *ctx)
{
    return --ctx->parenDepth < 0 ? ErrParenMismatch : EndOfLevel;
}

int32_t RegisterToken(EvalContext *ctx, TermStack *stack);
int32_t BadCharToken(EvalContext *ctx, TermStack *stack);

// Reads "[x]" at the '[', white space allowed inside: the register's number
// (0 for a or A) and the byte behind the ']', or ErrBadName.
int32_t ParseRegister(const char *bracket, int *number, const char **after);

// The base a literal's suffix letter selects (b, o, d, h in either case), or 0.
uint32_t RadixOfSuffix(char suffix);
// Reads the digits in [digits, suffix) in the given base and pushes the
// value, saturating at 4294967295. -1 for a byte that is no digit.
int32_t ParseRadixLiteral(const char *digits, const char *suffix, uint32_t base, TermStack *stack);

// Converts a decimal literal exactly as the "C" locale's strtod would,
// whatever the host's locale: 0, ErrSyntax if the text is not consumed whole,
// or ErrRange for overflow, underflow or a subnormal result. The byte at end
// must not continue the literal (a terminator will do).
int32_t ConvertDecimal(const char *begin, const char *end, double *value);

// Reads a literal at p when it has the short form that converts exactly
// without the general conversion (at most 19 digits, a '.', an exponent of
// at most three digits, the whole within the exact powers of ten). Returns
// the byte behind it, or null for any other text, with nothing read.
const char *ReadShortDecimal(const char *p, double *value);

} // namespace qx
