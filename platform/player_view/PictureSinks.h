/// @file
#pragma once

#include <kqplayer/player_view.h>

#include <mutex>

namespace kq::playerview {

struct PictureSink {
    PVPictureSink function = nullptr;
    void* userData = nullptr;
    bool readsPixels = true;
};

/// The sinks of one view: its own, and the one that is common to all views. Sinks run under the lock, so that
/// replacing one waits until it no longer runs.
class PictureSinks {
public:
    void SetOwn(PictureSink sink);
    void SetCommon(PictureSink sink);
    /// @param isWhole every pixel was made; sinks that read pixels get no other picture
    void Call(void* view, int number, int width, int height, const unsigned char* pixels, bool isWhole);
    bool ReadPixels();

private:
    std::mutex m_lock;
    PictureSink m_own;
    PictureSink m_common;
};

} // namespace kq::playerview
