/*
 * Quorbix: an embeddable evaluator of numeric expressions, string
 * expressions and assignment statements, with a per-context table of named
 * parameters, host callbacks and constants.
 *
 * Every call works on an EvalContext that the host owns. Results are signed
 * 32-bit codes: 0 for success, one of the negative ErrorCode values for
 * failure. Nothing is ever thrown, logged or printed.
 *
 * The header is C11 and C++ alike; all types have fixed widths and no record
 * is passed by value, so any FFI can bind it directly.
 */
#ifndef QUORBIX_H
#define QUORBIX_H

#include <stddef.h>
#include <stdint.h>

#define QUORBIX_VERSION_MAJOR 3
#define QUORBIX_VERSION_MINOR 8
#define QUORBIX_VERSION_PATCH 1
#define QUORBIX_VERSION_TEXT "3.8.1"

/*
 * QUORBIX_API marks an export. Define QUORBIX_STATIC when linking the static
 * library on Windows; the build defines QUORBIX_BUILDING. A host may define
 * QUORBIX_API itself before including this header.
 */
#ifndef QUORBIX_API
#  if defined(_WIN32)
#    if defined(QUORBIX_BUILDING)
#      define QUORBIX_API __declspec(dllexport)
#    elif defined(QUORBIX_STATIC)
#      define QUORBIX_API
#    else
#      define QUORBIX_API __declspec(dllimport)
#    endif
#  elif defined(__GNUC__)
#    define QUORBIX_API __attribute__((visibility("default")))
#  else
#    define QUORBIX_API
#  endif
#endif

/* The calling convention of every export and every callback type. */
#ifndef QUORBIX_CALL
#  if defined(_WIN32) && (defined(_M_IX86) || defined(__i386__))
#    define QUORBIX_CALL __stdcall
#  else
#    define QUORBIX_CALL
#  endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes. Only a host callback may produce other negative values. */
enum ErrorCode {
    ErrSyntax = -1,
    ErrDivideByZero = -2,
    ErrParenMismatch = -3,
    ErrBadName = -4,
    ErrStackFull = -5,
    ErrArgument = -6,
    ErrDomain = -7,
    ErrRange = -8,
    ErrTokenTooLong = -9,
    ErrNoMemory = -10,
    ErrUnterminatedString = -11,
    ErrReadOnly = -12,
    ErrProtected = -13,
    ErrCannotReplace = -14,
    ErrFileRead = -15,
    ErrFileWrite = -16
};

/* What a symbol is: exactly one bit. NRegister appears only in a
 * SubstitutionTarget. */
enum ParamKind {
    NFunction = 0x0001,
    SFunction = 0x0002,
    NConstant = 0x0004,
    SConstant = 0x0008,
    NS = 0x0010,
    ND1 = 0x0020,
    ND2 = 0x0040,
    SS = 0x0080,
    SD1 = 0x0100,
    SD2 = 0x0200,
    NRegister = 0x0400
};

/* Bits of a parameter's attribute word; other bits are kept but unused. */
enum Attribute {
    AttrReadOnly = 0x0001,        /* writes refused; implies delete-protected */
    AttrDeleteProtected = 0x0002, /* delete and replacement refused */
    AttrIntegerView = 0x0004      /* numeric reads give the value as uint32 */
};

/* How a function argument is evaluated. */
typedef uint32_t ArgKind;
enum { ArgNumeric = 1, ArgString = 2 };

struct SymbolBucket; /* opaque */

/*
 * One evaluation context. The host owns the record and sets `registers`
 * (26 doubles for [a]..[z], or null) and `text` after Quorbix_Initialize;
 * it reads `result` and `stringResult`. The other fields are the library's.
 */
typedef struct EvalContext {
    const char *cursor;           /* where the last scan stopped */
    struct SymbolBucket *symbols; /* the symbol table; null when closed */
    int32_t parenDepth;
    double *registers;
    double result;
    char *stringResult;
    const char *text;
} EvalContext;

typedef struct VersionInfo {
    char versionText[132];
    uint32_t versionMark;
} VersionInfo;

/* One argument slot of a call: a number, or text owned by the library. */
typedef union CallArg {
    double number;
    const char *text;
} CallArg;

/*
 * What a built-in or host function receives. Argument texts are valid for
 * the call only. A function fails by storing a negative code in `error`; a
 * string function sets `resultLength` to the number of bytes it returns.
 */
