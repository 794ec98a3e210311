// Files in the user's own time: slower, faster, backwards, in loops.
#include "StreamTest.h"
#include "tests/support/WaitUntil.h"

#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <thread>

namespace kq::streams::test {
namespace {

using kq::test::WaitUntil;

constexpr double endless = Timeline::openEnd;

/// A picture as it was given.
struct Given {
    std::int64_t number = -1;
    double stamp = 0; ///< seconds
};

Given GivenBy(IMediaStream& video) {
    const MEDIA_FRAME* frame = video.GetCurrentFrame();
    return {PlaceIn(video).number, static_cast<double>(frame->llPTS) / TicksPerSecond};
}

/// @return the pictures from the current one on, at most so many
std::vector<Given> Take(IMediaStream& video, std::size_t most) {
    std::vector<Given> given{GivenBy(video)};
    while (given.size() < most && video.NextFrame() > 0) {
        given.push_back(GivenBy(video));
    }
    return given;
}

/// @return the samples from the current chunk on, at most so many of each channel
std::vector<std::int16_t> Hear(IMediaStream& audio, std::size_t most, std::size_t channels) {
    std::vector<std::int16_t> sound;
    while (const MEDIA_FRAME* frame = audio.GetCurrentFrame()) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->image.pU);
        sound.insert(sound.end(), samples, samples + frame->image.nAudioLength / 2);
        if (sound.size() >= most * channels) {
            sound.resize(most * channels);
            break;
        }
        audio.NextFrame();
    }
    return sound;
}

TEST(Timelines, AreThePlainStreamsUnlessSomethingIsSet) {
    for (const char* clip :
         {"bframes.mp4", "vfr.mkv", "opengop.ts", "program.mpg", "latesound.mkv", "shortsound.mkv",
          "editlist.mp4", "noise.flac", "plain.h264", "still-rgb24.png", "theora.ogg"}) {
        const OpenedFile plain(Clip(clip));
        OpenedFile file(Clip(clip));
        OpenedTimeline timeline(Clip(clip));
        const bool hasVideo = file.File().video != nullptr;
        const bool hasAudio = file.File().audio != nullptr;
        for (const double place : {-1.0, 1.03}) {
            if (place >= 0) {
                const double reached = hasVideo ? file.Video().Seek(place, 1) : place;
                EXPECT_DOUBLE_EQ(timeline.Seek(place), hasAudio ? file.Audio().Seek(reached, 1) : reached)
                    << clip;
            }
            if (hasVideo) {
                EXPECT_EQ(PlayThrough(timeline.Video()), PlayThrough(file.Video())) << clip;
            }
            if (hasAudio) {
                std::vector<std::int64_t> times, expectedTimes;
                EXPECT_EQ(Listen(timeline.Audio(), &times), Listen(file.Audio(), &expectedTimes)) << clip;
                EXPECT_EQ(times.front(), expectedTimes.front()) << clip;
            }
        }
    }
}

TEST(Timelines, TellHowPicturesWereCodedAndKeepThem) {
    const OpenedTimeline timeline(Clip("bframes.mp4")); // each key picture or P has three Bs before it
    std::mt19937 random(5);
    for (int i = 0; i < 30; ++i) {
        const int number = static_cast<int>(random() % 96);
        timeline.Video().Seek(number / 25.0, 1);
        const KeptPicture kept = KeepPicture(timeline.Video());
        EXPECT_EQ(kept.place.number, number);
        EXPECT_EQ(kept.place.kind, number == 0 ? 'I' : number % 4 == 0 ? 'P' : 'B') << number;
        const std::string pixels = PixelsOf(*timeline.Video().GetCurrentFrame());
        timeline.Video().Seek(0, 1);
        EXPECT_EQ(PixelsOf(*kept.frame), pixels);
    }
    EXPECT_FALSE(KeepPicture(OpenedFile(Clip("bframes.mp4")).Video()).frame) << "has no places";
}

