// String expressions: literals, constants, parameters, elements and function
// results joined by '+'.
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

using qxtest::TestContext;

constexpr ArgKind Kinds[] = {ArgString, ArgNumeric};

char *QUORBIX_CALL Dup(CallFrame *f)
{
    const size_t n = std::strlen(f->args[0].text);
    char *out = static_cast<char *>(qx_malloc(2 * n + 1));
    if (out == nullptr) {
        f->error = ErrNoMemory;
        return nullptr;
    }
    std::memcpy(out, f->args[0].text, n);
    std::memcpy(out + n, f->args[0].text, n);
    f->resultLength = static_cast<uint32_t>(2 * n);
    return out;
}

// The first n bytes of its text; like a host's own left$.
char *QUORBIX_CALL Head(CallFrame *f)
{
    const size_t n = std::min(std::strlen(f->args[0].text), static_cast<size_t>(f->args[1].number));
    char *out = static_cast<char *>(qx_malloc(n + 1));
    std::memcpy(out, f->args[0].text, n);
    f->resultLength = static_cast<uint32_t>(n);
    return out;
}

char *QUORBIX_CALL Nothing(CallFrame *f)
{
    f->resultLength = 0;
    return nullptr;
}

// Returns a zero byte and "z": the counted length carries it.
char *QUORBIX_CALL ZeroByte(CallFrame *f)
{
    char *out = static_cast<char *>(qx_malloc(2));
    out[0] = '\0';
    out[1] = 'z';
    f->resultLength = 2;
    return out;
}

char *QUORBIX_CALL Refuse(CallFrame *f)
{
    f->error = ErrDomain;
    return nullptr;
}

class StringTest : public ::testing::Test {
protected:
    StringTest()
    {
        t.AddFunction("dup$", 1, Kinds, Dup);
        t.AddFunction("head$", 2, Kinds, Head);
        t.AddFunction("none$", 0, Kinds, Nothing);
        t.AddFunction("zero$", 0, Kinds, ZeroByte);
        t.AddFunction("refuse$", 1, Kinds, Refuse);
        EXPECT_EQ(Quorbix_AllocSParam(&t.ctx, "a$", 0, "abc"), 0);
        EXPECT_EQ(Quorbix_AllocSParam(&t.ctx, "b$", 0, "de"), 0);
        EXPECT_EQ(Quorbix_AllocNParam(&t.ctx, "n", 0, 2), 0);
        EXPECT_EQ(Quorbix_AllocSDim(&t.ctx, 3, 0, 0, "s$"), 0);
        EXPECT_EQ(Quorbix_AllocSDim(&t.ctx, 2, 2, 0, "t$"), 0);
        for (const auto &[i, text] : {std::pair{0u, "x"}, {1u, "y"}, {2u, "z"}})
            EXPECT_EQ(Quorbix_SetParam_SD1(&t.ctx, "s$", i, text), 0);
        EXPECT_EQ(Quorbix_SetParam_SD2(&t.ctx, "t$", 1, 1, "corner"), 0);
    }

    TestContext t;
};

// A refusal leaves no result and no block behind.
TEST_F(StringTest, JoinsTermsAndRefusesWhatDoesNotFit)
{
    const struct { const char *text; int32_t code; const char *value; } cases[] = {
        {"", 0, ""}, {"   ", 0, ""}, {"\"\"+\"\"", 0, ""}, {" \"a\" + a$ +b$ ", 0, "aabcde"}, {"A$+B$", 0, "abcde"},
        {"dq$+tab$+cr$", 0, "\"\t\n"}, {"dup$(a$+b$)", 0, "abcdeabcde"}, {"head$(a$+b$,n+1)+a$", 0, "abcabc"},
        {"h ead$ (a$,2)", 0, "ab"}, {"dup$(a$+)", 0, "abcabc"}, {"dup$()", 0, ""}, {"none$()+a$", 0, "abc"},
        {"s$()", 0, "x"}, {"s$(2.9)+s$(-0.5)", 0, "zx"}, {"t$(1,1)", 0, "corner"}, {"t$(1,)", 0, ""},
        {"\"a+b,(c)\"", 0, "a+b,(c)"}, {"dup$(dup$(\"ab\"))", 0, "abababab"},
        {"\"\x83\"\"", 0, "\x83\""}, // 0x83 is a lead byte: the quote behind it is its trail byte
        {"\"\x83\"", ErrUnterminatedString, ""}, {"\"\xA1\"", 0, "\xA1"}, // half-width: a single byte
        {",", ErrSyntax, ""}, {")", ErrParenMismatch, ""}, {"\"a\" \"b\"", ErrSyntax, ""}, {"1", ErrSyntax, ""},
        {"(a$)", ErrSyntax, ""}, {"a$+", ErrSyntax, ""}, {"a$,b$", ErrSyntax, ""}, {"head$(a$+,1)", ErrSyntax, ""},
        {"pi", ErrSyntax, ""}, {"n", ErrSyntax, ""}, {"tab$(1)", ErrSyntax, ""}, {"dup$", ErrSyntax, ""},
        {"a$(1)", ErrSyntax, ""}, {"nosuch$", ErrSyntax, ""}, {"s$(1,2)", ErrArgument, ""}, {"t$(1)", ErrArgument, ""},
        {"s$(-1)", ErrBadName, ""}, {"s$(3)", ErrBadName, ""}, {"t$(2,0)", ErrBadName, ""},
        {"\"open", ErrUnterminatedString, ""}, {"dup$(a$", ErrArgument, ""}, {"refuse$(a$)", ErrDomain, ""},
        {"a$ + s$(1/0)", ErrDivideByZero, ""}, {"a$)", ErrParenMismatch, ""}, {"a$-b$", ErrSyntax, ""},
    };
    for (const auto &c : cases) {
        const long before = qxtest::LiveBlocks();
        const qxtest::StringOutcome got = t.EvalString(c.text);
        EXPECT_EQ(got.code, c.code) << c.text;
        EXPECT_EQ(got.value, c.value) << c.text;
        EXPECT_EQ(qxtest::LiveBlocks(), before) << c.text;
    }
}

TEST_F(StringTest, CursorShowsWhereTheScanStopped)
{
    struct Stop {
        const char *text;
        int32_t code;
        ptrdiff_t at;
    } stops[] = {
        {"\"a\" b$", ErrSyntax, 4},          // on the byte after the term
        {"nosuch$+a$", ErrSyntax, 7},        // on the delimiter after the name
        {"a$+\"open", ErrUnterminatedString, 4}, // just past the opening quote
        {"s$(5)+a$", ErrBadName, 5},         // just past the index list
        {"abcdefghijklmnopqrstuvwxyzabcdefg$+a$", ErrTokenTooLong, 0}, // a 34-byte name: unmoved
    };
    for (const Stop &s : stops) {
        SCOPED_TRACE(s.text);
        EXPECT_EQ(t.EvalString(s.text).code, s.code);
        EXPECT_EQ(t.ctx.cursor - t.ctx.text, s.at);
    }
}

TEST_F(StringTest, ValueMayHoldZeroBytes)
{
    t.ctx.text = "zero$()+a$";
    ASSERT_EQ(Quorbix_AddStr(&t.ctx), 0);
    EXPECT_EQ(std::memcmp(t.ctx.stringResult, "\0zabc", 6), 0);
    Quorbix_FreeOut(&t.ctx);
    EXPECT_EQ(t.ctx.stringResult, nullptr);
    Quorbix_FreeOut(&t.ctx); // a second release does nothing
}

} // namespace
