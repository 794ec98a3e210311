/// @file
/// What the tests below the streams share: the decoders of a clip.
#pragma once

#include "StreamTest.h"
#include "host/streams/Demuxer.h"
#include "host/streams/FileLog.h"
#include "host/streams/StreamDecoder.h"
#include "host/streams/VideoSource.h"

#include <memory>
#include <string>

namespace kq::streams::test {

/// @return how a clip's pictures are to be decoded, with a demuxer of its own
inline DecoderSetup SetupOf(const std::string& path) {
    DecoderSetup setup;
    std::string reason;
    setup.demuxer = Demuxer::Open(path, FileLog::Make(path, {}), reason);
    EXPECT_NE(setup.demuxer, nullptr) << reason;
    setup.stream = setup.demuxer->BestStream(AVMEDIA_TYPE_VIDEO);
    const AVStream& stream = setup.demuxer->Stream(setup.stream);
    if (stream.start_time != AV_NOPTS_VALUE) {
        setup.fileStart = av_rescale_q(stream.start_time, stream.time_base, tickBase);
    }
    setup.rate = stream.r_frame_rate.num > 0 ? av_q2d(stream.r_frame_rate) : 25;
    return setup;
}

/// @param threads of the decoder; with several, what it makes of damage is not always the same
inline std::unique_ptr<VideoSource> SourceOf(const std::string& path, int threads = 0) {
    DecoderSetup setup = SetupOf(path);
    setup.threads = threads;
    std::string reason;
    auto decoder = StreamDecoder::Open(setup, reason);
    EXPECT_NE(decoder, nullptr) << reason;
    return std::make_unique<VideoSource>(std::move(decoder), PictureConverter({}, false), setup.rate,
                                         av_q2d(setup.demuxer->Stream(setup.stream).time_base));
}

inline Shot LookAt(const FramePtr& frame) {
    return frame ? Shot{frame->time, frame->position, std::hash<std::string>()(PixelsOf(frame->record))}
                 : Shot{};
}

/// @return all pictures of a clip, decoded from its start on
inline std::vector<Shot> DecodeAll(const std::string& path, int threads = 0) {
    std::vector<Shot> shots;
    const auto source = SourceOf(path, threads);
    while (const FramePtr frame = source->Next()) {
        shots.push_back(LookAt(frame));
    }
    return shots;
}

} // namespace kq::streams::test
