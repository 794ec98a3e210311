/// @file
/// A stream whose time can be asked for without a trace.
#pragma once

#include "Handles.h"

#include <kqplayer/convenience.h>
#include <kqplayer/media_file.h>

#include <string>

namespace kq::streams {

/// Known to this folder only, so that the streams of a host's own are told from those made here.
inline constexpr _GUID IID_TimedStream = {
    0x52C9D1A4, 0x7F0E, 0x4B63, {0x9A, 0x51, 0x3D, 0x8E, 0x60, 0x17, 0xC2, 0xF5}};

/// What a follower needs of its reference, and what is said of pictures.
class TimedStream : public MediaStream {
public:
    /// @return the latest time at which a frame has to begin to be on show together with the current one: the
    ///         current frame's own time, and what its file's clock may have rounded off. Waits for the frame,
    ///         but neither moves the position nor touches the frame that the calling thread uses.
    virtual Ticks TimeOnShow() = 0;
    /// @return what DescribePicture() is to say of the current frame, under the same conditions
    virtual std::string Description() = 0;

    /// What KeepPicture() does, under the same conditions.
    virtual KeptPicture Keep() = 0;
    /// @return true when it shows pictures of a timeline
    virtual bool HasPlaces() const = 0;

    /// @return the stream with one reference, null for a stream of somebody else's
    static ComPtr<TimedStream> From(IMediaStream& stream) {
        void* found = nullptr;
        stream.QueryInterface(IID_TimedStream, &found);
        return ComPtr<TimedStream>::Adopt(static_cast<TimedStream*>(found));
    }

    std::int32_t QueryInterface(const _GUID& riid, void** ppv) override {
        if (ppv == nullptr || riid != IID_TimedStream) {
            return MediaStream::QueryInterface(riid, ppv);
        }
        AddRef();
        *ppv = this;
        return Ok;
    }

protected:
    explicit TimedStream(const StreamFormat& format) : MediaStream(format) {}
};

} // namespace kq::streams
