// How costs grow: evaluation against text length, name lookup against
// bucket size, creating many parameters, and saving and loading a large
// table through a file descriptor.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_common.h"

namespace qxbench {
namespace {

// ---- Text length ------------------------------------------------------------------

// A level holds at most 64 terms, so a longer sum is split into
// parenthesised groups of this many terms, and the outer level adds the
// groups.
constexpr int TermsPerGroup = 50;

// The E6 shape with `terms` terms: "x+x+...+x+1".
std::string SumText(int terms)
{
    const auto group = [](int first, int count, int total) {
        std::string text;
        for (int k = first; k < first + count; ++k) {
            if (k != first)
                text += '+';
            text += (k == total - 1) ? '1' : 'x';
        }
        return text;
    };
    if (terms <= TermsPerGroup)
        return group(0, terms, terms);
    std::string text;
    for (int first = 0; first < terms; first += TermsPerGroup) {
        if (first != 0)
            text += '+';
        text += '(' + group(first, std::min(TermsPerGroup, terms - first), terms) + ')';
    }
    return text;
}

// The timed loop of the scale rows: Quorbix on one text, again and again.
void TimeQuorbix(benchmark::State &state, EvalContext *ctx, const std::string &text)
{
    for (auto _ : state) {
        ctx->text = text.c_str();
        int32_t rc = Quorbix(ctx);
        benchmark::DoNotOptimize(rc);
        benchmark::DoNotOptimize(ctx->result);
    }
}

void TimeLength(benchmark::State &state, int terms)
{
    const std::string text = SumText(terms);
    Context context;
    EvalContext *ctx = context.get();
    AddRowParameters(ctx);
    ctx->text = text.c_str();
    const double expected = (terms - 1) * ValueX + 1.0;
    if (int32_t rc = Quorbix(ctx); rc != 0 || ctx->result != expected) {
        state.SkipWithError("the sum does not evaluate to its expected value");
        return;
    }
    TimeQuorbix(state, ctx, text);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
    state.counters["bytes"] = static_cast<double>(text.size());
    state.counters["per_term"] =
        benchmark::Counter(terms, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// ---- Names ------------------------------------------------------------------------

// "p00000", "p00001", ...: all in the bucket of 'p', in ascending order.
std::string OneBucketName(int k)
{
    char name[16];
    std::snprintf(name, sizeof name, "p%05d", k);
    return name;
}

// The first letter cycles through a..z, so the names fill 26 buckets evenly.
std::string SpreadName(int k)
{
    char name[16];
    std::snprintf(name, sizeof name, "%c%06d", 'a' + k % 26, k);
    return name;
}

std::vector<std::string> Names(int count, bool oneBucket)
{
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(count));
    for (int k = 0; k < count; ++k)
        names.push_back(oneBucket ? OneBucketName(k) : SpreadName(k));
    return names;
}

void Create(EvalContext *ctx, const std::vector<std::string> &names)
{
    for (const std::string &name : names)
        if (Quorbix_AllocNParam(ctx, name.c_str(), 0, 1.0) != 0)
            Fail("cannot create parameter " + name);
}

// ---- Lookup against bucket size -------------------------------------------------

// Filling a large bucket one parameter at a time is itself slow (see the
// create group), and the benchmark function runs more than once, so each
// context is made once and kept.
EvalContext *BucketContext(int size)
{
    static std::map<int, std::unique_ptr<Context>> made;
    std::unique_ptr<Context> &slot = made[size];
    if (!slot) {
        slot = std::make_unique<Context>();
        Create(slot->get(), Names(size, true));
    }
    return slot->get();
}

void TimeLookup(benchmark::State &state, int size)
{
    EvalContext *ctx = BucketContext(size);
    const std::string text = OneBucketName(size - 1); // the last one created
    ctx->text = text.c_str();
    if (int32_t rc = Quorbix(ctx); rc != 0 || ctx->result != 1.0) {
        state.SkipWithError("the parameter does not read back");
        return;
    }
    TimeQuorbix(state, ctx, text);
}

// ---- Creating parameters ----------------------------------------------------------

void TimeCreate(benchmark::State &state, int count, bool oneBucket)
{
    const std::vector<std::string> names = Names(count, oneBucket);
    for (auto _ : state) {
        state.PauseTiming();
        auto context = std::make_unique<Context>();
        state.ResumeTiming();
        Create(context->get(), names);
        state.PauseTiming();
        context.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * count);
}

// ---- Saving and loading -------------------------------------------------------------

constexpr int PersistCount = 100000;

// An anonymous temporary file, removed when the program ends.
class TempFile {
public:
    TempFile() : file_(std::tmpfile())
    {
        if (file_ == nullptr)
            Fail("cannot open a temporary file");
    }
    ~TempFile() { std::fclose(file_); }
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    int fd() const { return fileno(file_); }
    void Rewind() const { lseek(fd(), 0, SEEK_SET); }
    void Empty() const
    {
        Rewind();
        if (ftruncate(fd(), 0) != 0)
            Fail("cannot empty the temporary file");
    }
    off_t Position() const { return lseek(fd(), 0, SEEK_CUR); }

private:
    std::FILE *file_;
};

// The 100,000 parameters, spread over 26 buckets, made once and kept.
// Creating them one at a time would re-sort a bucket of up to 3,850 entries
// per parameter (tens of seconds, see the create group), so the table is
// assembled from saved chunks instead: 100 small contexts of 1,000 each are
// saved one after another into a file, and that file is loaded chunk by
// chunk (a load stops behind its end record), one sort per chunk.
EvalContext *PersistContext()
{
    static std::unique_ptr<Context> made;
    if (made)
        return made->get();
    constexpr int ChunkSize = 1000;
    const std::vector<std::string> names = Names(PersistCount, false);
    const TempFile chunks;
    for (int first = 0; first < PersistCount; first += ChunkSize) {
        Context chunk;
        for (int k = first; k < first + ChunkSize; ++k)
            if (Quorbix_AllocNParam(chunk.get(), names[static_cast<size_t>(k)].c_str(), 0, k) != 0)
                Fail("cannot create parameter " + names[static_cast<size_t>(k)]);
        if (Quorbix_SaveParam(chunk.get(), chunks.fd()) != 0)
            Fail("cannot save a chunk of parameters");
    }
    chunks.Rewind();
    made = std::make_unique<Context>();
    for (int first = 0; first < PersistCount; first += ChunkSize)
        if (Quorbix_LoadParam(made->get(), chunks.fd(), 0) != 0)
            Fail("cannot load a chunk of parameters");
    if (Quorbix_ParamCount(made->get(), nullptr) != PersistCount)
        Fail("the assembled table does not hold 100,000 parameters");
    return made->get();
}

void TimeSave(benchmark::State &state)
{
    EvalContext *ctx = PersistContext();
    const TempFile file;
    off_t size = 0;
    for (auto _ : state) {
        state.PauseTiming();
        file.Empty();
        state.ResumeTiming();
        if (int32_t rc = Quorbix_SaveParam(ctx, file.fd())) {
            state.SkipWithError(("Quorbix_SaveParam gives error " + std::to_string(rc)).c_str());
            break;
        }
        size = file.Position();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * PersistCount);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
}

void TimeLoad(benchmark::State &state)
{
    const TempFile file;
    if (Quorbix_SaveParam(PersistContext(), file.fd()) != 0) {
        state.SkipWithError("Quorbix_SaveParam failed");
        return;
    }
    const off_t size = file.Position();
    for (auto _ : state) {
        state.PauseTiming();
        auto context = std::make_unique<Context>();
        file.Rewind();
        state.ResumeTiming();
        if (int32_t rc = Quorbix_LoadParam(context->get(), file.fd(), 0)) {
            state.SkipWithError(("Quorbix_LoadParam gives error " + std::to_string(rc)).c_str());
            break;
        }
        state.PauseTiming();
        const int32_t loaded = Quorbix_ParamCount(context->get(), nullptr);
        context.reset();
        state.ResumeTiming();
        if (loaded != PersistCount) {
            state.SkipWithError(("loaded " + std::to_string(loaded) + " parameters").c_str());
            break;
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * PersistCount);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
}

} // namespace

void RegisterScaleBenchmarks()
{
    for (int terms : {10, 100, 1000}) {
        std::string name = "scale/length/terms:" + std::to_string(terms);
        if (terms > TermsPerGroup)
            name += "_in_parens_of_" + std::to_string(TermsPerGroup);
        benchmark::RegisterBenchmark(name.c_str(), TimeLength, terms);
    }
    for (int size : {1, 10, 100, 1000, 10000})
        benchmark::RegisterBenchmark(("scale/lookup/bucket_size:" + std::to_string(size)).c_str(), TimeLookup, size);
    for (int count : {1000, 10000}) {
        benchmark::RegisterBenchmark(("scale/create/one_bucket/count:" + std::to_string(count)).c_str(), TimeCreate,
                                     count, true)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("scale/create/26_buckets/count:" + std::to_string(count)).c_str(), TimeCreate,
                                     count, false)
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark("scale/persist/save/count:100000", TimeSave)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("scale/persist/load/count:100000", TimeLoad)->Unit(benchmark::kMillisecond);
}

} // namespace qxbench
