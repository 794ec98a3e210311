#include "FrameIndex.h"

#include "Demuxer.h"
#include "FileLog.h"
#include "Stamper.h"
#include "StreamDecoder.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string_view>
#include <utility>

namespace kq::streams {
namespace {

constexpr int lowPriority = 10;
/// Decoders put no more pictures than this in order.
constexpr std::size_t mostReordered = 16;
/// Without decoding times so many pictures are put in order.
constexpr std::size_t mostUnordered = 64;

/// @return true for a packet whose picture is only there for others to depend on
bool IsHidden(const AVPacket& packet, AVCodecID codec) {
    constexpr std::uint8_t shown = 0x10;
    return codec == AV_CODEC_ID_VP8 && packet.size > 0 && (packet.data[0] & shown) == 0;
}

/// @return true for pictures of which one, but no more, may be decoded before its turn
bool IsReordered(const AVCodecParameters& stream) {
    return stream.video_delay > 0 && stream.codec_id != AV_CODEC_ID_H264 &&
           stream.codec_id != AV_CODEC_ID_HEVC;
}

/// Puts the pictures of packets into the order of time, as a decoder does.
class PictureOrder {
public:
    using Sink = std::function<void(Ticks time, Ticks end)>;

    /// @param first what the decoder says of the first picture
    PictureOrder(const AVFormatContext& file, const AVStream& stream, Ticks fileStart, double rate,
                 const AVFrame& first, Sink sink)
        : m_stampsAll(std::string_view(file.iformat->name) == "matroska,webm"),
          m_isReordered(IsReordered(*stream.codecpar)), m_base(stream.time_base),
          m_codec(stream.codecpar->codec_id), m_fileStart(fileStart),
          m_usual(rate > 0 ? static_cast<Ticks>(static_cast<double>(TicksPerSecond) / rate) : 0),
          m_first(first.best_effort_timestamp), m_sink(std::move(sink)), m_stamper(m_usual) {}

    void Add(const AVPacket& packet);
    void Finish();

private:
    void NoteDecodingTime(std::int64_t time);
    bool Wait(std::int64_t stamp, Ticks duration);
    void Settle(std::int64_t decodingTime);
    void SettleFirst();
    void Give(std::optional<Ticks> read, Ticks duration);

