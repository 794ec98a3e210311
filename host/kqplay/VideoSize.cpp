#include "VideoSize.h"

#include <kqplayer/convenience.h>

#include <cmath>
#include <cstdlib>

namespace kqplay {

VIDEO_STREAM_INFO VideoFormatOf(IMediaStream& video) {
    kq::ComPtr<IStreamInfo> info;
    const VIDEO_STREAM_INFO* const format =
        video.GetStreamInfo(info.Out()) == kq::Ok ? info->GetVideoFormat() : nullptr;
    return format ? *format : VIDEO_STREAM_INFO{};
}

void DisplaySize(IMediaStream* video, int& width, int& height) {
    const VIDEO_STREAM_INFO format = VideoFormatOf(*video);
    if (format.nWidth == 0 || format.nHeight == 0) {
        return;
    }
    width = std::abs(format.nWidth);
    height = std::abs(format.nHeight);
    if (format.nAspectX > 0 && format.nAspectY > 0) {
        width =
            static_cast<int>(std::lround(static_cast<double>(height) * format.nAspectX / format.nAspectY));
    }
}

} // namespace kqplay
