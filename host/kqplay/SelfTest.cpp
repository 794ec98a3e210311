#include "SelfTest.h"

#include "LateFrames.h"
#include "Player.h"
#include "TraceWriter.h"

#include <kqplayer/convenience.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace kqplay {
namespace {

constexpr double rangeSeconds = 1.0;
constexpr double longestRun = 6.0; ///< seconds; far more than the second that is played

constexpr int pictureRate = 50;
constexpr int width = 320;
constexpr int height = 180;
constexpr int barWidth = 6;
/// The bar is within the picture for this many.
constexpr int pictureCount = width / barWidth;

constexpr int sampleRate = 48000;
constexpr int channels = 2;
constexpr int chunkFrames = sampleRate / 100;
constexpr int chunkCount = 200; ///< twice the range: the tone does not end within it

/// What both streams have in common: a format, and frames of equal length that are counted.
class CountedStream : public kq::MediaStream {
public:
    double Seek(double seconds, int) override {
        GoTo(std::clamp(static_cast<int>(std::lround(seconds * m_rate)), 0, m_count));
        return m_index / m_rate;
    }
    MEDIA_FRAME* GetCurrentFrame() override { return m_index < m_count ? &m_frame : nullptr; }
    int NextFrame() override {
        GoTo(std::min(m_index + 1, m_count));
        return m_index < m_count ? 1 : 0;
    }
    double GetFramePosition() override { return m_index; }

protected:
    CountedStream(const kq::StreamFormat& format, double rate, int count)
        : MediaStream(format), m_rate(rate), m_count(count) {}

    /// Makes the frame's contents.
    virtual void Make(MEDIA_FRAME& frame, int index) = 0;
    void GoTo(int index) {
        m_index = index;
        m_frame.llPTS = std::llround(index * double{kq::TicksPerSecond} / m_rate);
        Make(m_frame, index);
    }

private:
    const double m_rate;
    const int m_count;
    int m_index = 0;
    MEDIA_FRAME m_frame = {};
};

/// A white bar on grey that moves by its own width from picture to picture.
class MovingBar final : public CountedStream {
public:
    MovingBar()
        : CountedStream(VIDEO_STREAM_INFO{width, height, pictureRate, pictureCount, 16, 9}, pictureRate,
                        pictureCount),
          m_luma(width * height), m_chroma(width * height / 4, 128) {
        GoTo(0);
    }

private:
    void Make(MEDIA_FRAME& frame, int index) override {
        std::fill(m_luma.begin(), m_luma.end(), std::uint8_t{60});
        for (int row = 0; row < height && index < pictureCount; ++row) {
            std::fill_n(m_luma.begin() + row * width + index * barWidth, barWidth, std::uint8_t{235});
        }
        frame.nKind = KQ_PICTURE_PLANAR_YUV;
        tagYUVImage& image = frame.image;
        image.pY = m_luma.data();
        image.pU = image.pV = m_chroma.data();
        image.nWidth = image.nPitchY = width;
        image.nHeight = height;
        image.nPitchU = image.nPitchV = width / 2;
    }

    std::vector<std::uint8_t> m_luma;
    std::vector<std::uint8_t> m_chroma;
};

/// @return the number of the picture, told by where its bar is, or -1 for another picture
int NumberOf(int pictureWidth, int pictureHeight, const unsigned char* pixels) {
    if (pictureWidth != width || pictureHeight != height) {
        return -1;
    }
    constexpr int bright = 200;
    const unsigned char* row = pixels + std::size_t{4} * width * (height / 2);
    for (int i = 0; i < pictureCount; ++i) {
        if (row[std::size_t{4} * barWidth * static_cast<std::size_t>(i)] > bright) {
            return i;
        }
    }
    return -1;
}

/// 440 Hz, 20 dB below the loudest.
class SoftTone final : public CountedStream {
public:
    SoftTone()
        : CountedStream(AUDIO_STREAM_INFO{sampleRate, channels, 16, sampleRate * channels * 2,
                                          chunkCount * chunkFrames / double{sampleRate}, 0},
                        double{sampleRate} / chunkFrames, chunkCount),
          m_samples(chunkFrames * channels) {
        GoTo(0);
    }
    int NextFrame() override {
        m_taken += chunkFrames;
        return CountedStream::NextFrame();
    }
    int Taken() const { return m_taken; }

private:
    void Make(MEDIA_FRAME& frame, int index) override {
        constexpr double pi = 3.14159265358979323846;
        constexpr double step = 2 * pi * 440 / sampleRate;
        for (int i = 0; i < chunkFrames * channels; ++i) {
            const int sample = index * chunkFrames + i / channels;
            const double phase = step * sample;
            m_samples[static_cast<std::size_t>(i)] = static_cast<std::int16_t>(3277 * std::sin(phase));
        }
        frame.image.pU = reinterpret_cast<std::uint8_t*>(m_samples.data());
        frame.image.nAudioLength = static_cast<std::int32_t>(m_samples.size() * sizeof m_samples[0]);
    }

