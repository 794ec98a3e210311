#include "ShownStream.h"

#include <algorithm>

namespace kqplay {
namespace {

/// Threads that ended are forgotten once so many others have asked.
constexpr std::size_t mostThreads = 32;

std::uint8_t black[] = {16};
std::uint8_t neutral[] = {128};

/// @return a picture of one pixel
MEDIA_FRAME Pixel() {
    MEDIA_FRAME frame{};
    frame.nType = 2;
    frame.nKind = KQ_PICTURE_PLANAR_YUV;
    frame.image.nFormat = 2;
    frame.image.pY = black;
    frame.image.pU = neutral;
    frame.image.pV = neutral;
    frame.image.nWidth = frame.image.nHeight = 1;
    frame.image.nPitchY = frame.image.nPitchU = frame.image.nPitchV = 1;
    frame.llTime = frame.llPTS = KQ_NO_PTS;
    return frame;
}

} // namespace

ShownStream::ShownStream(const VIDEO_STREAM_INFO& format, IMediaStream* transport)
    : MediaStream(format), m_transport(kq::ComPtr<IMediaStream>::Share(transport)) {}

void ShownStream::Show(IMediaStream* shown, IMediaStream* inStep) {
    auto own = kq::ComPtr<IMediaStream>::Share(shown);
    auto ownInStep = kq::ComPtr<IMediaStream>::Share(inStep);
    const std::lock_guard guard(m_lock);
    std::swap(m_shown, own);
    std::swap(m_inStep, ownInStep);
}

kq::ComPtr<IMediaStream> ShownStream::Shown() {
    const std::lock_guard guard(m_lock);
    return m_shown;
}

double ShownStream::Seek(double dSeconds, int nMode) {
    return m_transport ? m_transport->Seek(dSeconds, nMode) : 0;
}

int ShownStream::NextFrame() {
    return m_transport ? m_transport->NextFrame() : 0;
}

double ShownStream::GetFramePosition() {
    const auto shown = Shown();
    return m_transport ? m_transport->GetFramePosition() : shown ? shown->GetFramePosition() : 0;
}

MEDIA_FRAME* ShownStream::GetCurrentFrame() {
    kq::ComPtr<IMediaStream> shown;
    kq::ComPtr<IMediaStream> inStep;
    {
        const std::lock_guard guard(m_lock);
        shown = m_shown;
        inStep = m_inStep;
    }
    if (inStep) {
        inStep->GetFramePosition();
    }
    return shown ? shown->GetCurrentFrame() : Unseen();
}

MEDIA_FRAME* ShownStream::Unseen() {
    const MEDIA_FRAME* played = m_transport ? m_transport->GetCurrentFrame() : nullptr;
    if (m_transport && !played) {
        return nullptr;
    }
    const std::lock_guard guard(m_lock);
    const auto self = std::this_thread::get_id();
    m_unseen.remove_if([self](const auto& use) { return use.first == self; });
    m_unseen.emplace_back(self, Pixel());
    if (m_unseen.size() > mostThreads) {
        m_unseen.pop_front();
    }
    MEDIA_FRAME& frame = m_unseen.back().second;
    if (played) {
        frame.llTime = played->llTime;
        frame.llPTS = played->llPTS;
    }
    return &frame;
}

} // namespace kqplay
