#include "PlaybackParts.h"

#include <cstdio>
#include <utility>

namespace kqplay {

PlaybackParts::~PlaybackParts() {
    if (monitor) {
        monitor->Halt();
    }
    viewLibrary.SetPictureSink(nullptr, nullptr); // before the monitor goes
    player.Close();
    second.Release();
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
    const std::string other =
        options.filter.empty() ? options.compare : options.file + " | " + options.filter;
    for (const auto& [name, video] : {std::pair(options.file, file.video), {other, second.video}}) {
        const std::string text = video ? kq::streams::DescribePicture(*video) : "";
        if (!text.empty()) {
            tell(name + ": " + text);
        }
    }
}

void PlaybackParts::Say(const std::string& text) {
    progress->Clear();
    dprintf(output.Screen(), "%s\n", text.c_str());
}

} // namespace kqplay
