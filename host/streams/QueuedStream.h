/// @file
/// A stream for the player whose frames are made ahead on a thread of its own.
#pragma once

#include "FramePins.h"
#include "FrameSource.h"
#include "TimedStream.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kq::streams {

/// @param rate of the file; 0 for unknown
/// @return where a picture of a file stands in it, without its number
PicturePlace PlaceOf(const Frame& picture, double rate);

/// IMediaStream over a FrameSource. Any thread may call it at any time.
///
/// Calls wait for the frame that they need, so that the end is never mistaken. A video stream keeps its last
/// frame as the current one there, a sound stream has none. A frame stays valid for the
/// thread that got it until that thread's next GetCurrentFrame(), NextFrame() or Seek().
class QueuedStream : public TimedStream {
public:
    /// @param queueBytes bound of the frames made ahead; three are always made
    QueuedStream(std::unique_ptr<FrameSource> source, const StreamFormat& format, std::size_t queueBytes);

    double Seek(double dSeconds, int nMode) override;
    MEDIA_FRAME* GetCurrentFrame() override;
    int NextFrame() override;
    double GetFramePosition() override;
    Ticks TimeOnShow() override;
    std::string Description() override;
    KeptPicture Keep() override;
    bool HasPlaces() const override { return m_hasPlaces; }

    /// While it lives, the stream neither gives a frame nor takes one from its source: for changes that
    /// several streams share. Whoever holds several takes them in a fixed order.
    class Hold {
    public:
        explicit Hold(QueuedStream& stream) : m_stream(stream), m_guard(stream.m_lock) {}

        /// @return Frame::firm of the frame given last since play began anew
        std::optional<Ticks> Given() const { return m_stream.m_given; }
        /// What has been given counts no more.
        void Forget() { m_stream.m_given.reset(); }
        /// Drops what has not been given; the source goes on behind what has.
        void Replan();
        /// Drops everything; the source begins anew at a time.
        void Restart(Ticks time);

    private:
        QueuedStream& m_stream;
        std::unique_lock<std::mutex> m_guard;
    };

    /// Where a move has led.
    struct Reached {
        Ticks begin = 0;        ///< of the frame there, which may come after the time for want of another
        Ticks end = 0;          ///< of what it is to last
        bool isLast = false;    ///< there is none after it; only told where it ends before the time
        bool isMissing = false; ///< the file has a later one by the time, which cannot be decoded
    };

    /// Moves to the frame that is on show at a time, as Seek() does in its exact mode; the frame that the
    /// calling thread uses stays valid.
    Reached GoTo(Ticks time);
    Ticks Tolerance() const { return m_source->Tolerance(); }

private:
    struct SeekRequest {
        Ticks time;
        bool exact;
    };

    ~QueuedStream() override;

    void Move(const SeekRequest& request, std::unique_lock<std::mutex>& guard);
    Ticks EndOf(const Frame& frame) const;
    void DecodeAhead();
    bool WaitForWork(std::unique_lock<std::mutex>& guard);
    void MakeFrame(std::unique_lock<std::mutex>& guard);
    void CarryOutSeek(std::unique_lock<std::mutex>& guard);
    void WaitForFrame(std::unique_lock<std::mutex>& guard, std::size_t ahead = 0);
    bool HasRoom() const;
    void Push(FramePtr frame);
    void Pop();
    void Unpop();
    void Clear();
    bool IsThere(const SeekRequest& request);
    bool SeekInQueue(Ticks time);
    bool SeekInPast(Ticks time);
    void Remember(std::vector<FramePtr> past);
    Ticks CurrentTime() const;

    const std::unique_ptr<FrameSource> m_source;
    const bool m_hasPlaces; ///< shows pictures of a timeline
    const bool m_holdsLast; ///< the last frame stays the current one at the end
    const std::size_t m_queueBytes;

    std::mutex m_seekLock;            ///< one seek at a time; taken before m_lock
    std::mutex m_lock;                ///< guards everything below
    std::condition_variable m_work;   ///< there is something to do for the decoding thread
    std::condition_variable m_result; ///< a frame, the end, or a seek carried out
    std::deque<FramePtr> m_queue;     ///< the first one is the current frame
    std::size_t m_queuedBytes = 0;
    std::deque<FramePtr> m_past; ///< the frames right before the queue, after a step back
    std::size_t m_mostPast = 0;  ///< bound of them
    int m_pastLeft = 0;          ///< frames until the past is forgotten, so that playing does not pay for it
    bool m_ended = false;        ///< there is no frame after the queue's last
    bool m_quit = false;
    std::optional<SeekRequest> m_seek; ///< set until it is carried out
    double m_endPosition = 0;          ///< end of the frame dropped last
    Ticks m_lastTime = 0;              ///< begin of the frame dropped last
    std::optional<Ticks> m_given;      ///< see Hold::Given()
    bool m_frontGiven = false;         ///< the current frame was given
    std::optional<Ticks> m_restart;    ///< where a restart led that nobody has seen yet
    bool m_replanned = false;          ///< the source has to be told before it makes the next frame
    std::uint64_t m_plan = 0;          ///< frames that were begun under another one are thrown away
    FramePins m_pins;
    std::thread m_thread;
};

} // namespace kq::streams
