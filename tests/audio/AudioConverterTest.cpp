// The PCM converter: its loops on every dispatch target beside the plain ones, and its documented results.
#include "AudioComparisons.h"
#include "audio/AudioKernels.h"
#include "audio/MixingTable.h"
#include "tests/image/Trial.h"

#include <kqplayer/audio.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <numeric>
#include <vector>

namespace {

using namespace kq::audio;
using namespace kq::audio::test;
using namespace kq::image::test;
using Samples = std::vector<short>;

class AudioTargets : public testing::Test {
protected:
    void TearDown() override { UseTarget(0); }

    /// Runs a comparison for many seeds on every target.
    static void OnEveryTarget(const std::function<std::string(Trial&)>& compare) {
        for (const std::int64_t target : DispatchTargets()) {
            UseTarget(target);
            for (std::uint32_t seed = 0; seed < 400; ++seed) {
                Trial trial(seed);
                ASSERT_EQ("", compare(trial)) << TargetName(target) << ", seed " << seed;
            }
        }
    }
};

TEST_F(AudioTargets, MixEveryLayoutAlike) {
    OnEveryTarget(CompareMixing);
}

TEST_F(AudioTargets, ResampleAlike) {
    OnEveryTarget(CompareResampling);
}

TEST_F(AudioTargets, SumAlike) {
    OnEveryTarget(CompareSums);
}

/// Every 16-bit value divided by every divisor, in vectors: the mixing of equal samples shows the quotients.
TEST_F(AudioTargets, DivideEveryValueExactly) {
    for (const std::int64_t target : DispatchTargets()) {
        UseTarget(target);
        for (int channels = 1; channels <= 8; ++channels) {
            Samples in, want, got(65536);
            for (int value = -32768; value <= 32767; ++value) {
                for (int c = 0; c < channels; ++c) {
                    in.push_back(static_cast<short>(c == 0 ? value : 0));
                }
            }
            want.resize(65536);
            PlainAudioKernels().mix(in.data(), channels, 1, 65536, want.data());
            BestAudioKernels().mix(in.data(), channels, 1, 65536, got.data());
            ASSERT_EQ(want, got) << TargetName(target) << ", " << channels << " channels";
        }
    }
}

/// 0, 1, 2 and so on.
Samples Counting(std::size_t count) {
    Samples samples(count);
    std::iota(samples.begin(), samples.end(), short{0});
    return samples;
}

/// Six channels half way from silence to the lowest sample, and there.
Samples Limited6() {
    Samples samples(6, -16384);
    samples.resize(12, -32767);
    return samples;
}

Samples Convert(CAudioConverter& converter, const Samples& in) {
    converter.Put(in.data(), static_cast<int>(in.size()));
    Samples out(static_cast<std::size_t>(converter.GetValidSize()));
    converter.Get(out.data(), static_cast<int>(out.size()));
    return out;
}

TEST(AudioConverter, GivesTheWorkedExamples) {
    const struct {
        const char* name;
        int in, out, inRate, outRate;
        Samples input, output;
    } cases[] = {
        {"equal", 2, 2, 48000, 48000, {1, -2, 3, -4}, {1, -2, 3, -4}},
        {"mono to stereo", 1, 2, 8000, 8000, {5, -6}, {5, 5, -6, -6}},
        {"5.1 to stereo is limited", 6, 2, 8000, 8000, Samples(6, 30000), {32767, 32767}},
        {"5.1 to stereo is limited below", 6, 2, 8000, 8000, Samples(6, -30000), {-32767, -32767}},
        {"5.1 to stereo is limited by one", 6, 2, 8000, 8000, {-32768, -32767, 0, 0, 0, 0}, {-32767, -32767}},
        {"a rate's samples are limited",
         1,
         1,
         24000,
         48000,
         {-32768, -32768},
         {-16384, -32767, -32767, -32767}},
        {"so are frames of many channels", 6, 6, 24000, 48000, Samples(6, -32768), Limited6()},
        {"equal formats are not", 1, 1, 8000, 8000, {-32768, 32767}, {-32768, 32767}},
        {"quad to stereo", 4, 2, 8000, 8000, {40, 80, -120, 7}, {1, 1}},
        {"no such layout", 2, 4, 8000, 8000, {1, 2, 3, 4}, {0, 0, 0, 0}},
        {"nine channels in", 9, 2, 8000, 8000, Samples(9, 5), Samples(9, 0)},
        {"no channels", 0, 2, 8000, 8000, {1, 2}, {0, 0}},
        {"half the rate", 2, 2, 48000, 24000, Counting(16), {2, 3, 6, 7, 10, 11, 14, 15}},
        {"double the rate", 1, 1, 24000, 48000, {101, -50}, {50, 101, 101 - 75, -50}},
        {"partial frame", 2, 6, 8000, 8000, {1, 2, 3}, {1, 2, 0, 0, 0, 0, 0, 0, 0}},
        {"divisions truncate", 2, 1, 8000, 8000, {-1, -1, 3, 3, -3, 1}, {0, 2, -1}},
    };
    for (const auto& c : cases) {
        CAudioConverter converter(c.in, c.out, c.inRate, c.outRate, 0);
        EXPECT_EQ(c.output, Convert(converter, c.input)) << c.name;
    }
}

TEST(AudioConverter, CarriesTheFractionFromBlockToBlock) {
    CAudioConverter converter(1, 1, 44100, 48000, 0);
    const Samples block(1000, 100);
    EXPECT_EQ(1088u, Convert(converter, block).size());
    EXPECT_EQ(1089u, Convert(converter, block).size());
    const Samples third = Convert(converter, block);
    EXPECT_EQ(1088u, third.size());
    EXPECT_EQ(Samples(1088, 100), third); // no seam: the history holds the last frame
    std::size_t all = 1088 + 1089 + 1088;
    for (int i = 3; i < 100; ++i) {
        all += Convert(converter, block).size();
    }
    EXPECT_NEAR(static_cast<double>(all), 100'000 * 48000.0 / 44100, 1); // no error adds up
}

TEST(AudioConverter, QueuesAndTakes) {
    CAudioConverter converter(1, 1, 8000, 8000, 16);
    const Samples in = Counting(40);
    EXPECT_EQ(40, converter.Put(in.data(), 40)); // grew by twice the estimate of 240 and 4096
    EXPECT_EQ(16 + 480 + 4096 - 40, converter.GetFreeSize());
    EXPECT_EQ(40, converter.Put(in.data(), 0));
    Samples out(100);
    EXPECT_EQ(10, converter.Get(out.data(), 10));
    EXPECT_EQ(9, out[9]);
    EXPECT_EQ(0, converter.Get(out.data(), -5));
    EXPECT_EQ(30, converter.Get(out.data(), 100));
    EXPECT_EQ(39, out[29]);
    EXPECT_EQ(0, converter.GetValidSize());
    converter.Put(in.data(), 7);
    converter.Reset();
    EXPECT_EQ(0, converter.GetValidSize());
}

TEST(AudioConverter, MakesTheSameSamplesForAnyBufferSize) {
    Samples in(5000);
    for (std::size_t i = 0; i < in.size(); ++i) {
        in[i] = static_cast<short>(i * 7919);
    }
    for (const int channels : {1, 2, 6}) {
        CAudioConverter roomy(2, channels, 11025, 192000, 0), tight(2, channels, 11025, 192000, 1);
        EXPECT_EQ(Convert(roomy, in), Convert(tight, in)) << channels;
        EXPECT_EQ(Convert(roomy, in), Convert(tight, in)) << channels;
    }
}

/// Rates, sizes and layouts that nobody means: no overflow, no crash, a bounded queue.
TEST(AudioConverter, SurvivesAbsurdArguments) {
    const Samples in(64, 1000);
    for (const int rate : {INT_MIN, 0, 1, 44100, INT_MAX}) {
        for (const int outRate : {-1, 0, 1, 48000, INT_MAX}) {
            for (const int channels : {INT_MIN, 0, 2, 7, INT_MAX}) {
                for (const int outChannels : {-1, 0, 2, 7, INT_MAX}) {
                    CAudioConverter converter(channels, outChannels, rate, outRate, rate);
                    for (int i = 0; i < 2; ++i) {
                        converter.Put(in.data(), 64);
                    }
                    EXPECT_GE(converter.GetValidSize(), 0);
                    EXPECT_LE(converter.GetValidSize(), 1 << 26);
                }
            }
        }
    }
    CAudioConverter converter(1, 6, 1, 1 << 24, -5);
    EXPECT_EQ(0, converter.Put(in.data(), 64)); // would need more than the largest queue
    EXPECT_EQ(0, converter.Put(nullptr, 64));
    EXPECT_EQ(0, converter.ConvertData(in.data(), -1));
}

TEST(IntermixAudio, LowersTheGainWhereItLimitsAndRecovers) {
    Samples a(5, 20000), b(5, 20000), out(5);
    short* inputs[] = {a.data(), b.data()};
    IntermixAudio(inputs, 2, 5, out.data());
    Samples want = {32767};
    double gain = 32767.0 / 40000;
    for (int i = 1; i < 5; ++i) {
        gain += 2 * 2.2675736961451247e-6;
        int value = static_cast<int>(40000 * gain);
        if (value >= 32768) {
            gain = 32767.0 / value;
            value = 32767;
        }
        want.push_back(static_cast<short>(value));
    }
    EXPECT_EQ(want, out);
    IntermixAudio(inputs, 2, 0, nullptr);
}

/// One sum beyond 16 bits on either side, and the last ones within; the gain shows in the sample after it.
TEST(IntermixAudio, LimitsFromTheFirstSumThatDoesNotFit) {
    const struct {
        short a, b, first, second;
    } cases[] = {
        {16384, 16384, 32767, 29999},    {16384, 16383, 32767, 30000},    {-16384, -16384, -32767, 29999},
        {-16384, -16383, -32767, 30000}, {-30000, -30000, -32767, 16383},
    };
    for (const auto& c : cases) {
        Samples a = {c.a, 15000}, b = {c.b, 15000}, out(2);
        short* inputs[] = {a.data(), b.data()};
        IntermixAudio(inputs, 2, 2, out.data());
        EXPECT_EQ((Samples{c.first, c.second}), out) << c.a << " + " << c.b;
    }
}

} // namespace
