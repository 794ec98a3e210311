/// @file
/// What gives the decoded frames of a stream.
#pragma once

#include "FileLog.h"
#include "Handles.h"

#include <memory>

namespace kq::streams {

/// Where a frame's time comes from.
enum class StampKind {
    Read,     ///< from the file
    Missing,  ///< the file has none: counted on from the frame before
    Repaired, ///< the file's did not go forward: counted on likewise
};

/// A decoded picture or piece of sound.
struct Decoded {
    FrameHandle data;
    Ticks time =
        0; ///< always above that of the one before it; below 0 only for sound before the file's start
    Ticks duration = 0; ///< 0 when unknown
    StampKind stamp = StampKind::Read;
    bool key = false;
    int lost = 0; ///< so many damaged packets and frames were left out right before it
};

/// Gives a stream's frames one after the other and moves among them. Used by one thread at a time, but for
/// Cancel().
class Decoder {
public:
    Decoder() = default;
    virtual ~Decoder() = default;
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    /// @return false at the end, or after Cancel()
    virtual bool Next(Decoded& frame) = 0;

    /// Moves to a place from which every frame from @p time on can be decoded.
    /// @param first receives the first frame there: at or before @p time, or the first of the stream
    /// @param nearest receives whether the first place tried served, so that no later key frame precedes @p
    /// time
    /// @return false when no frame can be had there
    virtual bool SeekAtOrBefore(Ticks time, Decoded& first, bool& nearest) = 0;
    /// @return true when decoding on from @p from is the shorter way to @p to than seeking, or the only one
    virtual bool ForwardIsShorter(Ticks from, Ticks to) const = 0;
    /// Frames that begin before @p time may be left out from now on, as far as the decoder can do without
    /// them, until the next seek. Before any time, all come.
    virtual void LeaveOutBefore(Ticks time) = 0;
    virtual bool Seekable() const = 0;
    /// @return false when there is no such thing as a key frame to land on
    virtual bool HasKeyFrames() const = 0;

    /// A frame so little after a time still counts as on show at that time: half a tick of the file's clock.
    virtual Ticks Tolerance() const = 0;
    virtual const std::shared_ptr<FileLog>& Log() const = 0;

    /// Makes every present and later wait for data end at once. Any thread.
    virtual void Cancel() = 0;
    virtual bool Cancelled() const = 0;
    /// Makes a present or later call return soon, as if there were nothing more, until that is taken back; a
    /// seek has to follow. Any thread.
    virtual void Interrupt(bool on) = 0;
    /// @return true when it was cancelled or is interrupted
    virtual bool Stops() const = 0;
};

} // namespace kq::streams
