/// @file
/// A video that follows another stream's time.
#pragma once

#include "QueuedStream.h"
#include "TimedStream.h"

namespace kq::streams {

/// Shows, of its own pictures, always the one that is on show at the time of the reference's current frame.
class Follower : public TimedStream {
public:
    Follower(ComPtr<QueuedStream> own, ComPtr<TimedStream> reference);

    double Seek(double dSeconds, int nMode) override;
    MEDIA_FRAME* GetCurrentFrame() override;
    int NextFrame() override;
    double GetFramePosition() override;
    Ticks TimeOnShow() override;
    std::string Description() override;
    KeptPicture Keep() override;
    bool HasPlaces() const override { return m_own->HasPlaces(); }

private:
    Ticks Follow();

    const ComPtr<QueuedStream> m_own;
    const ComPtr<TimedStream> m_reference;
};

} // namespace kq::streams
