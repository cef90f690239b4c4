#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "core/symbol_table.h"
#include "quorbix.h"
#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

using qxtest::TestContext;

double QUORBIX_CALL Scale(CallFrame *frame)
{
    return frame->args[0].number * static_cast<double>(frame->userWord);
}

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

NFunctionDef NumericDef(const char *name, int32_t argCount, NFunctionCallback callback = Scale)
{
    NFunctionDef def{name, argCount, {}, callback, 3};
    for (ArgKind &kind : def.argKinds)
        kind = ArgNumeric;
    return def;
}

SFunctionDef StringDef(const char *name, int32_t argCount, SFunctionCallback callback = Bracket)
{
    SFunctionDef def{name, argCount, {}, callback, 0};
    for (ArgKind &kind : def.argKinds)
        kind = ArgString;
    return def;
}

class RegisterSymbolsTest : public ::testing::Test {
public: // the refusal rows call the helpers from lambdas
    int32_t AddN(const char *name, int32_t argCount)
    {
        const NFunctionDef def = NumericDef(name, argCount);
        return Quorbix_CreateNFunction(c, &def);
    }
    int32_t AddS(const char *name, int32_t argCount)
    {
        const SFunctionDef def = StringDef(name, argCount);
        return Quorbix_CreateSFunction(c, &def);
    }
    int32_t AddNConstant(const char *name, double value)
    {
        const NConstantDef def{name, value};
        return Quorbix_CreateNConstant(c, &def);
    }
    int32_t AddSConstant(const char *name, const char *text)
    {
        const SConstantDef def{name, text};
        return Quorbix_CreateSConstant(c, &def);
    }

    std::vector<unsigned char> Snapshot(const char *name)
    {
        const SymbolBucket &bucket = *qx::BucketOf(c, name);
        const auto *bytes = reinterpret_cast<const unsigned char *>(bucket.entries);
        return {bytes, bytes + bucket.count * sizeof(qx::SymbolEntry)};
    }

    TestContext t;
    EvalContext *c = &t.ctx;
};

struct RefusalRow {
    const char *label;
    std::function<int32_t(RegisterSymbolsTest *)> call;
    int32_t code;
    const char *bucketOf;
};

// The name's form is judged first, then whether it is taken, and only then
// the argument count. A refusal changes nothing in the name's bucket.
TEST_F(RegisterSymbolsTest, RefusesInOrderNameFormThenExistenceThenArgCount)
{
    ASSERT_EQ(Quorbix_AllocNParam(c, "x", 0, 1.0), 0);
    const std::string letters34(34, 'w');
    const RefusalRow rows[] = {
        {"argCount 17", [](RegisterSymbolsTest *s) { return s->AddN("fresh", 17); }, ErrArgument, "f"},
        {"argCount -1", [](RegisterSymbolsTest *s) { return s->AddS("fresh$", -1); }, ErrArgument, "f"},
        {"argCount 17, name taken", [](RegisterSymbolsTest *s) { return s->AddN("sin", 17); }, ErrSyntax, "s"},
        {"argCount 17, bad name", [](RegisterSymbolsTest *s) { return s->AddN("9f", 17); }, ErrSyntax, "9"},
        {"built-in in capitals", [](RegisterSymbolsTest *s) { return s->AddN("SIN", 1); }, ErrSyntax, "s"},
        {"string function without $", [](RegisterSymbolsTest *s) { return s->AddS("up", 1); }, ErrSyntax, "u"},
        {"numeric function with $", [](RegisterSymbolsTest *s) { return s->AddN("up$", 1); }, ErrSyntax, "u"},
        {"numeric constant with $", [](RegisterSymbolsTest *s) { return s->AddNConstant("k$", 1); }, ErrSyntax, "k"},
        {"string constant without $", [](RegisterSymbolsTest *s) { return s->AddSConstant("k", "t"); }, ErrSyntax,
         "k"},
        {"byte behind $", [](RegisterSymbolsTest *s) { return s->AddSConstant("k$k", "t"); }, ErrSyntax, "k"},
        {"empty name", [](RegisterSymbolsTest *s) { return s->AddNConstant("", 1); }, ErrSyntax, ""},
        {"parameter, other case", [](RegisterSymbolsTest *s) { return s->AddNConstant("X", 1); }, ErrSyntax, "x"},
        {"string constant taken", [](RegisterSymbolsTest *s) { return s->AddSConstant("CR$", "t"); }, ErrSyntax,
         "c"},
        {"34-byte name", [&](RegisterSymbolsTest *s) { return s->AddNConstant(letters34.c_str(), 1); }, ErrSyntax,
         "w"},
        {"34 bytes with $",
         [&](RegisterSymbolsTest *s) { return s->AddSConstant((letters34.substr(1) + "$").c_str(), "t"); },
         ErrSyntax, "w"},
    };
    for (const RefusalRow &row : rows) {
        SCOPED_TRACE(row.label);
        const auto before = Snapshot(row.bucketOf);
        EXPECT_EQ(row.call(this), row.code);
        EXPECT_EQ(Snapshot(row.bucketOf), before);
    }
    EXPECT_EQ(qx::FindSymbol(c, "fresh"), nullptr);
    EXPECT_EQ(qx::FindSymbol(c, "x")->kind, NS);
}

