/// @file
/// A file's pictures, decoded ahead on a thread of their own.
#pragma once

#include "MeasuredPlanes.h"
#include "Pairing.h"

#include <streams/FileVideo.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace kq::measure {

/// Decodes a file's pictures in order, brings each to one shape, and holds a few of them ready. Next() is one
/// thread's, Cancel() any's.
class PictureReader : public PictureSequence {
public:
    /// Opens a file and decodes its first picture.
    /// @param error   receives one line that names the file and the reason
    /// @return null when there is no picture
    static std::unique_ptr<PictureReader> Open(const std::string& path, const streams::OpenOptions& options,
                                               std::string& error);
    ~PictureReader() override;

    /// Lets the thread begin.
    /// @param shape what every picture is brought to
    /// @param from  pictures that are over by then are left out; seconds after the first picture's begin
    void Begin(const Shape& shape, double from);

    PicturePtr Next() override;
    double Rate() const override { return m_video.rate; }
    bool IsSteady() const override { return m_video.isSteady; }
    /// Makes present and later calls return soon, with null.
    void Cancel();

    const streams::MediaFacts& Facts() const { return m_video.facts; }
    /// @return in which shape its pictures are measured when nobody asks for another
    const Shape& OwnShape() const { return m_ownShape; }
    /// @return when the first picture begins, in the file's time
    Ticks FirstTime() const { return m_base; }
    /// @return how many pictures the file has, 0 where that cannot be told. Waits for the file's packets.
    std::int64_t CountAll();
    /// @return damaged packets and frames that were left out so far
    std::int64_t Lost() const { return m_lost; }

private:
    explicit PictureReader(streams::FileVideo video);

    void Run(const Shape& shape, double from);
    bool SeekTo(Ticks time, streams::Decoded& decoded);
    PicturePtr Make(streams::Decoded decoded, Shaper& shaper);
    void CountOn(const streams::Decoded& decoded);
    streams::FrameIndex* WholeIndex();
    bool Give(PicturePtr picture);

    const streams::FileVideo m_video;
    Shape m_ownShape;
    Ticks m_base = 0;
    streams::Decoded m_firstDecoded; ///< until the thread begins

    std::int64_t m_number = -1; ///< of the picture before; the thread's, as the next two
    Ticks m_lastTime = 0;
    bool m_isCounting = true; ///< numbers go on one by one
    std::atomic<std::int64_t> m_lost{0};
    std::atomic<bool> m_cancelled{false};
    std::atomic<bool> m_usesIndex{false};

    std::mutex m_lock; ///< guards what follows
    std::condition_variable m_change;
    std::deque<PicturePtr> m_queue;
    bool m_ended = false;
    std::thread m_thread;
};

} // namespace kq::measure
