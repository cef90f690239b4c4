// A text may ask for a block of gigabytes, and rightly gets it: spc$(2e9) is
// two billion spaces. Under the fuzzer such an input would only exhaust the
// fuzzer's memory limit, so the fuzz targets refuse any single block above
// a cap. The input then exercises the library's out-of-memory path instead,
// which must fail cleanly like any other. Linked with --wrap for malloc,
// calloc and realloc.
#include <cstddef>

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);

namespace {

constexpr size_t LargestBlock = size_t{256} << 20;

} // namespace

void *__wrap_malloc(size_t size) { return size > LargestBlock ? nullptr : __real_malloc(size); }

void *__wrap_calloc(size_t count, size_t size)
{
    if (size != 0 && count > LargestBlock / size)
        return nullptr;
    return __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size) { return size > LargestBlock ? nullptr : __real_realloc(block, size); }

} // extern "C"
