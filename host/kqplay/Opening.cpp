#include "Opening.h"

#include "CompareControl.h"
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

/// Decoded pictures of all files beside the first are kept up to this size together, if there are several.
constexpr std::size_t mostStored = std::size_t{256} << 20;

void HandOverPicture(void*, int view, int width, int height, const unsigned char* pixels, void* user) {
    auto& parts = *static_cast<PlaybackParts*>(user);
    const int number = view - parts.firstView;
    const bool isPixel = width == 1 && height == 1;
    if (!isPixel || !parts.comparison || !parts.comparison->IsUnseen(number)) {
        parts.monitor->OnPicture(number, width, height, pixels);
    }
}

/// Says what is not played of a file.
void TellLeftOut(PlaybackParts& parts, const std::string& name, const kq::streams::MediaFile& file) {
    if (!file.facts.leftOut.empty()) {
        parts.Notice(name + ": " + file.facts.leftOut);
    }
}

bool OpenFile(PlaybackParts& parts) {
    std::string error;
    // Sound settings go to the environment, which may not change once decoders run on threads of their own.
    if (parts.options.audio != AudioTarget::Off && !parts.lasting.isSoundConfigured) {
        if (!parts.sound.Configure(parts.options, error)) {
            return parts.Fail(error);
        }
        parts.lasting.isSoundConfigured = true;
    }
    kq::streams::OpenOptions how;
    how.video = parts.options.video;
    how.audio = parts.options.audio != AudioTarget::Off;
    how.audioTrack = parts.options.audioTrack;
    how.queueBytes = queueBytes;
    parts.Watch(how);
    if (!kq::streams::OpenTimeline(parts.options.file, how, parts.file, parts.timeline, error)) {
        return parts.Fail(error);
    }
    TellLeftOut(parts, parts.options.file, parts.file);
    if (parts.trace.IsOpen()) {
        parts.timeline->FrameCount(); // waits, so that each of its pictures has a number
    }
    return true;
}

/// Opens one thing that stands beside the file.
/// @param name what it is called
bool OpenOther(PlaybackParts& parts, const ComparedFile& other, const std::string& name) {
    kq::streams::OpenOptions how;
    how.audio = parts.options.audio != AudioTarget::Off && parts.options.filter.empty();
    how.filter = parts.options.filter;
    parts.Watch(how);
    how.storeBytes = parts.options.compare.size() > 1 ? mostStored / parts.options.compare.size() : 0;
    kq::streams::MediaFile file;
    std::shared_ptr<kq::streams::Companion> companion;
    std::string error;
    if (!kq::streams::OpenCompanion(other.path, parts.timeline, parts.file, how, file, companion, error)) {
        return parts.Fail(error);
    }
    TellLeftOut(parts, name, file);
    if (parts.trace.IsOpen()) {
        companion->FrameCount(); // as with the first
    }
    parts.comparison->Add(name, file, std::move(companion), other.offset);
    return true;
}

/// Opens what stands beside the file, if anything is to.
bool OpenOthers(PlaybackParts& parts) {
    if (!parts.options.IsComparison()) {
        return true;
    }
    if (!parts.file.video) {
        return parts.FailFile("no pictures to show beside others");
    }
    parts.comparison.emplace(*parts.file.video, parts.timeline);
    const std::string& path = parts.options.file;
    const std::string& filter = parts.options.filter;
    bool isOpen = filter.empty() || OpenOther(parts, {path}, path + " | " + filter);
    for (const ComparedFile& other : parts.options.compare) {
        isOpen = isOpen && OpenOther(parts, other, other.path);
    }
    if (isOpen) {
        parts.comparison->SetLayout(parts.options.layout);
        parts.comparison->KeepInStep();
    }
    return isOpen;
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
    // The device of a file before serves on.
    if (parts.sound.IsOpen() || parts.sound.Open(parts.file.facts.sampleRate, parts.output, error)) {
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

Arrangement ArrangementOf(const PlaybackParts& parts) {
    Arrangement arrangement;
    arrangement.isComparison = parts.comparison.has_value();
    arrangement.views = arrangement.isComparison ? 2 : parts.options.views;
    arrangement.layout = parts.options.layout;
    return arrangement;
}

/// @return the picture that a view shows, while its stream stands there
kq::streams::KeptPicture KeepShown(PlaybackParts& parts, int view) {
    if (parts.comparison) {
        return parts.comparison->KeepShown(view);
    }
    return parts.file.video ? kq::streams::KeepPicture(*parts.file.video) : kq::streams::KeptPicture{};
}

bool OpenPlayer(PlaybackParts& parts) {
    parts.monitor.emplace(parts.player, parts.trace, parts.IsHeard() ? parts.sound.Period() : wallClockStep);
    parts.navigation.emplace(parts.player, *parts.monitor);
    parts.navigation->SetFile(parts.file.video, *parts.timeline);
    parts.monitor->SetPictures(static_cast<std::size_t>(parts.file.video ? ArrangementOf(parts).views : 0),
                               [&parts](int view) { return KeepShown(parts, view); });
    std::string error;
    if (!parts.player.Create(*parts.monitor, error)) {
        return parts.Fail(error);
    }
    if (parts.IsHeard()) {
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
    for (const ComparedFile& other : parts.options.compare) {
        name += " | " + std::filesystem::path(other.path).filename().string();
    }
    if (!parts.options.filter.empty()) {
        name += " | " + parts.options.filter;
    }
    if (parts.window) {
        parts.window->Renew(name + " - kqplay");
        return parts.window->Handle();
    }
    std::string error;
    parts.window = VideoWindow::Open(name + " - kqplay", {width, height}, ArrangementOf(parts),
                                     parts.options.wayland, parts.viewLibrary, error);
    if (!parts.window) {
        parts.Notice("no window (" + error + "): playing off-screen");
        parts.lasting.options.headless = true;
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
    parts.firstView = ViewsMade();
    for (int i = 0; i < ArrangementOf(parts).views; ++i) {
        const bool isSecond = parts.window && parts.comparison && i == 1;
        if (!parts.player.CreateView(isSecond ? parts.window->SecondHandle() : parent, width, height)) {
            return parts.FailFile("cannot show pictures: " + parts.viewLibrary.WhyNoView());
        }
    }
    const bool hasFormat = parts.comparison
                               ? parts.player.SetVideo(&parts.comparison->View(0), &parts.comparison->View(1))
                               : parts.player.SetVideo(parts.file.video, nullptr);
    if (!hasFormat) {
        return parts.FailFile("the pictures have no known format");
    }
    if (parts.window) {
        parts.window->Adopt(parts.player.ViewWindows());
    }
    parts.showsLate = parts.viewLibrary.SetPictureSink(HandOverPicture, &parts, parts.options.traceHash);
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
    if (!OpenFile(parts) || !OpenOthers(parts)) {
        return false;
    }
    AlignFiles(parts);
    parts.DescribePictures([&parts](const std::string& line) { parts.output.Note(line); });
    return TakeCaptures(parts) && FindRange(parts) && OpenSound(parts) && OpenPlayer(parts) &&
           OpenView(parts);
}

} // namespace kqplay
