// The numeric built-in functions. Each is an ordinary NFunctionCallback, so
// an expression reaches them exactly as it reaches a host's function.
#include <cerrno>
#include <cmath>
#include <cstring>
#include <iterator>

#include "builtin/builtin_tables.h"
#include "core/char_class.h"
#include "core/integer_conversion.h"
#include "core/symbol_table.h"
#include "eval/evaluator.h"

namespace qx {
namespace {

double X(const CallFrame *frame) { return frame->args[0].number; }
double Y(const CallFrame *frame) { return frame->args[1].number; }
const char *S(const CallFrame *frame) { return frame->args[0].text; }
const char *T(const CallFrame *frame) { return frame->args[1].text; }

double Fail(CallFrame *frame, int32_t code)
{
    frame->error = code;
    return 0.0;
}

double Sign(int order) { return order < 0 ? -1.0 : order > 0 ? 1.0 : 0.0; }

// ---- Maths under errno -----------------------------------------------------

// errno is the only judge of failure: which arguments the maths library
// rejects is its own business, and a non-finite value that it lets through
// is caught by the end-of-level test. The value goes back either way; the
// caller drops it once error is set.
double ErrnoOutcome(CallFrame *frame, double value)
{
    const int reported = errno;
    if (reported == EDOM)
        frame->error = ErrDomain;
    else if (reported == ERANGE)
        frame->error = ErrRange;
    else if (reported != 0)
        frame->error = ErrSyntax;
    return value;
}

template <double (*Maths)(double)>
double QUORBIX_CALL Unary(CallFrame *frame)
{
    errno = 0;
    return ErrnoOutcome(frame, Maths(X(frame)));
}

template <double (*Maths)(double, double)>
double QUORBIX_CALL Binary(CallFrame *frame)
{
    errno = 0;
    return ErrnoOutcome(frame, Maths(X(frame), Y(frame)));
}

// Logarithms refuse zero and negatives themselves, so log(0) is a domain
// failure on every platform instead of whatever the maths library reports
// for a pole.
template <double (*Maths)(double)>
double QUORBIX_CALL PositiveUnary(CallFrame *frame)
{
    if (!(X(frame) > 0.0))
        return Fail(frame, ErrDomain);
    return Unary<Maths>(frame);
}

// int and frac split x into two parts of its sign, int(x) + frac(x) == x, and
// int truncates toward zero where floor would not.
double IntegerPart(double x)
{
    double whole;
    std::modf(x, &whole);
    return whole;
}

// Not modf's fraction: one C runtime drops the sign of a zero fraction there.
// x - trunc(x) is exact, and the fraction always carries the sign of x.
double FractionPart(double x)
{
    return std::copysign(std::isinf(x) ? 0.0 : x - std::trunc(x), x);
}

// ---- Maths that cannot fail --------------------------------------------------

double QUORBIX_CALL Abs(CallFrame *frame) { return std::fabs(X(frame)); }

double QUORBIX_CALL Floor(CallFrame *frame) { return std::floor(X(frame)); }

double QUORBIX_CALL Sqrt(CallFrame *frame)
{
    // -0.0 is not below 0 and passes, giving -0.0.
    if (X(frame) < 0.0)
        return Fail(frame, ErrDomain);
    return std::sqrt(X(frame));
}

double QUORBIX_CALL Not(CallFrame *frame) { return static_cast<double>(~ToUnsigned32(X(frame))); }

// ---- Common measure and multiple --------------------------------------------

// Fractions are let through on purpose: 0.5 passes and truncates to 0.
bool IsMeasurable(double v) { return v > 0.0 && v <= 4294967295.0; }

bool ReadMeasureArgs(CallFrame *frame, uint32_t *a, uint32_t *b)
{
    if (!IsMeasurable(X(frame)) || !IsMeasurable(Y(frame))) {
        frame->error = ErrDomain;
        return false;
    }
    *a = ToUnsigned32(X(frame));
    *b = ToUnsigned32(Y(frame));
    return true;
}

// Euclid never divides by 0: a zero b ends the loop, and a zero a swaps in
// on the first step.
uint32_t Euclid(uint32_t a, uint32_t b)
{
    while (b != 0) {
        const uint32_t rest = a % b;
        a = b;
        b = rest;
    }
    return a;
}

double QUORBIX_CALL Gcm(CallFrame *frame)
{
    uint32_t a, b;
    if (!ReadMeasureArgs(frame, &a, &b))
        return 0.0;
    return static_cast<double>(Euclid(a, b));
}

// In doubles so that the product does not wrap at 32 bits. Two arguments
// truncated to 0 make 0/0: the NaN goes back with no error, and the
// end-of-level test turns it into a range failure.
double QUORBIX_CALL Lcm(CallFrame *frame)
{
    uint32_t a, b;
    if (!ReadMeasureArgs(frame, &a, &b))
        return 0.0;
    const double product = static_cast<double>(a) * static_cast<double>(b);
    return product / static_cast<double>(Euclid(a, b));
}

// ---- Bytes and double-byte characters ----------------------------------------

double QUORBIX_CALL Asc(CallFrame *frame) { return static_cast<unsigned char>(S(frame)[0]); }

double QUORBIX_CALL Len(CallFrame *frame) { return static_cast<double>(std::strlen(S(frame))); }

// A lead byte takes the byte after it whatever that is, except the end of
// the text: a lead byte standing last counts as one character.
double QUORBIX_CALL MbLen(CallFrame *frame)
{
    double count = 0.0;
    for (const char *p = S(frame); *p != '\0'; ++count)
        p += (Is(*p, ClassLeadByte) && p[1] != '\0') ? 2 : 1;
    return count;
}

double QUORBIX_CALL MbCode(CallFrame *frame)
{
    const char *s = S(frame);
    const auto b0 = static_cast<unsigned char>(s[0]);
    if (Is(s[0], ClassLeadByte) && s[1] != '\0')
        return b0 * 256.0 + static_cast<unsigned char>(s[1]);
    return b0;
}

// One character of an mbcmp walk. A lead byte with nothing behind it reads
// as the end of the text, so it compares equal to an empty text.
uint32_t NextCode(const char **cursor)
{
    const char *p = *cursor;
    const uint32_t b0 = static_cast<unsigned char>(p[0]);
    if (!Is(p[0], ClassLeadByte)) {
        *cursor = p + 1;
        return b0;
    }
    if (p[1] == '\0')
        return 0;
    *cursor = p + 2;
    return b0 * 256 + static_cast<unsigned char>(p[1]);
}

double QUORBIX_CALL MbCmp(CallFrame *frame)
{
    const char *s = S(frame);
    const char *t = T(frame);
    for (;;) {
        const uint32_t a = NextCode(&s);
        const uint32_t b = NextCode(&t);
        if (a != b)
            return a > b ? 1.0 : -1.0;
        if (a == 0)
            return 0.0;
    }
}

double QUORBIX_CALL StrCmp(CallFrame *frame)
{
    const auto *s = reinterpret_cast<const unsigned char *>(S(frame));
    const auto *t = reinterpret_cast<const unsigned char *>(T(frame));
    while (*s != 0 && *s == *t) {
        ++s;
        ++t;
    }
    return Sign(*s - *t);
}

// The comparison of the symbol search, signed bytes and all: bytes from 0x80
// up sort below ASCII here, the opposite of strcmp.
double QUORBIX_CALL StrCmpI(CallFrame *frame) { return Sign(CompareFolded(S(frame), T(frame))); }

// ---- val ---------------------------------------------------------------------

// Evaluates on a record of its own that shares the caller's symbols and
// registers, so the caller's cursor, depth and result survive. Every inner
// failure becomes one domain failure: the caller learns only that the text
// is no number.
//
// The inner text carries on the caller's nesting count: the call's own '('
// counts as still open while the text runs, and the text is a level of its
// own. So a parameter whose text calls val on itself runs into the nesting
// limit instead of exhausting the stack.
double QUORBIX_CALL Val(CallFrame *frame)
{
    EvalContext inner{};
    inner.text = S(frame);
    inner.cursor = inner.text;
    inner.parenDepth = frame->context->parenDepth + 1;
    inner.symbols = frame->context->symbols;
    inner.registers = frame->context->registers;
    if (OpenLevel(&inner) != 0)
        return Fail(frame, ErrDomain);
    const int32_t depth = inner.parenDepth;
    if (EvaluateLevel(&inner) != 0 || inner.parenDepth != depth || *inner.cursor != '\0')
        return Fail(frame, ErrDomain);
    return inner.result;
}

constexpr ArgKind N = ArgNumeric;
constexpr ArgKind Str = ArgString;

} // namespace

const NFunctionDef NumericFunctionTable[] = {
    {"asin", 1, {N}, Unary<std::asin>, 0},
    {"acos", 1, {N}, Unary<std::acos>, 0},
    {"atan", 1, {N}, Unary<std::atan>, 0},
    {"abs", 1, {N}, Abs, 0},
    {"asc", 1, {Str}, Asc, 0},
    {"atan2", 2, {N, N}, Binary<std::atan2>, 0},
    {"ceil", 1, {N}, Unary<std::ceil>, 0},
    {"cos", 1, {N}, Unary<std::cos>, 0},
    {"cosh", 1, {N}, Unary<std::cosh>, 0},
    {"exp", 1, {N}, Unary<std::exp>, 0},
    {"floor", 1, {N}, Floor, 0},
    {"frac", 1, {N}, Unary<FractionPart>, 0},
    {"gcm", 2, {N, N}, Gcm, 0},
    {"hypot", 2, {N, N}, Binary<std::hypot>, 0},
    {"int", 1, {N}, Unary<IntegerPart>, 0},
    {"lcm", 2, {N, N}, Lcm, 0},
    {"log", 1, {N}, PositiveUnary<std::log10>, 0},
    {"ln", 1, {N}, PositiveUnary<std::log>, 0},
    {"len", 1, {Str}, Len, 0},
    {"mblen", 1, {Str}, MbLen, 0},
    {"mbcode", 1, {Str}, MbCode, 0},
    {"mbcmp", 2, {Str, Str}, MbCmp, 0},
    {"not", 1, {N}, Not, 0},
    {"sqrt", 1, {N}, Sqrt, 0},
    {"sin", 1, {N}, Unary<std::sin>, 0},
    {"sinh", 1, {N}, Unary<std::sinh>, 0},
    {"strcmp", 2, {Str, Str}, StrCmp, 0},
    {"strcmpi", 2, {Str, Str}, StrCmpI, 0},
    {"tan", 1, {N}, Unary<std::tan>, 0},
    {"tanh", 1, {N}, Unary<std::tanh>, 0},
    {"val", 1, {Str}, Val, 0},
    {nullptr, 0, {}, nullptr, 0},
};

static_assert(std::size(NumericFunctionTable) == 31 + 1, "31 functions and the end row");

} // namespace qx
