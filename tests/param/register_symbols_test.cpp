// Registering a host's functions and constants.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <cstring>
#include <string>
#include <vector>

#include "support/alloc_hooks.h"
#include "support/table_check.h"
#include "support/test_context.h"

namespace {

using qxtest::TestContext;

double QUORBIX_CALL Scale(CallFrame *frame) { return frame->args[0].number * static_cast<double>(frame->userWord); }

char *QUORBIX_CALL Bracket(CallFrame *frame)
{
    const size_t length = std::strlen(frame->args[0].text);
    char *out = static_cast<char *>(qx_malloc(length + 2));
    out[0] = '<';
    std::memcpy(out + 1, frame->args[0].text, length);
    out[length + 1] = '>';
    frame->resultLength = static_cast<uint32_t>(length + 2);
    return out;
}

class RegisterSymbolsTest : public ::testing::Test {
protected:
    // 'n' and 's' register functions, 'N' and 'S' constants.
    int32_t Add(char kind, const char *name, int32_t argCount = 1, NFunctionCallback numeric = Scale,
                SFunctionCallback string = Bracket)
    {
        NFunctionDef nf{name, argCount, {}, numeric, 3};
        SFunctionDef sf{name, argCount, {}, string, 0};
        std::fill(std::begin(nf.argKinds), std::end(nf.argKinds), ArgNumeric);
        std::fill(std::begin(sf.argKinds), std::end(sf.argKinds), ArgString);
        const NConstantDef nc{name, 42.0};
        const SConstantDef sc{name, "t"};
        return kind == 'n'   ? Quorbix_CreateNFunction(c, &nf)
               : kind == 's' ? Quorbix_CreateSFunction(c, &sf)
               : kind == 'N' ? Quorbix_CreateNConstant(c, &nc)
                             : Quorbix_CreateSConstant(c, &sc);
    }
    std::vector<unsigned char> Snapshot(const char *name) { return qxtest::BucketBytes(c, name); }

    TestContext t;
    EvalContext *c = &t.ctx;
};

// The name's form is judged first, then whether it is taken, and only then
// the argument count. A refusal changes nothing in the name's bucket.
TEST_F(RegisterSymbolsTest, RefusesInOrderNameFormThenExistenceThenArgCount)
{
    ASSERT_EQ(Quorbix_AllocNParam(c, "x", 0, 1.0), 0);
    const std::string w34(34, 'w'), w33$ = w34.substr(1) + "$";
    const struct { char kind; const char *name; int32_t argCount, code; } rows[] = {
        {'n', "fresh", 17, ErrArgument}, {'s', "fresh$", -1, ErrArgument}, {'n', "sin", 17, ErrSyntax},
        {'n', "9f", 17, ErrSyntax}, {'n', "SIN", 1, ErrSyntax}, {'s', "up", 1, ErrSyntax}, {'n', "up$", 1, ErrSyntax},
        {'N', "k$", 1, ErrSyntax}, {'S', "k", 1, ErrSyntax}, {'S', "k$k", 1, ErrSyntax}, {'N', "X", 1, ErrSyntax},
        {'S', "CR$", 1, ErrSyntax}, {'N', w34.c_str(), 1, ErrSyntax}, {'S', w33$.c_str(), 1, ErrSyntax},
    };
    for (const auto &row : rows) {
        const auto before = Snapshot(row.name);
        EXPECT_EQ(Add(row.kind, row.name, row.argCount), row.code) << row.name;
        EXPECT_EQ(Snapshot(row.name), before) << row.name;
    }
}

// The whole definition is stored with the read-only bit, the name as spelled;
// the caller's record and name are its own again afterwards.
TEST_F(RegisterSymbolsTest, StoresTheWholeDefinitionAndWorksInExpressions)
{
    char name[] = "Sixteen";
    NFunctionDef def{name, 16, {}, Scale, 3};
    for (int k = 0; k < 16; ++k)
        def.argKinds[k] = 100 + static_cast<ArgKind>(k); // copied whatever they say
    ASSERT_EQ(Quorbix_CreateNFunction(c, &def), 0);
    const qx::SymbolEntry *entry = qx::FindSymbol(c, "sixteen");
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->name, "Sixteen");
    EXPECT_TRUE(entry->kind == NFunction && entry->attribute == 1u && entry->function.argCount == 16);
    EXPECT_EQ(std::memcmp(entry->function.argKinds, def.argKinds, sizeof def.argKinds), 0);
    std::strcpy(name, "other");
    def.argCount = 1;
    for (const auto &[kind, symbol] : {std::pair{'n', "Scale"}, {'s', "wrap$"}, {'N', "Answer"}, {'S', "X$"}})
        ASSERT_EQ(Add(kind, symbol), 0) << symbol;
    ASSERT_EQ(Add('N', std::string(33, 'w').c_str()), 0);
    EXPECT_EQ(t.Eval("scale(2)+SCALE(answer)").value, 6.0 + 126.0);
    EXPECT_EQ(t.Eval("other(2)").code, ErrSyntax);
    EXPECT_EQ(t.Eval("scale(1,2)").code, ErrArgument);
    EXPECT_EQ(t.EvalString("WRAP$(\"ab\")+wrap$(\"\")+x$").value, "<ab><>t");
    // A null callback is let in; calling it is what fails.
    ASSERT_EQ(Add('n', "hollow", 1, nullptr), 0);
    ASSERT_EQ(Add('s', "hollow$", 1, Scale, nullptr), 0);
    EXPECT_EQ(t.Eval("hollow(1)").code, ErrSyntax);
    EXPECT_EQ(t.EvalString("hollow$(\"a\")").code, ErrSyntax);
}

// The constant keeps the host's pointer and the length measured at
// registration: new bytes show, a zero byte inside does not shorten it.
TEST_F(RegisterSymbolsTest, StringConstantReadsTheHostsBytes)
{
    char text[] = "hello";
    const SConstantDef def{"Greet$", text};
    ASSERT_EQ(Quorbix_CreateSConstant(c, &def), 0);
    std::memcpy(text, "HOWDY", 5);
    EXPECT_EQ(t.EvalString("GREET$+\"!\"").value, "HOWDY!");
    text[2] = '\0';
    c->text = "greet$+\"!\"";
    ASSERT_EQ(Quorbix_AddStr(c), 0);
    EXPECT_EQ(std::memcmp(c->stringResult, "HO\0DY!", 7), 0);
    Quorbix_FreeOut(c);
}

} // namespace
