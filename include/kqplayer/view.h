/// @file
/// The native view that a player view draws into, for hosts that show pictures without a player.
#pragma once

#include "bitmap.h"
#include "export.h"
#include "records.h"

/// A native view. Not thread-safe: its owner makes one call at a time.
/// Operations that forward to the view library return 0 before Create() has succeeded.
class KQ_API IYv12View {
public:
    virtual ~IYv12View() = default;
    /// 0: off, otherwise the crop rectangle is used.
    virtual int SetCropMode(unsigned int nMode) = 0;
    virtual int SetMaskMode(unsigned int nMode) = 0; ///< handed to the view library
    virtual int SetCallbackWnd(void* pWindow) = 0;   ///< handed to the view library
    /// @param pRect the part of the picture to show, in source pixels; null for all of it
    virtual int SetCropRect(tagRECT* pRect) = 0;
    /// @param pRect receives the crop rectangle, in source pixels
    virtual int GetCropRect(tagRECT* pRect) = 0;
    virtual int SetDisplayResizeMode(IMAGE_RESIZE_METHOD eMethod) = 0; ///< IMAGE_RESIZE_FIT at first
    virtual int Update() = 0;                                          ///< draws the last picture again
    /// @return the window that shows the view, or null
    virtual void* GetHwnd() = 0;
    virtual void SetHwnd(void* pWindow) = 0; ///< does nothing
    /// Makes the view on a parent window (see IPlayerViewMgr::CreatePlayView()).
    /// @param pParent the parent window
    /// @param rect    placement in the parent, in pixels
    /// @param a,b     not read
    /// @return non-zero for success; 0 when the view library cannot be loaded or refuses the window
    virtual int Create(void* pParent, const VRECT& rect, unsigned long a, unsigned long b) = 0;
    virtual int ShowYV12Image(tagBITMAPINFO* pInfo, unsigned char* pBits) = 0; ///< does nothing, returns 0
    /// Converts a planar picture to 32-bit RGB and shows it. @return 1 when it was handed to the view
    /// library; 0 also for a picture without one of its planes or without a size
    virtual int ShowYUVImage(const tagYUVImage* pImage) = 0;
    /// @param x,y display aspect ratio of the source; 0 for square pixels
    virtual void SetSrcAspectRatio(int x, int y) {
        (void)x;
        (void)y;
    }
};

/// Makes a view over PlayerView.so. @return a view that the caller deletes
KQ_API IYv12View* MakeYv12View();
