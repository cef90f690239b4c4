// Whole numbers in base 2, 8, 10 and 16, marked by their last byte.
#include <string>

#include "eval/evaluation_fixture.h"

namespace qxtest {
namespace {

using RadixLiterals = Evaluation;

constexpr double Saturated = 4294967295.0;

TEST_F(RadixLiterals, SuffixSelectsTheBase)
{
    Check({
        {"101b", 0, 5.0}, {"101B", 0, 5.0}, {"17o", 0, 15.0}, {"17O", 0, 15.0}, {"19d", 0, 19.0},
        {"12h", 0, 18.0}, {"12H", 0, 18.0}, {"0ffh", 0, 255.0}, {"0FFh", 0, 255.0}, {"0aBcDeFh", 0, 11259375.0},
        {"0b", 0, 0.0}, {"9d", 0, 9.0}, {"1 0 h", 0, 16.0}, {"2*0ffh", 0, 510.0},
        {"1e5h", 0, 485.0}, // the suffix wins over the exponent
        {"1b+1", 0, 2.0}, {"1d+5", 0, 6.0},
        {"12b", -1}, {"8o", -1}, {"1.5d", -1}, {"1ed", -1}, {"1.5h", -1}, {"1gh", -1},
    });
}

TEST_F(RadixLiterals, LargestValuesAndSaturation)
{
    Check({
        {"4294967295d", 0, Saturated}, {"37777777777o", 0, Saturated}, {"0ffffffffh", 0, Saturated},
        {std::string(32, '1') + "b", 0, Saturated},
        {"4294967296d", 0, Saturated}, {"40000000000o", 0, Saturated}, {"100000000h", 0, Saturated},
        {"99999999999999999999d", 0, Saturated},
        {"-100000000h", 0, -Saturated}, // a sign is a prefix of the term
        {std::string(31, '0') + "1h", 0, 1.0}, // leading zeros never overflow
        {std::string(33, '1') + "b", -9},
        {"400000000008o", -1}, // a bad digit counts after saturation too
    });
}

} // namespace
} // namespace qxtest
