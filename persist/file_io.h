// The two file operations of the library: the only code that talks to the
// operating system. Both work at the handle's current position, on a handle
// the host opened, and neither opens, seeks or closes anything.
#pragma once

#include <cstddef>

#include "quorbix.h"

namespace qx {

// Writes all `count` bytes, however many calls that takes. False when the
// system refuses or stops taking bytes; what went out until then stays.
bool WriteAll(FileHandle file, const void *bytes, size_t count);

// Reads up to `count` bytes and stores how many came in `got`. A `got` below
// `count` means the data ended. False when the system reports an error.
bool ReadUpTo(FileHandle file, void *bytes, size_t count, size_t *got);

} // namespace qx
