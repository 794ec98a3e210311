#include "SoundTrait.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/tx.h>
}

#include <kqplayer/convenience.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <memory>

namespace kq::compare {
namespace {

/// Mean power below which there is silence, of samples up to 1.
constexpr double leastPower = 1e-8;

/// Takes every few samples together: a simple low pass, and fewer of them.
class Reducer {
public:
    Reducer(int rate, int channels) : m_rate(rate), m_channels(channels) {}

    void Add(const std::int16_t* samples, std::size_t count, std::vector<float>& reduced) {
        constexpr float full = 32768;
        for (std::size_t i = 0; i < count; ++i) {
            int sum = 0;
            for (int channel = 0; channel < m_channels; ++channel) {
                sum += *samples++;
            }
            m_sum += static_cast<float>(sum) / (full * static_cast<float>(m_channels));
            ++m_summed;
            m_phase += Wave::rate;
            if (m_phase >= m_rate) {
                m_phase -= m_rate;
                reduced.push_back(m_sum / static_cast<float>(m_summed));
                m_sum = 0;
                m_summed = 0;
            }
        }
    }

private:
    const int m_rate;
    const int m_channels;
    int m_phase = 0;
    float m_sum = 0;
    int m_summed = 0;
};

struct TxDeleter {
    void operator()(AVTXContext* context) const { av_tx_uninit(&context); }
};
struct MemoryDeleter {
    void operator()(void* memory) const { av_free(memory); }
};

/// A Fourier transform of one length: FFmpeg's, which wants aligned memory, and is fast up to 131,072.
class Transform {
public:
    using Complex = std::complex<float>;
    using Buffer = std::unique_ptr<Complex[], MemoryDeleter>;

    Transform(std::size_t length, bool inverse) : m_length(length) {
        AVTXContext* context = nullptr;
        const float scale = 1;
        if (av_tx_init(&context, &m_function, AV_TX_FLOAT_FFT, inverse ? 1 : 0, static_cast<int>(length),
                       &scale, 0) >= 0) {
            m_context.reset(context);
        }
    }

    Buffer Make() const { return Buffer(static_cast<Complex*>(av_calloc(m_length, sizeof(Complex)))); }
    /// @return false without memory
    bool Run(Complex* input, Complex* output) const {
        if (!m_context || input == nullptr || output == nullptr) {
            return false;
        }
        m_function(m_context.get(), output, input, sizeof(Complex));
        return true;
    }

private:
    const std::size_t m_length;
    std::unique_ptr<AVTXContext, TxDeleter> m_context;
    av_tx_fn m_function = nullptr;
};

/// @return the sums of products of the reference with the other wave from each of its samples on, as far as
///         the whole reference lies within; empty without memory
std::vector<double> Correlate(const std::vector<float>& reference, const std::vector<float>& other) {
    std::size_t length = 1;
    while (length < other.size() + reference.size()) {
        length *= 2;
    }
    const Transform forward(length, false);
    const Transform back(length, true);
    const auto transformed = [&](const std::vector<float>& samples) {
        const Transform::Buffer input = forward.Make();
        Transform::Buffer output = forward.Make();
        if (input) {
            std::copy(samples.begin(), samples.end(), input.get());
        }
        return forward.Run(input.get(), output.get()) ? std::move(output) : Transform::Buffer();
    };
    const Transform::Buffer own = transformed(reference);
    const Transform::Buffer others = transformed(other);
    const Transform::Buffer result = back.Make();
    if (!own || !others || !result) {
        return {};
    }
    for (std::size_t i = 0; i < length; ++i) {
        others[i] *= std::conj(own[i]);
    }
    if (!back.Run(others.get(), result.get())) {
        return {};
    }
    std::vector<double> sums(other.size() - reference.size() + 1);
    for (std::size_t i = 0; i < sums.size(); ++i) {
        sums[i] = static_cast<double>(result[i].real()) / static_cast<double>(length);
    }
    return sums;
}

double Squared(float value) {
    return static_cast<double>(value) * static_cast<double>(value);
}

} // namespace

Wave ReadWave(IMediaStream& audio, double from, double to, const std::function<bool()>& isStopped) {
    Wave wave;
    ComPtr<IStreamInfo> info;
    const AUDIO_STREAM_INFO* const format =
        audio.GetStreamInfo(info.Out()) == Ok ? info->GetAudioFormat() : nullptr;
    if (format == nullptr || format->nSampleRate < Wave::rate) {
        return wave;
    }
    audio.Seek(std::max(from, 0.0), ExactSeek);
    Reducer reducer(format->nSampleRate, format->nChannels);
    bool isFirst = true;
    while (const MEDIA_FRAME* const frame = audio.GetCurrentFrame()) {
        const double time = static_cast<double>(frame->llPTS) / TicksPerSecond;
        wave.begin = isFirst ? time : wave.begin;
        isFirst = false;
        if (time >= to || (isStopped && isStopped())) {
            break;
        }
        const auto size = static_cast<std::size_t>(frame->image.nAudioLength) / sizeof(std::int16_t) /
                          static_cast<std::size_t>(format->nChannels);
        reducer.Add(reinterpret_cast<const std::int16_t*>(frame->image.pU), size, wave.samples);
        if (audio.NextFrame() <= 0) {
            break;
        }
    }
    return wave;
}

std::vector<double> CompareWaves(const Wave& reference, const Wave& other) {
    const std::size_t length = reference.samples.size();
    if (length == 0 || other.samples.size() < length) {
        return {};
    }
    std::vector<double> scores = Correlate(reference.samples, other.samples);
    double ownPower = 0;
    for (const float sample : reference.samples) {
        ownPower += Squared(sample);
    }
    double power = 0;
    for (std::size_t i = 0; i < length; ++i) {
        power += Squared(other.samples[i]);
    }
    const double least = leastPower * static_cast<double>(length);
    for (std::size_t i = 0; i < scores.size(); ++i) {
        scores[i] = power > least && ownPower > least ? scores[i] / std::sqrt(power * ownPower) : 0;
        if (i + 1 < scores.size()) {
            power += Squared(other.samples[i + length]) - Squared(other.samples[i]);
        }
    }
    return scores;
}

} // namespace kq::compare
