// The string built-in functions.
#include "builtin/builtin_tables.h"

namespace qx {

const SFunctionDef StringFunctionTable[] = {
    {nullptr, 0, {}, nullptr, 0},
};

} // namespace qx
