#include "PlayerCore.h"

#include <kqplayer/comparison.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>
#include <utility>

namespace kq::python {
namespace {

constexpr double openEnd = streams::Timeline::openEnd;

/// A step waits this long for the run to enter its pause.
constexpr auto longestPause = std::chrono::seconds(2);

/// The player takes anything shorter, in seconds, for no limit.
constexpr double shortestRange = 0.002;

/// No file is so long, in seconds.
constexpr double beyondAll = 1e6;

} // namespace

std::shared_ptr<PlayerCore> PlayerCore::Open(const Setup& setup) {
    std::shared_ptr<PlayerCore> core(new PlayerCore(setup));
    core->OpenAll();
    return core;
}

void PlayerCore::OpenAll() {
    streams::OpenOptions options;
    options.audio = m_setup.sound;
    options.audioTrack = m_setup.soundTrack;
    options.filter = m_setup.filter;
    options.log = m_setup.log;
    std::string error;
    if (!streams::OpenTimeline(m_setup.path, options, m_file, m_timeline, error)) {
        throw Error(error);
    }
    m_video = ComPtr<IMediaStream>::Adopt(m_file.video);
    m_audio = ComPtr<IMediaStream>::Adopt(m_file.audio);
    ComPtr<IMediaPlayer> player;
    std::int32_t result = CreatePlayer(player);
    if (result == Ok) {
        m_player = player.As<IMediaPlayer2>();
        result = m_player->GetPlayerViewMgr(m_views.Out());
    }
    if (result != Ok) {
        throw Error(std::string("the component gives no player: ") + ResultText(result));
    }
    m_player->SetCallBack(OnNotify, this);
    if (m_audio) {
        m_player.As<IAudioInput>()->SetAudioInput(m_audio.Get());
    }
    m_player->SetPlayTime(0, 0);
}

void PlayerCore::CheckOpen() const {
    if (m_isClosed) {
        throw Closed("the player");
    }
}

void PlayerCore::Close() {
    {
        const std::lock_guard transport(m_transport);
        if (!m_isClosed.exchange(true) && m_player) {
            m_isStopping = true;
            m_player->Stop();
            m_player->SetCallBack(nullptr, nullptr);
            for (Shown& shown : m_shown) {
                shown.view->SetVideoInput(0, nullptr);
                m_views->Remove(shown.view->GetIndex());
            }
            m_shown.clear();
            m_views.Reset();
            // The player itself stays for other threads that ask it meanwhile.
            m_player.As<IAudioInput>()->SetAudioInput(nullptr);
            m_video.Reset();
            m_audio.Reset();
        }
    }
    StopListening();
}

void PlayerCore::Listen(Listener listener) {
    const std::lock_guard guard(m_lock);
    m_listener = std::make_shared<Listener>(std::move(listener));
    m_dispatcher = std::make_unique<Dispatcher>();
}

void PlayerCore::StopListening() {
    std::unique_ptr<Dispatcher> dispatcher;
    {
        const std::lock_guard guard(m_lock);
        m_listener.reset();
        dispatcher = std::move(m_dispatcher);
    }
    if (dispatcher) {
        dispatcher->Stop();
    }
}

ComPtr<IPlayerView> PlayerCore::AddView(void* parent, const tagRECT& rect, const std::string& path,
                                        const std::string& filter) {
    const std::lock_guard transport(m_transport);
    CheckOpen();
    if (!m_video) {
        throw Error(m_setup.path + ": there are no pictures to show, only sound");
    }
    if (IsRunning()) {
        throw Error("views are added while nothing is played: stop() first");
    }
    Shown shown;
    if (!path.empty() || !filter.empty()) {
        streams::OpenOptions options;
        options.filter = filter;
        options.log = m_setup.log;
        streams::MediaFile file;
        std::string error;
        if (!streams::OpenFollower(path.empty() ? m_setup.path : path, *m_video.Get(), options, file,
                                   error)) {
            throw Error(error);
        }
        shown.stream = ComPtr<IMediaStream>::Adopt(file.video);
    }
    shown.view = ComPtr<IPlayerView>::Adopt(m_views->CreatePlayView(parent, rect));
    if (!shown.view) {
        throw Error("no view could be made: the window handle is not that of an X11 window, or PlayerView.so "
                    "is missing");
    }
    m_shown.push_back(shown);
    AttachStreams();
    return shown.view;
}

/// The view whose mode equals the reference number paces; that is 0 with exactly two views, otherwise 1.
void PlayerCore::AttachStreams() {
    const int reference = m_shown.size() == 2 ? 0 : 1;
    for (Shown& shown : m_shown) {
        const int mode = shown.stream ? reference + 1 : reference;
        if (shown.view->SetVideoInput(mode, shown.stream ? shown.stream.Get() : m_video.Get()) != Ok) {
            throw Error("the view takes no pictures");
        }
    }
}

bool PlayerCore::IsRunning() const {
    const int activity = m_player->IsActivate();
    return activity == KQ_ACTIVATE_PLAYING || activity == KQ_ACTIVATE_PAUSED;
}

void PlayerCore::Play() {
    const std::lock_guard transport(m_transport);
    CheckOpen();
    if (m_shown.empty() && !m_audio) {
        throw Error("there is nothing to play: add a view");
    }
    if (!IsRunning()) {
        TakeRange();
        double begin = 0;
        {
            const std::lock_guard guard(m_lock);
            m_isRunning = true;
            if (Rate() < 0) {
                begin = std::min(m_end, m_file.facts.duration > 0 ? m_file.facts.duration : beyondAll);
            }
        }
        if (begin > 0) {
            m_player->Seek(begin - m_runBegin, ExactSeek);
        }
    }
    if (m_player->Play() != Ok) {
        const std::lock_guard guard(m_lock);
        m_isRunning = false;
        throw Error("there is nothing to play: add a view");
    }
}

void PlayerCore::Pause() {
    const std::lock_guard transport(m_transport);
    CheckOpen();
    m_player->Pause();
}

void PlayerCore::Stop() {
    const std::lock_guard transport(m_transport);
    CheckOpen();
    m_isStopping = true;
    m_player->Stop();
    m_isStopping = false;
    const std::lock_guard guard(m_lock);
    m_isRunning = false;
    m_change.notify_all();
}

void PlayerCore::Load() {
    const std::lock_guard transport(m_transport);
    CheckOpen();
    TakeRange();
    {
        const std::lock_guard guard(m_lock);
        m_isRunning = true;
    }
    m_isStopping = true;
    m_player->Load();
    m_isStopping = false;
}

void PlayerCore::Seek(double seconds, bool isExact) {
    const std::lock_guard transport(m_transport);
    CheckOpen();
    m_player->SyncSeek(std::max(seconds - m_runBegin, 0.0), isExact ? ExactSeek : KeyFrameSeek);
    KeepEnd();
}

void PlayerCore::PauseAndWait() {
    if (m_player->IsActivate() == KQ_ACTIVATE_PLAYING) {
        m_player->Pause();
    }
    const auto limit = std::chrono::steady_clock::now() + longestPause;
    while (IsRunning() && !m_player->IsPaused() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

std::int64_t PlayerCore::Step(std::int64_t count) {
    CheckOpen();
    {
        const std::lock_guard transport(m_transport);
        PauseAndWait();
    }
    const std::int64_t last = m_timeline->FrameCount() - 1;
    if (last < 0) {
        throw Error(m_setup.path + ": nobody knows the numbers of this input's pictures");
    }
    const std::int64_t number =
        std::clamp<std::int64_t>(std::max<std::int64_t>(Number(), 0) + count, 0, last);
    SeekPicture(number);
    return number;
}

void PlayerCore::SeekPicture(std::int64_t number) {
    CheckOpen();
    const streams::PicturePlace place = m_timeline->PlaceOfFrame(number);
    if (place.number < 0) {
        throw Error(m_setup.path + ": there is no picture " + std::to_string(number));
    }
    Seek(place.time, true);
}

double PlayerCore::SetRate(double rate) {
    const std::lock_guard transport(m_transport);
    CheckOpen();
    const double taken = m_timeline->SetRate(rate);
    KeepEnd();
    return taken;
}

void PlayerCore::SetRange(double begin, double end, int rounds) {
    const std::lock_guard transport(m_transport);
    CheckOpen();
    if (!m_timeline->SetRange(begin, end, rounds)) {
        throw Error("there is no picture between these times");
    }
    {
        const std::lock_guard guard(m_lock);
        m_begin = begin;
        m_end = end;
        m_rounds = rounds;
    }
    KeepEnd();
}

/// A run that begins has the range that was set. It counts its positions from there, and later changes are
/// the timeline's alone.
void PlayerCore::TakeRange() {
    {
        const std::lock_guard guard(m_lock);
        m_runBegin = m_begin;
        m_runEnd = beyondAll; // the timeline tells of the run before until this one begins
        m_told = m_begin;
    }
    m_player->SetPlayTime(m_runBegin, beyondAll);
}

/// Has the player end where the timeline does. A range that is open would go on for the second that the
/// player waits for more sound.
void PlayerCore::KeepEnd() {
    const double rate = m_timeline->Rate();
    double end = m_timeline->EndTime();
    const std::lock_guard guard(m_lock);
    if (!std::isfinite(end)) {
        const double length = m_file.facts.duration;
        const bool isEndless = m_rounds != 1 || rate < 0 || length <= 0;
        const double now = PlayTime();
        end = isEndless ? beyondAll : now + (length - m_timeline->MediaTime(now)) / rate;
    }
    constexpr double rounding = 0.005;
    if (std::abs(end - m_runEnd) > rounding) {
        m_runEnd = end;
        m_player->SetPlayTime(m_runBegin, std::max(end - m_runBegin, shortestRange));
    }
}

/// With the lock held.
double PlayerCore::PlayTime() const {
    return m_runBegin + m_player->GetPosition();
}

std::unique_ptr<CapturedPicture> PlayerCore::Capture(IPlayerView& view) const {
    auto picture = std::make_unique<CapturedPicture>();
    const std::int32_t result = m_player->CaptureView(&view, KQ_PIXELS_RGB24, picture->Out());
    if (result != Ok) {
        throw Error(std::string("the view has no picture: ") + ResultText(result));
    }
    return picture;
}

void PlayerCore::SetVolume(double volume) {
    CheckOpen();
    if (m_player->SetVolume(volume) != Ok) {
        throw Error("a volume is a number from 0 to 1");
    }
}

double PlayerCore::Position() {
    CheckOpen();
    const std::lock_guard guard(m_lock);
    const double position = m_timeline->MediaTime(PlayTime());
    const double length = m_file.facts.duration;
    return length > 0 ? std::min(position, length) : position;
}

streams::KeptPicture PlayerCore::Picture() {
    CheckOpen();
    return m_video ? streams::KeepPicture(*m_video.Get()) : streams::KeptPicture{};
}

std::int64_t PlayerCore::Number() {
    CheckOpen();
    m_timeline->FrameCount(); // waits until every picture has a number
    if (m_player->IsActivate() != KQ_ACTIVATE_PLAYING) {
        return Picture().place.number;
    }
    const std::lock_guard guard(m_lock);
    return m_timeline->FrameNumber(PlayTime());
}

bool PlayerCore::WaitForEnd(int milliseconds) {
    std::unique_lock lock(m_lock);
    return m_change.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return !m_isRunning; });
}

void PlayerCore::OnPosition(double told) {
    {
        const std::lock_guard guard(m_lock);
        TellPosition(m_runBegin + told);
    }
    KeepEnd();
}

/// With the lock held.
void PlayerCore::TellPosition(double playTime) {
    m_told = playTime;
    if (m_dispatcher && m_listener->onPosition) {
        const double position = m_timeline->MediaTime(playTime);
        m_dispatcher->Post([listener = m_listener, position] { listener->onPosition(position); }, true);
    }
}

/// A run does not tell of the last picture that it shows, so that is done here.
void PlayerCore::OnRunEnd() {
    const std::lock_guard guard(m_lock);
    constexpr double rounding = 1e-4;
    if (!m_isStopping && PlayTime() > m_told + rounding) {
        TellPosition(PlayTime());
    }
    m_isRunning = IsRunning(); // a new one may have begun
    m_change.notify_all();
    if (m_dispatcher && m_listener->onEnd) {
        m_dispatcher->Post([listener = m_listener] { listener->onEnd(); });
    }
}

long PlayerCore::OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument) {
    auto* const core = static_cast<PlayerCore*>(userData);
    if (message == PLAYER_NOTIFY && what == KQ_NOTIFY_POSITION) {
        core->OnPosition(KQPlayedTime(argument));
    } else if (message == PLAYER_NOTIFY && what == KQ_NOTIFY_END) {
        core->OnRunEnd();
    }
    return 0;
}

} // namespace kq::python
