/// @file
/// The decoded pictures of a file around the place where it is looked at.
#pragma once

#include "FrameSource.h"
#include "VideoSource.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

namespace kq::streams {

/// A part of a file's time.
struct TimeSpan {
    Ticks begin = 0;
    Ticks end = 0;
};

/// Keeps pictures, bounded in bytes, and decodes what is missing: ahead with the reader's own calls, behind
/// on a thread of its own with a second decoder, which is opened when it is needed first. Pictures come in
/// order of their time in the file; none is left out, and each is the one that decoding from the start gives.
///
/// One thread reads (At() to Before()); the rest may be called from any thread.
class PictureStore {
public:
    using Opener = std::function<std::unique_ptr<VideoSource>()>;

    /// @param ahead decodes forward
    /// @param openBehind opens the second decoder, or gives null; empty for an input that can be read only
    /// once
    /// @param bytes bound of what is kept
    PictureStore(std::unique_ptr<VideoSource> ahead, Opener openBehind, std::size_t bytes);
    ~PictureStore();
    PictureStore(const PictureStore&) = delete;
    PictureStore& operator=(const PictureStore&) = delete;

    /// @return the picture on show at a time: the last that begins at or before it (within the file's
    /// rounding),
    ///         or the first of the file; null without pictures, and where an input cannot be sought
    FramePtr At(Ticks time);
    /// @return the key picture at or before a time
    FramePtr KeyAt(Ticks time);
    /// @return the picture right after one that the store gave, null at the end
    FramePtr After(const FramePtr& picture);
    /// @return the picture right before one, null for the first of the file or when it cannot be had
    FramePtr Before(const FramePtr& picture);

    /// Tells where the reader looks, and whether it goes forward or backwards: what lies behind is made while
    /// the place does not change for a moment, and at once when it goes backwards.
    void Aim(Ticks time, bool forward);

    /// A call of At() or KeyAt() will follow: an After() that has to seek gives up, and gives null, until
    /// this is taken back. Inputs that can be read only once go on.
    void ExpectSeek(bool on);
    bool ExpectsSeek() const;

    /// @return what is kept, in order of time
    std::vector<TimeSpan> Kept() const;
    std::size_t Bytes() const;
    Ticks Tolerance() const;
    void Notice(const std::string& text) const;
    /// Makes present and later calls return soon. Any thread.
    void Cancel();

private:
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;

    struct Entry {
        FramePtr picture;
        bool linked = false; ///< the next entry is the picture right after this one
        bool first = false;  ///< of the file
        bool last = false;   ///< of the file
    };
    using Pictures = std::map<Ticks, Entry>;

    enum class Direction {
        Forward,   ///< or it stands still
        Stepping,  ///< some steps back
        Backwards, ///< all the time
    };

    /// Pictures that the thread is to make, or makes.
    struct Part {
        FramePtr end;           ///< those right before this one
        Ticks least = 0;        ///< see VideoSource::Approach()
        Ticks most = 0;         ///< likewise
        Ticks runEnd = 0;       ///< what hangs together with the end reaches so far
        bool isWanted = false;  ///< the reader waits for it
        bool isDropped = false; ///< it is to be left
    };

    FramePtr MoveTo(Ticks time, bool exact);
    Landing SeekAhead(Ticks time, bool exact);
    FramePtr First();
    FramePtr NextOf(const Frame& picture);
    Landing SeekBack(Ticks time);
    void Keep(const Landing& landing, Ticks time);

    Pictures::iterator Find(Ticks time);
    Pictures::iterator OnShow(Ticks time);
    FramePtr Stored(Ticks time);
    Pictures::iterator Insert(const FramePtr& picture);
    void Append(const FramePtr& before, const FramePtr& picture);
    void Link(Pictures::iterator before, Pictures::iterator after);
    void Erase(Pictures::iterator entry);
    void Evict(std::size_t bound);
    bool FrontIsFarther() const;

    bool KnowsBefore(Ticks time);
    bool IsSettled(Ticks time);
    bool WaitForBefore(Lock& lock, const FramePtr& picture);
    FramePtr WaitForPart(Lock& lock, Ticks time);

    void MakeBehind();
    std::optional<Part> NextPart();
    Part PartBefore(const FramePtr& end, std::size_t bytes);
    void Make(const Part& part, Lock& lock);
    void Conclude(VideoSource::Approached approached, const FramePtr& last);
    bool OpenBehind(Lock& lock);
    void DropPart();
    void MovePlace(Ticks time);
    void Step(Ticks time);
    bool IsStill() const;
    bool GoesBack() const;

    const std::unique_ptr<VideoSource> m_ahead; ///< used by the reader alone
    std::optional<Ticks> m_aheadAt;             ///< time of the picture that it gave last; the reader's
    bool m_started = false;                     ///< it has given a picture, or was moved
    const Opener m_openBehind;
    const std::size_t m_bound;

    mutable std::mutex m_lock;        ///< guards everything below
    std::condition_variable m_work;   ///< there may be something to do for the thread
    std::condition_variable m_change; ///< there are more pictures, or a part has ended
    Pictures m_pictures;              ///< by time
    std::size_t m_bytes = 0;
    Ticks m_place = 0;
    Direction m_direction = Direction::Forward;
    Ticks m_steppedFrom = 0; ///< where stepping back began
    bool m_aimed = false;
    bool m_isResting = false; ///< the thread waits until the place changes
    bool m_isSeeking = false; ///< the reader's decoder needs the processor
    bool m_goesOn = false;    ///< it seeks only to decode on from there
    bool m_expectsSeek = false;
    Clock::time_point m_moved;                             ///< when the place was changed last
    Ticks m_lowestEnd = std::numeric_limits<Ticks>::max(); ///< of the parts made for this place
    FramePtr m_wanted;                     ///< the reader waits for the picture before this one
    std::optional<Part> m_part;            ///< being made
    std::set<Ticks> m_unreachable;         ///< begins of pictures whose predecessor cannot be had
    std::unique_ptr<VideoSource> m_behind; ///< used by the thread alone, but for Interrupt() and Cancel()
    bool m_behindFailed = false;
    bool m_cancelled = false;
    std::thread m_thread;
};

} // namespace kq::streams
