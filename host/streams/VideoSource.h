/// @file
/// The pictures of a video stream.
#pragma once

#include "Decoder.h"
#include "FrameSource.h"
#include "PictureConverter.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
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

    /// How Approach() ended.
    enum class Approached {
        Picture, ///< the pictures right before were given
        Start,   ///< there are none: it is the first of the file
        Nothing, ///< it could not be reached, or was interrupted: what was given need not be right before it
    };
    /// Gives the pictures right before one. The next call has to be another seek.
    /// @param end   begin of that picture
    /// @param least so long before it is begun, or at the key frame there; all from there on are given, but
    /// @param most  none that begin earlier before it than this
    /// @param take  receives them in order
    Approached Approach(Ticks end, Ticks least, Ticks most, const std::function<void(FramePtr)>& take);
    /// Lets exact seeks over a long way give the pictures before their target too.
    /// @param bytes bound of these pictures
    /// @param begin called when such a way begins
    void KeepLongWays(std::size_t bytes, std::function<void(Ticks time)> begin) {
        m_longWayBytes = bytes;
        m_beginLongWay = std::move(begin);
    }
    /// @param all every way counts as long
    void KeepWays(bool all) { m_keepsAllWays = all; }
    /// Makes a present or later Seek() or Approach() return soon, with nothing, until that is taken back. Any
    /// thread.
    void Interrupt(bool on) { m_decoder->Interrupt(on); }
    bool Seekable() const { return m_decoder->Seekable(); }
    bool Cancelled() const { return m_decoder->Cancelled(); }
    /// @return how long a picture lasts at the stream's rate
    Ticks Step() const { return static_cast<Ticks>(static_cast<double>(TicksPerSecond) / m_rate); }

private:
    /// The last pictures that a way leads over.
    struct Passed {
        std::deque<Decoded> pictures;
        std::size_t most = 0;  ///< bound of their number
        std::size_t bytes = 0; ///< bound of their memory

        void Add(Decoded picture);
    };

    bool NextDecoded(Decoded& frame);
    FramePtr Convert(Decoded frame);
    bool TakesLong(Ticks time, Decoded& shown);
    FramePtr GoForward(Ticks time, Decoded shown, Passed* passed = nullptr);
    std::vector<FramePtr> ConvertAll(std::deque<Decoded> decoded);
    FramePtr SeekExact(Ticks time, Ticks leaveOut, Passed& passed);
    Landing SeekKey(Ticks time);
    double PositionOf(Ticks time) const;

    const std::unique_ptr<Decoder> m_decoder;
    PictureConverter m_converter;
    const double m_rate;
    const double m_tick;
    std::optional<Decoded> m_ahead; ///< decoded already, and the next to be given
    FramePtr m_last;                ///< the frame given last
    std::size_t m_longWayBytes = 0; ///< 0: pictures on a long way are not kept
    std::function<void(Ticks)> m_beginLongWay;
    bool m_keepsAllWays = false;
    bool m_hasLongPictures = false; ///< a seek found a picture that lasts longer than usual
};

} // namespace kq::streams
