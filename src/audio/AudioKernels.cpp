#include "AudioKernels.h"

#include "MixingTable.h"

#include <algorithm>
#include <array>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "audio/AudioKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kq::audio::HWY_NAMESPACE {
#if HWY_TARGET == HWY_SCALAR

const AudioKernels* TargetAudioKernels() {
    return &PlainAudioKernels();
}

#else
namespace hn = hwy::HWY_NAMESPACE;
namespace {

constexpr hn::ScalableTag<std::int16_t> d16;
constexpr hn::ScalableTag<std::uint16_t> du16;
constexpr hn::ScalableTag<std::int32_t> d32;
constexpr hn::ScalableTag<double> dDouble;
constexpr hn::Half<decltype(d16)> d16Half;
constexpr hn::Half<decltype(d32)> d32Half;
using V16 = hn::Vec<decltype(d16)>;
using V32 = hn::Vec<decltype(d32)>;
using V32Half = hn::Vec<decltype(d32Half)>;
using VDouble = hn::Vec<decltype(dDouble)>;

constexpr int kSamples = HWY_MAX_BYTES / 2;
constexpr int kDoubles = HWY_MAX_BYTES / 8;

/// A division by a constant that truncates toward zero.
template <int kDivisor>
HWY_INLINE V16 Divide(V16 v) {
    if constexpr (kDivisor == 1) {
        return v;
    } else if constexpr ((kDivisor & (kDivisor - 1)) == 0) {
        constexpr int shift = kDivisor == 2 ? 1 : kDivisor == 4 ? 2 : 3;
        const auto sign = hn::BitCast(du16, kDivisor == 2 ? v : hn::ShiftRight<15>(v));
        return hn::ShiftRight<shift>(hn::Add(v, hn::BitCast(d16, hn::ShiftRight<16 - shift>(sign))));
    } else {
        // The upper half of the product with 2^(16 + shift) / divisor, rounded up, is exact for 16-bit
        // values.
        constexpr int shift = kDivisor < 4 ? 0 : 1;
        constexpr int factor = ((1 << (16 + shift)) + kDivisor - 1) / kDivisor;
        static_assert(factor < 32768);
        const V16 quotient = hn::ShiftRight<shift>(hn::MulHigh(v, hn::Set(d16, factor)));
        return hn::Sub(quotient, hn::ShiftRight<15>(v));
    }
}

struct Channels {
    V16 c[kMaxMixInputs];
};

/// Splits 32-bit pairs of samples.
HWY_INLINE void SplitPair(V32 pair, V16* even, V16* odd, V32 next) {
    const V16 a = hn::BitCast(d16, pair);
    const V16 b = hn::BitCast(d16, next);
    *even = hn::ConcatEven(d16, b, a);
    *odd = hn::ConcatOdd(d16, b, a);
}

/// The reverse for half a vector of each.
HWY_INLINE V32 JoinPair(hn::Vec<decltype(d16Half)> even, hn::Vec<decltype(d16Half)> odd) {
    return hn::Or(hn::ShiftLeft<16>(hn::PromoteTo(d32, odd)),
                  hn::And(hn::PromoteTo(d32, even), hn::Set(d32, 0xFFFF)));
}

/// One vector a channel.
template <int kIn>
HWY_INLINE Channels LoadChannels(const short* in) {
    Channels v{};
    if constexpr (kIn == 1) {
        v.c[0] = hn::LoadU(d16, in);
    } else if constexpr (kIn == 2) {
        hn::LoadInterleaved2(d16, in, v.c[0], v.c[1]);
    } else if constexpr (kIn == 3) {
        hn::LoadInterleaved3(d16, in, v.c[0], v.c[1], v.c[2]);
    } else if constexpr (kIn == 4) {
        hn::LoadInterleaved4(d16, in, v.c[0], v.c[1], v.c[2], v.c[3]);
    } else if constexpr (kIn == 6) {
        const auto* pairs = reinterpret_cast<const std::int32_t*>(in);
        V32 a[3], b[3];
        hn::LoadInterleaved3(d32, pairs, a[0], a[1], a[2]);
        hn::LoadInterleaved3(d32, pairs + 3 * kSamples / 2, b[0], b[1], b[2]);
        for (int i = 0; i < 3; ++i) {
            SplitPair(a[i], &v.c[2 * i], &v.c[2 * i + 1], b[i]);
        }
    } else if constexpr (kIn == 8) {
        const auto* pairs = reinterpret_cast<const std::int32_t*>(in);
        V32 a[4], b[4];
        hn::LoadInterleaved4(d32, pairs, a[0], a[1], a[2], a[3]);
        hn::LoadInterleaved4(d32, pairs + 4 * kSamples / 2, b[0], b[1], b[2], b[3]);
        for (int i = 0; i < 4; ++i) {
            SplitPair(a[i], &v.c[2 * i], &v.c[2 * i + 1], b[i]);
        }
    } else {
        alignas(64) short planes[kIn][kSamples];
        for (int i = 0; i < kSamples; ++i) {
            for (int c = 0; c < kIn; ++c) {
                planes[c][i] = in[i * kIn + c];
            }
        }
        for (int c = 0; c < kIn; ++c) {
            v.c[c] = hn::Load(d16, planes[c]);
        }
    }
    return v;
}

/// The terms of one output channel from kTerm on, added in 16 bits.
template <int kIn, int kColumn, int kOut, int kTerm>
HWY_INLINE V16 SumTerms(const Channels& in) {
    constexpr const MixChannel& channel = kMixing[kIn - 1][kColumn].channel[kOut];
    if constexpr (kTerm >= channel.terms) {
        return hn::Zero(d16);
    } else {
        const V16 term = Divide<channel.term[kTerm].divisor>(in.c[channel.term[kTerm].channel]);
        if constexpr (kTerm + 1 == channel.terms) {
            return term;
        } else {
            return hn::Add(term, SumTerms<kIn, kColumn, kOut, kTerm + 1>(in));
        }
    }
}

/// The same in 32 bits for the lower or the upper half of the samples.
template <int kIn, int kColumn, int kOut, int kTerm, bool kUpper>
HWY_INLINE V32 SumWide(const Channels& in) {
    constexpr const MixChannel& channel = kMixing[kIn - 1][kColumn].channel[kOut];
    const V16 term = Divide<channel.term[kTerm].divisor>(in.c[channel.term[kTerm].channel]);
    const V32 wide = kUpper ? hn::PromoteTo(d32, hn::UpperHalf(d16Half, term))
                            : hn::PromoteTo(d32, hn::LowerHalf(d16Half, term));
    if constexpr (kTerm + 1 < channel.terms) {
        return hn::Add(wide, SumWide<kIn, kColumn, kOut, kTerm + 1, kUpper>(in));
    } else {
        return wide;
    }
}

template <int kIn, int kColumn, int kOut>
HWY_INLINE V16 MixChannelOf(const Channels& in) {
    if constexpr (kMixing[kIn - 1][kColumn].channel[kOut].limited) {
        const V16 sum = hn::Combine(d16, hn::DemoteTo(d16Half, SumWide<kIn, kColumn, kOut, 0, true>(in)),
                                    hn::DemoteTo(d16Half, SumWide<kIn, kColumn, kOut, 0, false>(in)));
        return hn::Max(sum, hn::Set(d16, -32767));
    } else {
        return SumTerms<kIn, kColumn, kOut, 0>(in);
    }
}

template <int kIn, int kOutChannels>
HWY_INLINE void MixVector(const short* in, short* out) {
    constexpr int column = MixColumn(kOutChannels);
    const Channels v = LoadChannels<kIn>(in);
    const V16 first = MixChannelOf<kIn, column, 0>(v);
    if constexpr (kOutChannels == 1) {
        hn::StoreU(first, d16, out);
    } else if constexpr (kOutChannels == 2) {
        hn::StoreInterleaved2(first, MixChannelOf<kIn, column, 1>(v), d16, out);
    } else {
        const V16 c[6] = {first,
                          MixChannelOf<kIn, column, 1>(v),
                          MixChannelOf<kIn, column, 2>(v),
                          MixChannelOf<kIn, column, 3>(v),
                          MixChannelOf<kIn, column, 4>(v),
                          MixChannelOf<kIn, column, 5>(v)};
        auto* pairs = reinterpret_cast<std::int32_t*>(out);
        V32 low[3], high[3];
        for (int i = 0; i < 3; ++i) {
            low[i] = JoinPair(hn::LowerHalf(d16Half, c[2 * i]), hn::LowerHalf(d16Half, c[2 * i + 1]));
            high[i] = JoinPair(hn::UpperHalf(d16Half, c[2 * i]), hn::UpperHalf(d16Half, c[2 * i + 1]));
        }
        hn::StoreInterleaved3(low[0], low[1], low[2], d32, pairs);
        hn::StoreInterleaved3(high[0], high[1], high[2], d32, pairs + 3 * kSamples / 2);
    }
}

// The layouts that hosts ask for most, without moves from one 16-byte part of a vector to another.

constexpr hn::Full128<std::int16_t> dPart;
constexpr int kPartSamples = 8;

/// Loads each 16-byte part from an address of its own, kStride samples further than the one before.
template <int kStride, class D>
HWY_INLINE hn::Vec<D> LoadParts(D d, const short* p) {
    if constexpr (static_cast<int>(hn::MaxLanes(D())) == kPartSamples) {
        return hn::LoadU(d, p);
    } else {
        const hn::Half<D> half;
        constexpr int parts = static_cast<int>(hn::MaxLanes(D())) / kPartSamples;
        return hn::Combine(d, LoadParts<kStride>(half, p + kStride * parts / 2), LoadParts<kStride>(half, p));
    }
}

/// Where the bytes of a 16-byte part come from, by the 16-bit words; 0x80 stands for 0.
struct WordIndex {
    alignas(16) std::uint8_t bytes[16];

