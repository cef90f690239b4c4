// Loading any bytes as a parameter file. The first byte chooses noReplace;
// the rest is the file. A successful load must survive a save and a load
// into an empty context with every parameter intact.
#include <unistd.h>

#include <cstdio>

#include "fuzz_host.h"

namespace {

// An anonymous file holding the bytes, positioned at its start.
int FileOf(const uint8_t *data, size_t size)
{
    FILE *file = std::tmpfile();
    qxfuzz::Require(file != nullptr, "temporary file");
    const int fd = dup(fileno(file));
    std::fclose(file);
    qxfuzz::Require(size == 0 || write(fd, data, size) == static_cast<ssize_t>(size), "write input");
    lseek(fd, 0, SEEK_SET);
    return fd;
}

void CheckRoundTrip(qxfuzz::Host &host)
{
    const int saved = FileOf(nullptr, 0);
    qxfuzz::Require(Quorbix_SaveParam(&host.ctx, saved) == 0, "save after load");
    lseek(saved, 0, SEEK_SET);
    EvalContext fresh;
    qxfuzz::Require(Quorbix_Initialize(&fresh) == 0, "initialize");
    qxfuzz::Require(Quorbix_LoadParam(&fresh, saved, 1) == 0, "reload what was saved");
    qxfuzz::Require(Quorbix_ParamCount(&fresh, nullptr) == Quorbix_ParamCount(&host.ctx, nullptr), "same count");
    Quorbix_Terminate(&fresh);
    close(saved);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    qxfuzz::Host host;
    const int fd = FileOf(data + 1, size - 1);
    const int32_t rc = Quorbix_LoadParam(&host.ctx, fd, data[0] & 1);
    close(fd);
    qxfuzz::Require(rc == 0 || rc == ErrFileRead || rc == ErrBadName || rc == ErrNoMemory, "load code");
    if (rc == 0)
        CheckRoundTrip(host);
    return 0;
}
