// Files with holes and without an end.
#include "StreamTest.h"
#include "host/streams/FileLog.h"
#include "tests/support/Files.h"

extern "C" {
#include <libavutil/log.h>
}
#include <random>

namespace kq::streams::test {
namespace {

using namespace kq::test;

/// Overwrites a part, given in fractions, with noise.
std::string Spoilt(std::string content, double from, double to) {
    std::mt19937 random(3);
    const auto size = static_cast<double>(content.size());
    for (auto i = static_cast<std::size_t>(size * from); i < static_cast<std::size_t>(size * to); ++i) {
        content[i] = static_cast<char>(random());
    }
    return content;
}

TEST(Damage, IsSkippedAndPlayingGoesOn) {
    const TemporaryFolder folder;
    int logged = 0;
    for (const char* clip : {"opengop.ts", "program.mpg", "packets.avi", "theora.ogg", "noise.flac"}) {
        SCOPED_TRACE(clip);
        OpenedFile whole(Clip(clip));
        OpenedFile spoilt(WriteFile(folder / clip, Spoilt(ReadFile(Clip(clip)), 0.5, 0.55)));
        if (spoilt.File().video != nullptr) {
            const std::vector<Shot> good = PlayThrough(whole.Video());
            const std::vector<Shot> left = PlayThrough(spoilt.Video());
            EXPECT_GE(left.size(), good.size() / 2);
            EXPECT_EQ(left.front(), good.front());
            EXPECT_EQ(left.back().hash, good.back().hash) << "whole again behind the damage";
            for (std::size_t n = 1; n < left.size(); ++n) {
                ASSERT_GT(left[n].time, left[n - 1].time);
            }
        }
        if (spoilt.File().audio != nullptr) {
            EXPECT_GT(Listen(spoilt.Audio()).size(), Listen(whole.Audio()).size() / 2);
        }
        const std::string log = spoilt.Log();
        logged += log.empty() ? 0 : 1;
        EXPECT_LT(std::count(log.begin(), log.end(), '\n'), 100) << log;
    }
    EXPECT_GE(logged, 3) << "not every decoder tells what it conceals";
}

TEST(Damage, IsToldInLines) {
    std::vector<std::string> told;
    const auto log = FileLog::Make("clip", [&](const std::string& line) { told.push_back(line); });
    LogScope scope(*log);
    av_log(nullptr, AV_LOG_ERROR, "no size\nConsider ");
    av_log(nullptr, AV_LOG_ERROR, "this\n");
    EXPECT_EQ(told, std::vector<std::string>{"clip: no size Consider this"});
}

TEST(Damage, SeekingAcrossItEnds) {
    const TemporaryFolder folder;
    for (const char* clip : {"opengop.ts", "program.mpg", "theora.ogg", "bframes.mp4"}) {
        OpenedFile file(WriteFile(folder / clip, Spoilt(ReadFile(Clip(clip)), 0.3, 0.5)));
        double last = -1;
        for (int step = 0; step < 13; ++step) {
            const double time = 0.31 * step;
            const double reached = file.Video().Seek(time, 1);
            EXPECT_LE(reached, time + 1e-3) << clip;
            EXPECT_GE(reached, last) << clip;
            EXPECT_NE(file.Video().GetCurrentFrame(), nullptr) << clip << " at " << time;
            last = reached;
        }
    }
}

TEST(Damage, ACutFilePlaysWhatIsThere) {
    const TemporaryFolder folder;
    for (const char* clip :
         {"opengop.ts", "program.mpg", "packets.avi", "theora.ogg", "matroska.mkv", "vp9.webm"}) {
        const std::vector<Shot> good = AllShots(clip);
        const std::string content = ReadFile(Clip(clip));
        for (const double part : {0.5, 0.6, 0.62}) {
            const auto size = static_cast<std::size_t>(static_cast<double>(content.size()) * part);
            OpenedFile cut(WriteFile(folder / clip, content.substr(0, size)));
            const std::vector<Shot> left = PlayThrough(cut.Video());
            ASSERT_GT(left.size(), good.size() / 5) << clip;
            ASSERT_LT(left.size(), good.size()) << clip;
            // The cut goes through one picture, which need not be the last one that is shown.
            const auto strangers = std::count_if(left.begin(), left.end(), [&good](const Shot& shot) {
                return std::find(good.begin(), good.end(), shot) == good.end();
            });
            EXPECT_LE(strangers, 1) << clip << " cut at " << part;
            cut.Video().Seek(0, 1);
            EXPECT_EQ(Look(cut.Video()), good.front()) << clip;
        }
    }
}

} // namespace
} // namespace kq::streams::test
