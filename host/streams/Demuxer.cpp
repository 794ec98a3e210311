#include "Demuxer.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

namespace kq::streams {
namespace {

/// A stream that shares a pipe and is not read must not fill the memory with its packets.
constexpr std::size_t waitingBytes = std::size_t{64} << 20;
/// So many failed reads in a row are the end of the file.
constexpr int failedReads = 64;

/// @return why the path cannot be a media file, empty when it may be one
std::string ObjectionTo(const struct stat& facts) {
    if (S_ISDIR(facts.st_mode)) {
        return "Is a directory";
    }
    if (S_ISREG(facts.st_mode) && facts.st_size == 0) {
        return "the file is empty";
    }
    return {};
}

/// Text files look like terminal recordings to FFmpeg.
bool IsText(const AVFormatContext& context) {
    return std::string_view(context.iformat->name) == "tty";
}

/// What the index tells of has gone by.
constexpr int indexTooLate = FFERRTAG('K', 'Q', 'I', 'L');

/// @return true for an MP4 file whose index came behind what it tells of, in an input that cannot go back
bool IsIndexTooLate(const AVFormatContext& context) {
    const AVIOContext& input = *context.pb;
    const std::int64_t reachable = avio_tell(context.pb) - (input.buf_ptr - input.buffer);
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVIndexEntry* const first = avformat_index_get_entry(context.streams[i], 0);
        if (first != nullptr && first->pos < reachable) {
            return std::string_view(context.iformat->name).rfind("mov,", 0) == 0;
        }
    }
    return false;
}

std::string ReasonFor(int error, const FileLog& log) {
    if (error == indexTooLate) {
        return "its index stands at its end, too late where a file can be read only once";
    }
    if (error == AVERROR_EXIT) {
        return "interrupted while it was opened";
    }
    if (error != AVERROR_INVALIDDATA) {
        return ErrorText(error);
    }
    const std::string detail = log.LastError();
    if (detail.empty()) {
        return "not a media file (" + ErrorText(error) + ")";
    }
    return "not a media file, or a damaged one (" + detail + ")";
}

} // namespace

Demuxer::Demuxer(std::string path, std::shared_ptr<FileLog> log)
    : m_path(std::move(path)), m_log(std::move(log)) {}

Demuxer::~Demuxer() = default;

std::shared_ptr<Demuxer> Demuxer::Open(const std::string& path, std::shared_ptr<FileLog> log,
                                       std::string& reason, std::function<bool()> givesUp) {
    struct stat facts = {};
    if (stat(path.c_str(), &facts) == 0) {
        reason = ObjectionTo(facts);
        if (!reason.empty()) {
            return nullptr;
        }
    }
    std::shared_ptr<Demuxer> demuxer(new Demuxer(path, std::move(log)));
    demuxer->m_givesUp = std::move(givesUp);
    const int error = demuxer->OpenContext();
    demuxer->m_givesUp = nullptr;
    if (error == 0) {
        return demuxer;
    }
    reason = ReasonFor(error, *demuxer->m_log);
    return nullptr;
}

int Demuxer::OpenContext() {
    const LogScope scope(*m_log);
    m_context.reset();
    m_pipe.reset();
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) {
        return AVERROR(ENOMEM);
    }
    context->opaque = m_log.get();
    context->interrupt_callback.opaque = this;
    context->interrupt_callback.callback = [](void* self) {
        return static_cast<Demuxer*>(self)->GivesUp() ? 1 : 0;
    };

    struct stat facts = {};
    const bool exists = stat(m_path.c_str(), &facts) == 0;
    if (exists && !S_ISREG(facts.st_mode)) {
        m_pipe = std::make_unique<PipeInput>(m_path, [this] { return GivesUp(); });
        if (m_pipe->Error() != 0) {
            avformat_free_context(context);
            return m_pipe->Error();
        }
        context->pb = m_pipe->Access();
    }

    // The prefix keeps file names with a colon from being taken for addresses.
    const std::string url = exists ? "file:" + m_path : m_path;
    AVDictionary* settings = nullptr;
    av_dict_set(&settings, "pattern_type", "none", 0); // a picture's name is its name, not a pattern
    int result = avformat_open_input(&context, url.c_str(), nullptr, &settings);
    av_dict_free(&settings);
    if (result < 0) {
        return result;
    }
    m_context.reset(context);
    if (IsText(*m_context)) {
        return AVERROR_INVALIDDATA;
    }
    if (m_pipe && IsIndexTooLate(*m_context)) {
        return indexTooLate;
    }
    result = avformat_find_stream_info(context, nullptr);
    if (result < 0) {
        return result;
    }
    ApplySelection();
    return 0;
}

