#include "support/alloc_hooks.h"

#include <sys/types.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);
ssize_t __real_read(int fd, void *bytes, size_t count);
ssize_t __real_write(int fd, const void *bytes, size_t count);
}

namespace {

// Atomic so that tests running contexts on several threads stay free of
// data races; injecting a failure is meant for one thread at a time.
std::atomic<size_t> allocations{0};
std::atomic<long> liveBlocks{0};
std::atomic<size_t> failAt{0};
std::atomic<bool> failSticky{false};
std::atomic<bool> failed{false};

bool ShouldFail()
{
    ++allocations;
    if (failAt.load(std::memory_order_relaxed) == 0)
        return false;
    if (failAt > 1) {
        --failAt;
        return false;
    }
    if (!failSticky)
        failAt = 0;
    failed = true;
    return true;
}

std::atomic<size_t> ioFaultAt{0};
std::atomic<qxtest::IoFault> ioFault{qxtest::IoFault::Fail};
std::atomic<bool> ioFaulted{false};

// The fault to apply to this call, if it is the one chosen.
bool IoFaultHere()
{
    if (ioFaultAt == 0)
        return false;
    if (--ioFaultAt != 0)
        return false;
    ioFaulted = true;
    return true;
}

template <typename Transfer>
ssize_t FaultyTransfer(size_t count, Transfer transfer)
{
    if (!IoFaultHere())
        return transfer(count);
    switch (ioFault.load()) {
    case qxtest::IoFault::Fail: errno = EIO; return -1;
    case qxtest::IoFault::Interrupt: errno = EINTR; return -1;
    case qxtest::IoFault::Partial: return transfer(count > 1 ? count / 2 : count);
    }
    return -1;
}

} // namespace

namespace qxtest {

void FaultIo(size_t n, IoFault fault)
{
    ioFault = fault;
    ioFaultAt = n;
    ioFaulted = false;
}

bool IoFaulted() { return ioFaulted; }


size_t AllocationCount() { return allocations; }
void ResetAllocationCount() { allocations = 0; }
long LiveBlocks() { return liveBlocks; }

void FailAllocation(size_t n, bool sticky)
{
    failAt = n;
    failSticky = sticky;
    failed = false;
}

bool AllocationFailed() { return failed; }

} // namespace qxtest

extern "C" {

static void *Counted(void *block)
{
    if (block != nullptr)
        ++liveBlocks;
    return block;
}

void *__wrap_malloc(size_t size) { return ShouldFail() ? nullptr : Counted(__real_malloc(size)); }
void *__wrap_calloc(size_t count, size_t size) { return ShouldFail() ? nullptr : Counted(__real_calloc(count, size)); }

void __wrap_free(void *block)
{
    if (block != nullptr)
        --liveBlocks;
    __real_free(block);
}

void *__wrap_realloc(void *block, size_t size)
{
    if (size != 0 && ShouldFail())
        return nullptr;
    if (block == nullptr)
        return Counted(__real_realloc(block, size));
    void *moved = __real_realloc(block, size);
    if (size == 0 && moved == nullptr)
        --liveBlocks; // glibc frees the block for a size of 0
    return moved;
}

ssize_t __wrap_read(int fd, void *bytes, size_t count)
{
    return FaultyTransfer(count, [&](size_t n) { return __real_read(fd, bytes, n); });
}

ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    return FaultyTransfer(count, [&](size_t n) { return __real_write(fd, bytes, n); });
}

} // extern "C"
