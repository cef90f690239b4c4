// The one table that says what a byte is. Every scan in the library asks it,
// so the library behaves the same in every locale: no <cctype> anywhere.
#pragma once

#include <array>
#include <cstdint>

namespace qx {

enum CharClassBit : uint16_t {
    ClassDelimiter = 0x0001,  // ends a number or name token
    ClassOperator = 0x0002,   // may be the second byte of a two-byte operator
    ClassTerminator = 0x0004, // ends a level without being consumed
    ClassStringEnd = 0x0008,  // ends a string literal
    ClassStringJoin = 0x0010, // may follow a term in a string expression
    ClassNameStart = 0x0020,
    ClassNameChar = 0x0040,
    ClassDigit = 0x0080,
    ClassHexDigit = 0x0100,
    ClassSpace = 0x0200,
    ClassLetter = 0x0400,
    ClassUpper = 0x0800,
    ClassLower = 0x1000,
    ClassLeadByte = 0x2000, // first byte of a Shift-JIS double-byte character
};

namespace detail {

constexpr bool InRange(int c, int lo, int hi) { return c >= lo && c <= hi; }

constexpr bool IsOneOf(int c, const char *set)
{
    for (; *set != '\0'; ++set)
        if (c == static_cast<unsigned char>(*set))
            return true;
    return false;
}

constexpr uint16_t ClassesOf(int c)
{
    const bool upper = InRange(c, 'A', 'Z');
    const bool lower = InRange(c, 'a', 'z');
    const bool digit = InRange(c, '0', '9');
    const bool operatorByte = IsOneOf(c, "!%&*+-/<=>^|~");
    uint16_t bits = 0;
    if (c == 0 || operatorByte || IsOneOf(c, "(),"))
        bits |= ClassDelimiter;
    if (operatorByte)
        bits |= ClassOperator;
    if (c == 0 || c == ',')
        bits |= ClassTerminator;
    if (c == 0 || c == '"')
        bits |= ClassStringEnd;
    if (c == ')' || c == '+')
        bits |= ClassStringJoin;
    if (upper || lower || c == '_')
        bits |= ClassNameStart;
    if (upper || lower || digit || c == '_')
        bits |= ClassNameChar;
    if (digit)
        bits |= ClassDigit;
    if (digit || InRange(c, 'A', 'F') || InRange(c, 'a', 'f'))
        bits |= ClassHexDigit;
    if (InRange(c, 0x09, 0x0D) || c == ' ')
        bits |= ClassSpace;
    if (upper || lower)
        bits |= ClassLetter | (upper ? ClassUpper : ClassLower);
    if (InRange(c, 0x81, 0x9F) || InRange(c, 0xE0, 0xEF))
        bits |= ClassLeadByte;
    return bits;
}

constexpr std::array<uint16_t, 256> BuildCharClass()
{
    std::array<uint16_t, 256> table{};
    for (int c = 0; c < 256; ++c)
        table[c] = ClassesOf(c);
    return table;
}

} // namespace detail

inline constexpr std::array<uint16_t, 256> CharClass = detail::BuildCharClass();

// Spot checks against the published run table of entries.
static_assert(CharClass[0x00] == 0x000D && CharClass['+'] == 0x0013);
static_assert(CharClass[')'] == 0x0011 && CharClass[','] == 0x0005);
static_assert(CharClass['A'] == 0x0D60 && CharClass['g'] == 0x1460);
static_assert(CharClass['0'] == 0x01C0 && CharClass['_'] == 0x0060);
static_assert(CharClass['"'] == 0x0008 && CharClass[0x81] == 0x2000);
static_assert(CharClass[0xA0] == 0 && CharClass['.'] == 0 && CharClass['$'] == 0);

inline bool Is(char c, uint16_t classBits)
{
    return (CharClass[static_cast<unsigned char>(c)] & classBits) != 0;
}

// Only the 26 ASCII letters change case; lead bytes are not special here.
inline char FoldLower(char c) { return Is(c, ClassUpper) ? static_cast<char>(c + 32) : c; }
inline char FoldUpper(char c) { return Is(c, ClassLower) ? static_cast<char>(c - 32) : c; }

inline const char *SkipSpace(const char *p)
{
    while (Is(*p, ClassSpace))
        ++p;
    return p;
}

} // namespace qx