TEST_F(RegisterSymbolsTest, StoresKindAttributeAndTheWholeDefinition)
{
    NFunctionDef def = NumericDef("Sixteen", 16);
    for (int k = 0; k < 16; ++k)
        def.argKinds[k] = 100 + static_cast<ArgKind>(k); // copied whatever they say
    def.userWord = 0xC0FFEE;
    ASSERT_EQ(Quorbix_CreateNFunction(c, &def), 0);
    ASSERT_EQ(AddS("none$", 0), 0);
    ASSERT_EQ(Quorbix_AllocNParam(c, "x", 0, 1.0), 0);
    ASSERT_EQ(AddSConstant("X$", "t"), 0); // beside the parameter x
    const std::string letters33(33, 'w');
    ASSERT_EQ(AddNConstant(letters33.c_str(), 1.0), 0);

    const qx::SymbolEntry *entry = qx::FindSymbol(c, "sixteen");
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->name, "Sixteen");
    EXPECT_EQ(entry->kind, NFunction);
    EXPECT_EQ(entry->attribute, 1u);
    EXPECT_EQ(entry->function.argCount, 16);
    EXPECT_EQ(std::memcmp(entry->function.argKinds, def.argKinds, sizeof def.argKinds), 0);
    EXPECT_EQ(entry->function.userWord, 0xC0FFEEu);
    EXPECT_EQ(entry->function.callback.numeric, Scale);
    EXPECT_EQ(qx::FindSymbol(c, "none$")->kind, SFunction);
    EXPECT_EQ(qx::FindSymbol(c, "x$")->kind, SConstant);
    EXPECT_EQ(qx::FindSymbol(c, "x")->kind, NS);
    EXPECT_EQ(qx::FindSymbol(c, letters33.c_str())->kind, NConstant);
}

TEST_F(RegisterSymbolsTest, RegisteredSymbolsWorkInExpressions)
{
    char name[] = "Scale";
    NFunctionDef def = NumericDef(name, 1);
    ASSERT_EQ(Quorbix_CreateNFunction(c, &def), 0);
    std::strcpy(name, "other"); // the record is the caller's again
    def.argCount = 99;
    ASSERT_EQ(AddS("wrap$", 1), 0);
    ASSERT_EQ(AddNConstant("Answer", 42.0), 0);

    EXPECT_EQ(t.Eval("scale(2)+SCALE(answer)").value, 6.0 + 126.0);
    EXPECT_EQ(t.Eval("other(2)").code, ErrSyntax);
    EXPECT_EQ(t.EvalString("WRAP$(\"ab\")+wrap$(\"\")").value, "<ab><>");
    EXPECT_EQ(t.Eval("scale(1,2)").code, ErrArgument);
}

// A null callback is let in; calling it is what fails.
TEST_F(RegisterSymbolsTest, NullCallbackFailsOnlyWhenCalled)
{
    const NFunctionDef numeric = NumericDef("hollow", 1, nullptr);
    const SFunctionDef string = StringDef("hollow$", 1, nullptr);
    ASSERT_EQ(Quorbix_CreateNFunction(c, &numeric), 0);
    ASSERT_EQ(Quorbix_CreateSFunction(c, &string), 0);
    EXPECT_EQ(t.Eval("hollow(1)").code, ErrSyntax);
    EXPECT_EQ(t.EvalString("hollow$(\"a\")").code, ErrSyntax);
}

