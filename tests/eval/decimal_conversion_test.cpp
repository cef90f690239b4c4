// Decimal literals convert to exactly what the "C" locale's strtod gives,
// range errors included, whichever path the conversion takes.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "eval/evaluator.h"

namespace {

// The literal alone as an expression: the evaluator converts most literals
// where they stand and gathers the rest, and both must agree with strtod.
int32_t Evaluate(const std::string &text, double *value)
{
    EvalContext ctx;
    Quorbix_Initialize(&ctx);
    ctx.text = text.c_str();
    const int32_t rc = Quorbix(&ctx);
    *value = ctx.result;
    Quorbix_Terminate(&ctx);
    return rc;
}

void ExpectLikeStrtod(const std::string &text)
{
    double got = 0;
    const int32_t rc = qx::ConvertDecimal(text.data(), text.data() + text.size(), &got);
    double evaluated = 0;
    ASSERT_EQ(Evaluate(text, &evaluated), rc) << text;
    if (rc == 0) {
        ASSERT_EQ(std::memcmp(&got, &evaluated, sizeof got), 0) << text;
    }
    errno = 0;
    char *stop = nullptr;
    const double want = std::strtod(text.c_str(), &stop);
    const int32_t wantCode = *stop != '\0' ? ErrSyntax : errno == ERANGE ? ErrRange : 0;
    ASSERT_EQ(rc, wantCode) << text;
    if (rc == 0) {
        ASSERT_EQ(std::memcmp(&got, &want, sizeof got), 0) << text;
    }
}

TEST(DecimalConversion, AgreesWithStrtod)
{
    for (const char *text : {".5", "5.", "0.001", "1E+5", "1e-22", "1e22", "1e23", "9007199254740993", "0.1",
                             "1234567890123456789", "12345678901234567890", ".e1", ".", "1.2.3", "0e999", "1e",
                             "1e+", "4.9e-324", "1e-310", "1e308", "1e309", "2.2250738585072014e-308"})
        ExpectLikeStrtod(text);
    std::mt19937_64 random(7);
    for (int k = 0; k < 200000; ++k) {
        std::string text;
        const int digits = 1 + static_cast<int>(random() % 20);
        const int point = static_cast<int>(random() % (digits + 2));
        for (int d = 0; d < digits; ++d) {
            if (d == point)
                text += '.';
            text += static_cast<char>('0' + random() % 10);
        }
        static const char *const signs[] = {"", "-", "+"};
        if (random() % 3 == 0)
            text += std::string("e") + signs[random() % 3] + std::to_string(random() % 400);
        ExpectLikeStrtod(text);
    }
}

} // namespace
