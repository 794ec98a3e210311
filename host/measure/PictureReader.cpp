#include "PictureReader.h"

#include <cmath>
#include <utility>

namespace kq::measure {
namespace {

/// More would only take memory: the decoder has pictures of its own under way.
constexpr std::size_t mostQueued = 4;

} // namespace

PictureReader::PictureReader(streams::FileVideo video) : m_video(std::move(video)) {}

std::unique_ptr<PictureReader> PictureReader::Open(const std::string& path,
                                                   const streams::OpenOptions& options, std::string& error) {
    streams::FileVideo video;
    if (!streams::OpenFileVideo(path, options, video, error)) {
        return nullptr;
    }
    std::unique_ptr<PictureReader> reader(new PictureReader(std::move(video)));
    streams::Decoded& first = reader->m_firstDecoded;
    if (!reader->m_video.decoder->Next(first)) {
        error = path + ": no picture can be decoded";
        return nullptr;
    }
    reader->m_ownShape = Shape::Of(*first.data, reader->m_video.orientation);
    // Without its true first picture a file begins where it says.
    reader->m_base = first.lost > 0 ? std::min(reader->m_video.begin, first.time) : first.time;
    return reader;
}

PictureReader::~PictureReader() {
    Cancel();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void PictureReader::Begin(const Shape& shape, double from) {
    m_thread = std::thread([this, shape, from] {
        Run(shape, from);
        const std::lock_guard guard(m_lock);
        m_ended = true;
        m_change.notify_all();
    });
}

void PictureReader::Run(const Shape& shape, double from) {
    const streams::LogScope scope(*m_video.decoder->Log());
    Shaper shaper(shape, m_video.orientation);
    streams::Decoded decoded = std::move(m_firstDecoded);
    const Ticks step = static_cast<Ticks>(static_cast<double>(TicksPerSecond) / m_video.rate);
    const Ticks begin = from > 0 ? m_base + streams::ToTicks(from) : 0;
    if (begin > decoded.time + TicksPerSecond && !SeekTo(begin, decoded)) {
        return;
    }
    do {
        CountOn(decoded);
        const Ticks length = decoded.duration > 0 ? decoded.duration : step;
        const bool isWanted = begin == 0 || decoded.time + length > begin + m_video.decoder->Tolerance();
        if (isWanted && !Give(Make(std::move(decoded), shaper))) {
            return;
        }
        decoded = {};
    } while (m_video.decoder->Next(decoded));
}

/// @param decoded receives a picture at or before a time
/// @return false when there is none
bool PictureReader::SeekTo(Ticks time, streams::Decoded& decoded) {
    if (!m_video.decoder->Seekable()) {
        return true; // all pictures up to there are decoded
    }
    bool nearest = false;
    m_isCounting = false;
    return m_video.decoder->SeekAtOrBefore(time, decoded, nearest);
}

/// Finds a picture's number: the next one, unless some are missing before it.
void PictureReader::CountOn(const streams::Decoded& decoded) {
    m_lost += decoded.lost;
    const double steps = streams::ToSeconds(decoded.time - m_lastTime) * m_video.rate;
    const bool hasGap = m_number >= 0 ? m_video.isSteady && steps > 1.5 : decoded.time > m_base;
    m_lastTime = decoded.time;
    ++m_number;
    if (m_isCounting && decoded.lost == 0 && !hasGap) {
        return;
    }
    m_isCounting = true;
    // Only the packets tell how many are missing.
    if (streams::FrameIndex* const index = WholeIndex()) {
        m_number = index->NumberAt(decoded.time).value_or(m_number);
    } else {
        m_number = std::llround(streams::ToSeconds(decoded.time - m_base) * m_video.rate);
    }
}

/// @return null for a picture that cannot be brought to the shape
PicturePtr PictureReader::Make(streams::Decoded decoded, Shaper& shaper) {
    auto picture = std::make_shared<Picture>();
    picture->fileTime = decoded.time;
    picture->time = decoded.time - m_base;
    picture->duration = decoded.duration;
    picture->number = m_number;
    picture->afterLoss = decoded.lost > 0;
    picture->frame = shaper.Bring(std::move(decoded.data));
    if (!picture->frame) {
        m_video.decoder->Log()->NoticeOnce("video: a picture that cannot be converted is left out");
        return nullptr;
    }
    return picture;
}

/// Waits for room in the queue. @return false when nobody wants any more
bool PictureReader::Give(PicturePtr picture) {
    std::unique_lock lock(m_lock);
    m_change.wait(lock, [this] { return m_cancelled || m_queue.size() < mostQueued; });
    if (picture) {
        m_queue.push_back(std::move(picture));
    }
    m_change.notify_all();
    return !m_cancelled;
}

PicturePtr PictureReader::Next() {
    std::unique_lock lock(m_lock);
    m_change.wait(lock, [this] { return m_cancelled || m_ended || !m_queue.empty(); });
    if (m_cancelled || m_queue.empty()) {
        return nullptr;
    }
    PicturePtr picture = std::move(m_queue.front());
    m_queue.pop_front();
    m_change.notify_all();
    return picture;
}

void PictureReader::Cancel() {
    m_video.decoder->Cancel();
    {
        const std::lock_guard guard(m_lock);
        m_cancelled = true;
        m_change.notify_all();
    }
    if (m_usesIndex) {
        m_video.numbers->Whole()->Cancel();
    }
}

/// Waits until the file's packets have been read. @return null where that cannot be done
streams::FrameIndex* PictureReader::WholeIndex() {
    streams::FrameIndex* const index = m_video.numbers->Whole();
    m_usesIndex = index != nullptr;
    if (index != nullptr && !m_cancelled) {
        index->Count();
    }
    return index;
}

std::int64_t PictureReader::CountAll() {
    streams::FrameIndex* const index = WholeIndex();
    return index != nullptr ? index->Count() : 0;
}

} // namespace kq::measure
