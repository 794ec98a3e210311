#include "PixelReadout.h"

#include <array>
#include <cstdio>
#include <cstring>

namespace kqplay {
namespace {

/// How a kind's samples lie.
struct Layout {
    bool tenBits = false;
    bool highBits = false; ///< of a word
    bool inTurn = false;   ///< Cb and Cr
    bool fullColumns = false;
    bool halfRows = false;
};

std::optional<Layout> LayoutOf(std::int32_t kind) {
    switch (kind) {
    case KQ_PICTURE_PLANAR_YUV:
        return Layout{false, false, false, false, true};
    case KQ_PICTURE_PLANAR_422:
        return Layout{};
    case KQ_PICTURE_PLANAR_444:
        return Layout{false, false, false, true, false};
    case KQ_PICTURE_NV12:
        return Layout{false, false, true, false, true};
    case KQ_PICTURE_PLANAR_420_10:
        return Layout{true, false, false, false, true};
    case KQ_PICTURE_PLANAR_422_10:
        return Layout{true, false, false, false, false};
    case KQ_PICTURE_PLANAR_444_10:
        return Layout{true, false, false, true, false};
    case KQ_PICTURE_P010:
        return Layout{true, true, true, false, true};
    default:
        return std::nullopt;
    }
}

int SampleAt(const std::uint8_t* plane, int pitch, int column, int row, const Layout& layout) {
    const std::uint8_t* begin = plane + static_cast<std::ptrdiff_t>(row) * pitch;
    if (!layout.tenBits) {
        return begin[column];
    }
    std::uint16_t word = 0;
    std::memcpy(&word, begin + std::ptrdiff_t{2} * column, sizeof word);
    return layout.highBits ? word >> 6 : word & 0x3FF;
}

using Values = std::array<int, 3>;

std::optional<Values> ValuesOf(const std::optional<PixelSamples>& samples) {
    return samples ? std::optional(Values{samples->y, samples->cb, samples->cr}) : std::nullopt;
}

std::optional<Values> ValuesOf(const std::optional<std::uint32_t>& rgb) {
    return rgb ? std::optional(Values{static_cast<int>(*rgb >> 16 & 0xFF), static_cast<int>(*rgb >> 8 & 0xFF),
                                      static_cast<int>(*rgb & 0xFF)})
               : std::nullopt;
}

std::string Format(const char* format, const Values& values) {
    char text[64];
    std::snprintf(text, sizeof text, format, values[0], values[1], values[2]);
    return text;
}

std::string Format(const char* format, const std::optional<Values>& values) {
    return values ? Format(format, *values) : "- - -";
}

/// @return "+1 -2 +0", or dashes for what cannot be compared
std::string Difference(const std::optional<Values>& first, const std::optional<Values>& other) {
    if (!first || !other) {
        return "- - -";
    }
    return Format("%+d %+d %+d",
                  Values{(*other)[0] - (*first)[0], (*other)[1] - (*first)[1], (*other)[2] - (*first)[2]});
}

std::string DescribeOne(const FilePixel& file) {
    const auto samples = ValuesOf(file.samples);
    const std::string depth =
        file.samples && file.samples->bits != 8 ? " (" + std::to_string(file.samples->bits) + " bits)" : "";
    return Format("Y %d Cb %d Cr %d", samples) + depth + "  " + Format("RGB %d %d %d", ValuesOf(file.rgb));
}

std::string DescribeShort(const FilePixel& file) {
    return Format("%d %d %d", ValuesOf(file.samples)) + " " + Format("#%02X%02X%02X", ValuesOf(file.rgb));
}

} // namespace

std::optional<PixelSamples> SamplesAt(const MEDIA_FRAME& frame, int x, int y) {
    const tagYUVImage& image = frame.image;
    const auto layout = LayoutOf(frame.nKind);
    if (!layout || x < 0 || y < 0 || x >= image.nWidth || y >= image.nHeight || !image.pY || !image.pU ||
        (!image.pV && !layout->inTurn)) {
        return std::nullopt;
    }
    const int column = layout->fullColumns ? x : x / 2;
    const int row = layout->halfRows ? y / 2 : y;
    PixelSamples samples;
    samples.bits = layout->tenBits ? 10 : 8;
    samples.y = SampleAt(image.pY, image.nPitchY, x, y, *layout);
    if (layout->inTurn) {
        samples.cb = SampleAt(image.pU, image.nPitchU, 2 * column, row, *layout);
        samples.cr = SampleAt(image.pU, image.nPitchU, 2 * column + 1, row, *layout);
    } else {
        samples.cb = SampleAt(image.pU, image.nPitchU, column, row, *layout);
        samples.cr = SampleAt(image.pV, image.nPitchV, column, row, *layout);
    }
    return samples;
}

std::string FormatPixel(int x, int y, const std::vector<FilePixel>& files) {
    std::string text = std::to_string(x) + "," + std::to_string(y) + "  ";
    if (files.size() == 1) {
        return text + DescribeOne(files.front());
    }
    const FilePixel& first = files.front();
    text += DescribeShort(first);
    for (std::size_t i = 1; i < files.size(); ++i) {
        const FilePixel& other = files[i];
        const bool sameDepth = first.samples && other.samples && first.samples->bits == other.samples->bits;
        text += " | " + DescribeShort(other) + " | " +
                Difference(ValuesOf(first.samples), sameDepth ? ValuesOf(other.samples) : std::nullopt) +
                ", " + Difference(ValuesOf(first.rgb), ValuesOf(other.rgb));
    }
    return text;
}

} // namespace kqplay