// The constant keeps the host's pointer and the length measured at
// registration: new bytes show, a zero byte inside does not shorten it.
TEST_F(RegisterSymbolsTest, StringConstantReadsTheHostsBytes)
{
    char text[] = "hello";
    ASSERT_EQ(AddSConstant("Greet$", text), 0);
    EXPECT_EQ(t.EvalString("greet$").value, "hello");
    std::memcpy(text, "HOWDY", 5);
    EXPECT_EQ(t.EvalString("GREET$+\"!\"").value, "HOWDY!");
    text[2] = '\0';
    c->text = "greet$+\"!\"";
    ASSERT_EQ(Quorbix_AddStr(c), 0);
    EXPECT_EQ(std::memcmp(c->stringResult, "HO\0DY!", 7), 0);
    Quorbix_FreeOut(c);
}

TEST_F(RegisterSymbolsTest, RegisteredSymbolsAreNoParametersAndStayInTheirContext)
{
    ASSERT_EQ(AddNConstant("answer", 42.0), 0);
    ASSERT_EQ(AddSConstant("motto$", "m"), 0);
    EXPECT_EQ(Quorbix_DeleteParam(c, "answer"), ErrBadName);
    EXPECT_EQ(Quorbix_DeleteParam(c, "MOTTO$"), ErrBadName);
    EXPECT_EQ(Quorbix_DeleteAllParams(c), 0);
    EXPECT_EQ(Quorbix_ParamCount(c, nullptr), 0);
    uint32_t attribute = 9;
    EXPECT_EQ(Quorbix_GetAttrib(c, "answer", &attribute), ErrBadName);
    ParamInfo info{};
    ASSERT_EQ(Quorbix_GetParamInfo(c, "Answer", &info), 0);
    EXPECT_EQ(info.kind, NConstant);
    EXPECT_EQ(info.attribute, 1u);
    EXPECT_EQ(t.Eval("answer").value, 42.0);

    TestContext other;
    EXPECT_EQ(other.Eval("answer").code, ErrSyntax);
    EXPECT_EQ(Quorbix_GetParamInfo(&other.ctx, "motto$", &info), ErrBadName);
    const NConstantDef def{"answer", 7.0};
    EXPECT_EQ(Quorbix_CreateNConstant(&other.ctx, &def), 0);
    EXPECT_EQ(t.Eval("answer").value, 42.0);
}

// Each registration is made to fail at every allocation in turn; a failure
// leaves the bucket as it was and leaks nothing. Twelve names in one bucket
// are then found by halving, which needs every sort to have been done.
TEST_F(RegisterSymbolsTest, AllocationFailuresLeaveTheBucketAsItWas)
{
    const char *names[] = {"wz", "W1", "w_", "Wa", "wM", "w9", "wq$", "WB$", "w$", "Wk", "wf", "wN$"};
    for (size_t k = 0; k < 12; ++k) {
        const char *name = names[k];
        SCOPED_TRACE(name);
        const bool isString = name[std::strlen(name) - 1] == '$';
        for (size_t n = 1;; ++n) {
            ASSERT_LT(n, 20u);
            const auto before = Snapshot("w");
            const long live = qxtest::LiveBlocks();
            int32_t rc;
            bool injected;
            {
                qxtest::AllocationFailureScope fail(n);
                rc = k % 2 == 0 ? (isString ? AddSConstant(name, "s") : AddNConstant(name, double(k)))
                                : (isString ? AddS(name, 1) : AddN(name, 1));
                injected = qxtest::AllocationFailed();
            }
            if (!injected) {
                ASSERT_EQ(rc, 0);
                break;
            }
            EXPECT_EQ(rc, ErrNoMemory);
            EXPECT_EQ(Snapshot("w"), before);
            EXPECT_EQ(qxtest::LiveBlocks(), live);
        }
    }
    const SymbolBucket &bucket = *qx::BucketOf(c, "w");
    ASSERT_EQ(bucket.count, 12u);
    for (uint32_t k = 1; k < bucket.count; ++k)
        EXPECT_LT(qx::CompareForSort(bucket.entries[k - 1].name, bucket.entries[k].name), 0);
    for (const char *name : names)
        EXPECT_NE(qx::FindSymbol(bucket.count, bucket.entries, name), nullptr) << name;
    EXPECT_EQ(t.Eval("WM+wa(2)").value, 4.0 + 6.0);
}

} // namespace
