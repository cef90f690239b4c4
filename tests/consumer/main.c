/* A host built against an installed Quorbix, nothing else: the header comes
 * from the install prefix and the library is found by CMake's find_package or
 * by pkg-config. scripts/consumer-test.sh builds it both ways and compares
 * what it prints with what it should print. */
#include <stdio.h>
#include <string.h>

#include <quorbix.h>

static int Numeric(EvalContext *ctx, const char *text)
{
    ctx->text = text;
    const int32_t rc = Quorbix(ctx);
    if (rc != 0) {
        fprintf(stderr, "consumer: %s: error %d\n", text, (int)rc);
        return 1;
    }
    printf("%s = %.12g\n", text, ctx->result);
    return 0;
}

static int String(EvalContext *ctx, const char *text)
{
    ctx->text = text;
    const int32_t rc = Quorbix_AddStr(ctx);
    if (rc != 0 || ctx->stringResult == NULL) {
        fprintf(stderr, "consumer: %s: error %d\n", text, (int)rc);
        return 1;
    }
    printf("%s = %s\n", text, ctx->stringResult);
    Quorbix_FreeOut(ctx);
    return 0;
}

int main(void)
{
    /* The library that was loaded must be the one the header describes. */
    VersionInfo version;
    Quorbix_GetVersion(&version);
    if (strcmp(version.versionText, QUORBIX_VERSION_TEXT) != 0) {
        fprintf(stderr, "consumer: header %s, library %s\n", QUORBIX_VERSION_TEXT, version.versionText);
        return 1;
    }
    printf("version %s\n", version.versionText);

    double registers[26] = {0};
    EvalContext ctx;
    if (Quorbix_Initialize(&ctx) != 0) {
        fprintf(stderr, "consumer: out of memory\n");
        return 1;
    }
    ctx.registers = registers;
    registers[1] = 0.25; /* [b] */

    int failed = 0;
    failed |= Numeric(&ctx, "2*sin(pi/6)");
    failed |= Numeric(&ctx, "[b]*8 + 101b");
    failed |= String(&ctx, "upper$(left$(\"installed\", 7)) + \" \" + str$(6*7)");
    Quorbix_Terminate(&ctx);
    return failed;
}
