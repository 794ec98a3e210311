#include "StreamDecoder.h"

#include "PictureColour.h"
#include "PictureMemory.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <thread>
#include <utility>

namespace kq::streams {
namespace {

constexpr Ticks microsecond = TicksPerSecond / 1'000'000;
constexpr Ticks millisecond = TicksPerSecond / 1'000;
/// The first packet may lie before the first frame's time, as the ones that get an audio decoder going do.
constexpr Ticks wellBefore = TicksPerSecond;
/// A way so short is decoded rather than sought.
constexpr Ticks shortWay = TicksPerSecond / 2;
/// How far back the second try of a seek goes; each further one goes twice as far.
constexpr Ticks firstStepBack = TicksPerSecond / 2;
/// And this is how far back the first try goes at most, if earlier seeks had to.
constexpr Ticks longestUsual = 2 * TicksPerSecond;
/// From so many damaged frames in a row on they are shown all the same.
constexpr int damagedRun = 50;
constexpr int mostThreads = 8;

int ThreadCount(const DecoderSetup& setup, const AVCodecParameters& parameters) {
    // FFmpeg's decoder of Theora and its forerunners spoils pictures after a seek when it works on several at
    // once.
    const AVCodecID codec = parameters.codec_id;
    const bool spoils = codec == AV_CODEC_ID_THEORA || codec == AV_CODEC_ID_VP3 || codec == AV_CODEC_ID_VP4;
    if (parameters.codec_type != AVMEDIA_TYPE_VIDEO || spoils) {
        return 1;
    }
    if (setup.threads > 0) {
        return setup.threads;
    }
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, mostThreads);
}

bool IsMeaningless(const AVPacket& packet) {
    const auto brings = [&packet](AVPacketSideDataType type) {
        return av_packet_get_side_data(&packet, type, nullptr) != nullptr;
    };
    return packet.size == 0 && !brings(AV_PKT_DATA_NEW_EXTRADATA) && !brings(AV_PKT_DATA_PARAM_CHANGE);
}

/// @return by how much the file's clock may have rounded a frame's time: by nothing where frames last whole
/// ticks
Ticks RoundingOf(AVRational tick, double rate) {
    const double ticksPerFrame = rate > 0 ? 1 / (rate * av_q2d(tick)) : 0;
    const bool exact = ticksPerFrame > 0.5 && std::abs(ticksPerFrame - std::round(ticksPerFrame)) < 1e-6;
    return exact ? 0 : std::min(FromFile(1, tick) / 2, millisecond);
}

} // namespace

StreamDecoder::StreamDecoder(DecoderSetup setup)
    : m_setup(std::move(setup)), m_packet(av_packet_alloc()), m_shapes(Stream().codecpar->codec_id) {
    m_tolerance = RoundingOf(Stream().time_base, m_setup.rate) + microsecond;
    if (m_setup.rate > 0) {
        m_frameDuration = static_cast<Ticks>(static_cast<double>(TicksPerSecond) / m_setup.rate);
        m_stamper = Stamper(m_frameDuration);
    }
}

StreamDecoder::~StreamDecoder() {
    ReportDamage();
    m_setup.demuxer->Deselect(m_setup.stream);
}

std::unique_ptr<StreamDecoder> StreamDecoder::Open(const DecoderSetup& setup, std::string& reason) {
    std::unique_ptr<StreamDecoder> decoder(new StreamDecoder(setup));
    if (!decoder->m_packet || !decoder->OpenCodec(reason)) {
        return nullptr;
    }
    setup.demuxer->Select(setup.stream);
    return decoder;
}

bool StreamDecoder::OpenCodec(std::string& reason) {
    const AVCodecParameters& parameters = *Stream().codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters.codec_id);
    if (codec == nullptr) {
        reason = std::string("no decoder for ") + avcodec_get_name(parameters.codec_id);
        return false;
    }
    CodecHandle context(avcodec_alloc_context3(codec));
    if (!context || avcodec_parameters_to_context(context.get(), &parameters) < 0) {
        reason = ErrorText(AVERROR(ENOMEM));
        return false;
    }
    context->opaque = Log().get();
    context->pkt_timebase = Stream().time_base;
    // IsFit() decides itself about frames that the decoder has doubts about.
    if (parameters.codec_id == AV_CODEC_ID_H264) {
        context->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
    }
    context->thread_count = ThreadCount(m_setup, parameters);
    ShareMemory(*context);
    const int error = avcodec_open2(context.get(), codec, nullptr);
    if (error < 0) {
        reason = std::string(codec->name) + ": " + ErrorText(error);
        return false;
    }
    m_codec = std::move(context);
    return true;
}

