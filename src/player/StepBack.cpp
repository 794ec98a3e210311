#include "player/StepBack.h"

#include "com/QueryInfo.h"

#include <kqplayer/convenience.h>
#include <kqplayer/streams.h>

#include <algorithm>

namespace {

constexpr double kTolerance = 0.001;

/// Where a stream's current picture begins, in stream seconds.
double BeginOf(IMediaStream& stream, double dFrameRate) {
    if (dFrameRate > 0) {
        return stream.GetFramePosition() / dFrameRate;
    }
    const MEDIA_FRAME* const pFrame = stream.GetCurrentFrame();
    return pFrame != nullptr && pFrame->llPTS != KQ_NO_PTS
               ? static_cast<double>(pFrame->llPTS) / static_cast<double>(kq::TicksPerSecond)
               : 0.0;
}

} // namespace

double StepStreamBack(IMediaStream& stream, double dLeast) {
    const auto pInfo = QueryInfo(stream);
    const VIDEO_STREAM_INFO* const pFormat = pInfo ? pInfo->GetVideoFormat() : nullptr;
    const double dFrameRate = pFormat != nullptr ? pFormat->dFrameRate : 0.0;
    const double dFrame = dFrameRate > 0 ? 1.0 / dFrameRate : 0.0;
    const double dNow = BeginOf(stream, dFrameRate);
    if (dNow <= dLeast + kTolerance) {
        return dNow;
    }
    // The picture that is on show just before this one begins, however long it lasts.
    const double dBefore = dFrame > 0 ? std::min(kTolerance, dFrame / 4) : kTolerance;
    stream.Seek(std::max(dLeast, dNow - dBefore), kq::ExactSeek);
    const double dReached = BeginOf(stream, dFrameRate);
    if (dReached < dNow - dBefore / 2 || dFrame <= 0) {
        return dReached;
    }
    stream.Seek(std::max(dLeast, dNow - dFrame), kq::ExactSeek); // one that goes to the nearest picture
    return BeginOf(stream, dFrameRate);
}
