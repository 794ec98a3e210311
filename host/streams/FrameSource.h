/// @file
/// Where a stream's frames come from: a decoder, and later whatever else makes frames.
#pragma once

#include "Handles.h"

#include <kqplayer/records.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kq::streams {

/// One frame as the player sees it, and what keeps its planes or samples alive. Never changed once made.
struct Frame {
    MEDIA_FRAME record{};
    Ticks time = 0;         ///< begin, the same as record.llPTS
    double position = 0;    ///< begin, as an index at the stream's rate
    double endPosition = 0; ///< end, likewise
    std::size_t bytes = 0;  ///< memory that it takes
    FrameHandle picture;    ///< keeps the planes; what the file said of them goes along
    std::vector<std::int16_t> samples;
    /// In a timeline: the picture of the file that is shown; it owns the planes.
    std::shared_ptr<const Frame> original;
    /// In a timeline: changes come too late for play time before this, once the frame was given.
    Ticks firm = 0;
};
using FramePtr = std::shared_ptr<Frame>;

/// Where a seek led.
struct Landing {
    bool moved = false; ///< false: the source cannot go there and stays where it is
    FramePtr frame;     ///< the frame there, null when there is none
    /// The frames right before it, as far as they were on the way.
    std::vector<FramePtr> before = {};
};

/// Makes frames in order of time. Called by the one thread that decodes ahead, but for From(), ExpectSeek()
/// and Cancel().
class FrameSource {
public:
    FrameSource() = default;
    virtual ~FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// @return the next frame, null at the end
    virtual FramePtr Next() = 0;
    /// Moves to the frame that is on show at @p time, so that Next() gives the one after it.
    /// @param exact false: to the key frame at or before it instead
    virtual Landing Seek(Ticks time, bool exact) = 0;
    /// @return by how much the file's clock may have rounded a frame's time: a frame so little after a time
    ///         still counts as on show at that time
    virtual Ticks Tolerance() const = 0;
    /// @return true when the frame begins at or before @p time
    bool Reaches(const Frame& frame, Ticks time) const { return frame.time <= time + Tolerance(); }
    /// @return the part of the frame from @p time on, when frames can be divided; otherwise the frame. Any
    /// thread.
    virtual FramePtr From(FramePtr frame, Ticks time) const = 0;
    /// @return false when time does not tell which frame a seek leads to: the source is asked each time
    virtual bool FollowsFile() const { return true; }
    /// @return true when its frames are pictures of a timeline (Frame::original)
    virtual bool HasPlaces() const { return false; }
    /// What is to be played has changed.
    /// @param given Frame::firm of the frame after which Next() is to go on; none: where the last restart or
    ///              seek led
    virtual void GoOn(std::optional<Ticks> /*given*/) {}
    /// Somebody looks at a frame. Any thread; returns at once.
    virtual void Look(const Frame& /*frame*/) {}
    /// @return the number of a picture in its file, -1 for unknown. Any thread.
    virtual std::int64_t NumberOf(const Frame& /*picture*/) const { return -1; }
    /// @return begin of the picture that the file has at a time, also of one that cannot be decoded; nothing
    ///         for unknown. Any thread.
    virtual std::optional<Ticks> BeginInFile(Ticks /*time*/) const { return std::nullopt; }
    /// @return how long a picture may stay on show beyond its own end before something must be missing
    virtual Ticks LongestGap() const { return std::numeric_limits<Ticks>::max(); }
    /// A seek will follow: a Next() that would take long may give up, and gives null, until this is taken
    /// back. Any thread; returns at once.
    virtual void ExpectSeek(bool /*on*/) {}
    /// Writes a line to the file's log.
    virtual void Notice(const std::string& text) const = 0;
    /// Makes a present or later call return soon. Any thread.
    virtual void Cancel() = 0;
};

} // namespace kq::streams
