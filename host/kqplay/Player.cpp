#include "Player.h"

#include "ViewLibrary.h"

#include <algorithm>

namespace kqplay {
namespace {

/// The view of this mode paces playback. All views that have it show the same frame.
int ReferenceMode(std::size_t views) {
    return views == 2 ? 0 : 1;
}

/// The second of two views, when it shows a stream of its own.
constexpr int otherMode = 1;

/// A range that no file fills: the run ends with its streams.
constexpr double upToTheEnd = 1e9;

} // namespace

void Player::Close() {
    if (m_player) {
        m_player->Stop();
    }
    m_shown.clear();
    m_views.Reset();
    m_audioInput.Reset();
    m_player.Reset();
}

bool Player::Create(PlayerListener& listener, std::string& error) {
    std::int32_t result = kq::CreatePlayer(m_player);
    if (result == kq::Ok) {
        result = m_player->GetPlayerViewMgr(m_views.Out());
    }
    if (result != kq::Ok) {
        error = std::string("the component gives no player: ") + kq::ResultText(result);
        return false;
    }
    m_audioInput = m_player.As<IAudioInput>();
    m_player->SetCallBack(OnNotify, &listener);
    return true;
}

bool Player::CreateView(void* parent, int width, int height) {
    auto view = kq::ComPtr<IPlayerView>::Adopt(m_views->CreatePlayView(parent, tagRECT{0, 0, width, height}));
    const bool made = static_cast<bool>(view);
    if (made) {
        ++ViewsMade();
        m_shown.push_back(std::move(view));
    }
    return made;
}

bool Player::SetVideo(IMediaStream* video, IMediaStream* other) {
    const int reference = ReferenceMode(m_shown.size());
    for (kq::ComPtr<IPlayerView>& view : m_shown) {
        const bool showsOther = other && &view == &m_shown.back();
        if (view->SetVideoInput(showsOther ? otherMode : reference, showsOther ? other : video) != kq::Ok) {
            return false;
        }
    }
    return true;
}

std::vector<void*> Player::ViewWindows() const {
    std::vector<void*> windows;
    for (const kq::ComPtr<IPlayerView>& view : m_shown) {
        windows.push_back(view->GetWND());
    }
    return windows;
}

void Player::SetAudio(IMediaStream* audio) {
    m_audioInput->SetAudioInput(audio);
}

void Player::SetRange(double begin, double length) {
    m_length = std::max(length, 0.0);
    m_player->SetPlayTime(begin, length > 0 ? length : upToTheEnd);
}

bool Player::Play() {
    return m_player->Play() == kq::Ok;
}

bool Player::Capture(int format, const std::wstring& path) {
    CaptureImageInfo info = {};
    info.nFormat = format;
    return m_player->CaptureCurrentImage(&info, path.c_str()) == kq::Ok;
}

long Player::OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument) {
    auto* listener = static_cast<PlayerListener*>(userData);
    if (message != PLAYER_NOTIFY) {
        return 0;
    }
    if (what == KQ_NOTIFY_POSITION) {
        listener->OnPosition(KQPlayedTime(argument));
    } else if (what == KQ_NOTIFY_END) {
        listener->OnEnd();
    }
    return 0;
}

} // namespace kqplay
