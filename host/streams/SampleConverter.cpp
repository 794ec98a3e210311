#include "SampleConverter.h"

#include <algorithm>

namespace kq::streams {
namespace {

/// A layout that tells what the channels are; loudspeakers at the side count as those at the back where only
/// the names differ.
void NameChannels(const AVChannelLayout& layout, AVChannelLayout& named) {
    const AVChannelLayout side51 = AV_CHANNEL_LAYOUT_5POINT1;
    const AVChannelLayout back51 = AV_CHANNEL_LAYOUT_5POINT1_BACK;
    const AVChannelLayout side40 = AV_CHANNEL_LAYOUT_2_2;
    const AVChannelLayout quad = AV_CHANNEL_LAYOUT_QUAD;
    if (layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&named, layout.nb_channels);
    } else if (av_channel_layout_compare(&layout, &side51) == 0) {
        av_channel_layout_copy(&named, &back51);
    } else if (av_channel_layout_compare(&layout, &side40) == 0) {
        av_channel_layout_copy(&named, &quad);
    } else {
        av_channel_layout_copy(&named, &layout);
    }
}

AVChannelLayout OutputLayout(int channels) {
    switch (channels) {
    case 1:
        return AV_CHANNEL_LAYOUT_MONO;
    case 4:
        return AV_CHANNEL_LAYOUT_QUAD;
    case 6:
        return AV_CHANNEL_LAYOUT_5POINT1_BACK;
    case 7:
        return AV_CHANNEL_LAYOUT_6POINT1;
    case 8:
        return AV_CHANNEL_LAYOUT_7POINT1;
    default:
        return AV_CHANNEL_LAYOUT_STEREO;
    }
}

} // namespace

int OutputChannels(int sourceChannels, int maxChannels) {
    const bool known = sourceChannels == 1 || sourceChannels == 2 || sourceChannels == 4 ||
                       (sourceChannels >= 6 && sourceChannels <= 8);
    if (known && sourceChannels <= maxChannels) {
        return sourceChannels;
    }
    return maxChannels == 1 ? 1 : 2;
}

SampleConverter::SampleConverter(int rate, int channels) : m_rate(rate), m_output(OutputLayout(channels)) {}

SampleConverter::~SampleConverter() {
    av_channel_layout_uninit(&m_source);
}

bool SampleConverter::Append(const AVFrame& sound, std::vector<std::int16_t>& samples) {
    if (!Prepare(sound)) {
        return false;
    }
    const int room = swr_get_out_samples(m_resampler.get(), sound.nb_samples);
    if (room < 0) {
        return false;
    }
    const std::size_t before = samples.size();
    const auto channels = static_cast<std::size_t>(Channels());
    samples.resize(before + static_cast<std::size_t>(room) * channels);
    auto* output = reinterpret_cast<std::uint8_t*>(samples.data() + before);
    const int count = swr_convert(m_resampler.get(), &output, room,
                                  const_cast<const std::uint8_t**>(sound.extended_data), sound.nb_samples);
    samples.resize(before + static_cast<std::size_t>(std::max(count, 0)) * channels);
    return count >= 0;
}

bool SampleConverter::Prepare(const AVFrame& sound) {
    const bool same = m_resampler && sound.sample_rate == m_sourceRate && sound.format == m_sourceFormat &&
                      av_channel_layout_compare(&sound.ch_layout, &m_source) == 0;
    if (same) {
        return true;
    }
    m_sourceRate = sound.sample_rate;
    m_sourceFormat = sound.format;
    av_channel_layout_copy(&m_source, &sound.ch_layout);

    AVChannelLayout named{};
    NameChannels(sound.ch_layout, named);
    SwrContext* resampler = nullptr;
    const int result =
        swr_alloc_set_opts2(&resampler, &m_output, AV_SAMPLE_FMT_S16, m_rate, &named,
                            static_cast<AVSampleFormat>(sound.format), sound.sample_rate, 0, nullptr);
    av_channel_layout_uninit(&named);
    m_resampler.reset(resampler);
    if (result >= 0 && swr_init(resampler) >= 0) {
        return true;
    }
    m_resampler.reset();
    return false;
}

} // namespace kq::streams
