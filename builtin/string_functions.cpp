// The string built-in functions. Each one returns a malloc block holding its
// result bytes and a terminator, stores the byte count in resultLength, and
// leaves the block to the caller. On failure it sets error and returns null
// with nothing allocated; bad arguments are found before any allocation, so
// they give ErrDomain even when memory is short.
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "builtin/builtin_tables.h"
#include "core/char_class.h"
#include "core/integer_conversion.h"

namespace qx {
namespace {

// The block of a number's text: 33 characters and the terminator.
constexpr size_t NumberBlockSize = 34;

// real$ takes a width and a precision of 0 to 16 each.
constexpr int32_t MaxRealField = 16;

// The longest fixed-point text real$ can make: a sign, the 309 integer digits
// of the largest double, the point and 16 decimals.
constexpr size_t FixedTextCapacity =
    1 + (std::numeric_limits<double>::max_exponent10 + 1) + 1 + MaxRealField;

char *Fail(CallFrame *frame, int32_t code)
{
    frame->error = code;
    return nullptr;
}

char *NewBlock(CallFrame *frame, size_t size)
{
    char *block = static_cast<char *>(std::malloc(size));
    if (block == nullptr)
        frame->error = ErrNoMemory;
    return block;
}

// Puts `length` bytes and a terminator into a new block of `blockSize` bytes.
char *Deliver(CallFrame *frame, const char *bytes, size_t length, size_t blockSize)
{
    char *block = NewBlock(frame, blockSize);
    if (block == nullptr)
        return nullptr;
    std::memcpy(block, bytes, length);
    block[length] = '\0';
    frame->resultLength = static_cast<uint32_t>(length);
    return block;
}

char *DeliverExact(CallFrame *frame, const char *bytes, size_t length)
{
    return Deliver(frame, bytes, length, length + 1);
}

double NumberArg(const CallFrame *frame, int k) { return frame->args[k].number; }
int32_t CountArg(const CallFrame *frame, int k) { return ToSigned32(frame->args[k].number); }

// bin$, oct$ and hex$ differ only in how many bits make a digit.
struct RadixRow {
    uint32_t mask;
    uint32_t shift;
};

constexpr RadixRow Binary{1, 1};
constexpr RadixRow Octal{7, 3};
constexpr RadixRow Hexadecimal{15, 4};

// The full unsigned 32-bit range is reachable here, unlike the functions that
// take a count: -1 is all ones and 3e9 keeps its value.
template <const RadixRow &Row>
char *QUORBIX_CALL RadixText(CallFrame *frame)
{
    char digits[32];
    char *first = digits + sizeof digits;
    uint32_t v = ToUnsigned32(NumberArg(frame, 0));
    do {
        const uint32_t digit = v & Row.mask;
        *--first = static_cast<char>(digit <= 9 ? '0' + digit : 'A' + digit - 10);
        v >>= Row.shift;
    } while (v != 0);
    return Deliver(frame, first, static_cast<size_t>(digits + sizeof digits - first), NumberBlockSize);
}

// Always one byte, even the zero byte: the result is counted, not terminated.
char *QUORBIX_CALL Chr(CallFrame *frame)
{
    const char byte = static_cast<char>(CountArg(frame, 0) & 0xFF);
    return Deliver(frame, &byte, 1, 2);
}

// A code whose high byte opens a double-byte character gives that pair; any
// other code keeps only its low byte, so mbchr$ undoes mbcode.
char *QUORBIX_CALL MbChr(CallFrame *frame)
{
    const uint32_t code = static_cast<uint32_t>(CountArg(frame, 0)) & 0xFFFF;
    const char pair[2] = {static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)};
    if (code > 0xFF && Is(pair[0], ClassLeadByte))
        return Deliver(frame, pair, 2, 3);
    return Deliver(frame, pair + 1, 1, 2);
}

char *QUORBIX_CALL Spc(CallFrame *frame)
{
    const int32_t n = CountArg(frame, 0);
    if (n < 0)
        return Fail(frame, ErrDomain);
    const size_t length = static_cast<size_t>(n);
    char *block = NewBlock(frame, length + 1);
    if (block == nullptr)
        return nullptr;
    std::memset(block, ' ', length);
    block[length] = '\0';
    frame->resultLength = static_cast<uint32_t>(length);
    return block;
}

// Byte by byte, blind to double-byte characters, as every case fold here is.
template <char (*Fold)(char)>
char *QUORBIX_CALL FoldCase(CallFrame *frame)
{
    const char *text = frame->args[0].text;
    const size_t length = std::strlen(text);
    char *block = DeliverExact(frame, text, length);
    if (block != nullptr)
        for (size_t i = 0; i < length; ++i)
            block[i] = Fold(block[i]);
    return block;
}

// left$ and right$: the same cut, taken from one end or the other.
template <bool FromRight>
char *QUORBIX_CALL EndCut(CallFrame *frame)
{
    const int32_t n = CountArg(frame, 1);
    if (n < 0)
        return Fail(frame, ErrDomain);
    const char *text = frame->args[0].text;
    const size_t length = std::strlen(text);
    const size_t take = std::min(static_cast<size_t>(n), length);
    return DeliverExact(frame, FromRight ? text + length - take : text, take);
}

// Both numbers are tested before the text is looked at, so an empty text
// does not hide a bad start.
char *QUORBIX_CALL Mid(CallFrame *frame)
{
    const int32_t start = CountArg(frame, 1);
    const int32_t count = CountArg(frame, 2);
    if (start < 1 || count < 0)
        return Fail(frame, ErrDomain);
    const char *text = frame->args[0].text;
    const size_t length = std::strlen(text);
    const size_t from = static_cast<size_t>(start) - 1;
    if (from >= length)
        return DeliverExact(frame, text, 0);
    const size_t take = std::min(static_cast<size_t>(count), length - from);
    return DeliverExact(frame, text + from, take);
}

// Numbers are written with to_chars, not sprintf: it produces what printf
// does in the "C" locale whatever locale the host has set, so a host with a
// decimal comma still gets 0.5 and its text evaluates again.

// "%.16G": the general form with 16 significant digits, in upper case.
char *QUORBIX_CALL Str(CallFrame *frame)
{
    char text[NumberBlockSize];
    const auto written = std::to_chars(text, text + sizeof text - 1, NumberArg(frame, 0),
                                       std::chars_format::general, 16);
    const size_t length = static_cast<size_t>(written.ptr - text);
    for (size_t i = 0; i < length; ++i)
        text[i] = FoldUpper(text[i]); // e becomes E; inf and nan as %G spells them
    return Deliver(frame, text, length, NumberBlockSize);
}

// "%W.Pf": fixed point with P decimals, right-aligned with blanks to width W.
// The usual block of 34 bytes is too small for a large value (maxval with 16
// decimals is over 300 characters); rather than fail or cut the text, the
// block then grows to fit it, so nothing is ever written past its end.
char *QUORBIX_CALL Real(CallFrame *frame)
{
    const int32_t width = CountArg(frame, 0);
    const int32_t precision = CountArg(frame, 1);
    if (width < 0 || width > MaxRealField || precision < 0 || precision > MaxRealField)
        return Fail(frame, ErrDomain);
    char digits[FixedTextCapacity];
    const auto written = std::to_chars(digits, digits + sizeof digits, NumberArg(frame, 2),
                                       std::chars_format::fixed, precision);
    const size_t digitCount = static_cast<size_t>(written.ptr - digits);
    const size_t length = std::max(static_cast<size_t>(width), digitCount);
    char *block = NewBlock(frame, std::max(NumberBlockSize, length + 1));
    if (block == nullptr)
        return nullptr;
    const size_t pad = length - digitCount;
    std::memset(block, ' ', pad);
    std::memcpy(block + pad, digits, digitCount);
    block[length] = '\0';
    frame->resultLength = static_cast<uint32_t>(length);
    return block;
}

constexpr ArgKind N = ArgNumeric;
constexpr ArgKind S = ArgString;

} // namespace

const SFunctionDef StringFunctionTable[] = {
    {"bin$", 1, {N}, RadixText<Binary>, 0},
    {"chr$", 1, {N}, Chr, 0},
    {"hex$", 1, {N}, RadixText<Hexadecimal>, 0},
    {"lower$", 1, {S}, FoldCase<FoldLower>, 0},
    {"left$", 2, {S, N}, EndCut<false>, 0},
    {"mbchr$", 1, {N}, MbChr, 0},
    {"mid$", 3, {S, N, N}, Mid, 0},
    {"oct$", 1, {N}, RadixText<Octal>, 0},
    {"real$", 3, {N, N, N}, Real, 0},
    {"right$", 2, {S, N}, EndCut<true>, 0},
    {"str$", 1, {N}, Str, 0},
    {"spc$", 1, {N}, Spc, 0},
    {"upper$", 1, {S}, FoldCase<FoldUpper>, 0},
    {nullptr, 0, {}, nullptr, 0},
};

static_assert(sizeof StringFunctionTable / sizeof StringFunctionTable[0] == 13 + 1,
              "13 string built-ins and the terminator row");

} // namespace qx
