/// @file
/// A stream that follows another one's time, made of any two streams: for a second view beside the
/// reference. Header only, like convenience.h: compiled into the host.
#pragma once

#include "convenience.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <mutex>

namespace kq {

/// Lets one video stream follow another one: its current frame is always the one that is on show in its own
/// stream at the time of the reference's current frame.
///
/// A host gives it to a view whose source mode is not the reference number. The player then asks for its
/// frame whenever it shows the reference's, and never moves it: Seek() and NextFrame() change nothing, Seek()
/// returns the time of the current frame and NextFrame() returns 0. GetStreamInfo() and GetFramePosition()
/// are those of the own stream. A shorter stream stays on its last frame, one that begins later on its first.
///
/// Times are those of GetFramePosition() divided by the frame rate; for a stream that tells no rate, those of
/// its frames' stamps. The own stream is moved with NextFrame() where the reference goes on, and with exact
/// seeks where it goes back or far ahead, and once for each frame that lasts longer than the rate says.
///
/// Any thread may call it. It holds a reference on both streams. The reference is asked for its position
/// only (and for its frame if it has no rate) and never moved; the own stream is the follower's alone, and
/// how long its frames stay valid is what that stream says.
/// For media files OpenFollower() does the same, and decodes ahead.
class FollowingStream final : public ComObject<IMediaStream> {
public:
    /// @param own       the stream that is shown
    /// @param reference the stream whose time counts, of any rate
    FollowingStream(IMediaStream& own, IMediaStream& reference) : m_own(own), m_reference(reference) {}

    /// Shifts it: beside the reference's time t it shows what it has at t + @p dSeconds. At once, as soon as
    /// somebody asks for the current frame. Any thread.
    void SetOffset(double dSeconds) { m_dOffset = dSeconds; }
    /// @return as it was set last, 0 at first
    double Offset() const { return m_dOffset; }

    std::int32_t GetStreamInfo(IStreamInfo** ppInfo) override { return m_own.stream->GetStreamInfo(ppInfo); }
    std::int32_t Reserved() override { return Failed; }
    double Seek(double, int) override {
        const std::lock_guard<std::mutex> guard(m_lock);
        Follow();
        return m_dBegin;
    }
    MEDIA_FRAME* GetCurrentFrame() override {
        const std::lock_guard<std::mutex> guard(m_lock);
        Follow();
        return m_own.stream->GetCurrentFrame();
    }
    int NextFrame() override { return 0; }
    double GetFramePosition() override {
        const std::lock_guard<std::mutex> guard(m_lock);
        Follow();
        return m_own.stream->GetFramePosition();
    }

private:
    /// A stream, and how its time is told.
    struct Timed {
        explicit Timed(IMediaStream& given) : stream(ComPtr<IMediaStream>::Share(&given)) {
            IStreamInfo* pInfo = nullptr;
            if (given.GetStreamInfo(&pInfo) != Ok) {
                return;
            }
            const auto info = ComPtr<IStreamInfo>::Adopt(pInfo);
            if (info && info->GetVideoFormat() != nullptr) {
                dRate = info->GetVideoFormat()->dFrameRate;
            }
        }
        /// @return where the current frame begins, in stream seconds; -1 without one
        double Begin() const {
            if (dRate > 0) {
                return stream->GetFramePosition() / dRate;
            }
            const MEDIA_FRAME* const pFrame = stream->GetCurrentFrame();
            return pFrame != nullptr ? static_cast<double>(pFrame->llPTS) / TicksPerSecond : -1.0;
        }
        ComPtr<IMediaStream> stream;
        double dRate = 0;
    };

    static constexpr double kRounding = 0.0005; ///< of stamps and positions, seconds
    static constexpr double kFar = 1.0;         ///< seconds that are sought rather than stepped over

    void Follow() {
        const double dTime = std::max(0.0, m_reference.Begin() + m_dOffset) + kRounding;
        if (dTime < m_dFrom || (dTime > NextBegin() + kFar && !m_bLast)) {
            GoTo(dTime);
        }
        while (dTime >= NextBegin() && !m_bLast) {
            const double dBefore = m_dBegin;
            m_bLast = m_own.stream->NextFrame() <= 0;
            if (m_bLast) {
                if (m_own.stream->GetCurrentFrame() == nullptr) {
                    m_own.stream->Seek(dBefore + kRounding, ExactSeek); // back to the last one
                }
                return;
            }
            m_dBegin = m_dFrom = m_own.Begin();
            if (m_dBegin > dTime) { // the frame before lasts longer than the rate says
                const double dLasts = m_dBegin;
                GoTo(dBefore + kRounding);
                m_dLasts = dLasts;
            }
            if (m_dBegin <= dBefore) {
                return;
            }
        }
    }
    /// @return the time before which the next frame does not begin, as far as that is known
    double NextBegin() const {
        return std::max(m_dLasts, m_dBegin + (m_own.dRate > 0 ? 1 / m_own.dRate : kRounding));
    }
    void GoTo(double dTime) {
        m_own.stream->Seek(dTime, ExactSeek);
        m_dBegin = m_own.Begin();
        m_dFrom = std::min(m_dBegin, dTime); // the first frame may begin later
        m_dLasts = 0;
        m_bLast = false;
    }

    const Timed m_own;
    const Timed m_reference;
    std::atomic<double> m_dOffset{0};
    std::mutex m_lock;   ///< guards what follows, and the own stream's position
    double m_dBegin = 0; ///< of the current frame, stream seconds
    double m_dFrom = std::numeric_limits<double>::infinity(); ///< from then on it is the right one
    double m_dLasts = 0;                                      ///< until then, where that has been found
    bool m_bLast = false;                                     ///< no frame follows
};

} // namespace kq
