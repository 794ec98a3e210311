#include "tests/support/FailingAllocation.h"

#include <kqplayer/export.h>

#include <cstddef>
#include <cstdlib>
#include <new>

extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __real_calloc(std::size_t count, std::size_t size);

namespace kq::test {
namespace {

// Without constructors, because allocations begin before and end after every other object.
struct ThreadState {
    bool isCounting;
    int count;
    int failing;
};
thread_local ThreadState state;

bool IsToFail() {
    return state.isCounting && ++state.count == state.failing;
}

/// @return null when this is the allocation that is to fail, or when there is no memory
void* Allocate(std::size_t size, std::size_t alignment) {
    if (IsToFail()) {
        return nullptr;
    }
    const std::size_t bytes = size == 0 ? 1 : size;
    if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
        return __real_malloc(bytes);
    }
    return std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
}

void* AllocateOrThrow(std::size_t size, std::size_t alignment) {
    void* const memory = Allocate(size, alignment);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

FailingAllocation::FailingAllocation(int nth) : m_nth(nth) {
    state = {true, 0, nth};
}

FailingAllocation::~FailingAllocation() {
    state = {};
}

bool FailingAllocation::HasFailed() const {
    return m_nth > 0 && state.count >= m_nth;
}

int FailingAllocation::Count() const {
    return state.count;
}

} // namespace kq::test

using kq::test::Allocate;
using kq::test::AllocateOrThrow;

// What the linker puts in the place of malloc and calloc in the program's own objects. It wants to see them
// from outside where the program is linked with a sanitizer.
extern "C" KQ_API void* __wrap_malloc(std::size_t size) {
    return kq::test::IsToFail() ? nullptr : __real_malloc(size);
}
extern "C" KQ_API void* __wrap_calloc(std::size_t count, std::size_t size) {
    return kq::test::IsToFail() ? nullptr : __real_calloc(count, size);
}

constexpr std::size_t usual = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

void* operator new(std::size_t size) {
    return AllocateOrThrow(size, usual);
}
void* operator new[](std::size_t size) {
    return AllocateOrThrow(size, usual);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return AllocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return AllocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size, usual);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size, usual);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return Allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return Allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
