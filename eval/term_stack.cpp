#include "eval/evaluator.h"
#include "eval/operators.h"

namespace qx {

// Signs and '!' never stay in the operator array: they are folded into the
// term as it arrives. Which operator bytes are prefixes is decided by
// position alone, by comparing the operator count with the term count.
int32_t PushPrefixedTerm(TermStack *stack, double value)
{
    const int32_t n = stack->termCount;
    int32_t k = stack->operatorCount - 1;
    if (n >= MaxTerms)
        return ErrStackFull;
    if (stack->operators[k] == OpNot) {
        value = (value == 0.0) ? 1.0 : 0.0;
        --k;
    }
    if (k == n) {
        if (stack->operators[k] == OpAdd) {
            stack->additiveWeight -= AdditiveStep;
            --k;
        } else if (stack->operators[k] == OpSubtract) {
            value = -value;
            stack->additiveWeight -= AdditiveStep;
            --k;
        }
    }
    ++k;
    if (k != n)
        return ErrSyntax;
    stack->operatorCount = k;
    stack->terms[n] = value;
    stack->termCount = n + 1;
    return 0;
}

} // namespace qx
