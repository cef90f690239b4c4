// The built-in numeric and string constants. maxval and minval are fixed at
// compile time, so no table is ever written and contexts share no state.
#include <cfloat>

#include "builtin/builtin_tables.h"

namespace qx {

const NConstantDef NumericConstantTable[] = {
    {"intmax", 4294967295.0},
    {"maxval", DBL_MAX},
    {"minval", DBL_MIN},
    {"pi", 3.141592653589793},
    {nullptr, 0.0},
};

const SConstantDef StringConstantTable[] = {
    {"cr$", "\n"}, // a line feed, not a carriage return
    {"dq$", "\""},
    {"tab$", "\t"},
    {nullptr, nullptr},
};

} // namespace qx
