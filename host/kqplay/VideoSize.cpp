#include "VideoSize.h"

#include <kqplayer/convenience.h>

#include <cmath>
#include <cstdlib>

namespace kqplay {

void DisplaySize(IMediaStream* video, int& width, int& height) {
    kq::ComPtr<IStreamInfo> info;
    const VIDEO_STREAM_INFO* format = nullptr;
    if (video->GetStreamInfo(info.Out()) == kq::Ok) {
        format = info->GetVideoFormat();
    }
    if (!format) {
        return;
    }
    width = std::abs(format->nWidth);
    height = std::abs(format->nHeight);
    if (format->nAspectX > 0 && format->nAspectY > 0) {
        width =
            static_cast<int>(std::lround(static_cast<double>(height) * format->nAspectX / format->nAspectY));
    }
}

} // namespace kqplay
