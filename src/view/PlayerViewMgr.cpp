#include "view/PlayerViewMgr.h"

#include "com/UuidOf.h"
#include "view/PlayerView.h"

#include <algorithm>
#include <cstdint>
#include <new>

namespace {

std::int32_t Distance(std::int32_t nFrom, std::int32_t nTo) {
    return static_cast<std::int32_t>(std::int64_t{nTo} - nFrom);
}

} // namespace

CPlayerViewMgr::CPlayerViewMgr() : CUnknown(nullptr) {}

CPlayerViewMgr::~CPlayerViewMgr() {
    for (const auto& [nIndex, pView] : m_views) {
        pView->Close();
        pView->Release();
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
    const VRECT placement = {rect.left, rect.top, Distance(rect.left, rect.right),
                             Distance(rect.top, rect.bottom)};
    const int nIndex = m_nNextIndex;
    auto pView =
        kq::ComPtr<CPlayerView>::Adopt(CPlayerView::CreatePlayView(pParent, placement, 0, 0, nIndex));
    if (!pView) {
        return nullptr;
    }
    try {
        m_views.emplace(static_cast<unsigned int>(nIndex), pView.Get());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    ++m_nNextIndex;
    pView->AddRef();
    return pView.Detach();
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

std::int32_t CPlayerViewMgr::SetResize(IPlayerView* pView, std::int32_t nResize) {
    if (nResize < IMAGE_RESIZE_FIT || nResize > IMAGE_RESIZE_ORIGINAL) {
        return kq::Refused;
    }
    if (pView != nullptr) {
        const auto pFound = Find(pView);
        return pFound ? pFound->SetResize(nResize) : kq::Failed;
    }
    CRecursiveLock lock(&m_csViews);
    std::int32_t nResult = kq::Ok;
    for (const auto& [nIndex, pEach] : m_views) {
        nResult = std::min(nResult, pEach->SetResize(nResize));
    }
    return nResult;
}

kq::ComPtr<CPlayerView> CPlayerViewMgr::Find(const IPlayerView* pView) {
    CRecursiveLock lock(&m_csViews);
    for (const auto& [nIndex, pEach] : m_views) {
        if (pEach == pView) {
            return kq::ComPtr<CPlayerView>::Share(pEach);
        }
    }
    return nullptr;
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
