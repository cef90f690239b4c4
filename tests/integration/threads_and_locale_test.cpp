// Contexts on different threads share nothing, and no result depends on the
// host's C locale.
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/test_context.h"

namespace {

double QUORBIX_CALL Offset(CallFrame *frame) { return frame->args[0].number + static_cast<double>(frame->userWord); }

// One thread's workload on its own context: evaluation, strings, statements,
// parameter calls, registration and a save and load through its own file.
// Returns the number of checks that did not hold.
int Workload(int seed)
{
    int wrong = 0;
    const auto check = [&wrong](bool holds) { wrong += holds ? 0 : 1; };
    qxtest::TestContext t;
    const NFunctionDef offset{"offset", 1, {ArgNumeric}, Offset, static_cast<uintptr_t>(seed)};
    check(Quorbix_CreateNFunction(&t.ctx, &offset) == 0);
    check(Quorbix_AllocNDim(&t.ctx, 8, 0, 0, "a") == 0);
    for (int round = 0; round < 200; ++round) {
        const std::string assign = "a(" + std::to_string(round % 8) + ") = offset(" + std::to_string(round) + ")";
        t.ctx.text = assign.c_str();
        check(Quorbix_Substitution(&t.ctx, nullptr) == 0);
        check(t.Eval(("a(" + std::to_string(round % 8) + ") - " + std::to_string(round)).c_str()).value == seed);
        check(t.Eval("sqrt(-1)").code == ErrDomain);
        check(t.EvalString("str$(offset(0.5))").value == std::to_string(seed) + ".5");
        double value = 0;
        check(Quorbix_SetParam_ND1(&t.ctx, "a", 7, round) == 0 && Quorbix_GetParam_ND1(&t.ctx, "a", 7, &value) == 0);
        check(value == round);
    }
    FILE *file = std::tmpfile();
    check(Quorbix_SaveParam(&t.ctx, fileno(file)) == 0);
    lseek(fileno(file), 0, SEEK_SET);
    qxtest::TestContext loaded;
    check(Quorbix_LoadParam(&loaded.ctx, fileno(file), 1) == 0);
    check(loaded.Eval("a(7)").value == 199);
    std::fclose(file);
    return wrong;
}

TEST(Threads, ContextsOnManyThreadsAreIndependent)
{
    constexpr int threadCount = 6;
    std::vector<int> wrong(threadCount, -1);
    std::vector<std::thread> threads;
    for (int k = 0; k < threadCount; ++k)
        threads.emplace_back([&wrong, k] { wrong[k] = Workload(k + 1); });
    for (std::thread &thread : threads)
        thread.join();
    for (int k = 0; k < threadCount; ++k)
        EXPECT_EQ(wrong[k], 0) << "thread " << k;
}

// A decimal-comma locale changes what strtod and printf do; the library uses
// neither, so numbers read and print the same way.
TEST(Locale, DecimalCommaChangesNothing)
{
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr)
        GTEST_SKIP() << "the de_DE.UTF-8 locale is not installed";
    qxtest::TestContext t;
    const qxtest::NumberOutcome parsed = t.Eval("1.5");
    const std::string half = t.EvalString("str$(0.5)").value;
    const std::string fixed = t.EvalString("real$(8,2,3.14159)").value;
    const qxtest::NumberOutcome comma = t.Eval("1,5");
    std::setlocale(LC_ALL, previous.c_str());
    EXPECT_EQ(parsed.code, 0);
    EXPECT_EQ(parsed.value, 1.5);
    EXPECT_EQ(half, "0.5");
    EXPECT_EQ(fixed, "    3.14");
    EXPECT_EQ(comma.code, ErrSyntax);
}

} // namespace
