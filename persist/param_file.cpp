// Saving the parameters of a context through a file handle, and loading them
// back.
//
// The file is a headerless run of records, each a 40-byte head (kind, name
// field, attribute) and a body by kind, closed by 40 bytes of 0xFF. All
// numbers are little-endian whatever the host, so they are taken apart and
// put together byte by byte here. The library neither opens nor positions
// the file: it works from the handle's position, field by field, and a load
// stops right behind the end record, so a host can embed the block in a
// file of its own.
//
// What a load does with an imperfect file:
//  - A record's entry is built in a local SymbolEntry, payload read and
//    allocated in full, and only then appended to its bucket. A failure in
//    the middle of a record releases what was built and leaves no
//    half-read entry behind. A parameter that the record replaces is
//    removed before its body is read, as the record order requires, so a
//    replacement that fails loses the old parameter.
//  - Each entry goes straight to its sorted place, so every bucket is in
//    order after every record, whether the load ends well or not, and the
//    next record's name is looked up by halving.
//  - The file is not trusted. A zero count or length, a count that is not
//    the product of the dimensions, and a text whose last byte is not its
//    terminator are refused with ErrFileRead. Blocks grow as their bytes
//    actually arrive, so a huge count in a short file runs out of data long
//    before it could claim much memory.
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "core/symbol_table.h"
#include "param/param_names.h"
#include "param/remove_entry.h"
#include "persist/file_io.h"

