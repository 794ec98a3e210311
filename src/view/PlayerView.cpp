#include "view/PlayerView.h"

#include "com/QueryInfo.h"
#include "com/UuidOf.h"
#include "view/YV12ViewWrapper.h"

#include <cstdint>
#include <new>
#include <utility>

namespace {

/// The size of a stream's black picture; where the stream tells none that a picture can have, the smallest
/// one.
PictureSize BlackSize(const VIDEO_STREAM_INFO& format) {
    const PictureSize size = SizeOf(format);
    return IsPictureSize(size) ? size : PictureSize{2, 2};
}

/// @return the place in one rectangle that a position has in another
KQPointF Moved(KQPointF position, const KQRectF& from, const KQRectF& to) {
    return {to.left + (position.x - from.left) * (to.right - to.left) / (from.right - from.left),
            to.top + (position.y - from.top) * (to.bottom - to.top) / (from.bottom - from.top)};
}

} // namespace

CPlayerView::CPlayerView() : CUnknown(nullptr) {}

CPlayerView* CPlayerView::CreatePlayView(void* pParent, const VRECT& rect, unsigned long a, unsigned long b,
                                         long nIndex) {
    auto* const pView = new (std::nothrow) CPlayerView;
    if (pView == nullptr) {
        return nullptr;
    }
    pView->AddRef();
    if (!pView->SetWindowInfo(pParent, rect, a, b, nIndex)) {
        pView->Release();
        return nullptr;
    }
    return pView;
}

bool CPlayerView::SetWindowInfo(void* pParent, const VRECT& rect, unsigned long a, unsigned long b,
                                long nIndex) {
    m_pNativeView.reset(YV12ViewWrapper::Make());
    m_nNativeResult = m_pNativeView ? m_pNativeView->Create(pParent, rect, a, b) : 0;
    m_pParent = pParent;
    m_nIndex = nIndex;
    m_rect = {rect.x, rect.y, static_cast<std::int32_t>(std::int64_t{rect.x} + rect.width),
              static_cast<std::int32_t>(std::int64_t{rect.y} + rect.height)};
    return m_nNativeResult != 0;
}

void CPlayerView::Close() {
    kq::ComPtr<IMediaStream> pStream; // given back without the lock: the host's Release() may take time
    CSingleLock lock(&m_csView);
    m_bClosed = true;
    m_pNativeView.reset();
    m_pBlackFrame.reset();
    std::swap(pStream, m_pStream);
}

