// The texts a host evaluates over and over allocate nothing, and a string
// expression allocates only its exact-fit blocks. The benchmark's row set is
// the sample: numbers, names, calls, nesting, a long level and a statement.
#include <string>

#include "support/alloc_hooks.h"
#include "support/test_context.h"

namespace {

class HotPath : public ::testing::Test {
protected:
    HotPath()
    {
        EXPECT_EQ(Quorbix_AllocNParam(&t.ctx, "x", 0, 1.5), 0);
        EXPECT_EQ(Quorbix_AllocNParam(&t.ctx, "y", 0, 2.5), 0);
        EXPECT_EQ(Quorbix_AllocNParam(&t.ctx, "z", 0, 0.75), 0);
        EXPECT_EQ(Quorbix_AllocSParam(&t.ctx, "s$", 0, "abc"), 0);
        EXPECT_EQ(Quorbix_AllocNDim(&t.ctx, 10, 0, 0, "a"), 0);
    }

    qxtest::TestContext t;
};

TEST_F(HotPath, NumericTextsAndStatementsAllocateNothing)
{
    std::string longLevel;
    for (int k = 0; k < 50; ++k)
        longLevel += "x+";
    longLevel += "1";
    const struct { std::string text; double value; } rows[] = {
        {"1+2*3-4/5", 6.2},
        {"(1.5+2.25)*(3.125-0.5)/7", 1.40625},
        {"sin(0.5)*cos(0.25)+sqrt(2)", 1.8787349220120237},
        {"x*y+z-x/y", 3.9},
        {"((x+1)*(y-2)+(z*3))/((x-y)*(z+4))", -0.73684210526315785},
        {longLevel, 76},
        {"abs(-x)+floor(y)+exp(z)-ln(x)", 5.2115349085045102},
    };
    for (const auto &row : rows) {
        qxtest::ResetAllocationCount();
        const qxtest::NumberOutcome got = t.Eval(row.text.c_str());
        EXPECT_EQ(qxtest::AllocationCount(), 0u) << row.text;
        EXPECT_EQ(got.code, 0) << row.text;
        EXPECT_DOUBLE_EQ(got.value, row.value) << row.text;
    }
    SubstitutionTarget target;
    t.ctx.text = "a(2) = a(1) + x";
    qxtest::ResetAllocationCount();
    EXPECT_EQ(Quorbix_Substitution(&t.ctx, &target), 0);
    EXPECT_EQ(qxtest::AllocationCount(), 0u);
    double stored = 0;
    EXPECT_EQ(Quorbix_GetParam_ND1(&t.ctx, "a", 2, &stored), 0);
    EXPECT_EQ(stored, 1.5);
}

// The result block starts at one byte and grows once for each non-empty
// term; the argument of left$ is a string expression of its own (a block
// and one growth), and each string function returns one block of its own.
TEST_F(HotPath, StringExpressionAllocatesItsExactFitBlocksOnly)
{
    const long live = qxtest::LiveBlocks();
    t.ctx.text = "left$(\"hello world\",5)+str$(x)+s$";
    qxtest::ResetAllocationCount();
    ASSERT_EQ(Quorbix_AddStr(&t.ctx), 0);
    EXPECT_EQ(qxtest::AllocationCount(), (1u + 3u) + 2u + 2u);
    EXPECT_STREQ(t.ctx.stringResult, "hello1.5abc");
    Quorbix_FreeOut(&t.ctx);
    EXPECT_EQ(qxtest::LiveBlocks(), live);
}

} // namespace