bool StreamDecoder::Next(Decoded& frame) {
    const LogScope scope(*Log());
    if (!frame.data) {
        frame.data.reset(av_frame_alloc());
    }
    while (frame.data && !Stops()) {
        if (!Receive(*frame.data)) {
            return false;
        }
        if (!IsFit(*frame.data)) {
            continue;
        }
        frame.lost = m_damaged;
        ReportDamage();
        Stamp(frame);
        LimitColour(*frame.data);
        AddPeaks(*frame.data);
        m_settling = false;
        if (m_fromStart && !m_firstTime) {
            m_firstTime = frame.time;
        }
        return true;
    }
    return false;
}

/// Decodes up to the next frame. @return false at the end
bool StreamDecoder::Receive(AVFrame& frame) {
    while (!Stops()) {
        const int result = avcodec_receive_frame(m_codec.get(), &frame);
        if (result >= 0) {
            return true;
        }
        if (result == AVERROR_EOF && m_isKept) {
            std::string reason;
            if (!OpenCodec(reason)) {
                return false;
            }
            continue;
        }
        if (result == AVERROR_EOF) {
            return false;
        }
        if (result != AVERROR(EAGAIN)) {
            NoteDamage();
        } else if (!Feed()) {
            return false;
        }
    }
    return false;
}

/// Gives the decoder one packet, or tells it that there are no more. @return false when that is known already
bool StreamDecoder::Feed() {
    if (m_draining) {
        return false;
    }
    if (!std::exchange(m_isKept, false)) {
        av_packet_unref(m_packet.get());
        const int result = m_setup.demuxer->Read(m_setup.stream, *m_packet, m_cancelled);
        if (result == AVERROR_EXIT) {
            return false;
        }
        m_draining = result < 0;
        m_isKept = !m_draining && m_shapes.Changes(*m_packet);
        if (m_draining || m_isKept) {
            avcodec_send_packet(m_codec.get(), nullptr);
            return true;
        }
    }
    if (IsMeaningless(*m_packet)) {
        return true; // to the decoder it would mean the end, or damage
    }
    if (m_packet->dts != AV_NOPTS_VALUE) {
        m_lastPacket = m_packet->dts;
    }
    if (m_waitForKey && (m_packet->flags & AV_PKT_FLAG_KEY) == 0) {
        return true;
    }
    m_waitForKey = false;
    m_codec->skip_frame = IsWanted(*m_packet) ? AVDISCARD_DEFAULT : AVDISCARD_NONREF;
    if (avcodec_send_packet(m_codec.get(), m_packet.get()) < 0) {
        NoteDamage();
    }
    return true;
}

/// @return false for a packet whose frame is only wanted if others depend on it
bool StreamDecoder::IsWanted(const AVPacket& packet) const {
    if (m_leaveOutBefore == Stamper::noTime || packet.pts == AV_NOPTS_VALUE) {
        return true;
    }
    return FromFile(packet.pts, Stream().time_base) - m_setup.fileStart >= m_leaveOutBefore;
}