    const bool m_stampsAll;   ///< a packet without a stamp lies before the start
    const bool m_isReordered; ///< packets without a stamp have pictures that others are decoded from first
    const AVRational m_base;
    const AVCodecID m_codec;
    const Ticks m_fileStart;
    const Ticks m_usual;        ///< duration of a picture for which the file has none
    const std::int64_t m_first; ///< stamp of the first picture, AV_NOPTS_VALUE where only counting helps
    const Sink m_sink;
    Stamper m_stamper;
    bool m_hasGiven = false;                      ///< a picture
    std::multimap<std::int64_t, Ticks> m_waiting; ///< stamps and durations
    std::int64_t m_decodingTime = AV_NOPTS_VALUE; ///< of the packet before
    std::int64_t m_lastStamp = AV_NOPTS_VALUE;    ///< that waits or waited
    Ticks m_lastDuration = 0;                     ///< likewise
    std::optional<Ticks> m_untimed; ///< duration of a picture whose begin a packet to come tells
    int m_late = 0; ///< pictures that come so much after their decoding times, which are all there is
    Ticks m_lateDuration = 0;
};

void PictureOrder::Add(const AVPacket& packet) {
    if (packet.size == 0 || (packet.flags & AV_PKT_FLAG_DISCARD) != 0 || IsHidden(packet, m_codec)) {
        return;
    }
    const Ticks duration = packet.duration > 0 ? FromFile(packet.duration, m_base) : m_usual;
    if (m_first == AV_NOPTS_VALUE) {
        Give(std::nullopt, duration);
        return;
    }
    NoteDecodingTime(packet.dts);
    // A picture that others are decoded from first begins when the next one of its kind is decoded.
    if (m_untimed && (packet.pts == AV_NOPTS_VALUE || packet.pts != packet.dts)) {
        Wait(packet.dts, *std::exchange(m_untimed, std::nullopt));
    }
    if (packet.pts != AV_NOPTS_VALUE) {
        Wait(packet.pts, duration);
    } else if (m_isReordered) {
        m_untimed = duration;
    } else if (packet.dts != AV_NOPTS_VALUE) {
        m_late += Wait(packet.dts, duration) ? 0 : 1;
        m_lateDuration = duration;
    } else if (!m_stampsAll) {
        Wait(m_lastStamp + av_rescale_q(m_lastDuration, tickBase, m_base), duration);
    }
    Settle(packet.dts);
}

/// A clock that was set back begins a new order.
void PictureOrder::NoteDecodingTime(std::int64_t time) {
    const bool isKnown = time != AV_NOPTS_VALUE && m_decodingTime != AV_NOPTS_VALUE;
    if (isKnown && FromFile(m_decodingTime - time, m_base) > TicksPerSecond) {
        while (!m_waiting.empty()) {
            SettleFirst();
        }
    }
    m_decodingTime = time;
}

/// @return false for a picture before the first one, which may follow it in the file: a group that is open at
/// its begin leads to pictures that cannot be decoded
bool PictureOrder::Wait(std::int64_t stamp, Ticks duration) {
    if (stamp < m_first && !m_hasGiven) {
        return false;
    }
    m_lastStamp = stamp;
    m_lastDuration = duration;
    m_waiting.emplace(stamp, duration);
    return true;
}

/// Gives those that no packet after this one can come before.
void PictureOrder::Settle(std::int64_t decodingTime) {
    const bool isKnown = decodingTime != AV_NOPTS_VALUE;
    while (m_waiting.size() > mostReordered &&
           (isKnown ? m_waiting.begin()->first <= decodingTime : m_waiting.size() > mostUnordered)) {
        SettleFirst();
    }
}

void PictureOrder::SettleFirst() {
    const auto [stamp, duration] = *m_waiting.begin();
    m_waiting.erase(m_waiting.begin());
    Give(FromFile(stamp, m_base) - m_fileStart, duration);
}

void PictureOrder::Finish() {
    while (!m_waiting.empty()) {
        SettleFirst();
    }
    if (m_untimed) {
        Give(std::nullopt, *m_untimed);
    }
    for (; m_late > 0; --m_late) {
        Give(std::nullopt, m_lateDuration);
    }
}

void PictureOrder::Give(std::optional<Ticks> read, Ticks duration) {
    m_hasGiven = true;
    const Ticks time = m_stamper.Stamp(read, duration, true).time;
    m_sink(time, time + duration);
}

} // namespace

std::unique_ptr<FrameIndex> FrameIndex::Read(std::string path, int stream, Ticks fileStart, double rate) {
    std::unique_ptr<FrameIndex> index(new FrameIndex);
    index->m_thread = std::thread([self = index.get(), path = std::move(path), stream, fileStart, rate] {
        self->ReadFile(path, stream, fileStart, rate);
        self->Finish();
    });
    return index;
}

std::unique_ptr<FrameIndex> FrameIndex::Told(Ticks tolerance) {
    std::unique_ptr<FrameIndex> index(new FrameIndex);
    index->m_tolerance = tolerance;
    return index;
}

FrameIndex::~FrameIndex() {
    Cancel();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void FrameIndex::ReadFile(const std::string& path, int stream, Ticks fileStart, double rate) {
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), lowPriority);
    const auto silent = FileLog::Make(path, {}); // who plays the file says what is wrong with it
    const LogScope scope(*silent);
    std::string reason;
    const auto demuxer = Demuxer::Open(path, silent, reason);
    if (!demuxer || stream >= static_cast<int>(demuxer->Context().nb_streams)) {
        return;
    }
    // Which pictures at the start cannot be decoded only a decoder knows.
    Decoded first;
    auto decoder = StreamDecoder::Open({demuxer, stream, fileStart, rate, 1}, reason);
    if (!decoder || !HasPicture(*decoder, first)) {
        return;
    }
    SetTolerance(decoder->Tolerance());
    decoder.reset();
    if (!demuxer->Reopen()) {
        return;
    }
    demuxer->Select(stream);
    PictureOrder order(demuxer->Context(), demuxer->Stream(stream), fileStart, rate, *first.data,
                       [this](Ticks time, Ticks end) { Add(time, end); });
    const PacketHandle packet(av_packet_alloc());
    while (packet && demuxer->Read(stream, *packet, m_cancelled) == 0) {
        order.Add(*packet);
        av_packet_unref(packet.get());
    }
    order.Finish();
}

