// Deep nesting fails with a code instead of exhausting the host's stack, on
// a thread with no more than 256 KiB of it.
#include <pthread.h>

#include <string>

#include "eval/evaluator.h"
#include "support/test_context.h"

namespace {

std::string Nest(const char *open, const char *inner, const char *close, int depth)
{
    std::string text;
    for (int k = 0; k < depth; ++k)
        text += open;
    text += inner;
    for (int k = 0; k < depth; ++k)
        text += close;
    return text;
}

struct Job {
    std::string text;
    bool isString;
    int32_t code;
    std::string value;
};

void *Evaluate(void *argument)
{
    Job *job = static_cast<Job *>(argument);
    qxtest::TestContext t;
    Quorbix_AllocNDim(&t.ctx, 3, 0, 0, "a");
    Quorbix_AllocSParam(&t.ctx, "s$", 0, "abc");
    Quorbix_AllocSParam(&t.ctx, "self$", 0, "val(self$)");
    if (job->isString) {
        const qxtest::StringOutcome got = t.EvalString(job->text.c_str());
        job->code = got.code;
        job->value = got.value;
    } else {
        const qxtest::NumberOutcome got = t.Eval(job->text.c_str());
        job->code = got.code;
        job->value = std::to_string(got.value);
    }
    return nullptr;
}

// Runs the evaluation on a thread with a 256 KiB stack.
Job RunOnSmallStack(const std::string &text, bool isString)
{
    Job job{text, isString, 1, {}};
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 256 * 1024);
    pthread_t thread;
    EXPECT_EQ(pthread_create(&thread, &attr, Evaluate, &job), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
    return job;
}

struct Shape {
    const char *open, *inner, *close;
    bool isString;
    int levelsPerStep;
    const char *value; // at the deepest legal nesting
};

const Shape shapes[] = {
    {"(", "1", ")", false, 1, "1.000000"},
    {"sin(", "0", ")", false, 1, "0.000000"},
    {"val(str$(", "1", "))", false, 2, "1.000000"},
    {"a(", "0", ")", false, 1, "0.000000"},
    {"left$(", "s$", ",2)", true, 1, "ab"},
    {"upper$(lower$(", "s$", "))", true, 2, "ABC"},
};

// The deepest legal text evaluates; one level more, or far more, fails.
TEST(NestingLimit, DeepestLegalTextEvaluatesAndDeeperFailsWithStackFull)
{
    for (const Shape &shape : shapes) {
        SCOPED_TRACE(shape.open);
        const int legal = qx::MaxNesting / shape.levelsPerStep;
        const Job job = RunOnSmallStack(Nest(shape.open, shape.inner, shape.close, legal), shape.isString);
        EXPECT_EQ(job.code, 0);
        EXPECT_EQ(job.value, shape.value);
        for (int steps : {qx::MaxNesting + 1, 100000})
            EXPECT_EQ(RunOnSmallStack(Nest(shape.open, shape.inner, shape.close, steps), shape.isString).code,
                      ErrStackFull) << steps;
    }
    EXPECT_EQ(RunOnSmallStack(std::string(1000000, '('), false).code, ErrStackFull);
}

// A parameter whose text calls val on itself recurses through val; the depth
// carries into val's own evaluation, so it ends in val's failure code.
TEST(NestingLimit, SelfReferenceThroughValEnds)
{
    EXPECT_EQ(RunOnSmallStack("val(self$)", false).code, ErrDomain);
    EXPECT_EQ(RunOnSmallStack("1 + val(\"val(self$)\")", false).code, ErrDomain);
}

TEST(NestingLimit, StatementIndexCountsTowardTheLimit)
{
    qxtest::TestContext t;
    ASSERT_EQ(Quorbix_AllocNDim(&t.ctx, 3, 0, 0, "a"), 0);
    const std::string deep = "a(" + Nest("(", "1", ")", qx::MaxNesting) + ") = 2";
    const std::string legal = "a(" + Nest("(", "1", ")", qx::MaxNesting - 1) + ") = 2";
    t.ctx.text = deep.c_str();
    EXPECT_EQ(Quorbix_Substitution(&t.ctx, nullptr), ErrStackFull);
    t.ctx.text = legal.c_str();
    EXPECT_EQ(Quorbix_Substitution(&t.ctx, nullptr), 0);
    EXPECT_EQ(t.Eval("a(1)").value, 2);
}

} // namespace
