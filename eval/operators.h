// Operator codes as kept in a TermStack, and the mask bit of each class.
#pragma once

#include <array>
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

// The mask bit of each OperatorCode, by code: operators of one class share
// a bit, and bit 2 << k stands for the k-th precedence pass.
inline constexpr uint32_t MaskOfCode[] = {0,      0x0001, 0x0002, 0x0004, 0x0004, 0x0004, 0x0008,
                                          0x0008, 0x0010, 0x0010, 0x0020, 0x0020, 0x0020, 0x0020,
                                          0x0040, 0x0040, 0x0080, 0x0100, 0x0200};
static_assert(sizeof MaskOfCode / sizeof MaskOfCode[0] == OpBitOr + 1, "a mask for every code");

constexpr uint32_t MaskOf(int8_t code) { return MaskOfCode[code]; }

// The operators that are one byte whatever follows them, by byte; 0 for
// every other byte. The others ('!', '<', '=', '>') may take a second byte.
constexpr std::array<int8_t, 256> BuildSingleByteOperators()
{
    std::array<int8_t, 256> table{};
    table['^'] = OpPower;
    table['/'] = OpDivide;
    table['%'] = OpRemainder;
    table['*'] = OpMultiply;
    table['+'] = OpAdd;
    table['-'] = OpSubtract;
    table['&'] = OpBitAnd;
    table['~'] = OpBitXor;
    table['|'] = OpBitOr;
    return table;
}

inline constexpr std::array<int8_t, 256> SingleByteOperator = BuildSingleByteOperators();

constexpr uint32_t MaskNot = 0x0001;
constexpr uint32_t MaskAdditive = 0x0008;
constexpr int32_t AdditiveStep = 8;

} // namespace qx
