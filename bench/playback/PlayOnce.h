/// @file
/// A clip without sound, played by this process in one view.
#pragma once

#include <kqplayer/records.h>

#include <host/kqplay/Player.h>
#include <sys/types.h>

#include <functional>
#include <string>

namespace bench {

/// What playing used, in seconds of processor time, and how it went.
struct Cost {
    double own = 0;
    double server = 0;
    int late = 0;
    int pictures = 0;
    double All() const { return own + server; }
};

/// How a clip is shown, in a view of 1920x1080.
struct Showing {
    void* parent = nullptr;                          ///< of the view
    const KQViewDisplay* display = nullptr;          ///< null: the whole picture
    std::function<void(kqplay::Player&)> begin = {}; ///< called when the view is there
    std::function<void(kqplay::Player&)> end = {};   ///< called when all has been played
};

/// @param server that draws
/// @throw std::runtime_error when it cannot be played
Cost PlayOnce(const std::string& clip, pid_t server, const Showing& showing);

} // namespace bench
