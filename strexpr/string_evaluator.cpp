// The string evaluator and its accumulator. Concatenation is the only
// operation; each term is appended straight from where it lies, growing the
// block by exactly what it adds.
#include "strexpr/string_evaluator.h"

#include <array>
#include <cstdlib>
#include <cstring>

#include "core/char_class.h"
#include "eval/calls.h"
#include "eval/names.h"
#include "strexpr/text_scanners.h"

namespace qx {
namespace {

// The value so far: `length` counted bytes and a terminator behind them. A
// function result may hold zero bytes of its own; they count like others.
struct StringAccumulator {
    char *bytes;
    uint32_t length;
};

int32_t Append(StringAccumulator *acc, const char *bytes, size_t n)
{
    if (n == 0)
        return 0;
    const size_t newLength = acc->length + n;
    if (newLength >= UINT32_MAX)
        return ErrNoMemory;
    char *grown = static_cast<char *>(std::realloc(acc->bytes, newLength + 1));
    if (grown == nullptr)
        return ErrNoMemory; // the old block stays valid for the caller to free
    std::memcpy(grown + acc->length, bytes, n);
    grown[newLength] = '\0';
    acc->bytes = grown;
    acc->length = static_cast<uint32_t>(newLength);
    return 0;
}

using StringHandler = int32_t (*)(EvalContext *ctx, StringAccumulator *acc);

int32_t StringLiteralToken(EvalContext *ctx, StringAccumulator *acc)
{
    const char *open = ctx->cursor++;
    const char *close = SkipQuotedString(open);
    if (close == nullptr)
        return ErrUnterminatedString;
    if (int32_t rc = Append(acc, open + 1, static_cast<size_t>(close - open - 1)))
        return rc;
    ctx->cursor = close + 1;
    return 0;
}

int32_t CallSFunction(EvalContext *ctx, const SymbolEntry &function, StringAccumulator *acc)
{
    CallFrame frame;
    if (int32_t rc = PrepareCall(ctx, function, &frame))
        return rc;
    const SFunctionCallback callback = function.function.callback.string;
    char *result = callback != nullptr ? callback(&frame) : nullptr;
    if (callback == nullptr)
        frame.error = ErrSyntax; // registered without a function to call
    if (int32_t rc = FinishCall(function, &frame))
        return rc; // a failing function keeps what it returned
    const int32_t rc = Append(acc, result, frame.resultLength);
    std::free(result);
    return rc;
}

int32_t AppendElement(EvalContext *ctx, const SymbolEntry &array, StringAccumulator *acc)
{
    ElementIndex index;
    if (int32_t rc = ReadElementIndex(ctx, array, &index))
        return rc;
    const char *text = array.array.texts[index.position];
    return Append(acc, text, std::strlen(text));
}

int32_t NameWithParen(EvalContext *ctx, const SymbolEntry &entry, StringAccumulator *acc)
{
    switch (entry.kind) {
    case SFunction: return CallSFunction(ctx, entry, acc);
    case SD1:
    case SD2: return AppendElement(ctx, entry, acc);
    default: return ErrSyntax;
    }
}

int32_t NameAlone(const SymbolEntry &entry, StringAccumulator *acc)
{
    switch (entry.kind) {
    case SConstant: return Append(acc, entry.constant.text, entry.constant.length);
    case SS: return Append(acc, entry.text, std::strlen(entry.text));
    default: return ErrSyntax;
    }
}

int32_t StringNameToken(EvalContext *ctx, StringAccumulator *acc)
{
    SymbolEntry *entry;
    if (int32_t rc = LookUpName(ctx, &entry))
        return rc;
    if (entry == nullptr)
        return ErrSyntax;
    return *ctx->cursor == '(' ? NameWithParen(ctx, *entry, acc) : NameAlone(*entry, acc);
}

int32_t CloseParenToken(EvalContext *ctx, StringAccumulator *) { return CloseParen(ctx); }
int32_t BadStringToken(EvalContext *, StringAccumulator *) { return ErrSyntax; }

constexpr std::array<StringHandler, 256> BuildStringTokenTable()
{
    std::array<StringHandler, 256> table{};
    for (int c = 0; c < 256; ++c)
        table[c] = (CharClass[c] & ClassNameStart) ? StringNameToken : BadStringToken;
    table['"'] = StringLiteralToken;
    table[')'] = CloseParenToken;
    return table;
}

constexpr std::array<StringHandler, 256> StringTokenTable = BuildStringTokenTable();

int32_t RunHandler(EvalContext *ctx, StringAccumulator *acc)
{
    return StringTokenTable[static_cast<unsigned char>(*ctx->cursor)](ctx, acc);
}

// Terms and '+' until a terminator, or until a handler ends the expression
// (a ')' closing an argument list). A '+' is followed straight by a handler,
// so a dangling '+' fails on the byte after it, except before a ')'.
int32_t ScanTerms(EvalContext *ctx, StringAccumulator *acc)
{
    ctx->cursor = SkipSpace(ctx->cursor);
    if (Is(*ctx->cursor, ClassTerminator))
        return 0;
    for (int32_t rc = RunHandler(ctx, acc);; rc = RunHandler(ctx, acc)) {
        if (rc != 0)
            return rc < 0 ? rc : 0;
        ctx->cursor = SkipSpace(ctx->cursor);
        const char c = *ctx->cursor;
        if (Is(c, ClassTerminator))
            return 0;
        if (!Is(c, ClassStringJoin))
            return ErrSyntax;
        if (c == '+')
            ctx->cursor = SkipSpace(ctx->cursor + 1);
    }
}

} // namespace

int32_t EvaluateString(EvalContext *ctx)
{
    StringAccumulator acc{static_cast<char *>(std::malloc(1)), 0};
    if (acc.bytes == nullptr)
        return ErrNoMemory;
    acc.bytes[0] = '\0';
    if (int32_t rc = ScanTerms(ctx, &acc)) {
        std::free(acc.bytes);
        return rc;
    }
    ctx->stringResult = acc.bytes;
    return 0;
}

} // namespace qx

using namespace qx;

extern "C" {

QUORBIX_API int32_t QUORBIX_CALL Quorbix_AddStr(EvalContext *ctx)
{
    ctx->cursor = ctx->text;
    ctx->parenDepth = 0;
    int32_t rc = EvaluateString(ctx);
    if (rc != 0) {
        ctx->stringResult = nullptr; // it may still show a stale argument block
        return rc;
    }
    if (ctx->parenDepth != 0)
        rc = ErrParenMismatch;
    else if (*ctx->cursor != '\0')
        rc = ErrSyntax; // a ',' outside any parenthesis
    if (rc != 0)
        Quorbix_FreeOut(ctx);
    return rc;
}

QUORBIX_API void QUORBIX_CALL Quorbix_FreeOut(EvalContext *ctx)
{
    std::free(ctx->stringResult);
    ctx->stringResult = nullptr;
}

} // extern "C"
