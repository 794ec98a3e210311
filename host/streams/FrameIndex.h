/// @file
/// The numbers and times of a file's pictures.
#pragma once

#include "Handles.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kq::streams {

/// Reads a file's packets, without decoding, on a thread of its own, and counts its pictures in order of
/// time: number 0 is the first that is shown. Exact for variable rates, open groups of pictures and edit
/// lists. Any thread may ask; answers that wait end with Cancel().
class FrameIndex {
public:
    ~FrameIndex();
    FrameIndex(const FrameIndex&) = delete;
    FrameIndex& operator=(const FrameIndex&) = delete;

    /// @return number of the picture on show at a time; nothing while the index does not reach so far
    std::optional<std::int64_t> NumberAt(Ticks time) const;
    /// Waits until the index reaches so far. @return begin of the picture with that number; nothing past the
    /// last
    std::optional<Ticks> TimeOf(std::int64_t number);
    /// Waits for the whole file. @return the number of pictures
    std::int64_t Count();
    /// Waits for the whole file. @return the end of the last picture
    Ticks End();
    bool IsComplete() const;
    void Cancel();
};

} // namespace kq::streams
