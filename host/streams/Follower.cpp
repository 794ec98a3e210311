#include "Follower.h"

#include <utility>

namespace kq::streams {

Follower::Follower(ComPtr<QueuedStream> own, ComPtr<TimedStream> reference)
    : TimedStream(own->Format()), m_own(std::move(own)), m_reference(std::move(reference)) {}

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

std::string Follower::Description() {
    Follow();
    return m_own->Description();
}

KeptPicture Follower::Keep() {
    Follow();
    return m_own->Keep();
}

/// @return the time of the frame that is the current one now
Ticks Follower::Follow() {
    return m_own->GoTo(m_reference->TimeOnShow());
}

} // namespace kq::streams
