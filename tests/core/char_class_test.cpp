// Case folding touches the ASCII letters and nothing else, and exactly the
// Shift-JIS lead bytes pair with the byte after them.
#include "core/char_class.h"
#include "support/test_context.h"

namespace {

TEST(CharClass, OnlyAsciiLettersFold)
{
    for (int c = 0; c < 256; ++c) {
        const char byte = static_cast<char>(c);
        EXPECT_EQ(qx::FoldLower(byte), (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : byte) << c;
        EXPECT_EQ(qx::FoldUpper(byte), (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : byte) << c;
    }
}

TEST(CharClass, LeadBytesPairWithTheByteAfterThem)
{
    qxtest::TestContext t;
    ASSERT_EQ(Quorbix_AllocSParam(&t.ctx, "s$", 0, ""), 0);
    for (int c = 1; c < 256; ++c) {
        const char pair[] = {static_cast<char>(c), 'x', '\0'};
        ASSERT_EQ(Quorbix_SetParam_SS(&t.ctx, "s$", pair), 0);
        const bool lead = (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xEF);
        EXPECT_EQ(t.Eval("mblen(s$)").value, lead ? 1 : 2) << c;
    }
}

} // namespace
