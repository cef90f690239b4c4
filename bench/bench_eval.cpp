// Text-to-value evaluation: the fixed set of rows in bench_common.cpp, each
// timed through Quorbix, through muparser when it is built in (parsing every
// time, and running prepared bytecode), and against the floor (reading the
// bytes and converting the numbers, nothing else). After the run a table
// sets the three side by side. The scale group lives in bench_scale.cpp.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_common.h"
#ifdef QUORBIX_BENCH_HAVE_MUPARSER
#include "bench_peer.h"
#endif

namespace qxbench {
namespace {

constexpr int MaxFloorNumbers = 16;

void SetBytes(benchmark::State &state, const Row &row)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(row.text.size()));
}

std::string Code(int32_t rc) { return "error " + std::to_string(rc); }

// ---- The timed loops --------------------------------------------------------

// Evaluates once before timing, so that a row that fails is reported
// instead of timed.
void TimeRow(benchmark::State &state, const Row &row)
{
    Context context;
    EvalContext *ctx = context.get();
    AddRowParameters(ctx);
    if (int32_t rc = EvaluateRow(ctx, row)) {
        state.SkipWithError(Code(rc).c_str());
        return;
    }
    for (auto _ : state) {
        int32_t rc = EvaluateRow(ctx, row);
        benchmark::DoNotOptimize(rc);
        benchmark::DoNotOptimize(ctx->result);
    }
    SetBytes(state, row);
}

// The floor: the scanner over the bytes, then the row's maths on what it
// converted and on x, y, z. The parameter values pass through
// DoNotOptimize on every iteration so that no call is folded at compile time.
double FloorValue(const Row &row, double *xyz)
{
    double numbers[MaxFloorNumbers];
    FloorScan(row.text.c_str(), numbers, MaxFloorNumbers);
    return row.maths(numbers, xyz);
}

void TimeFloor(benchmark::State &state, const Row &row)
{
    double xyz[3] = {ValueX, ValueY, ValueZ};
    for (auto _ : state) {
        benchmark::DoNotOptimize(xyz);
        double value = FloorValue(row, xyz);
        benchmark::DoNotOptimize(value);
    }
    SetBytes(state, row);
}

std::string Name(const Row &row, const char *how) { return "eval/" + row.label + "/" + how; }

void RegisterRowBenchmarks()
{
    for (const Row &row : Rows()) {
        benchmark::RegisterBenchmark(Name(row, "quorbix").c_str(), TimeRow, row);
#ifdef QUORBIX_BENCH_HAVE_MUPARSER
        if (row.peer) {
            benchmark::RegisterBenchmark(Name(row, "muparser_text").c_str(), PeerTextToValue, row.text);
            benchmark::RegisterBenchmark(Name(row, "muparser_bytecode").c_str(), PeerBytecode, row.text);
        }
#endif
        if (row.maths != nullptr)
            benchmark::RegisterBenchmark(Name(row, "floor").c_str(), TimeFloor, row);
    }
}

// ---- The start-up check -------------------------------------------------------

bool Agree(double a, double b) { return a == b || std::fabs(a - b) <= 1e-12 * std::max(std::fabs(a), std::fabs(b)); }

