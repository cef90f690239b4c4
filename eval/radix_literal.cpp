// Whole numbers with a suffix letter: 101b, 17o, 19d, 0ffh. They saturate at
// 4294967295 instead of failing.
#include <cstdint>

#include "core/char_class.h"
#include "eval/evaluator.h"

namespace qx {
namespace {

constexpr uint32_t NoDigit = 99;

uint32_t DigitValue(char c)
{
    if (Is(c, ClassDigit))
        return static_cast<uint32_t>(c - '0');
    if (Is(c, ClassHexDigit))
        return static_cast<uint32_t>(FoldLower(c) - 'a' + 10);
    return NoDigit;
}

} // namespace

uint32_t RadixOfSuffix(char suffix)
{
    switch (FoldLower(suffix)) {
    case 'b': return 2;
    case 'o': return 8;
    case 'd': return 10;
    case 'h': return 16;
    default: return 0;
    }
}

// A bad digit anywhere wins over overflow, so every digit is looked at even
// after the value has saturated.
int32_t ParseRadixLiteral(const char *digits, const char *suffix, uint32_t base, TermStack *stack)
{
    uint32_t value = 0;
    bool saturated = false;
    for (const char *p = digits; p < suffix; ++p) {
        const uint32_t digit = DigitValue(*p);
        if (digit >= base)
            return ErrSyntax;
        const uint64_t next = static_cast<uint64_t>(value) * base + digit;
        if (saturated || next > UINT32_MAX)
            saturated = true;
        else
            value = static_cast<uint32_t>(next);
    }
    return PushTerm(stack, saturated ? 4294967295.0 : static_cast<double>(value));
}

} // namespace qx
