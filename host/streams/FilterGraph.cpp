#include "FilterGraph.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <cstdio>
#include <regex>
#include <string_view>
#include <utility>

namespace kq::streams {
namespace {

template <std::size_t count>
bool IsAmong(const std::array<std::string_view, count>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// Treat each picture by itself.
constexpr std::array<std::string_view, 51> memoryless = {
    "avgblur",
    "boxblur",
    "buffer",
    "buffersink",
    "chromakey",
    "colorbalance",
    "colorchannelmixer",
    "colorcontrast",
    "colorhold",
    "colorize",
    "colorkey",
    "colorlevels",
    "colortemperature",
    "convolution",
    "copy",
    "crop",
    "curves",
    "delogo",
    "drawbox",
    "drawgrid",
    "drawtext",
    "edgedetect",
    "eq",
    "exposure",
    "format",
    "gblur",
    "geq",
    "hflip",
    "hue",
    "lenscorrection",
    "lut",
    "lut3d",
    "lutrgb",
    "lutyuv",
    "monochrome",
    "negate",
    "noformat",
    "null",
    "pad",
    "perspective",
    "pixelize",
    "rotate",
    "scale",
    "setdar",
    "setparams",
    "setrange",
    "setsar",
    "sobel",
    "transpose",
    "unsharp",
    "vflip",
};
/// Go by time stamps and near frames, though they cannot be switched on and off by time like most that do.
constexpr std::array<std::string_view, 26> shortMemory = {
    "alphaextract", "blackframe",  "ciescope", "datascope", "extractplanes", "field",        "fps",
    "framerate",    "histogram",   "hstack",   "kerndeint", "mestimate",     "minterpolate", "nlmeans",
    "setfield",     "setpts",      "settb",    "showinfo",  "split",         "stereo3d",     "tonemap",
    "v360",         "vectorscope", "vstack",   "waveform",  "xstack",
};
/// Count frames, though they can be switched on and off by time.
constexpr std::array<std::string_view, 7> counting = {"fade",   "framestep",     "lagfun",   "noise",
                                                      "scroll", "shuffleframes", "thumbnail"};

/// @return true when an expression of the graph goes by frame numbers or by what came first
bool MentionsCounts(const std::string& description) {
    static const std::regex counts(R"(\b(n|N|frame_num|random|STARTPTS|STARTT|PREV_\w+)\b)");
    return std::regex_search(description, counts);
}

FilterMemory MemoryOf(const AVFilter& filter) {
    if (IsAmong(memoryless, filter.name)) {
        return FilterMemory::None;
    }
    constexpr int switchedByTime =
        AVFILTER_FLAG_SUPPORT_TIMELINE_GENERIC | AVFILTER_FLAG_SUPPORT_TIMELINE_INTERNAL;
    const bool oneForOne = (filter.flags & switchedByTime) != 0 && !IsAmong(counting, filter.name);
    return oneForOne || IsAmong(shortMemory, filter.name) ? FilterMemory::Short : FilterMemory::Endless;
}

FilterMemory MemoryOf(const AVFilterGraph& graph, const std::string& description) {
    if (MentionsCounts(description)) {
        return FilterMemory::Endless;
    }
    FilterMemory memory = FilterMemory::None;
    for (unsigned i = 0; i < graph.nb_filters; ++i) {
        memory = std::max(memory, MemoryOf(*graph.filters[i]->filter));
    }
    return memory;
}

/// The open pads on one side of a graph that was read.
class OpenPads {
public:
    OpenPads() = default;
    ~OpenPads() { avfilter_inout_free(&m_list); }
    OpenPads(const OpenPads&) = delete;
    OpenPads& operator=(const OpenPads&) = delete;

    AVFilterInOut** Out() { return &m_list; }
    AVFilterInOut& First() const { return *m_list; }
    int Count() const {
        int count = 0;
        for (const AVFilterInOut* pad = m_list; pad != nullptr; pad = pad->next) {
            ++count;
        }
        return count;
    }

private:
    AVFilterInOut* m_list = nullptr;
};

/// @return what is wrong with a graph's open ends, empty when nothing is
std::string ObjectionTo(const OpenPads& inputs, const OpenPads& outputs) {
    if (inputs.Count() != 1 || outputs.Count() != 1) {
        return "it has " + std::to_string(inputs.Count()) + " open inputs and " +
               std::to_string(outputs.Count()) + " open outputs, and needs one of each";
    }
    const AVFilterInOut& in = inputs.First();
    const AVFilterInOut& out = outputs.First();
    if (avfilter_pad_get_type(in.filter_ctx->input_pads, in.pad_idx) != AVMEDIA_TYPE_VIDEO) {
        return std::string(in.filter_ctx->filter->name) + " takes sound, and the graph is for pictures";
    }
    if (avfilter_pad_get_type(out.filter_ctx->output_pads, out.pad_idx) != AVMEDIA_TYPE_VIDEO) {
        return std::string(out.filter_ctx->filter->name) + " makes sound, and the graph is for pictures";
    }
    return {};
}

} // namespace

std::unique_ptr<FilterGraph> FilterGraph::Build(const std::string& description, const PictureKind& input,
                                                std::string& reason) {
    std::unique_ptr<FilterGraph> graph(new FilterGraph(input));
    const int result = graph->Connect(description, reason);
    if (result >= 0 && reason.empty()) {
        return graph;
    }
    if (reason.empty()) {
        reason = ErrorText(result);
    }
    return nullptr;
}

int FilterGraph::Connect(const std::string& description, std::string& reason) {
    m_graph.reset(avfilter_graph_alloc());
    if (!m_graph) {
        return AVERROR(ENOMEM);
    }
    // For the conversions that FFmpeg inserts between filters.
    m_graph->scale_sws_opts = av_strdup("flags=bicubic+accurate_rnd+full_chroma_inp+bitexact");
    OpenPads inputs;
    OpenPads outputs;
    int result = avfilter_graph_parse2(m_graph.get(), description.c_str(), inputs.Out(), outputs.Out());
    if (result < 0) {
        return result;
    }
    reason = ObjectionTo(inputs, outputs);
    if (!reason.empty()) {
        return 0;
    }
    m_memory = MemoryOf(*m_graph, description);
    result = AddEnds();
    if (result >= 0) {
        result = avfilter_link(m_source, 0, inputs.First().filter_ctx,
                               static_cast<unsigned>(inputs.First().pad_idx));
    }
    if (result >= 0) {
        result = avfilter_link(outputs.First().filter_ctx, static_cast<unsigned>(outputs.First().pad_idx),
                               m_sink, 0);
    }
    return result >= 0 ? avfilter_graph_config(m_graph.get(), nullptr) : result;
}

int FilterGraph::AddEnds() {
    const AVRational rate = av_d2q(m_input.rate, 1'000'000);
    char settings[192];
    std::snprintf(settings, sizeof settings,
                  "video_size=%dx%d:pix_fmt=%d:time_base=%d/%d:pixel_aspect=%d/%d:frame_rate=%d/%d",
                  m_input.width, m_input.height, m_input.format, tickBase.num, tickBase.den,
                  m_input.sampleAspect.num, m_input.sampleAspect.den, rate.num, rate.den);
    const int result = avfilter_graph_create_filter(&m_source, avfilter_get_by_name("buffer"), "in", settings,
                                                    nullptr, m_graph.get());
    if (result < 0) {
        return result;
    }
    return avfilter_graph_create_filter(&m_sink, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr,
                                        m_graph.get());
}

bool FilterGraph::Takes(const AVFrame& picture) const {
    return picture.width == m_input.width && picture.height == m_input.height &&
           picture.format == m_input.format;
}

bool FilterGraph::Push(FrameHandle picture, Ticks time, Ticks duration) {
    m_end = time + duration;
    picture->pts = time;
    picture->pkt_dts = AV_NOPTS_VALUE;
    picture->sample_aspect_ratio = m_input.sampleAspect;
    return av_buffersrc_add_frame(m_source, picture.get()) >= 0;
}

void FilterGraph::Finish() {
    av_buffersrc_close(m_source, m_end, 0);
}

FilterGraph::Pulled FilterGraph::Pull(AVFrame& picture) {
    av_frame_unref(&picture); // FFmpeg overwrites what is in it
    const int result = av_buffersink_get_frame(m_sink, &picture);
    if (result >= 0) {
        // FFmpeg makes luma and chroma of RGB by BT.601, and does not say so.
        if (picture.colorspace == AVCOL_SPC_UNSPECIFIED || picture.colorspace == AVCOL_SPC_RGB) {
            picture.colorspace = AVCOL_SPC_SMPTE170M;
        }
        return Pulled::Picture;
    }
    return result == AVERROR(EAGAIN) ? Pulled::NeedsInput : Pulled::End;
}

Ticks FilterGraph::TimeOf(const AVFrame& picture) const {
    if (picture.pts == AV_NOPTS_VALUE) {
        return AV_NOPTS_VALUE;
    }
    return FromFile(picture.pts, av_buffersink_get_time_base(m_sink));
}

PictureKind FilterGraph::Output() const {
    PictureKind kind;
    kind.format = av_buffersink_get_format(m_sink);
    kind.width = av_buffersink_get_w(m_sink);
    kind.height = av_buffersink_get_h(m_sink);
    const AVRational aspect = av_buffersink_get_sample_aspect_ratio(m_sink);
    if (aspect.num > 0 && aspect.den > 0) {
        kind.sampleAspect = aspect;
    }
    const AVRational rate = av_buffersink_get_frame_rate(m_sink);
    kind.rate = rate.num > 0 && rate.den > 0 ? av_q2d(rate) : m_input.rate;
    return kind;
}

} // namespace kq::streams
