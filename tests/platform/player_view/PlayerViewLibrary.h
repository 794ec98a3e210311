/// @file
#pragma once

#include <kqplayer/player_view.h>

namespace kqtest {

/// PlayerView.so of this build, its functions looked up by name as the component does.
/// @throw std::runtime_error from the constructor when the library or a function is missing
struct PlayerViewLibrary {
    PlayerViewLibrary();
    decltype(&PVCreatePlayerView) create;
    decltype(&PVDestroyPlayerView) destroy;
    decltype(&PVSetCropMode) setCropMode;
    decltype(&PVSetMaskMode) setMaskMode;
    decltype(&PVSetCallbackWnd) setCallbackWnd;
    decltype(&PVSetCropRect) setCropRect;
    decltype(&PVGetCropRect) getCropRect;
    decltype(&PVSetDisplayResizeMode) setResizeMode;
    decltype(&PVSetDisplayScale) setDisplayScale;
    decltype(&PVUpdate) update;
    decltype(&PVGetHwnd) getHwnd;
    decltype(&PVShowRGB32Image) show;
    decltype(&PVGetPictureBuffer) lend;
    decltype(&PVSetPictureSink) setSink;
};

} // namespace kqtest
