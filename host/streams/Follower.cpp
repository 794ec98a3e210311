#include "Follower.h"

#include <utility>

namespace kq::streams {

Follower::Follower(ComHandle<QueuedStream> own, ComHandle<TimedStream> reference)
    : m_own(std::move(own)), m_reference(std::move(reference)) {}

std::int32_t Follower::GetStreamInfo(IStreamInfo** ppInfo) {
    return m_own->GetStreamInfo(ppInfo);
}

std::int32_t Follower::Reserved() {
    return Failed;
}

double Follower::Seek(double /*dSeconds*/, int /*nMode*/) {
    return ToSeconds(Follow());
}

MEDIA_FRAME* Follower::GetCurrentFrame() {
    Follow();
    return m_own->GetCurrentFrame();
}

int Follower::NextFrame() {
    return 0;
}

double Follower::GetFramePosition() {
    Follow();
    return m_own->GetFramePosition();
}

Ticks Follower::TimeOnShow() {
    Follow();
    return m_own->TimeOnShow();
}

/// @return the time of the frame that is the current one now
Ticks Follower::Follow() {
    return m_own->GoTo(m_reference->TimeOnShow());
}

} // namespace kq::streams
