/// @file
/// What a view of a comparison shows.
#pragma once

#include <kqplayer/convenience.h>

#include <list>
#include <mutex>
#include <thread>
#include <utility>

namespace kqplay {

/// Stands between a view and streams, one of which it shows: another one whenever it is told, at once. The
/// view takes the shape of the first file's pictures whatever is shown. A view that nobody sees gets pictures
/// of one pixel, which cost nothing, with the time stamps of those that it would have. Any thread.
class ShownStream final : public kq::MediaStream {
public:
    /// @param format    of the first file
    /// @param transport the stream that is played, or null for a view that follows
    ShownStream(const VIDEO_STREAM_INFO& format, IMediaStream* transport);

    /// Shows another stream's pictures from now on.
    /// @param shown  null: nobody sees the view
    /// @param inStep a stream that follows the first file's time and is to be there when it is wanted, or
    /// null
    void Show(IMediaStream* shown, IMediaStream* inStep = nullptr);
    /// @return what is shown, null for nothing
    kq::ComPtr<IMediaStream> Shown();

    double Seek(double dSeconds, int nMode) override;
    MEDIA_FRAME* GetCurrentFrame() override;
    int NextFrame() override;
    double GetFramePosition() override;

private:
    MEDIA_FRAME* Unseen();

    const kq::ComPtr<IMediaStream> m_transport;
    std::mutex m_lock; ///< guards what follows; no stream is called under it
    kq::ComPtr<IMediaStream> m_shown;
    kq::ComPtr<IMediaStream> m_inStep;
    std::list<std::pair<std::thread::id, MEDIA_FRAME>> m_unseen; ///< the latest last
};

} // namespace kqplay
