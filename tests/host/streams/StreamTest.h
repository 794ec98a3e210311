/// @file
/// What the tests of the streams share: opening a clip, and looking at what it gives.
#pragma once

#include <kqplayer/convenience.h>
#include <kqplayer/media_file.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace kq::streams::test {

/// @return the path of a clip that MakeClips.sh made
inline std::string Clip(const std::string& name) {
    return std::string(KQ_CLIPS) + "/" + name;
}

/// A file, or a follower, that is given back when the test ends, with everything that it wrote to its log.
class OpenedFile {
public:
    explicit OpenedFile(const std::string& path, OpenOptions options = {},
                        IMediaStream* reference = nullptr) {
        options.log = [this](const std::string& line) {
            const std::lock_guard guard(m_lock);
            m_log += line + "\n";
        };
        std::string error;
        EXPECT_TRUE(reference != nullptr ? OpenFollower(path, *reference, options, m_file, error)
                                         : OpenMediaFile(path, options, m_file, error))
            << error;
    }
    ~OpenedFile() { m_file.Release(); }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

    IMediaStream& Video() const { return *m_file.video; }
    IMediaStream& Audio() const { return *m_file.audio; }
    MediaFile& File() { return m_file; }
    std::string Log() {
        const std::lock_guard guard(m_lock);
        return m_log;
    }

private:
    std::mutex m_lock;
    std::string m_log;
    MediaFile m_file;
};

/// A file with a timeline, given back when the test ends.
class OpenedTimeline {
public:
    explicit OpenedTimeline(const std::string& path, OpenOptions options = {}) {
        options.log = [this](const std::string& line) {
            const std::lock_guard guard(m_lock);
            m_log += line + "\n";
        };
        std::string error;
        EXPECT_TRUE(OpenTimeline(path, options, m_file, m_timeline, error)) << error;
        if (m_file.video != nullptr) {
            m_timeline->FrameCount(); // so that numbers are known where they can be
        }
    }
    ~OpenedTimeline() { m_file.Release(); }
    OpenedTimeline(const OpenedTimeline&) = delete;
    OpenedTimeline& operator=(const OpenedTimeline&) = delete;

    IMediaStream& Video() const { return *m_file.video; }
    IMediaStream& Audio() const { return *m_file.audio; }
    MediaFile& File() { return m_file; }
    Timeline& Time() const { return *m_timeline; }
    void ReleaseTime() { m_timeline.reset(); }
    std::string Log() {
        const std::lock_guard guard(m_lock);
        return m_log;
    }

    /// As the player does it.
    double Seek(double seconds) {
        const double reached = m_file.video != nullptr ? Video().Seek(seconds, 1) : seconds;
        return m_file.audio != nullptr ? Audio().Seek(reached, 1) : reached;
    }

private:
    std::mutex m_lock;
    std::string m_log;
    MediaFile m_file;
    std::shared_ptr<Timeline> m_timeline;
};

inline PicturePlace PlaceIn(IMediaStream& stream) {
    PicturePlace place;
    EXPECT_TRUE(PlaceOfPicture(stream, place));
    return place;
}

/// @return the one line that says why a file, or a follower, cannot be opened
inline std::string Refusal(const std::string& path, const OpenOptions& options = {},
                           IMediaStream* reference = nullptr) {
    MediaFile file;
    std::string error;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(reference != nullptr ? OpenFollower(path, *reference, options, file, error)
                                      : OpenMediaFile(path, options, file, error));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "the terminal belongs to the host";
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    EXPECT_EQ(file.video, nullptr);
    EXPECT_EQ(file.audio, nullptr);
    return error;
}

inline OpenOptions Filtered(const std::string& graph) {
    OpenOptions options;
    options.filter = graph;
    return options;
}

class OpenedFollower : public OpenedFile {
public:
    OpenedFollower(const std::string& clip, IMediaStream& reference, const std::string& graph = {})
        : OpenedFile(Clip(clip), Filtered(graph), &reference) {}
};

