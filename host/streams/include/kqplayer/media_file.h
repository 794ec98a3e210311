/// @file
/// Media files through FFmpeg, as streams for the player.
#pragma once

#include <kqplayer/streams.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace kq::streams {

/// How a file is opened.
struct OpenOptions {
    bool video = true; ///< open the best video stream, if there is one
    bool audio = true; ///< open the best audio stream, if there is one
    /// Which of the file's audio streams is opened, counted from 1; 0: the best one. One that is not there
    /// fails the opening.
    int audioTrack = 0;
    /// Bound of each stream's queue of decoded frames, in bytes. At least three frames are always queued.
    std::size_t queueBytes = std::size_t{48} << 20;
    int decoderThreads = 0; ///< for video; 0: one a core, eight at most
    /// Sound with more channels is mixed to stereo (to mono for 1).
    int maxChannels = 8;
    /// An FFmpeg filter graph that the pictures pass, "hflip" or "crop=iw/2:ih,eq=contrast=1.2"; empty for
    /// none. It has one video input and one video output. It is given the pictures as they are decoded, but
    /// upright and with RGB and the like as planar 4:2:0, and may change size, format and rate. A wrong graph
    /// fails the
    /// opening. With a graph, both modes of Seek() are exact. Filters find their way by time stamps: after a
    /// seek the graph begins anew a few frames before the target, or with the file's first frame when one of
    /// its filters may have to count frames (select, framestep, setpts with N or STARTPTS, tinterlace, ...);
    /// such a seek takes as long as decoding up to there.
    std::string filter;
    /// Every picture comes as planar 4:2:0 with 8 bits, BT.601 and limited range (KQ_PICTURE_PLANAR_YUV
    /// without a description): for a host that reads the frames itself and knows no others. Views and
    /// captures need it not; it costs a conversion of each picture that is anything else, and HDR comes
    /// washed out.
    bool plainPictures = false;
    /// For OpenTimeline(): bound of the decoded pictures that are kept around the place of play, in bytes; 0:
    /// 256 MiB at 1920x1080 and above, for smaller pictures the memory of 300 of them if that is less.
    std::size_t storeBytes = 0;
    /// Asked again and again, on the thread that opens the file, while the input lets it wait (a named pipe
    /// without a writer, a disk that does not answer): true fails the opening. May be empty.
    std::function<bool()> givesUp;
    /// Receives one line a notice (damaged input skipped, and the like), from any thread. May be empty.
    std::function<void(const std::string&)> log;
};

/// What a file holds, for people to read.
struct MediaFacts {
    std::string container;   ///< "mov,mp4,m4a,3gp,3g2,mj2"
    std::string videoCodec;  ///< "h264 (High)", empty without video
    std::string audioCodec;  ///< "aac (LC)", empty without audio
    std::string pixelFormat; ///< of the source, "yuv420p10le"
    int width = 0;           ///< pixels
    int height = 0;          ///< pixels
    double frameRate = 0;    ///< average, frames per second
    int frameCount = 0;      ///< of the video
    /// Each audio stream, unless no sound is asked for: "aac, 48000 Hz, 2 channels, eng".
    std::vector<std::string> audioTracks;
    int audioTrack = 0;  ///< which of these was opened, counted from 1; 0 for none
    int sampleRate = 0;  ///< Hz
    int channels = 0;    ///< of the source
    double duration = 0; ///< seconds
    /// What was asked for and is in the file, but cannot be decoded: "no pictures: no decoder for prores".
    /// Empty for nothing.
    std::string leftOut;
};

/// An open file. Copies share nothing: the struct is a plain holder, and Release() gives the streams back.
struct MediaFile {
    IMediaStream* video = nullptr; ///< one reference, or null
    IMediaStream* audio = nullptr; ///< one reference, or null
    MediaFacts facts;              ///< what the file holds

    /// Gives both streams back; they live on while others hold references.
    void Release();
};

