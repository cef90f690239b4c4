// Counting and failing the library's allocations in tests. The test binary
// is linked with --wrap for malloc, calloc, realloc and free.
#pragma once

#include <cstddef>

namespace qxtest {

// Allocations (malloc, calloc, and realloc to a non-zero size) since the
// last reset.
size_t AllocationCount();
void ResetAllocationCount();

// Blocks allocated and not yet freed, counted over the whole run: compare
// before and after an operation to see that it leaked nothing.
long LiveBlocks();

// Makes the n-th allocation from now (1-based) fail, and every one after it
// too if `sticky`; 0 turns failure off. Returns whether a failure was injected
// since the last call.
void FailAllocation(size_t n, bool sticky = false);
bool AllocationFailed();

// Turns failure off when it goes out of scope.
struct AllocationFailureScope {
    AllocationFailureScope(size_t n, bool sticky = false) { FailAllocation(n, sticky); }
    ~AllocationFailureScope() { FailAllocation(0); }
};

// The same for the file layer: the test binary also wraps read and write.
// Armed, the n-th read or write from now is made to fail with EIO, to be
// interrupted before moving a byte (EINTR), or to move only part of what was
// asked. Only calls made while armed are counted.
enum class IoFault { Fail, Interrupt, Partial };
void FaultIo(size_t n, IoFault fault);
bool IoFaulted();

struct IoFaultScope {
    IoFaultScope(size_t n, IoFault fault) { FaultIo(n, fault); }
    ~IoFaultScope() { FaultIo(0, IoFault::Fail); }
};

} // namespace qxtest
