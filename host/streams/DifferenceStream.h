/// @file
/// The differences between two videos as a video.
#pragma once

#include "FramePins.h"
#include "PictureConverter.h"
#include "Scaler.h"

#include <kqplayer/comparison.h>

#include <memory>
#include <mutex>

namespace kq::streams {

/// See MakeDifference().
class DifferenceStream : public MediaStream {
public:
    DifferenceStream(const VIDEO_STREAM_INFO& format, ComPtr<IMediaStream> reference,
                     ComPtr<IMediaStream> other, std::shared_ptr<const DifferenceLook> look);

    double Seek(double dSeconds, int nMode) override;
    MEDIA_FRAME* GetCurrentFrame() override;
    int NextFrame() override { return 0; }
    double GetFramePosition() override { return m_reference->GetFramePosition(); }

private:
    /// Brings pictures to the layout, size, matrix and range of others.
    class Fitter {
    public:
        /// @param format a planar one that frames can have
        /// @return the picture itself where it is like that already; null when it cannot be converted
        FrameHandle Fit(const MEDIA_FRAME& frame, int format, const MEDIA_FRAME& like);

    private:
        ScalerHandle m_scaler;
        ScalerSetup m_setup;
        PicturePool m_pool;
    };

    FramePtr Make(const MEDIA_FRAME& reference, const MEDIA_FRAME& other);
    FramePtr Sign(const MEDIA_FRAME& reference);

    const ComPtr<IMediaStream> m_reference;
    const ComPtr<IMediaStream> m_other;
    const std::shared_ptr<const DifferenceLook> m_look;
    std::mutex m_lock; ///< guards everything below
    Fitter m_fitReference;
    Fitter m_fitOther;
    PicturePool m_pool;
    FramePtr m_sign;
    FramePins m_pins;
};

} // namespace kq::streams
