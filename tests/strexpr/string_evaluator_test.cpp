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
        SetElement("s$", 0, "x");
        SetElement("s$", 1, "y");
        SetElement("s$", 2, "z");
        SetElement("t$", 3, "corner");
    }

    void SetElement(const char *name, uint32_t position, const char *text)
    {
        char **texts = qx::FindSymbol(&t.ctx, name)->array.texts;
        std::free(texts[position]);
        texts[position] = static_cast<char *>(std::malloc(std::strlen(text) + 1));
        std::strcpy(texts[position], text);
    }

    TestContext t;
};

struct Case {
    const char *text;
    int32_t code;
    const char *value;
};

TEST_F(StringTest, JoinsTerms)
{
    const Case cases[] = {
        {"", 0, ""},
        {"   ", 0, ""},
        {"\"\"+\"\"", 0, ""},
        {"\"hi\"", 0, "hi"},
        {" \"a\" + a$ +b$ ", 0, "aabcde"},
        {"A$+B$", 0, "abcde"},
        {"dq$+tab$+cr$", 0, "\"\t\n"},
        {"dup$(a$+b$)", 0, "abcdeabcde"},
        {"head$(a$+b$,n+1)+a$", 0, "abcabc"},
        {"head$ (a$,2)", 0, "ab"},
        {"h ead$(a$,2)", 0, "ab"},
        {"dup$(a$+)", 0, "abcabc"},
        {"dup$()", 0, ""},
        {"none$()+a$", 0, "abc"},
        {"s$()", 0, "x"},
        {"s$(2.9)+s$(-0.5)", 0, "zx"},
        {"t$(1,1)", 0, "corner"},
        {"t$(1,)", 0, ""},
        {"\"a+b,(c)\"", 0, "a+b,(c)"},
        {"dup$(dup$(\"ab\"))", 0, "abababab"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        const qxtest::StringOutcome got = t.EvalString(c.text);
        EXPECT_EQ(got.code, c.code);
        EXPECT_EQ(got.value, c.value);
    }
}

TEST_F(StringTest, RefusesWhatDoesNotFit)
{
    const Case cases[] = {
        {",", ErrSyntax, nullptr},           {")", ErrParenMismatch, nullptr},
        {"\"a\" \"b\"", ErrSyntax, nullptr}, {"1", ErrSyntax, nullptr},
        {"(a$)", ErrSyntax, nullptr},        {"a$+", ErrSyntax, nullptr},
        {"a$,b$", ErrSyntax, nullptr},       {"head$(a$+,1)", ErrSyntax, nullptr},
        {"pi", ErrSyntax, nullptr},          {"n", ErrSyntax, nullptr},
        {"tab$(1)", ErrSyntax, nullptr},     {"dup$", ErrSyntax, nullptr},
        {"a$(1)", ErrSyntax, nullptr},       {"nosuch$", ErrSyntax, nullptr},
        {"s$(1,2)", ErrArgument, nullptr},   {"t$(1)", ErrArgument, nullptr},
        {"s$(-1)", ErrBadName, nullptr},     {"s$(3)", ErrBadName, nullptr},
        {"t$(2,0)", ErrBadName, nullptr},    {"\"open", ErrUnterminatedString, nullptr},
        {"dup$(a$", ErrArgument, nullptr},   {"refuse$(a$)", ErrDomain, nullptr},
        {"a$ + s$(1/0)", ErrDivideByZero, nullptr}, {"a$)", ErrParenMismatch, nullptr},
        {"a$-b$", ErrSyntax, nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        const long before = qxtest::LiveBlocks();
        EXPECT_EQ(t.EvalString(c.text).code, c.code);
        EXPECT_EQ(qxtest::LiveBlocks(), before);
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

TEST_F(StringTest, LeadByteTakesTheQuoteAfterIt)
{
    // 0x83 is a lead byte: the quote behind it is its trail byte.
    EXPECT_EQ(t.EvalString("\"\x83\"\"").value, "\x83\"");
    EXPECT_EQ(t.EvalString("\"\x83\"").code, ErrUnterminatedString);
    EXPECT_EQ(t.EvalString("\"\xA1\"").value, "\xA1"); // half-width: a single byte
}

} // namespace
