/// @file
/// The pictures of a file in the order and at the times of a timeline.
#pragma once

#include "FrameNumbers.h"
#include "FrameSource.h"
#include "PictureStore.h"
#include "Timeline.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>

namespace kq::streams {

/// What is known of a video beside its pictures.
struct VideoFacts {
    double rate = 25; ///< frames per second
    bool seekable = true;
    std::shared_ptr<FrameNumbers> numbers;
    bool isSteady = false; ///< its pictures come at that rate
};

/// Stamps pictures with play time. In forward play a picture is on show from its time on, in backward play
/// from the time of the one after it down to its own.
class TimelineVideo : public FrameSource {
public:
    TimelineVideo(std::shared_ptr<SharedSchedule> schedule, std::shared_ptr<PictureStore> store,
                  VideoFacts facts);

    FramePtr Next() override;
    Landing Seek(Ticks time, bool exact) override;
    Ticks Tolerance() const override { return m_store->Tolerance(); }
    FramePtr From(FramePtr frame, Ticks /*time*/) const override { return frame; }
    bool FollowsFile() const override { return false; }
    bool HasPlaces() const override { return true; }
    void GoOn(std::optional<Ticks> given) override;
    void Look(const Frame& frame) override;
    std::int64_t NumberOf(const Frame& picture) const override;
    void Notice(const std::string& text) const override { m_store->Notice(text); }
    void ExpectSeek(bool on) override { m_store->ExpectSeek(on); }
    void Cancel() override;

private:
    /// A picture on its way through a stretch.
    struct Place {
        Stretch stretch;
        std::int64_t round = 0;
        FramePtr picture;
        Ticks stamp = 0; ///< play time from which it is on show, in this stretch
    };
    enum class Entered { Gives, Stays, Nothing };

    std::optional<Place> After(const Place& place);
    Entered Enter(const Stretch& stretch);
    FramePtr OnShow(const Stretch& stretch);
    FramePtr Before(const PlayRange& range);
    Ticks LastBefore(Ticks end) const;
    bool IsTooEarly() const;
    void Pace(double rate);
    FramePtr Give();
    FramePtr Follow(const FramePtr& picture);
    void Tell(const FramePtr& picture);

    const std::shared_ptr<SharedSchedule> m_schedule;
    const std::shared_ptr<PictureStore> m_store;
    const VideoFacts m_facts;

    std::optional<Place> m_place; ///< none: at the begin of the schedule
    FramePtr m_shown;             ///< the picture given last
    Ticks m_lastStamp = -1;
    Ticks m_period = 0;              ///< between pictures on an average, at rates above 1
    Ticks m_slack = 0;               ///< so much sooner may one come
    Ticks m_due = 0;                 ///< when the next one should come
    std::deque<Place> m_given;       ///< those that the player may not have looked at
    std::atomic<Ticks> m_looked{-1}; ///< stamp of the picture looked at last
    Ticks m_toldUntil = -1;          ///< begin of the last picture that the numbers were told
    bool m_tells;                    ///< none was passed over
};

/// Makes a frame that shows a picture of a file.
FramePtr Shown(const FramePtr& picture, Ticks stamp, double rate);

/// The pictures of a file as they are, out of a store.
class StoredVideo : public FrameSource {
public:
    StoredVideo(std::shared_ptr<PictureStore> store, VideoFacts facts);

    FramePtr Next() override;
    Landing Seek(Ticks time, bool exact) override;
    Ticks Tolerance() const override { return m_store->Tolerance(); }
    FramePtr From(FramePtr frame, Ticks /*time*/) const override { return frame; }
    bool HasPlaces() const override { return true; }
    void Look(const Frame& frame) override { Aim(frame.original->time); }
    std::int64_t NumberOf(const Frame& picture) const override;
    std::optional<Ticks> BeginInFile(Ticks time) const override { return m_facts.numbers->BeginAt(time); }
    Ticks LongestGap() const override;
    void Notice(const std::string& text) const override { m_store->Notice(text); }
    void ExpectSeek(bool on) override { m_store->ExpectSeek(on); }
    void Cancel() override { m_store->Cancel(); }

private:
    void Aim(Ticks time);

    const std::shared_ptr<PictureStore> m_store;
    const VideoFacts m_facts;
    FramePtr m_last;
    std::atomic<Ticks> m_looked{-1};     ///< begin of the picture looked at last
    std::atomic<bool> m_wentBack{false}; ///< the one before it comes later in the file
};

} // namespace kq::streams
