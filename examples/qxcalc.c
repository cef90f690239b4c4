/* qxcalc: evaluates the expression given as its argument and prints the
 * value, or the result code and where the scan stopped. */
#include <stdio.h>

#include "quorbix.h"

static const char *CodeName(int32_t code)
{
    static const char *const names[] = {
        "ErrSyntax",     "ErrDivideByZero", "ErrParenMismatch",      "ErrBadName",
        "ErrStackFull",  "ErrArgument",     "ErrDomain",             "ErrRange",
        "ErrTokenTooLong", "ErrNoMemory",   "ErrUnterminatedString", "ErrReadOnly",
        "ErrProtected",  "ErrCannotReplace", "ErrFileRead",          "ErrFileWrite"};
    return (code <= -1 && code >= -16) ? names[-code - 1] : "host error";
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: qxcalc EXPRESSION\n");
        return 2;
    }
    double registers[26] = {0};
    EvalContext ctx;
    if (Quorbix_Initialize(&ctx) != 0) {
        fprintf(stderr, "qxcalc: out of memory\n");
        return 1;
    }
    ctx.registers = registers;
    ctx.text = argv[1];
    const int32_t rc = Quorbix(&ctx);
    if (rc == 0)
        printf("%.17g\n", ctx.result);
    else
        printf("error %d (%s) at byte %d\n", rc, CodeName(rc), (int)(ctx.cursor - ctx.text));
    Quorbix_Terminate(&ctx);
    return rc == 0 ? 0 : 1;
}