    std::vector<std::int16_t> m_samples;
    std::atomic<int> m_taken{0};
};

double Now() {
    return static_cast<double>(MonotonicMicroseconds()) / 1e6;
}

/// Notes when which picture came and how the position moved.
class Watcher final : public PlayerListener {
public:
    static void TakePicture(void*, int, int w, int h, const unsigned char* pixels, void* self) {
        static_cast<Watcher*>(self)->OnPicture(NumberOf(w, h, pixels));
    }

    /// @return false when the run has not ended by then
    bool WaitForEnd(double seconds) {
        std::unique_lock guard(m_lock);
        return m_changed.wait_for(guard, std::chrono::duration<double>(seconds), [this] { return m_ended; });
    }

    void Tell(SelfTestResult& result) {
        const std::lock_guard guard(m_lock);
        result.due = static_cast<int>(rangeSeconds * pictureRate);
        result.moved = m_lastPosition - m_firstPosition;
        result.passed = m_lastTime - m_firstTime;
        m_cameAt.resize(std::min(m_cameAt.size(), static_cast<std::size_t>(result.due)));
        std::vector<double> delays = DelaysAfterMostPunctual(m_cameAt, 1.0 / pictureRate);
        result.shown = static_cast<int>(delays.size());
        if (delays.empty()) {
            return;
        }
        std::sort(delays.begin(), delays.end());
        result.medianLate = delays[delays.size() / 2];
        result.worstLate = delays.back();
    }

private:
    void OnPicture(int number) {
        const std::lock_guard guard(m_lock);
        if (number == static_cast<int>(m_cameAt.size())) {
            m_cameAt.push_back(Now());
        }
    }
    void OnPosition(double seconds) override {
        const std::lock_guard guard(m_lock);
        if (m_firstTime == 0) {
            m_firstTime = Now();
            m_firstPosition = seconds;
        }
        m_lastTime = Now();
        m_lastPosition = seconds;
    }
    void OnEnd() override {
        const std::lock_guard guard(m_lock); // to the very end: then we may be destroyed
        m_ended = true;
        m_changed.notify_all();
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_ended = false;
    std::vector<double> m_cameAt; ///< by number of the picture
    double m_firstTime = 0;
    double m_firstPosition = 0;
    double m_lastTime = 0;
    double m_lastPosition = 0;
};

/// @return false with the reason in @p error
bool SetUp(Player& player, Watcher& watcher, ViewLibrary& views, bool inWindow, IMediaStream* video,
           std::string& error) {
    if (!player.Create(watcher, error)) {
        return false;
    }
    if (!player.CreateView(inWindow ? nullptr : kq::OffScreenParent(), width, height)) {
        error = "no view can be made: " + views.WhyNoView();
        return false;
    }
    if (!player.SetVideo(video, nullptr)) {
        error = "the view does not take the test pictures";
        return false;
    }
    return true;
}

/// Ends a run that does not end by itself, and waits for its last word, before the watcher goes.
void EndRun(Player& player, Watcher& watcher) {
    player.Stop();
    watcher.WaitForEnd(longestRun);
}

} // namespace

SelfTestResult RunSelfTest(ViewLibrary& views, bool inWindow, bool sound) {
    SelfTestResult result;
    const auto video = kq::ComPtr<MovingBar>::Adopt(new MovingBar);
    const auto audio = kq::ComPtr<SoftTone>::Adopt(new SoftTone);
    Watcher watcher;
    Player player;
    if (!SetUp(player, watcher, views, inWindow, video.Get(), result.failure)) {
        return result;
    }
    result.inWindow = inWindow && player.ViewWindows().front() != nullptr;
    if (sound) {
        player.SetAudio(audio.Get());
    }
    player.SetRange(0, rangeSeconds);
    result.watched = views.SetPictureSink(&Watcher::TakePicture, &watcher);
    if (!player.Play()) {
        result.failure = "the player does not start";
    } else if (!(result.ended = watcher.WaitForEnd(longestRun))) {
        EndRun(player, watcher);
    }
    views.SetPictureSink(nullptr, nullptr);
    watcher.Tell(result);
    result.samplesTaken = audio->Taken();
    return result;
}

} // namespace kqplay
