/* qxcalc: evaluates each argument in turn in one context, so that a
 * statement can set what a later expression reads:
 *
 *   qxcalc 'x = 2*pi' 's$ = "a" + "b"' '[a] = 1' 'x/2 + [a]' 'left$(s$, 1)'
 *
 * With no arguments it reads lines from standard input instead, one
 * expression, statement or command a line. An expression prints its value;
 * a failure prints the result code, its name and a caret under the byte
 * where the scan stopped. Three commands work on the parameters: ':list',
 * ':save FILE' and ':load FILE'. The exit status is 1 if anything failed. */
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#ifdef _WIN32
#include <io.h>
#define close _close
#define isatty _isatty
#else
#include <unistd.h>
#endif

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
    /* strchr finds the terminator too: an '=' at the very end is a statement
     * with an empty right-hand side. */
    return strchr("<>!=", p[-1]) == NULL && (p[1] == '\0' || strchr("<>=", p[1]) == NULL);
}

static int Report(int32_t rc, const EvalContext *ctx, const char *line)
{
    if (rc == 0)
        return 0;
    printf("error %d (%s)\n", rc, CodeName(rc));
    if (line != NULL && ctx->cursor >= line && ctx->cursor <= line + strlen(line))
        printf("  %s\n  %*s^\n", line, (int)(ctx->cursor - line), "");
    return 1;
}

/* The library takes the platform's file handle: a descriptor on POSIX, a
 * HANDLE on Windows. */
static int OpenFile(const char *path, int forWriting, FileHandle *file)
{
    const int fd = forWriting ? open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644) : open(path, O_RDONLY);
    if (fd < 0)
        return -1;
#ifdef _WIN32
    *file = (FileHandle)_get_osfhandle(fd);
#else
    *file = fd;
#endif
    return fd;
}

static int Transfer(EvalContext *ctx, const char *path, int save)
{
    FileHandle file;
    const int fd = OpenFile(path, save, &file);
    if (fd < 0) {
        printf("cannot open %s\n", path);
        return 1;
    }
    const int32_t rc = save ? Quorbix_SaveParam(ctx, file) : Quorbix_LoadParam(ctx, file, 0);
    close(fd);
    return Report(rc, ctx, NULL);
}

static int32_t QUORBIX_CALL PrintParam(const char *name, uintptr_t user)
{
    EvalContext *ctx = (EvalContext *)user;
    ParamInfo info;
    Quorbix_GetParamInfo(ctx, name, &info);
    printf("%s", name);
    if (info.kind & (ND1 | SD1))
        printf("(%u)", (unsigned)info.count);
    if (info.kind & (ND2 | SD2))
        printf("(%u,%u)", (unsigned)info.dim1, (unsigned)info.dim2);
    if (info.kind == NS) {
        double value = 0;
        Quorbix_GetParam_NS(ctx, name, &value);
        printf(" = %.17g", value);
    } else if (info.kind == SS) {
        char text[256];
        text[0] = '\0';
        Quorbix_GetParam_SS(ctx, name, text, (int32_t)sizeof text);
        printf(" = \"%s\"", text);
    }
    printf("\n");
    return 1;
}

static int RunCommand(EvalContext *ctx, const char *line)
{
    if (strcmp(line, ":list") == 0)
        return Quorbix_EnumParamName(ctx, PrintParam, (uintptr_t)ctx) != 0;
    if (strncmp(line, ":save ", 6) == 0)
        return Transfer(ctx, line + 6, 1);
    if (strncmp(line, ":load ", 6) == 0)
        return Transfer(ctx, line + 6, 0);
    printf("unknown command %s\n", line);
    return 1;
}

static int RunLine(EvalContext *ctx, const char *line)
{
    if (line[0] == ':')
        return RunCommand(ctx, line);
    ctx->text = line;
    if (IsStatement(line)) {
        /* A statement puts the cursor back, so there is no place to show. */
        SubstitutionTarget target;
        return Report(Quorbix_Substitution(ctx, &target), ctx, NULL);
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

/* Lines from standard input, a prompt only when a person is typing. */
static int RunInteractive(EvalContext *ctx)
{
    const int prompt = isatty(fileno(stdin));
    char line[4096];
    int failed = 0;
    for (;;) {
        if (prompt) {
            printf("> ");
            fflush(stdout);
        }
        if (fgets(line, sizeof line, stdin) == NULL)
            break;
        line[strcspn(line, "\r\n")] = '\0';
        failed |= RunLine(ctx, line);
    }
    return failed;
}

int main(int argc, char **argv)
{
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
    if (argc < 2)
        failed = RunInteractive(&ctx);
    Quorbix_Terminate(&ctx);
    return failed;
}