    constexpr explicit WordIndex(std::array<int, kPartSamples> words) : bytes() {
        for (std::size_t i = 0; i < kPartSamples; ++i) {
            bytes[2 * i] = static_cast<std::uint8_t>(words[i] < 0 ? 0x80 : 2 * words[i]);
            bytes[2 * i + 1] = static_cast<std::uint8_t>(words[i] < 0 ? 0x80 : 2 * words[i] + 1);
        }
    }
};

template <class D>
HWY_INLINE hn::Vec<D> PickWords(D d, hn::Vec<D> v, const WordIndex& index) {
    const hn::Repartition<std::uint8_t, D> bytes;
    return hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(bytes, v), hn::LoadDup128(bytes, index.bytes)));
}

template <>
HWY_INLINE void MixVector<1, 2>(const short* in, short* out) {
    for (int i = 0; i < kSamples; i += kPartSamples) {
        const auto v = hn::LoadU(dPart, in + i);
        hn::StoreU(hn::InterleaveLower(dPart, v, v), dPart, out + 2 * i);
        hn::StoreU(hn::InterleaveUpper(dPart, v, v), dPart, out + 2 * i + kPartSamples);
    }
}

template <>
HWY_INLINE void MixVector<2, 1>(const short* in, short* out) {
#if HWY_ARCH_X86
    const auto sums = [](V16 v) {
        V32 odd = hn::Zero(d32); // stays so where one instruction adds neighbours
        const V32 even =
            hn::ReorderWidenMulAccumulate(d32, Divide<2>(v), hn::Set(d16, 1), hn::Zero(d32), odd);
        return hn::RearrangeToOddPlusEven(even, odd);
    };
    const V32 even = sums(LoadParts<2 * kPartSamples>(d16, in));
    const V32 odd = sums(LoadParts<2 * kPartSamples>(d16, in + kPartSamples));
    hn::StoreU(hn::ReorderDemote2To(d16, even, odd), d16, out);
#else
    // Only x86 adds products of neighbours.
    V16 left, right;
    hn::LoadInterleaved2(d16, in, left, right);
    hn::StoreU(hn::Add(Divide<2>(left), Divide<2>(right)), d16, out);
#endif
}

