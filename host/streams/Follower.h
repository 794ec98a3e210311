/// @file
/// A video that follows another stream's time.
#pragma once

#include "QueuedStream.h"
#include "TimedStream.h"

#include <atomic>
#include <memory>
#include <mutex>

namespace kq::streams {

/// What others set and see of a follower. Any thread.
struct FollowerState {
    std::atomic<Ticks> offset{0};   ///< its file's time minus the reference's
    std::atomic<bool> lacks{false}; ///< its file had no picture at the time that was asked for last
};

/// Shows, of its own pictures, always the one that is on show at the time of the reference's current frame.
class Follower : public TimedStream {
public:
    /// What is shown where the file has no picture.
    enum class Lack {
        NearestPicture, ///< the last one before, or the first
        Sign,           ///< a picture that says so
    };

    Follower(ComPtr<QueuedStream> own, ComPtr<TimedStream> reference, Lack lack = Lack::NearestPicture,
             std::shared_ptr<FollowerState> state = std::make_shared<FollowerState>());

    double Seek(double dSeconds, int nMode) override;
    MEDIA_FRAME* GetCurrentFrame() override;
    int NextFrame() override;
    double GetFramePosition() override;
    Ticks TimeOnShow() override;
    std::string Description() override;
    KeptPicture Keep() override;
    bool HasPlaces() const override { return m_own->HasPlaces(); }

private:
    QueuedStream::Reached Follow();
    MEDIA_FRAME* GiveSign();

    const ComPtr<QueuedStream> m_own;
    const ComPtr<TimedStream> m_reference;
    const Lack m_lack;
    const std::shared_ptr<FollowerState> m_state;
    std::mutex m_lock; ///< guards the sign while it is made
    FramePtr m_sign;
};

} // namespace kq::streams
