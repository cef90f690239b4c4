// Operator codes as kept in a TermStack, and the mask bit of each class.
#pragma once

#include <cstdint>

namespace qx {

enum OperatorCode : int8_t {
    OpUsed = 0, // slot consumed by an earlier pass; also the guard byte
    OpNot = 1,
    OpPower = 2,
    OpDivide = 3,
    OpRemainder = 4,
    OpMultiply = 5,
    OpAdd = 6,
    OpSubtract = 7,
    OpShiftLeft = 8,
    OpShiftRight = 9,
    OpLess = 10,
    OpGreater = 11,
    OpLessEqual = 12,
    OpGreaterEqual = 13,
    OpEqual = 14,
    OpNotEqual = 15,
    OpBitAnd = 16,
    OpBitXor = 17,
    OpBitOr = 18,
};

constexpr uint32_t MaskNot = 0x0001;
constexpr uint32_t MaskAdditive = 0x0008;
constexpr int32_t AdditiveStep = 8;

} // namespace qx
