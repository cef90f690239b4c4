// Looking at expression text without evaluating it.
#pragma once

#include <cstdint>

#include "quorbix.h"

namespace qx {

// From the opening double quote of a literal, the closing quote, or null if
// the text ends first. A Shift-JIS lead byte takes the byte after it along,
// so a trail byte that happens to be '"' does not end the literal.
const char *SkipQuotedString(const char *open);

// Walks an argument list from the byte after its '(' to the byte behind the
// matching ')', or to the end of the text, stepping over literals and nested
// parentheses. Each comma at the list's own level goes to onComma, which may
// stop the walk with a non-zero code. Returns 0, that code, or
// ErrUnterminatedString; on 0, *end is where the walk stopped and *level how
// many levels were still open there.
template <typename OnComma>
int32_t WalkArgumentList(const char *p, OnComma onComma, const char **end, int32_t *level)
{
    *level = 1;
    for (; *p != '\0' && *level != 0; ++p) {
        if (*p == '"') {
            p = SkipQuotedString(p);
            if (p == nullptr)
                return ErrUnterminatedString;
        } else if (*p == '(') {
            ++*level;
        } else if (*p == ')') {
            --*level;
        } else if (*p == ',' && *level == 1) {
            if (int32_t rc = onComma(p))
                return rc;
        }
    }
    *end = p;
    return 0;
}

} // namespace qx
