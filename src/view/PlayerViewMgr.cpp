#include "view/PlayerViewMgr.h"

#include "com/UuidOf.h"
#include "view/PlayerView.h"

CPlayerViewMgr::CPlayerViewMgr() : CUnknown(nullptr) {}

CPlayerViewMgr::~CPlayerViewMgr() {
    for (const auto& [nIndex, pView] : m_views) {
        delete pView;
    }
}

std::int32_t CPlayerViewMgr::NonDelegatingQueryInterface(const _GUID& riid, void** ppv) {
    if (riid == uuidof_class<IPlayerViewMgr>::get_guid()) {
        return scombase::GetInterface(static_cast<IPlayerViewMgr*>(this), ppv);
    }
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

IPlayerView* CPlayerViewMgr::CreatePlayView(void* pParent, const tagRECT& rect) {
    CRecursiveLock lock(&m_csViews);
    const VRECT placement = {rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top};
    const int nIndex = m_nNextIndex++;
    CPlayerView* const pView = CPlayerView::CreatePlayView(pParent, placement, 0, 0, nIndex);
    if (pView == nullptr) {
        --m_nNextIndex;
        return nullptr;
    }
    m_views.emplace(static_cast<unsigned int>(nIndex), pView);
    pView->AddRef();
    return pView;
}

int CPlayerViewMgr::GetCount() {
    CRecursiveLock lock(&m_csViews);
    return static_cast<int>(m_views.size());
}

std::int32_t CPlayerViewMgr::Remove(int nIndex) {
    CRecursiveLock lock(&m_csViews);
    if (nIndex < 0) {
        return kq::Refused;
    }
    const auto it = m_views.find(static_cast<unsigned int>(nIndex));
    if (it != m_views.end()) {
        CPlayerView* const pView = it->second;
        m_views.erase(it);
        pView->Release();
    }
    return kq::Ok;
}

std::int32_t CPlayerViewMgr::GetItem(int nIndex, IPlayerView** ppView) {
    if (ppView == nullptr) {
        return kq::NullPointer;
    }
    CRecursiveLock lock(&m_csViews);
    const auto it = m_views.find(static_cast<unsigned int>(nIndex));
    if (it == m_views.end()) {
        return kq::Failed;
    }
    *ppView = it->second;
    (*ppView)->AddRef();
    return kq::Ok;
}

void CPlayerViewMgr::ShowCurrentImage(const MEDIA_FRAME* pFrame, int nMode) {
    CRecursiveLock lock(&m_csViews);
    for (const auto& [nIndex, pView] : m_views) {
        pView->ShowCurrentImage(pView->GetCurrentSouceMode() == nMode ? pFrame : nullptr);
    }
}

void CPlayerViewMgr::ShowUserFrame() {
    CRecursiveLock lock(&m_csViews);
    for (const auto& [nIndex, pView] : m_views) {
        pView->ShowBlack();
    }
}

CPlayerView* CPlayerViewMgr::GetView(int nMode) {
    CRecursiveLock lock(&m_csViews);
    if (nMode < 0) {
        return nullptr;
    }
    for (const auto& [nIndex, pView] : m_views) {
        if (pView->GetCurrentSouceMode() == nMode) {
            return pView;
        }
    }
    return nullptr;
}

IMediaStream* CPlayerViewMgr::GetViewDecoder(int nMode) {
    CRecursiveLock lock(&m_csViews);
    CPlayerView* const pView = GetView(nMode);
    return pView != nullptr ? pView->GetCurrenViewVideoStream() : nullptr;
}

kq::ComPtr<IMediaStream> CPlayerViewMgr::AcquireViewDecoder(int nMode) {
    CRecursiveLock lock(&m_csViews);
    CPlayerView* const pView = GetView(nMode);
    return pView != nullptr ? pView->AcquireVideoStream() : kq::ComPtr<IMediaStream>();
}
