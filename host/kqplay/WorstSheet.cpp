#include "WorstSheet.h"

#include "StillPlayer.h"
#include "TileSheet.h"
#include "VideoSize.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace kqplay {
namespace {

constexpr int columns = 3;
constexpr int amplification = 8;
constexpr int black = 16;
constexpr int white = 235;
constexpr int noColour = 128;

/// A planar picture in memory of its own, 4:2:0 with 8 bits.
class OwnPicture {
public:
    OwnPicture(int width, int height) {
        image.nWidth = width;
        image.nHeight = height;
        image.nPitchY = width + slack;
        image.nPitchU = image.nPitchV = (width + 1) / 2 + slack;
        const auto luma = static_cast<std::size_t>(image.nPitchY) * static_cast<std::size_t>(height);
        const auto chroma =
            static_cast<std::size_t>(image.nPitchU) * static_cast<std::size_t>((height + 1) / 2);
        m_samples.resize(luma + 2 * chroma);
        image.pY = m_samples.data();
        image.pU = image.pY + luma;
        image.pV = image.pU + chroma;
    }

    /// @param source 4:2:0 of any size, scaled to this one
    bool TakeFrom(const tagYUVImage& source) {
        const std::unique_ptr<SwsContext, decltype(&sws_freeContext)> scaler(
            sws_getContext(source.nWidth, source.nHeight, AV_PIX_FMT_YUV420P, image.nWidth, image.nHeight,
                           AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr, nullptr),
            sws_freeContext);
        const std::uint8_t* const from[] = {source.pY, source.pU, source.pV};
        const int fromPitches[] = {source.nPitchY, source.nPitchU, source.nPitchV};
        std::uint8_t* const to[] = {image.pY, image.pU, image.pV};
        const int toPitches[] = {image.nPitchY, image.nPitchU, image.nPitchV};
        return scaler && sws_scale(scaler.get(), from, fromPitches, 0, source.nHeight, to, toPitches) > 0;
    }

    MEDIA_FRAME Frame() const {
        MEDIA_FRAME frame{};
        frame.nType = 2;
        frame.nKind = KQ_PICTURE_PLANAR_YUV;
        frame.image = image;
        frame.image.nFormat = 2;
        return frame;
    }

    tagYUVImage image{};

private:
    static constexpr int slack = 64; ///< the scaler may write beyond a row's end
    std::vector<std::uint8_t> m_samples;
};

/// Replaces a plane by its difference to another.
/// @param base what no difference becomes
void Subtract(std::uint8_t* plane, const std::uint8_t* other, int pitch, int width, int height, int base) {
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        for (std::ptrdiff_t x = 0; x < width; ++x) {
            const std::ptrdiff_t at = y * pitch + x;
            const int difference = amplification * (plane[at] - other[at]);
            const int value = base == black ? black + std::abs(difference) : base + difference;
            plane[at] = static_cast<std::uint8_t>(std::clamp(value, black, white));
        }
    }
}

/// @param first becomes the difference
void Subtract(OwnPicture& first, const OwnPicture& second) {
    const tagYUVImage& a = first.image;
    const tagYUVImage& b = second.image;
    Subtract(a.pY, b.pY, a.nPitchY, a.nWidth, a.nHeight, black);
    Subtract(a.pU, b.pU, a.nPitchU, (a.nWidth + 1) / 2, (a.nHeight + 1) / 2, noColour);
    Subtract(a.pV, b.pV, a.nPitchV, (a.nWidth + 1) / 2, (a.nHeight + 1) / 2, noColour);
}

/// Draws the sheet row by row.
class WorstSheet {
public:
    WorstSheet(IMediaStream& first, IMediaStream& second, TileSheet& sheet)
        : m_first(first), m_second(second), m_sheet(sheet) {}

    bool DrawRow(int row, const kq::measure::MeasuredPair& pair) {
        const MEDIA_FRAME* frame = GoTo(m_first, pair.time);
        if (!frame) {
            return false;
        }
        OwnPicture difference(frame->image.nWidth, frame->image.nHeight);
        OwnPicture other(frame->image.nWidth, frame->image.nHeight);
        const int tile = row * columns;
        if (!difference.TakeFrom(frame->image) || !m_sheet.Draw(tile, *frame, FormatTime(pair.time))) {
            return false;
        }
        frame = GoTo(m_second, pair.otherTime); // the frame before is gone
        if (!frame || !other.TakeFrom(frame->image) ||
            !m_sheet.Draw(tile + 1, *frame, FormatTime(pair.otherTime))) {
            return false;
        }
        Subtract(difference, other);
        char label[32] = "";
        if (pair.planes[0].psnr) {
            std::snprintf(label, sizeof label, "%.2f", *pair.planes[0].psnr);
        }
        return m_sheet.Draw(tile + 2, difference.Frame(), label);
    }

private:
    const MEDIA_FRAME* GoTo(IMediaStream& video, double time) {
        video.Seek(time, kq::ExactSeek);
        const MEDIA_FRAME* frame = video.GetCurrentFrame();
        return frame ? m_stills.Flatten(*frame) : nullptr;
    }

    IMediaStream& m_first;
    IMediaStream& m_second;
    TileSheet& m_sheet;
    StillPlayer m_stills;
};

/// The pictures of a file.
class Pictures {
public:
    Pictures() = default;
    ~Pictures() { m_file.Release(); }
    Pictures(const Pictures&) = delete;
    Pictures& operator=(const Pictures&) = delete;

    bool Open(const PlaybackParts& parts, const std::string& path, std::string& error) {
        kq::streams::OpenOptions how;
        how.audio = false;
        how.queueBytes = 1; // what lies behind a picture is not wanted
        how.log = [&parts](const std::string& line) { parts.output.Note(line); };
        return kq::streams::OpenMediaFile(path, how, m_file, error);
    }
    IMediaStream& Video() const { return *m_file.video; }

private:
    kq::streams::MediaFile m_file;
};

} // namespace

bool WriteWorstSheet(PlaybackParts& parts, const std::vector<kq::measure::MeasuredPair>& pairs,
                     std::string& error) {
    const Options& options = parts.options;
    const std::string& other = options.compare.empty() ? options.file : options.compare[0].path;
    Pictures first;
    Pictures second;
    if (!first.Open(parts, options.file, error) || !second.Open(parts, other, error)) {
        return false;
    }
    int width = 1;
    int height = 1;
    DisplaySize(&first.Video(), width, height);
    const auto text = TextRenderer::Open(error);
    if (!text) {
        parts.Notice("nothing is written on " + options.measure.worstSheet + ": " + error);
    }
    TileSheet sheet(width, height, columns, static_cast<int>(pairs.size()), text.get());
    if (sheet.IsEmpty()) {
        error = options.measure.worstSheet + ": no memory for the picture";
        return false;
    }
    WorstSheet drawing(first.Video(), second.Video(), sheet);
    for (std::size_t row = 0; row < pairs.size(); ++row) {
        if (!drawing.DrawRow(static_cast<int>(row), pairs[row])) {
            error = options.measure.worstSheet + ": there is no picture to show";
            return false;
        }
    }
    return sheet.Save(options.measure.worstSheet, parts.output, error);
}

} // namespace kqplay
