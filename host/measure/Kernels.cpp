#include "Kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "measure/Kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kq::measure::HWY_NAMESPACE {

// Better targets have lower numbers; without SSE4 the plain routines serve.
#if HWY_TARGET > HWY_SSE4

const Kernels* TargetKernels() {
    return &PlainKernels();
}

#else
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr hn::ScalableTag<std::int16_t> d16;
constexpr hn::ScalableTag<std::int32_t> d32;
constexpr hn::ScalableTag<std::int64_t> d64;
constexpr hn::ScalableTag<double> dDouble;
constexpr hn::ScalableTag<float> dFloat;
constexpr hn::Rebind<std::uint8_t, decltype(d16)> d8Half;
constexpr hn::Rebind<float, decltype(dDouble)> dFloatHalf;
using V16 = hn::Vec<decltype(d16)>;
using V32 = hn::Vec<decltype(d32)>;
using VDouble = hn::Vec<decltype(dDouble)>;
using VFloatHalf = hn::Vec<decltype(dFloatHalf)>;

HWY_INLINE V16 Samples(const std::uint8_t* samples) {
    return hn::PromoteTo(d16, hn::LoadU(d8Half, samples));
}

/// No more than 12 bits: signed words hold them.
HWY_INLINE V16 Samples(const std::uint16_t* samples) {
    return hn::LoadU(d16, reinterpret_cast<const std::int16_t*>(samples));
}

/// @return sum plus a[2i] * b[2i] + a[2i+1] * b[2i+1]: on x86 the neighbours stay together
HWY_INLINE V32 AddProducts(V32 sum, V16 a, V16 b) {
    V32 unused = hn::Zero(d32);
    return hn::ReorderWidenMulAccumulate(d32, a, b, sum, unused);
}

/// Sums over pairs of columns, four rows high.
struct PairSums {
    V32 first, second, squares, products;
};

template <class Sample>
HWY_INLINE PairSums SumPairs(const RowPair& rows, std::size_t column) {
    V16 first = hn::Zero(d16);
    V16 second = hn::Zero(d16);
    V32 squares = hn::Zero(d32);
    V32 products = hn::Zero(d32);
    for (std::ptrdiff_t y = 0; y < 4; ++y) {
        const V16 a = Samples(reinterpret_cast<const Sample*>(rows.first + y * rows.firstPitch) + column);
        const V16 b = Samples(reinterpret_cast<const Sample*>(rows.second + y * rows.secondPitch) + column);
        first = hn::Add(first, a);
        second = hn::Add(second, b);
        squares = AddProducts(AddProducts(squares, a, a), b, b);
        products = AddProducts(products, a, b);
    }
    const V16 ones = hn::Set(d16, 1);
    const V32 zero = hn::Zero(d32);
    return {AddProducts(zero, first, ones), AddProducts(zero, second, ones), squares, products};
}

/// @return the sums over blocks
HWY_INLINE V32 JoinPairs(V32 low, V32 high) {
    return hn::Add(hn::ConcatEven(d32, high, low), hn::ConcatOdd(d32, high, low));
}

HWY_INLINE BlockRow<std::int32_t> From(const BlockRow<std::int32_t>& row, std::size_t block) {
    return {row.first + block, row.second + block, row.squares + block, row.products + block};
}

template <class Sample>
std::uint64_t Blocks(const RowPair& rows, std::size_t count, const BlockRow<std::int32_t>& sums) {
    const std::size_t columns = hn::Lanes(d16);
    const std::size_t step = columns / 2; // blocks of two vectors
    auto errors = hn::Zero(d64);
    std::size_t block = 0;
    for (; block + step <= count; block += step) {
        const PairSums low = SumPairs<Sample>(rows, 4 * block);
        const PairSums high = SumPairs<Sample>(rows, 4 * block + columns);
        const V32 squares = JoinPairs(low.squares, high.squares);
        const V32 products = JoinPairs(low.products, high.products);
        hn::StoreU(JoinPairs(low.first, high.first), d32, sums.first + block);
        hn::StoreU(JoinPairs(low.second, high.second), d32, sums.second + block);
        hn::StoreU(squares, d32, sums.squares + block);
        hn::StoreU(products, d32, sums.products + block);
        const V32 error = hn::Sub(squares, hn::Add(products, products));
        errors = hn::Add(errors, hn::PromoteTo(d64, hn::LowerHalf(error)));
        errors = hn::Add(errors, hn::PromoteTo(d64, hn::UpperHalf(hn::Half<decltype(d32)>(), error)));
    }
    const auto total = static_cast<std::uint64_t>(hn::GetLane(hn::SumOfLanes(d64, errors)));
    const auto offset = static_cast<std::ptrdiff_t>(4 * block * sizeof(Sample));
    const RowPair rest = {rows.first + offset, rows.firstPitch, rows.second + offset, rows.secondPitch};
    const auto plain = sizeof(Sample) == 1 ? PlainKernels().blocks8 : PlainKernels().blocks16;
    return total + plain(rest, count - block, From(sums, block));
}

HWY_INLINE V32 WindowSum(const std::int32_t* above, const std::int32_t* below) {
    return hn::Add(hn::Add(hn::LoadU(d32, above), hn::LoadU(d32, above + 1)),
                   hn::Add(hn::LoadU(d32, below), hn::LoadU(d32, below + 1)));
}