template <>
HWY_INLINE void MixVector<2, 6>(const short* in, short* out) {
    static constexpr WordIndex kIndex[3] = {WordIndex({0, 1, -1, -1, -1, -1, 2, 3}),
                                            WordIndex({-1, -1, -1, -1, 4, 5, -1, -1}),
                                            WordIndex({-1, -1, 6, 7, -1, -1, -1, -1})};
    for (int i = 0; i < 2 * kSamples; i += kPartSamples) {
        const auto frames = hn::LoadU(dPart, in + i);
        for (int k = 0; k < 3; ++k) {
            hn::StoreU(PickWords(dPart, frames, kIndex[k]), dPart, out + 3 * i + k * kPartSamples);
        }
    }
}

/// The sum of three values, limited to 16 bits. Of the largest and the smallest one, either the sum fits, or
/// all three have its sign.
HWY_INLINE V16 LimitedSum(V16 a, V16 b, V16 c) {
    const V16 low = hn::Min(a, b), high = hn::Max(a, b);
    const V16 middle = hn::Max(low, hn::Min(high, c));
    return hn::SaturatedAdd(hn::SaturatedAdd(hn::Min(low, c), hn::Max(high, c)), middle);
}

/// Each 16-byte part makes four frames from 48 bytes: pairs of channels, of which pair k of frame f is part
/// (3 f + k) / 4 of three, in its quarter (3 f + k) % 4.
template <>
HWY_INLINE void MixVector<6, 2>(const short* in, short* out) {
    static constexpr WordIndex kFirst({0, 1, 6, 7, 4, 5, 2, 3}), kSecond({2, 3, 0, 1, 6, 7, 4, 5}),
        kSecondSwapped({3, 2, 1, 0, 7, 6, 5, 4}), kThird({4, 5, 2, 3, 0, 1, 6, 7});
    alignas(16) static constexpr std::int32_t kOuter[4] = {-1, 0, 0, -1}, kInner[4] = {0, -1, 0, 0};
    const auto outer = hn::MaskFromVec(hn::BitCast(d16, hn::LoadDup128(d32, kOuter)));
    const auto inner = hn::MaskFromVec(hn::BitCast(d16, hn::LoadDup128(d32, kInner)));
    for (int i = 0; i < 2; ++i, in += kSamples * 3, out += kSamples) {
        const V16 v0 = LoadParts<3 * kPartSamples>(d16, in);
        const V16 v1 = LoadParts<3 * kPartSamples>(d16, in + kPartSamples);
        const V16 v2 = LoadParts<3 * kPartSamples>(d16, in + 2 * kPartSamples);
        // The first and the last quarter come from one part, the second and the third from one each.
        const auto pair = [&](V16 first, V16 second, V16 third) {
            return hn::IfThenElse(outer, first, hn::IfThenElse(inner, second, third));
        };
        const V16 front = PickWords(d16, pair(v0, v2, v1), kFirst);
        const V16 middle = Divide<2>(pair(v1, v0, v2));
        const V16 side = PickWords(d16, Divide<4>(pair(v2, v1, v0)), kThird);
        const V16 both = hn::Add(PickWords(d16, middle, kSecond), PickWords(d16, middle, kSecondSwapped));
        hn::StoreU(hn::Max(LimitedSum(front, both, side), hn::Set(d16, -32767)), d16, out);
    }
}

