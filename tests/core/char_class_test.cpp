// The byte class table, written out here by runs of equal entries so that it
// is checked against a second, independent statement of every entry, and the
// case folding built on it.
#include <cstdint>

#include <gtest/gtest.h>

#include "core/char_class.h"

namespace {

TEST(CharClass, EveryEntryMatchesTheRunTableAndOnlyAsciiLettersFold)
{
    const struct { int first, last; uint16_t entry; } runs[] = {
        {0x00, 0x00, 0x000D}, {0x01, 0x08, 0}, {0x09, 0x0D, 0x0200}, {0x0E, 0x1F, 0}, {0x20, 0x20, 0x0200},
        {'!', '!', 0x0003}, {'"', '"', 0x0008}, {'#', '$', 0}, {'%', '&', 0x0003}, {'\'', '\'', 0},
        {'(', '(', 0x0001}, {')', ')', 0x0011}, {'*', '*', 0x0003}, {'+', '+', 0x0013}, {',', ',', 0x0005},
        {'-', '-', 0x0003}, {'.', '.', 0}, {'/', '/', 0x0003}, {'0', '9', 0x01C0}, {':', ';', 0},
        {'<', '>', 0x0003}, {'?', '@', 0}, {'A', 'F', 0x0D60}, {'G', 'Z', 0x0C60}, {'[', ']', 0},
        {'^', '^', 0x0003}, {'_', '_', 0x0060}, {'`', '`', 0}, {'a', 'f', 0x1560}, {'g', 'z', 0x1460},
        {'{', '{', 0}, {'|', '|', 0x0003}, {'}', '}', 0}, {'~', '~', 0x0003}, {0x7F, 0x80, 0},
        {0x81, 0x9F, 0x2000}, {0xA0, 0xDF, 0}, {0xE0, 0xEF, 0x2000}, {0xF0, 0xFF, 0},
    };
    int next = 0;
    for (const auto &run : runs) {
        ASSERT_EQ(run.first, next) << "runs must cover 0..255 without gaps";
        for (int c = run.first; c <= run.last; ++c)
            EXPECT_EQ(qx::CharClass[c], run.entry) << "byte 0x" << std::hex << c;
        next = run.last + 1;
    }
    EXPECT_EQ(next, 256);
    for (int c = 0; c < 256; ++c) {
        const char byte = static_cast<char>(c);
        EXPECT_EQ(qx::FoldLower(byte), (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : byte) << c;
        EXPECT_EQ(qx::FoldUpper(byte), (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : byte) << c;
    }
}

} // namespace
