// Files with holes and without an end.
#include "StreamTest.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace kq::streams::test {
namespace {

/// A changed copy of a clip, which is deleted when the test ends.
class DamagedCopy {
public:
    explicit DamagedCopy(const std::string& clip) {
        std::ifstream original(Clip(clip), std::ios::binary);
        content.assign(std::istreambuf_iterator<char>(original), {});
        std::string pattern = (std::filesystem::temp_directory_path() / "kq-damaged-XXXXXX").string();
        m_folder = mkdtemp(pattern.data());
    }
    ~DamagedCopy() { std::filesystem::remove_all(m_folder); }
    DamagedCopy(const DamagedCopy&) = delete;
    DamagedCopy& operator=(const DamagedCopy&) = delete;

    /// Overwrites a part, given in fractions of the file, with noise.
    void Spoil(double from, double to) {
        std::mt19937 random(3);
        const auto size = static_cast<double>(content.size());
        for (auto i = static_cast<std::size_t>(size * from); i < static_cast<std::size_t>(size * to); ++i)
            content[i] = static_cast<char>(random());
    }
    std::string Write() const {
        std::ofstream(m_folder + "/clip", std::ios::binary) << content;
        return m_folder + "/clip";
    }

    std::string content;

private:
    std::string m_folder;
};

TEST(Damage, IsSkippedAndPlayingGoesOn) {
    for (const char* clip : {"opengop.ts", "program.mpg", "packets.avi", "theora.ogg", "noise.flac"}) {
        DamagedCopy copy(clip);
        copy.Spoil(0.5, 0.55);
        OpenedFile whole(Clip(clip));
        OpenedFile spoilt(copy.Write());
        if (spoilt.File().video != nullptr) {
            const std::vector<Shot> good = PlayThrough(whole.Video());
            const std::vector<Shot> left = PlayThrough(spoilt.Video());
            EXPECT_GE(left.size(), good.size() / 2) << clip;
            EXPECT_EQ(left.front(), good.front()) << clip;
            EXPECT_EQ(left.back().hash, good.back().hash) << clip << ": whole again behind the damage";
            for (std::size_t n = 1; n < left.size(); ++n)
                ASSERT_GT(left[n].time, left[n - 1].time) << clip;
        }
        if (spoilt.File().audio != nullptr) {
            EXPECT_GT(Listen(spoilt.Audio()).size(), Listen(whole.Audio()).size() / 2) << clip;
        }
        const std::string log = spoilt.Log();
        EXPECT_NE(log, "") << clip;
        EXPECT_LT(std::count(log.begin(), log.end(), '\n'), 40) << log;
    }
}

TEST(Damage, SeekingAcrossItEnds) {
    for (const char* clip : {"opengop.ts", "program.mpg", "theora.ogg", "bframes.mp4"}) {
        DamagedCopy copy(clip);
        copy.Spoil(0.3, 0.5);
        OpenedFile file(copy.Write());
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

/// How many pictures of a clip are none of another one's.
std::ptrdiff_t Strangers(const std::vector<Shot>& clip, const std::vector<Shot>& other) {
    return std::count_if(clip.begin(), clip.end(), [&](const Shot& shot) {
        return std::find(other.begin(), other.end(), shot) == other.end();
    });
}

TEST(Damage, ACutFilePlaysWhatIsThere) {
    for (const char* clip :
         {"opengop.ts", "program.mpg", "packets.avi", "theora.ogg", "matroska.mkv", "vp9.webm"}) {
        OpenedFile whole(Clip(clip));
        const std::vector<Shot> good = PlayThrough(whole.Video());
        for (const double part : {0.5, 0.6, 0.62}) {
            DamagedCopy copy(clip);
            copy.content.resize(static_cast<std::size_t>(static_cast<double>(copy.content.size()) * part));
            OpenedFile cut(copy.Write());
            const std::vector<Shot> left = PlayThrough(cut.Video());
            ASSERT_GT(left.size(), good.size() / 5) << clip;
            ASSERT_LT(left.size(), good.size()) << clip;
            // The cut goes through one picture, which need not be the last one that is shown.
            EXPECT_LE(Strangers(left, good), 1) << clip << " cut at " << part;
            cut.Video().Seek(0, 1);
            EXPECT_EQ(Look(cut.Video()), good.front()) << clip;
        }
    }
}

} // namespace
} // namespace kq::streams::test