/// The rest of a row that fills no vector.
void FinishWindows(const BlockRow<std::int32_t>& upper, const BlockRow<std::int32_t>& lower, std::size_t done,
                   std::size_t count, const Stabilizers& stabilizers, float* ssim) {
    PlainKernels().windows8(From(upper, done), From(lower, done), count - done, stabilizers, ssim + done);
}

/// Sums of 8-bit samples fit into 32 bits all the way.
void Windows8(const BlockRow<std::int32_t>& upper, const BlockRow<std::int32_t>& lower, std::size_t count,
              const Stabilizers& stabilizers, float* ssim) {
    const V32 luminance = hn::Set(d32, static_cast<std::int32_t>(stabilizers.luminance));
    const V32 contrast = hn::Set(d32, static_cast<std::int32_t>(stabilizers.contrast));
    std::size_t i = 0;
    for (; i + hn::Lanes(d32) <= count; i += hn::Lanes(d32)) {
        const V32 a = WindowSum(upper.first + i, lower.first + i);
        const V32 b = WindowSum(upper.second + i, lower.second + i);
        const V32 ab = hn::Mul(a, b);
        const V32 ownSquares = hn::Add(hn::Mul(a, a), hn::Mul(b, b));
        const V32 squares = hn::ShiftLeft<6>(WindowSum(upper.squares + i, lower.squares + i));
        const V32 products = hn::ShiftLeft<6>(WindowSum(upper.products + i, lower.products + i));
        const V32 covariance = hn::Sub(products, ab);
        const auto above = hn::Mul(hn::ConvertTo(dFloat, hn::Add(hn::Add(ab, ab), luminance)),
                                   hn::ConvertTo(dFloat, hn::Add(hn::Add(covariance, covariance), contrast)));
        const auto below = hn::Mul(hn::ConvertTo(dFloat, hn::Add(ownSquares, luminance)),
                                   hn::ConvertTo(dFloat, hn::Add(hn::Sub(squares, ownSquares), contrast)));
        hn::StoreU(hn::Div(above, below), dFloat, ssim + i);
    }
    FinishWindows(upper, lower, i, count, stabilizers, ssim);
}

/// The sums of one window, as doubles: every integer that comes up is exact in them.
struct DeepWindow {
    VDouble a, b, squares, products;
};

HWY_INLINE VFloatHalf Similarity(const DeepWindow& window, VDouble luminance, VDouble contrast) {
    const VDouble ab = hn::Mul(window.a, window.b);
    const VDouble ownSquares = hn::Add(hn::Mul(window.a, window.a), hn::Mul(window.b, window.b));
    const VDouble sixtyFour = hn::Set(dDouble, 64);
    const VDouble covariance = hn::Sub(hn::Mul(window.products, sixtyFour), ab);
    const VDouble variances = hn::Sub(hn::Mul(window.squares, sixtyFour), ownSquares);
    const auto single = [](VDouble value) { return hn::DemoteTo(dFloatHalf, value); };
    return hn::Div(hn::Mul(single(hn::Add(hn::Add(ab, ab), luminance)),
                           single(hn::Add(hn::Add(covariance, covariance), contrast))),
                   hn::Mul(single(hn::Add(ownSquares, luminance)), single(hn::Add(variances, contrast))));
}

void Windows16(const BlockRow<std::int32_t>& upper, const BlockRow<std::int32_t>& lower, std::size_t count,
               const Stabilizers& stabilizers, float* ssim) {
    const VDouble luminance = hn::Set(dDouble, static_cast<double>(stabilizers.luminance));
    const VDouble contrast = hn::Set(dDouble, static_cast<double>(stabilizers.contrast));
    const hn::Half<decltype(d32)> half;
    std::size_t i = 0;
    for (; i + hn::Lanes(d32) <= count; i += hn::Lanes(d32)) {
        const V32 a = WindowSum(upper.first + i, lower.first + i);
        const V32 b = WindowSum(upper.second + i, lower.second + i);
        const V32 squares = WindowSum(upper.squares + i, lower.squares + i);
        const V32 products = WindowSum(upper.products + i, lower.products + i);
        const auto low = [](V32 sums) { return hn::PromoteTo(dDouble, hn::LowerHalf(sums)); };
        const auto high = [&half](V32 sums) { return hn::PromoteTo(dDouble, hn::UpperHalf(half, sums)); };
        hn::StoreU(Similarity({low(a), low(b), low(squares), low(products)}, luminance, contrast), dFloatHalf,
                   ssim + i);
        hn::StoreU(Similarity({high(a), high(b), high(squares), high(products)}, luminance, contrast),
                   dFloatHalf, ssim + i + hn::Lanes(dDouble));
    }
    FinishWindows(upper, lower, i, count, stabilizers, ssim);
}

} // namespace

const Kernels* TargetKernels() {
    static constexpr Kernels kernels = {Blocks<std::uint8_t>, Blocks<std::uint16_t>, Windows8, Windows16};
    return &kernels;
}

#endif
} // namespace kq::measure::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kq::measure {

HWY_EXPORT(TargetKernels);

const Kernels& BestKernels() {
    return *HWY_DYNAMIC_DISPATCH(TargetKernels)();
}

} // namespace kq::measure
#endif
