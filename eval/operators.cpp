// Reading operators into a TermStack, and the nine precedence passes that
// apply them. Precedence is nothing but the order of the passes.
#include <array>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "core/char_class.h"
#include "core/integer_conversion.h"
#include "eval/evaluator.h"
#include "eval/operators.h"

namespace qx {
namespace {

// ---- Reading -------------------------------------------------------------

// An operator that may take a second byte selects a list by its first byte:
// the operator alone first, then the two-byte forms in the order they are
// tried.
struct OperatorRecord {
    char follow;
    int8_t code;
};

struct OperatorList {
    const OperatorRecord *records;
    int count;
};

constexpr OperatorRecord NotForms[] = {{0, OpNot}, {'=', OpNotEqual}};
constexpr OperatorRecord LessForms[] = {{0, OpLess}, {'<', OpShiftLeft}, {'=', OpLessEqual}, {'>', OpNotEqual}};
constexpr OperatorRecord EqualForms[] = {{0, OpEqual}, {'>', OpGreaterEqual}, {'<', OpLessEqual}, {'=', OpEqual}};
constexpr OperatorRecord GreaterForms[] = {{0, OpGreater}, {'>', OpShiftRight}, {'=', OpGreaterEqual}, {'<', OpNotEqual}};

template <size_t N>
constexpr OperatorList ListOf(const OperatorRecord (&records)[N])
{
    return {records, static_cast<int>(N)};
}

constexpr std::array<OperatorList, 256> BuildOperatorTable()
{
    std::array<OperatorList, 256> table{};
    table['!'] = ListOf(NotForms);
    table['<'] = ListOf(LessForms);
    table['='] = ListOf(EqualForms);
    table['>'] = ListOf(GreaterForms);
    return table;
}

constexpr std::array<OperatorList, 256> OperatorTable = BuildOperatorTable();

// ---- Applying --------------------------------------------------------------

double Truth(bool b) { return b ? 1.0 : 0.0; }

int32_t ApplyPower(int8_t, double &x, double y)
{
    if (x == 0.0 && y <= 0.0)
        return ErrDomain;
    double whole;
    if (x < 0.0 && std::modf(y, &whole) != 0.0) // a NaN exponent counts as fractional
        return ErrDomain;
    errno = 0;
    x = std::pow(x, y);
    return errno == ERANGE ? ErrRange : 0;
}

int32_t ApplyMultiplicative(int8_t code, double &x, double y)
{
    if (code == OpMultiply) {
        x *= y;
        return 0;
    }
    if (y == 0.0)
        return ErrDivideByZero;
    x = (code == OpDivide) ? x / y : std::fmod(x, y);
    return 0;
}

int32_t ApplyAdditive(int8_t code, double &x, double y)
{
    x = (code == OpAdd) ? x + y : x - y;
    return 0;
}

int32_t ApplyShift(int8_t code, double &x, double y)
{
    const uint32_t value = ToUnsigned32(x);
    const uint32_t count = ToUnsigned32(y) & 31u;
    x = (code == OpShiftLeft) ? value << count : value >> count;
    return 0;
}

int32_t ApplyOrdering(int8_t code, double &x, double y)
{
    switch (code) {
    case OpLess: x = Truth(x < y); break;
    case OpGreater: x = Truth(x > y); break;
    case OpLessEqual: x = Truth(x <= y); break;
    default: x = Truth(x >= y); break;
    }
    return 0;
}

int32_t ApplyEquality(int8_t code, double &x, double y)
{
    x = (code == OpEqual) ? Truth(x == y) : Truth(x != y);
    return 0;
}

int32_t ApplyBitAnd(int8_t, double &x, double y)
{
    x = ToUnsigned32(x) & ToUnsigned32(y);
    return 0;
}

int32_t ApplyBitXor(int8_t, double &x, double y)
{
    x = ToUnsigned32(x) ^ ToUnsigned32(y);
    return 0;
}

int32_t ApplyBitOr(int8_t, double &x, double y)
{
    x = ToUnsigned32(x) | ToUnsigned32(y);
    return 0;
}

using Apply = int32_t (*)(int8_t code, double &x, double y);

// Walks the slots left to right. A reduced term drops out of the chain: L,
// the term collecting results, moves only past an operator of another class,
// so every operator is left-associative within its class. One instance per
// pass, so each walk calls its operation directly.
template <int8_t FirstCode, int8_t LastCode, Apply Operation>
int32_t RunPass(TermStack *stack)
{
    // Locals, because a store through an int8_t slot may alias anything and
    // would make the compiler reload every field on each step.
    int8_t *slots = stack->operators;
    double *terms = stack->terms;
    const int32_t count = stack->operatorCount;
    int32_t left = 0;
    for (int32_t i = 0; i < count; ++i) {
        const int8_t code = slots[i];
        if (code >= FirstCode && code <= LastCode) {
            if (int32_t rc = Operation(code, terms[left], terms[i + 1]))
                return rc;
            slots[i] = OpUsed;
        } else if (code != OpUsed) {
            left = i + 1;
        }
    }
    return 0;
}

// A level whose operators are all of one class, most levels in practice,
// is that class's pass over slots that all match: a plain fold from the
// left, with no slot to mark and no chain to follow.
template <Apply Operation>
int32_t FoldLevel(TermStack *stack)
{
    const int8_t *slots = stack->operators;
    const double *terms = stack->terms;
    const int32_t count = stack->operatorCount;
    double x = terms[0];
    for (int32_t i = 0; i < count; ++i)
        if (int32_t rc = Operation(slots[i], x, terms[i + 1]))
            return rc;
    stack->terms[0] = x;
    return 0;
}

struct OperatorPass {
    uint32_t maskBit;
    int8_t firstCode;
    int8_t lastCode;
    int32_t (*run)(TermStack *stack);
    int32_t (*fold)(TermStack *stack); // when the level holds this class alone
};

template <int8_t FirstCode, int8_t LastCode, Apply Operation>
constexpr OperatorPass Pass(uint32_t maskBit)
{
    return {maskBit, FirstCode, LastCode, RunPass<FirstCode, LastCode, Operation>, FoldLevel<Operation>};
}

// Tightest first. Pass k runs when mask bit (2 << k) was seen in the level.
constexpr OperatorPass Passes[] = {
    Pass<OpPower, OpPower, ApplyPower>(0x0002),
    Pass<OpDivide, OpMultiply, ApplyMultiplicative>(0x0004),
    Pass<OpAdd, OpSubtract, ApplyAdditive>(0x0008),
    Pass<OpShiftLeft, OpShiftRight, ApplyShift>(0x0010),
    Pass<OpLess, OpGreaterEqual, ApplyOrdering>(0x0020),
    Pass<OpEqual, OpNotEqual, ApplyEquality>(0x0040),
    Pass<OpBitAnd, OpBitAnd, ApplyBitAnd>(0x0080),
    Pass<OpBitXor, OpBitXor, ApplyBitXor>(0x0100),
    Pass<OpBitOr, OpBitOr, ApplyBitOr>(0x0200),
};

constexpr bool PassesMatchMasks()
{
    for (int k = 0; k < 9; ++k)
        for (int8_t code = Passes[k].firstCode; code <= Passes[k].lastCode; ++code)
            if (Passes[k].maskBit != (2u << k) || MaskOf(code) != Passes[k].maskBit)
                return false;
    return true;
}
static_assert(PassesMatchMasks(), "pass k must serve exactly the codes of mask bit 2 << k");

} // namespace

// Greedy, two bytes at most, with white space allowed between them.
int32_t DoubleOperatorToken(EvalContext *ctx, TermStack *stack)
{
    const OperatorList &list = OperatorTable[static_cast<unsigned char>(*ctx->cursor)];
    const char *next = SkipSpace(ctx->cursor + 1);
    int8_t code = list.records[0].code;
    if (Is(*next, ClassOperator)) {
        for (int k = 1; k < list.count; ++k) {
            if (list.records[k].follow == *next) {
                code = list.records[k].code;
                ++next;
                break;
            }
        }
    }
    if (int32_t rc = AppendOperator(stack, code))
        return rc;
    ctx->cursor = next;
    return 0;
}

int32_t RunOperatorPasses(TermStack *stack)
{
    if ((stack->classMask & MaskNot) && std::memchr(stack->operators, OpNot, stack->operatorCount))
        return ErrSyntax; // a '!' stood where a binary operator belongs
    uint32_t mask = stack->classMask;
    if (stack->additiveWeight == 0)
        mask &= ~MaskAdditive; // every '+' and '-' was a sign
    uint32_t pending = mask >> 1;
    if ((pending & (pending - 1)) == 0) // one class (none: the signs alone)
        return pending != 0 ? Passes[std::countr_zero(pending)].fold(stack) : 0;
    // Only the passes whose classes the level holds, tightest first.
    for (; pending != 0; pending &= pending - 1)
        if (int32_t rc = Passes[std::countr_zero(pending)].run(stack))
            return rc;
    return 0;
}

} // namespace qx
