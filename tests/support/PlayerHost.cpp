#include "tests/support/PlayerHost.h"

#include "tests/support/ViewRecorder.h"

#include <stdexcept>

namespace kq::test {

PlayerHost::PlayerHost(IMediaStream* pVideo, IMediaStream* pAudio) {
    if (CreatePlayer(m_pPlayer) != Ok) {
        throw std::runtime_error("no player");
    }
    m_pPlayer->GetPlayerViewMgr(m_pManager.Out());
    m_pPlayer->SetCallBack(&PlayerHost::OnNotify, this);
    if (pVideo != nullptr) {
        AddView(1, pVideo);
    }
    if (pAudio != nullptr) {
        SetAudio(pAudio);
    }
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
    const auto& pView = m_views.emplace_back(
        ComPtr<IPlayerView>::Adopt(m_pManager->CreatePlayView(OffScreenParent(), tagRECT{0, 0, 64, 36})));
    if (!pView) {
        throw std::runtime_error("no view");
    }
    pView->SetVideoInput(nSourceMode, pStream);
    return pView->GetIndex();
}

IPlayerView* PlayerHost::GetView(int nIndex) const {
    return m_views.at(static_cast<std::size_t>(nIndex)).Get();
}

void PlayerHost::SetAudio(IMediaStream* pStream) {
    m_pPlayer.As<IAudioInput>()->SetAudioInput(pStream);
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
    if (self.onNotify) {
        self.onNotify(nWhat);
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
