// String evaluation of any text.
#include "fuzz_host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    qxfuzz::Host host;
    qxfuzz::Text text(data, size);
    host.ctx.text = text.bytes;
    const int32_t rc = Quorbix_AddStr(&host.ctx);
    qxfuzz::Require(qxfuzz::IsKnownCode(rc), "result code");
    if (rc != 0)
        qxfuzz::Require(host.ctx.stringResult == nullptr, "no string after failure");
    Quorbix_FreeOut(&host.ctx);
    return 0;
}
