// cpp_host: a C++ host using quorbix.hpp. It registers two lambdas, sets a
// parameter and a register, and evaluates a numeric and a string expression.
#include <cstdio>
#include <string>
#include <string_view>

#include "quorbix.hpp"

int main()
{
    quorbix::Context ctx;
    if (!ctx.ok()) {
        std::fprintf(stderr, "cpp_host: out of memory\n");
        return 1;
    }

    // A numeric function whose argument count and kinds come from the lambda,
    // and a string function that fails with a code of the host's own when
    // given an empty name.
    const quorbix::Result<void> setup[] = {
        ctx.defineFunction("clamp", [](double x, double lo, double hi) { return x < lo ? lo : x > hi ? hi : x; }),
        ctx.defineFunction("greet$",
                           [](std::string_view who, quorbix::CallContext &call) {
                               if (who.empty())
                                   call.fail(-100);
                               return "hello, " + std::string(who);
                           }),
        ctx.createNumber("rate", 0.25),
    };
    for (const quorbix::Result<void> &step : setup)
        if (!step) {
            std::printf("setup failed: %d\n", step.code());
            return 1;
        }
    ctx.reg('a') = 3;

    const quorbix::Result<double> number = ctx.eval("clamp(rate * [a], 0, 0.5) + 1");
    const quorbix::Result<std::string> text = ctx.evalString("greet$(\"world\")");
    const quorbix::Result<std::string> refused = ctx.evalString("greet$(\"\")");
    if (!number || !text) {
        std::printf("error %d %d\n", number.code(), text.code());
        return 1;
    }
    std::printf("%g\n%s\nerror %d\n", number.value(), text.value().c_str(), refused.code());
    return 0;
}
