#include "ScaleKernels.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ScaleKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kq::playerview::HWY_NAMESPACE {
namespace {

// SSE4 and what is better, which has lower numbers, and 64-bit ARM; on other processors plain loops serve.
#if !(HWY_TARGET <= HWY_SSE4 || (HWY_TARGET == HWY_NEON && HWY_ARCH_ARM_A64))

std::int16_t Blend(int first, int second, int weight) {
    return static_cast<std::int16_t>(first + (((second - first) * weight + 0x4000) >> 15));
}

void PickColumns(const std::uint32_t* row, int /*width*/, const std::int32_t* columns, std::size_t count,
                 std::uint32_t* out) {
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = row[columns[i]];
    }
}

void BlendColumns(const std::uint32_t* row, int /*width*/, const std::int32_t* columns,
                  const std::int16_t* weights, std::size_t count, std::int16_t* out) {
    for (std::size_t i = 0; i < 4 * count; ++i) {
        const auto* pair = reinterpret_cast<const std::uint8_t*>(row + columns[i / 4]) + i % 4;
        out[i] = Blend(levelParts * pair[0], levelParts * pair[4], weights[i]);
    }
}

void CopyRow(const std::uint8_t* from, std::size_t count, std::uint8_t* out) {
    std::memcpy(out, from, count);
}

void BlendRows(const std::int16_t* upper, const std::int16_t* lower, std::int16_t weight, std::size_t count,
               std::uint8_t* out) {
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = static_cast<std::uint8_t>((Blend(upper[i], lower[i], weight) + levelParts / 2) / levelParts);
    }
}

#else

namespace hn = hwy::HWY_NAMESPACE;

const hn::ScalableTag<std::uint8_t> d8;
const hn::ScalableTag<std::int16_t> d16;
const hn::ScalableTag<std::int32_t> d32;
const hn::ScalableTag<std::uint32_t> du32;
const hn::Half<decltype(d8)> dHalf8;

using V16 = hn::Vec<decltype(d16)>;

HWY_INLINE V16 Blend(V16 first, V16 second, V16 weight) {
    return hn::Add(first, hn::MulFixedPoint15(hn::Sub(second, first), weight));
}

template <class V8>
HWY_INLINE V16 ToSamples(V8 bytes) {
    return hn::ShiftLeft<6>(hn::PromoteTo(d16, bytes));
}

using V32 = hn::Vec<decltype(du32)>;

/// Looks pixels of a row up: where they lie close together, in a vector of neighbours, which is the case
/// whenever a picture is magnified and much faster than one by one.
class Lookup {
public:
    /// @param columns a vector of them, rising
    /// @param more    pixels to the right of each that will be asked for
    HWY_INLINE Lookup(const std::uint32_t* row, int width, const std::int32_t* columns, int more)
        : m_row(row), m_columns(hn::LoadU(d32, columns)), m_first(columns[0]),
          m_isClose(columns[lanes - 1] - m_first < lanes && m_first + more + lanes <= width),
          m_places(hn::IndicesFromVec(du32, m_isClose ? hn::Sub(m_columns, hn::Set(d32, m_first))
                                                      : hn::Zero(d32))) {}

    /// @return the pixels so many columns to the right
    HWY_INLINE V32 At(int right) const {
        return m_isClose ? hn::TableLookupLanes(hn::LoadU(du32, m_row + m_first + right), m_places)
                         : hn::GatherIndex(du32, m_row, hn::Add(m_columns, hn::Set(d32, right)));
    }

private:
    static constexpr int lanes = hn::MaxLanes(du32);

    const std::uint32_t* m_row;
    hn::Vec<decltype(d32)> m_columns;
    int m_first;
    bool m_isClose;
    decltype(hn::IndicesFromVec(du32, hn::Zero(d32))) m_places;
};

void PickColumns(const std::uint32_t* row, int width, const std::int32_t* columns, std::size_t count,
                 std::uint32_t* out) {
    for (std::size_t i = 0; i < count; i += hn::Lanes(du32)) {
        hn::StoreU(Lookup(row, width, columns + i, 0).At(0), du32, out + i);
    }
}

