/// @file
/// The decoded pictures of a file around the place where it is looked at.
#pragma once

#include "FrameSource.h"
#include "VideoSource.h"

#include <cstddef>
#include <functional>
#include <memory>
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

    /// @return what is kept, in order of time
    std::vector<TimeSpan> Kept() const;
    std::size_t Bytes() const;
    Ticks Tolerance() const;
    void Notice(const std::string& text) const;
    /// Makes present and later calls return soon. Any thread.
    void Cancel();
};

} // namespace kq::streams