TEST(Timelines, GivePicturesAtTheTimesOfTheRate) {
    const struct {
        double rate, from;
        std::int64_t first, step; ///< numbers; backwards the one at the place itself is over at once
        double begin, each;       ///< seconds: of the first, and between pictures
        std::size_t count;
    } cases[] = {
        {1, 1, 25, 1, 1, 0.04, 75},        {0.5, 1, 25, 1, 1, 0.08, 75},
        {0.1, 3, 75, 1, 3, 0.4, 25},       {1.5, 1, 25, 1, 1, 0.04 / 1.5, 75},
        {2, 0, 0, 1, 0, 0.02, 100},        {4, 1, 25, 2, 1, 0.02, 38},
        {8, 0, 0, 4, 0, 0.02, 26},         {-1, 3, 75, -1, 2.96, 0.04, 76},
        {-0.5, 3, 75, -1, 2.92, 0.08, 76}, {-4, 3.04, 75, -2, 3.04, 0.02, 39},
    };
    for (const char* clip : {"bframes.mp4", "opengop.mp4"}) {
        for (const auto& expected : cases) {
            const OpenedTimeline timeline(Clip(clip));
            EXPECT_EQ(timeline.Time().SetRate(expected.rate), expected.rate);
            EXPECT_DOUBLE_EQ(timeline.Video().Seek(expected.from, 1), expected.from);
            const std::vector<Given> given = Take(timeline.Video(), 1000);
            EXPECT_EQ(given.size(), expected.count) << clip << " at " << expected.rate;
            for (std::size_t i = expected.rate < 0 ? 1 : 0; i + 1 < given.size(); ++i) {
                const auto n = static_cast<std::int64_t>(i);
                ASSERT_EQ(given[i].number, expected.first + n * expected.step) << expected.rate;
                ASSERT_NEAR(given[i].stamp, expected.begin + static_cast<double>(i) * expected.each, 2e-6)
                    << expected.rate;
                ASSERT_GT(given[i + 1].stamp, given[i].stamp);
            }
            EXPECT_EQ(given.back().number, expected.rate > 0 ? 99 : 0) << "the last one is never left out";
        }
    }
}

TEST(Timelines, BackwardsShowThePicturesOfForwardPlay) {
    for (const char* clip : {"bframes.mp4", "opengop.ts", "hevc.mp4", "vfr.mkv", "longgop.mp4"}) {
        std::vector<Shot> forward = AllShots(clip);
        const OpenedTimeline timeline(Clip(clip));
        timeline.Time().SetRate(-1);
        timeline.Video().Seek(1000, 1);
        std::vector<Shot> backwards = PlayThrough(timeline.Video());
        ASSERT_EQ(backwards.size(), forward.size()) << clip;
        std::reverse(backwards.begin(), backwards.end());
        for (std::size_t i = 0; i < forward.size(); ++i) {
            ASSERT_EQ(backwards[i].hash, forward[i].hash) << clip << ", picture " << i;
            const bool isLast = i + 1 == forward.size();
            const std::int64_t passed = backwards[i].time - backwards.back().time;
            ASSERT_EQ(passed, isLast ? 0 : backwards.back().time - forward[i + 1].time)
                << clip << ", picture " << i;
        }
    }
}

TEST(Timelines, RepeatARangeWithoutASeam) {
    const struct {
        double begin, end, rate, from;
        std::vector<std::int64_t> numbers; ///< of two rounds and the next one's first
        std::vector<double> stamps;
    } cases[] = {
        {1,
         1.2,
         1,
         1,
         {25, 26, 27, 28, 29, 25, 26, 27, 28, 29, 25},
         {1, 1.04, 1.08, 1.12, 1.16, 1.2, 1.24, 1.28, 1.32, 1.36, 1.4}},
        {1.01, 1.1, 1, 0, {25, 26, 27, 25, 26, 27, 25}, {1.01, 1.04, 1.08, 1.1, 1.13, 1.17, 1.19}},
        {1, 1.04, 1, 1, {25, 25, 25}, {1, 1.04, 1.08}},
        {1, 1.12, 0.5, 1, {25, 26, 27, 25, 26, 27, 25}, {1, 1.08, 1.16, 1.24, 1.32, 1.4, 1.48}},
        {1, 1.12, -1, 9, {27, 26, 25, 27, 26, 25, 27}, {1.12, 1.16, 1.2, 1.24, 1.28, 1.32, 1.36}},
        {3.9, endless, 1, 3.9, {97, 98, 99, 97, 98, 99, 97}, {3.9, 3.92, 3.96, 4, 4.02, 4.06, 4.1}},
        {1, 1.08, 1, 1.04, {26, 25, 26, 25}, {1.04, 1.08, 1.12, 1.16}},
    };
    for (const auto& expected : cases) {
        const OpenedTimeline timeline(Clip("bframes.mp4"));
        ASSERT_TRUE(timeline.Time().SetRange(expected.begin, expected.end, 0));
        timeline.Time().SetRate(expected.rate);
        timeline.Video().Seek(expected.from, 1);
        const std::vector<Given> given = Take(timeline.Video(), expected.numbers.size());
        for (std::size_t i = 0; i < given.size(); ++i) {
            EXPECT_EQ(given[i].number, expected.numbers[i]) << expected.begin << ", " << i;
            EXPECT_NEAR(given[i].stamp, expected.stamps[i], 2e-7) << expected.begin << ", " << i;
        }
    }
}