void BlendColumns(const std::uint32_t* row, int width, const std::int32_t* columns,
                  const std::int16_t* weights, std::size_t count, std::int16_t* out) {
    const std::size_t half = hn::Lanes(d16);
    for (std::size_t i = 0; i < count; i += hn::Lanes(du32)) {
        const Lookup pixels(row, width, columns + i, 1);
        const auto first = hn::BitCast(d8, pixels.At(0));
        const auto second = hn::BitCast(d8, pixels.At(1));
        const std::int16_t* weight = weights + 4 * i;
        std::int16_t* samples = out + 4 * i;
        hn::StoreU(Blend(ToSamples(hn::LowerHalf(dHalf8, first)), ToSamples(hn::LowerHalf(dHalf8, second)),
                         hn::LoadU(d16, weight)),
                   d16, samples);
        hn::StoreU(Blend(ToSamples(hn::UpperHalf(dHalf8, first)), ToSamples(hn::UpperHalf(dHalf8, second)),
                         hn::LoadU(d16, weight + half)),
                   d16, samples + half);
    }
}

/// Past the caches, where that can be: the X server reads a picture once, long after.
HWY_INLINE void Write(hn::Vec<decltype(d8)> bytes, bool aligned, std::uint8_t* out) {
    aligned ? hn::Stream(bytes, d8, out) : hn::StoreU(bytes, d8, out);
}

bool IsAligned(const std::uint8_t* out) {
    return reinterpret_cast<std::uintptr_t>(out) % HWY_MAX_BYTES == 0;
}

void CopyRow(const std::uint8_t* from, std::size_t count, std::uint8_t* out) {
    const std::size_t lanes = hn::Lanes(d8);
    const bool aligned = IsAligned(out);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        Write(hn::LoadU(d8, from + i), aligned, out + i);
    }
    std::memcpy(out + i, from + i, count - i);
}

void BlendRows(const std::int16_t* upper, const std::int16_t* lower, std::int16_t weight, std::size_t count,
               std::uint8_t* out) {
    const std::size_t lanes = hn::Lanes(d8);
    const auto weights = hn::Set(d16, weight);
    const auto blendHalf = [&](std::size_t i) {
        const V16 samples = Blend(hn::LoadU(d16, upper + i), hn::LoadU(d16, lower + i), weights);
        return hn::DemoteTo(dHalf8, hn::ShiftRight<6>(hn::Add(samples, hn::Set(d16, levelParts / 2))));
    };
    const auto blend = [&](std::size_t i) {
        return hn::Combine(d8, blendHalf(i + hn::Lanes(d16)), blendHalf(i));
    };
    const bool aligned = IsAligned(out);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        Write(blend(i), aligned, out + i);
    }
    if (i < count) {
        HWY_ALIGN std::uint8_t last[HWY_MAX_BYTES];
        hn::Store(blend(i), d8, last);
        std::memcpy(out + i, last, count - i);
    }
}

#endif
} // namespace
} // namespace kq::playerview::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kq::playerview {

HWY_EXPORT(PickColumns);
HWY_EXPORT(BlendColumns);
HWY_EXPORT(CopyRow);
HWY_EXPORT(BlendRows);

void PickColumns(const std::uint32_t* row, int width, const std::int32_t* columns, std::size_t count,
                 std::uint32_t* out) {
    HWY_DYNAMIC_DISPATCH(PickColumns)(row, width, columns, count, out);
}

void BlendColumns(const std::uint32_t* row, int width, const std::int32_t* columns,
                  const std::int16_t* weights, std::size_t count, std::int16_t* out) {
    HWY_DYNAMIC_DISPATCH(BlendColumns)(row, width, columns, weights, count, out);
}

void CopyRow(const std::uint8_t* from, std::size_t count, std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(CopyRow)(from, count, out);
}

void BlendRows(const std::int16_t* upper, const std::int16_t* lower, std::int16_t weight, std::size_t count,
               std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(BlendRows)(upper, lower, weight, count, out);
}

} // namespace kq::playerview
#endif
