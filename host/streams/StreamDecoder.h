/// @file
/// One stream of a file, decoded and put in order of time.
#pragma once

#include "Decoder.h"
#include "Demuxer.h"
#include "Handles.h"
#include "ShapeWatch.h"
#include "Stamper.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>

namespace kq::streams {

/// What a decoder needs to know beside the stream's own parameters.
struct DecoderSetup {
    std::shared_ptr<Demuxer> demuxer;
    int stream = -1;
    Ticks fileStart = 0; ///< the file's own time at which it starts
    double rate = 0;     ///< frames per second, to extrapolate missing time stamps with; 0 for unknown
    int threads = 0;     ///< 0: one a core, eight at most
};

/// The frames of a file's stream. Damaged packets and frames are left out, with one line in the log for a run
/// of them.
class StreamDecoder : public Decoder {
public:
    /// @param reason receives why it failed
    /// @return null without a decoder that takes the stream
    static std::unique_ptr<StreamDecoder> Open(const DecoderSetup& setup, std::string& reason);
    ~StreamDecoder() override;

    bool Next(Decoded& frame) override;
    bool SeekAtOrBefore(Ticks time, Decoded& first, bool& nearest) override;
    bool ForwardIsShorter(Ticks from, Ticks to) const override;
    void LeaveOutBefore(Ticks time) override { m_leaveOutBefore = time; }
    bool Seekable() const override { return m_setup.demuxer->Seekable(); }
    bool HasKeyFrames() const override { return true; }
    Ticks Tolerance() const override { return m_tolerance; }
    const std::shared_ptr<FileLog>& Log() const override { return m_setup.demuxer->Log(); }
    void Cancel() override { m_cancelled = true; }
    bool Cancelled() const override { return m_cancelled; }
    void Interrupt(bool on) override { m_interrupted = on; }
    bool Stops() const override { return m_cancelled || m_interrupted; }

private:
    explicit StreamDecoder(DecoderSetup setup);

    bool OpenCodec(std::string& reason);
    bool Feed();
    bool Receive(AVFrame& frame);
    bool IsWanted(const AVPacket& packet) const;
    bool IsFit(const AVFrame& frame);
    void Stamp(Decoded& frame);
    void NoteDamage();
    void ReportDamage();
    bool NextStamped(Decoded& frame);
    void AddPeaks(AVFrame& frame) const;
    bool MoveTo(Ticks time);
    bool MoveToStart(bool reopen);
    void Restart(bool waitForKey);
    std::int64_t ToStamp(Ticks time) const;
    AVStream& Stream() const { return m_setup.demuxer->Stream(m_setup.stream); }

    const DecoderSetup m_setup;
    CodecHandle m_codec;
    PacketHandle m_packet;
    ShapeWatch m_shapes;
    bool m_isKept = false; ///< the packet waits for a decoder that is opened anew
    Ticks m_tolerance = 0;
    Ticks m_frameDuration = 0;

    Ticks m_leaveOutBefore =
        Stamper::noTime;       ///< frames that no others depend on are not decoded before this time
    bool m_draining = false;   ///< the last packet was read
    bool m_waitForKey = false; ///< after a seek packets are dropped up to a key frame's
    bool m_settling = false;   ///< after a seek unfit frames are expected
    bool m_fromStart = true;   ///< decoding began at the file's first packet
    bool m_noStamps = false;   ///< the file has no time stamps: only counting from the start tells times
    int m_damaged = 0;         ///< packets and frames left out since the last good frame
    Stamper m_stamper;
    std::int64_t m_lastPacket =
        AV_NOPTS_VALUE;               ///< decoding time of the last packet read, in the stream's base
    std::optional<Ticks> m_firstTime; ///< time of the stream's first frame
    Ticks m_usualBack = 0;            ///< how far before a time a seek had to go last
    std::atomic<bool> m_cancelled{false};
    std::atomic<bool> m_interrupted{false};
};

} // namespace kq::streams
