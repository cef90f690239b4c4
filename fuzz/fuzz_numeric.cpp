// Numeric evaluation of any text.
#include <cmath>

#include "fuzz_host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    qxfuzz::Host host;
    qxfuzz::Text text(data, size);
    host.ctx.text = text.bytes;
    const int32_t rc = Quorbix(&host.ctx);
    qxfuzz::Require(qxfuzz::IsKnownCode(rc), "result code");
    if (rc != 0)
        qxfuzz::Require(host.ctx.result == 0.0 && !std::signbit(host.ctx.result), "result is 0.0 after failure");
    return 0;
}
