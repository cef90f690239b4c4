// A term that begins with a letter or '_': a constant, a numeric parameter,
// an array element, a function call, or a hexadecimal literal such as ffh.
#include "core/char_class.h"
#include "eval/calls.h"
#include "eval/name_token.h"

namespace qx {
namespace {

int32_t ReadNumericElement(EvalContext *ctx, const SymbolEntry &array, TermStack *stack)
{
    ElementIndex index;
    if (int32_t rc = ReadElementIndex(ctx, array, &index))
        return rc;
    return PushTerm(stack, ReadNumeric(array, array.array.values[index.position]));
}

// A token that names nothing may still be a literal whose first digit is a
// letter. Only the hexadecimal parser can accept a leading letter.
int32_t RadixFallback(const NameBuffer &name, TermStack *stack)
{
    if (name.length == 1)
        return ErrSyntax;
    const char suffix = name.bytes[name.length - 1];
    const uint32_t base = Is(suffix, ClassLetter) ? RadixOfSuffix(suffix) : 0;
    if (base == 0)
        return ErrSyntax;
    return ParseRadixLiteral(name.bytes, name.bytes + name.length - 1, base, stack);
}

} // namespace

int32_t NameWithParen(EvalContext *ctx, const SymbolEntry *entry, TermStack *stack)
{
    if (entry == nullptr)
        return ErrSyntax;
    switch (entry->kind) {
    case NFunction: return CallNFunction(ctx, *entry, stack);
    case ND1:
    case ND2: return ReadNumericElement(ctx, *entry, stack);
    default: return ErrSyntax;
    }
}

// A token that names nothing may still be a literal such as ffh, which is
// gathered again only then.
int32_t NameAlone(const char *start, const SymbolEntry *entry, TermStack *stack)
{
    if (entry == nullptr) {
        NameBuffer name;
        GatherName(start, &name);
        return RadixFallback(name, stack);
    }
    switch (entry->kind) {
    case NConstant: return PushTerm(stack, entry->value);
    case NS: return PushTerm(stack, ReadNumeric(*entry, entry->value));
    default: return ErrSyntax;
    }
}

const char *GatherName(const char *p, NameBuffer *name)
{
    name->length = 0;
    do {
        if (name->length == MaxNameLength)
            return nullptr;
        name->bytes[name->length++] = *p;
        p = SkipSpace(p + 1);
    } while (!Is(*p, ClassDelimiter));
    name->bytes[name->length] = '\0';
    return p;
}

int32_t LookUpGatheredName(EvalContext *ctx, SymbolEntry **entry)
{
    NameBuffer name;
    const char *delimiter = GatherName(ctx->cursor, &name);
    if (delimiter == nullptr)
        return ErrTokenTooLong;
    *entry = FindSymbol(ctx, name.bytes, static_cast<size_t>(name.length));
    ctx->cursor = delimiter;
    return 0;
}

int32_t GatheredNameToken(EvalContext *ctx, TermStack *stack)
{
    const char *start = ctx->cursor;
    SymbolEntry *entry;
    if (int32_t rc = LookUpName(ctx, &entry))
        return rc;
    if (*ctx->cursor == '(')
        return NameWithParen(ctx, entry, stack);
    return NameAlone(start, entry, stack);
}

} // namespace qx
