#include "PlaybackParts.h"

#include <cstdio>
#include <utility>
#include <vector>

namespace kqplay {

PlaybackParts::~PlaybackParts() {
    if (monitor) {
        monitor->Halt();
    }
    viewLibrary.SetPictureSink(nullptr, nullptr); // before the monitor goes
    player.Close();
    comparison.reset();
    file.Release();
}

bool PlaybackParts::Fail(const std::string& reason) {
    if (progress) {
        progress->Clear();
    }
    std::fprintf(stderr, "kqplay: %s\n", reason.c_str());
    return false;
}

void PlaybackParts::DescribePictures(const std::function<void(const std::string&)>& tell) const {
    std::vector<std::pair<std::string, IMediaStream*>> videos = {{options.file, file.video}};
    for (std::size_t i = 0; comparison && i < comparison->Count(); ++i) {
        videos.emplace_back(comparison->At(i).name, comparison->At(i).file.video);
    }
    for (const auto& [name, video] : videos) {
        const std::string text = video ? kq::streams::DescribePicture(*video) : "";
        if (!text.empty()) {
            tell(std::string(name).append(": ").append(text));
        }
    }
}

void PlaybackParts::Say(const std::string& text) {
    progress->Clear();
    dprintf(output.Screen(), "%s\n", text.c_str());
}

} // namespace kqplay