int Demuxer::BestStream(AVMediaType kind) const {
    const AVCodec* decoder = nullptr;
    const int best = av_find_best_stream(m_context.get(), kind, -1, -1, &decoder, 0);
    if (best < 0 || (Stream(best).disposition & AV_DISPOSITION_ATTACHED_PIC) == 0) {
        return best < 0 ? -1 : best;
    }
    for (int i = 0; i < static_cast<int>(m_context->nb_streams); ++i) {
        const AVStream& stream = Stream(i);
        if (stream.codecpar->codec_type == kind && (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0 &&
            avcodec_find_decoder(stream.codecpar->codec_id) != nullptr) {
            return i;
        }
    }
    return -1;
}

void Demuxer::Select(int index) {
    const std::lock_guard guard(m_lock);
    m_selected.try_emplace(index);
    ApplySelection();
}

void Demuxer::Deselect(int index) {
    const std::lock_guard guard(m_lock);
    m_selected.erase(index); // the file may be in use by another reader, which drops the packets as they come
}

void Demuxer::ApplySelection() {
    for (int i = 0; i < static_cast<int>(m_context->nb_streams); ++i) {
        Stream(i).discard = m_selected.count(i) != 0 ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

bool Demuxer::GivesUp() const {
    const auto* cancelled = m_reader.load();
    return (cancelled != nullptr && *cancelled) || (m_givesUp && m_givesUp());
}

int Demuxer::Read(int index, AVPacket& packet, const std::atomic<bool>& cancelled) {
    std::unique_lock guard(m_lock);
    for (;;) {
        Waiting& waiting = m_selected[index];
        if (waiting.packets.size() > waiting.unsettled) {
            av_packet_move_ref(&packet, waiting.packets.front().get());
            waiting.bytes -= static_cast<std::size_t>(packet.size);
            waiting.packets.pop_front();
            return 0;
        }
        if (cancelled) {
            return AVERROR_EXIT;
        }
        if (m_end != 0) {
            return m_end;
        }
        if (m_reader.load() != nullptr) {
            m_change.wait_for(guard, std::chrono::milliseconds(20));
            continue;
        }
        m_reader = &cancelled;
        guard.unlock();
        PacketHandle read(av_packet_alloc());
        const int result = read ? ReadFromFile(*read) : AVERROR(ENOMEM);
        guard.lock();
        m_reader = nullptr;
        if (result == 0) {
            Deliver(std::move(read));
        } else if (result != AVERROR_EXIT) {
            End();
        }
        m_change.notify_all();
    }
}

int Demuxer::ReadFromFile(AVPacket& packet) {
    if (!m_context) {
        return AVERROR_EOF;
    }
    for (int failures = 0; failures < failedReads; ++failures) {
        const int result = av_read_frame(m_context.get(), &packet);
        if (result >= 0) {
            return 0;
        }
        if (GivesUp()) {
            if (m_context->pb != nullptr) {
                m_context->pb->error = m_context->pb->eof_reached = 0; // for the stream that reads on
            }
            return AVERROR_EXIT;
        }
        if (result == AVERROR_EOF) {
            return result;
        }
    }
    return AVERROR_EOF;
}

void Demuxer::Deliver(PacketHandle packet) {
    const auto found = m_selected.find(packet->stream_index);
    if (found == m_selected.end()) {
        return;
    }
    Waiting& waiting = found->second;
    if (StampsAreGuessed(packet->stream_index)) {
        if (waiting.unsettled > 0 && packet->pos != waiting.packets.back()->pos) {
            SettlePage(waiting, packet->pts);
            waiting.pageBegin = packet->pts;
        }
        ++waiting.unsettled;
    }
    waiting.bytes += static_cast<std::size_t>(packet->size);
    waiting.packets.push_back(std::move(packet));
    while (waiting.bytes > waitingBytes) {
        waiting.bytes -= static_cast<std::size_t>(waiting.packets.front()->size);
        waiting.packets.pop_front();
        waiting.unsettled = std::min(waiting.unsettled, waiting.packets.size());
    }
}

/// No more packets come.
void Demuxer::End() {
    m_end = AVERROR_EOF;
    for (auto& [index, waiting] : m_selected) {
        SettlePage(waiting, AV_NOPTS_VALUE);
    }
}

/// An Ogg page says when its last sound ends. FFmpeg guesses from that when its packets begin, and takes
/// empty ones, which some encoders write, for as long as others.
bool Demuxer::StampsAreGuessed(int index) const {
    return std::string_view(m_context->iformat->name) == "ogg" &&
           Stream(index).codecpar->codec_id == AV_CODEC_ID_VORBIS;
}

/// The packets of a page are all there: corrects their stamps where empty ones are among them.
/// @param end where the page ends, AV_NOPTS_VALUE when that is unknown
void Demuxer::SettlePage(Waiting& waiting, std::int64_t end) {
    const auto page = waiting.packets.end() - static_cast<std::ptrdiff_t>(waiting.unsettled);
    waiting.unsettled = 0;
    const auto isEmpty = [](const PacketHandle& packet) { return packet->size == 0; };
    if (std::none_of(page, waiting.packets.end(), isEmpty)) {
        return;
    }
    std::int64_t length = 0;
    for (auto packet = page; packet != waiting.packets.end(); ++packet) {
        length += isEmpty(*packet) ? 0 : (*packet)->duration;
    }
    // After a seek only the end is known, at the end of the file only the begin.
    if (waiting.pageBegin == AV_NOPTS_VALUE && end == AV_NOPTS_VALUE) {
        return;
    }
    std::int64_t stamp = waiting.pageBegin != AV_NOPTS_VALUE ? waiting.pageBegin : end - length;
    for (auto packet = page; packet != waiting.packets.end(); ++packet) {
        (*packet)->pts = (*packet)->dts = stamp;
        stamp += isEmpty(*packet) ? 0 : (*packet)->duration;
    }
}

bool Demuxer::Seekable() const {
    if (m_pipe) {
        return false;
    }
    // Formats that open their files themselves have no access of their own here, and can seek.
    return !m_context || m_context->pb == nullptr || m_context->pb->seekable != 0;
}

/// @return the stream whose index the file is to be sought by. Some files have one for the video only, and
/// without
///         one a seek would have to read everything from the start.
int Demuxer::IndexedStream(int index) const {
    if (avformat_index_get_entries_count(&Stream(index)) > 0) {
        return index;
    }
    for (int i = 0; i < static_cast<int>(m_context->nb_streams); ++i) {
        if (avformat_index_get_entries_count(&Stream(i)) > 1) {
            return i;
        }
    }
    return index;
}

bool Demuxer::SeekTo(int index, std::int64_t stamp) {
    if (!m_context) {
        return false;
    }
    const int by = IndexedStream(index);
    const std::int64_t target = av_rescale_q(stamp, Stream(index).time_base, Stream(by).time_base);
    if (av_seek_frame(m_context.get(), by, target, AVSEEK_FLAG_BACKWARD) < 0) {
        return false;
    }
    const std::lock_guard guard(m_lock);
    m_selected[index] = {};
    m_end = 0;
    return true;
}

bool Demuxer::Reopen() {
    const int error = OpenContext();
    const std::lock_guard guard(m_lock);
    for (auto& [index, waiting] : m_selected) {
        waiting = {};
    }
    m_end = error == 0 ? 0 : AVERROR_EOF;
    if (error != 0) {
        m_context.reset();
    }
    return error == 0;
}

} // namespace kq::streams
