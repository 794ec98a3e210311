/// @file
/// The sound of a file in the order and at the speed of a timeline.
#pragma once

#include "FrameSource.h"
#include "SoundChoice.h"
#include "Tempo.h"
#include "Timeline.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace kq::streams {

/// The samples of a stretch of play in the order in which they are played at normal speed: round after round,
/// where the next one begins on the sample next to the time of the joint.
class SoundWay {
public:
    static constexpr std::int64_t endless = std::numeric_limits<std::int64_t>::max();

    SoundWay(const Stretch& stretch, int rate);

    /// Appends samples, counted from the begin of the stretch; those before it are what the first round would
    /// have played there, those behind the end are silent.
    void Read(SoundChoice& sounds, std::int64_t begin, std::int64_t count,
              std::vector<std::int16_t>& samples) const;
    /// @param fileEnd the sample behind the file's last one, as far as it is known
    /// @return the number of samples, endless when they never end or it is not known
    std::int64_t Length(std::optional<std::int64_t> fileEnd) const;

private:
    std::int64_t Joint(std::int64_t round) const;
    std::int64_t RoundAt(std::int64_t sample) const;

    const Stretch m_stretch;
    const int m_rate;
    const bool m_hasJoints;
    const Ticks m_first; ///< length of round 0, when it has an end
};

/// Makes chunks of 20 ms or more whose stamps count the samples from where play began.
class TimelineAudio : public FrameSource {
public:
    /// @param fileEnd end of the file; 0 for unknown
    TimelineAudio(std::shared_ptr<SharedSchedule> schedule, std::shared_ptr<SoundChoice> sounds,
                  Ticks fileEnd);

    FramePtr Next() override;
    Landing Seek(Ticks time, bool exact) override;
    Ticks Tolerance() const override { return 0; }
    FramePtr From(FramePtr frame, Ticks /*time*/) const override { return frame; }
    bool FollowsFile() const override { return false; }
    void GoOn(std::optional<Ticks> given) override;
    void Notice(const std::string& text) const override { m_sounds->Notice(text); }
    void Cancel() override;

private:
    enum class Manner { Direct, Tempo, Silent };

    void BeginAt(Ticks time);
    void Enter(const Stretch& stretch);
    void Fill(std::int64_t count, std::vector<std::int16_t>& samples);
    void FillByTempo(std::size_t size, std::vector<std::int16_t>& samples);
    std::int64_t End() const;
    FramePtr Give(std::vector<std::int16_t> samples);
    Ticks TimeOf(std::int64_t sample) const;
    std::int64_t SampleAt(Ticks play) const;

    const std::shared_ptr<SharedSchedule> m_schedule;
    const std::shared_ptr<SoundChoice> m_sounds;
    const Ticks m_fileEnd;

    Ticks m_begin = 0;            ///< play time that the samples are counted from
    std::int64_t m_count = 0;     ///< samples given since
    std::uint64_t m_restarts = 0; ///< of the schedule, when m_begin was set

    std::optional<Stretch> m_stretch; ///< the one that is played
    std::optional<SoundWay> m_way;    ///< of it
    Manner m_manner = Manner::Direct;
    std::unique_ptr<Tempo> m_tempo;
    std::int64_t m_fed = 0;              ///< the sample of the way that the tempo takes next
    std::size_t m_dropped = 0;           ///< so much of what it gives comes before the place
    std::vector<std::int16_t> m_changed; ///< what it has given beyond
};

} // namespace kq::streams
