// Looking at expression text without evaluating it: the walk over a string
// literal, the numeric-or-string rating of a text, and the two scans that
// find bytes outside parentheses and literals. Nothing here allocates or
// writes to a context.
#include "strexpr/text_scanners.h"

#include <array>
#include <cstdint>

#include "core/char_class.h"
#include "core/symbol_table.h"

namespace qx {
namespace {

// What the first byte of a text says about the expression it starts.
enum StartClass : uint8_t {
    StartNone = 0,
    StartNumeric = 1,
    StartString = 2,
    StartName = 3, // the kind of the named symbol decides
};

enum TextRating : int32_t {
    RatedUnknown = 0,
    RatedNumeric = 1,
    RatedString = 2,
    RatedBlank = 3,
};

constexpr StartClass StartClassOf(int c)
{
    if (c == '"')
        return StartString;
    if (detail::InRange(c, 'A', 'Z') || detail::InRange(c, 'a', 'z') || c == '_')
        return StartName;
    if (detail::InRange(c, '0', '9') || detail::IsOneOf(c, "!(+-.["))
        return StartNumeric;
    return StartNone;
}

constexpr std::array<StartClass, 256> BuildStartClass()
{
    std::array<StartClass, 256> table{};
    for (int c = 0; c < 256; ++c)
        table[c] = StartClassOf(c);
    return table;
}

constexpr std::array<StartClass, 256> StartClassTable = BuildStartClass();

static_assert(StartClassTable['"'] == StartString && StartClassTable['['] == StartNumeric);
static_assert(StartClassTable['.'] == StartNumeric && StartClassTable['_'] == StartName);
static_assert(StartClassTable[','] == StartNone && StartClassTable['~'] == StartNone);
static_assert(StartClassTable[0x81] == StartNone && StartClassTable['$'] == StartNone);

// Gathers a name the way the evaluators do, dropping white space inside it.
// A name longer than a name field is not an error here: its first 33 bytes
// are what gets looked up.
void GatherNamePrefix(const char *p, char (&name)[NameFieldSize])
{
    int length = 0;
    while (length < MaxNameLength && !Is(*p, ClassDelimiter)) {
        name[length++] = *p;
        p = SkipSpace(p + 1);
    }
    name[length] = '\0';
}

int32_t RateName(const EvalContext *ctx, const char *text)
{
    char name[NameFieldSize];
    GatherNamePrefix(text, name);
    const SymbolEntry *entry = FindSymbol(ctx, name);
    if (entry == nullptr)
        return RatedUnknown;
    return (entry->kind & StringValued) != 0 ? RatedString : RatedNumeric;
}

// Bytes are compared as signed values, so a byte of 0x80 and above is
// looked for by its negative value.
bool SameByte(char c, int32_t ch) { return static_cast<signed char>(c) == ch; }

} // namespace

const char *SkipQuotedString(const char *open)
{
    const char *p = open + 1;
    while (!Is(*p, ClassStringEnd)) {
        // A lead byte takes its trail byte along unseen, unless the text
        // ends right behind it: the walk never steps over the terminator.
        p += Is(*p, ClassLeadByte) && p[1] != '\0' ? 2 : 1;
    }
    return *p == '"' ? p : nullptr;
}

} // namespace qx

using namespace qx;

extern "C" {

QUORBIX_API int32_t QUORBIX_CALL Quorbix_CheckStrType(EvalContext *ctx, const char *text)
{
    const char *p = SkipSpace(text);
    if (*p == '\0')
        return RatedBlank;
    switch (StartClassTable[static_cast<unsigned char>(*p)]) {
    case StartString: return RatedString;
    case StartNumeric: return *p == '[' && ctx->registers == nullptr ? RatedUnknown : RatedNumeric;
    case StartName: return RateName(ctx, p);
    case StartNone: break;
    }
    return RatedUnknown;
}

// The caller's pointer stands just behind an opening parenthesis. Offsets
// run from that pointer, so leading blanks count in them; the pointer itself
// moves only when the scan has come to an end without a fault.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CommaPos(const char **cursor, uint32_t *offsets, uint32_t capacity)
{
    for (uint32_t k = 0; k < capacity; ++k)
        offsets[k] = 0;
    const char *start = *cursor;
    uint32_t stored = 0;
    const auto storeOffset = [&](const char *comma) -> int32_t {
        if (stored == capacity)
            return ErrArgument;
        offsets[stored++] = static_cast<uint32_t>(comma - start);
        return 0;
    };
    const char *end;
    int32_t level;
    if (int32_t rc = WalkArgumentList(SkipSpace(start), storeOffset, &end, &level))
        return rc;
    *cursor = end;
    return level == 0 ? 0 : ErrParenMismatch;
}

// A stray ')' may take the level below zero; nothing is found until it is
// back at zero.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SearchChr(const char **cursor, int32_t ch)
{
    const char *p = *cursor;
    int32_t level = 0;
    for (; *p != '\0'; ++p) {
        if (*p == '"') {
            p = SkipQuotedString(p);
            if (p == nullptr) {
                *cursor = nullptr;
                return ErrUnterminatedString;
            }
        } else if (*p == '(') {
            ++level;
        } else if (*p == ')') {
            --level;
        } else if (level == 0 && SameByte(*p, ch)) {
            *cursor = p;
            return 0;
        }
    }
    *cursor = p;
    return level == 0 ? 0 : ErrParenMismatch;
}

} // extern "C"
