#include "AudioSource.h"
#include "Demuxer.h"
#include "FileLog.h"
#include "FileTimeline.h"
#include "FileVideo.h"
#include "FilteredDecoder.h"
#include "Follower.h"
#include "Orientation.h"
#include "QueuedStream.h"
#include "StreamDecoder.h"
#include "TimelineAudio.h"
#include "TimelineVideo.h"
#include "VideoSource.h"

#include <kqplayer/comparison.h>
#include <kqplayer/media_file.h>

extern "C" {
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libavutil/parseutils.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

namespace kq::streams {
namespace {

/// What streams without any frame rate are counted with.
constexpr double fallbackRate = 25;
/// A whole frame rate is preferred to an average so near to it.
constexpr double rateMargin = 0.05;
/// A file starts with its first picture, so that picture n of a steady rate r is on show at n / r, whatever
/// sound was interleaved a little before. Only with a longer lead it starts with its sound.
constexpr Ticks leastLead = TicksPerSecond / 4;
/// Sound is small; its queue needs no more, whatever the pictures are allowed.
constexpr std::size_t audioQueueBytes = std::size_t{1} << 20;
/// The pictures of a timeline lie in its store.
constexpr std::size_t timelineQueueBytes = std::size_t{24} << 20;

/// What a file tells of a stream's rate, in pictures per second.
class ToldRates {
public:
    explicit ToldRates(const AVStream& stream)
        : m_average(av_q2d(stream.avg_frame_rate)), m_common(av_q2d(stream.r_frame_rate)) {}

    bool AreBothKnown() const { return IsKnown(m_average) && IsKnown(m_common); }
    bool Agree() const { return AreBothKnown() && std::abs(m_common - m_average) <= rateMargin * m_average; }
    double Best() const {
        if (Agree() || !IsKnown(m_average)) {
            return IsKnown(m_common) ? m_common : fallbackRate;
        }
        return m_average;
    }

private:
    static bool IsKnown(double rate) { return std::isfinite(rate) && rate > 0; }

    double m_average;
    double m_common;
};

/// Frames per second. An average is spoilt by a long last frame or a missing one, so the rate at which all
/// time stamps can be expressed counts where the two are near each other.
double RateOf(const AVStream& stream) {
    return ToldRates(stream).Best();
}

/// @return true for pictures that come at equal distances, as far as the file tells
bool IsSteady(const AVStream& stream) {
    const ToldRates rates(stream);
    return rates.Agree() || !rates.AreBothKnown();
}

/// @return true when the file tells that pictures come at one rate
bool TellsOneRate(const AVStream& stream) {
    return ToldRates(stream).Agree();
}

Orientation OrientationOf(const AVStream& stream) {
    return Orientation::FromDisplayMatrix(reinterpret_cast<const std::int32_t*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr)));
}

std::string CodecText(const AVCodecParameters& parameters) {
    std::string text = avcodec_get_name(parameters.codec_id);
    if (const char* profile = avcodec_profile_name(parameters.codec_id, parameters.profile)) {
        text += std::string(" (") + profile + ")";
    }
    return text;
}

std::int32_t ToInt32(double value) {
    return static_cast<std::int32_t>(std::clamp(std::round(value), 0.0, 2147483647.0));
}

/// A stream that is ready to begin.
template <class Source, class Info>
struct Prepared {
    std::unique_ptr<Source> source; ///< null when there is no such stream
    Info info{};
};

/// Starts the thread of a stream. @return null without a source
ComPtr<QueuedStream> Begin(std::unique_ptr<FrameSource> source, const StreamFormat& format,
                           std::size_t queueBytes) {
    if (!source) {
        return nullptr;
    }
    return ComPtr<QueuedStream>::Adopt(new QueuedStream(std::move(source), format, queueBytes));
}

/// One file while it is being opened.
class Opening {
public:
    Opening(const std::string& path, const OpenOptions& options)
        : Opening(path, options, FileLog::Make(path, options.log)) {}
    /// @param log of a file that is open already
    Opening(const std::string& path, const OpenOptions& options, std::shared_ptr<FileLog> log)
        : m_path(path), m_options(options), m_log(std::move(log)) {}

    /// @param error receives one line that says what and why
    /// @return false when the file cannot be opened or holds nothing to play
    bool Run(std::string& error);
    /// The same for the pictures alone, as they are decoded.
    bool Run(FileVideo& video, std::string& error);

    /// Sound is to have another format than that of the file; before Run().
    void ConvertSound(int rate, int channels) {
        m_soundRate = rate;
        m_soundChannels = channels;
    }
    /// @return true for a file that holds one picture
    bool IsStill() const;
    bool HasSteadyRate() const { return TellsOneRate(m_demuxer->Stream(m_video)); }
    std::size_t AudioQueueBytes() const { return std::min(m_options.queueBytes, audioQueueBytes); }
    bool IsSeekable() const { return m_demuxer->Seekable(); }
    Ticks End() const { return m_fileEnd; }
    const std::shared_ptr<FileLog>& Log() const { return m_log; }
    /// Moves the video into a store of its pictures, which opens the file again when it needs to.
    std::shared_ptr<PictureStore> StoreVideo();
    /// @return the numbers of the video's pictures
    std::shared_ptr<FrameNumbers> NumberPictures() const;

    MediaFacts facts;
    Prepared<VideoSource, VIDEO_STREAM_INFO> video;
    Prepared<AudioSource, AUDIO_STREAM_INFO> audio;

private:
    bool OpenDemuxer(std::string& error);
    DecoderSetup SetupFor(int index);
    std::unique_ptr<StreamDecoder> OpenDecoder(int index, double rate);
    PictureKind KindOf(AVStream& stream) const;
    std::unique_ptr<Decoder> Filter(std::unique_ptr<Decoder> decoder, Orientation orientation,
                                    PictureKind& kind);
    Prepared<VideoSource, VIDEO_STREAM_INFO> OpenVideo();
    VIDEO_STREAM_INFO TellVideo(const AVStream& stream, const PictureKind& kind);
    Prepared<AudioSource, AUDIO_STREAM_INFO> OpenAudio();
    std::size_t StoreBytes() const;
    int FindSound();
    void TellUndecodable();
    void LeaveOut(AVMediaType kind, const std::string& reason);
    void FindFileTimes();
    Ticks StartOf(const AVStream& stream) const;
    Ticks EndOf(const AVStream& stream) const;

    const std::string& m_path;
    const OpenOptions& m_options;
    const std::shared_ptr<FileLog> m_log;
    std::shared_ptr<Demuxer> m_demuxer;
    bool m_demuxerInUse = false;
    int m_video = -1;
    int m_audio = -1;
    int m_soundRate = 0; ///< 0: the file's
    int m_soundChannels = 0;
    std::string m_filterReason; ///< what is wrong with the filter graph
    Ticks m_fileStart = 0;
    Ticks m_fileEnd = 0; ///< counted from the start; 0 for unknown
};

/// Opens the file and finds out what it holds.
bool Opening::OpenDemuxer(std::string& error) {
    std::string reason;
    m_demuxer = Demuxer::Open(m_path, m_log, reason, m_options.givesUp);
    if (!m_demuxer) {
        error = m_path + ": " + reason;
        return false;
    }
    m_video = m_options.video ? m_demuxer->BestStream(AVMEDIA_TYPE_VIDEO) : -1;
    m_audio = m_options.audio ? FindSound() : -1;
    if (m_options.audio && m_options.audioTrack > 0 && m_audio < 0) {
        error = m_path + ": there is no sound track " + std::to_string(m_options.audioTrack) + " among " +
                std::to_string(facts.audioTracks.size());
        return false;
    }
    FindFileTimes();
    TellUndecodable();

    facts.container = m_demuxer->Context().iformat->name;
    facts.duration = ToSeconds(m_fileEnd);
    return true;
}

bool Opening::Run(std::string& error) {
    const LogScope scope(*m_log);
    if (!OpenDemuxer(error)) {
        return false;
    }
    video = OpenVideo();
    if (!m_filterReason.empty()) {
        error = "filter \"" + m_options.filter + "\": " + m_filterReason;
        return false;
    }
    audio = OpenAudio();
    if (video.source || audio.source) {
        return true;
    }
    error = m_path + (m_options.audio ? ": no video or audio stream that can be decoded"
                                      : ": no video stream that can be decoded");
    return false;
}

bool Opening::Run(FileVideo& opened, std::string& error) {
    const LogScope scope(*m_log);
    if (!OpenDemuxer(error)) {
        return false;
    }
    if (m_video >= 0) {
        AVStream& stream = m_demuxer->Stream(m_video);
        const PictureKind kind = KindOf(stream);
        opened.decoder = OpenDecoder(m_video, kind.rate);
        opened.orientation = OrientationOf(stream);
        opened.rate = kind.rate;
        opened.isSteady = IsSteady(stream);
        opened.begin = StartOf(stream) - m_fileStart;
        opened.tick = av_q2d(stream.time_base);
        opened.numbers = NumberPictures();
        TellVideo(stream, kind);
        opened.facts = facts;
    }
    if (!opened.decoder) {
        error = m_path + ": no video stream that can be decoded";
    }
    return opened.decoder != nullptr;
}

std::string TrackText(const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    std::string text = std::string(avcodec_get_name(parameters.codec_id)) + ", " +
                       std::to_string(parameters.sample_rate) + " Hz, " +
                       std::to_string(parameters.ch_layout.nb_channels) + " channels";
    for (const char* key : {"language", "title"}) {
        const AVDictionaryEntry* entry = av_dict_get(stream.metadata, key, nullptr, 0);
        text += entry != nullptr ? std::string(", ") + entry->value : "";
    }
    return text;
}

/// Lists the file's sounds. @return the stream of the one that is to be heard, -1 for none
int Opening::FindSound() {
    const int best = m_demuxer->BestStream(AVMEDIA_TYPE_AUDIO);
    int found = -1;
    for (int i = 0; i < static_cast<int>(m_demuxer->Context().nb_streams); ++i) {
        const AVStream& stream = m_demuxer->Stream(i);
        if (stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
            continue;
        }
        facts.audioTracks.push_back(TrackText(stream));
        const auto track = static_cast<int>(facts.audioTracks.size());
        if (m_options.audioTrack > 0 ? track == m_options.audioTrack : i == best) {
            found = i;
            facts.audioTrack = track;
        }
    }
    return found;
}

/// Streams for which there is no decoder are not even chosen.
void Opening::TellUndecodable() {
    const AVFormatContext& context = m_demuxer->Context();
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVStream& stream = *context.streams[i];
        const AVMediaType kind = stream.codecpar->codec_type;
        const bool isMissing = (kind == AVMEDIA_TYPE_VIDEO && m_options.video && m_video < 0) ||
                               (kind == AVMEDIA_TYPE_AUDIO && m_options.audio && m_audio < 0);
        if (isMissing && (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0) {
            const AVCodecID codec = stream.codecpar->codec_id;
            LeaveOut(kind, std::string("no decoder for ") +
                               (codec == AV_CODEC_ID_NONE ? "an unknown codec" : avcodec_get_name(codec)));
        }
    }
}

/// Notes that a kind of stream is not played; the first reason counts.
void Opening::LeaveOut(AVMediaType kind, const std::string& reason) {
    if (facts.leftOut.empty()) {
        facts.leftOut = (kind == AVMEDIA_TYPE_VIDEO ? "no pictures: " : "no sound: ") + reason;
    }
}

void Opening::FindFileTimes() {
    // The sound counts even when nobody wants to hear it, so that pictures have the same times either way.
    const int sound = m_video >= 0 ? m_demuxer->BestStream(AVMEDIA_TYPE_AUDIO) : m_audio;
    const Ticks videoStart = m_video >= 0 ? StartOf(m_demuxer->Stream(m_video)) : 0;
    const Ticks audioStart = sound >= 0 ? StartOf(m_demuxer->Stream(sound)) : videoStart;
    const bool soundLeads = m_video < 0 || videoStart - audioStart > leastLead;
    m_fileStart = soundLeads ? audioStart : videoStart;
    for (const int index : {m_video, m_audio}) {
        if (index >= 0) {
            m_fileEnd = std::max(m_fileEnd, EndOf(m_demuxer->Stream(index)));
        }
    }
}

/// @return the file's own time of a stream's begin
Ticks Opening::StartOf(const AVStream& stream) const {
    if (stream.start_time != AV_NOPTS_VALUE) {
        return FromFile(stream.start_time, stream.time_base);
    }
    const std::int64_t start = m_demuxer->Context().start_time;
    return start != AV_NOPTS_VALUE ? FromFile(start, AV_TIME_BASE_Q) : 0;
}

bool Opening::IsStill() const {
    const std::string_view format = m_demuxer->Context().iformat->name;
    constexpr std::string_view ending = "_pipe"; // of the formats that hold one picture each
    return format.size() > ending.size() && format.substr(format.size() - ending.size()) == ending;
}

/// @return the time of a stream's end, counted from the file's start; 0 for unknown
Ticks Opening::EndOf(const AVStream& stream) const {
    const Ticks start = StartOf(stream) - m_fileStart;
    if (stream.duration != AV_NOPTS_VALUE) {
        return start + FromFile(stream.duration, stream.time_base);
    }
    const AVDictionaryEntry* written =
        av_dict_get(stream.metadata, "DURATION", nullptr, AV_DICT_IGNORE_SUFFIX);
    std::int64_t microseconds = 0;
    if (written != nullptr && av_parse_time(&microseconds, written->value, 1) >= 0 && microseconds > 0) {
        return FromFile(microseconds, AV_TIME_BASE_Q) - m_fileStart; // the end, not the length
    }
    if (IsStill()) {
        return start + static_cast<Ticks>(static_cast<double>(TicksPerSecond) / RateOf(stream));
    }
    const std::int64_t whole = m_demuxer->Context().duration;
    if (whole == AV_NOPTS_VALUE || whole <= 0) {
        return 0;
    }
    const std::int64_t begin = m_demuxer->Context().start_time;
    return FromFile(whole, AV_TIME_BASE_Q) + (begin != AV_NOPTS_VALUE ? FromFile(begin, AV_TIME_BASE_Q) : 0) -
           m_fileStart;
}

/// Every stream reads the file for itself, unless it can be read only once.
DecoderSetup Opening::SetupFor(int index) {
    DecoderSetup setup;
    setup.stream = index;
    setup.fileStart = m_fileStart;
    setup.threads = m_options.decoderThreads;
    std::string reason;
    if (m_demuxerInUse && m_demuxer->Seekable()) {
        setup.demuxer = Demuxer::Open(m_path, m_log, reason);
    }
    const bool same =
        setup.demuxer && index < static_cast<int>(setup.demuxer->Context().nb_streams) &&
        setup.demuxer->Stream(index).codecpar->codec_id == m_demuxer->Stream(index).codecpar->codec_id;
    if (!same) {
        setup.demuxer = m_demuxer;
    }
    m_demuxerInUse = true;
    return setup;
}

/// @return null, with a line in the log, when the stream cannot be decoded
std::unique_ptr<StreamDecoder> Opening::OpenDecoder(int index, double rate) {
    DecoderSetup setup = SetupFor(index);
    setup.rate = rate;
    std::string reason;
    auto decoder = StreamDecoder::Open(setup, reason);
    if (!decoder) {
        m_log->Notice("stream " + std::to_string(index) + " is left out: " + reason);
        LeaveOut(m_demuxer->Stream(index).codecpar->codec_type, reason);
    }
    return decoder;
}

/// @return a stream's pictures as they are turned upright
PictureKind Opening::KindOf(AVStream& stream) const {
    PictureKind kind;
    kind.format = stream.codecpar->format;
    kind.width = stream.codecpar->width;
    kind.height = stream.codecpar->height;
    kind.rate = RateOf(stream);
    const AVRational sample = av_guess_sample_aspect_ratio(&m_demuxer->Context(), &stream, nullptr);
    if (sample.num > 0 && sample.den > 0) {
        kind.sampleAspect = sample;
    }
    if (OrientationOf(stream).swapAxes) {
        std::swap(kind.width, kind.height);
        std::swap(kind.sampleAspect.num, kind.sampleAspect.den);
    }
    return kind;
}

VIDEO_STREAM_INFO InfoOf(const PictureKind& kind, double seconds) {
    VIDEO_STREAM_INFO info{};
    info.nWidth = kind.width;
    info.nHeight = kind.height;
    info.dFrameRate = kind.rate;
    info.nFrameCount = ToInt32(seconds * kind.rate);
    av_reduce(&info.nAspectX, &info.nAspectY, std::int64_t{kind.width} * kind.sampleAspect.num,
              std::int64_t{kind.height} * kind.sampleAspect.den, std::numeric_limits<std::int32_t>::max());
    return info;
}

/// Puts the filters that the host asked for behind a decoder.
/// @return null, with the reason in m_filterReason, when the graph is wrong
std::unique_ptr<Decoder> Opening::Filter(std::unique_ptr<Decoder> decoder, Orientation orientation,
                                         PictureKind& kind) {
    auto filtered =
        FilteredDecoder::Open(std::move(decoder), orientation, m_options.filter, kind, m_filterReason);
    if (filtered) {
        kind = filtered->Output();
    }
    return filtered;
}

Prepared<VideoSource, VIDEO_STREAM_INFO> Opening::OpenVideo() {
    if (m_video < 0) {
        return {};
    }
    AVStream& stream = m_demuxer->Stream(m_video);
    PictureKind kind = KindOf(stream);
    std::unique_ptr<Decoder> decoder = OpenDecoder(m_video, kind.rate);
    if (!decoder) {
        return {};
    }
    Orientation orientation = OrientationOf(stream);
    if (!m_options.filter.empty()) {
        decoder = Filter(std::move(decoder), std::exchange(orientation, {}), kind);
        if (!decoder) {
            return {};
        }
    }
    const VIDEO_STREAM_INFO info = TellVideo(stream, kind);
    auto source = std::make_unique<VideoSource>(std::move(decoder),
                                                PictureConverter(orientation, m_options.plainPictures),
                                                kind.rate, av_q2d(stream.time_base));
    return {std::move(source), info};
}

/// Writes the facts of the pictures down. @return what players are told
VIDEO_STREAM_INFO Opening::TellVideo(const AVStream& stream, const PictureKind& kind) {
    const VIDEO_STREAM_INFO info = InfoOf(kind, ToSeconds(EndOf(stream)));
    facts.videoCodec = CodecText(*stream.codecpar);
    const char* format = av_get_pix_fmt_name(static_cast<AVPixelFormat>(stream.codecpar->format));
    facts.pixelFormat = format != nullptr ? format : "";
    facts.width = info.nWidth;
    facts.height = info.nHeight;
    facts.frameRate = info.dFrameRate;
    facts.frameCount = info.nFrameCount;
    return info;
}

Prepared<AudioSource, AUDIO_STREAM_INFO> Opening::OpenAudio() {
    if (m_audio < 0) {
        return {};
    }
    AVStream& stream = m_demuxer->Stream(m_audio);
    const AVCodecParameters& parameters = *stream.codecpar;
    if (parameters.sample_rate <= 0 || parameters.ch_layout.nb_channels <= 0) {
        m_log->Notice("stream " + std::to_string(m_audio) + " is left out: sound without a sample rate");
        LeaveOut(AVMEDIA_TYPE_AUDIO, "it has no sample rate");
        return {};
    }
    auto decoder = OpenDecoder(m_audio, 0);
    if (!decoder) {
        return {};
    }

    AUDIO_STREAM_INFO info{};
    info.nSampleRate = m_soundRate > 0 ? m_soundRate : parameters.sample_rate;
    info.nChannels = m_soundRate > 0
                         ? m_soundChannels
                         : OutputChannels(parameters.ch_layout.nb_channels, m_options.maxChannels);
    info.nBitsPerSample = 16;
    info.nBytesPerSec = info.nSampleRate * info.nChannels * 2;
    info.dDuration = ToSeconds(EndOf(stream));

    facts.audioCodec = CodecText(parameters);
    facts.sampleRate = parameters.sample_rate;
    facts.channels = parameters.ch_layout.nb_channels;
    auto source =
        std::make_unique<AudioSource>(std::move(decoder), info.nSampleRate, info.nChannels, m_fileEnd);
    return {std::move(source), info};
}

/// @return the bound of a store of the video's pictures
std::size_t Opening::StoreBytes() const {
    if (m_options.storeBytes > 0) {
        return m_options.storeBytes;
    }
    constexpr std::size_t most = std::size_t{256} << 20;
    constexpr std::size_t pictures = 300;
    const auto* parameters = m_demuxer->Stream(m_video).codecpar;
    const int bytes = av_image_get_buffer_size(static_cast<AVPixelFormat>(parameters->format),
                                               parameters->width, parameters->height, 1);
    return bytes > 0 ? std::min(most, pictures * static_cast<std::size_t>(bytes)) : most;
}

std::shared_ptr<PictureStore> Opening::StoreVideo() {
    PictureStore::Opener again;
    if (IsSeekable()) {
        OpenOptions pictures = m_options;
        pictures.audio = false;
        again = [path = m_path, pictures, log = m_log] {
            Opening opening(path, pictures, log);
            std::string error;
            return opening.Run(error) ? std::move(opening.video.source) : nullptr;
        };
    }
    return std::make_shared<PictureStore>(std::move(video.source), std::move(again), StoreBytes());
}

std::shared_ptr<FrameNumbers> Opening::NumberPictures() const {
    FrameNumbers::Reader read;
    if (IsSeekable()) {
        const double rate = RateOf(m_demuxer->Stream(m_video));
        read = [path = m_path, stream = m_video, start = m_fileStart, rate] {
            return FrameIndex::Read(path, stream, start, rate);
        };
    }
    return std::make_shared<FrameNumbers>(std::move(read));
}

/// @return what gives the sound that was opened, which there has to be
std::unique_ptr<SoundReader> ReaderOf(Opening& opening) {
    const AUDIO_STREAM_INFO& info = opening.audio.info;
    return std::make_unique<SoundReader>(std::move(opening.audio.source), info.nSampleRate, info.nChannels,
                                         opening.IsSeekable());
}

/// Starts the stream of a timeline's sounds.
ComPtr<QueuedStream> BeginSound(const TimelineSetup& setup, const AUDIO_STREAM_INFO& info,
                                std::size_t queueBytes) {
    auto audio =
        Begin(std::make_unique<TimelineAudio>(setup.schedule, setup.sounds, setup.fileEnd), info, queueBytes);
    setup.schedule->Join(SharedSchedule::Kind::Audio, *audio.Get());
    return audio;
}

/// @return the sounds of a file that was opened, with the one that is heard
std::shared_ptr<SoundTracks> TracksOf(const std::string& path, const OpenOptions& options,
                                      const Opening& opening) {
    auto tracks = std::make_shared<SoundTracks>();
    const AUDIO_STREAM_INFO info = opening.audio.info;
    tracks->sounds[opening.facts.audioTrack] = 0;
    tracks->open = [=, isSeekable = opening.IsSeekable(),
                    log = opening.Log()](int number, std::string& error) -> std::unique_ptr<SoundReader> {
        if (!isSeekable) {
            error = path + ": another sound track needs a file that can be read again";
            return nullptr;
        }
        OpenOptions how = options; // the pictures too: the file's time begins with them
        how.audioTrack = number;
        Opening again(path, how, log);
        again.ConvertSound(info.nSampleRate, info.nChannels);
        if (!again.Run(error)) {
            return nullptr;
        }
        if (!again.audio.source) {
            error = path + ": sound track " + std::to_string(number) + " cannot be decoded";
            return nullptr;
        }
        return ReaderOf(again);
    };
    return tracks;
}

/// A file beside that of a timeline.
class FileCompanion : public Companion {
public:
    /// @param sound its number among the timeline's; none without
    FileCompanion(std::shared_ptr<FollowerState> state, std::shared_ptr<FrameNumbers> numbers,
                  std::shared_ptr<Timeline> timeline, std::optional<std::size_t> sound)
        : m_state(std::move(state)), m_numbers(std::move(numbers)), m_timeline(std::move(timeline)),
          m_sound(sound) {}

    void SetOffset(double seconds) override;
    double Offset() const override { return ToSeconds(m_state->offset); }
    bool LacksPicture() const override { return m_state->lacks; }
    std::int64_t FrameCount() override;
    bool HasSound() const override { return m_sound.has_value(); }
    void Hear() override;

private:
    TimelineSetup& Setup() const { return static_cast<FileTimeline&>(*m_timeline).Setup(); }

    const std::shared_ptr<FollowerState> m_state;
    const std::shared_ptr<FrameNumbers> m_numbers;
    const std::shared_ptr<Timeline> m_timeline;
    const std::optional<std::size_t> m_sound;
};

void FileCompanion::SetOffset(double seconds) {
    const Ticks size = ToTicks(std::abs(seconds));
    const Ticks offset = seconds < 0 ? -size : size;
    m_state->offset = offset;
    if (m_sound && Setup().sounds->Shift(*m_sound, offset)) {
        Setup().schedule->RenewSound();
    }
}

std::int64_t FileCompanion::FrameCount() {
    FrameIndex* const index = m_numbers->Whole();
    return index != nullptr ? index->Count() : 0;
}

void ChooseSound(TimelineSetup& setup, std::size_t number) {
    if (setup.sounds && setup.sounds->Choose(number)) {
        setup.schedule->RenewSound();
    }
}

void FileCompanion::Hear() {
    if (m_sound) {
        ChooseSound(Setup(), *m_sound);
    }
}

/// Enters the sound that was opened beside a timeline's own. @return its number
std::size_t EnterSound(Opening& opening, FileTimeline& timeline, MediaFile& reference) {
    TimelineSetup& setup = timeline.Setup();
    const AUDIO_STREAM_INFO info = opening.audio.info;
    if (setup.sounds) {
        return setup.sounds->Add(ReaderOf(opening));
    }
    setup.sounds = std::make_shared<SoundChoice>(nullptr, info.nSampleRate, info.nChannels, setup.fileEnd);
    const std::size_t number = setup.sounds->Add(ReaderOf(opening));
    AUDIO_STREAM_INFO silence = info;
    silence.dDuration = ToSeconds(setup.fileEnd);
    reference.audio = BeginSound(setup, silence, opening.AudioQueueBytes()).Detach();
    reference.facts.sampleRate = info.nSampleRate;
    return number;
}

/// @return a store's pictures in the order of the file
std::unique_ptr<FrameSource> StoredSource(Opening& opening, std::shared_ptr<FrameNumbers> numbers) {
    const VideoFacts facts{opening.video.info.dFrameRate, opening.IsSeekable(), std::move(numbers),
                           opening.HasSteadyRate()};
    return std::make_unique<StoredVideo>(opening.StoreVideo(), facts);
}

void ReleaseStream(IMediaStream*& stream) {
    if (stream != nullptr) {
        std::exchange(stream, nullptr)->Release();
    }
}

} // namespace

