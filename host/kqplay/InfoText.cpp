#include "InfoText.h"

#include "ProgressLine.h"
#include "Speeds.h"

#include <cstdio>

namespace kqplay {
namespace {

constexpr const char* gap = "  ";

std::string FormatSource(const kq::streams::MediaFacts& facts, int width, int height) {
    char rate[48];
    std::snprintf(rate, sizeof rate, "%.6g frames/s", facts.frameRate);
    return std::to_string(width) + "x" + std::to_string(height) + gap + facts.videoCodec + " " +
           facts.pixelFormat + gap + rate;
}

std::string FormatPlay(const PictureInfo& info) {
    const MEDIA_FRAME* frame = info.shown.frame.get();
    std::string text = FormatSource(info.facts, frame ? frame->image.nWidth : info.facts.width,
                                    frame ? frame->image.nHeight : info.facts.height) +
                       gap + Speeds::Format(info.speed);
    if (info.offset == 0) {
        return text;
    }
    // It comes first, as a bar that is too narrow cuts off the end.
    return "offset " + FormatOffset(info.offset) + gap + text;
}

} // namespace

std::string FormatPlace(const kq::streams::PicturePlace& place, double frameRate) {
    std::string text;
    if (place.number >= 0) {
        text += "#" + std::to_string(place.number) + gap;
    }
    text += FormatTimeCode(place.time, frameRate);
    if (place.kind != '\0') {
        text += std::string(gap) + place.kind;
    }
    return text;
}

std::vector<TextLine> FormatTitle(const std::string& name, const kq::streams::MediaFacts& facts,
                                  InfoLevel level) {
    std::vector<TextLine> lines;
    if (level != InfoLevel::Off) {
        lines.push_back({FormatTime(facts.duration) + gap, name});
    }
    if (level == InfoLevel::Full) {
        lines.push_back({FormatSource(facts, facts.width, facts.height)});
    }
    return lines;
}

std::vector<TextLine> FormatInfo(const PictureInfo& info, InfoLevel level) {
    std::vector<TextLine> lines;
    if (level == InfoLevel::Off) {
        return lines;
    }
    const std::string place =
        info.shown.frame ? FormatPlace(info.shown.place, info.facts.frameRate) + gap : "";
    lines.push_back({place, info.name});
    if (level == InfoLevel::Full) {
        lines.push_back({FormatPlay(info)});
    }
    return lines;
}

} // namespace kqplay
