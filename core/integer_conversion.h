// The two ways a double becomes a 32-bit integer. Casts from double to an
// integer type truncate toward zero whatever the rounding mode is.
#pragma once

#include <cstdint>

namespace qx {

// Truncate to 64 bits, keep the low 32: negatives wrap, 2^32 + 5 gives 5,
// and anything without a 64-bit value (NaN, infinities, |v| >= 2^63) gives 0.
inline uint32_t ToUnsigned32(double v)
{
    if (v >= -0x1p63 && v < 0x1p63)
        return static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(v)));
    return 0;
}

// Truncate to 32 bits; whatever doesn't fit (NaN included) is INT32_MIN.
inline int32_t ToSigned32(double v)
{
    if (v > -2147483649.0 && v < 2147483648.0)
        return static_cast<int32_t>(v);
    return INT32_MIN;
}

} // namespace qx
