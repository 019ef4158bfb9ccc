#include "heap_meter.h"

#include <malloc.h>

#include <algorithm>
#include <cstddef>

namespace {

// The metered programs have one thread.
bool metering = false;
dx7bench::HeapFigures figures;

void* taken(void* block) {
    if (metering && block != nullptr) {
        ++figures.allocations;
        figures.liveBytes += static_cast<long long>(malloc_usable_size(block));
        figures.peakBytes = std::max(figures.peakBytes, figures.liveBytes);
    }
    return block;
}

void givenBack(void* block) {
    if (metering && block != nullptr) {
        figures.liveBytes -= static_cast<long long>(malloc_usable_size(block));
    }
}

}  // namespace

// The GNU C library's own functions under their second names.
extern "C" {

void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void __libc_free(void* block);

void* malloc(std::size_t bytes) {
    return taken(__libc_malloc(bytes));
}

void* calloc(std::size_t count, std::size_t bytes) {
    return taken(__libc_calloc(count, bytes));
}

void* realloc(void* block, std::size_t bytes) {
    givenBack(block);
    return taken(__libc_realloc(block, bytes));
}

void* memalign(std::size_t alignment, std::size_t bytes) {
    return taken(__libc_memalign(alignment, bytes));
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
    return taken(__libc_memalign(alignment, bytes));
}

void free(void* block) {
    givenBack(block);
    __libc_free(block);
}
}

namespace dx7bench {

void startHeapMeter() {
    figures = HeapFigures();
    metering = true;
}

HeapFigures stopHeapMeter() {
    metering = false;
    return figures;
}

}  // namespace dx7bench
