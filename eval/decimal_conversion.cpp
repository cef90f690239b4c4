// Decimal text to double without the C locale: the result is the correctly
// rounded double, as the "C" locale's strtod gives it, whatever LC_NUMERIC
// the host has set.
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "core/char_class.h"
#include "eval/evaluator.h"

namespace qx {
namespace {

constexpr double ExactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                       1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int MaxExactPower = 22;
constexpr uint64_t MaxExactSignificand = uint64_t{1} << 53;

// Exponent digits the short form accepts: more would be out of its range.
constexpr int MaxShortExponentDigits = 3;

} // namespace

// The common case, digits with at most 19 significant places and a small
// exponent, needs no general conversion: when the digits form an integer a
// double holds exactly and the power of ten is exact too, one multiplication
// or division rounds correctly by itself.
const char *ReadShortDecimal(const char *p, double *value)
{
    uint64_t significand = 0;
    int digits = 0;
    int exponent = 0;
    bool seenPoint = false;
    bool seenDigit = false;
    for (;; ++p) {
        const unsigned digit = static_cast<unsigned char>(*p) - unsigned{'0'};
        if (digit < 10) {
            // Past 19 significant digits the significand wraps; the count
            // sends such a literal to the general conversion below.
            significand = significand * 10 + digit;
            digits += significand != 0 ? 1 : 0; // leading zeros carry no digit
            exponent -= seenPoint ? 1 : 0;
            seenDigit = true;
        } else if (*p == '.' && !seenPoint) {
            seenPoint = true;
        } else {
            break;
        }
    }
    if (!seenDigit || digits > 19)
        return nullptr;
    if (FoldLower(*p) == 'e') { // e or E, a sign, and one to three digits
        ++p;
        const bool negative = *p == '-';
        p += (*p == '-' || *p == '+') ? 1 : 0;
        const char *first = p;
        int written = 0;
        for (; Is(*p, ClassDigit) && p - first < MaxShortExponentDigits; ++p)
            written = written * 10 + (*p - '0');
        if (p == first || Is(*p, ClassDigit))
            return nullptr;
        exponent += negative ? -written : written;
    }
    if (significand > MaxExactSignificand || exponent < -MaxExactPower || exponent > MaxExactPower)
        return nullptr;
    const double exact = static_cast<double>(significand);
    *value = exponent < 0 ? exact / ExactPowersOfTen[-exponent] : exact * ExactPowersOfTen[exponent];
    return p;
}

int32_t ConvertDecimal(const char *begin, const char *end, double *value)
{
    if (ReadShortDecimal(begin, value) == end)
        return 0;
    const std::from_chars_result r = std::from_chars(begin, end, *value, std::chars_format::general);
    if (r.ec == std::errc::invalid_argument || r.ptr != end)
        return ErrSyntax;
    if (r.ec == std::errc::result_out_of_range)
        return ErrRange;
    // strtod reports a subnormal result as a range error too; so do we.
    if (*value != 0.0 && std::fabs(*value) < DBL_MIN)
        return ErrRange;
    return 0;
}

} // namespace qx