typedef struct CallFrame {
    CallArg args[16];
    const ArgKind *argKinds;
    int32_t argCount;
    EvalContext *context;
    uint32_t resultLength;
    int32_t error;
    uintptr_t userWord;
} CallFrame;

typedef double(QUORBIX_CALL *NFunctionCallback)(CallFrame *frame);
/* Returns a block from qx_malloc (or null with resultLength 0); the library
 * takes resultLength bytes from it and frees it. */
typedef char *(QUORBIX_CALL *SFunctionCallback)(CallFrame *frame);
/* Returns 0 to stop the walk, anything else to go on. */
typedef int32_t(QUORBIX_CALL *ParamNameCallback)(const char *name, uintptr_t user);

typedef struct NFunctionDef {
    const char *name;
    int32_t argCount;
    ArgKind argKinds[16];
    NFunctionCallback callback;
    uintptr_t userWord;
} NFunctionDef;

typedef struct SFunctionDef {
    const char *name; /* ends in '$' */
    int32_t argCount;
    ArgKind argKinds[16];
    SFunctionCallback callback;
    uintptr_t userWord;
} SFunctionDef;

typedef struct NConstantDef {
    const char *name;
    double value;
} NConstantDef;

/* The text is not copied: it must stay readable while the context lives. */
typedef struct SConstantDef {
    const char *name;
    const char *text;
} SConstantDef;

/* What an assignment statement named; written by Quorbix_Substitution. */
typedef struct SubstitutionTarget {
    char name[36];
    uint16_t kind;
    uint32_t index1;
    uint32_t index2;
} SubstitutionTarget;

/* Pointers into a table entry, good until its bucket next changes. */
typedef struct ParamRef {
    uint16_t kind;
    uint32_t *attribute;
    uint32_t *count;
    uint32_t *dim1;
    uint32_t *dim2;
    void *value;
} ParamRef;

typedef struct ParamInfo {
    uint16_t kind;
    uint32_t attribute;
    uint32_t count;
    uint32_t dim1;
    uint32_t dim2;
} ParamInfo;

/* An open file: a descriptor on POSIX, a HANDLE on Windows. */
#if defined(_WIN32)
typedef void *FileHandle;
#else
typedef int FileHandle;
#endif

/* ---- Lifecycle and version ---------------------------------------------- */

/* Clears the record and loads the built-ins. 0, or ErrNoMemory with the
 * context closed. Set `registers` and `text` afterwards. */
QUORBIX_API int32_t QUORBIX_CALL Quorbix_Initialize(EvalContext *ctx);
/* Releases the table and all parameters; a closed context is left alone.
 * A stringResult still held by the host stays the host's. */
QUORBIX_API void QUORBIX_CALL Quorbix_Terminate(EvalContext *ctx);
/* "3.8.1", zero-filled behind; versionMark 1. */
QUORBIX_API void QUORBIX_CALL Quorbix_GetVersion(VersionInfo *info);
/* A one-line banner beginning "Quorbix Ver 3.8.1". */
QUORBIX_API void QUORBIX_CALL Quorbix_GetVersion_FullStr(VersionInfo *info);

/* ---- The heap shared with the host --------------------------------------- */

QUORBIX_API void *QUORBIX_CALL qx_malloc(size_t size);
QUORBIX_API void *QUORBIX_CALL qx_calloc(size_t count, size_t size);
QUORBIX_API void *QUORBIX_CALL qx_realloc(void *block, size_t size);
QUORBIX_API void QUORBIX_CALL qx_free(void *block);

/* ---- Evaluation ---------------------------------------------------------- */

/* Evaluates `text` as a numeric expression into `result` (0.0 on failure). */
QUORBIX_API int32_t QUORBIX_CALL Quorbix(EvalContext *ctx);
/* Evaluates `text` as a string expression. On 0 `stringResult` is a block the
 * host owns and releases with Quorbix_FreeOut; on failure it is null. */
QUORBIX_API int32_t QUORBIX_CALL Quorbix_AddStr(EvalContext *ctx);
/* Frees `stringResult` and sets it to null; harmless when already null. */
QUORBIX_API void QUORBIX_CALL Quorbix_FreeOut(EvalContext *ctx);
/* Runs the statement in `text`; cursor, parenDepth and text are restored.
 * `target` may be null. */