/// @return false for a frame that is not to be shown
bool StreamDecoder::IsFit(const AVFrame& frame) {
    if ((frame.flags & AV_FRAME_FLAG_DISCARD) != 0) {
        return false;
    }
    // After a seek to a key frame that earlier frames of the output still depend on, FFmpeg's H.264 decoder
    // forgets about that key frame when the file ends soon after, and doubts all the frames behind it.
    const bool baseless = m_draining && !m_settling && m_codec->codec_id == AV_CODEC_ID_H264;
    const bool doubted = (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0 && !baseless;
    if (!doubted && frame.decode_error_flags == 0) {
        return true;
    }
    NoteDamage();
    return m_damaged > damagedRun;
}

/// Fills in the time of a frame, and repairs what the file says when it does not go forward.
void StreamDecoder::Stamp(Decoded& frame) {
    const AVFrame& data = *frame.data;
    const AVRational base = Stream().time_base;
    frame.key = data.key_frame != 0;
    frame.duration = data.pkt_duration > 0 ? FromFile(data.pkt_duration, base) : m_frameDuration;
    if (m_codec->codec_type == AVMEDIA_TYPE_AUDIO && data.sample_rate > 0) {
        frame.duration = av_rescale(data.nb_samples, TicksPerSecond, data.sample_rate);
    }

    const bool isFirst = m_stamper.LastTime() == Stamper::noTime;
    std::optional<Ticks> read;
    // FFmpeg's guess depends on what came before, and so on where a seek has led: it is for want of a stamp.
    const std::int64_t stamp = data.pts != AV_NOPTS_VALUE ? data.pts : data.best_effort_timestamp;
    if (stamp != AV_NOPTS_VALUE) {
        read = FromFile(stamp, base) - m_setup.fileStart;
    } else {
        m_noStamps = m_noStamps || (isFirst && m_fromStart);
    }
    const bool isNext = m_stamper.LastTime() >= m_leaveOutBefore;
    const auto stamped =
        m_stamper.Stamp(read, frame.duration, m_codec->codec_type == AVMEDIA_TYPE_VIDEO, isNext);
    frame.time = stamped.time;
    frame.stamp = stamped.kind;
}

/// Some containers tell the peaks of HDR pictures once for all of them.
void StreamDecoder::AddPeaks(AVFrame& frame) const {
    if (frame.color_trc != AVCOL_TRC_SMPTE2084) {
        return;
    }
    constexpr std::pair<AVPacketSideDataType, AVFrameSideDataType> kinds[] = {
        {AV_PKT_DATA_MASTERING_DISPLAY_METADATA, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA},
        {AV_PKT_DATA_CONTENT_LIGHT_LEVEL, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL},
    };
    for (const auto& [ofStream, ofFrame] : kinds) {
        std::size_t size = 0;
        const std::uint8_t* data = av_stream_get_side_data(&Stream(), ofStream, &size);
        if (data == nullptr || av_frame_get_side_data(&frame, ofFrame) != nullptr) {
            continue;
        }
        if (AVFrameSideData* added = av_frame_new_side_data(&frame, ofFrame, size)) {
            std::copy_n(data, size, added->data);
        }
    }
}

void StreamDecoder::NoteDamage() {
    if (!m_settling) {
        ++m_damaged;
    }
}

void StreamDecoder::ReportDamage() {
    if (m_damaged == 0) {
        return;
    }
    char text[128];
    std::snprintf(text, sizeof text, "%s: left out %d damaged packets or frames after %.3f s",
                  m_codec->codec_type == AVMEDIA_TYPE_VIDEO ? "video" : "audio", m_damaged,
                  ToSeconds(std::max<Ticks>(m_stamper.LastTime(), 0)));
    m_damaged = 0;
    StreamDecoder::Log()->Notice(text);
}

bool StreamDecoder::SeekAtOrBefore(Ticks time, Decoded& first, bool& nearest) {
    const LogScope scope(*Log());
    ReportDamage();
    const Ticks start = m_firstTime.value_or(0);
    time = std::max(time, start);
    nearest = m_usualBack == 0;
    for (Ticks back = m_usualBack; !m_noStamps && time - back > start && !Stops();
         back = std::max(back * 2, firstStepBack)) {
        if (MoveTo(time + m_tolerance - back) && NextStamped(first) && first.time <= time + m_tolerance) {
            m_usualBack = std::min(back, longestUsual);
            return true;
        }
        nearest = false;
    }
    if (Stops()) {
        return false;
    }
    nearest = nearest && time == start;
    if (!m_noStamps && MoveToStart(false) && NextStamped(first) && m_firstTime &&
        first.time <= *m_firstTime) {
        return true;
    }
    return MoveToStart(true) && Next(first);
}

/// @return false also for a frame whose time only the frame before it could tell
bool StreamDecoder::NextStamped(Decoded& frame) {
    return Next(frame) && frame.stamp == StampKind::Read;
}

bool StreamDecoder::MoveTo(Ticks time) {
    if (!m_setup.demuxer->SeekTo(m_setup.stream, ToStamp(time))) {
        return false;
    }
    Restart(true);
    return true;
}

/// @param reopen false: with a seek, which may miss the first packet; true: by opening the file again
bool StreamDecoder::MoveToStart(bool reopen) {
    if (!reopen) {
        return MoveTo(m_firstTime.value_or(0) - wellBefore);
    }
    if (!m_setup.demuxer->Reopen()) {
        return false;
    }
    Restart(false);
    return true;
}

void StreamDecoder::Restart(bool waitForKey) {
    avcodec_flush_buffers(m_codec.get());
    m_draining = false;
    m_isKept = false;
    m_waitForKey = waitForKey;
    m_settling = waitForKey;
    m_fromStart = !waitForKey;
    m_damaged = 0;
    m_leaveOutBefore = Stamper::noTime;
    m_stamper.Restart();
    m_lastPacket = AV_NOPTS_VALUE;
}

bool StreamDecoder::ForwardIsShorter(Ticks from, Ticks to) const {
    if (!Seekable() || to - from <= shortWay) {
        return true;
    }
    if (m_noStamps) {
        return true;
    }
    // The index must reach beyond the target, or it may not know yet of a key frame that is nearer.
    AVStream& stream = Stream();
    const std::int64_t target = ToStamp(to);
    if (av_index_search_timestamp(&stream, target, AVSEEK_FLAG_ANY) < 0) {
        return false;
    }
    const int key = av_index_search_timestamp(&stream, target, AVSEEK_FLAG_BACKWARD);
    if (key < 0) {
        return false;
    }
    return avformat_index_get_entry(&stream, key)->timestamp <= m_lastPacket;
}

std::int64_t StreamDecoder::ToStamp(Ticks time) const {
    return av_rescale_q_rnd(time + m_setup.fileStart, tickBase, Stream().time_base, AV_ROUND_DOWN);
}

} // namespace kq::streams
