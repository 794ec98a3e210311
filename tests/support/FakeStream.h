/// @file
/// Streams that a test builds, and that remember what was asked of them.
#pragma once

#include <kqplayer/convenience.h>
#include <kqplayer/streams.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

namespace kq::test {

/// What both fakes share: counting, identity, the information object, and the position.
class FakeStream : public IMediaStream, public IQLXDispatch {
public:
    struct SeekCall {
        double seconds;
        int mode;
    };

    std::int32_t QueryInterface(const _GUID& riid, void** ppv) override;
    std::uint32_t AddRef() override { return ++m_refCount; }
    std::uint32_t Release() override { return --m_refCount; } ///< lives on the stack: never deletes itself
    std::int32_t GetStreamInfo(IStreamInfo** info) override;
    std::int32_t Reserved() override { return 0; }
    double Seek(double seconds, int mode) override;
    MEDIA_FRAME* GetCurrentFrame() override;
    int NextFrame() override;
    double GetFramePosition() override;
    std::int32_t Invoke(std::int32_t reserved0, std::int64_t command, std::int32_t reserved1) override;

    int GetRefCount() const { return static_cast<int>(m_refCount); }
    std::vector<SeekCall> GetSeeks() const;
    std::vector<int> GetCommands() const;
    int GetIndex() const;

    bool infoFails = false;  ///< GetStreamInfo() fails
    bool noFormat = false;   ///< the information is that of a stream of another kind
    bool hasDispatch = true; ///< answers IID_IQLXDispatch

protected:
    /// @param rate of the frames, whatever the format record says
    explicit FakeStream(double rate) : m_rate(rate) {}
    ~FakeStream() = default;

    virtual StreamFormat Format() const = 0;

    std::vector<MEDIA_FRAME> m_frames;
    std::vector<std::vector<std::uint8_t>> m_data;

private:
    const double m_rate;
    mutable std::mutex m_lock;
    int m_index = 0;
    std::vector<SeekCall> m_seeks;
    std::vector<int> m_commands;
    std::atomic<int> m_refCount{1};
};

/// Planar pictures at a constant rate; every sample of picture n is LumaOf(n), chroma is neutral. 200
/// pictures differ from each other and from black.
class FakeVideo final : public FakeStream {
public:
    FakeVideo(int frames, double frameRate, int width = 16, int height = 8, double firstStamp = 0.0);

    static int LumaOf(int frame) { return 17 + frame % 200; }

    MEDIA_FRAME& FrameAt(int n) { return m_frames[static_cast<std::size_t>(n)]; }
    VIDEO_STREAM_INFO format{};

protected:
    StreamFormat Format() const override;
};

/// 16-bit PCM in chunks of one length; sample frame k has the value k (modulo 20,000) in every channel.
class FakeAudio final : public FakeStream {
public:
    FakeAudio(double seconds, int rate = 48000, int channels = 2, int chunkFrames = 960);

    static std::int16_t SampleOf(std::int64_t sampleFrame) {
        return static_cast<std::int16_t>(sampleFrame % 20000);
    }

    AUDIO_STREAM_INFO format{};

protected:
    StreamFormat Format() const override;
};

} // namespace kq::test