TEST(Timelines, EndAfterTheLastRound) {
    const OpenedTimeline timeline(Clip("bframes.mp4"));
    ASSERT_TRUE(timeline.Time().SetRange(1, 1.2, 3));
    timeline.Video().Seek(1, 1);
    timeline.Audio().Seek(1, 1);
    EXPECT_EQ(Take(timeline.Video(), 1000).size(), 15U);
    EXPECT_EQ(Hear(timeline.Audio(), 1'000'000, 1).size(), 26'460U);
    EXPECT_DOUBLE_EQ(timeline.Time().EndTime(), 1.6);
    EXPECT_DOUBLE_EQ(timeline.Time().MediaTime(1.5), 1.1);
    EXPECT_EQ(timeline.Time().FrameNumber(1.5), 27);
    EXPECT_EQ(timeline.Video().NextFrame(), 0);
    ASSERT_TRUE(timeline.Time().SetRange(2, 2.2, 2)) << "and goes on when more is asked for";
    EXPECT_EQ(timeline.Video().NextFrame(), 1);
    EXPECT_EQ(PlaceIn(timeline.Video()).number, 50);
}

TEST(Timelines, JoinSoundOnTheSample) {
    const OpenedFile file(Clip("noise.flac"));
    const std::vector<std::int16_t> all = Listen(file.Audio());
    const struct {
        double begin, end, from;
    } cases[] = {{0.5, 0.7301, 0.5}, {1.00001, 1.03337, 1.02}, {0, 3.9, 3}, {3.5, endless, 3.5}};
    for (const auto& range : cases) {
        const OpenedTimeline timeline(Clip("noise.flac"));
        ASSERT_TRUE(timeline.Time().SetRange(range.begin, range.end, 0));
        timeline.Audio().Seek(range.from, 1);
        const double end = std::min(range.end, 4.0);
        std::vector<std::int16_t> expected;
        const auto sampleAt = [](double time) {
            return static_cast<std::ptrdiff_t>(std::llround(time * 44100));
        };
        for (int round = 0; round < 10; ++round) {
            const auto joint =
                static_cast<std::size_t>(sampleAt(end - range.from + round * (end - range.begin)));
            const auto place = all.begin() + sampleAt(round == 0 ? range.from : range.begin);
            const auto count = static_cast<std::ptrdiff_t>(joint - expected.size());
            expected.insert(expected.end(), place, std::min(place + count, all.end()));
            expected.resize(joint);
        }
        const std::vector<std::int16_t> heard = Hear(timeline.Audio(), expected.size(), 1);
        ASSERT_EQ(heard.size(), expected.size());
        const auto differs = std::mismatch(heard.begin(), heard.end(), expected.begin()).first;
        EXPECT_EQ(differs - heard.begin(), heard.end() - heard.begin()) << "from " << range.begin;
    }
}

TEST(Timelines, ReverseSoundOnTheSample) {
    const OpenedFile file(Clip("sound-stereo.wav"));
    std::vector<std::int16_t> all = Listen(file.Audio());
    std::vector<std::int16_t> expected;
    for (std::size_t i = all.size(); i > 0; i -= 2) {
        expected.insert(expected.end(), {all[i - 2], all[i - 1]});
    }
    const OpenedTimeline timeline(Clip("sound-stereo.wav"));
    timeline.Time().SetRate(-1);
    EXPECT_DOUBLE_EQ(timeline.Audio().Seek(1, 1), 1);
    const std::vector<std::int16_t> heard = Listen(timeline.Audio());
    EXPECT_TRUE(heard == expected) << heard.size() << " of " << expected.size();
}

/// What a clip of flashes and beeps shows and sounds like in play time.
struct Signals {
    std::vector<double> flashes, beeps; ///< begins, seconds
    double pitch = 0;                   ///< Hz, of most periods
};

Signals Watch(const OpenedTimeline& timeline, double until) {
    Signals signals;
    bool wasWhite = true;
    do {
        const MEDIA_FRAME* frame = timeline.Video().GetCurrentFrame();
        const bool isWhite = frame->image.pY[0] > 128;
        const double stamp = static_cast<double>(frame->llPTS) / TicksPerSecond;
        if (isWhite && !wasWhite) {
            signals.flashes.push_back(stamp);
        }
        wasWhite = isWhite;
        if (stamp > until) {
            break;
        }
    } while (timeline.Video().NextFrame() > 0);

    double loud = 0, crossed = 0;
    std::int16_t before = 0;
    std::vector<double> periods;
    while (const MEDIA_FRAME* frame = timeline.Audio().GetCurrentFrame()) {
        const double begin = static_cast<double>(frame->llPTS) / TicksPerSecond;
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->image.pU);
        for (int i = 0; i < frame->image.nAudioLength / 2; ++i) {
            const double time = begin + i / 48000.0;
            if (std::abs(samples[i]) > 6000) {
                if (time - loud > 0.05) {
                    signals.beeps.push_back(time);
                }
                loud = time;
            }
            if (samples[i] >= 0 && before < 0) {
                const double crossing =
                    time - samples[i] / static_cast<double>(samples[i] - before) / 48000.0;
                periods.push_back(crossing - std::exchange(crossed, crossing));
            }
            before = samples[i];
        }
        if (begin > until) {
            break;
        }
        timeline.Audio().NextFrame();
    }
    std::nth_element(periods.begin(), periods.begin() + static_cast<std::ptrdiff_t>(periods.size() / 2),
                     periods.end());
    signals.pitch = 1 / periods[periods.size() / 2];
    return signals;
}

