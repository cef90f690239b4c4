// Assignment statements: target '=' expression. The target is a scalar
// (created on first assignment), an array element or a register; the value
// is stored only after every test has passed and the whole right-hand side
// has been evaluated.
#include <cstdlib>
#include <cstring>

#include "core/char_class.h"
#include "eval/calls.h"
#include "eval/names.h"
#include "param/param_names.h"
#include "strexpr/text_scanners.h"

namespace qx {
namespace {

bool IsStringName(const NameBuffer &name) { return name.bytes[name.length - 1] == '$'; }

// Judges the index list's shape against the parameter's kind without
// evaluating it: commas count only at the list's own level and outside
// literals.
int32_t CheckTargetShape(const char *afterName, bool isString, uint16_t kind)
{
    if (*afterName != '(')
        return kind == (isString ? SS : NS) ? 0 : ErrBadName;
    int commas = 0;
    const auto countComma = [&commas](const char *) -> int32_t {
        ++commas;
        return 0;
    };
    const char *end;
    int32_t level;
    if (int32_t rc = WalkArgumentList(afterName + 1, countComma, &end, &level))
        return rc;
    if (level != 0 || commas > 1)
        return ErrBadName;
    const uint16_t wanted = isString ? (commas ? SD2 : SD1) : (commas ? ND2 : ND1);
    return kind == wanted ? 0 : ErrBadName;
}

// A first assignment creates a scalar. It goes straight to its sorted place,
// so the right-hand side finds the new name even in a bucket searched by
// halving. The new scalar stays even if the statement fails later.
int32_t CreateScalar(EvalContext *ctx, const NameBuffer &name, SymbolEntry **entry)
{
    const bool isString = IsStringName(name);
    if (!ParamNameIsValid(name.bytes, isString))
        return ErrBadName;
    char *emptyText = nullptr;
    if (isString) {
        emptyText = static_cast<char *>(std::calloc(1, 1));
        if (emptyText == nullptr)
            return ErrNoMemory;
    }
    SymbolEntry made;
    std::memset(&made, 0, sizeof made);
    made.kind = isString ? SS : NS;
    CopyName(made.name, name.bytes);
    if (isString)
        made.text = emptyText;
    *entry = InsertEntry(BucketOf(ctx, name.bytes), made);
    if (*entry == nullptr) {
        std::free(emptyText);
        return ErrNoMemory;
    }
    return 0;
}

int32_t CheckExisting(const SymbolEntry &entry, const char *afterName, bool isString)
{
    if (!IsParameter(entry))
        return ErrBadName;
    if (entry.attribute & AttrReadOnly)
        return ErrReadOnly;
    return CheckTargetShape(afterName, isString, entry.kind);
}

void ReportTarget(SubstitutionTarget *target, const NameBuffer &name, uint16_t kind, const ElementIndex &index)
{
    if (target == nullptr)
        return;
    std::memset(target->name, 0, sizeof target->name);
    std::memcpy(target->name, name.bytes, static_cast<size_t>(name.length));
    target->kind = kind;
    if (kind & (ND1 | SD1 | ND2 | SD2))
        target->index1 = index.i;
    if (kind & (ND2 | SD2))
        target->index2 = index.j;
}

// Runs the right-hand side behind the '=' at p and stores its value.
int32_t AssignValue(EvalContext *ctx, SymbolEntry *entry, const ElementIndex &index, const char *p)
{
    ctx->text = p + 1;
    if (entry->kind & NumericParameter) {
        if (int32_t rc = Quorbix(ctx))
            return rc;
        double *place = (entry->kind == NS) ? &entry->value : &entry->array.values[index.position];
        *place = ctx->result;
        return 0;
    }
    if (int32_t rc = Quorbix_AddStr(ctx))
        return rc;
    char **place = (entry->kind == SS) ? &entry->text : &entry->array.texts[index.position];
    // The old text stayed readable until now, so "s$ = s$ + s$" works.
    std::free(*place);
    *place = ctx->stringResult; // the parameter owns the block from here on
    return 0;
}

int32_t ResolveEntry(EvalContext *ctx, const NameBuffer &name, const char *afterName, SymbolEntry **entry)
{
    *entry = FindSymbol(ctx, name.bytes);
    if (*entry != nullptr)
        return CheckExisting(**entry, afterName, IsStringName(name));
    if (*afterName == '(')
        return ErrBadName; // arrays are never created by a statement
    return CreateScalar(ctx, name, entry);
}

int32_t ParameterStatement(EvalContext *ctx, const char *start, SubstitutionTarget *target)
{
    NameBuffer name;
    const char *afterName = GatherName(start, &name);
    if (afterName == nullptr)
        return ErrBadName;
    // The index list's ')' is read by the evaluator, which needs an open
    // level. Counting from zero keeps a depth left over by an earlier
    // failed evaluation from spoiling a sound statement.
    ctx->parenDepth = 1;
    ctx->cursor = afterName;
    SymbolEntry *entry;
    if (int32_t rc = ResolveEntry(ctx, name, afterName, &entry))
        return rc;
    ElementIndex index{0, 0, 0};
    if (entry->kind & (ND1 | SD1 | ND2 | SD2)) {
        ++ctx->cursor; // over the '('
        if (int32_t rc = EvaluateElementIndex(ctx, *entry, &index))
            return rc;
    }
    ReportTarget(target, name, entry->kind, index);
    const char *p = SkipSpace(ctx->cursor);
    if (*p != '=')
        return ErrSyntax;
    return AssignValue(ctx, entry, index, p);
}

int32_t RegisterStatement(EvalContext *ctx, const char *bracket, SubstitutionTarget *target)
{
    if (ctx->registers == nullptr)
        return ErrSyntax;
    int number;
    const char *p;
    if (int32_t rc = ParseRegister(bracket, &number, &p))
        return rc;
    if (target != nullptr) {
        target->kind = NRegister;
        target->index1 = static_cast<uint32_t>(number);
    }
    p = SkipSpace(p);
    if (*p != '=')
        return ErrSyntax;
    ctx->text = p + 1;
    const int32_t rc = Quorbix(ctx);
    if (rc == 0)
        ctx->registers[number] = ctx->result;
    return rc;
}

int32_t RunStatement(EvalContext *ctx, SubstitutionTarget *target)
{
    const char *start = SkipSpace(ctx->text);
    if (*start == '\0')
        return ErrSyntax;
    if (*start == '[')
        return RegisterStatement(ctx, start, target);
    return ParameterStatement(ctx, start, target);
}

} // namespace
} // namespace qx

extern "C" QUORBIX_API int32_t QUORBIX_CALL Quorbix_Substitution(EvalContext *ctx, SubstitutionTarget *target)
{
    const char *cursor = ctx->cursor;
    const int32_t parenDepth = ctx->parenDepth;
    const char *text = ctx->text;
    const int32_t rc = qx::RunStatement(ctx, target);
    ctx->cursor = cursor;
    ctx->parenDepth = parenDepth;
    ctx->text = text;
    return rc;
}
