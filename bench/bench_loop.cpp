// Evaluates one row of the benchmark set a given number of times and nothing
// else, so that an instruction counter (valgrind's callgrind) can measure the
// cost of an evaluation exactly: bench/instructions.sh subtracts a run of 0
// evaluations from a run of N. Usage: bench_loop ROW COUNT
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench_common.h"

using namespace qxbench;

namespace {

int32_t EvaluateOnce(EvalContext *ctx, const Row &row)
{
    ctx->text = row.text.c_str();
    switch (row.kind) {
    case RowKind::Numeric: return Quorbix(ctx);
    case RowKind::String: {
        const int32_t rc = Quorbix_AddStr(ctx);
        Quorbix_FreeOut(ctx);
        return rc;
    }
    case RowKind::Statement: {
        SubstitutionTarget target;
        return Quorbix_Substitution(ctx, &target);
    }
    }
    return -1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: bench_loop ROW COUNT\n");
        return 2;
    }
    for (const Row &row : Rows()) {
        if (row.label != argv[1])
            continue;
        Context context;
        AddRowParameters(context.get());
        const long count = std::strtol(argv[2], nullptr, 10);
        for (long k = 0; k < count; ++k)
            if (int32_t rc = EvaluateOnce(context.get(), row))
                Fail(row.label + ": error " + std::to_string(rc));
        return 0;
    }
    Fail(std::string("no row ") + argv[1]);
}
