/// @file
/// Files beside another one: with an offset, with their sound, and as a picture of the differences.
#pragma once

#include "media_file.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace kq::streams {

/// A file that stands beside the one of a timeline. Its video follows that file's time as that of
/// OpenFollower() does, with two differences: it may lie shifted in time, and where its file has no picture
/// it never shows another one's. It then gives a black picture with a grey cross whose time stamp is
/// KQ_NO_PTS: before its file begins and after it ends, and where pictures cannot be decoded. A still picture
/// and what leaves a filter graph stay on show, as with OpenFollower(). All functions may be called from any
/// thread, also while a player plays.
class Companion {
public:
    virtual ~Companion() = default;

    /// Shifts the file: what it shows beside the reference's time t is what it has at t + @p seconds.
    /// Pictures follow at once, as soon as somebody asks for the current frame; sound within 0.1 to 0.2 s.
    virtual void SetOffset(double seconds) = 0;
    /// @return as it was set last, rounded to 100 ns; 0 at first
    virtual double Offset() const = 0;
    /// @return true when the picture that was asked for last is not there
    virtual bool LacksPicture() const = 0;
    /// Waits until the file's packets have been read. @return the number of its pictures, 0 for an input that
    /// can be read only once
    virtual std::int64_t FrameCount() = 0;
    /// @return true when the file has sound that can be heard
    virtual bool HasSound() const = 0;
    /// Lets its sound be heard in place of what is heard now, in the timeline's order and speed, silence
    /// where it has none. What the player holds already is heard first. Changes nothing for a file without
    /// sound.
    virtual void Hear() = 0;
};

/// Opens a file beside that of a timeline; before anybody plays it.
/// @param path      the file
/// @param timeline  of OpenTimeline()
/// @param reference the streams that came with it. Where it has no sound and @p options ask for it, it gets
///                  a stream of it in the format of this file's: silence, until Companion::Hear() chooses.
///                  All later files' sound is converted to the format of the first.
/// @param options   as for OpenMediaFile()
/// @param file      receives the video; never sound
/// @param companion receives the file's settings. It keeps nothing open but the sound.
/// @param error     as for OpenMediaFile()
/// @return false when there is no video to show, or the reference has none
bool OpenCompanion(const std::string& path, const std::shared_ptr<Timeline>& timeline, MediaFile& reference,
                   const OpenOptions& options, MediaFile& file, std::shared_ptr<Companion>& companion,
                   std::string& error);

/// Lets the sound of the timeline's own file be heard again.
void HearReference(Timeline& timeline);

/// How a difference is shown; any thread may change it at any time.
struct DifferenceLook {
    static constexpr int mostDoublings = 6; ///< bound of @ref doublings

    std::atomic<int> doublings{0};      ///< differences are amplified by two to the power of this
    std::atomic<bool> hasChroma{false}; ///< false: luma alone
};

/// Makes a video of the differences between two others: black where they are equal, and lighter the more
/// they differ, sample by sample, by the absolute value. Chroma differences, if they are shown, colour the
/// picture. Pictures have the layout, depth, size, matrix and range of the reference; the other's are brought
/// to these first if they differ (bicubic scaling). HDR is compared as it is coded. Where the other has no
/// picture there is none here either: a black one with a grey cross, as Companion has it.
///
/// The stream follows the reference, as a follower does: Seek() and NextFrame() change nothing. It holds
/// references on both. Any thread may call it. Each call of GetCurrentFrame() makes the picture anew.
/// @param reference a video stream
/// @param other     a video stream that follows it
/// @param look      how it is to look; not null
/// @return the stream with one reference; null when the reference does not tell its format
IMediaStream* MakeDifference(IMediaStream& reference, IMediaStream& other,
                             std::shared_ptr<const DifferenceLook> look);

} // namespace kq::streams