TEST(Timelines, KeepSoundWithThePicturesAndItsPitch) {
    for (const double rate : {0.25, 0.5, 0.8, 1.0, 1.5, 2.0, 4.0, -1.0, -2.0}) {
        OpenedTimeline timeline(Clip("beeps.mkv"));
        timeline.Time().SetRate(rate);
        const double begin = timeline.Seek(rate > 0 ? 0.48 : 7.48);
        const Signals signals = Watch(timeline, begin + 6.9 / std::abs(rate));
        EXPECT_EQ(signals.flashes.size(), 7U) << rate;
        ASSERT_EQ(signals.beeps.size(), 7U) << rate;
        for (std::size_t i = 0; i < 7; ++i) {
            EXPECT_NEAR(signals.beeps[i], signals.flashes[i], 0.03) << rate << ", " << i;
            // Backwards a signal begins with its end.
            const double way = static_cast<double>(i) + (rate > 0 ? 0.52 : 0.4);
            EXPECT_NEAR(signals.flashes[i], begin + way / std::abs(rate), 0.021) << rate;
        }
        EXPECT_NEAR(signals.pitch, 1000, 10) << rate;
    }
}

TEST(Timelines, BeyondTheSpeedsOfSoundAreSilentForAsLong) {
    for (const double rate : {0.1, 8.0}) {
        OpenedTimeline timeline(Clip("beeps.mkv"));
        timeline.Time().SetRate(rate);
        timeline.Seek(6);
        const std::vector<std::int16_t> heard = Listen(timeline.Audio());
        EXPECT_NEAR(static_cast<double>(heard.size()) / 48000, 2 / rate, 0.001);
        EXPECT_TRUE(std::all_of(heard.begin(), heard.end(), [](std::int16_t sample) { return sample == 0; }));
    }
}

