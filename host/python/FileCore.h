/// @file
/// A media file as Python sees it: pictures by number, by time and in order, and sound by time.
#pragma once

#include "Interpreter.h"

#include <kqplayer/media_file.h>

#include <streams/FileVideo.h>
#include <streams/VideoSource.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kq::python {

using streams::FramePtr;
using streams::Ticks;

/// Numbers of a file's pictures, which outlive the file while a picture is held.
class PictureNumbers {
public:
    PictureNumbers(std::shared_ptr<streams::FrameNumbers> numbers, double rate)
        : m_numbers(std::move(numbers)), m_rate(rate) {}

    /// Waits until the file's packets have been read so far. @return -1 where that cannot be told
    std::int64_t NumberAt(Ticks time) const;
    /// Likewise. @return begin of a picture; nothing past the last
    std::optional<Ticks> TimeOf(std::int64_t number) const;
    /// @return number of the pictures, -1 where that cannot be told
    std::int64_t Count() const;
    /// @return false for an input that can be read only once
    bool AreKnown() const { return !m_numbers->IsTold(); }

private:
    const std::shared_ptr<streams::FrameNumbers> m_numbers;
    const double m_rate;
};

/// A decoder of the file's pictures, and where it stands.
class PictureReader {
public:
    explicit PictureReader(streams::FileVideo video);

    /// @return the picture after the one given last; null at the end
    FramePtr Next();
    /// @return the picture that is on show at a time; null when there is none or the input cannot go there
    FramePtr At(Ticks time);
    /// @return the picture that begins at a time; null when it cannot be decoded
    FramePtr BeginningAt(Ticks time);
    /// @return begin of the picture given last, nothing before the first
    std::optional<Ticks> Place() const { return m_place; }
    /// @return how far the decoder has to go on to the picture on show at a time, 0 for one that is kept;
    ///         nothing where a seek is the shorter way
    std::optional<Ticks> WayTo(Ticks time) const;
    /// Keeps no pictures for steps back any longer.
    void DropStored();
    Ticks Tolerance() const { return m_source.Tolerance(); }
    void Cancel() { m_source.Cancel(); }

private:
    FramePtr FromStore(Ticks time) const;
    void Store(const FramePtr& frame);

    streams::Decoder* const m_decoder; ///< the source's
    streams::VideoSource m_source;
    const Ticks m_step;            ///< between two pictures
    std::optional<Ticks> m_place;  ///< of the picture given last
    bool m_isThere = true;         ///< the decoder stands right behind it
    std::deque<FramePtr> m_stored; ///< some that were given or passed last
    std::size_t m_storedBytes = 0;
};

/// An open file. Any thread, without the interpreter's lock.
class FileCore : public Owned {
public:
    /// @throw Error when it cannot be opened
    static std::shared_ptr<FileCore> Open(const std::string& path, const streams::OpenOptions& options);
    ~FileCore() override { CloseNow(); }

    void Close() override { CloseNow(); }
    bool IsClosed() const { return m_isClosed; }
    const std::string& Path() const { return m_path; }
    const streams::MediaFacts& Facts() const { return m_facts; }
    bool HasVideo() const { return m_numbers != nullptr; }
    bool HasSound() const { return m_facts.audioTrack > 0; }
    double Rate() const { return m_rate; }
    /// @throw Error without pictures
    const std::shared_ptr<PictureNumbers>& Numbers() const;

    /// @return the picture with a number; null past the last. @throw Error when it cannot be decoded
    FramePtr Picture(std::int64_t number);
    /// @return the picture on show at a time, the last one behind the end; null when there is none
    FramePtr PictureAt(double seconds);

    /// Takes a decoder for somebody who reads on by himself. @throw Error, Closed
    std::unique_ptr<PictureReader> TakeReader();
    void GiveBack(std::unique_ptr<PictureReader> reader);

    struct SoundFormat {
        int rate = 0; ///< Hz
        int channels = 0;
    };
    /// @throw Error without sound
    SoundFormat FormatOfSound();

    /// Sound of a range as interleaved samples; silence where the file has none.
    struct Sound : SoundFormat {
        std::vector<std::int16_t> samples;
    };
    /// @param end seconds; infinite: the end of the sound
    Sound ReadSound(double begin, double end);

private:
    FileCore(std::string path, const streams::OpenOptions& options)
        : m_path(std::move(path)), m_options(options) {}

    using ReaderPtr = std::unique_ptr<PictureReader>;

    void OpenPictures();
    ReaderPtr OpenReader(std::string& error) const;
    ReaderPtr TakeIdle(Ticks time);
    ReaderPtr TakeReaderFor(Ticks time);
    void OpenSound();
    void CheckOpen() const;
    void CloseNow();

    const std::string m_path;
    const streams::OpenOptions m_options;
    streams::MediaFacts m_facts;
    std::shared_ptr<PictureNumbers> m_numbers; ///< null without pictures
    double m_rate = 0;
    std::atomic<bool> m_isClosed{false};

    std::mutex m_pictureLock;   ///< held while a picture is fetched
    std::size_t m_mostIdle = 0; ///< decoders that are kept
    std::mutex m_readerLock;    ///< guards the next
    /// Nobody uses them now, the one used last at the end. Each stands somewhere else, so that who reads on
    /// at several places in turn, or jumps among a few, need not seek each time.
    std::vector<ReaderPtr> m_idle;
    std::mutex m_soundLock; ///< guards the next
    ComPtr<IMediaStream> m_sound;
    SoundFormat m_soundFormat;
};

} // namespace kq::python