void MediaFile::Release() {
    ReleaseStream(video);
    ReleaseStream(audio);
}

bool OpenMediaFile(const std::string& path, const OpenOptions& options, MediaFile& file, std::string& error) {
    Opening opening(path, options);
    if (!opening.Run(error)) {
        return false;
    }
    file.facts = std::move(opening.facts);
    file.video = Begin(std::move(opening.video.source), opening.video.info, options.queueBytes).Detach();
    file.audio =
        Begin(std::move(opening.audio.source), opening.audio.info, opening.AudioQueueBytes()).Detach();
    return true;
}

bool OpenTimeline(const std::string& path, const OpenOptions& options, MediaFile& file,
                  std::shared_ptr<Timeline>& timeline, std::string& error) {
    Opening opening(path, options);
    if (!opening.Run(error)) {
        return false;
    }
    TimelineSetup setup;
    setup.log = opening.Log();
    setup.schedule = std::make_shared<SharedSchedule>();
    setup.fileEnd = opening.End();
    setup.seekable = opening.IsSeekable();
    ComPtr<QueuedStream> video;
    if (opening.video.source) {
        setup.frameRate = opening.video.info.dFrameRate;
        setup.numbers = opening.NumberPictures();
        const auto store = opening.StoreVideo();
        setup.store = store;
        const VideoFacts facts{setup.frameRate, setup.seekable, setup.numbers};
        video = Begin(std::make_unique<TimelineVideo>(setup.schedule, store, facts), opening.video.info,
                      std::min(options.queueBytes, timelineQueueBytes));
        setup.schedule->Join(SharedSchedule::Kind::Video, *video.Get());
    }
    ComPtr<QueuedStream> audio;
    if (opening.audio.source) {
        setup.sampleRate = opening.audio.info.nSampleRate;
        setup.sounds = std::make_shared<SoundChoice>(ReaderOf(opening), setup.sampleRate,
                                                     opening.audio.info.nChannels, setup.fileEnd);
        setup.tracks = TracksOf(path, options, opening);
        audio = BeginSound(setup, opening.audio.info, opening.AudioQueueBytes());
    }
    file.facts = std::move(opening.facts);
    file.video = video.Detach();
    file.audio = audio.Detach();
    timeline = std::make_shared<FileTimeline>(std::move(setup));
    return true;
}

