// Registering a host's own functions and constants in one context.
//
// A registered symbol stands beside the built-ins, with the read-only bit,
// until the context is closed; nothing removes or changes it. The kind and
// the name's form go together, so anything string-valued is known by its
// trailing '$' alone.
#include <cstdint>

#include "core/symbol_table.h"
#include "param/param_names.h"

namespace qx {
namespace {

constexpr int32_t MaxArguments = 16;

// The order of the tests decides which fault is reported when several
// apply: the name's form, then whether the name is taken (by anything at
// all, so a host can neither redefine nor shadow), then the argument count.
// A null callback is accepted here; calling it fails at evaluation time.
template <typename Def>
int32_t Register(EvalContext *ctx, const Def &def, bool isString, int32_t (*add)(SymbolBucket *, const Def &))
{
    if (!ParamNameIsValid(def.name, isString) || FindSymbol(ctx, def.name) != nullptr)
        return ErrSyntax;
    if constexpr (requires { def.argCount; }) {
        if (def.argCount < 0 || def.argCount > MaxArguments)
            return ErrArgument;
    }
    SymbolBucket *bucket = BucketOf(ctx, def.name);
    if (int32_t rc = add(bucket, def))
        return rc;
    SortBucket(bucket);
    return 0;
}

} // namespace
} // namespace qx

using namespace qx;

extern "C" {

QUORBIX_API int32_t QUORBIX_CALL Quorbix_CreateNFunction(EvalContext *ctx, const NFunctionDef *def)
{
    return Register(ctx, *def, false, AddNFunctionEntry);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_CreateSFunction(EvalContext *ctx, const SFunctionDef *def)
{
    return Register(ctx, *def, true, AddSFunctionEntry);
}

QUORBIX_API int32_t QUORBIX_CALL Quorbix_CreateNConstant(EvalContext *ctx, const NConstantDef *def)
{
    return Register(ctx, *def, false, AddNConstantEntry);
}

// Only the pointer to the text is kept, with the text's length as it is now:
// the host's bytes are read afresh at every use, for that many bytes.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CreateSConstant(EvalContext *ctx, const SConstantDef *def)
{
    return Register(ctx, *def, true, AddSConstantEntry);
}

} // extern "C"
