// Decimal text to double without the C locale: std::from_chars is correctly
// rounded and ignores LC_NUMERIC, so "1.5" means 1.5 in every host.
#include <cfloat>
#include <charconv>
#include <cmath>

#include "eval/evaluator.h"

namespace qx {

int32_t ConvertDecimal(const char *begin, const char *end, double *value)
{
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
