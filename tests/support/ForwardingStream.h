/// @file
/// A stream in front of another one, for tests that change a single operation of it.
#pragma once

#include <kqplayer/streams.h>

namespace kq::test {

/// Hands every operation on. The other stream must outlive it, and counts its references.
class ForwardingStream : public IMediaStream {
public:
    explicit ForwardingStream(IMediaStream& stream) : m_stream(stream) {}

    std::int32_t QueryInterface(const _GUID& id, void** out) override {
        return m_stream.QueryInterface(id, out);
    }
    std::uint32_t AddRef() override { return m_stream.AddRef(); }
    std::uint32_t Release() override { return m_stream.Release(); }
    std::int32_t GetStreamInfo(IStreamInfo** info) override { return m_stream.GetStreamInfo(info); }
    std::int32_t Reserved() override { return 0; }
    double Seek(double seconds, int mode) override { return m_stream.Seek(seconds, mode); }
    MEDIA_FRAME* GetCurrentFrame() override { return m_stream.GetCurrentFrame(); }
    int NextFrame() override { return m_stream.NextFrame(); }
    double GetFramePosition() override { return m_stream.GetFramePosition(); }

protected:
    ~ForwardingStream() = default;

private:
    IMediaStream& m_stream;
};

} // namespace kq::test
