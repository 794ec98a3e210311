#include "ScaleKernels.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ScaleKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kq::playerview::HWY_NAMESPACE {
namespace {

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

HWY_INLINE V16 Rounded(V16 samples) {
    return hn::ShiftRight<6>(hn::Add(samples, hn::Set(d16, levelParts / 2)));
}

template <class V8>
HWY_INLINE V16 ToSamples(V8 bytes) {
    return hn::ShiftLeft<6>(hn::PromoteTo(d16, bytes));
}

void PickColumns(const std::uint32_t* row, const std::int32_t* columns, std::size_t count,
                 std::uint32_t* out) {
    const std::size_t lanes = hn::Lanes(du32);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        hn::StoreU(hn::GatherIndex(du32, row, hn::LoadU(d32, columns + i)), du32, out + i);
    }
    for (; i < count; ++i) {
        out[i] = row[columns[i]];
    }
}

void BlendColumns(const std::uint32_t* row, const std::int32_t* left, const std::int32_t* right,
                  const std::int16_t* weights, std::size_t count, std::int16_t* out) {
    const std::size_t lanes = hn::Lanes(du32);
    const std::size_t half = hn::Lanes(d16);
    for (std::size_t i = 0; i < count; i += lanes) {
        const auto first = hn::BitCast(d8, hn::GatherIndex(du32, row, hn::LoadU(d32, left + i)));
        const auto second = hn::BitCast(d8, hn::GatherIndex(du32, row, hn::LoadU(d32, right + i)));
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

void BlendRows(const std::int16_t* upper, const std::int16_t* lower, std::int16_t weight, std::size_t count,
               std::uint8_t* out) {
    const std::size_t lanes = hn::Lanes(d8);
    const std::size_t half = hn::Lanes(d16);
    const auto weights = hn::Set(d16, weight);
    const auto blend = [&](std::size_t i) {
        const auto made = [&](std::size_t at) {
            return Rounded(Blend(hn::LoadU(d16, upper + at), hn::LoadU(d16, lower + at), weights));
        };
        return hn::OrderedDemote2To(d8, made(i), made(i + half));
    };
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        hn::StoreU(blend(i), d8, out + i);
    }
    if (i < count) {
        HWY_ALIGN std::uint8_t last[HWY_MAX_BYTES];
        hn::Store(blend(i), d8, last);
        std::memcpy(out + i, last, count - i);
    }
}

} // namespace
} // namespace kq::playerview::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kq::playerview {

HWY_EXPORT(PickColumns);
HWY_EXPORT(BlendColumns);
HWY_EXPORT(BlendRows);

void PickColumns(const std::uint32_t* row, const std::int32_t* columns, std::size_t count,
                 std::uint32_t* out) {
    HWY_DYNAMIC_DISPATCH(PickColumns)(row, columns, count, out);
}

void BlendColumns(const std::uint32_t* row, const std::int32_t* left, const std::int32_t* right,
                  const std::int16_t* weights, std::size_t count, std::int16_t* out) {
    HWY_DYNAMIC_DISPATCH(BlendColumns)(row, left, right, weights, count, out);
}

void BlendRows(const std::int16_t* upper, const std::int16_t* lower, std::int16_t weight, std::size_t count,
               std::uint8_t* out) {
    HWY_DYNAMIC_DISPATCH(BlendRows)(upper, lower, weight, count, out);
}

} // namespace kq::playerview
#endif
