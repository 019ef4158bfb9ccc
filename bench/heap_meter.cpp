#include "heap_meter.h"

#include <cstddef>

namespace {

// The metered programs have one thread.
bool metering = false;
long long allocations = 0;

void* taken(void* block) {
    if (metering && block != nullptr) {
        ++allocations;
    }
    return block;
}

}  // namespace

// The GNU C library's own functions under their second names.
extern "C" {

void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);

void* malloc(std::size_t bytes) {
    return taken(__libc_malloc(bytes));
}

void* calloc(std::size_t count, std::size_t bytes) {
    return taken(__libc_calloc(count, bytes));
}

void* realloc(void* block, std::size_t bytes) {
    return taken(__libc_realloc(block, bytes));
}

void* memalign(std::size_t alignment, std::size_t bytes) {
    return taken(__libc_memalign(alignment, bytes));
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
    return taken(__libc_memalign(alignment, bytes));
}
}

namespace dx7bench {

void startHeapMeter() {
    allocations = 0;
    metering = true;
}

long long stopHeapMeter() {
    metering = false;
    return allocations;
}

}  // namespace dx7bench
