// A host's own streams: pictures that are drawn and sound that is computed, without any file.
//     own_stream [--headless] [SECONDS]

#include <kqplayer/convenience.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

namespace {

constexpr int width = 640, height = 360;
constexpr int pictureRate = 50;                    // pictures a second
constexpr int sampleRate = 48000, chunkRate = 100; // samples, and chunks of them, a second

/// What pictures and chunks of sound have in common: numbered frames at a steady rate, made when they are
/// asked for. Streams are called from several threads, so the position has a lock.
class Numbered : public kq::MediaStream {
public:
    double Seek(double seconds, int /*mode: every frame is a key frame*/) override {
        const std::lock_guard guard(m_lock);
        m_index = static_cast<int>(std::clamp(seconds * m_rate + 1e-6, 0.0, m_count - 1.0));
        return static_cast<double>(m_index) / m_rate;
    }
    MEDIA_FRAME* GetCurrentFrame() override {
        const std::lock_guard guard(m_lock);
        if (m_index >= m_count) {
            return nullptr;
        }
        if (m_made != m_index) {
            Make(m_index, m_frame.image);
            m_frame.llPTS = kq::TicksPerSecond * m_index / m_rate; // 100-ns units
            m_made = m_index;
        }
        return &m_frame; // ours: valid until the position moves
    }
    int NextFrame() override {
        const std::lock_guard guard(m_lock);
        m_index = std::min(m_index + 1, m_count);
        return m_index < m_count ? 1 : 0;
    }
    double GetFramePosition() override {
        const std::lock_guard guard(m_lock);
        return m_index;
    }

protected:
    Numbered(const kq::StreamFormat& format, int rate, int count)
        : MediaStream(format), m_rate(rate), m_count(count) {
        m_frame.nKind = KQ_PICTURE_PLANAR_YUV;
    }
    /// Fills in the planes, or the sound, of one frame.
    virtual void Make(int index, tagYUVImage& image) = 0;

private:
    const int m_rate;
    const int m_count;
    std::mutex m_lock;
    int m_index = 0;
    int m_made = -1;
    MEDIA_FRAME m_frame{};
};

/// A bright bar that crosses a slanted pattern once a second.
class Pictures final : public Numbered {
public:
    explicit Pictures(int seconds)
        : Numbered(VIDEO_STREAM_INFO{width, height, pictureRate, seconds * pictureRate, 16, 9}, pictureRate,
                   seconds * pictureRate) {}

private:
    void Make(int index, tagYUVImage& image) override {
        const int bar = index % pictureRate * width / pictureRate;
        for (int i = 0; i < width * height; ++i) {
            const int x = i % width, y = i / width;
            const bool lit = x >= bar && x < bar + width / 40;
            m_luma[static_cast<std::size_t>(i)] =
                static_cast<std::uint8_t>(lit ? 235 : 40 + (x + y + 2 * index) % 128);
        }
        image.nWidth = width;
        image.nHeight = height;
        image.pY = m_luma.data();
        image.pU = image.pV = m_chroma.data(); // grey
        image.nPitchY = width;
        image.nPitchU = image.nPitchV = width / 2;
    }

    std::vector<std::uint8_t> m_luma = std::vector<std::uint8_t>(width * height);
    std::vector<std::uint8_t> m_chroma = std::vector<std::uint8_t>(width * height / 4, 128);
};

/// A soft tone that swells once a second, in mono.
class Tone final : public Numbered {
public:
    explicit Tone(int seconds)
        : Numbered(AUDIO_STREAM_INFO{sampleRate, 1, 16, sampleRate * 2, double(seconds), 0}, chunkRate,
                   seconds * chunkRate) {}

private:
    void Make(int index, tagYUVImage& image) override {
        constexpr double turn = 6.283185307179586;
        for (std::size_t i = 0; i < m_samples.size(); ++i) {
            const double t =
                (index * static_cast<double>(m_samples.size()) + static_cast<double>(i)) / sampleRate;
            m_samples[i] =
                static_cast<std::int16_t>(4000 * std::sin(turn * t / 2) * std::sin(turn * 440 * t));
        }
        image.pU = reinterpret_cast<std::uint8_t*>(m_samples.data()); // sound travels in the Cb plane
        image.nAudioLength = static_cast<std::int32_t>(m_samples.size() * sizeof(std::int16_t));
    }

    std::vector<std::int16_t> m_samples = std::vector<std::int16_t>(sampleRate / chunkRate);
};

int Fail(int status, const char* why) {
    std::fprintf(stderr, "own_stream: %s\n", why);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    const bool headless = argc > 1 && std::strcmp(argv[1], "--headless") == 0;
    const int seconds = argc > (headless ? 2 : 1) ? std::atoi(argv[argc - 1]) : 5;
    if (seconds < 1 || seconds > 3600) {
        return Fail(2, "usage: own_stream [--headless] [SECONDS]");
    }
    kq::ComPtr<IMediaPlayer> player;
    kq::ComPtr<IPlayerViewMgr> views;
    if (const std::int32_t result = kq::CreatePlayer(player); result != kq::Ok) {
        return Fail(1, kq::ResultText(result));
    }
    player->GetPlayerViewMgr(views.Out());
    const auto view = kq::ComPtr<IPlayerView>::Adopt(views->CreatePlayView(
        headless ? kq::OffScreenParent() : nullptr, tagRECT{100, 100, 100 + width, 100 + height}));
    if (!view) {
        return Fail(1, "no view: PlayerView.so is missing or refuses the window");
    }
    // The player takes references of its own; ours go at the end of each statement.
    view->SetVideoInput(1, kq::ComPtr<IMediaStream>::Adopt(new Pictures(seconds)).Get());
    player.As<IAudioInput>()->SetAudioInput(kq::ComPtr<IMediaStream>::Adopt(new Tone(seconds)).Get());
    player->Play();
    while (player->IsActivate() != KQ_ACTIVATE_ENDED) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::printf("played %.1f seconds\n", player->GetMovieLength());
    return 0;
}