template <int kIn, int kOutChannels>
void MixLayoutFrames(const short* in, std::size_t frames, short* out) {
    for (; frames >= kSamples; frames -= kSamples, in += kSamples * kIn, out += kSamples * kOutChannels) {
        MixVector<kIn, kOutChannels>(in, out);
    }
    PlainAudioKernels().mix(in, kIn, kOutChannels, frames, out);
}

using MixFunction = void (*)(const short*, std::size_t, short*);

template <int kIn>
MixFunction FindMix(int outChannels) {
    return outChannels == 1   ? MixLayoutFrames<kIn, 1>
           : outChannels == 2 ? MixLayoutFrames<kIn, 2>
                              : MixLayoutFrames<kIn, 6>;
}

void Mix(const short* in, int inChannels, int outChannels, std::size_t frames, short* out) {
    static constexpr MixFunction (*kFind[kMaxMixInputs])(int) = {
        FindMix<1>, FindMix<2>, FindMix<3>, FindMix<4>, FindMix<5>, FindMix<6>, FindMix<7>, FindMix<8>};
    kFind[inChannels - 1](outChannels)(in, frames, out);
}

/// Positions of kDoubles output frames: the frame before and the fraction of the way to the next one.
struct Positions {
    V32Half first;
    VDouble fraction;
};

