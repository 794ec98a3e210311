#include "FileCore.h"

#include "LogRelay.h"

#include <algorithm>
#include <cmath>

namespace kq::python {
namespace {

using streams::ToSeconds;
using streams::ToTicks;

/// Pictures that were passed or given last are kept up to so much, for steps back.
constexpr std::size_t storedBytes = std::size_t{64} << 20;

/// So many decoders are kept where they stand, as far as this memory goes,
constexpr std::size_t mostIdle = 4;
constexpr std::size_t idleBytes = std::size_t{256} << 20;
/// and whatever it says so many.
constexpr std::size_t leastIdle = 2;
/// A decoder holds about so many pictures.
constexpr std::size_t picturesHeld = 16;

/// Brings sample positions of time stamps back to whole samples.
std::int64_t SampleAt(double seconds, int rate) {
    return std::llround(seconds * rate);
}

} // namespace

std::int64_t PictureNumbers::NumberAt(Ticks time) const {
    if (auto known = m_numbers->NumberAt(time)) {
        return *known;
    }
    streams::FrameIndex* const index = m_numbers->Whole();
    if (index == nullptr) {
        return -1;
    }
    // Waiting for a number that lies about there makes the index reach so far.
    auto number = std::max<std::int64_t>(std::llround(ToSeconds(time) * m_rate), 0);
    while (!index->NumberAt(time) && index->TimeOf(number)) {
        ++number;
    }
    return index->NumberAt(time).value_or(-1);
}

std::optional<Ticks> PictureNumbers::TimeOf(std::int64_t number) const {
    streams::FrameIndex* const index = m_numbers->Whole();
    return index != nullptr && number >= 0 ? index->TimeOf(number) : std::nullopt;
}

std::int64_t PictureNumbers::Count() const {
    streams::FrameIndex* const index = m_numbers->Whole();
    return index != nullptr ? index->Count() : -1;
}

PictureReader::PictureReader(streams::FileVideo video)
    : m_decoder(video.decoder.get()),
      m_source(std::move(video.decoder), streams::PictureConverter(video.orientation, false), video.rate,
               video.tick),
      m_step(m_source.Step()) {}

FramePtr PictureReader::Next() {
    if (!m_isThere) {
        m_isThere = m_source.Seek(*m_place, true).frame != nullptr;
    }
    FramePtr frame = m_source.Next();
    if (frame) {
        m_place = frame->time;
    }
    return frame;
}

FramePtr PictureReader::At(Ticks time) {
    if (FramePtr stored = FromStore(time)) {
        m_isThere = m_isThere && m_place == stored->time;
        m_place = stored->time;
        return stored;
    }
    const streams::Landing landing = m_source.Seek(time, true);
    if (!landing.frame) {
        return nullptr;
    }
    for (const FramePtr& passed : landing.before) {
        Store(passed);
    }
    Store(landing.frame);
    m_place = landing.frame->time;
    m_isThere = true;
    return landing.frame;
}

FramePtr PictureReader::BeginningAt(Ticks time) {
    FramePtr frame = At(time);
    return frame && std::abs(frame->time - time) <= 2 * Tolerance() + 1 ? frame : nullptr;
}

std::optional<Ticks> PictureReader::WayTo(Ticks time) const {
    if (FromStore(time)) {
        return 0;
    }
    const bool goesOn =
        m_isThere && m_place && *m_place <= time && m_decoder->ForwardIsShorter(*m_place, time);
    return goesOn ? std::optional<Ticks>(time - *m_place) : std::nullopt;
}

void PictureReader::DropStored() {
    m_stored.clear();
    m_storedBytes = 0;
}

/// @return a picture that is certain to be on show at a time
FramePtr PictureReader::FromStore(Ticks time) const {
    const Ticks tolerance = Tolerance();
    for (const FramePtr& frame : m_stored) {
        const Ticks length = frame->endPosition > frame->position ? m_step - tolerance : tolerance;
        if (frame->time <= time + tolerance && time < frame->time + length - tolerance) {
            return frame;
        }
    }
    return nullptr;
}

void PictureReader::Store(const FramePtr& frame) {
    m_storedBytes += frame->bytes;
    m_stored.push_back(frame);
    while (m_storedBytes > storedBytes && m_stored.size() > 1) {
        m_storedBytes -= m_stored.front()->bytes;
        m_stored.pop_front();
    }
}

std::shared_ptr<FileCore> FileCore::Open(const std::string& path, const streams::OpenOptions& options) {
    std::shared_ptr<FileCore> core(new FileCore(path, options));
    core->OpenPictures();
    if (!core->HasVideo()) {
        core->OpenSound(); // without pictures it may be that
    }
    return core;
}

void FileCore::OpenPictures() {
    streams::FileVideo video;
    std::string error; // opening the sound gives the reason
    if (!streams::OpenFileVideo(m_path, m_options, video, error)) {
        return;
    }
    m_facts = video.facts;
    m_rate = video.rate;
    m_numbers = std::make_shared<PictureNumbers>(video.numbers, video.rate);
    const auto pixels = static_cast<std::size_t>(m_facts.width) * static_cast<std::size_t>(m_facts.height);
    m_mostIdle = std::clamp(idleBytes / (pixels * 3 / 2 * picturesHeld + 1), leastIdle, mostIdle);
    m_idle.push_back(std::make_unique<PictureReader>(std::move(video)));
}

void FileCore::CheckOpen() const {
    if (m_isClosed) {
        throw Closed("the file");
    }
}

const std::shared_ptr<PictureNumbers>& FileCore::Numbers() const {
    if (!m_numbers) {
        throw Error(m_path + ": there are no pictures, only sound");
    }
    return m_numbers;
}

FileCore::ReaderPtr FileCore::OpenReader(std::string& error) const {
    streams::FileVideo video;
    return streams::OpenFileVideo(m_path, m_options, video, error)
               ? std::make_unique<PictureReader>(std::move(video))
               : nullptr;
}

FileCore::ReaderPtr FileCore::TakeReader() {
    CheckOpen();
    Numbers();
    {
        const std::lock_guard guard(m_readerLock);
        if (!m_idle.empty()) {
            ReaderPtr reader = std::move(m_idle.back());
            m_idle.pop_back();
            return reader;
        }
    }
    if (!m_numbers->AreKnown()) {
        throw Error(m_path + ": this input can be read only once");
    }
    std::string error;
    ReaderPtr reader = OpenReader(error);
    if (!reader) {
        throw Error(error);
    }
    return reader;
}

/// @return the one with the shortest way to a time; the one unused for longest if all have to seek; null when
///         there is room for one more
FileCore::ReaderPtr FileCore::TakeIdle(Ticks time) {
    const std::lock_guard guard(m_readerLock);
    auto nearest = m_idle.end();
    std::optional<Ticks> shortest;
    for (auto idle = m_idle.begin(); idle != m_idle.end(); ++idle) {
        const std::optional<Ticks> way = (*idle)->Place() ? (*idle)->WayTo(time) : 0;
        if (way && (!shortest || *way < *shortest)) {
            shortest = way;
            nearest = idle;
        }
    }
    if (!shortest) {
        if (m_idle.size() < m_mostIdle) {
            return nullptr;
        }
        nearest = m_idle.begin();
    }
    ReaderPtr reader = std::move(*nearest);
    m_idle.erase(nearest);
    return reader;
}

FileCore::ReaderPtr FileCore::TakeReaderFor(Ticks time) {
    CheckOpen();
    if (!Numbers()->AreKnown()) {
        return TakeReader(); // the only one there can be
    }
    ReaderPtr reader = TakeIdle(time);
    if (!reader) {
        std::string ignored; // those that there are serve as well
        reader = OpenReader(ignored);
    }
    return reader ? std::move(reader) : TakeReader();
}

void FileCore::GiveBack(ReaderPtr reader) {
    ReaderPtr dropped;
    const std::lock_guard guard(m_readerLock);
    if (m_isClosed) {
        return;
    }
    if (!m_idle.empty()) {
        m_idle.back()->DropStored();
    }
    if (m_idle.size() >= m_mostIdle) {
        dropped = std::move(m_idle.front());
        m_idle.erase(m_idle.begin());
    }
    m_idle.push_back(std::move(reader));
}

FramePtr FileCore::Picture(std::int64_t number) {
    CheckOpen();
    const auto time = Numbers()->TimeOf(number);
    if (!time) {
        return nullptr;
    }
    const std::lock_guard guard(m_pictureLock);
    auto reader = TakeReaderFor(*time);
    FramePtr frame = reader->BeginningAt(*time);
    GiveBack(std::move(reader));
    if (!frame) {
        throw Error(m_path + ": picture " + std::to_string(number) + " cannot be decoded");
    }
    return frame;
}

FramePtr FileCore::PictureAt(double seconds) {
    const std::lock_guard guard(m_pictureLock);
    auto reader = TakeReaderFor(ToTicks(seconds));
    FramePtr frame = reader->At(ToTicks(seconds));
    GiveBack(std::move(reader));
    return frame;
}

/// The pictures are opened beside the sound, because both count time from the same start.
void FileCore::OpenSound() {
    if (m_sound) {
        return;
    }
    streams::OpenOptions options = m_options;
    options.audio = true;
    options.queueBytes = 1;
    streams::MediaFile file;
    std::string error;
    if (!streams::OpenMediaFile(m_path, options, file, error)) {
        throw Error(error);
    }
    m_sound = ComPtr<IMediaStream>::Adopt(std::exchange(file.audio, nullptr));
    file.Release();
    if (!m_sound) {
        throw Error(m_path + ": there is no sound");
    }
    if (!HasVideo()) {
        m_facts = file.facts;
    }
    ComPtr<IStreamInfo> info;
    m_sound->GetStreamInfo(info.Out());
    const AUDIO_STREAM_INFO* const format = info->GetAudioFormat();
    m_soundFormat = {format->nSampleRate, format->nChannels};
}

FileCore::SoundFormat FileCore::FormatOfSound() {
    const std::lock_guard guard(m_soundLock);
    CheckOpen();
    OpenSound();
    return m_soundFormat;
}

FileCore::Sound FileCore::ReadSound(double begin, double end) {
    const std::lock_guard guard(m_soundLock);
    CheckOpen();
    OpenSound();
    Sound sound;
    sound.rate = m_soundFormat.rate;
    sound.channels = m_soundFormat.channels;
    const std::int64_t first = SampleAt(begin, sound.rate);
    const bool isOpen = std::isinf(end);
    const std::int64_t last = isOpen ? 0 : SampleAt(end, sound.rate);
    const auto channels = static_cast<std::size_t>(sound.channels);
    if (!isOpen) {
        sound.samples.reserve(static_cast<std::size_t>(std::max<std::int64_t>(last - first, 0)) * channels);
    }
    m_sound->Seek(static_cast<double>(first) / sound.rate, ExactSeek);
    std::int64_t place = first;
    for (const MEDIA_FRAME* frame = m_sound->GetCurrentFrame(); frame != nullptr && (isOpen || place < last);
         frame = m_sound->NextFrame() > 0 ? m_sound->GetCurrentFrame() : nullptr) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame->image.pU);
        const std::int64_t start = SampleAt(ToSeconds(frame->llPTS), sound.rate);
        const std::int64_t count =
            frame->image.nAudioLength / static_cast<std::int64_t>(sizeof(std::int16_t) * channels);
        const std::int64_t from = std::max(place, start) - start;
        const std::int64_t to = isOpen ? count : std::min(count, last - start);
        if (start > place) {
            sound.samples.resize(sound.samples.size() + static_cast<std::size_t>(start - place) * channels);
        }
        if (to > from) {
            sound.samples.insert(sound.samples.end(), samples + from * sound.channels,
                                 samples + to * sound.channels);
            place = start + to;
        }
    }
    return sound;
}

void FileCore::CloseNow() {
    m_isClosed = true;
    {
        const std::lock_guard guard(m_readerLock);
        m_idle.clear();
    }
    const std::lock_guard guard(m_soundLock);
    m_sound.Reset();
}

} // namespace kq::python
