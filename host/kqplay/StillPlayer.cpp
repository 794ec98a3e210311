#include "StillPlayer.h"

#include "Picture.h"
#include "ViewLibrary.h"

#include <utility>

namespace kqplay {
namespace {

/// A stream of one frame, whose planes stay the caller's.
class StillStream final : public kq::MediaStream {
public:
    explicit StillStream(const MEDIA_FRAME& frame)
        : MediaStream(VIDEO_STREAM_INFO{frame.image.nWidth, frame.image.nHeight, 1, 1, 1, 1}),
          m_frame(frame) {}

    double Seek(double, int) override { return 0; }
    MEDIA_FRAME* GetCurrentFrame() override { return &m_frame; }
    int NextFrame() override { return 0; }
    double GetFramePosition() override { return 0; }

private:
    MEDIA_FRAME m_frame;
};

} // namespace

StillPlayer::StillPlayer() {
    if (m_player.Create(*this, m_fault) && !m_player.CreateView(kq::OffScreenParent(), 1, 1)) {
        m_fault = ViewLibrary().WhyNoView();
    }
}

bool StillPlayer::Show(const MEDIA_FRAME& frame) {
    const auto stream = kq::ComPtr<StillStream>::Adopt(new StillStream(frame));
    return m_fault.empty() && m_player.SetVideo(stream.Get(), nullptr);
}

bool StillPlayer::Save(const MEDIA_FRAME& frame, const std::string& path, ComponentOutput& output,
                       std::string& error) {
    const std::wstring name = ToWide(path);
    if (name.empty()) {
        error = path + ": the name is not UTF-8";
        return false;
    }
    output.TakeImageComplaint(); // of an earlier file
    const bool captured = Show(frame) && m_player.Capture(PictureFormat(path), name);
    const std::string complaint = output.TakeImageComplaint();
    if (captured && complaint.empty()) {
        return true;
    }
    const std::string& reason = m_fault.empty() ? complaint : m_fault;
    error = path + ": " + (reason.empty() ? "the picture cannot be taken" : reason);
    return false;
}

const MEDIA_FRAME* StillPlayer::Flatten(const MEDIA_FRAME& frame) {
    return Show(frame) ? m_player.CopyPicture() : nullptr;
}

} // namespace kqplay
