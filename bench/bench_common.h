// What the benchmark program's parts share: the table of timed texts, a
// context that owns its EvalContext, and the floor scanner.
#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "core/char_class.h"
#include "quorbix.h"

namespace qxbench {

// The parameter values every row's context holds.
constexpr double ValueX = 1.5;
constexpr double ValueY = 2.5;
constexpr double ValueZ = 0.75;

enum class RowKind {
    Numeric,   // Quorbix
    String,    // Quorbix_AddStr, then Quorbix_FreeOut
    Statement, // Quorbix_Substitution
};

// Recomputes a numeric row's value from the numbers the floor scanner
// converted (in text order) and the parameters x, y, z, making the same
// maths calls the text makes.
using FloorMaths = double (*)(const double *numbers, const double *xyz);

struct Row {
    std::string label; // "E1" ...
    std::string text;
    RowKind kind;
    FloorMaths maths;  // numeric rows only; null otherwise
    bool peer;         // also timed through muparser when it is built in
};

// The fixed set, in the order it is reported.
const std::vector<Row> &Rows();

// An open context; closed (and any held string result freed) on destruction.
class Context {
public:
    Context();
    ~Context();
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;

    EvalContext *get() { return &ctx_; }

private:
    EvalContext ctx_;
};

// A context holding what the rows read: x, y, z, s$ = "abc" and a numeric
// array a of 10 elements. Aborts the program if any of it cannot be made.
void AddRowParameters(EvalContext *ctx);

// Evaluates a row once as its kind asks, freeing a string result, and
// returns the library's code.
int32_t EvaluateRow(EvalContext *ctx, const Row &row);

// The least any evaluator of these texts has to do: look at each byte of a
// NUL-terminated text once, through the library's class table, and convert
// each number token with std::from_chars, storing the values in `numbers`
// (at most `capacity`). A number token runs from a digit or '.' to the next
// delimiter; every other byte is only classified. Returns how many numbers
// it converted. Inline, so that the floor's loop pays no call for it.
inline int FloorScan(const char *text, double *numbers, int capacity)
{
    using qx::CharClass;
    uint32_t seen = 0;
    int count = 0;
    const char *p = text;
    while (*p != '\0') {
        const uint16_t bits = CharClass[static_cast<unsigned char>(*p)];
        if ((bits & qx::ClassDigit) || *p == '.') {
            const char *start = p;
            while (!(CharClass[static_cast<unsigned char>(*p)] & qx::ClassDelimiter))
                ++p;
            if (count < capacity)
                std::from_chars(start, p, numbers[count++]);
            continue;
        }
        seen += bits;
        ++p;
    }
    benchmark::DoNotOptimize(seen);
    return count;
}

// Registers the scale group (bench_scale.cpp).
void RegisterScaleBenchmarks();

// Prints a message to stderr and ends the program with status 1.
[[noreturn]] void Fail(const std::string &message);

} // namespace qxbench