// Every row must run, and every numeric row must give the same value
// through Quorbix, through the floor's maths and through muparser. A
// disagreement is printed and ends the program: timings of texts that do
// not compute the same thing compare nothing.
void CheckRows()
{
    int failures = 0;
    const auto warn = [&failures](const std::string &line) {
        std::fprintf(stderr, "warning: %s\n", line.c_str());
        ++failures;
    };
    for (const Row &row : Rows()) {
        Context context;
        EvalContext *ctx = context.get();
        AddRowParameters(ctx);
        ctx->text = row.text.c_str();
        if (row.kind == RowKind::String) {
            if (int32_t rc = Quorbix_AddStr(ctx))
                warn(row.label + ": Quorbix_AddStr gives " + Code(rc));
            else
                std::fprintf(stderr, "check: %s = \"%s\"\n", row.label.c_str(), ctx->stringResult);
            continue;
        }
        if (row.kind == RowKind::Statement) {
            double stored = 0.0;
            if (int32_t rc = Quorbix_Substitution(ctx, nullptr))
                warn(row.label + ": Quorbix_Substitution gives " + Code(rc));
            else if (Quorbix_GetParam_ND1(ctx, "a", 2, &stored) != 0 || stored != ValueX)
                warn(row.label + ": the statement stored " + std::to_string(stored));
            else
                std::fprintf(stderr, "check: %s stores %.17g\n", row.label.c_str(), stored);
            continue;
        }
        if (int32_t rc = Quorbix(ctx)) {
            warn(row.label + ": Quorbix gives " + Code(rc));
            continue;
        }
        const double ours = ctx->result;
        double xyz[3] = {ValueX, ValueY, ValueZ};
        const double floor = FloorValue(row, xyz);
        if (!Agree(ours, floor))
            warn(row.label + ": Quorbix " + std::to_string(ours) + " but the floor's maths " + std::to_string(floor));
        std::string peerNote;
#ifdef QUORBIX_BENCH_HAVE_MUPARSER
        double peer = 0.0;
        std::string error;
        if (!PeerEvaluate(row.text, &peer, &error))
            warn(row.label + ": muparser refuses the text: " + error);
        else if (!Agree(ours, peer))
            warn(row.label + ": Quorbix " + std::to_string(ours) + " but muparser " + std::to_string(peer));
        else
            peerNote = ", muparser agrees";
#endif
        std::fprintf(stderr, "check: %s = %.17g%s\n", row.label.c_str(), ours, peerNote.c_str());
    }
    if (failures != 0)
        Fail(std::to_string(failures) + " row(s) failed the start-up check (see the warnings above)");
}

// ---- The ratio table ------------------------------------------------------------

// The console reporter, also keeping the real time of every run by name.
// With repetitions the median of the repeated runs is used; when only
// aggregates are reported, the median aggregate.
class TimingReporter : public benchmark::ConsoleReporter {
public:
    using benchmark::ConsoleReporter::ConsoleReporter;

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.error_occurred)
                continue;
            const double ns = run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
            const std::string &name = run.run_name.function_name;
            if (run.run_type == Run::RT_Iteration)
                times_[name].push_back(ns);
            else if (run.aggregate_name == "median")
                medians_[name] = ns;
        }
        benchmark::ConsoleReporter::ReportRuns(runs);
    }

    std::optional<double> Nanoseconds(const std::string &name) const
    {
        const auto found = times_.find(name);
        if (found == times_.end() || found->second.empty()) {
            const auto median = medians_.find(name);
            return median != medians_.end() ? std::optional<double>(median->second) : std::nullopt;
        }
        std::vector<double> sorted = found->second;
        std::sort(sorted.begin(), sorted.end());
        const size_t n = sorted.size();
        return n % 2 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
    }

private:
    std::map<std::string, std::vector<double>> times_;
    std::map<std::string, double> medians_;
};

// Geometric mean of the ratios gathered, or nothing when there are none.
class GeoMean {
public:
    void Add(std::optional<double> ratio)
    {
        if (ratio && *ratio > 0) {
            logSum_ += std::log(*ratio);
            ++count_;
        }
    }
    std::optional<double> Value() const
    {
        return count_ ? std::optional<double>(std::exp(logSum_ / count_)) : std::nullopt;
    }

private:
    double logSum_ = 0.0;
    int count_ = 0;
};

std::optional<double> Ratio(std::optional<double> a, std::optional<double> b)
{
    return a && b && *b > 0 ? std::optional<double>(*a / *b) : std::nullopt;
}

std::string Cell(std::optional<double> v, const char *format)
{
    if (!v)
        return "-";
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, format, *v);
    return buffer;
}

