// The byte class table, written out here by runs of equal entries so that it
// is checked against a second, independent statement of every entry.
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "core/char_class.h"

namespace {

struct ByteRun {
    int first;
    int last;
    uint16_t entry;
};

constexpr ByteRun Runs[] = {
    {0x00, 0x00, 0x000D}, {0x01, 0x08, 0},      {0x09, 0x0D, 0x0200}, {0x0E, 0x1F, 0},
    {0x20, 0x20, 0x0200}, {'!', '!', 0x0003},   {'"', '"', 0x0008},   {'#', '$', 0},
    {'%', '&', 0x0003},   {'\'', '\'', 0},      {'(', '(', 0x0001},   {')', ')', 0x0011},
    {'*', '*', 0x0003},   {'+', '+', 0x0013},   {',', ',', 0x0005},   {'-', '-', 0x0003},
    {'.', '.', 0},        {'/', '/', 0x0003},   {'0', '9', 0x01C0},   {':', ';', 0},
    {'<', '>', 0x0003},   {'?', '@', 0},        {'A', 'F', 0x0D60},   {'G', 'Z', 0x0C60},
    {'[', ']', 0},        {'^', '^', 0x0003},   {'_', '_', 0x0060},   {'`', '`', 0},
    {'a', 'f', 0x1560},   {'g', 'z', 0x1460},   {'{', '{', 0},        {'|', '|', 0x0003},
    {'}', '}', 0},        {'~', '~', 0x0003},   {0x7F, 0x80, 0},      {0x81, 0x9F, 0x2000},
    {0xA0, 0xDF, 0},      {0xE0, 0xEF, 0x2000}, {0xF0, 0xFF, 0},
};

TEST(CharClass, EveryEntryMatchesTheRunTable)
{
    int next = 0;
    for (const ByteRun &run : Runs) {
        ASSERT_EQ(run.first, next) << "runs must cover 0..255 without gaps";
        for (int c = run.first; c <= run.last; ++c)
            EXPECT_EQ(qx::CharClass[c], run.entry) << "byte 0x" << std::hex << c;
        next = run.last + 1;
    }
    EXPECT_EQ(next, 256);
}

std::string Span(int lo, int hi)
{
    std::string s;
    for (int c = lo; c <= hi; ++c)
        s += static_cast<char>(c);
    return s;
}

// Each class by its members, through the one-bit test every scanner uses.
TEST(CharClass, EachClassBitHasExactlyItsMembers)
{
    const std::string upper = Span('A', 'Z'), lower = Span('a', 'z'), digits = Span('0', '9');
    const struct {
        uint16_t bit;
        std::string members;
    } classes[] = {
        {qx::ClassDelimiter, std::string("\0!%&()*+,-/<=>^|~", 18)},
        {qx::ClassOperator, "!%&*+-/<=>^|~"},
        {qx::ClassTerminator, std::string("\0,", 2)},
        {qx::ClassStringEnd, std::string("\0\"", 2)},
        {qx::ClassStringJoin, ")+"},
        {qx::ClassNameStart, upper + lower + "_"},
        {qx::ClassNameChar, upper + lower + digits + "_"},
        {qx::ClassDigit, digits},
        {qx::ClassHexDigit, digits + "ABCDEFabcdef"},
        {qx::ClassSpace, "\t\n\v\f\r "},
        {qx::ClassLetter, upper + lower},
        {qx::ClassUpper, upper},
        {qx::ClassLower, lower},
        {qx::ClassLeadByte, Span(0x81, 0x9F) + Span(0xE0, 0xEF)},
    };
    for (const auto &cls : classes) {
        SCOPED_TRACE(cls.bit);
        for (int c = 0; c < 256; ++c) {
            const bool member = cls.members.find(static_cast<char>(c)) != std::string::npos;
            EXPECT_EQ(qx::Is(static_cast<char>(c), cls.bit), member) << "byte 0x" << std::hex << c;
        }
    }
}

TEST(CharClass, FoldingChangesOnlyTheAsciiLetters)
{
    for (int c = 0; c < 256; ++c) {
        const char byte = static_cast<char>(c);
        const char lowered = (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : byte;
        const char raised = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : byte;
        EXPECT_EQ(qx::FoldLower(byte), lowered) << "byte 0x" << std::hex << c;
        EXPECT_EQ(qx::FoldUpper(byte), raised) << "byte 0x" << std::hex << c;
    }
}

} // namespace
