// Number literals: decimal with fraction and exponent, or a whole number in
// base 2, 8, 10 or 16 marked by its last byte.
#include "core/char_class.h"
#include "eval/number_token.h"

namespace qx {
namespace {

struct TokenBuffer {
    char bytes[MaxTokenLength + 1];
    int length = 0;

    void Append(char c) { bytes[length++] = c; }
    bool Full() const { return length == MaxTokenLength; }
    char Last() const { return bytes[length - 1]; }
};

// White space inside a token is dropped: "1 000" is the token "1000".
const char *NextByte(const char *p) { return SkipSpace(p + 1); }

// Gathers until a delimiter or a full buffer; returns the byte that stopped it.
const char *Gather(const char *p, TokenBuffer *token)
{
    while (!Is(*p, ClassDelimiter) && !token->Full()) {
        token->Append(*p);
        p = NextByte(p);
    }
    return p;
}

// A token ending in 'e' takes the delimiter behind it (the exponent's sign,
// since '+' and '-' are delimiters) and the digits after that. Whatever it
// takes that isn't an exponent is left for the conversion to refuse.
int32_t GatherExponent(const char **p, TokenBuffer *token)
{
    if (**p == '\0')
        return ErrSyntax;
    if (token->Full())
        return ErrTokenTooLong;
    do {
        token->Append(**p);
        *p = NextByte(*p);
    } while (Is(**p, ClassDigit) && !token->Full());
    if (token->Full() && !Is(**p, ClassDelimiter))
        return ErrTokenTooLong;
    return 0;
}

} // namespace

// A literal that white space splits, or that is long, has an exponent out of
// the short range or a radix suffix, is gathered first.
int32_t GatheredNumberToken(EvalContext *ctx, TermStack *stack)
{
    const char first = *ctx->cursor;
    const char *p = NextByte(ctx->cursor);
    if (Is(*p, ClassDelimiter)) { // one byte: a digit needs no conversion
        if (first == '.')
            return ErrSyntax;
        ctx->cursor = p;
        return PushTerm(stack, first - '0');
    }
    TokenBuffer token;
    token.Append(first);
    p = Gather(p, &token);
    if (token.Full() && !Is(*p, ClassDelimiter))
        return ErrTokenTooLong;
    const char last = token.Last();
    if (Is(last, ClassLetter)) {
        if (const uint32_t base = RadixOfSuffix(last)) {
            ctx->cursor = p;
            return ParseRadixLiteral(token.bytes, token.bytes + token.length - 1, base, stack);
        }
        if (FoldLower(last) != 'e')
            return ErrSyntax;
        if (int32_t rc = GatherExponent(&p, &token))
            return rc;
    }
    ctx->cursor = p;
    token.bytes[token.length] = '\0';
    double value;
    if (int32_t rc = ConvertDecimal(token.bytes, token.bytes + token.length, &value))
        return rc;
    return PushTerm(stack, value);
}

} // namespace qx
