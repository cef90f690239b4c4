// The three scanners that look at a text without evaluating it.
#include "fuzz_host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    qxfuzz::Host host;
    qxfuzz::Text text(data, size);
    const int32_t type = Quorbix_CheckStrType(&host.ctx, text.bytes);
    qxfuzz::Require(type >= 0 && type <= 3, "type rating");

    const char *end = text.bytes + size;
    uint32_t offsets[4];
    const char *cursor = text.bytes;
    const int32_t commas = Quorbix_CommaPos(&cursor, offsets, 4);
    qxfuzz::Require(commas == 0 || commas == ErrParenMismatch || commas == ErrArgument ||
                        commas == ErrUnterminatedString,
                    "comma scan code");
    qxfuzz::Require(cursor >= text.bytes && cursor <= end, "comma scan stays in the text");
    for (uint32_t offset : offsets)
        qxfuzz::Require(offset <= size, "comma offsets inside the text");

    const int32_t wanted = size > 0 ? static_cast<int8_t>(data[0]) : '=';
    cursor = text.bytes;
    const int32_t found = Quorbix_SearchChr(&cursor, wanted);
    qxfuzz::Require(found == 0 || found == ErrParenMismatch || found == ErrUnterminatedString, "search code");
    qxfuzz::Require(found == ErrUnterminatedString ? cursor == nullptr : (cursor >= text.bytes && cursor <= end),
                    "search stays in the text");
    return 0;
}