namespace qx {
namespace {

static_assert(std::numeric_limits<double>::is_iec559, "the file holds IEEE 754 doubles");

constexpr size_t HeadSize = 40;
constexpr size_t NameOffset = 2;
constexpr size_t AttributeOffset = NameOffset + NameFieldSize;
static_assert(AttributeOffset + 4 == HeadSize);

constexpr uint16_t StringParameter = SS | SD1 | SD2;

// ---- Little-endian fields ---------------------------------------------------

void PutLittle(unsigned char *at, uint64_t value, int size)
{
    for (int k = 0; k < size; ++k)
        at[k] = static_cast<unsigned char>(value >> (8 * k));
}

uint64_t GetLittle(const unsigned char *at, int size)
{
    uint64_t value = 0;
    for (int k = size - 1; k >= 0; --k)
        value = value << 8 | at[k];
    return value;
}

// ---- Saving -----------------------------------------------------------------

bool WriteU32(FileHandle file, uint32_t value)
{
    unsigned char bytes[4];
    PutLittle(bytes, value, 4);
    return WriteAll(file, bytes, sizeof bytes);
}

bool WriteDouble(FileHandle file, double value)
{
    unsigned char bytes[8];
    PutLittle(bytes, std::bit_cast<uint64_t>(value), 8);
    return WriteAll(file, bytes, sizeof bytes);
}

// On a little-endian host the array already is its file form and goes out in
// one write. Elsewhere it is converted a stretch at a time, since saving has
// no way to report a lack of memory for a converted copy.
bool WriteDoubles(FileHandle file, const double *values, uint32_t count)
{
    if constexpr (std::endian::native == std::endian::little) {
        return WriteAll(file, values, static_cast<size_t>(count) * sizeof(double));
    } else {
        unsigned char stretch[64 * 8];
        for (uint32_t done = 0; done < count;) {
            const uint32_t n = count - done < 64 ? count - done : 64;
            for (uint32_t k = 0; k < n; ++k)
                PutLittle(stretch + 8 * k, std::bit_cast<uint64_t>(values[done + k]), 8);
            if (!WriteAll(file, stretch, 8 * static_cast<size_t>(n)))
                return false;
            done += n;
        }
        return true;
    }
}

// A text item: its length with the terminator, then the bytes and the
// terminator. A text beyond 4 GiB has no length field that could hold it.
bool WriteText(FileHandle file, const char *text)
{
    const size_t length = std::strlen(text) + 1;
    if (length > UINT32_MAX)
        return false;
    return WriteU32(file, static_cast<uint32_t>(length)) && WriteAll(file, text, length);
}

// The name is copied up to its terminator and the rest of the field is
// zero, so two saves of one table give the same bytes.
bool WriteHead(FileHandle file, const SymbolEntry &entry)
{
    unsigned char head[HeadSize] = {};
    PutLittle(head, entry.kind, 2);
    for (size_t k = 0; k < MaxNameLength && entry.name[k] != '\0'; ++k)
        head[NameOffset + k] = static_cast<unsigned char>(entry.name[k]);
    PutLittle(head + AttributeOffset, entry.attribute, 4);
    return WriteAll(file, head, sizeof head);
}

bool WriteShape(FileHandle file, const ArrayPayload &array, bool twoDimensions)
{
    if (!WriteU32(file, array.count))
        return false;
    return !twoDimensions || (WriteU32(file, array.dim1) && WriteU32(file, array.dim2));
}

bool WriteTexts(FileHandle file, const ArrayPayload &array)
{
    for (uint32_t k = 0; k < array.count; ++k)
        if (!WriteText(file, array.texts[k]))
            return false;
    return true;
}

bool WriteBody(FileHandle file, const SymbolEntry &entry)
{
    switch (entry.kind) {
    case NS:
        return WriteDouble(file, entry.value);
    case ND1:
    case ND2:
        return WriteShape(file, entry.array, entry.kind == ND2) &&
               WriteDoubles(file, entry.array.values, entry.array.count);
    case SS:
        return WriteText(file, entry.text);
    case SD1:
    case SD2:
        return WriteShape(file, entry.array, entry.kind == SD2) && WriteTexts(file, entry.array);
    default:
        return true;
    }
}

// ---- Loading: fields --------------------------------------------------------

// Reads exactly `count` bytes; an error and an early end are the same to
// the format.
bool ReadExactly(FileHandle file, void *bytes, size_t count)
{
    size_t got = 0;
    return ReadUpTo(file, bytes, count, &got) && got == count;
}

bool ReadU32(FileHandle file, uint32_t *value)
{
    unsigned char bytes[4];
    if (!ReadExactly(file, bytes, sizeof bytes))
        return false;
    *value = static_cast<uint32_t>(GetLittle(bytes, 4));
    return true;
}

bool ReadDouble(FileHandle file, double *value)
{
    unsigned char bytes[8];
    if (!ReadExactly(file, bytes, sizeof bytes))
        return false;
    *value = std::bit_cast<double>(GetLittle(bytes, 8));
    return true;
}

// The first allocation of a block, and the least it grows by.
constexpr size_t FirstStep = 64 * 1024;

// Reads `total` bytes into a new block of exactly that size. The block is
// never more than twice what has arrived plus FirstStep, so a length field
// that promises gigabytes in a short file fails with ErrFileRead after a
// small allocation. Only a real shortage gives ErrNoMemory.
int32_t ReadBlock(FileHandle file, uint64_t total, void **out)
{
    if (total > SIZE_MAX)
        return ErrFileRead;
    unsigned char *block = nullptr;
    size_t have = 0;
    while (have < total) {
        const size_t room = static_cast<size_t>(total) - have;
        const size_t step = have < FirstStep ? FirstStep : have;
        const size_t want = have + (step < room ? step : room);
        void *grown = std::realloc(block, want);
        if (grown == nullptr) {
            std::free(block);
            return ErrNoMemory;
        }
        block = static_cast<unsigned char *>(grown);
        if (!ReadExactly(file, block + have, want - have)) {
            std::free(block);
            return ErrFileRead;
        }
        have = want;
    }
    *out = block;
    return 0;
}

// A text item into a block of exactly its length. Its last byte must be the
// terminator; a zero before that merely ends the text early for every
// reader, which does no harm.
int32_t ReadText(FileHandle file, char **out)
{
    uint32_t length = 0;
    if (!ReadU32(file, &length) || length == 0)
        return ErrFileRead;
    void *block = nullptr;
    if (int32_t rc = ReadBlock(file, length, &block))
        return rc;
    char *text = static_cast<char *>(block);
    if (text[length - 1] != '\0') {
        std::free(text);
        return ErrFileRead;
    }
    *out = text;
    return 0;
}

// Count, and dim1 and dim2 for two dimensions. The product is taken in 64
// bits: dimensions whose product passes 32 bits must not pass for a small
// array by wrapping onto its count.
int32_t ReadShape(FileHandle file, bool twoDimensions, ArrayPayload *array)
{
    if (!ReadU32(file, &array->count))
        return ErrFileRead;
    if (twoDimensions && !(ReadU32(file, &array->dim1) && ReadU32(file, &array->dim2)))
        return ErrFileRead;
    if (array->count == 0)
        return ErrFileRead;
    if (twoDimensions && static_cast<uint64_t>(array->dim1) * array->dim2 != array->count)
        return ErrFileRead;
    return 0;
}

// ---- Loading: bodies --------------------------------------------------------

int32_t ReadNumericArray(FileHandle file, ArrayPayload *array)
{
    void *block = nullptr;
    if (int32_t rc = ReadBlock(file, static_cast<uint64_t>(array->count) * sizeof(double), &block))
        return rc;
    array->values = static_cast<double *>(block);
    unsigned char *bytes = static_cast<unsigned char *>(block);
    for (uint32_t k = 0; k < array->count; ++k)
        array->values[k] = std::bit_cast<double>(GetLittle(bytes + 8 * static_cast<size_t>(k), 8));
    return 0;
}

// The pointer table grows with the items actually read, as a block of bytes
// does, and `count` tracks the items held, so FreePayload can release a
// partly read array at any moment. At the end the table is exactly full.
int32_t ReadStringArray(FileHandle file, ArrayPayload *array)
{
    const uint32_t total = array->count;
    uint32_t capacity = 0;
    array->count = 0;
    while (array->count < total) {
        if (array->count == capacity) {
            const uint32_t step = capacity < 1024 ? 1024 : capacity;
            capacity = total - capacity < step ? total : capacity + step;
            // Only a 32-bit size_t can overflow here.
            if (static_cast<uint64_t>(capacity) * sizeof(char *) > SIZE_MAX)
                return ErrNoMemory;
            void *grown = std::realloc(array->texts, capacity * sizeof(char *));
            if (grown == nullptr)
                return ErrNoMemory;
            array->texts = static_cast<char **>(grown);
        }
        char *text = nullptr;
        if (int32_t rc = ReadText(file, &text))
            return rc;
        array->texts[array->count++] = text;
    }
    return 0;
}

// Fills the payload of `made`, whose kind is one of the six. On failure the
// caller releases whatever the payload holds by then.
int32_t ReadBody(FileHandle file, SymbolEntry *made)
{
    switch (made->kind) {
    case NS:
        return ReadDouble(file, &made->value) ? 0 : ErrFileRead;
    case ND1:
    case ND2:
        if (int32_t rc = ReadShape(file, made->kind == ND2, &made->array))
            return rc;
        return ReadNumericArray(file, &made->array);
    case SS:
        return ReadText(file, &made->text);
    default: // SD1, SD2
        if (int32_t rc = ReadShape(file, made->kind == SD2, &made->array))
            return rc;
        return ReadStringArray(file, &made->array);
    }
}

// ---- Loading: records -------------------------------------------------------

bool IsEndRecord(const unsigned char *head)
{
    for (size_t k = 0; k < HeadSize; ++k)
        if (head[k] != 0xFF)
            return false;
    return true;
}

bool IsParameterKind(uint16_t kind) { return std::has_single_bit(kind) && (kind & ~AnyParameter) == 0; }

// The name must end inside its field and follow the rule of its family. The
// family is read from the kind word before the kind itself is checked, since
// the checks on a head run in the order name, collision, kind.
bool ReadHeadName(const unsigned char *head, uint16_t kind, char (&name)[NameFieldSize])
{
    std::memcpy(name, head + NameOffset, sizeof name);
    if (std::memchr(name, '\0', sizeof name) == nullptr)
        return false;
    return ParamNameIsValid(name, (kind & StringParameter) != 0);
}

// One record whose head has been read. The entry joins its bucket only once
// its payload is complete.
int32_t LoadRecord(EvalContext *ctx, FileHandle file, const unsigned char *head, int32_t noReplace)
{
    SymbolEntry made;
    std::memset(&made, 0, sizeof made);
    made.kind = static_cast<uint16_t>(GetLittle(head, 2));
    char name[NameFieldSize];
    if (!ReadHeadName(head, made.kind, name))
        return ErrFileRead;
    SymbolBucket *bucket = BucketOf(ctx, name);
    if (int32_t rc = ClearForReplacement(bucket, name, noReplace, ErrBadName))
        return rc;
    if (!IsParameterKind(made.kind))
        return ErrFileRead;
    CopyName(made.name, name);
    made.attribute = static_cast<uint32_t>(GetLittle(head + AttributeOffset, 4));
    if (int32_t rc = ReadBody(file, &made)) {
        FreePayload(&made);
        return rc;
    }
    if (InsertEntry(bucket, made) == nullptr) {
        FreePayload(&made);
        return ErrNoMemory;
    }
    return 0;
}

int32_t LoadRecords(EvalContext *ctx, FileHandle file, int32_t noReplace)
{
    for (;;) {
        unsigned char head[HeadSize];
        if (!ReadExactly(file, head, sizeof head))
            return ErrFileRead;
        if (IsEndRecord(head))
            return 0;
        if (int32_t rc = LoadRecord(ctx, file, head, noReplace))
            return rc;
    }
}

} // namespace
} // namespace qx

using namespace qx;

extern "C" {

// Every parameter, protected ones included, in table order; functions and
// constants stay out. A failed write ends the save where it stands.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_SaveParam(EvalContext *ctx, FileHandle file)
{
    if (ctx->symbols == nullptr)
        return 0;
    for (int b = 0; b < BucketCount; ++b) {
        const SymbolBucket &bucket = ctx->symbols[b];
        for (uint32_t k = 0; k < bucket.count; ++k) {
            const SymbolEntry &entry = bucket.entries[k];
            if (IsParameter(entry) && !(WriteHead(file, entry) && WriteBody(file, entry)))
                return ErrFileWrite;
        }
    }
    unsigned char end[HeadSize];
    std::memset(end, 0xFF, sizeof end);
    return WriteAll(file, end, sizeof end) ? 0 : ErrFileWrite;
}

// A merge: records replace or join parameters, and the rest of the table
// stays. Records read in full before a failure stay too.
QUORBIX_API int32_t QUORBIX_CALL Quorbix_LoadParam(EvalContext *ctx, FileHandle file, int32_t noReplace)
{
    if (ctx->symbols == nullptr)
        return 0;
    return LoadRecords(ctx, file, noReplace);
}

} // extern "C"
