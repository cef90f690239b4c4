// Assignment statements: any text, twice, so a created scalar is used again.
#include "fuzz_host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    qxfuzz::Host host;
    qxfuzz::Text text(data, size);
    for (int round = 0; round < 2; ++round) {
        const char *cursor = host.ctx.cursor;
        const int32_t depth = host.ctx.parenDepth;
        host.ctx.text = text.bytes;
        SubstitutionTarget target;
        const int32_t rc = Quorbix_Substitution(&host.ctx, &target);
        qxfuzz::Require(qxfuzz::IsKnownCode(rc), "result code");
        qxfuzz::Require(host.ctx.text == text.bytes && host.ctx.cursor == cursor && host.ctx.parenDepth == depth,
                        "cursor, depth and text put back");
    }
    return 0;
}
