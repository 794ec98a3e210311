#include "PixelReadout.h"

#include <PictureLayout.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <array>
#include <cstdio>

namespace kqplay {
namespace {

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
    const AVPixelFormat format = kq::streams::FormatOf(frame.nKind);
    if (format == AV_PIX_FMT_NONE || x < 0 || y < 0 || x >= image.nWidth || y >= image.nHeight || !image.pY ||
        !image.pU || (!image.pV && kq::streams::PlaneCount(format) > 2)) {
        return std::nullopt;
    }
    const AVPixFmtDescriptor& descriptor = *av_pix_fmt_desc_get(format);
    const std::uint8_t* planes[4] = {image.pY, image.pU, image.pV};
    const int pitches[4] = {image.nPitchY, image.nPitchU, image.nPitchV};
    const auto read = [&](int component, int column, int row) {
        std::uint16_t sample = 0;
        av_read_image_line(&sample, planes, pitches, &descriptor, column, row, component, 1, 0);
        return int{sample};
    };
    const int column = x >> descriptor.log2_chroma_w;
    const int row = y >> descriptor.log2_chroma_h;
    return PixelSamples{descriptor.comp[0].depth, read(0, x, y), read(1, column, row), read(2, column, row)};
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
