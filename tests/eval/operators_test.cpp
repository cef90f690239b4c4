// Binary operators, their precedence passes and the order of their failures,
// and the two double-to-integer conversions behind bit operators and indices.
#include <cmath>
#include <cstdint>
#include <limits>

#include "core/integer_conversion.h"
#include "eval/evaluation_fixture.h"

namespace qxtest {
namespace {

using Operators = Evaluation;

TEST_F(Operators, ArithmeticAndPower)
{
    Check({
        {"2+3*4", 0, 14.0}, {"(2+3)*4", 0, 20.0}, {"2*3%4", 0, 2.0}, {"6/2*3", 0, 9.0},
        {"8/2/2", 0, 2.0}, {"2-3-4", 0, -5.0}, {"1-2+3", 0, 2.0},
        {"2^3^2", 0, 64.0}, {"-2^2", 0, 4.0}, {"0-2^2", 0, -4.0}, {"(-8)^3", 0, -512.0},
        {"(-8)^-2", 0, 0.015625}, {"0^1", 0, 0.0}, {"-0^3", 0, -0.0},
        {"0^0", -7}, {"0^-1", -7}, {"0^-0", -7}, {"(-8)^(1/3)", -7}, {"-8^(1/3)", -7},
        {"10^400", -8},
        {"1/0", -2}, {"1%0", -2}, {"0/0", -2}, {"1%-0", -2},
        {"7%3", 0, 1.0}, {"-7%3", 0, -1.0}, {"5%-3", 0, 2.0}, {"7.5%2", 0, 1.5},
        {"-0*1", 0, -0.0}, {"-0-0", 0, -0.0}, {"-0+0", 0, 0.0},
    });
}

TEST_F(Operators, ComparisonsGiveExactlyOneOrZero)
{
    Check({
        {"1<2<3", 0, 1.0}, {"3>2>1", 0, 0.0}, {"0.1+0.2=0.3", 0, 0.0},
        {"1 < = 2", 0, 1.0}, {"1=<2", 0, 1.0}, {"2=>1", 0, 1.0}, {"2<=1", 0, 0.0}, {"2>=2", 0, 1.0},
        {"1<>2", 0, 1.0}, {"1><2", 0, 1.0}, {"1!=2", 0, 1.0}, {"1==1", 0, 1.0}, {"1=1", 0, 1.0},
        {"2==2==2", 0, 0.0}, {"1<-2", 0, 0.0}, {"1<2==1", 0, 1.0}, {"2==2<1", 0, 0.0},
    });
}

TEST_F(Operators, BitOperatorsAndShifts)
{
    Check({
        {"1<<31", 0, 2147483648.0}, {"1<<32", 0, 1.0}, {"1<<33", 0, 2.0}, {"1<<-1", 0, 2147483648.0},
        {"-1>>28", 0, 15.0}, {"1 > > 1", 0, 0.0}, {"-1|0", 0, 4294967295.0}, {"1.5|0", 0, 1.0},
        {"4294967296+5|0", 0, 5.0}, {"-2147483648|0", 0, 2147483648.0}, {"-4294967296|0", 0, 0.0},
        {"1|2&3", 0, 3.0}, {"1~3", 0, 2.0}, {"6&3", 0, 2.0}, {"3~5|8&12", 0, 14.0},
        {"1<<2+1", 0, 8.0}, {"1+2<<1", 0, 6.0}, {"8>>1>2", 0, 1.0}, {"1==1&1", 0, 1.0},
    });
}

TEST_F(Operators, MisreadOperatorPairs)
{
    for (const char *text : {"1&&2", "1||2", "2**3", "1<<<2", "1<=>2", "1===2", "1^^2", "1//2"})
        Check({text, -1});
}

// Scan failures come first, then the passes in precedence order, then left to
// right within a pass.
TEST_F(Operators, FailureOrder)
{
    Check({
        {"1/0+0^0", -7}, {"1/0+", -1}, {"1/0+(1", -2}, {"1/0+(0^0)", -7},
        {"1/0*0^0", -7}, {"10^400+1/0", -8}, {"1/0+1e309", -8}, {"0^0+(1/0)", -2},
    });
}

TEST(IntegerConversion, ToUnsigned32TruncatesTo64BitsAndKeepsTheLow32)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        double in;
        uint32_t out;
    } rows[] = {
        {0.0, 0}, {-0.0, 0}, {-1.0, 0xFFFFFFFFu}, {-1.5, 0xFFFFFFFFu}, {-0.5, 0}, {3.9, 3},
        {0x1p32, 0}, {0x1p32 + 5, 5}, {0x1p32 + 1.5, 1}, {3e9, 3000000000u}, {4294967295.9, 0xFFFFFFFFu},
        {1e300, 0}, {nan, 0}, {inf, 0}, {-inf, 0},
        {-0x1p63, 0},                               // exactly -2^63 has a value: low bits 0
        {0x1p63, 0}, {-0x1p63 - 2048, 0},           // just outside the 64-bit range
        {0x1p63 - 1024, 0xFFFFFC00u},               // the largest double below 2^63
        {-0x1p63 + 1024, 0x00000400u},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.in);
        EXPECT_EQ(qx::ToUnsigned32(row.in), row.out);
    }
}

TEST(IntegerConversion, ToSigned32TruncatesOrGivesTheMinimum)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        double in;
        int32_t out;
    } rows[] = {
        {-1.0, -1}, {-1.5, -1}, {-0.5, 0}, {3.9, 3}, {2147483647.9, INT32_MAX},
        {-2147483648.0, INT32_MIN}, {-2147483648.9, INT32_MIN}, {2147483648.0, INT32_MIN},
        {-2147483649.0, INT32_MIN}, {0x1p32, INT32_MIN}, {0x1p32 + 5, INT32_MIN}, {0x1p32 + 1.5, INT32_MIN},
        {1e300, INT32_MIN}, {nan, INT32_MIN}, {inf, INT32_MIN}, {-inf, INT32_MIN}, {-0x1p63, INT32_MIN},
        {3e9, INT32_MIN},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.in);
        EXPECT_EQ(qx::ToSigned32(row.in), row.out);
    }
}

} // namespace
} // namespace qxtest
