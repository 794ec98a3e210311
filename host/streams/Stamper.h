/// @file
/// The times of a stream's frames, as far as the file tells them.
#pragma once

#include "Decoder.h"
#include "Handles.h"

#include <limits>
#include <optional>

namespace kq::streams {

/// Turns the stamps of frames in order of output into times that go forward.
class Stamper {
public:
    static constexpr Ticks noTime = std::numeric_limits<Ticks>::min();

    /// @param period that a picture lasts at the stream's rate, 0 for unknown
    explicit Stamper(Ticks period = 0) : m_step(period) {}

    struct Result {
        Ticks time = 0;
        StampKind kind = StampKind::Read;
    };

    /// @param read     what the file says, from its start on; nothing when it says nothing
    /// @param duration of the frame
    /// @param isVideo  pictures do not begin before the start, and single ones may slip
    /// @param isNext   no frame was left out between the last one and this one
    Result Stamp(std::optional<Ticks> read, Ticks duration, bool isVideo, bool isNext = true);
    /// The next frame is the first, or comes after a seek.
    void Restart() { m_lastTime = noTime; }
    /// @return time of the last frame, noTime for none
    Ticks LastTime() const { return m_lastTime; }

private:
    Result Next(std::optional<Ticks> read, bool isVideo) const;

    Ticks m_lastTime = noTime;
    Ticks m_lastEnd = 0;
    Ticks m_lastStep = 0; ///< between two pictures whose times the file tells
    Ticks m_step;         ///< the smaller one of the last two; before there were two, the stream's period
};

} // namespace kq::streams
