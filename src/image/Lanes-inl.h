/// @file
/// Vector types and the few instructions beyond Highway's portable set. Included once per target.
#if defined(KQ_IMAGE_LANES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KQ_IMAGE_LANES_INL_H
#undef KQ_IMAGE_LANES_INL_H
#else
#define KQ_IMAGE_LANES_INL_H
#endif

#include "Kernels.h"
#include "Repeated.h"

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

HWY_BEFORE_NAMESPACE();
namespace kq::image::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
namespace {

constexpr hn::ScalableTag<std::uint8_t> d8;
constexpr hn::ScalableTag<std::int16_t> d16;
constexpr hn::ScalableTag<std::uint16_t> du16;
constexpr hn::ScalableTag<std::int32_t> d32;
constexpr hn::ScalableTag<std::uint32_t> du32;
constexpr hn::Half<decltype(d8)> d8Half;
constexpr hn::Full128<std::uint8_t> d8Lane;
using V8 = hn::Vec<decltype(d8)>;
using V8Half = hn::Vec<decltype(d8Half)>;
using V8Lane = hn::Vec<decltype(d8Lane)>;
using V16 = hn::Vec<decltype(d16)>;
using V32 = hn::Vec<decltype(d32)>;

/// Pixels of a block: one vector of luma samples. Lanes are the 128-bit parts of a vector.
constexpr std::size_t blockSize = HWY_MAX_BYTES;
constexpr std::size_t halfBlock = blockSize / 2;
constexpr std::size_t laneCount = blockSize / 16;

/// Whether a vector has two of them.
#define KQ_TWO_LANES (HWY_TARGET <= HWY_AVX2 && HWY_TARGET > HWY_AVX3_DL)
/// Whether it has four, and bytes move between them as easily as within.
#define KQ_FOUR_LANES (HWY_TARGET <= HWY_AVX3_DL)
/// Whether it is a vector of 64-bit ARM, which has one.
#define KQ_NEON (HWY_TARGET == HWY_NEON)

#if KQ_FOUR_LANES
#define KQ_X86(name) _mm512_##name
#elif HWY_TARGET <= HWY_AVX2
#define KQ_X86(name) _mm256_##name
#else
#define KQ_X86(name) _mm_##name
#endif

/// A constant out of memory, and the same as bytes, as 16-bit and as 32-bit values.
template <std::uint32_t pattern>
HWY_INLINE V8 Pattern() {
    return hn::Load(d8, reinterpret_cast<const std::uint8_t*>(Repeated<pattern>::parts));
}
template <int value>
HWY_INLINE V8 Bytes() {
    return Pattern<(value & 0xFFu) * 0x01010101u>();
}
/// The first value at the even positions.
template <int even, int odd = even>
HWY_INLINE V16 Words() {
    return hn::BitCast(d16, Pattern<(even & 0xFFFFu) | (odd & 0xFFFFu) << 16>());
}
template <int value>
HWY_INLINE V32 DoubleWords() {
    return hn::BitCast(d32, Pattern<static_cast<std::uint32_t>(value)>());
}

#if KQ_NEON
// With a single lane, what is done within lanes is what Highway does with whole vectors.
HWY_INLINE V8 PackSaturated(V16 low, V16 high) {
    return hn::Combine(d8, hn::DemoteTo(d8Half, high), hn::DemoteTo(d8Half, low));
}
HWY_INLINE V32 MulAddPairs(V16 a, V16 b) {
    return V32{vpaddq_s32(vmull_s16(vget_low_s16(a.raw), vget_low_s16(b.raw)), vmull_high_s16(a.raw, b.raw))};
}
HWY_INLINE V16 MulAddBytePairs(V8 a, V8 b) {
    const V16 signedBytes = hn::BitCast(d16, b);
    const V16 evenA = hn::And(hn::BitCast(d16, a), hn::Set(d16, 255));
    const V16 oddA = hn::BitCast(d16, hn::ShiftRight<8>(hn::BitCast(du16, a)));
    return hn::SaturatedAdd(hn::Mul(evenA, hn::ShiftRight<8>(hn::ShiftLeft<8>(signedBytes))),
                            hn::Mul(oddA, hn::ShiftRight<8>(signedBytes)));
}
HWY_INLINE V16 MulRounded(V16 a, V16 b) {
    return hn::MulFixedPoint15(a, b);
}
HWY_INLINE V16 EvenParts(V16 low, V16 high) {
    return hn::BitCast(d16, hn::ConcatEven(d32, hn::BitCast(d32, high), hn::BitCast(d32, low)));
}
HWY_INLINE V16 OddParts(V16 low, V16 high) {
    return hn::BitCast(d16, hn::ConcatOdd(d32, hn::BitCast(d32, high), hn::BitCast(d32, low)));
}
#else
/// Packs two vectors of 16-bit values into bytes with saturation, each lane for itself.
HWY_INLINE V8 PackSaturated(V16 low, V16 high) {
    return V8{KQ_X86(packus_epi16)(low.raw, high.raw)};
}

/// a[2i] * b[2i] + a[2i+1] * b[2i+1] in 32 bits.
HWY_INLINE V32 MulAddPairs(V16 a, V16 b) {
    return V32{KQ_X86(madd_epi16)(a.raw, b.raw)};
}

/// Pairs of unsigned bytes and signed bytes likewise, in 16 bits with saturation.
HWY_INLINE V16 MulAddBytePairs(V8 a, V8 b) {
    return V16{KQ_X86(maddubs_epi16)(a.raw, b.raw)};
}

/// (a b + 2^14) >> 15. Not both may be -32768.
HWY_INLINE V16 MulRounded(V16 a, V16 b) {
    return V16{KQ_X86(mulhrs_epi16)(a.raw, b.raw)};
}

/// The even (or odd) 32-bit parts of two vectors, those of low first, each lane for itself.
template <int selection>
HWY_INLINE V16 SelectParts(V16 low, V16 high) {
    constexpr hn::ScalableTag<float> d;
    return hn::BitCast(d16, hn::Vec<decltype(d)>{KQ_X86(shuffle_ps)(hn::BitCast(d, low).raw,
                                                                    hn::BitCast(d, high).raw, selection)});
}
HWY_INLINE V16 EvenParts(V16 low, V16 high) {
    return SelectParts<0x88>(low, high);
}
HWY_INLINE V16 OddParts(V16 low, V16 high) {
    return SelectParts<0xDD>(low, high);
}
#endif

/// That, added to a sum.
HWY_INLINE V32 MulAddPairs(V32 sum, V16 a, V16 b) {
#if KQ_FOUR_LANES
    // Processors of this target have the instruction; compilers are not told so.
    __asm__("vpdpwssd %2, %1, %0" : "+v"(sum.raw) : "v"(a.raw), "vm"(b.raw));
    return sum;
#else
    return hn::Add(MulAddPairs(a, b), sum);
#endif
}

/// Takes the high halves of two vectors of 32-bit values: those of even at the even 16-bit positions.
HWY_INLINE V16 HighHalves(V32 even, V32 odd) {
#if KQ_FOUR_LANES
    // One instruction, and not on the port that multiplications need.
    constexpr __mmask64 lowHalves = 0x3333333333333333;
    alignas(16) static constexpr std::uint8_t order[16] = {2,  3,  2,  3,  6,  7,  6,  7,
                                                           10, 11, 10, 11, 14, 15, 14, 15};
    const auto index = hn::LoadDup128(d8, order);
    return V16{_mm512_mask_shuffle_epi8(odd.raw, lowHalves, even.raw, index.raw)};
#else
    return hn::OddEven(hn::BitCast(d16, odd), hn::BitCast(d16, hn::ShiftRight<16>(hn::BitCast(du32, even))));
#endif
}

template <class V>
HWY_INLINE V Permute32(V v, const std::int32_t* index) {
    return hn::BitCast(hn::DFromV<V>(),
                       hn::TableLookupLanes(hn::BitCast(d32, v), hn::SetTableIndices(d32, index)));
}

/// Deals a vector that consists of parts parts per lane to its lanes in turn: part i * lanes + l becomes
/// part i of lane l. What then interleaves or packs within lanes ends up in the order of memory.
template <std::size_t parts, class V>
HWY_INLINE V Deal(V v) {
    if constexpr (laneCount == 1 || parts == 1) {
        return v;
    }
    constexpr std::size_t width = 4 / parts;
    alignas(64) std::int32_t index[blockSize / 4];
    for (std::size_t i = 0; i < blockSize / 4; ++i) {
        index[i] = static_cast<std::int32_t>((i % 4 / width * laneCount + i / 4) * width + i % width);
    }
    return Permute32(v, index);
}

/// Takes back Deal<parts>().
template <std::size_t parts, class V>
HWY_INLINE V Gather(V v) {
    if constexpr (laneCount == 1) {
        return v;
    }
    constexpr std::size_t width = 4 / parts;
    alignas(64) std::int32_t index[blockSize / 4];
    for (std::size_t i = 0; i < blockSize / 4; ++i) {
        const std::size_t part = i / width;
        index[i] =
            static_cast<std::int32_t>((part % laneCount * parts + part / laneCount) * width + i % width);
    }
    return Permute32(v, index);
}

#if !KQ_FOUR_LANES
/// Loads each lane from an address of its own: lane l from p + l * stride.
template <std::size_t stride>
HWY_INLINE V8 LoadLanes(const std::uint8_t* p) {
#if KQ_TWO_LANES
    return hn::Combine(d8, hn::LoadU(d8Lane, p + stride), hn::LoadU(d8Lane, p));
#else
    return hn::LoadU(d8, p);
#endif
}
#endif

/// Two vectors, each lane for itself.
struct LanePairs {
    V8 even, odd;
};

/// Loads two vectors' bytes: the first, third and so on of their 16-byte parts into one vector, the others
/// into another.
HWY_INLINE LanePairs LoadAlternating(const std::uint8_t* p) {
#if KQ_FOUR_LANES
    const V8 first = hn::LoadU(d8, p), last = hn::LoadU(d8, p + blockSize);
    return {V8{_mm512_shuffle_i32x4(first.raw, last.raw, 0x88)},
            V8{_mm512_shuffle_i32x4(first.raw, last.raw, 0xDD)}};
#elif KQ_TWO_LANES
    // Blends are cheaper than moves from lane to lane.
    const V8 first = hn::LoadU(d8, p), middle = hn::LoadU(d8, p + 16), last = hn::LoadU(d8, p + 32);
    return {hn::ConcatUpperLower(d8, middle, first), hn::ConcatUpperLower(d8, last, middle)};
#else
    return {hn::LoadU(d8, p), hn::LoadU(d8, p + 16)};
#endif
}

/// Where the bytes of a vector come from in their lanes; 0x80 stands for 0.
struct ByteIndex {
    alignas(64) std::uint8_t bytes[blockSize];
};

HWY_INLINE V8 PickBytes(V8 source, const ByteIndex& index) {
    return hn::TableLookupBytes(source, hn::Load(d8, index.bytes));
}

#if KQ_FOUR_LANES
/// The same from anywhere in the vector.
HWY_INLINE V8 PermuteBytes(V8 source, const ByteIndex& index) {
    return V8{_mm512_permutexvar_epi8(hn::Load(d8, index.bytes).raw, source.raw)};
}
#endif

/// Has the value ready at this point of the program. Compilers tend to compute everything that a block needs
/// side by side, run out of registers, and pass half of it through memory.
template <class V>
HWY_INLINE V Pinned(V v) {
#if KQ_NEON
    __asm__ volatile("" : "+w"(v.raw));
#else
    __asm__ volatile("" : "+x"(v.raw));
#endif
    return v;
}

/// The same 16 bytes in every lane.
HWY_INLINE V8 EveryLane(const std::uint8_t* bytes) {
    return hn::LoadDup128(d8, bytes);
}

template <bool stream>
HWY_INLINE void StoreVector(V8 v, std::uint8_t* out) {
    if constexpr (stream) {
        hn::Stream(v, d8, out);
    } else {
        hn::StoreU(v, d8, out);
    }
}

#if KQ_TWO_LANES
/// Interleaves the two lanes' parts; the first half of them goes to low, the second to high.
template <class Part>
HWY_INLINE void StoreInterleavedHalves(V8 v, std::uint8_t* low, std::uint8_t* high) {
    const hn::Full128<Part> parts;
    const auto even = hn::BitCast(parts, hn::LowerHalf(d8Half, v));
    const auto odd = hn::BitCast(parts, hn::UpperHalf(d8Half, v));
    hn::StoreU(hn::BitCast(d8Half, hn::InterleaveLower(parts, even, odd)), d8Half, low);
    hn::StoreU(hn::BitCast(d8Half, hn::InterleaveUpper(parts, even, odd)), d8Half, high);
}
#endif

/// Calls convert with whether a picture of this many bytes per row and rows is to bypass the caches.
template <class Convert>
HWY_INLINE void WithStores(Plane out, std::ptrdiff_t rowBytes, std::ptrdiff_t rows, Convert convert) {
    const auto address = reinterpret_cast<std::uintptr_t>(out.data) | static_cast<std::uintptr_t>(out.pitch);
    if (rowBytes * rows >= streamBytes && address % blockSize == 0) {
        convert(std::true_type());
        hwy::FlushStream();
    } else {
        convert(std::false_type());
    }
}

} // namespace
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
