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

/// A video of which pictures are written, and what their names have before the extension.
struct Source {
    std::string suffix;
    IMediaStream* video;
};

std::vector<Source> SourcesOf(const PlaybackParts& parts) {
    if (!parts.comparison) {
        return {{"", parts.file.video}};
    }
    std::vector<Source> sources = {{"-1", parts.file.video}, {"-2", parts.BesideVideo()}};
    if (parts.comparison->Now() == Layout::Difference) {
        sources.push_back({"-difference", parts.comparison->Beside().difference.Get()});
    }
    return sources;
}

/// Takes the pictures of one moment, while play may go on.
/// @return the frames of the sources, valid until one of these is asked again; the first may be null
std::vector<const MEDIA_FRAME*> TakeFrames(const std::vector<Source>& sources) {
    std::vector<const MEDIA_FRAME*> frames(sources.size());
    for (bool isPair = false; !isPair;) {
        const MEDIA_FRAME* const first = sources[0].video->GetCurrentFrame();
        const std::int64_t before = first ? first->llPTS : KQ_NO_PTS;
        for (std::size_t i = sources.size(); i-- > 0;) { // a difference asks the others
            frames[i] = sources[i].video->GetCurrentFrame();
        }
        isPair = !frames[0] || frames[0]->llPTS == before;
    }
    return frames;
}

bool SavePictures(PlaybackParts& parts, const std::vector<Source>& sources,
                  const std::vector<const MEDIA_FRAME*>& frames, const std::string& path) {
    for (std::size_t i = 0; i < sources.size(); ++i) {
        if (!SavePicture(parts, frames[i], WithSuffix(path, sources[i].suffix))) {
            return false;
        }
    }
    return true;
}

} // namespace

bool TakeCaptures(PlaybackParts& parts) {
    for (const CaptureRequest& request : parts.options.captures) {
        if (!parts.file.video) {
            return parts.FailFile("no pictures to capture");
        }
        parts.file.video->Seek(request.seconds, kq::ExactSeek);
        const std::vector<Source> sources = SourcesOf(parts);
        if (!SavePictures(parts, sources, TakeFrames(sources), request.path)) {
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
    const std::vector<Source> sources = SourcesOf(parts);
    const std::vector<const MEDIA_FRAME*> frames = TakeFrames(sources);
    if (!frames[0]) {
        return false;
    }
    std::vector<std::string> suffixes;
    for (const Source& source : sources) {
        suffixes.push_back(source.suffix);
    }
    const std::string name = FreeName(parts.options.file, TimeOf(*frames[0], *parts.timeline), suffixes);
    if (!SavePictures(parts, sources, frames, name)) {
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