TEST(Timelines, ChangeSpeedWithoutLosingOrRepeatingAPicture) {
    OpenedTimeline timeline(Clip("bframes.mp4"));
    std::int64_t heardUntil = 0;
    double last = -1;
    std::int64_t number = -1;
    int direction = 1;
    std::mt19937 random(5);
    for (int i = 0; i < 400; ++i) {
        const double rates[] = {1, 0.5, -1, 0.25, -0.5, 0.9, -0.3};
        if (random() % 5 == 0) {
            timeline.Time().SetRate(rates[random() % 7]);
        }
        // The sound runs ahead of the pictures, by less than they last.
        while (const MEDIA_FRAME* frame = timeline.Audio().GetCurrentFrame()) {
            EXPECT_TRUE(i == 0 || frame->llPTS >= heardUntil - 1) << "sound twice";
            EXPECT_TRUE(frame->llPTS <= heardUntil + 1) << "a hole in the sound";
            if (static_cast<double>(heardUntil) / TicksPerSecond > last + 0.2) {
                break;
            }
            heardUntil = frame->llPTS + std::int64_t{frame->image.nAudioLength} * TicksPerSecond / 88200;
            timeline.Audio().NextFrame();
        }
        const Given given = GivenBy(timeline.Video());
        ASSERT_GT(given.stamp, last);
        ASSERT_LE(std::abs(given.number - number), 1) << "left out at " << given.stamp;
        if (i > 0 && given.number == number) {
            FAIL() << "twice: " << number << " at " << given.stamp;
        }
        ASSERT_NEAR(timeline.Time().MediaTime(given.stamp), static_cast<double>(given.number) / 25, 0.0401);
        ASSERT_EQ(timeline.Time().FrameNumber(given.stamp), given.number);
        direction = given.number > number ? 1 : -1;
        number = given.number;
        last = given.stamp;
        if (timeline.Video().NextFrame() <= 0) {
            timeline.Time().SetRate(-direction);
            timeline.Video().NextFrame();
        }
    }
}

TEST(Timelines, TakeTheNearestRateAndRefuseRangesWithoutAPicture) {
    const OpenedTimeline timeline(Clip("bframes.mp4"));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double rates[][2] = {{0.01, 0.1}, {100, 8}, {-0.01, -0.1}, {-100, -4}, {0, 1}, {nan, 1}, {-2, -2}};
    for (const auto& rate : rates) {
        EXPECT_EQ(timeline.Time().SetRate(rate[0]), rate[1]);
        EXPECT_EQ(timeline.Time().Rate(), rate[1]);
    }
    const struct {
        double begin, end;
        int rounds;
        bool isTaken;
    } ranges[] = {{2, 1, 1, false},       {1, 1, 0, false},      {1, 1.02, 0, false},   {4.5, 5, 0, false},
                  {9, endless, 1, false}, {nan, 2, 0, false},    {1, nan, 0, false},    {1, 2, -1, false},
                  {-2, -1, 1, false},     {3.9, 5, 0, true},     {0, endless, 0, true}, {1, 1.04, 0, true},
                  {-1, 1, 2, true},       {1, endless, 1, true}, {0, endless, 1, true}};
    for (const auto& range : ranges) {
        EXPECT_EQ(timeline.Time().SetRange(range.begin, range.end, range.rounds), range.isTaken)
            << range.begin << " to " << range.end;
    }
    EXPECT_EQ(timeline.Time().FrameCount(), 100);
    EXPECT_NEAR(timeline.Time().PlaceOfFrame(99).time, 3.96, 1e-6);
    EXPECT_NEAR(timeline.Time().PlaceOfFrame(99).duration, 0.04, 1e-6);
    for (const std::int64_t number : {100, -1}) {
        EXPECT_EQ(timeline.Time().PlaceOfFrame(number).number, -1);
    }
    OpenedFile plain(Clip("bframes.mp4"));
    PicturePlace place;
    EXPECT_FALSE(PlaceOfPicture(plain.Video(), place));
    EXPECT_FALSE(PlaceOfPicture(timeline.Audio(), place));
}