bool OpenFileVideo(const std::string& path, const OpenOptions& options, FileVideo& video,
                   std::string& error) {
    return Opening(path, options).Run(video, error);
}

bool PlaceOfPicture(IMediaStream& stream, PicturePlace& place) {
    const KeptPicture kept = KeepPicture(stream);
    if (kept.frame) {
        place = kept.place;
    }
    return kept.frame != nullptr;
}

KeptPicture KeepPicture(IMediaStream& stream) {
    const ComPtr<TimedStream> timed = TimedStream::From(stream);
    return timed ? timed->Keep() : KeptPicture{};
}

std::string DescribePicture(IMediaStream& stream) {
    const ComPtr<TimedStream> timed = TimedStream::From(stream);
    return timed ? timed->Description() : std::string();
}

bool OpenFollower(const std::string& path, IMediaStream& reference, const OpenOptions& options,
                  MediaFile& file, std::string& error) {
    ComPtr<TimedStream> followed = TimedStream::From(reference);
    if (!followed) {
        error = path + ": there is no stream of a media file to follow";
        return false;
    }
    OpenOptions silent = options;
    silent.audio = false;
    Opening opening(path, silent);
    if (!opening.Run(error)) {
        return false;
    }
    file.facts = std::move(opening.facts);
    std::unique_ptr<FrameSource> source;
    std::size_t queueBytes = options.queueBytes;
    if (followed->HasPlaces()) {
        // Whoever plays a timeline goes back and forth; what a store holds need not lie in a queue too.
        queueBytes = 0;
        source = StoredSource(opening, opening.NumberPictures());
    } else {
        source = std::move(opening.video.source);
    }
    file.video = new Follower(Begin(std::move(source), opening.video.info, queueBytes), std::move(followed));
    file.audio = nullptr;
    return true;
}

