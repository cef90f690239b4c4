#include "bench_peer.h"

#include <cmath>

#include <muParser.h>

#include "bench_common.h"

namespace qxbench {
namespace {

// muparser has no floor; the host supplies it, as a muparser host would.
double Floor(double v) { return std::floor(v); }

// A parser with x, y and z defined. The variables live in the object, so
// it must stay where it was made.
struct PeerParser {
    mu::Parser parser;
    double x = ValueX;
    double y = ValueY;
    double z = ValueZ;

    PeerParser()
    {
        parser.DefineVar("x", &x);
        parser.DefineVar("y", &y);
        parser.DefineVar("z", &z);
        parser.DefineFun("floor", Floor);
    }
    PeerParser(const PeerParser &) = delete;
    PeerParser &operator=(const PeerParser &) = delete;
};

} // namespace

bool PeerEvaluate(const std::string &text, double *value, std::string *error)
{
    try {
        PeerParser peer;
        peer.parser.SetExpr(text);
        *value = peer.parser.Eval();
        return true;
    } catch (const mu::Parser::exception_type &e) {
        *error = e.GetMsg();
        return false;
    }
}

namespace {

// Runs the text once before a loop; false, with the benchmark marked failed,
// when muparser refuses it. The start-up check has already compared every
// text, so the loops themselves never meet a refusal.
bool PrepareOrSkip(benchmark::State &state, PeerParser *peer, const std::string &text)
{
    try {
        peer->parser.SetExpr(text);
        double value = peer->parser.Eval(); // compiles the bytecode
        benchmark::DoNotOptimize(value);
        return true;
    } catch (const mu::Parser::exception_type &e) {
        state.SkipWithError(e.GetMsg().c_str());
        return false;
    }
}

void SetBytes(benchmark::State &state, const std::string &text)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

} // namespace

void PeerTextToValue(benchmark::State &state, const std::string &text)
{
    PeerParser peer;
    if (!PrepareOrSkip(state, &peer, text))
        return;
    for (auto _ : state) {
        peer.parser.SetExpr(text);
        double value = peer.parser.Eval();
        benchmark::DoNotOptimize(value);
    }
    SetBytes(state, text);
}

void PeerBytecode(benchmark::State &state, const std::string &text)
{
    PeerParser peer;
    if (!PrepareOrSkip(state, &peer, text))
        return;
    for (auto _ : state) {
        double value = peer.parser.Eval();
        benchmark::DoNotOptimize(value);
    }
    SetBytes(state, text);
}

} // namespace qxbench
