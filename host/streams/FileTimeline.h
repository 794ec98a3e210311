/// @file
/// The timeline of a file, as hosts see it.
#pragma once

#include "FileLog.h"
#include "FrameNumbers.h"
#include "PictureStore.h"
#include "SoundChoice.h"
#include "Timeline.h"

#include <kqplayer/media_file.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kq::streams {

/// The sounds of a timeline's own file, of which one at a time is its own.
struct SoundTracks {
    /// Opens one. @param number counted from 1 @return null with the reason in the second argument
    std::function<std::unique_ptr<SoundReader>(int number, std::string& error)> open;
    std::mutex lock;                     ///< guards the rest
    std::map<int, std::size_t> sounds;   ///< those that were opened: their numbers among the timeline's
    std::atomic<std::size_t> chosen = 0; ///< the one that stands for the file among the timeline's
};

/// What a timeline knows of its file.
struct TimelineSetup {
    std::shared_ptr<FileLog> log;
    std::shared_ptr<SharedSchedule> schedule;
    std::shared_ptr<SoundChoice> sounds;   ///< null while there is no sound
    std::shared_ptr<SoundTracks> tracks;   ///< null where the file has none
    std::shared_ptr<FrameNumbers> numbers; ///< null without pictures
    std::weak_ptr<PictureStore> store;     ///< likewise; the stream keeps it
    Ticks fileEnd = 0;                     ///< 0 for unknown
    double frameRate = 0;                  ///< 0 without pictures
    int sampleRate = 0;                    ///< 0 without sound
    bool seekable = true;
};

class FileTimeline : public Timeline {
public:
    explicit FileTimeline(TimelineSetup setup) : m_setup(std::move(setup)) {}

    double SetRate(double rate) override;
    double Rate() const override;
    bool SetRange(double begin, double end, int rounds) override;
    double MediaTime(double playTime) const override;
    std::int64_t FrameNumber(double playTime) const override;
    double EndTime() const override;
    std::int64_t FrameCount() override;
    PicturePlace PlaceOfFrame(std::int64_t number) override;
    std::vector<Span> KeptSpans() const override;

    /// What the timeline is made of, for the files beside it; sound that joins it is entered here before
    /// play.
    TimelineSetup& Setup() { return m_setup; }

private:
    FrameIndex* Index() const;
    Ticks FileEnd() const;
    Ticks LeastLength() const;

    TimelineSetup m_setup;
};

} // namespace kq::streams