bool OpenCompanion(const std::string& path, const std::shared_ptr<Timeline>& timeline, MediaFile& reference,
                   const OpenOptions& options, MediaFile& file, std::shared_ptr<Companion>& companion,
                   std::string& error) {
    auto* const own = dynamic_cast<FileTimeline*>(timeline.get());
    ComPtr<TimedStream> followed = reference.video != nullptr ? TimedStream::From(*reference.video) : nullptr;
    if (own == nullptr || !followed) {
        error = path + ": there are no pictures of a timeline to stand beside";
        return false;
    }
    Opening opening(path, options);
    const auto& sounds = own->Setup().sounds;
    if (sounds) {
        opening.ConvertSound(sounds->Rate(), static_cast<int>(sounds->Channels()));
    }
    if (!opening.Run(error)) {
        return false;
    }
    if (!opening.video.source) {
        error = path + ": no video stream that can be decoded";
        return false;
    }
    file.facts = opening.facts;
    std::optional<std::size_t> sound;
    if (opening.audio.source) {
        sound = EnterSound(opening, *own, reference);
    }
    const bool mayStay = opening.IsStill() || !options.filter.empty();
    const auto lack = mayStay ? Follower::Lack::NearestPicture : Follower::Lack::Sign;
    auto state = std::make_shared<FollowerState>();
    auto numbers = opening.NumberPictures();
    file.video = new Follower(Begin(StoredSource(opening, numbers), opening.video.info, 0),
                              std::move(followed), lack, state);
    file.audio = nullptr;
    companion = std::make_shared<FileCompanion>(std::move(state), std::move(numbers), timeline, sound);
    return true;
}

void HearReference(Timeline& timeline) {
    if (auto* const own = dynamic_cast<FileTimeline*>(&timeline)) {
        TimelineSetup& setup = own->Setup();
        ChooseSound(setup, setup.tracks ? setup.tracks->chosen.load() : 0);
    }
}

bool HearTrack(Timeline& timeline, int track, std::string& error) {
    auto* const own = dynamic_cast<FileTimeline*>(&timeline);
    if (own == nullptr || !own->Setup().tracks) {
        error = "there is no sound of a file";
        return false;
    }
    TimelineSetup& setup = own->Setup();
    SoundTracks& tracks = *setup.tracks;
    const std::lock_guard guard(tracks.lock);
    auto found = tracks.sounds.find(track);
    if (found == tracks.sounds.end()) {
        auto reader = tracks.open(track, error);
        if (!reader) {
            return false;
        }
        found = tracks.sounds.emplace(track, setup.sounds->Add(std::move(reader))).first;
    }
    // While the sound of a file beside it is heard, it goes on.
    const bool isHeard = setup.sounds->Number() == tracks.chosen.exchange(found->second);
    if (isHeard) {
        ChooseSound(setup, found->second);
    }
    return true;
}

} // namespace kq::streams
