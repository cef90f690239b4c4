#include "bench_common.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace qxbench {
namespace {

// "x+" fifty times and then "1": 51 terms in one level, 101 bytes.
std::string LongSum()
{
    std::string text;
    for (int k = 0; k < 50; ++k)
        text += "x+";
    return text + "1";
}

double X(const double *xyz) { return xyz[0]; }
double Y(const double *xyz) { return xyz[1]; }
double Z(const double *xyz) { return xyz[2]; }

std::vector<Row> BuildRows()
{
    using N = const double *;
    std::vector<Row> rows = {
        {"E1", "1+2*3-4/5", RowKind::Numeric,
         [](N n, N) { return n[0] + n[1] * n[2] - n[3] / n[4]; }, true},
        {"E2", "(1.5+2.25)*(3.125-0.5)/7", RowKind::Numeric,
         [](N n, N) { return (n[0] + n[1]) * (n[2] - n[3]) / n[4]; }, true},
        {"E3", "sin(0.5)*cos(0.25)+sqrt(2)", RowKind::Numeric,
         [](N n, N) { return std::sin(n[0]) * std::cos(n[1]) + std::sqrt(n[2]); }, true},
        {"E4", "x*y+z-x/y", RowKind::Numeric,
         [](N, N v) { return X(v) * Y(v) + Z(v) - X(v) / Y(v); }, true},
        {"E5", "((x+1)*(y-2)+(z*3))/((x-y)*(z+4))", RowKind::Numeric,
         [](N n, N v) { return ((X(v) + n[0]) * (Y(v) - n[1]) + (Z(v) * n[2])) / ((X(v) - Y(v)) * (Z(v) + n[3])); },
         true},
        {"E6", LongSum(), RowKind::Numeric,
         [](N n, N v) {
             double sum = X(v); // the level adds left to right, as written
             for (int k = 1; k < 50; ++k)
                 sum += X(v);
             return sum + n[0];
         },
         true},
        {"E7", "abs(-x)+floor(y)+exp(z)-ln(x)", RowKind::Numeric,
         [](N, N v) { return std::fabs(-X(v)) + std::floor(Y(v)) + std::exp(Z(v)) - std::log(X(v)); }, true},
        {"S1", "left$(\"hello world\",5)+str$(x)+s$", RowKind::String, nullptr, false},
        {"A1", "a(2) = a(1) + x", RowKind::Statement, nullptr, false},
    };
    return rows;
}

} // namespace

const std::vector<Row> &Rows()
{
    static const std::vector<Row> rows = BuildRows();
    return rows;
}

Context::Context()
{
    if (Quorbix_Initialize(&ctx_) != 0)
        Fail("Quorbix_Initialize failed");
}

Context::~Context()
{
    Quorbix_FreeOut(&ctx_);
    Quorbix_Terminate(&ctx_);
}

void AddRowParameters(EvalContext *ctx)
{
    if (Quorbix_AllocNParam(ctx, "x", 0, ValueX) != 0 || Quorbix_AllocNParam(ctx, "y", 0, ValueY) != 0 ||
        Quorbix_AllocNParam(ctx, "z", 0, ValueZ) != 0 || Quorbix_AllocSParam(ctx, "s$", 0, "abc") != 0 ||
        Quorbix_AllocNDim(ctx, 10, 0, 0, "a") != 0)
        Fail("cannot create the row parameters");
}

int32_t EvaluateRow(EvalContext *ctx, const Row &row)
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

void Fail(const std::string &message)
{
    std::fprintf(stderr, "bench_eval: %s\n", message.c_str());
    std::exit(1);
}

} // namespace qxbench