/// How many samples the chroma planes of a kind have, and how they lie.
struct Layout {
    int columns = 2; ///< of luma for one of chroma
    int rows = 2;
    int sampleBytes = 1;
    bool pairs = false; ///< Cb and Cr lie in turn
    bool highBits = false;
};

inline Layout LayoutOf(std::int32_t kind) {
    switch (kind) {
    case KQ_PICTURE_PLANAR_422:
        return {2, 1};
    case KQ_PICTURE_PLANAR_444:
        return {1, 1};
    case KQ_PICTURE_NV12:
        return {2, 2, 1, true};
    case KQ_PICTURE_PLANAR_420_10:
        return {2, 2, 2};
    case KQ_PICTURE_PLANAR_422_10:
        return {2, 1, 2};
    case KQ_PICTURE_PLANAR_444_10:
        return {1, 1, 2};
    case KQ_PICTURE_P010:
        return {2, 2, 2, true, true};
    default:
        EXPECT_EQ(kind, KQ_PICTURE_PLANAR_YUV);
        return {};
    }
}

/// The picture's planes without the padding of their rows, Y then Cb then Cr, or both in turn.
inline std::string PixelsOf(const MEDIA_FRAME& frame) {
    const tagYUVImage& image = frame.image;
    const Layout layout = LayoutOf(frame.nKind);
    std::string pixels;
    const auto append = [&](const std::uint8_t* plane, int pitch, int width, int height) {
        for (int y = 0; y < height; ++y) {
            pixels.append(reinterpret_cast<const char*>(plane) + static_cast<std::ptrdiff_t>(y) * pitch,
                          static_cast<std::size_t>(width) * static_cast<std::size_t>(layout.sampleBytes));
        }
    };
    const int chromaWidth = (image.nWidth + layout.columns - 1) / layout.columns;
    const int chromaHeight = (image.nHeight + layout.rows - 1) / layout.rows;
    append(image.pY, image.nPitchY, image.nWidth, image.nHeight);
    append(image.pU, image.nPitchU, layout.pairs ? 2 * chromaWidth : chromaWidth, chromaHeight);
    if (!layout.pairs) {
        append(image.pV, image.nPitchV, chromaWidth, chromaHeight);
    }
    return pixels;
}

/// @return a pixel's red, green and blue, 0 to 255, by the standards' formulas
inline std::array<double, 3> RgbAt(const MEDIA_FRAME& frame, int x, int y) {
    const Layout layout = LayoutOf(frame.nKind);
    const Colour colour = ColourOf(frame);
    const auto sample = [&](const std::uint8_t* plane, int pitch, int index, int row) {
        const std::uint8_t* at =
            plane + static_cast<std::ptrdiff_t>(row) * pitch + index * layout.sampleBytes;
        const int value = layout.sampleBytes == 1 ? at[0] : at[0] + 256 * at[1];
        return layout.sampleBytes == 1 ? value : (layout.highBits ? value >> 6 : value & 1023) / 4.0;
    };
    const tagYUVImage& image = frame.image;
    const int column = x / layout.columns, row = y / layout.rows;
    const double cb = layout.pairs ? sample(image.pU, image.nPitchU, 2 * column, row)
                                   : sample(image.pU, image.nPitchU, column, row);
    const double cr = layout.pairs ? sample(image.pU, image.nPitchU, 2 * column + 1, row)
                                   : sample(image.pV, image.nPitchV, column, row);
    const bool isFull = colour.nRange == KQ_RANGE_FULL;
    const double luma =
        (sample(image.pY, image.nPitchY, x, y) - (isFull ? 0 : 16)) * (isFull ? 1 : 255.0 / 219);
    const double chromaScale = isFull ? 1 : 255.0 / 224;
    constexpr double weights[][2] = {{0.299, 0.114}, {0.2126, 0.0722}, {0.2627, 0.0593}, {0.212, 0.087}};
    const auto [kr, kb] = weights[colour.nMatrix];
    const double red = luma + 2 * (1 - kr) * chromaScale * (cr - 128);
    const double blue = luma + 2 * (1 - kb) * chromaScale * (cb - 128);
    return {red, (luma - kr * red - kb * blue) / (1 - kr - kb), blue};
}

