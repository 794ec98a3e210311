#include "RgbOrder.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "python/RgbOrder.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h> // IWYU pragma: keep
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kq::python::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void SwapPart(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::Full128<std::uint8_t> bytes;
    alignas(16) static constexpr std::uint8_t order[16] = {2, 1,  0,  5, 4,  3,  8,  7,
                                                           6, 11, 10, 9, 14, 13, 12, 15};
    const auto index = hn::Load(bytes, order);
    // Five pixels at a time, and a byte that the next five write again.
    constexpr std::size_t step = 5;
    for (; i + step < pixels; i += step) {
        hn::StoreU(hn::TableLookupBytes(hn::LoadU(bytes, from + 3 * i), index), bytes, to + 3 * i);
    }
#endif
    for (; i < pixels; ++i) {
        to[3 * i] = from[3 * i + 2];
        to[3 * i + 1] = from[3 * i + 1];
        to[3 * i + 2] = from[3 * i];
    }
}

void Swap(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels) {
#if HWY_TARGET != HWY_SCALAR
    // Past the caches, which a picture would leave again before anybody reads it; parts are multiples of 16.
    const hn::Full128<std::uint8_t> bytes;
    constexpr std::size_t part = 320;
    alignas(16) std::uint8_t swapped[3 * part];
    const bool isAligned = reinterpret_cast<std::uintptr_t>(to) % 16 == 0;
    for (; isAligned && pixels >= part; pixels -= part, from += 3 * part, to += 3 * part) {
        SwapPart(from, swapped, part);
        for (std::size_t i = 0; i < 3 * part; i += 16) {
            hn::Stream(hn::Load(bytes, swapped + i), bytes, to + i);
        }
    }
    hwy::FlushStream();
#endif
    SwapPart(from, to, pixels);
}

} // namespace kq::python::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kq::python {

HWY_EXPORT(Swap);

void SwapColours(const std::uint8_t* from, std::uint8_t* to, std::size_t pixels) {
    HWY_DYNAMIC_DISPATCH(Swap)(from, to, pixels);
}

} // namespace kq::python
#endif
