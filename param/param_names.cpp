// The name rule of parameters, shared by creation, statements and copies.
#include "param/param_names.h"

#include <cstddef>
#include <cstdint>

#include "core/char_class.h"
#include "core/symbol_table.h"

namespace qx {
namespace {

enum NameRating : int32_t {
    RatedInvalid = 0,
    RatedNumeric = 1,
    RatedString = 2,
    RatedEmpty = 3,
};

// The '$' of a string name must be its last byte and counts in its length.
NameRating RateName(const char *name)
{
    if (name[0] == '\0')
        return RatedEmpty;
    if (!Is(name[0], ClassNameStart))
        return RatedInvalid;
    size_t length = 1;
    while (Is(name[length], ClassNameChar))
        ++length;
    if (name[length] == '$')
        return name[length + 1] == '\0' && length + 1 <= MaxNameLength ? RatedString : RatedInvalid;
    if (name[length] == '\0')
        return length <= MaxNameLength ? RatedNumeric : RatedInvalid;
    return RatedInvalid;
}

} // namespace

bool ParamNameIsValid(const char *name, bool isString)
{
    return RateName(name) == (isString ? RatedString : RatedNumeric);
}

} // namespace qx

extern "C" QUORBIX_API int32_t QUORBIX_CALL Quorbix_CheckParamName(const char *name)
{
    return qx::RateName(name);
}
