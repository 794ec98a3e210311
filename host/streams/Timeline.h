/// @file
/// The play time that the streams of one file share.
#pragma once

#include "QueuedStream.h"
#include "Schedule.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>

namespace kq::streams {

/// A schedule, and the two streams that play by it and follow its changes. Any thread.
///
/// Locks, in the order in which they may be nested: that of changes, the video stream's, the sound stream's,
/// the schedule's own. Sources ask without holding any.
class SharedSchedule {
public:
    enum class Kind { Video, Audio };

    /// A stretch, and the play time at which the next one begins: PlayRange::open for none.
    struct Part {
        Stretch stretch;
        Ticks until = PlayRange::open;
    };

    /// From now on the stream follows; until Leave(), which its source calls before the stream ends.
    void Join(Kind kind, QueuedStream& stream);
    void Leave(Kind kind);
    /// @return true while there is a stream of pictures, whose seeks then are those that count
    bool HasVideo() const { return m_hasVideo; }

    Part FirstPart() const;
    Part PartAt(Ticks play) const;
    Stretch Last() const;
    /// @return the range as it was set
    PlayRange Range() const;
    Ticks MediaAt(Ticks play) const;
    /// @return how often play has begun anew
    std::uint64_t Restarts() const { return m_restarts; }

    /// Begins anew at a time in the file; the other stream goes there by itself.
    /// @param kind the stream that seeks
    /// @return the stretch that begins there
    Stretch Restart(Ticks time, Kind kind);
    /// What the sound of any play time is has changed: what nobody has been given yet is made anew.
    void RenewSound();
    /// Changes what is given, from the first play time on that no stream has given yet.
    void Change(std::optional<double> rate, const std::optional<PlayRange>& range);

private:
    std::mutex m_change;
    QueuedStream* m_video = nullptr; ///< guarded by m_change, like m_audio
    QueuedStream* m_audio = nullptr;
    std::atomic<bool> m_hasVideo{false};
    mutable std::mutex m_lock;
    Schedule m_schedule; ///< guarded by m_lock
    std::atomic<std::uint64_t> m_restarts{0};
};

} // namespace kq::streams
