// The same numeric texts through muparser, for comparison. Compiled only
// when the build found muparser (QUORBIX_BENCH_HAVE_MUPARSER).
#pragma once

#include <string>

#include <benchmark/benchmark.h>

namespace qxbench {

// Evaluates `text` once with x, y, z bound to the row values. False, with
// the parser's message in `error`, when muparser refuses the text.
bool PeerEvaluate(const std::string &text, double *value, std::string *error);

// Text to value: SetExpr and Eval on every iteration, so muparser parses
// and compiles the text each time, as Quorbix reads it each time.
void PeerTextToValue(benchmark::State &state, const std::string &text);

// Eval only, on a parser that compiled the text before the loop: the cost
// of running muparser's bytecode.
void PeerBytecode(benchmark::State &state, const std::string &text);

} // namespace qxbench
