// The file operations on each platform: synchronous ReadFile and WriteFile on
// Windows, read(2) and write(2) elsewhere. Whatever a single system call
// does short, these loops finish, so the format code above can treat a short
// count as the end of the data and nothing else.
#include "persist/file_io.h"


#ifdef _WIN32
#include <windows.h>
#else
#include <cerrno>
#include <climits>
#include <unistd.h>
#endif

namespace qx {
namespace {

#ifdef _WIN32
// A DWORD counts at most 4 GiB - 1; ask for less per call.
constexpr size_t StepLimit = 0x40000000;
#else
// read and write report through ssize_t, so one call must not ask for more.
constexpr size_t StepLimit = SSIZE_MAX;
#endif

size_t Step(size_t remaining) { return remaining < StepLimit ? remaining : StepLimit; }

#ifdef _WIN32

// Writes one step; 0 bytes from a successful call counts as a refusal, since
// retrying it would loop forever.
bool WriteStep(FileHandle file, const unsigned char *bytes, size_t count, size_t *done)
{
    DWORD written = 0;
    if (!WriteFile(static_cast<HANDLE>(file), bytes, static_cast<DWORD>(count), &written, nullptr))
        return false;
    *done = written;
    return written != 0;
}

// A pipe whose writer has gone reports ERROR_BROKEN_PIPE where a file would
// report its end: both are the end of the data here.
bool ReadStep(FileHandle file, unsigned char *bytes, size_t count, size_t *done)
{
    DWORD read = 0;
    if (!ReadFile(static_cast<HANDLE>(file), bytes, static_cast<DWORD>(count), &read, nullptr)) {
        *done = 0;
        return GetLastError() == ERROR_BROKEN_PIPE;
    }
    *done = read;
    return true;
}

#else

// A signal that arrives before any byte moved is no failure: ask again.
bool WriteStep(FileHandle file, const unsigned char *bytes, size_t count, size_t *done)
{
    ssize_t n;
    do
        n = write(file, bytes, count);
    while (n < 0 && errno == EINTR);
    if (n <= 0)
        return false;
    *done = static_cast<size_t>(n);
    return true;
}

bool ReadStep(FileHandle file, unsigned char *bytes, size_t count, size_t *done)
{
    ssize_t n;
    do
        n = read(file, bytes, count);
    while (n < 0 && errno == EINTR);
    if (n < 0)
        return false;
    *done = static_cast<size_t>(n);
    return true;
}

#endif

} // namespace

bool WriteAll(FileHandle file, const void *bytes, size_t count)
{
    const unsigned char *next = static_cast<const unsigned char *>(bytes);
    while (count != 0) {
        size_t done = 0;
        if (!WriteStep(file, next, Step(count), &done))
            return false;
        next += done;
        count -= done;
    }
    return true;
}

// Pipes and terminals deliver what they have, so a short read is only the
// end when a further read brings nothing.
bool ReadUpTo(FileHandle file, void *bytes, size_t count, size_t *got)
{
    unsigned char *next = static_cast<unsigned char *>(bytes);
    *got = 0;
    while (*got < count) {
        size_t done = 0;
        if (!ReadStep(file, next + *got, Step(count - *got), &done))
            return false;
        if (done == 0)
            break;
        *got += done;
    }
    return true;
}

} // namespace qx
