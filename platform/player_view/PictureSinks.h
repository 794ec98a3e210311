/// @file
#pragma once

#include <kqplayer/player_view.h>

#include <mutex>

namespace kq::playerview {

struct PictureSink {
    PVPictureSink function = nullptr;
    void* userData = nullptr;
};

/// The sinks of one view: its own, and the one that is common to all views. Sinks run under the lock, so that
/// replacing one waits until it no longer runs.
class PictureSinks {
public:
    void SetOwn(PictureSink sink);
    void SetCommon(PictureSink sink);
    void Call(void* view, int number, int width, int height, const unsigned char* pixels);

private:
    std::mutex m_lock;
    PictureSink m_own;
    PictureSink m_common;
};

} // namespace kq::playerview
