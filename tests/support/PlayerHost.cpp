#include "tests/support/PlayerHost.h"

#include "tests/support/ViewRecorder.h"

#include <stdexcept>

namespace kq::test {

namespace {
constexpr std::uintptr_t kOffScreen = 1;
}

PlayerHost::PlayerHost() {
    void* p = nullptr;
    if (DllGetClassObject(CLSID_CMediaPlayer, IID_IClassFactory, &p) != kq::Ok) {
        throw std::runtime_error("no class factory");
    }
    const auto pFactory = ComPtr<IClassFactory>::Adopt(static_cast<IClassFactory*>(p));
    if (pFactory->CreateInstance(nullptr, IID_IMediaPlayer, &p) != kq::Ok) {
        throw std::runtime_error("no player");
    }
    m_pPlayer = ComPtr<IMediaPlayer>::Adopt(static_cast<IMediaPlayer*>(p));
    IPlayerViewMgr* pManager = nullptr;
    m_pPlayer->GetPlayerViewMgr(&pManager);
    m_pManager = ComPtr<IPlayerViewMgr>::Adopt(pManager);
    m_pPlayer->SetCallBack(&PlayerHost::OnNotify, this);
}

PlayerHost::~PlayerHost() {
    ReleasePlayer();
}

void PlayerHost::ReleasePlayer() {
    m_pPlayer.Reset();
    m_views.clear(); // views live no longer than their manager
    m_pManager.Reset();
}

int PlayerHost::AddView(int nSourceMode, IMediaStream* pStream) {
    auto pView = ComPtr<IPlayerView>::Adopt(
        m_pManager->CreatePlayView(reinterpret_cast<void*>(kOffScreen), tagRECT{0, 0, 64, 36}));
    if (!pView) {
        throw std::runtime_error("no view");
    }
    const int nIndex = pView->GetIndex();
    if (pStream != nullptr) {
        pView->SetVideoInput(nSourceMode, pStream);
    }
    m_views.push_back(std::move(pView));
    return nIndex;
}

IPlayerView* PlayerHost::GetView(int nIndex) const {
    return m_views.at(static_cast<std::size_t>(nIndex)).Get();
}

void PlayerHost::SetAudio(IMediaStream* pStream) {
    void* p = nullptr;
    m_pPlayer->QueryInterface(IID_IAudioInput, &p);
    ComPtr<IAudioInput>::Adopt(static_cast<IAudioInput*>(p))->SetAudioInput(pStream);
}

long PlayerHost::OnNotify(void* pUserData, unsigned int nMessage, unsigned int nWhat,
                          unsigned int nArgument) {
    auto& self = *static_cast<PlayerHost*>(pUserData);
    if (nMessage != PLAYER_NOTIFY) {
        return 0;
    }
    if (nWhat == KQ_NOTIFY_POSITION) {
        const std::lock_guard<std::mutex> lock(self.m_lock);
        self.m_positions.push_back(KQPlayedTime(nArgument));
    } else {
        ++self.m_nEnds;
    }
    if (self.m_onNotify) {
        self.m_onNotify(nWhat);
    }
    return 0;
}

std::vector<double> PlayerHost::GetPositions() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_positions;
}

double PlayerHost::GetLastPosition() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_positions.empty() ? -1.0 : m_positions.back();
}

bool PlayerHost::WaitForEnd(int nEnds) const {
    return WaitUntil([&] { return GetEnds() >= nEnds; });
}

bool PlayerHost::WaitForPause() const {
    return WaitUntil([&] { return m_pPlayer->IsPaused() && !GetPositions().empty(); });
}

} // namespace kq::test
