/// @file
/// The views of one player.
#pragma once

#include "com/Unknown.h"
#include "thread/Critical.h"

#include <kqplayer/convenience.h>
#include <kqplayer/player.h>

#include <map>

class CPlayerView;

class CPlayerViewMgr final : public scombase::CUnknown, public IPlayerViewMgr {
public:
    CPlayerViewMgr();
    /// Closes every view still in the map: its native view goes, whatever references a host holds.
    ~CPlayerViewMgr() override;

    KQ_FORWARD_IUNKNOWN
    std::int32_t NonDelegatingQueryInterface(const _GUID& riid, void** ppv) override;

    IPlayerView* CreatePlayView(void* pParent, const tagRECT& rect) override;
    int GetCount() override;
    std::int32_t Remove(int nIndex) override;
    std::int32_t GetItem(int nIndex, IPlayerView** ppView) override;

    /// Gives the frame to every view of that source mode; every other view shows its own stream's current
    /// frame.
    void ShowCurrentImage(const MEDIA_FRAME* pFrame, int nMode);
    /// Every view shows black.
    void ShowUserFrame();
    /// Does what IMediaPlayer2::SetResize() does.
    std::int32_t SetResize(IPlayerView* pView, std::int32_t nResize);
    /// @return the view that a host's pointer names, or null for none of these
    kq::ComPtr<CPlayerView> Find(const IPlayerView* pView);
    /// @return the first view of that source mode, without a reference, or null
    CPlayerView* GetView(int nMode);
    /// @return the stream of that view, without a reference, or null
    IMediaStream* GetViewDecoder(int nMode);
    /// GetViewDecoder() with a reference taken under the locks that guard it.
    kq::ComPtr<IMediaStream> AcquireViewDecoder(int nMode);

private:
    std::map<unsigned int, CPlayerView*> m_views; ///< one reference each
    int m_nNextIndex = 0;
    CRecursive m_csViews; ///< guards both; taken before a view's lock
};
