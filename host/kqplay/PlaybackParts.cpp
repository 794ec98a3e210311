#include "PlaybackParts.h"

#include <cstdio>

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

void PlaybackParts::Say(const std::string& text) {
    progress->Clear();
    dprintf(output.Screen(), "%s\n", text.c_str());
}

} // namespace kqplay