QUORBIX_API int32_t QUORBIX_CALL Quorbix_Substitution(EvalContext *ctx, SubstitutionTarget *target);

/* ---- Text scanners -------------------------------------------------------- */

/* 0 not recognised, 1 numeric, 2 string, 3 empty or blank. */
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CheckStrType(EvalContext *ctx, const char *text);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CommaPos(const char **cursor, uint32_t *offsets, uint32_t capacity);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SearchChr(const char **cursor, int32_t ch);

/* ---- Registration --------------------------------------------------------- */

QUORBIX_API int32_t QUORBIX_CALL Quorbix_CreateNFunction(EvalContext *ctx, const NFunctionDef *def);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CreateSFunction(EvalContext *ctx, const SFunctionDef *def);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CreateNConstant(EvalContext *ctx, const NConstantDef *def);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CreateSConstant(EvalContext *ctx, const SConstantDef *def);

/* ---- Creating parameters -------------------------------------------------- */

/* 0 invalid, 1 numeric name, 2 string name, 3 empty. */
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CheckParamName(const char *name);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_AllocNParam(EvalContext *ctx, const char *name, uint32_t attribute, double value);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_AllocSParam(EvalContext *ctx, const char *name, uint32_t attribute, const char *text);
/* dim2 0 makes a one-dimensional array of dim1 elements. */
QUORBIX_API int32_t QUORBIX_CALL Quorbix_AllocNDim(EvalContext *ctx, uint32_t dim1, uint32_t dim2, uint32_t attribute, const char *name);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_AllocSDim(EvalContext *ctx, uint32_t dim1, uint32_t dim2, uint32_t attribute, const char *name);

/* ---- Reading and writing parameters --------------------------------------- */

QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_NS(EvalContext *ctx, const char *name, double value);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_ND1(EvalContext *ctx, const char *name, uint32_t index, double value);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_ND2(EvalContext *ctx, const char *name, uint32_t i, uint32_t j, double value);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_SS(EvalContext *ctx, const char *name, const char *text);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_SD1(EvalContext *ctx, const char *name, uint32_t index, const char *text);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetParam_SD2(EvalContext *ctx, const char *name, uint32_t i, uint32_t j, const char *text);

QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_NS(EvalContext *ctx, const char *name, double *out);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_ND1(EvalContext *ctx, const char *name, uint32_t index, double *out);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_ND2(EvalContext *ctx, const char *name, uint32_t i, uint32_t j, double *out);
/* Copies at most size - 1 bytes and a terminator; size <= 1 writes nothing. */
QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_SS(EvalContext *ctx, const char *name, char *buffer, int32_t size);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_SD1(EvalContext *ctx, const char *name, uint32_t index, char *buffer, int32_t size);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParam_SD2(EvalContext *ctx, const char *name, uint32_t i, uint32_t j, char *buffer, int32_t size);

QUORBIX_API int32_t QUORBIX_CALL Quorbix_Param(EvalContext *ctx, const char *name, ParamRef *ref);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetParamInfo(EvalContext *ctx, const char *name, ParamInfo *info);

/* ---- Deleting, listing and attributes ------------------------------------- */

QUORBIX_API int32_t QUORBIX_CALL Quorbix_DeleteParam(EvalContext *ctx, const char *name);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_DeleteAllParams(EvalContext *ctx);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_EnumParamName(EvalContext *ctx, ParamNameCallback callback, uintptr_t user);
/* Returns the number of parameters; protectedCount may be null. */
QUORBIX_API int32_t QUORBIX_CALL Quorbix_ParamCount(EvalContext *ctx, uint32_t *protectedCount);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_GetAttrib(EvalContext *ctx, const char *name, uint32_t *out);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SetAttrib(EvalContext *ctx, const char *name, uint32_t attribute);

/* ---- Persistence and transfer ---------------------------------------------- */

QUORBIX_API int32_t QUORBIX_CALL Quorbix_SaveParam(EvalContext *ctx, FileHandle file);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_LoadParam(EvalContext *ctx, FileHandle file, int32_t noReplace);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_CopyParam(EvalContext *dest, EvalContext *source, const char *name, int32_t noReplace);
QUORBIX_API int32_t QUORBIX_CALL Quorbix_DuplicateParam(EvalContext *ctx, const char *sourceName, const char *newName, int32_t noReplace);

#ifdef __cplusplus
}
#endif

#endif /* QUORBIX_H */