HWY_INLINE Positions PositionsFrom(VDouble number, VDouble inSamples, VDouble outSamples) {
    const VDouble one = hn::Set(dDouble, 1.0);
    const VDouble x = hn::Sub(hn::Div(hn::Mul(number, inSamples), outSamples), one);
    // x + 1 is never negative, so that truncation to a whole number is its integer part.
    const V32Half first = hn::Sub(hn::DemoteTo(d32Half, hn::Add(x, one)), hn::Set(d32Half, 1));
    const VDouble low = hn::PromoteTo(dDouble, first);
    return {first, hn::Sub(hn::Min(hn::Max(x, low), hn::Add(low, one)), low)};
}

HWY_INLINE V32Half Interpolate(V32Half a, V32Half b, VDouble fraction) {
    const V32Half step = hn::DemoteTo(d32Half, hn::Mul(hn::PromoteTo(dDouble, hn::Sub(b, a)), fraction));
    return hn::Min(hn::Max(hn::Add(a, step), hn::Set(d32Half, -32767)), hn::Set(d32Half, 32767));
}

/// The 16-bit halves of 32-bit values, as 32-bit values.
HWY_INLINE V32Half LowHalves(V32Half v) {
    return hn::ShiftRight<16>(hn::ShiftLeft<16>(v));
}
HWY_INLINE V32Half HighHalves(V32Half v) {
    return hn::ShiftRight<16>(v);
}

/// Loads what lies at each of several positions side by side: a frame of kChannels (1 or 2) samples and the
/// one behind it.
template <int kChannels, class D>
HWY_INLINE hn::Vec<D> LoadFrames(D d, const short* frames, const std::int32_t* positions) {
    if constexpr (static_cast<int>(hn::MaxLanes(D())) == kChannels) {
        return hn::LoadU(
            d, reinterpret_cast<const std::int32_t*>(frames + std::ptrdiff_t{*positions} * kChannels));
    } else {
        const hn::Half<D> half;
        return hn::Combine(d,
                           LoadFrames<kChannels>(half, frames, positions + hn::MaxLanes(D()) / 2 / kChannels),
                           LoadFrames<kChannels>(half, frames, positions));
    }
}

/// Calls make(first frame, their positions stored, their fractions) for kDoubles output frames at a time.
/// @return the frames made
template <class Make>
HWY_INLINE int ForVectorsOfFrames(const Resampling& job, int frames, Make make) {
    const VDouble inSamples = hn::Set(dDouble, job.inSamples);
    const VDouble outSamples = hn::Set(dDouble, job.outSamples);
    VDouble number = hn::Iota(dDouble, 1.0);
    int j = 0;
    for (; j + kDoubles <= frames; j += kDoubles, number = hn::Add(number, hn::Set(dDouble, kDoubles))) {
        const Positions at = PositionsFrom(number, inSamples, outSamples);
        alignas(64) std::int32_t positions[kDoubles];
        hn::Store(at.first, d32Half, positions);
        make(j, positions, at.fraction);
    }
    return j;
}

template <int kChannels>
int ResampleVectors(const Resampling& job, int frames, short* out) {
    return ForVectorsOfFrames(job, frames, [&](int j, const std::int32_t* positions, VDouble fraction) {
        if constexpr (kChannels == 1) {
            const V32Half both = LoadFrames<1>(d32Half, job.frames, positions);
            const V32Half value = Interpolate(LowHalves(both), HighHalves(both), fraction);
            const hn::Rebind<std::int16_t, decltype(d32Half)> narrow;
            hn::StoreU(hn::DemoteTo(narrow, value), narrow, out + j);
        } else {
            const V32 both = LoadFrames<2>(d32, job.frames, positions);
            const V32Half a = hn::LowerHalf(d32Half, hn::ConcatEven(d32, both, both));
            const V32Half b = hn::LowerHalf(d32Half, hn::ConcatOdd(d32, both, both));
            const V32Half left = Interpolate(LowHalves(a), LowHalves(b), fraction);
            const V32Half right = Interpolate(HighHalves(a), HighHalves(b), fraction);
            const V32Half pairs = hn::Or(hn::And(left, hn::Set(d32Half, 0xFFFF)), hn::ShiftLeft<16>(right));
            hn::StoreU(pairs, d32Half, reinterpret_cast<std::int32_t*>(out + 2 * j));
        }
    });
}