/// One frame as it was given.
struct Shot {
    std::int64_t time = -1;
    double position = -1;
    std::size_t hash = 0;

    bool operator==(const Shot& other) const {
        return std::tie(time, position, hash) == std::tie(other.time, other.position, other.hash);
    }
    friend std::ostream& operator<<(std::ostream& out, const Shot& shot) {
        return out << "frame " << shot.position << " at " << shot.time << " with " << shot.hash;
    }
};

/// @return the current frame, an empty shot without one
inline Shot Look(IMediaStream& stream) {
    const MEDIA_FRAME* frame = stream.GetCurrentFrame();
    if (frame == nullptr) {
        return {};
    }
    return {frame->llPTS, stream.GetFramePosition(), std::hash<std::string>()(PixelsOf(*frame))};
}

/// @return all pictures from the current one to the end
inline std::vector<Shot> PlayThrough(IMediaStream& stream) {
    if (stream.GetCurrentFrame() == nullptr) {
        return {};
    }
    std::vector<Shot> shots;
    do {
        shots.push_back(Look(stream));
    } while (stream.NextFrame() > 0);
    return shots;
}

/// @return all sound from the current chunk to the end, and in @p times the chunks' stamps
inline std::vector<std::int16_t> Listen(IMediaStream& stream, std::vector<std::int64_t>* times = nullptr) {
    std::vector<std::int16_t> sound;
    while (const MEDIA_FRAME* frame = stream.GetCurrentFrame()) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->image.pU);
        sound.insert(sound.end(), samples, samples + frame->image.nAudioLength / 2);
        if (times != nullptr) {
            times->push_back(frame->llPTS);
        }
        stream.NextFrame();
    }
    return sound;
}

/// @return all pictures of a clip
inline std::vector<Shot> AllShots(const std::string& clip, const std::string& graph = {}) {
    return PlayThrough(OpenedFile(Clip(clip), Filtered(graph)).Video());
}

/// @return the shot that is on show at a time in 100-ns units
inline std::size_t ShotAt(const std::vector<Shot>& shots, std::int64_t time) {
    const auto after =
        std::upper_bound(shots.begin(), shots.end(), time,
                         [](std::int64_t value, const Shot& shot) { return value < shot.time; });
    return after == shots.begin() ? 0 : static_cast<std::size_t>(after - shots.begin()) - 1;
}

/// @return the clip's name as a test's name may have it
inline std::string NameOf(std::string clip) {
    std::replace_if(
        clip.begin(), clip.end(), [](char c) { return std::isalnum(c) == 0; }, '_');
    return clip;
}

/// A reference and what follows it.
using Pair = std::pair<std::string, std::string>;

inline std::string NameOfPair(const testing::TestParamInfo<Pair>& info) {
    return NameOf(info.param.first + "With" + info.param.second);
}

inline ComPtr<IStreamInfo> InfoOf(IMediaStream& stream) {
    ComPtr<IStreamInfo> info;
    EXPECT_EQ(stream.GetStreamInfo(info.Out()), Ok);
    return info;
}

inline VIDEO_STREAM_INFO VideoFormat(IMediaStream& stream) {
    const ComPtr<IStreamInfo> info = InfoOf(stream);
    EXPECT_EQ(info->GetAudioFormat(), nullptr);
    return *info->GetVideoFormat();
}

inline AUDIO_STREAM_INFO AudioFormat(IMediaStream& stream) {
    const ComPtr<IStreamInfo> info = InfoOf(stream);
    EXPECT_EQ(info->GetVideoFormat(), nullptr);
    return *info->GetAudioFormat();
}

} // namespace kq::streams::test
