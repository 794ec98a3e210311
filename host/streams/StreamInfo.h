/// @file
/// A stream's description.
#pragma once

#include "ComObject.h"

#include <kqplayer/identifiers.h>
#include <kqplayer/streams.h>

#include <variant>

namespace kq::streams {

using StreamFormat = std::variant<VIDEO_STREAM_INFO, AUDIO_STREAM_INFO>;

/// Holds a stream's format record for whoever asked.
class StreamInfo : public ComObject<IStreamInfo> {
public:
    explicit StreamInfo(const StreamFormat& format) : ComObject(IID_IStreamInfo), m_format(format) {}

    std::int32_t Reserved0() override { return Failed; }
    std::int32_t Reserved1() override { return Failed; }
    std::int32_t Reserved2() override { return Failed; }
    std::int32_t Reserved3() override { return Failed; }
    std::int32_t Reserved4() override { return Failed; }
    std::int32_t Reserved5() override { return Failed; }
    std::int32_t Reserved6() override { return Failed; }
    std::int32_t Reserved7() override { return Failed; }
    const AUDIO_STREAM_INFO* GetAudioFormat() override { return std::get_if<AUDIO_STREAM_INFO>(&m_format); }
    const VIDEO_STREAM_INFO* GetVideoFormat() override { return std::get_if<VIDEO_STREAM_INFO>(&m_format); }

private:
    const StreamFormat m_format;
};

} // namespace kq::streams
