#include "player/LowMemory.h"

#include <sys/mman.h>

#include <cstdint>

#if UINTPTR_MAX == 0xFFFFFFFFu
namespace {
constexpr int kLowFlag = 0; // every address will do
}
#else
namespace {
constexpr int kLowFlag = MAP_32BIT;
}
#endif

void* AllocateLow(std::size_t nBytes) noexcept {
    void* const p =
        mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | kLowFlag, -1, 0);
    return p != MAP_FAILED ? p : nullptr;
}

void FreeLow(void* pMemory, std::size_t nBytes) noexcept {
    if (pMemory != nullptr) {
        munmap(pMemory, nBytes);
    }
}
