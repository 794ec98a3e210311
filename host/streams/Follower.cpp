#include "Follower.h"

#include "NoPicture.h"

#include <utility>

namespace kq::streams {

Follower::Follower(ComPtr<QueuedStream> own, ComPtr<TimedStream> reference, Lack lack,
                   std::shared_ptr<FollowerState> state)
    : TimedStream(own->Format()), m_own(std::move(own)), m_reference(std::move(reference)), m_lack(lack),
      m_state(std::move(state)) {}

double Follower::Seek(double /*dSeconds*/, int /*nMode*/) {
    return ToSeconds(Follow().begin);
}

MEDIA_FRAME* Follower::GetCurrentFrame() {
    Follow();
    return m_state->lacks ? GiveSign() : m_own->GetCurrentFrame();
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
    return m_state->lacks ? KeptPicture() : m_own->Keep();
}

/// @return the frame that is the current one now
QueuedStream::Reached Follower::Follow() {
    const Ticks time = m_reference->TimeOnShow() + m_state->offset;
    const QueuedStream::Reached reached = m_own->GoTo(time);
    m_state->lacks = m_lack == Lack::Sign &&
                     (reached.begin > time + m_own->Tolerance() || reached.isLast || reached.isMissing);
    return reached;
}

/// It never changes: nobody has to hold it.
MEDIA_FRAME* Follower::GiveSign() {
    const std::lock_guard guard(m_lock);
    if (!m_sign) {
        const auto* format = std::get_if<VIDEO_STREAM_INFO>(&Format());
        m_sign = format != nullptr ? NoPicture(format->nWidth, format->nHeight) : nullptr;
    }
    return m_sign ? &m_sign->record : nullptr;
}

} // namespace kq::streams
