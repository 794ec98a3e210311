/// @file
/// Media files through FFmpeg, as streams for the player.
#pragma once

#include <kqplayer/streams.h>

#include <cstddef>
#include <functional>
#include <string>

namespace kq::streams {

/// How a file is opened.
struct OpenOptions {
    bool video = true; ///< open the best video stream, if there is one
    bool audio = true; ///< open the best audio stream, if there is one
    /// Bound of each stream's queue of decoded frames, in bytes. At least three frames are always queued.
    std::size_t queueBytes = std::size_t{48} << 20;
    int decoderThreads = 0; ///< for video; 0: one a core and one more, eight at most
    /// Sound with more channels is mixed to stereo (to mono for 1).
    int maxChannels = 8;
    /// Receives one line a notice (damaged input skipped, and the like), from any thread. May be empty.
    std::function<void(const std::string&)> log;
};

/// What a file holds, for people to read.
struct MediaFacts {
    std::string container;   ///< "mov,mp4,m4a,3gp,3g2,mj2"
    std::string videoCodec;  ///< "h264 (High)", empty without video
    std::string audioCodec;  ///< "aac (LC)", empty without audio
    std::string pixelFormat; ///< of the source, "yuv420p10le"
    int width = 0;
    int height = 0;
    double frameRate = 0; ///< average, frames per second
    int frameCount = 0;
    int sampleRate = 0;
    int channels = 0;    ///< of the source
    double duration = 0; ///< seconds
};

/// An open file. Copies share nothing: the struct is a plain holder, and Release() gives the streams back.
struct MediaFile {
    IMediaStream* video = nullptr; ///< one reference, or null
    IMediaStream* audio = nullptr; ///< one reference, or null
    MediaFacts facts;

    /// Gives both streams back; they live on while others hold references.
    void Release();
};

/// Opens a file. Both streams decode ahead on threads of their own, which end with the streams.
///
/// Video frames are planar 4:2:0, 8 bits, whatever the source's pixel format, and lie as they are to be
/// shown, also when a phone recorded them turned. Audio frames are interleaved 16-bit; layouts that OpenAL
/// has no format for are mixed to stereo. Sound has no holes: there is silence where the file has none, and a
/// seek lands on the very sample.
///
/// Time stamps are 100-ns units counted from the file's start, so that a file whose clock starts elsewhere
/// begins at 0 too. The start is the first picture's; what sound there is before it is left out, unless it
/// leads by more than a quarter of a second: then the start is the sound's. Stamps always increase.
///
/// GetFramePosition() is the frame's time multiplied by the frame rate (by the sample rate for sound). With a
/// steady rate that is the frame's index; with a varying one it need not be whole, but divided by the rate it
/// still is the time. VIDEO_STREAM_INFO::nFrameCount divided by the rate is the length likewise, and the
/// aspect ratio is that of the picture on show.
///
/// The calls of a stream wait for the decoder, so that null and 0 always mean the end. An input that can be
/// read only once (a named pipe) seeks forward only.
///
/// A frame that GetCurrentFrame() gave to a thread stays valid until that thread's next GetCurrentFrame(),
/// NextFrame() or Seek() call on the stream, also when another thread moves the position meanwhile.
///
/// @param error receives one line that names the file and the reason
/// @return false when the file cannot be opened or has neither a video nor an audio stream to play
bool OpenMediaFile(const std::string& path, const OpenOptions& options, MediaFile& file, std::string& error);

} // namespace kq::streams
