/// @file
/// The pictures of a video stream.
#pragma once

#include "Decoder.h"
#include "FrameSource.h"
#include "PictureConverter.h"

#include <deque>
#include <memory>
#include <optional>
#include <vector>

namespace kq::streams {

/// Decodes pictures and converts those that are asked for; what a seek passes over is only decoded.
class VideoSource : public FrameSource {
public:
    /// @param converter with how the pictures that come from the decoder have to be turned
    /// @param rate frames per second, above 0
    /// @param tick one unit of the file's clock in seconds: how exact its time stamps are
    VideoSource(std::unique_ptr<Decoder> decoder, PictureConverter converter, double rate, double tick);

    FramePtr Next() override;
    Landing Seek(Ticks time, bool exact) override;
    Ticks Tolerance() const override;
    FramePtr From(FramePtr frame, Ticks time) const override;
    void Notice(const std::string& text) const override;
    void Cancel() override;

private:
    bool NextDecoded(Decoded& frame);
    FramePtr Convert(Decoded frame);
    FramePtr GoForward(Ticks time, Decoded shown, std::deque<Decoded>* passed = nullptr);
    std::vector<FramePtr> ConvertAll(std::deque<Decoded> decoded);
    FramePtr SeekExact(Ticks time, Ticks leaveOut, std::deque<Decoded>* passed = nullptr);
    Landing SeekKey(Ticks time);
    double PositionOf(Ticks time) const;

    const std::unique_ptr<Decoder> m_decoder;
    PictureConverter m_converter;
    const double m_rate;
    const double m_tick;
    std::optional<Decoded> m_ahead; ///< decoded already, and the next to be given
    FramePtr m_last;                ///< the frame given last
};

} // namespace kq::streams
