// A numeric evaluation works in local storage only: no text, success or
// failure alike, may reach the heap.
#include "eval/evaluation_fixture.h"
#include "support/alloc_hooks.h"

namespace qxtest {
namespace {

using NumericEvaluationHeap = Evaluation;

TEST_F(NumericEvaluationHeap, MakesNoAllocation)
{
    const std::string texts[] = {
        "", "5", "1 2 3", ".5", "1e-3", "1e + 3", "123456789.125e-2", std::string(33, '7'),
        "101b", "17o", "4294967296d", "0ffh", "1e5h", std::string(32, '1') + "b",
        "2+3*4", "(2+3)*4", "2^3^2", "7.5%2", "1<=2", "1!=2", "-1>>28", "1|2&3", "1~3", "1<<33",
        "-!0", "2*-!0", "((((1+2)*3)-4)/5)", "1" + Repeat("+1", 63), "[a]+[B]*[z]",
        // failures
        "1/0", "0^0", "10^400", "1e309", "(1", "1)", "1,2", "[ab]", "1e*5", "1.2.3", ".", "2pi",
        std::string(34, '1'), "1" + Repeat("+1", 64), "$", "1+", "(1e308*10)>5",
    };
    int succeeded = 0;
    int failed = 0;
    ResetAllocationCount();
    for (const std::string &text : texts)
        (Evaluate(text) == 0 ? succeeded : failed) += 1;
    EXPECT_EQ(AllocationCount(), 0u);
    // The batch must really have run both ways.
    EXPECT_EQ(succeeded, 29);
    EXPECT_EQ(failed, 17);
}

} // namespace
} // namespace qxtest
