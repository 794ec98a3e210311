#include "Stills.h"

#include "Picture.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace kqplay {
namespace {

/// @return a name in the current folder that no file has: "clip-0003.120.png", then "clip-0003.120_2.png"
std::string FreeName(const std::string& file, double seconds, const std::vector<std::string>& suffixes) {
    char time[32];
    std::snprintf(time, sizeof time, "-%08.3f", std::max(0.0, seconds));
    const std::string stem = std::filesystem::path(file).stem().string() + time;
    for (int attempt = 1;; ++attempt) {
        std::string name = stem + (attempt > 1 ? "_" + std::to_string(attempt) : "") + ".png";
        std::error_code ignored;
        const bool taken = std::any_of(suffixes.begin(), suffixes.end(), [&](const std::string& suffix) {
            return std::filesystem::exists(
                std::filesystem::symlink_status(WithSuffix(name, suffix), ignored));
        });
        if (!taken) {
            return name;
        }
    }
}

/// @return the time in the file of a picture that the player has, seconds
double TimeOf(const MEDIA_FRAME& frame, kq::streams::Timeline& timeline) {
    const double play = static_cast<double>(frame.llPTS) / kq::TicksPerSecond;
    const kq::streams::PicturePlace place = timeline.PlaceOfFrame(timeline.FrameNumber(play));
    return place.number >= 0 ? place.time : timeline.MediaTime(play);
}

bool SavePicture(PlaybackParts& parts, const MEDIA_FRAME* frame, const std::string& path) {
    if (!frame) {
        return parts.Fail(path + ": there is no picture to write");
    }
    if (!parts.stills) {
        parts.stills.emplace();
    }
    std::string error;
    return parts.stills->Save(*frame, path, parts.output, error) || parts.Fail(error);
}

/// @param frame of the reference; the second view's own follows it
bool SavePictures(PlaybackParts& parts, const MEDIA_FRAME* frame, const std::string& path) {
    if (!parts.second.video) {
        return SavePicture(parts, frame, path);
    }
    return SavePicture(parts, frame, WithSuffix(path, "-1")) &&
           SavePicture(parts, parts.second.video->GetCurrentFrame(), WithSuffix(path, "-2"));
}

} // namespace

bool TakeCaptures(PlaybackParts& parts) {
    for (const CaptureRequest& request : parts.options.captures) {
        if (!parts.file.video) {
            return parts.FailFile("no pictures to capture");
        }
        parts.file.video->Seek(request.seconds, kq::ExactSeek);
        if (!SavePictures(parts, parts.file.video->GetCurrentFrame(), request.path)) {
            return false;
        }
    }
    return true;
}

bool TakeScreenshot(PlaybackParts& parts) {
    if (!parts.file.video) {
        return true;
    }
    parts.navigation->Arrive(); // the progress line shows the target already
    const MEDIA_FRAME* frame = parts.file.video->GetCurrentFrame();
    if (!frame) {
        return false;
    }
    const std::vector<std::string> suffixes =
        parts.second.video ? std::vector<std::string>{"-1", "-2"} : std::vector<std::string>{""};
    const std::string name = FreeName(parts.options.file, TimeOf(*frame, *parts.timeline), suffixes);
    if (!SavePictures(parts, frame, name)) {
        return true;
    }
    std::string names;
    for (const std::string& suffix : suffixes) {
        names += (names.empty() ? "" : ", ") + WithSuffix(name, suffix);
    }
    parts.Say("saved " + names);
    return true;
}

} // namespace kqplay