/// A frame between two neighbours, a vector of samples at a time; the last group overlaps the one before it.
template <class D>
HWY_INLINE void InterpolateFrame(D d, const short* a, int channels, double fraction, short* out) {
    const hn::Rebind<std::int32_t, D> wide;
    const hn::Rebind<std::int16_t, D> narrow;
    constexpr int group = static_cast<int>(hn::MaxLanes(D()));
    const auto fractions = hn::Set(d, fraction);
    for (int done = 0; done < channels; done += group) {
        const int c = std::min(done, channels - group);
        const auto from = hn::PromoteTo(wide, hn::LoadU(narrow, a + c));
        const auto to = hn::PromoteTo(wide, hn::LoadU(narrow, a + c + channels));
        const auto step = hn::DemoteTo(wide, hn::Mul(hn::PromoteTo(d, hn::Sub(to, from)), fractions));
        const auto value = hn::DemoteTo(narrow, hn::Add(from, step));
        hn::StoreU(hn::Max(value, hn::Set(narrow, -32767)), narrow, out + c);
    }
}

/// Positions in vectors, then a frame at a time.
int ResampleManyChannels(const Resampling& job, int frames, short* out) {
    const hn::CappedTag<double, 4> dGroup;
    if (job.channels < static_cast<int>(hn::MaxLanes(dGroup))) {
        return 0;
    }
    return ForVectorsOfFrames(job, frames, [&](int j, const std::int32_t* positions, VDouble fraction) {
        alignas(64) double fractions[kDoubles];
        hn::Store(fraction, dDouble, fractions);
        for (int i = 0; i < kDoubles; ++i) {
            InterpolateFrame(dGroup, job.frames + static_cast<std::ptrdiff_t>(positions[i]) * job.channels,
                             job.channels, fractions[i],
                             out + static_cast<std::ptrdiff_t>(j + i) * job.channels);
        }
    });
}

void Resample(const Resampling& job, short* out) {
    const int frames = job.outSamples / job.channels;
    const int done = job.channels == 1   ? ResampleVectors<1>(job, frames, out)
                     : job.channels == 2 ? ResampleVectors<2>(job, frames, out)
                                         : ResampleManyChannels(job, frames, out);
    // The frames that fill no vector.
    Resampling rest = job;
    rest.from = done;
    PlainAudioKernels().resample(rest, out);
}

int Sum(short* const* inputs, int count, double gain, int start, int end, short* out) {
    // A gain above 1 differs from 1 by less than one step; sums of 16 bits cannot overflow 32 below 65536
    // inputs.
    if (gain != 1.0 || count > 65535) {
        return PlainAudioKernels().sum(inputs, count, gain, start, end, out);
    }
    int i = start;
    for (; i + kSamples / 2 <= end; i += kSamples / 2) {
        V32 sum = hn::Zero(d32);
        for (int k = 0; k < count; ++k) {
            sum = hn::Add(sum, hn::PromoteTo(d32, hn::LoadU(d16Half, inputs[k] + i)));
        }
        if (!hn::AllTrue(d32, hn::Lt(hn::Abs(sum), hn::Set(d32, 32768)))) {
            break;
        }
        hn::StoreU(hn::DemoteTo(d16Half, sum), d16Half, out + i);
    }
    return PlainAudioKernels().sum(inputs, count, gain, i, end, out);
}

} // namespace

const AudioKernels* TargetAudioKernels() {
    static constexpr AudioKernels kernels = {Mix, Resample, Sum};
    return &kernels;
}

#endif // HWY_TARGET == HWY_SCALAR
} // namespace kq::audio::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kq::audio {

HWY_EXPORT(TargetAudioKernels);

const AudioKernels& BestAudioKernels() {
    return *HWY_DYNAMIC_DISPATCH(TargetAudioKernels)();
}

} // namespace kq::audio
#endif
