/* qxcalc: evaluates each argument in turn in one context, so that a
 * statement can set what a later expression reads:
 *
 *   qxcalc 'x = 2*pi' 's$ = "a" + "b"' '[a] = 1' 'x/2 + [a]' 'left$(s$, 1)'
 *
 * An expression prints its value; a failure prints the result code, its name
 * and where the scan stopped. The exit status is 1 if anything failed. */
#include <stdio.h>
#include <string.h>

#include "quorbix.h"

static const char *CodeName(int32_t code)
{
    static const char *const names[] = {
        "ErrSyntax",       "ErrDivideByZero", "ErrParenMismatch",      "ErrBadName",
        "ErrStackFull",    "ErrArgument",     "ErrDomain",             "ErrRange",
        "ErrTokenTooLong", "ErrNoMemory",     "ErrUnterminatedString", "ErrReadOnly",
        "ErrProtected",    "ErrCannotReplace", "ErrFileRead",          "ErrFileWrite"};
    return (code <= -1 && code >= -16) ? names[-code - 1] : "host error";
}

/* A line is a statement when it starts with a name or a register and has an
 * '=' outside parentheses and literals that is not part of '==', '<=', '>=',
 * '=<', '=>' or '!='. Anything else is an expression. */
static int IsStatement(const char *line)
{
    const char *p = line;
    while (*p == ' ' || *p == '\t')
        ++p;
    if (!(*p == '[' || *p == '_' || (*p >= 'A' && *p <= 'Z') || (*p >= 'a' && *p <= 'z')))
        return 0;
    if (Quorbix_SearchChr(&p, '=') != 0 || *p != '=')
        return 0;
    return p > line && strchr("<>!=", p[-1]) == NULL && strchr("<>=", p[1]) == NULL;
}

static int Report(int32_t rc, const EvalContext *ctx, const char *line)
{
    if (rc == 0)
        return 0;
    printf("error %d (%s)", rc, CodeName(rc));
    if (ctx->cursor >= line && ctx->cursor <= line + strlen(line))
        printf(" at byte %d", (int)(ctx->cursor - line));
    printf("\n");
    return 1;
}

static int RunLine(EvalContext *ctx, const char *line)
{
    ctx->text = line;
    if (IsStatement(line)) {
        SubstitutionTarget target;
        return Report(Quorbix_Substitution(ctx, &target), ctx, line);
    }
    switch (Quorbix_CheckStrType(ctx, line)) {
    case 3:
        return 0;
    case 2: {
        const int32_t rc = Quorbix_AddStr(ctx);
        if (rc == 0) {
            printf("%s\n", ctx->stringResult);
            Quorbix_FreeOut(ctx);
        }
        return Report(rc, ctx, line);
    }
    default: {
        const int32_t rc = Quorbix(ctx);
        if (rc == 0)
            printf("%.17g\n", ctx->result);
        return Report(rc, ctx, line);
    }
    }
}

int main(int argc, char **argv)
{
    if (argc < 2) {
        fprintf(stderr, "usage: qxcalc EXPRESSION-OR-STATEMENT...\n");
        return 2;
    }
    double registers[26] = {0};
    EvalContext ctx;
    if (Quorbix_Initialize(&ctx) != 0) {
        fprintf(stderr, "qxcalc: out of memory\n");
        return 1;
    }
    ctx.registers = registers;
    int failed = 0;
    for (int k = 1; k < argc; ++k)
        failed |= RunLine(&ctx, argv[k]);
    Quorbix_Terminate(&ctx);
    return failed;
}
