#include "tests/support/PlayerHost.h"

#include "tests/support/ViewRecorder.h"

#include <stdexcept>

namespace kq::test {

PlayerHost::PlayerHost(IMediaStream* video, IMediaStream* audio) {
    if (CreatePlayer(m_player) != Ok) {
        throw std::runtime_error("no player");
    }
    m_player->GetPlayerViewMgr(m_manager.Out());
    m_player->SetCallBack(&PlayerHost::OnNotify, this);
    if (video != nullptr) {
        AddView(1, video);
    }
    if (audio != nullptr) {
        SetAudio(audio);
    }
}

PlayerHost::~PlayerHost() {
    ReleasePlayer();
}

void PlayerHost::ReleasePlayer() {
    m_player.Reset();
    m_views.clear(); // views live no longer than their manager
    m_manager.Reset();
}

int PlayerHost::AddView(int sourceMode, IMediaStream* stream) {
    const auto& playerView = m_views.emplace_back(
        ComPtr<IPlayerView>::Adopt(m_manager->CreatePlayView(OffScreenParent(), tagRECT{0, 0, 64, 36})));
    if (!playerView) {
        throw std::runtime_error("no view");
    }
    playerView->SetVideoInput(sourceMode, stream);
    return playerView->GetIndex();
}

IPlayerView* PlayerHost::GetView(int index) const {
    return m_views.at(static_cast<std::size_t>(index)).Get();
}

void PlayerHost::SetAudio(IMediaStream* stream) {
    m_player.As<IAudioInput>()->SetAudioInput(stream);
}

long PlayerHost::OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument) {
    auto& self = *static_cast<PlayerHost*>(userData);
    if (message != PLAYER_NOTIFY) {
        return 0;
    }
    if (what == KQ_NOTIFY_POSITION) {
        const std::lock_guard<std::mutex> lock(self.m_lock);
        self.m_positions.push_back(KQPlayedTime(argument));
    } else {
        ++self.m_ends;
    }
    if (self.onNotify) {
        self.onNotify(what);
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

bool PlayerHost::WaitForEnd(int ends) const {
    return WaitUntil([&] { return GetEnds() >= ends; });
}

bool PlayerHost::WaitForPause() const {
    return WaitUntil([&] { return m_player->IsPaused() && !GetPositions().empty(); });
}

} // namespace kq::test
