#include "Tempo.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace kq::streams {
namespace {

/// @return the length of a stage's window in samples
double WindowAt(int rate) {
    return std::exp2(std::ceil(std::log2(std::max(rate / 24, 1))));
}

} // namespace

std::unique_ptr<Tempo> Tempo::Make(double tempo, int rate, std::size_t channels) {
    std::unique_ptr<Tempo> made(new Tempo(rate, channels));
    return made->Connect(tempo) ? std::move(made) : nullptr;
}

bool Tempo::Connect(double tempo) {
    m_graph.reset(avfilter_graph_alloc());
    if (!m_graph) {
        return false;
    }
    // One stage goes from half to double; beyond that two do it together.
    const int stages = tempo < 0.5 || tempo > 2 ? 2 : 1;
    const double factor = std::pow(tempo, 1.0 / stages);
    // A stage takes sound from half a window ahead on an average, and the second one stretches that. The
    // window goes by the rate that it is told: slow sound can do with half of it.
    m_told = tempo < 0.7 ? m_rate / 2 : m_rate;
    const double half = WindowAt(m_told) / 2;
    m_lead = stages == 1 ? half / factor : half / factor / factor + half / factor;
    char input[128];
    std::snprintf(input, sizeof input, "sample_rate=%d:sample_fmt=s16:channel_layout=%zuc:time_base=1/%d",
                  m_told, m_channels, m_told);
    const auto add = [this](const char* filter, const char* with) {
        AVFilterContext* context = nullptr;
        const AVFilter* found = avfilter_get_by_name(filter);
        const bool made = found != nullptr && avfilter_graph_create_filter(&context, found, nullptr, with,
                                                                           nullptr, m_graph.get()) >= 0;
        return made ? context : nullptr;
    };
    m_source = add("abuffer", input);
    m_sink = add("abuffersink", nullptr);
    if (m_source == nullptr || m_sink == nullptr) {
        return false;
    }
    char options[32];
    std::snprintf(options, sizeof options, "%.9f", factor);
    AVFilterContext* last = m_source;
    for (int stage = 0; stage < stages; ++stage) {
        AVFilterContext* next = add("atempo", options);
        if (next == nullptr || avfilter_link(last, 0, next, 0) < 0) {
            return false;
        }
        last = next;
    }
    return avfilter_link(last, 0, m_sink, 0) >= 0 && avfilter_graph_config(m_graph.get(), nullptr) >= 0;
}

bool Tempo::Push(const std::vector<std::int16_t>& samples) {
    const FrameHandle frame(av_frame_alloc());
    if (!frame) {
        return false;
    }
    frame->format = AV_SAMPLE_FMT_S16;
    frame->sample_rate = m_told;
    frame->ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
    frame->ch_layout.nb_channels = static_cast<int>(m_channels);
    frame->nb_samples = static_cast<int>(samples.size() / m_channels);
    frame->pts = m_pushed;
    if (av_frame_get_buffer(frame.get(), 0) < 0) {
        return false;
    }
    std::copy(samples.begin(), samples.end(), reinterpret_cast<std::int16_t*>(frame->data[0]));
    m_pushed += frame->nb_samples;
    return av_buffersrc_add_frame(m_source, frame.get()) >= 0;
}

void Tempo::Pull(std::vector<std::int16_t>& samples) {
    const FrameHandle frame(av_frame_alloc());
    while (frame && av_buffersink_get_frame(m_sink, frame.get()) >= 0) {
        const auto* data = reinterpret_cast<const std::int16_t*>(frame->data[0]);
        samples.insert(samples.end(), data, data + static_cast<std::size_t>(frame->nb_samples) * m_channels);
        av_frame_unref(frame.get());
    }
}

} // namespace kq::streams