std::int32_t CPlayerView::NonDelegatingQueryInterface(const _GUID& riid, void** ppv) {
    if (riid == uuidof_class<IPlayerView>::get_guid()) {
        return scombase::GetInterface(static_cast<IPlayerView*>(this), ppv);
    }
    if (riid == uuidof_class<IPlayerView2>::get_guid()) {
        return scombase::GetInterface(static_cast<IPlayerView2*>(this), ppv);
    }
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

std::int32_t CPlayerView::SetVideoInput(int nSourceMode, IMediaStream* pStream) {
    CSingleLock lock(&m_csView);
    m_pStream.Reset();
    if (pStream == nullptr) {
        return kq::Ok;
    }
    if (m_bClosed) {
        return kq::Refused;
    }
    m_nSourceMode = nSourceMode;
    auto pNewStream = kq::ComPtr<IMediaStream>::Share(pStream);
    const auto pInfo = QueryInfo(*pNewStream.Get());
    const VIDEO_STREAM_INFO* const pFormat = pInfo ? pInfo->GetVideoFormat() : nullptr;
    if (pFormat == nullptr) {
        return kq::Refused;
    }
    const PictureSize size = BlackSize(*pFormat);
    PlanarFramePtr pBlackFrame = MakeBlackFrame(size);
    if (!pBlackFrame) {
        return kq::OutOfMemory;
    }
    if (m_pNativeView) {
        m_pNativeView->SetSrcAspectRatio(pFormat->nAspectX, pFormat->nAspectY);
        m_pNativeView->Expect(size.nWidth, size.nHeight);
    }
    m_pShownFrame = nullptr;
    m_pBlackFrame = std::move(pBlackFrame);
    m_pStream = std::move(pNewStream);
    return kq::Ok;
}

std::int32_t CPlayerView::SetParentWND(void* /*pWindow*/) {
    return kq::Refused;
}

void* CPlayerView::GetParentWND() {
    return m_pParent;
}

std::int32_t CPlayerView::SetRect(const tagRECT& rect) {
    CSingleLock lock(&m_csView);
    m_rect = rect;
    return kq::Ok;
}

tagRECT CPlayerView::GetRect() {
    CSingleLock lock(&m_csView);
    return m_rect;
}

int CPlayerView::GetIndex() {
    return static_cast<int>(m_nIndex);
}

void* CPlayerView::GetWND() {
    CSingleLock lock(&m_csView);
    return m_pNativeView ? m_pNativeView->GetHwnd() : nullptr;
}

void CPlayerView::ShowCurrentImage(const MEDIA_FRAME* pFrame) {
    CSingleLock lock(&m_csView);
    if (!m_pStream) {
        SetViewBlack();
        return;
    }
    const MEDIA_FRAME* const pShown = pFrame != nullptr ? pFrame : m_pStream->GetCurrentFrame();
    if (pShown == nullptr || !ShowPicture(*pShown)) {
        SetViewBlack();
        return;
    }
    m_pShownFrame = pShown;
    m_llShownPTS = pShown->llPTS;
}

void CPlayerView::ShowBlack() {
    CSingleLock lock(&m_csView);
    SetViewBlack();
}

void CPlayerView::SetViewBlack() {
    if (m_pBlackFrame) {
        ShowPicture(*m_pBlackFrame);
        m_pShownFrame = m_pBlackFrame.get();
    }
}

bool CPlayerView::ShowPicture(const MEDIA_FRAME& frame) {
    return m_pNativeView && m_pNativeView->ShowFrame(frame);
}

int CPlayerView::GetCurrentSouceMode() {
    CSingleLock lock(&m_csView);
    return m_nSourceMode;
}

IMediaStream* CPlayerView::GetCurrenViewVideoStream() {
    CSingleLock lock(&m_csView);
    return m_pStream.Get();
}

kq::ComPtr<IMediaStream> CPlayerView::AcquireVideoStream() {
    CSingleLock lock(&m_csView);
    return kq::ComPtr<IMediaStream>::Share(m_pStream.Get());
}

void CPlayerView::ShowAgain() {
    if (m_pShownFrame == m_pBlackFrame.get()) {
        SetViewBlack();
        return;
    }
    const MEDIA_FRAME* const pFrame = m_pStream ? m_pStream->GetCurrentFrame() : nullptr;
    if (pFrame != nullptr && pFrame == m_pShownFrame && pFrame->llPTS == m_llShownPTS) {
        ShowPicture(*pFrame);
    }
}

std::int32_t CPlayerView::SetDisplay(const KQViewDisplay* pDisplay) {
    CSingleLock lock(&m_csView);
    if (!m_pNativeView || !m_pNativeView->HasDisplay()) {
        return kq::Failed;
    }
    switch (m_pNativeView->SetDisplay(pDisplay)) {
    case YV12ViewWrapper::Displayed::Refused:
        return kq::Refused;
    case YV12ViewWrapper::Displayed::Missing:
        ShowAgain();
        break;
    case YV12ViewWrapper::Displayed::Drawn:
        break;
    }
    return kq::Ok;
}

std::int32_t CPlayerView::SetResize(std::int32_t nResize) {
    CSingleLock lock(&m_csView);
    KQViewDisplay display{};
    if (GetDisplay(&display) == kq::Ok) {
        display.nResize = nResize;
        return SetDisplay(&display);
    }
    const auto eMethod = static_cast<IMAGE_RESIZE_METHOD>(nResize);
    return m_pNativeView && m_pNativeView->SetDisplayResizeMode(eMethod) != 0 ? kq::Ok : kq::Failed;
}

template <class Question>
std::int32_t CPlayerView::Ask(const void* pOut, Question question) {
    if (pOut == nullptr) {
        return kq::NullPointer;
    }
    CSingleLock lock(&m_csView);
    if (!m_pNativeView || !m_pNativeView->HasDisplay()) {
        return kq::Failed;
    }
    return question(*m_pNativeView) ? kq::Ok : kq::Refused;
}

std::int32_t CPlayerView::GetDisplay(KQViewDisplay* pDisplay) {
    return Ask(pDisplay, [&](YV12ViewWrapper& view) { return view.GetDisplay(*pDisplay); });
}

std::int32_t CPlayerView::GetMapping(KQViewMapping* pMapping) {
    return Ask(pMapping, [&](YV12ViewWrapper& view) { return view.GetMapping(*pMapping); });
}

std::int32_t CPlayerView::WindowToPicture(double dX, double dY, KQPointF* pPosition) {
    return Ask(pPosition, [&](YV12ViewWrapper& view) {
        KQViewMapping mapping{};
        if (!view.GetMapping(mapping)) {
            return false;
        }
        *pPosition = Moved({dX, dY}, mapping.target, mapping.source);
        return true;
    });
}

std::int32_t CPlayerView::PictureToWindow(double dX, double dY, KQPointF* pPosition) {
    return Ask(pPosition, [&](YV12ViewWrapper& view) {
        KQViewMapping mapping{};
        if (!view.GetMapping(mapping)) {
            return false;
        }
        *pPosition = Moved({dX, dY}, mapping.source, mapping.target);
        return true;
    });
}

std::int32_t CPlayerView::GetShownPixel(std::int32_t nX, std::int32_t nY, std::uint32_t* pnRgb) {
    return Ask(pnRgb, [&](YV12ViewWrapper& view) { return view.GetShownPixel(nX, nY, *pnRgb); });
}
