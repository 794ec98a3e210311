#include "Opening.h"

#include "Stills.h"
#include "VideoSize.h"

#include <algorithm>
#include <filesystem>

namespace kqplay {
namespace {

/// The wall clock that paces silent playback moves in steps of this many seconds.
constexpr double wallClockStep = 0.010;

/// Decoded frames wait in queues of this size: an eighth of a second of 1080p60 in planar 4:2:0.
constexpr std::size_t queueBytes = std::size_t{24} << 20;

void HandOverPicture(void*, int view, int width, int height, const unsigned char* pixels, void* user) {
    auto& parts = *static_cast<PlaybackParts*>(user);
    parts.monitor->OnPicture(view - parts.firstView, width, height, pixels);
}

bool OpenFile(PlaybackParts& parts) {
    std::string error;
    // Sound settings go to the environment, which may not change once decoders run on threads of their own.
    if (parts.options.audio != AudioTarget::Off && !parts.sound.Configure(parts.options, error)) {
        return parts.Fail(error);
    }
    kq::streams::OpenOptions how;
    how.video = parts.options.video;
    how.audio = parts.options.audio != AudioTarget::Off;
    how.audioTrack = parts.options.audioTrack;
    how.queueBytes = queueBytes;
    how.log = [&parts](const std::string& line) { parts.output.Note(line); };
    if (!kq::streams::OpenTimeline(parts.options.file, how, parts.file, parts.timeline, error)) {
        return parts.Fail(error);
    }
    if (parts.trace.IsOpen()) {
        parts.timeline->FrameCount(); // waits, so that each of its pictures has a number
    }
    return true;
}

/// Opens what the second view shows beside the file, if it is to show anything else.
bool OpenSecond(PlaybackParts& parts) {
    if (parts.options.compare.empty() && parts.options.filter.empty()) {
        return true;
    }
    if (!parts.file.video) {
        return parts.FailFile("no pictures to show beside others");
    }
    kq::streams::OpenOptions how;
    how.queueBytes = queueBytes;
    how.filter = parts.options.filter;
    how.log = [&parts](const std::string& line) { parts.output.Note(line); };
    const std::string& path = parts.options.filter.empty() ? parts.options.compare : parts.options.file;
    std::string error;
    return kq::streams::OpenFollower(path, *parts.file.video, how, parts.second, error) || parts.Fail(error);
}

/// @param frame number of the picture that is to be the first one
bool FindFrame(PlaybackParts& parts, std::int64_t frame) {
    if (!parts.file.video) {
        return parts.FailFile("no pictures to begin at");
    }
    const kq::streams::PicturePlace place = parts.timeline->PlaceOfFrame(frame);
    if (place.number < 0) {
        const std::int64_t count = parts.timeline->FrameCount();
        return parts.FailFile(count > 0 ? "there is no frame " + std::to_string(frame) +
                                              ": the last one is " + std::to_string(count - 1)
                                        : "its pictures cannot be counted, because it can be read only once");
    }
    const double length = parts.options.length.value_or(kq::streams::Timeline::openEnd);
    if (parts.options.speed > 0) {
        parts.range = {place.time, place.time + length};
    } else {
        const double end = place.time + place.duration;
        parts.range = {std::max(0.0, end - length), end};
    }
    return true;
}

/// A range begins with a picture: positions are counted from there.
void FindStart(PlaybackParts& parts) {
    const double start = parts.options.start;
    parts.range.begin = start;
    if (parts.options.length) {
        parts.range.end = start + *parts.options.length;
    }
    kq::streams::PicturePlace place;
    if (parts.file.video && start > 0) {
        parts.file.video->Seek(start, kq::ExactSeek);
        if (kq::streams::PlaceOfPicture(*parts.file.video, place) && start < place.time + place.duration) {
            parts.range.begin = std::min(start, place.time);
        }
    }
}

/// Finds what is to be played, and makes sure that it can be.
bool FindRange(PlaybackParts& parts) {
    if (parts.options.frame) {
        if (!FindFrame(parts, *parts.options.frame)) {
            return false;
        }
    } else {
        FindStart(parts);
    }
    kq::streams::Timeline& timeline = *parts.timeline;
    if (parts.options.loop &&
        !timeline.SetRange(parts.range.begin, parts.range.end, parts.options.loopCount)) {
        return parts.FailFile("there is nothing to repeat: the range holds no picture or sample, or the file "
                              "can be read only once");
    }
    if (parts.options.speed < 0 && timeline.SetRate(parts.options.speed) > 0) {
        return parts.FailFile("cannot be played backwards, because it can be read only once");
    }
    return true;
}

bool OpenSound(PlaybackParts& parts) {
    if (!parts.file.audio) {
        return true;
    }
    std::string error;
    if (parts.sound.Open(parts.file.facts.sampleRate, parts.output, error)) {
        parts.sound.SetGain(parts.options.mute ? 0 : parts.options.volume / 100.0);
        return true;
    }
    if (parts.sound.IsRecording()) {
        return parts.Fail(parts.options.wavPath + ": cannot be recorded to: " + error);
    }
    if (!parts.file.video) {
        return parts.FailFile("no audio device (" + error + "), and no pictures to show");
    }
    parts.Notice("no audio device (" + error + "): playing without sound");
    return true;
}

int ViewCount(const PlaybackParts& parts) {
    return parts.second.video ? 2 : parts.options.views;
}

/// @return the picture that a view shows, while its stream stands there
kq::streams::KeptPicture KeepShown(const PlaybackParts& parts, int view) {
    const bool showsSecond = parts.second.video && view == 1;
    IMediaStream* const video = showsSecond ? parts.second.video : parts.file.video;
    return video ? kq::streams::KeepPicture(*video) : kq::streams::KeptPicture{};
}

bool OpenPlayer(PlaybackParts& parts) {
    parts.monitor.emplace(parts.player, parts.trace,
                          parts.sound.IsOpen() ? parts.sound.Period() : wallClockStep);
    parts.navigation.emplace(parts.player, *parts.monitor);
    parts.navigation->SetFile(parts.file.video, *parts.timeline);
    parts.monitor->SetPictures(static_cast<std::size_t>(parts.file.video ? ViewCount(parts) : 0),
                               [&parts](int view) { return KeepShown(parts, view); });
    std::string error;
    if (!parts.player.Create(*parts.monitor, error)) {
        return parts.Fail(error);
    }
    if (parts.sound.IsOpen()) {
        parts.player.SetAudio(parts.file.audio);
    }
    return true;
}

/// @return the parent for the views, each of which would like to have this size
void* OpenWindow(PlaybackParts& parts, int width, int height) {
    if (parts.options.headless) {
        return kq::OffScreenParent();
    }
    std::string name = std::filesystem::path(parts.options.file).filename().string();
    if (!parts.options.compare.empty()) {
        name += " | " + std::filesystem::path(parts.options.compare).filename().string();
    }
    if (!parts.options.filter.empty()) {
        name += " | " + parts.options.filter;
    }
    std::string error;
    parts.window = VideoWindow::Open(name + " - kqplay", width, height, ViewCount(parts), error);
    if (!parts.window) {
        parts.Notice("no window (" + error + "): playing off-screen");
        return kq::OffScreenParent();
    }
    return parts.window->Handle();
}

bool OpenView(PlaybackParts& parts) {
    if (!parts.file.video) {
        return true;
    }
    int width = 1;
    int height = 1;
    DisplaySize(parts.file.video, width, height);
    void* parent = OpenWindow(parts, width, height);
    parts.firstView = parts.stills ? 1 : 0;
    for (int i = 0; i < ViewCount(parts); ++i) {
        if (!parts.player.CreateView(parent, width, height)) {
            return parts.FailFile("cannot show pictures: " + parts.viewLibrary.WhyNoView());
        }
    }
    if (!parts.player.SetVideo(parts.file.video, parts.second.video)) {
        return parts.FailFile("the pictures have no known format");
    }
    if (parts.window) {
        parts.window->Adopt(parts.player.ViewWindows());
    }
    parts.showsLate = parts.viewLibrary.SetPictureSink(HandOverPicture, &parts);
    if (!parts.showsLate && parts.trace.IsOpen()) {
        parts.Notice("PlayerView.so hands no pictures out: the trace has none");
    }
    return true;
}

} // namespace

bool OpenLogAndTrace(PlaybackParts& parts) {
    std::string error;
    if (!parts.output.Redirect(parts.options.log, parts.options.verbose, error)) {
        return parts.Fail(error);
    }
    parts.progress.emplace(parts.output.Screen(), parts.options.verbose);
    return parts.options.trace.empty() ||
           parts.trace.Open(parts.options.trace, parts.options.traceHash, error) || parts.Fail(error);
}

bool OpenPlayback(PlaybackParts& parts) {
    if (!OpenFile(parts) || !OpenSecond(parts)) {
        return false;
    }
    parts.DescribePictures([&parts](const std::string& line) { parts.output.Note(line); });
    return TakeCaptures(parts) && FindRange(parts) && OpenSound(parts) && OpenPlayer(parts) &&
           OpenView(parts);
}

} // namespace kqplay
