/// @file
/// How the channels of one layout are mixed into another, as data.
#pragma once

#include <cstdint>

namespace kq::audio {

/// A source channel divided by a whole number, truncated toward zero.
struct MixTerm {
    std::int8_t channel;
    std::int8_t divisor;
};

/// One output channel: the sum of its terms, limited to [-32767, 32767] where it may leave 16 bits.
struct MixChannel {
    int terms;
    bool limited;
    MixTerm term[8];
};

struct MixLayout {
    MixChannel channel[6];
};

constexpr int kMaxMixInputs = 8;

constexpr MixChannel One(int channel) {
    return {1, false, {{static_cast<std::int8_t>(channel), 1}}};
}

/// The mean of `count` channels from `first` on, each divided before the sum.
constexpr MixChannel Mean(int first, int count) {
    MixChannel result{count, false, {}};
    for (int i = 0; i < count; ++i) {
        result.term[i] = {static_cast<std::int8_t>(first + i), static_cast<std::int8_t>(count)};
    }
    return result;
}

constexpr MixChannel kSilent{0, false, {}};

/// Entry [in - 1][0, 1 or 2] mixes `in` channels to 1, 2 or 6.
constexpr MixLayout kMixing[kMaxMixInputs][3] = {
    {{{One(0)}}, {{One(0), One(0)}}, {{One(0), One(0), kSilent, kSilent, kSilent, kSilent}}},
    {{{Mean(0, 2)}}, {{One(0), One(1)}}, {{One(0), One(1), kSilent, kSilent, kSilent, kSilent}}},
    {{{Mean(0, 3)}}, {{One(0), Mean(1, 2)}}, {{One(0), One(1), One(2), kSilent, kSilent, kSilent}}},
    {{{Mean(0, 4)}}, {{Mean(0, 4), Mean(0, 4)}}, {{One(0), One(1), One(2), One(3), kSilent, kSilent}}},
    {{{Mean(0, 5)}}, {{Mean(0, 2), Mean(2, 3)}}, {{One(0), One(1), One(2), One(3), One(4), kSilent}}},
    {{{MixChannel{6, true, {{0, 2}, {1, 2}, {2, 2}, {3, 2}, {4, 4}, {5, 4}}}}},
     {{MixChannel{4, true, {{0, 1}, {2, 2}, {3, 2}, {4, 4}}},
       MixChannel{4, true, {{1, 1}, {2, 2}, {3, 2}, {5, 4}}}}},
     {{One(0), One(1), One(2), One(3), One(4), One(5)}}},
    {{{Mean(0, 7)}}, {{Mean(0, 3), Mean(3, 4)}}, {{One(0), One(1), One(2), One(3), One(4), One(5)}}},
    {{{Mean(0, 8)}}, {{Mean(0, 4), Mean(4, 4)}}, {{One(0), One(1), One(2), One(3), One(4), One(5)}}},
};

/// The position of an output layout in kMixing, or -1.
constexpr int MixColumn(int outChannels) {
    return outChannels == 1 ? 0 : outChannels == 2 ? 1 : outChannels == 6 ? 2 : -1;
}

constexpr bool HasMixing(int inChannels, int outChannels) {
    return inChannels >= 1 && inChannels <= kMaxMixInputs && MixColumn(outChannels) >= 0;
}

} // namespace kq::audio