/// Opens a file. Both streams decode ahead on threads of their own, which end with the streams.
///
/// Video frames are what the decoder gives, without a copy, where MEDIA_FRAME has a kind for it: planar
/// 4:2:0, 4:2:2 and 4:4:4 with 8 or 10 bits, NV12 and P010. Their descriptions (kq::ColourOf()) say matrix,
/// range and transfer, for PQ also what the file tells of its peaks; BT.601 in limited range goes without
/// one. Kind, size and description may change from one frame to the next. A source that does not name its
/// matrix has that of BT.709 from 1280 columns or 577 rows on, and that of BT.2020 with its primaries or an
/// HDR transfer. Other layouts become the nearest one of these (12 and 16 bits: 10), alpha is left out, and
/// RGB, palettes and XYZ become planar 4:2:0 by BT.601; the log gets a line about it.
/// OpenOptions::plainPictures makes everything plain 4:2:0. Frames lie as they are to be shown, also when a
/// phone recorded them turned.
///
/// Audio frames are interleaved 16-bit; layouts that OpenAL has no format for
/// are mixed to stereo. Sound has no holes: there is silence where the file has none, and a seek lands on the
/// very sample.
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
/// The calls of a stream wait for the decoder, so that the end is never mistaken: NextFrame() gives 0 there.
/// A video stream then keeps its last frame as the current one, so that a view that is refreshed at the end
/// of a run goes on showing the last picture; a sound stream has no current frame any more. An input that can
/// be read only once (a named pipe) seeks forward only.
///
/// A frame that GetCurrentFrame() gave to a thread stays valid until that thread's next GetCurrentFrame(),
/// NextFrame() or Seek() call on the stream, also when another thread moves the position meanwhile.
///
/// @param path    the file, or whatever else FFmpeg opens
/// @param options how to open it
/// @param file    receives the streams
/// @param error   receives one line that names the file and the reason; for a wrong filter graph it names the
///              graph instead: `filter "nosuch": No such filter: 'nosuch'`
/// @return false when the file cannot be opened or has neither a video nor an audio stream to play
bool OpenMediaFile(const std::string& path, const OpenOptions& options, MediaFile& file, std::string& error);

/// @return what the file says of a stream's current picture and how its frames give it, in one line for
/// people:
///         "file: yuv420p10le, bt2020nc, limited range, smpte2084, mastering display 1000 cd/m²; given as
///         4:2:0, 10 bits, BT.2020, limited range, PQ to be tone-mapped". Empty without a picture, and for a
///         stream that OpenMediaFile() or OpenFollower() did not make. Waits for the picture; any thread.
std::string DescribePicture(IMediaStream& stream);

/// Opens a file's video as one that follows another stream's time, for views side by side: the current frame
/// is always the one on show at the time of the reference's current frame (the one with the same time stamp,
/// or the nearest before it). With OpenOptions::filter and the reference's own file this shows before and
/// after.
///
/// A host gives the follower to a view whose source mode is not the reference number. The player then asks
/// for its frame whenever it shows the reference's, and never moves it. Seek() and NextFrame() change
/// nothing: Seek() returns the time of the current frame, NextFrame() returns 0. GetFramePosition() is the
/// current frame's own, GetStreamInfo() describes the file itself. A shorter file stays on its last frame;
/// size and rate may differ.
///
/// The follower decodes ahead on its own thread like any stream, and drops what the reference passes over;
/// when the reference goes back or far ahead, it seeks exactly. A call waits until the frame is there.
///
/// It holds a reference on @p reference, whose position and frames it never touches. Any thread may call it,
/// as any stream; the same rules hold for how long frames stay valid.
///
/// @param path      the file
/// @param reference a video stream of OpenMediaFile() or OpenFollower()
/// @param options   as for OpenMediaFile(); sound is not opened
/// @param file      receives the follower as its video
/// @param error     as for OpenMediaFile()
/// @return false when there is no video to show, or the reference is none of these streams
bool OpenFollower(const std::string& path, IMediaStream& reference, const OpenOptions& options,
                  MediaFile& file, std::string& error);

/// Where a picture stands in its file.
struct PicturePlace {
    std::int64_t number =
        -1;              ///< counted from 0 in order of time; -1 while the file's index does not reach so far
    double time = 0;     ///< begin of the picture, seconds from the file's start
    double duration = 0; ///< seconds; 0 for unknown
    char kind = '\0';    ///< how it was coded: 'I', 'P', 'B', or another letter of FFmpeg's; 0 for unknown
};

