/// @file
/// Owners of FFmpeg's objects, and the unit of time of this folder.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <kqplayer/convenience.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>

namespace kq::streams {

/// Time in 100-ns units, counted from the file's start.
using Ticks = std::int64_t;
inline constexpr AVRational tickBase{1, static_cast<int>(TicksPerSecond)};

inline double ToSeconds(Ticks time) {
    return static_cast<double>(time) / static_cast<double>(TicksPerSecond);
}

/// @return the nearest time from 0 on; 0 for what is no number
inline Ticks ToTicks(double seconds) {
    constexpr double longest = 1e9; // seconds; any file is shorter
    if (std::isnan(seconds)) {
        return 0;
    }
    return std::llround(std::clamp(seconds, 0.0, longest) * static_cast<double>(TicksPerSecond));
}

/// @return a time that a file tells, in ticks; one beyond all centuries is moved to where sums and
/// differences of such times are still numbers
inline Ticks FromFile(std::int64_t time, AVRational base) {
    constexpr Ticks farthest = 1'000'000'000'000'000'000;
    return std::clamp(av_rescale_q(time, base, tickBase), -farthest, farthest);
}

struct AvDeleter {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
    void operator()(AVBufferPool* pool) const { av_buffer_pool_uninit(&pool); }
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};

using FormatHandle = std::unique_ptr<AVFormatContext, AvDeleter>;
using CodecHandle = std::unique_ptr<AVCodecContext, AvDeleter>;
using FrameHandle = std::unique_ptr<AVFrame, AvDeleter>;
using PacketHandle = std::unique_ptr<AVPacket, AvDeleter>;
using BufferHandle = std::unique_ptr<AVBufferRef, AvDeleter>;
using PoolHandle = std::unique_ptr<AVBufferPool, AvDeleter>;
using GraphHandle = std::unique_ptr<AVFilterGraph, AvDeleter>;
using ScalerHandle = std::unique_ptr<SwsContext, AvDeleter>;
using ResamplerHandle = std::unique_ptr<SwrContext, AvDeleter>;

/// @return what FFmpeg or the system calls an error
inline std::string ErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

} // namespace kq::streams
