/// @file
/// Where a stream's frames come from: a decoder, and later whatever else makes frames.
#pragma once

#include "Handles.h"

#include <kqplayer/records.h>

#include <cstddef>
#include <cstdint>
#include <memory>
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
};
using FramePtr = std::shared_ptr<Frame>;

/// Where a seek led.
struct Landing {
    bool moved = false; ///< false: the source cannot go there and stays where it is
    FramePtr frame;     ///< the frame there, null when there is none
    /// The frames right before it, as far as they were on the way.
    std::vector<FramePtr> before = {};
};

/// Makes frames in order of time. Called by the one thread that decodes ahead, but for From() and Cancel().
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
    /// Writes a line to the file's log.
    virtual void Notice(const std::string& text) const = 0;
    /// Makes a present or later call return soon. Any thread.
    virtual void Cancel() = 0;
};

} // namespace kq::streams
