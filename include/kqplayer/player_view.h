/// @file
/// The view library, PlayerView.so: the functions that the component looks up in it by name.
/// A host may put its own library of that name beside its executable: the first twelve functions are
/// required.
///
/// One handle is one view. Functions may be called from any thread; calls on one view are serialised. Those
/// that return an int return 1, or 0 when the handle is null or an argument cannot be used.
///
/// A view draws by itself when its window is uncovered or resized. When somebody else destroys the window,
/// usually along with its parent, or when the display goes away, the view goes on as an off-screen view.
#pragma once

#include "export.h"
#include "records.h"
#include "view.h"

/// Makes a view.
/// @param pParent X11 window id of the parent as a pointer-sized value; null: a top-level window; 1, or no
///        display: an off-screen view, which has no window and only feeds its picture sink; or a value of
///        PVAddWaylandParent() (wayland.h) or PVAddPictureReceiver() (picture_receiver.h)
/// @param pRect placement in pixels, inside the parent or on the screen
/// @return a handle, or null when the parent is not a window
KQ_EXTERN_C void* PVCreatePlayerView(void* pParent, VRECT* pRect);
/// Destroys the view and its window. Returns when its event thread has ended.
KQ_EXTERN_C void PVDestroyPlayerView(void* pView);
KQ_EXTERN_C int PVSetCropMode(void* pView,
                              unsigned int nMode); ///< 0: off, otherwise the crop rectangle is used
KQ_EXTERN_C int PVSetMaskMode(void* pView, unsigned int nMode); ///< accepted; no mask is drawn
KQ_EXTERN_C int PVSetCallbackWnd(void* pView, void* pWindow);   ///< accepted; views call nobody back
KQ_EXTERN_C int PVSetCropRect(void* pView, tagRECT* pRect);     ///< source pixels; null: the whole picture
/// @param pView the view
/// @param pRect receives the crop rectangle, in source pixels
KQ_EXTERN_C int PVGetCropRect(void* pView, tagRECT* pRect);
/// @return 0 also for a method that does not exist
KQ_EXTERN_C int PVSetDisplayResizeMode(void* pView, IMAGE_RESIZE_METHOD eMethod);
/// @param pView the view
/// @param x,y   display aspect ratio of the source; a part of 0 or less: square pixels
KQ_EXTERN_C void PVSetDisplayScale(void* pView, int x, int y);
KQ_EXTERN_C int PVUpdate(void* pView); ///< draws the last picture again
/// @return the X11 window id of the view's window as a pointer-sized value; null for an off-screen view, and
///         once somebody else has destroyed the window
KQ_EXTERN_C void* PVGetHwnd(void* pView);
/// Shows a picture. The pixels (B, G, R, 255, top-down, rows of 4 * width bytes) are copied or drawn before
/// the call returns. A picture without pixels or with a side outside 1 to 16384 is ignored.
KQ_EXTERN_C void PVShowRGB32Image(void* pView, int nWidth, int nHeight, unsigned char* pPixels);

/// Optional: lends the memory that the next picture will be drawn from, so that a caller who makes its
/// pictures there saves the copy. Valid until the next call of this function or of PVShowRGB32Image() for the
/// view, to which it is then given as the pixels.
/// @return room for nWidth * nHeight * 4 bytes, or null: off-screen, no memory, or not a size that can be
///         shown
KQ_EXTERN_C unsigned char* PVGetPictureBuffer(void* pView, int nWidth, int nHeight);

/// Optional: tells how large the pictures will be, so that the first of them does not wait for memory. Any of
/// them may have another size all the same.
/// @return 0 also for a size that cannot be shown
KQ_EXTERN_C int PVExpectPictures(void* pView, int nWidth, int nHeight);

/// @name Looking closely
/// Optional, the first four together: what IPlayerView2 needs. The display that is set with them stands above
/// crop mode, crop rectangle and resize mode; PVSetDisplay() with null gives these back their say.
/// @{

/// Sets what part of its pictures the view shows, and how, and draws the picture on show again.
/// @param pView    the view
/// @param pDisplay as IPlayerView2::SetDisplay() has it; null for what the other functions have set
/// @return 1; 2 when the picture on show was not made whole and lacks what is shown now: it is drawn with the
///         next call of PVShowRGB32Image() or PVShowRGB32Part(); 0 for a display that cannot be used
KQ_EXTERN_C int PVSetDisplay(void* pView, const KQViewDisplay* pDisplay);
/// @param pView    the view
/// @param pDisplay receives the display, its part in pixels of the picture on show
KQ_EXTERN_C int PVGetDisplay(void* pView, KQViewDisplay* pDisplay);
/// @param pView    the view
/// @param pMapping receives where the picture on show lies in the window
/// @return 0 also before the first picture
KQ_EXTERN_C int PVGetMapping(void* pView, KQViewMapping* pMapping);
/// @param pView the view
/// @param nX,nY column and row in the picture on show
/// @param pnRgb receives 0x00RRGGBB
/// @return 0 also for a pixel that is not on show, and without a window
KQ_EXTERN_C int PVGetShownPixel(void* pView, int nX, int nY, std::uint32_t* pnRgb);

/// Tells what a picture has to hold, so that a caller need not make the rest of it.
/// @param pView          the view
/// @param nWidth,nHeight size of the picture that comes next
/// @param pPart          receives the part; the whole picture while a sink reads the pixels
KQ_EXTERN_C int PVGetWantedPart(void* pView, int nWidth, int nHeight, tagRECT* pPart);
/// As PVShowRGB32Image(), for a picture of which only a part was made. The other pixels are never shown, and
/// sinks that read pixels are not called.
/// @param pView   the view
/// @param nWidth  of the whole picture, pixels
/// @param nHeight likewise
/// @param pPixels the whole picture's memory
/// @param pPart   the part that was made; null: the whole
KQ_EXTERN_C void PVShowRGB32Part(void* pView, int nWidth, int nHeight, unsigned char* pPixels,
                                 const tagRECT* pPart);
/// @}

/// Receives every picture handed to a view, on the thread that shows it, before it is drawn.
/// It may not show pictures, make or destroy views, or set sinks.
/// @param pView     handle of the view
/// @param nView     number of the view in order of creation within the process, from 0
/// @param nWidth    pixels
/// @param nHeight   pixels
/// @param pPixels   B, G, R, 255, top-down, rows of 4 * nWidth bytes; valid during the call
/// @param pUserData as given with the sink
typedef void (*PVPictureSink)(void* pView, int nView, int nWidth, int nHeight, const unsigned char* pPixels,
                              void* pUserData);
/// Installs a sink for one view, or with a null handle for all views, present and future. A null sink removes
/// it. When the call returns, the sink before it is no longer running and never runs again.
KQ_EXTERN_C void PVSetPictureSink(void* pView, PVPictureSink pfnSink, void* pUserData);
/// Optional: PVSetPictureSink() for a sink that does not read the pixels and is given null for them, so that
/// pictures need not be made whole for it. It takes the place of the other kind, and the other way round.
KQ_EXTERN_C void PVSetPictureWatch(void* pView, PVPictureSink pfnSink, void* pUserData);