std::string Verdict(std::optional<double> v, bool met)
{
    return v ? (met ? "met" : "NOT met") : "not measured";
}

void PrintRatioTable(const TimingReporter &timings)
{
    bool any = false;
    for (const Row &row : Rows())
        any = any || timings.Nanoseconds(Name(row, "quorbix"));
    if (!any)
        return;
    std::printf("\nText to value, real time in ns per evaluation (same run):\n");
    std::printf("%-4s %10s %12s %12s %10s %14s %14s %12s\n", "row", "quorbix", "mu text", "mu bytecode", "floor",
                "mu text/ours", "ours/mu bc", "ours/floor");
    GeoMean peerText, peerBytecode, floor;
    int peerTextMet = 0, peerTextRows = 0;
    for (const Row &row : Rows()) {
        if (row.kind != RowKind::Numeric)
            continue;
        const auto ours = timings.Nanoseconds(Name(row, "quorbix"));
        const auto text = timings.Nanoseconds(Name(row, "muparser_text"));
        const auto bytecode = timings.Nanoseconds(Name(row, "muparser_bytecode"));
        const auto base = timings.Nanoseconds(Name(row, "floor"));
        if (!ours && !text && !bytecode && !base)
            continue; // filtered out of this run
        const auto textRatio = Ratio(text, ours);
        const auto bytecodeRatio = Ratio(ours, bytecode);
        const auto floorRatio = Ratio(ours, base);
        peerText.Add(textRatio);
        peerBytecode.Add(bytecodeRatio);
        floor.Add(floorRatio);
        if (textRatio) {
            ++peerTextRows;
            peerTextMet += *textRatio >= 100.0;
        }
        std::printf("%-4s %10s %12s %12s %10s %14s %14s %12s\n", row.label.c_str(), Cell(ours, "%.1f").c_str(),
                    Cell(text, "%.1f").c_str(), Cell(bytecode, "%.1f").c_str(), Cell(base, "%.1f").c_str(),
                    Cell(textRatio, "%.2f").c_str(), Cell(bytecodeRatio, "%.2f").c_str(),
                    Cell(floorRatio, "%.2f").c_str());
    }
    std::printf("%-4s %10s %12s %12s %10s %14s %14s %12s\n", "geo", "", "", "", "",
                Cell(peerText.Value(), "%.2f").c_str(), Cell(peerBytecode.Value(), "%.2f").c_str(),
                Cell(floor.Value(), "%.2f").c_str());
    const auto t = peerText.Value(), b = peerBytecode.Value(), f = floor.Value();
    std::printf("\ngoal mu text/ours >= 100 per row: %d of %d rows (geometric mean %s)\n", peerTextMet, peerTextRows,
                Cell(t, "%.2f").c_str());
    std::printf("goal ours/mu bytecode <= 10 in geometric mean: %s (%s)\n", Verdict(b, b && *b <= 10.0).c_str(),
                Cell(b, "%.2f").c_str());
    std::printf("goal ours/floor <= 3 in geometric mean: %s (%s)\n", Verdict(f, f && *f <= 3.0).c_str(),
                Cell(f, "%.2f").c_str());
    for (const Row &row : Rows())
        if (row.kind != RowKind::Numeric)
            if (const auto ours = timings.Nanoseconds(Name(row, "quorbix")))
                std::printf("%s (%s): %.1f ns\n", row.label.c_str(), row.text.c_str(), *ours);
}

} // namespace
} // namespace qxbench

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    qxbench::CheckRows();
    qxbench::RegisterRowBenchmarks();
    qxbench::RegisterScaleBenchmarks();
    qxbench::TimingReporter reporter(isatty(STDOUT_FILENO) ? benchmark::ConsoleReporter::OO_Color
                                                           : benchmark::ConsoleReporter::OO_None);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    qxbench::PrintRatioTable(reporter);
    benchmark::Shutdown();
    return 0;
}