/// The play time of a file: slower, faster, backwards, and ranges that repeat without a seam.
///
/// Its two streams hand the player pictures and sound whose stamps are play times, which only rise. A seek to
/// a time goes to that time in the file, and play time goes on from there: without a rate and a range that
/// repeats, play time is the file's time. All functions may be called from any thread, also while a player
/// plays the streams; changes are seen and heard as soon as what the player holds already is over (0.1 to 0.2
/// s).
class Timeline {
public:
    /// The end of a range that goes on to the end of the file.
    static constexpr double openEnd = std::numeric_limits<double>::infinity();

    virtual ~Timeline() = default;

    /// @param rate 1 for normal speed; from 0.1 to 8 and from -0.1 (backwards) to -4, others are moved to the
    ///             nearest of these, 0 and what is no number to 1. Sound keeps its pitch from 0.25 to 4, is
    ///             silent beyond that, and plays reversed backwards.
    /// @return the rate that it has become
    virtual double SetRate(double rate) = 0;
    /// @return the rate that SetRate() has set last, 1 before
    virtual double Rate() const = 0;

    /// Sets the part of the file that is played, and how often. Play that is outside of it goes on at its
    /// begin, or backwards at its end.
    /// @param begin  seconds in the file
    /// @param end    seconds in the file, or openEnd
    /// @param rounds how often it is played; 0 for ever
    /// @return false, and nothing has changed, for a range without a picture or sample
    virtual bool SetRange(double begin, double end, int rounds = 1) = 0;

    /// @return the time in the file, in seconds, that is played at a play time since the last seek
    virtual double MediaTime(double playTime) const = 0;
    /// @return the number of the picture that is on show at a play time, -1 while it is not known
    virtual std::int64_t FrameNumber(double playTime) const = 0;
    /// @return the play time at which the range has been played as often as it is to be; openEnd when it
    /// never
    ///         ends, or ends with the file
    virtual double EndTime() const = 0;

    /// Waits until the file's packets have been read. @return the number of its pictures
    virtual std::int64_t FrameCount() = 0;
    /// Waits until the file's packets have been read so far.
    /// @return where the picture with a number stands; its number is -1 for one that the file does not have
    virtual PicturePlace PlaceOfFrame(std::int64_t number) = 0;

    /// A part of the file, in seconds.
    struct Span {
        double begin = 0; ///< seconds in the file
        double end = 0;   ///< seconds in the file
    };
    /// @return the parts of the file whose pictures are kept decoded, in order
    virtual std::vector<Span> KeptSpans() const = 0;
};

/// Opens a file like OpenMediaFile(), with streams that follow a timeline. The streams keep what they need of
/// it; the timeline keeps the streams.
/// @param path     as for OpenMediaFile()
/// @param options  as for OpenMediaFile()
/// @param file     receives the streams
/// @param timeline receives the timeline
/// @param error    as for OpenMediaFile()
/// @return as OpenMediaFile()
bool OpenTimeline(const std::string& path, const OpenOptions& options, MediaFile& file,
                  std::shared_ptr<Timeline>& timeline, std::string& error);

/// Lets another sound of a timeline's file be heard, from the present place on, also while a player plays
/// it; within 0.1 to 0.2 s. It is converted to the rate and channels of the one that was opened.
/// @param timeline of OpenTimeline(), with sound
/// @param track    number of the sound, counted from 1 (see MediaFacts::audioTracks)
/// @param error    receives one line that says why, on failure
/// @return false, with nothing changed, for a track that is not there or cannot be decoded, for a file that
/// can be
///         read only once, and for a timeline without sound
bool HearTrack(Timeline& timeline, int track, std::string& error);

/// @param stream a video stream of OpenTimeline(), or one of OpenFollower() that follows it
/// @param place  receives where its current picture stands in its file
/// @return false without a picture, and for other streams. Waits for the picture; any thread.
bool PlaceOfPicture(IMediaStream& stream, PicturePlace& place);

/// A picture that stays as long as somebody holds it, and where it stands in its file.
struct KeptPicture {
    PicturePlace place;                       ///< as PlaceOfPicture() tells it
    std::shared_ptr<const MEDIA_FRAME> frame; ///< never changes; null for no picture
};

/// Keeps the current picture of a stream, without a copy. Neither moves the position nor touches the frame
/// that the calling thread uses. A picture that is kept takes memory beyond the bounds of OpenOptions.
/// @param stream as for PlaceOfPicture()
/// @return no picture where PlaceOfPicture() gives false. Waits for the picture; any thread.
KeptPicture KeepPicture(IMediaStream& stream);

} // namespace kq::streams
