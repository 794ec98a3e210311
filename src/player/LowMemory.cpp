#include "player/LowMemory.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdint>

namespace {

#if UINTPTR_MAX == 0xFFFFFFFFu

// Every address will do.
void* MapLow(std::size_t nBytes) noexcept {
    void* const p = mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return p != MAP_FAILED ? p : nullptr;
}

#else

constexpr std::uintptr_t kFirst = 0x1000'0000; // above programs that are not relocated
constexpr std::uintptr_t kEnd = 0x1'0000'0000;
constexpr std::uintptr_t kStep = 0x1'0000; // the largest page of any kernel

void* MapAt(std::uintptr_t nAddress, std::size_t nBytes) noexcept {
    // A kernel that does not know the flag takes the address for a wish.
    void* const p = mmap(reinterpret_cast<void*>(nAddress), nBytes, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (p == MAP_FAILED) {
        return nullptr;
    }
    if (reinterpret_cast<std::uintptr_t>(p) > kEnd - nBytes) {
        munmap(p, nBytes);
        return nullptr;
    }
    return p;
}

// No kernel has a way to ask for it that all processors share, so places are tried, from where the last one
// was found.
void* MapLow(std::size_t nBytes) noexcept {
    static std::atomic<std::uintptr_t> s_nNext{kFirst};
    if (nBytes > kEnd - kFirst) {
        return nullptr;
    }
    const std::uintptr_t nStep = (nBytes + kStep - 1) / kStep * kStep;
    std::uintptr_t nAddress = s_nNext.load(std::memory_order_relaxed);
    for (std::uintptr_t nTried = 0; nTried < kEnd - kFirst; nTried += nStep, nAddress += nStep) {
        if (nAddress > kEnd - nBytes) {
            nAddress = kFirst;
        }
        if (void* const p = MapAt(nAddress, nBytes)) {
            s_nNext.store(nAddress, std::memory_order_relaxed);
            return p;
        }
    }
    return nullptr;
}

#endif

} // namespace

void* AllocateLow(std::size_t nBytes) noexcept {
    return nBytes != 0 ? MapLow(nBytes) : nullptr;
}

void FreeLow(void* pMemory, std::size_t nBytes) noexcept {
    if (pMemory != nullptr) {
        munmap(pMemory, nBytes);
    }
}
