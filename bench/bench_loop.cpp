// Evaluates one row of the benchmark set a given number of times and nothing
// else, so that an instruction counter (valgrind's callgrind) can measure the
// cost of an evaluation exactly: bench/instructions.sh subtracts a run of 0
// evaluations from a run of N. Usage: bench_loop ROW COUNT
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench_common.h"

using namespace qxbench;

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
            if (int32_t rc = EvaluateRow(context.get(), row))
                Fail(row.label + ": error " + std::to_string(rc));
        return 0;
    }
    Fail(std::string("no row ") + argv[1]);
}
