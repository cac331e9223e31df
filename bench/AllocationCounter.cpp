#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> now{0};
std::atomic<std::size_t> peak{0};

// Each block carries its size in front, aligned for any type.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* allocate(std::size_t size) {
    void* block = std::malloc(size + kHeader);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    *static_cast<std::size_t*>(block) = size;
    const std::size_t held = now.fetch_add(size) + size;
    std::size_t seen = peak.load();
    while (held > seen && !peak.compare_exchange_weak(seen, held)) {
    }
    return static_cast<char*>(block) + kHeader;
}

void release(void* pointer) noexcept {
    if (pointer == nullptr) {
        return;
    }
    void* block = static_cast<char*>(pointer) - kHeader;
    now.fetch_sub(*static_cast<std::size_t*>(block));
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* pointer) noexcept {
    release(pointer);
}
void operator delete[](void* pointer) noexcept {
    release(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    release(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept {
    release(pointer);
}

namespace quillane::bench {

std::size_t heapBytesNow() {
    return now.load();
}
std::size_t heapBytesPeak() {
    return peak.load();
}
void resetHeapPeak() {
    peak.store(now.load());
}

} // namespace quillane::bench
