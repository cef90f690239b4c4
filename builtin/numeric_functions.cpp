// The numeric built-in functions.
#include "builtin/builtin_tables.h"

namespace qx {

const NFunctionDef NumericFunctionTable[] = {
    {nullptr, 0, {}, nullptr, 0},
};

} // namespace qx
