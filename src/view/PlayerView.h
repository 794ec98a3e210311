/// @file
/// One view: a native view, at most one video stream, a source mode, and a black picture of the stream's
/// size.
#pragma once

#include "com/Unknown.h"
#include "thread/Critical.h"
#include "view/PlanarFrame.h"

#include <kqplayer/convenience.h>
#include <kqplayer/player.h>
#include <kqplayer/view.h>

#include <memory>

class YV12ViewWrapper;

class CPlayerView final : public scombase::CUnknown, public IPlayerView2 {
public:
    /// Makes a view on a native window. @return the view with one reference, or null when the window is
    /// refused
    static CPlayerView* CreatePlayView(void* pParent, const VRECT& rect, unsigned long a, unsigned long b,
                                       long nIndex);
    /// A view without a native view, with a count of 0; SetWindowInfo() makes the native view.
    CPlayerView();
    bool SetWindowInfo(void* pParent, const VRECT& rect, unsigned long a, unsigned long b, long nIndex);

    KQ_FORWARD_IUNKNOWN
    std::int32_t NonDelegatingQueryInterface(const _GUID& riid, void** ppv) override;

    /// Ends what belongs to the manager: the native view, the stream and the black picture. Whoever still
    /// holds the view has an empty shell, which answers and does nothing.
    void Close();

    std::int32_t SetVideoInput(int nSourceMode, IMediaStream* pStream) override;
    std::int32_t SetParentWND(void* pWindow) override;
    void* GetParentWND() override;
    std::int32_t SetRect(const tagRECT& rect) override;
    tagRECT GetRect() override;
    int GetIndex() override;
    void* GetWND() override;

    std::int32_t SetDisplay(const KQViewDisplay* pDisplay) override;
    std::int32_t GetDisplay(KQViewDisplay* pDisplay) override;
    std::int32_t GetMapping(KQViewMapping* pMapping) override;
    std::int32_t WindowToPicture(double dX, double dY, KQPointF* pPosition) override;
    std::int32_t PictureToWindow(double dX, double dY, KQPointF* pPosition) override;
    std::int32_t GetShownPixel(std::int32_t nX, std::int32_t nY, std::uint32_t* pnRgb) override;

    /// Does what IMediaPlayer2::SetResize() does.
    std::int32_t SetResize(std::int32_t nResize);
    /// Shows a frame; null shows the stream's current frame. Without a stream, without a frame, or with a
    /// frame that is not planar or lacks its planes or its size, the view shows black.
    void ShowCurrentImage(const MEDIA_FRAME* pFrame);
    /// Shows the black picture, if there is one.
    void ShowBlack();
    int GetCurrentSouceMode();
    /// @return the stream, without a reference
    IMediaStream* GetCurrenViewVideoStream();
    /// @return the stream with a reference taken under the lock that guards it
    kq::ComPtr<IMediaStream> AcquireVideoStream();

private:
    /// As ShowBlack(), for callers that hold the view's lock.
    void SetViewBlack();
    /// @return whether the native view has taken the picture
    bool ShowPicture(const MEDIA_FRAME& frame);
    /// Makes the picture on show once more, if it is still the stream's current one; else the next comes
    /// soon.
    void ShowAgain();
    /// Asks the native view, under the lock. @return what the operation does
    template <class Question>
    std::int32_t Ask(const void* pOut, Question question);

    std::unique_ptr<YV12ViewWrapper> m_pNativeView;
    kq::ComPtr<IMediaStream> m_pStream;
    int m_nNativeResult = 0; ///< non-zero: the native view exists
    tagRECT m_rect{};
    int m_nSourceMode = 0;
    long m_nIndex = 0;
    void* m_pParent = nullptr;
    bool m_bClosed = false;
    CCritical m_csView; ///< guards all that changes once the view is made
    PlanarFramePtr m_pBlackFrame;
    /// The picture on show, the stream's, told by address and time stamp, or the black one; null for none
    /// that could be shown again.
    const MEDIA_FRAME* m_pShownFrame = nullptr;
    std::int64_t m_llShownPTS = KQ_NO_PTS;
};