TEST(Timelines, TakeFilesOfOnePicture) {
    const OpenedTimeline timeline(Clip("still-rgb24.png"));
    timeline.Time().SetRate(-1);
    EXPECT_EQ(Take(timeline.Video(), 10).size(), 1U);
    timeline.Time().SetRate(1);
    ASSERT_TRUE(timeline.Time().SetRange(0, endless, 3));
    const std::vector<Given> given = Take(timeline.Video(), 10);
    ASSERT_EQ(given.size(), 3U);
    EXPECT_EQ(given[2].number, 0);
    EXPECT_GT(given[1].stamp, given[0].stamp + 0.03);
    EXPECT_FALSE(timeline.Time().SetRange(2, 3, 0));
}

TEST(Timelines, AreFollowedBackAndOverJoints) {
    OpenedTimeline timeline(Clip("bframes.mp4"));
    const OpenedFollower follower("bframes.mp4", timeline.Video());
    const OpenedFollower other("opengop.mp4", timeline.Video());
    EXPECT_TRUE(WaitUntil([&follower] { return PlaceIn(follower.Video()).number >= 0; }));
    const std::vector<Shot> others = AllShots("opengop.mp4");
    timeline.Time().SetRange(1, 1.2, 0);
    for (const double rate : {1.0, -1.0, 2.0}) {
        timeline.Time().SetRate(rate);
        for (int i = 0; i < 20; ++i) {
            const auto number = static_cast<std::size_t>(PlaceIn(timeline.Video()).number);
            EXPECT_EQ(Look(follower.Video()).hash, Look(timeline.Video()).hash) << number;
            EXPECT_EQ(PlaceIn(follower.Video()).number, static_cast<std::int64_t>(number));
            EXPECT_EQ(Look(other.Video()).hash, others[number].hash) << number;
            timeline.Video().NextFrame();
        }
    }
}

TEST(Timelines, AndTheirStreamsOutliveEachOther) {
    OpenedTimeline first(Clip("bframes.mp4"));
    first.ReleaseTime();
    EXPECT_EQ(PlayThrough(first.Video()).size(), 100U);
    OpenedTimeline second(Clip("bframes.mp4"));
    second.File().Release();
    EXPECT_EQ(second.Time().SetRate(2), 2);
    EXPECT_TRUE(second.Time().SetRange(1, 2, 0));
    EXPECT_EQ(second.Time().FrameCount(), 100);
    EXPECT_TRUE(second.Time().KeptSpans().empty());
}

TEST(Timelines, StandAThousandChangesWhileTheyArePlayed) {
    OpenedTimeline timeline(Clip("opengop.ts"));
    OpenedTimeline sound(Clip("bframes.mp4"));
    std::atomic<bool> done{false};
    const auto play = [&done](IMediaStream& stream, bool isVideo) {
        const MEDIA_FRAME* frame = nullptr;
        while (!done) {
            if ((frame = stream.GetCurrentFrame()) != nullptr) {
                EXPECT_GE(frame->llPTS, 0);
            }
            if (isVideo && frame != nullptr) {
                PlaceIn(stream);
            }
            stream.NextFrame();
        }
    };
    std::vector<std::thread> players;
    players.emplace_back(play, std::ref(timeline.Video()), true);
    players.emplace_back(play, std::ref(sound.Video()), true);
    players.emplace_back(play, std::ref(sound.Audio()), false);
    std::mt19937 random(9);
    for (int i = 0; i < 1000; ++i) {
        for (OpenedTimeline* one : {&timeline, &sound}) {
            const double number = static_cast<double>(random() % 4000) / 1000;
            switch (random() % 8) {
            case 0:
                one->Time().SetRange(number, number + 0.1, static_cast<int>(random() % 3));
                break;
            case 1:
                one->Time().SetRange(0, endless, static_cast<int>(random() % 2));
                break;
            case 2:
                one->Seek(number);
                break;
            case 3:
                EXPECT_GE(one->Time().MediaTime(number), 0);
                one->Time().FrameNumber(number);
                one->Time().KeptSpans();
                break;
            default:
                one->Time().SetRate(2 * number - 4);
            }
        }
    }
    done = true;
    for (std::thread& player : players) {
        player.join();
    }
}

} // namespace
} // namespace kq::streams::test