bool FrameIndex::HasPicture(Decoder& decoder, Decoded& first) {
    {
        const std::lock_guard guard(m_lock);
        m_decoder = m_cancelled ? nullptr : &decoder;
        if (m_decoder == nullptr) {
            return false;
        }
    }
    const bool has = decoder.Next(first);
    const std::lock_guard guard(m_lock);
    m_decoder = nullptr;
    return has;
}

void FrameIndex::SetTolerance(Ticks tolerance) {
    const std::lock_guard guard(m_lock);
    m_tolerance = tolerance;
}

void FrameIndex::Add(Ticks time, Ticks end) {
    const std::lock_guard guard(m_lock);
    if (m_times.empty() || time > m_times.back()) {
        m_times.push_back(time);
        m_end = end;
        m_change.notify_all();
    }
}

void FrameIndex::Finish() {
    const std::lock_guard guard(m_lock);
    m_isComplete = true;
    m_change.notify_all();
}

std::optional<std::int64_t> FrameIndex::NumberAt(Ticks time) const {
    const std::lock_guard guard(m_lock);
    const auto found = Find(time);
    return found ? std::optional(static_cast<std::int64_t>(*found)) : std::nullopt;
}

std::optional<Ticks> FrameIndex::BeginAt(Ticks time) const {
    const std::lock_guard guard(m_lock);
    const auto found = Find(time);
    return found ? std::optional(m_times[*found]) : std::nullopt;
}

/// @return the place of the picture on show at a time among those that are known
std::optional<std::size_t> FrameIndex::Find(Ticks time) const {
    const auto after = std::upper_bound(m_times.begin(), m_times.end(), time + m_tolerance);
    if (m_times.empty() || (after == m_times.end() && !m_isComplete)) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(std::max<std::ptrdiff_t>(after - m_times.begin() - 1, 0));
}

std::optional<Ticks> FrameIndex::TimeOf(std::int64_t number) {
    std::unique_lock guard(m_lock);
    const auto reaches = [this, number] { return number < static_cast<std::int64_t>(m_times.size()); };
    m_change.wait(guard, [&] { return m_isComplete || m_cancelled || reaches(); });
    if (number < 0 || !reaches()) {
        return std::nullopt;
    }
    return m_times[static_cast<std::size_t>(number)];
}

std::int64_t FrameIndex::Count() {
    std::unique_lock guard(m_lock);
    m_change.wait(guard, [this] { return m_isComplete || m_cancelled; });
    return static_cast<std::int64_t>(m_times.size());
}

Ticks FrameIndex::End() {
    std::unique_lock guard(m_lock);
    m_change.wait(guard, [this] { return m_isComplete || m_cancelled; });
    return m_end;
}

bool FrameIndex::IsComplete() const {
    const std::lock_guard guard(m_lock);
    return m_isComplete;
}

void FrameIndex::Cancel() {
    const std::lock_guard guard(m_lock);
    m_cancelled = true;
    if (m_decoder != nullptr) {
        m_decoder->Cancel();
    }
    m_change.notify_all();
}

} // namespace kq::streams
