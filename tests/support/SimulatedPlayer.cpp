#include "tests/support/SimulatedPlayer.h"

#include "audio/SoundOutput.h"
#include "audio/TimeCodeMgr.h"
#include "tests/support/FakeStream.h"
#include "tests/support/Recorder.h"
#include "tests/support/Scheduler.h"
#include "tests/support/ViewRecorder.h"
#include "thread/BaseThread.h"

#include <kqplayer/convenience.h>
#include <kqplayer/identifiers.h>
#include <kqplayer/kqplayer.h>

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <deque>
#include <functional>
#include <memory>
#include <set>

namespace kq::test {
namespace {

constexpr double never = 1e9;

/// What a seed decides about streams and sound; times in seconds.
struct Scene {
    double rate = 25;      ///< pictures a second
    bool tellsRate = true; ///< the format record has it
    int pictures = 25;
    double firstStamp = 0;  ///< of pictures and sound alike
    bool stampTime = false; ///< the streams are sought by time stamps, not by time since their begin
    int slowPicture = -1;   ///< what follows this one takes long to decode
    double slowFor = 0;
    bool hasSound = false;
    double soundLength = 0;
    double soundBegin = 0; ///< after the first picture
    bool soundStamps = true;
    double soundStalls = never; ///< simulated time at which the sound's stream delivers nothing
    double soundRecovers = never;
    enum class Fault {
        None,
        Refused,
        Fails,
        Freezes,
        Hiccups,
        Creeps,
        HalfSpeed,
        JumpsAhead,
        JumpsBack
    } fault = Fault::None;
    double faultAt = 0; ///< seconds after the sound was started first
};

class Simulation;
Simulation* current = nullptr;
thread_local bool isHost = false;

/// The position, identity and information of both streams.
class SimulatedStream : public IMediaStream {
public:
    std::int32_t QueryInterface(const _GUID&, void** object) override {
        *object = nullptr;
        return NoInterface;
    }
    std::uint32_t AddRef() override { return static_cast<std::uint32_t>(++references); }
    std::uint32_t Release() override { return static_cast<std::uint32_t>(--references); }
    std::int32_t Reserved() override { return 0; }

    int references = 1;

protected:
    ~SimulatedStream() = default;
};

class SimulatedVideo final : public SimulatedStream {
public:
    explicit SimulatedVideo(const Scene& scene);
    std::int32_t GetStreamInfo(IStreamInfo** info) override;
    double Seek(double seconds, int mode) override;
    MEDIA_FRAME* GetCurrentFrame() override;
    int NextFrame() override;
    double GetFramePosition() override;

    double StampOf(int n) const { return m_scene.firstStamp + n / m_scene.rate; }
    double TimeOf(int n) const { return m_scene.stampTime ? StampOf(n) : n / m_scene.rate; }
    int Index() const { return m_index; }

private:
    const Scene& m_scene;
    std::vector<MEDIA_FRAME> m_frames;
    std::vector<std::array<std::uint8_t, 6>> m_planes;
    int m_index = 0;
};

class SimulatedAudio final : public SimulatedStream {
public:
    static constexpr int rate = 8000;
    static constexpr int bytesPerSecond = rate * 2;
    static constexpr int chunkBytes = bytesPerSecond / 50;

    explicit SimulatedAudio(const Scene& scene) : m_scene(scene) {
        m_chunks = static_cast<int>(scene.soundLength * 50);
        m_frame.image.pU = m_samples.data();
        m_frame.image.nAudioLength = chunkBytes;
    }
    std::int32_t GetStreamInfo(IStreamInfo** info) override {
        return StreamInfo::Give(AUDIO_STREAM_INFO{rate, 1, 16, 0, m_scene.soundLength, 0}, info);
    }
    double Seek(double seconds, int mode) override;
    MEDIA_FRAME* GetCurrentFrame() override;
    int NextFrame() override {
        m_index = std::min(m_index + 1, m_chunks);
        return m_index < m_chunks ? 1 : 0;
    }
    double GetFramePosition() override { return m_index; }

private:
    const Scene& m_scene;
    int m_chunks = 0;
    int m_index = 0;
    MEDIA_FRAME m_frame{};
    std::array<std::uint8_t, chunkBytes> m_samples{};
};

/// A sound device that plays in simulated time, with the faults of the scene.
class SimulatedSound final : public SoundOutput {
public:
    void FollowGain(const std::atomic<float>*) override {}
    explicit SimulatedSound(IMediaStream* stream) : m_stream(stream) { m_stream->AddRef(); }
    ~SimulatedSound() override { m_stream->Release(); }

    int Open(int, int, int) override;
    bool IsOpen() const override { return m_open; }
    void Play() override;
    void Pause() override;
    void Stop() override;
    void ResetPullState() override;
    IMediaStream* GetStream() const override { return m_stream; }
    std::int32_t GetThreadState() const override {
        const_cast<SimulatedSound*>(this)->Advance();
        return m_state;
    }
    bool IsPlaying() const override { return m_state == THREAD_RUNNING; }
    bool IsStreamEnd() const override {
        const_cast<SimulatedSound*>(this)->Advance();
        return m_ended;
    }
    bool HasDataAgain() const override {
        return m_ended && m_state == THREAD_FINISHED && !m_failed && m_stream->GetCurrentFrame() != nullptr;
    }
    bool HasFailed() const override;
    bool IsQueueFilled() override {
        Advance();
        return m_queued > Played();
    }
    std::int64_t GetPlayPos() override;
    std::int64_t GetTotalBytes() override { return m_queued; }
    std::uint32_t GetBytesPerSec() const override { return SimulatedAudio::bytesPerSecond; }
    void SearchPTS(std::int64_t position, std::int64_t& stamp, std::int64_t& chunk) override {
        m_map.SearchPTSReverse(position, stamp, chunk);
    }

private:
    std::int64_t Played() const { return static_cast<std::int64_t>(m_played) / 2 * 2; }
    void Advance();
    bool Pull();
    double Speed() const;

    IMediaStream* m_stream;
    TimeCodeMgr m_map;
    bool m_open = false;
    bool m_ended = false;
    bool m_failed = false;
    std::int32_t m_state = THREAD_IDLE;
    double m_played = 0; ///< bytes since the fresh start
    std::int64_t m_queued = 0;
    std::int64_t m_silence = 0;
    std::uint64_t m_last = 0;
};

/// The stretch of pictures since the last move of the video stream.
struct Stretch {
    bool begun = false;
    bool slow = false; ///< something took long, and what follows catches up
    std::uint64_t anchor = 0;
    double anchorStamp = 0;
    std::uint64_t last = 0;
    double lastStamp = 0;
    bool paused = false; ///< since the last picture
};

class Simulation {
public:
    explicit Simulation(std::uint64_t seed);
    SimulationResult Run();

    // What the streams, the sound and the host report.
    void OnRunStart();
    void OnVideoSeek(double seconds);
    void OnNext(int n);
    void OnPicture(int n);
    void OnSlow(double seconds);

    Scheduler& Time() { return m_scheduler; }
    double Seconds() const { return static_cast<double>(m_scheduler.Now()) / 1e6; }
    double Random(double least, double most);
    bool Chance(double probability) { return Random(0, 1) < probability; }
    const Scene& GetScene() const { return m_scene; }
    double& SoundSince() { return m_soundSince; }
    [[gnu::format(printf, 2, 3)]] void Note(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] void Fault(const char* format, ...);

private:
    struct Host {
        Simulation* simulation;
        int number;
        int calls;
    };

    void MakeScene();
    static long OnNotify(void* user, unsigned int message, unsigned int what, unsigned int argument);
    void OnPosition(double position);
    void OnEnd();
    void ActInCallback();
    void Call(bool mayWait);
    void GoOn(const char* name, std::int32_t (IMediaPlayer::*call)());
    void BePaused(const char* name, std::int32_t (IMediaPlayer::*call)());
    void SeekTo(double time, bool wait);
    void PlayHost(int calls);
    void AwaitEnd();
    void FinishUp();
    void CheckLastSeek();
    static void* RunHost(void* host);

    Scheduler m_scheduler;
    Scene m_scene;
    ViewRecorder m_recorder;
    std::unique_ptr<SimulatedVideo> m_video;
    std::unique_ptr<SimulatedAudio> m_audio;
    ComPtr<IMediaPlayer> m_player;
    ComPtr<IPlayerViewMgr> m_manager;
    ComPtr<IPlayerView> m_view;
    SimulationResult m_result;
    double m_begin = -1;
    double m_soundSince = -1;
    bool m_simple = true; ///< one host and no calls inside callbacks: what follows what is certain
    bool m_callsInside = false;
    int m_loops = 0;
    // The checks.
    Stretch m_stretch;
    std::deque<std::uint64_t> m_recent; ///< pictures within the last 100 ms
    int m_lastPicture = -1;
    bool m_positionKnown = false;
    double m_position = 0;
    bool m_baseKnown = false;
    double m_base = 0; ///< position less time stamp, in this run
    double m_shownStamp = never;
    bool m_wantPause = false;
    std::uint64_t m_pausedAt = 0;
    std::uint64_t m_resumedAt = 0;
    double m_lastTarget = -1; ///< of the last seek that was called, in stream time
    bool m_targetReached = true;
    bool m_finishing = false;
};

// --- Streams

SimulatedVideo::SimulatedVideo(const Scene& scene) : m_scene(scene) {
    m_planes.resize(static_cast<std::size_t>(scene.pictures));
    for (int n = 0; n < scene.pictures; ++n) {
        auto& planes = m_planes[static_cast<std::size_t>(n)];
        planes.fill(128);
        std::fill_n(planes.begin(), 4, static_cast<std::uint8_t>(FakeVideo::LumaOf(n)));
        MEDIA_FRAME& frame = m_frames.emplace_back();
        frame.nKind = KQ_PICTURE_PLANAR_YUV;
        frame.llPTS = std::llround(StampOf(n) * 1e7);
        frame.image.pY = planes.data();
        frame.image.pU = planes.data() + 4;
        frame.image.pV = planes.data() + 5;
        frame.image.nWidth = frame.image.nHeight = frame.image.nPitchY = 2;
        frame.image.nPitchU = frame.image.nPitchV = 1;
    }
}

std::int32_t SimulatedVideo::GetStreamInfo(IStreamInfo** info) {
    if (!isHost) {
        current->OnRunStart();
    }
    return StreamInfo::Give(
        VIDEO_STREAM_INFO{2, 2, m_scene.tellsRate ? m_scene.rate : 0.0, m_scene.pictures, 2, 2}, info);
}

double SimulatedVideo::Seek(double seconds, int) {
    current->Time().Spend();
    const double since = m_scene.stampTime ? seconds - m_scene.firstStamp : seconds;
    m_index = std::clamp(static_cast<int>(std::floor(since * m_scene.rate + 1e-6)), 0, m_scene.pictures - 1);
    current->OnVideoSeek(seconds);
    return TimeOf(m_index);
}

MEDIA_FRAME* SimulatedVideo::GetCurrentFrame() {
    return m_index < m_scene.pictures ? &m_frames[static_cast<std::size_t>(m_index)] : nullptr;
}

int SimulatedVideo::NextFrame() {
    current->OnNext(m_index);
    current->Time().Spend();
    if (m_index == m_scene.slowPicture) {
        current->OnSlow(m_scene.slowFor);
    }
    m_index = std::min(m_index + 1, m_scene.pictures);
    return m_index < m_scene.pictures ? 1 : 0;
}

double SimulatedVideo::GetFramePosition() {
    return TimeOf(m_index) * m_scene.rate;
}

double SimulatedAudio::Seek(double seconds, int) {
    current->Time().Spend();
    const double since = (m_scene.stampTime ? seconds - m_scene.firstStamp : seconds) - m_scene.soundBegin;
    m_index = std::clamp(static_cast<int>(std::floor(since * 50 + 1e-6)), 0, m_chunks);
    return seconds;
}

MEDIA_FRAME* SimulatedAudio::GetCurrentFrame() {
    const double now = current->Seconds();
    if (m_index >= m_chunks || (now >= m_scene.soundStalls && now < m_scene.soundRecovers)) {
        return nullptr;
    }
    const double stamp = m_scene.firstStamp + m_scene.soundBegin + m_index / 50.0;
    m_frame.llPTS = m_scene.soundStamps ? std::llround(stamp * 1e7) : KQ_NO_PTS;
    return &m_frame;
}

// --- The sound

int SimulatedSound::Open(int, int, int) {
    m_open = current->GetScene().fault != Scene::Fault::Refused;
    return 1;
}

double SimulatedSound::Speed() const {
    const Scene& scene = current->GetScene();
    const double since = current->Seconds() - current->SoundSince() - scene.faultAt;
    if (since < 0) {
        return 1;
    }
    switch (scene.fault) {
    case Scene::Fault::Freezes:
        return 0;
    case Scene::Fault::Hiccups:
        return since < 0.2 ? 0 : 1;
    case Scene::Fault::Creeps:
        return 0.1;
    case Scene::Fault::HalfSpeed:
        return 0.5;
    default:
        return 1;
    }
}

bool SimulatedSound::HasFailed() const {
    const_cast<SimulatedSound*>(this)->Advance();
    return m_failed;
}

bool SimulatedSound::Pull() {
    constexpr int wanted = SimulatedAudio::bytesPerSecond / 10;
    int got = 0;
    while (got < wanted) {
        const MEDIA_FRAME* const frame = m_stream->GetCurrentFrame();
        if (frame == nullptr) {
            break;
        }
        m_map.PutPTS(frame->image.nAudioLength, frame->llPTS);
        got += frame->image.nAudioLength;
        m_stream->NextFrame();
    }
    if (got < wanted) {
        if (m_silence >= SimulatedAudio::bytesPerSecond) {
            m_ended = true;
            m_queued += got;
            return got > 0;
        }
        m_map.PutPTS(wanted - got, KQ_NO_PTS);
        m_silence += wanted - got;
    }
    m_queued += wanted;
    return true;
}

void SimulatedSound::Advance() {
    const std::uint64_t now = current->Time().Now();
    const double step = static_cast<double>(now - m_last) / 1e6;
    m_last = now;
    if (m_state != THREAD_RUNNING) {
        return;
    }
    const Scene& scene = current->GetScene();
    if (scene.fault == Scene::Fault::Fails && current->Seconds() - current->SoundSince() >= scene.faultAt) {
        m_failed = true;
        m_ended = true;
        m_state = THREAD_FINISHED;
        return;
    }
    const double due = m_played + step * Speed() * SimulatedAudio::bytesPerSecond;
    while (static_cast<double>(m_queued) < due + SimulatedAudio::bytesPerSecond * 0.1) {
        if (!Pull()) {
            m_state = THREAD_FINISHED;
            break;
        }
    }
    m_played = std::min(due, static_cast<double>(m_queued));
}

std::int64_t SimulatedSound::GetPlayPos() {
    Advance();
    current->Time().Spend();
    if (m_state == THREAD_IDLE || m_state == THREAD_FINISHED) {
        return m_state == THREAD_IDLE ? 0 : Played();
    }
    const Scene& scene = current->GetScene();
    constexpr std::int64_t period = SimulatedAudio::bytesPerSecond / 200;
    const std::int64_t position = Played() / period * period;
    if (current->Seconds() - current->SoundSince() < scene.faultAt) {
        return position;
    }
    const std::int64_t jump = SimulatedAudio::bytesPerSecond * 3 / 2;
    return scene.fault == Scene::Fault::JumpsAhead  ? position + jump
           : scene.fault == Scene::Fault::JumpsBack ? std::max<std::int64_t>(0, position - jump)
                                                    : position;
}

void SimulatedSound::Play() {
    Advance();
    if (m_failed || m_state == THREAD_RUNNING) {
        return;
    }
    if (current->SoundSince() < 0) {
        current->SoundSince() = current->Seconds();
    }
    if (m_state != THREAD_SUSPENDED) {
        if (m_ended && m_stream->GetCurrentFrame() != nullptr) {
            m_ended = false;
            m_silence = 0;
        }
        m_map.Reset();
        m_played = 0;
        m_queued = 0;
        if (!Pull() || !Pull()) {
            m_state = THREAD_FINISHED;
            return;
        }
    }
    m_state = THREAD_RUNNING;
}

void SimulatedSound::Pause() {
    Advance();
    if (m_state == THREAD_RUNNING) {
        m_state = THREAD_SUSPENDED;
    }
}

void SimulatedSound::Stop() {
    Advance();
    current->Time().Spend();
    if (m_state != THREAD_IDLE) {
        m_state = THREAD_FINISHED;
    }
    m_played = 0;
    m_queued = 0;
}

void SimulatedSound::ResetPullState() {
    m_map.Reset();
    m_ended = false;
    m_silence = 0;
}

std::unique_ptr<SoundOutput> MakeSimulatedSound(IMediaStream* stream) {
    return std::make_unique<SimulatedSound>(stream);
}

// --- The script

Simulation::Simulation(std::uint64_t seed) : m_scheduler(seed) {
    current = this;
    isHost = true;
    InstallSoundMaker(&MakeSimulatedSound);
    MakeScene();
    m_recorder.onPicture = [this](int n) { OnPicture(n); };
    m_scheduler.LimitTo(
        300'000'000, [] { std::fprintf(stderr, "a script hangs:\n%s", current->m_result.script.c_str()); });
}

double Simulation::Random(double least, double most) {
    return std::uniform_real_distribution<double>(least, most)(m_scheduler.Random());
}

void Simulation::Note(const char* format, ...) {
    std::array<char, 200> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    std::array<char, 240> line{};
    std::snprintf(line.data(), line.size(), "%9.4f %s %s\n", Seconds() - 1, isHost ? "host" : "play",
                  text.data());
    m_result.script += line.data();
}

void Simulation::Fault(const char* format, ...) {
    std::array<char, 200> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    Note("BROKEN: %s", text.data());
    m_result.faults.emplace_back(text.data());
}

void Simulation::MakeScene() {
    constexpr std::array<double, 6> rates{25, 30, 24000.0 / 1001, 10, 60, 7.3};
    m_scene.rate = rates[m_scheduler.Random()() % rates.size()];
    m_scene.tellsRate = !Chance(0.1);
    m_scene.pictures = std::max(1, static_cast<int>(Random(0.05, 2.5) * m_scene.rate));
    if (Chance(0.35)) {
        m_scene.firstStamp = Chance(0.5) ? 3.0 : Random(0.01, 100);
        m_scene.stampTime = Chance(0.5) || !m_scene.tellsRate;
    }
    if (Chance(0.15)) {
        m_scene.slowPicture = static_cast<int>(Random(0, m_scene.pictures));
        m_scene.slowFor = Random(0.05, 0.8);
    }
    m_scene.hasSound = Chance(0.6);
    m_scene.soundLength = Random(0.1, 3);
    m_scene.soundBegin = Chance(0.2) ? Random(0.01, 1) : 0;
    m_scene.soundStamps = !Chance(0.1);
    if (!m_scene.soundStamps) {
        m_scene.soundBegin = 0;
    }
    if (Chance(0.15)) {
        m_scene.soundStalls = 1 + Random(0, 2);
        m_scene.soundRecovers = m_scene.soundStalls + Random(0.1, 2);
    }
    if (Chance(0.4)) {
        m_scene.fault = static_cast<Scene::Fault>(m_scheduler.Random()() % 9);
        m_scene.faultAt = Random(0, 1.5);
    }
    Note("%d pictures at %.3f Hz%s from %.3f%s; slow %d for %.2f s", m_scene.pictures, m_scene.rate,
         m_scene.tellsRate ? "" : " (untold)", m_scene.firstStamp, m_scene.stampTime ? " (stream time)" : "",
         m_scene.slowPicture, m_scene.slowFor);
    if (m_scene.hasSound) {
        Note("sound of %.2f s from %.2f%s, stalls %.2f to %.2f, fault %d at %.2f", m_scene.soundLength,
             m_scene.soundBegin, m_scene.soundStamps ? "" : " (unstamped)", m_scene.soundStalls - 1,
             m_scene.soundRecovers - 1, static_cast<int>(m_scene.fault), m_scene.faultAt);
    }
}

void Simulation::GoOn(const char* name, std::int32_t (IMediaPlayer::*call)()) {
    Note("%s", name);
    m_wantPause = false;
    m_resumedAt = m_scheduler.Now();
    (m_player.Get()->*call)();
}

void Simulation::BePaused(const char* name, std::int32_t (IMediaPlayer::*call)()) {
    Note("%s", name);
    (m_player.Get()->*call)();
    m_wantPause = true;
    m_pausedAt = m_scheduler.Now();
}

void Simulation::SeekTo(double time, bool wait) {
    m_lastTarget = std::max(0.0, m_begin) + time;
    m_targetReached = time < 0;
    m_shownStamp = never;
    if (!wait) {
        m_player->Seek(time, 1);
        return;
    }
    const std::uint64_t before = m_scheduler.Now();
    m_player->SyncSeek(time, 1);
    const double took = static_cast<double>(m_scheduler.Now() - before) / 1e6;
    Note("SyncSeek has returned");
    if (took > 0.6 + 2 * m_scene.slowFor) {
        Fault("SyncSeek took %.3f s", took);
    }
    if (m_simple && time >= 0 && !m_targetReached) {
        Fault("SyncSeek has returned and nothing was moved");
    }
}

void Simulation::Call(bool mayWait) {
    const double length = m_scene.pictures / m_scene.rate;
    const double time =
        (m_scene.stampTime && m_begin < 0 ? m_scene.firstStamp : 0.0) + Random(-0.1, length * 1.2);
    switch (m_scheduler.Random()() % (mayWait ? 12 : 8)) {
    case 0:
    case 1:
        GoOn("Play", &IMediaPlayer::Play);
        break;
    case 2:
    case 3:
        BePaused("Pause", &IMediaPlayer::Pause);
        break;
    case 4:
        GoOn("Resume", &IMediaPlayer::Resume);
        break;
    case 5:
        Note("Seek %.4f", time);
        SeekTo(time, false);
        break;
    case 6:
        Note("Forward");
        m_wantPause = false; // it may step past the end
        m_player->Forward();
        break;
    case 7:
        Note("Update, IsSeeking");
        m_player->Update(0);
        m_player->IsSeeking();
        break;
    case 8:
        Note("SyncSeek %.4f", time);
        SeekTo(time, true);
        break;
    case 9:
        m_wantPause = false; // a run that is paused ends
        BePaused("Load", &IMediaPlayer::Load);
        break;
    case 10:
        Note("Stop");
        m_wantPause = false;
        m_player->Stop();
        break;
    default:
        if (m_player->IsActivate() == KQ_ACTIVATE_STOPPED || m_player->IsActivate() == KQ_ACTIVATE_ENDED) {
            m_begin = (m_scene.stampTime ? m_scene.firstStamp : 0.0) + (Chance(0.5) ? 0 : Random(0, length));
            const double range = Chance(0.5) ? 0 : Random(0.05, length);
            Note("SetPlayTime %.4f %.4f", m_begin, range);
            m_player->SetPlayTime(m_begin, range);
        }
        break;
    }
}

void Simulation::PlayHost(int calls) {
    for (int i = 0; i < calls; ++i) {
        // Now and then back to back.
        m_scheduler.SleepFor(static_cast<std::uint64_t>(Chance(0.3)   ? Random(0, 1500)
                                                        : Chance(0.5) ? Random(0, 120'000)
                                                                      : Random(0, 900'000)));
        Call(true);
    }
}

void* Simulation::RunHost(void* host) {
    isHost = true;
    auto& self = *static_cast<Host*>(host);
    self.simulation->PlayHost(self.calls);
    return nullptr;
}

SimulationResult Simulation::Run() {
    CreatePlayer(m_player);
    m_player->GetPlayerViewMgr(m_manager.Out());
    m_video = std::make_unique<SimulatedVideo>(m_scene);
    m_view = ComPtr<IPlayerView>::Adopt(m_manager->CreatePlayView(OffScreenParent(), tagRECT{0, 0, 2, 2}));
    m_view->SetVideoInput(1, m_video.get());
    if (m_scene.hasSound) {
        m_audio = std::make_unique<SimulatedAudio>(m_scene);
        m_player.As<IAudioInput>()->SetAudioInput(m_audio.get());
    }
    m_player->SetCallBack(&Simulation::OnNotify, this);
    const bool second = Chance(0.3);
    m_callsInside = Chance(0.2);
    m_simple = !second && !m_callsInside;
    Host host{this, 1, static_cast<int>(Random(1, 8))};
    pthread_t thread{};
    if (second) {
        pthread_create(&thread, nullptr, &Simulation::RunHost, &host);
    }
    if (Chance(0.3)) {
        Call(true); // before the first run
    }
    GoOn("Play", &IMediaPlayer::Play);
    PlayHost(static_cast<int>(Random(0, 10)));
    if (second) {
        pthread_join(thread, nullptr);
    }
    FinishUp();
    m_result.seconds = Seconds() - 1;
    InstallSoundMaker(nullptr);
    return m_result;
}

void Simulation::AwaitEnd() {
    const double most = m_scene.pictures / m_scene.rate + (m_scene.hasSound ? m_scene.soundLength + 4.5 : 0) +
                        m_scene.slowFor + 2;
    const double from = Seconds();
    while (m_player->IsActivate() == KQ_ACTIVATE_PLAYING && Seconds() - from < most) {
        m_scheduler.SleepFor(10'000);
    }
    if (m_player->IsActivate() == KQ_ACTIVATE_PLAYING) {
        Fault("the run does not end: it goes on after %.2f s", most);
    }
}

void Simulation::FinishUp() {
    m_finishing = true;
    m_callsInside = false;
    Note("the script is over, activity %d", m_player->IsActivate());
    if (m_player->IsActivate() == KQ_ACTIVATE_PLAYING) {
        AwaitEnd();
    } else if (m_player->IsActivate() == KQ_ACTIVATE_PAUSED) {
        m_scheduler.SleepFor(300'000);
        const int shown = m_result.pictures;
        m_scheduler.SleepFor(300'000);
        if (m_result.pictures != shown) {
            Fault("pictures go on in a pause");
        }
        GoOn("Play", &IMediaPlayer::Play);
        AwaitEnd();
    }
    m_scheduler.SleepFor(200'000);
    if (m_player->IsSeeking()) {
        Fault("a seek is still pending");
    }
    if (m_simple && !m_targetReached) {
        Fault("the seek to %.4f was lost", m_lastTarget);
    }
    Note("Stop");
    m_player->Stop();
    m_player->SetCallBack(nullptr, nullptr);
    m_view.Reset();
    m_manager.Reset();
    m_player.Reset();
    m_scheduler.SleepFor(1'000'000); // threads that end by themselves
    if (m_video->references != 1 || (m_audio && m_audio->references != 1)) {
        Fault("a stream is still referenced");
    }
}

// --- The checks

void Simulation::OnRunStart() {
    Note("a run starts");
    m_stretch = {};
    m_positionKnown = false;
    m_baseKnown = false;
    m_shownStamp = never;
}

void Simulation::OnVideoSeek(double seconds) {
    Note("the video moves to %.4f: picture %d", seconds, m_video->Index());
    m_stretch = {};
    m_recent.clear();
    m_positionKnown = false;
    m_shownStamp = never;
    if (std::abs(seconds - m_lastTarget) < 1e-6) {
        m_targetReached = true;
    }
}

void Simulation::OnSlow(double seconds) {
    Note("slow for %.3f s", seconds);
    m_stretch.slow = true;
    m_scheduler.SleepFor(static_cast<std::uint64_t>(seconds * 1e6));
    m_stretch.slow = true;
}

void Simulation::OnPicture(int n) {
    m_lastPicture = n;
    m_shownStamp = n >= 0 && m_video->Index() % 200 == n ? m_video->StampOf(m_video->Index()) : never;
}

void Simulation::OnNext(int n) {
    const std::uint64_t now = m_scheduler.Now();
    const double stamp = m_video->StampOf(n);
    if (m_player->IsPaused()) {
        Note("step from picture %d", n);
        m_stretch.paused = true;
        m_stretch.begun = false;
        return;
    }
    if (n >= m_scene.pictures) {
        Fault("a step past the end while playing");
        return;
    }
    ++m_result.pictures;
    Note("picture %d", n);
    if (m_lastPicture != n % 200) {
        Fault("picture %d was to be shown, %d is", n, m_lastPicture);
    }
    m_recent.push_back(now);
    while (now - m_recent.front() >= 100'000) {
        m_recent.pop_front();
    }
    // A sound that hesitates may catch up with what it missed.
    const double caughtUp = m_scene.fault == Scene::Fault::Hiccups ? m_scene.rate / 5 : 0;
    const auto most = static_cast<std::size_t>(
        std::max(std::ceil(m_scene.rate / 10) + 3, std::ceil(m_scene.rate * 0.24)) + std::ceil(caughtUp));
    if (m_recent.size() > most && !m_stretch.slow) {
        Fault("%zu pictures in 100 ms at %.1f Hz", m_recent.size(), m_scene.rate);
    }
    if (m_stretch.begun) {
        const double since = static_cast<double>(now - m_stretch.last) / 1e6;
        const double wanted = stamp - m_stretch.lastStamp;
        const double sinceResume = static_cast<double>(now - std::max(m_resumedAt, m_stretch.last)) / 1e6;
        if ((m_stretch.paused ? sinceResume : since) > wanted + 0.38 && !m_stretch.slow) {
            Fault("picture %d waits %.3f s instead of %.3f", n, since, wanted);
        }
        const double played = static_cast<double>(now - m_stretch.anchor) / 1e6;
        const double early = stamp - m_stretch.anchorStamp - played;
        if (early > (m_scene.hasSound ? 0.28 : 0.025) && !m_stretch.slow) {
            Fault("picture %d is %.3f s early", n, early);
        }
    }
    if (!m_stretch.begun || m_stretch.paused) {
        m_stretch.anchor = now;
        m_stretch.anchorStamp = stamp;
    }
    m_stretch.begun = true;
    m_stretch.paused = false;
    m_stretch.last = now;
    m_stretch.lastStamp = stamp;
    m_shownStamp = stamp;
}

void Simulation::OnPosition(double position) {
    Note("position %.4f%s", position, m_player->IsPaused() ? " (paused)" : "");
    if (m_player->IsPaused()) {
        m_stretch.paused = true;
    }
    if (!std::isfinite(position) || (m_positionKnown && position < m_position - 0.0015)) {
        Fault("the position falls from %.4f to %.4f", m_position, position);
    }
    m_positionKnown = true;
    m_position = position;
    if (m_shownStamp < never && m_video->Index() < m_scene.pictures && position > 0) {
        const double base = position - m_shownStamp;
        if (m_baseKnown && std::abs(base - m_base) > 0.002) {
            Fault("position %.4f does not fit the picture at %.4f: %.4f before", position, m_shownStamp,
                  m_base);
        }
        m_baseKnown = true;
        m_base = base;
    }
}

void Simulation::OnEnd() {
    Note("end of play");
    if (m_simple && m_wantPause &&
        static_cast<double>(m_scheduler.Now() - m_pausedAt) / 1e6 > 0.25 + m_scene.slowFor && !m_finishing) {
        Fault("a paused run has ended");
    }
}

void Simulation::ActInCallback() {
    if (m_callsInside && Chance(0.05)) {
        Call(false);
    }
}

long Simulation::OnNotify(void* user, unsigned int, unsigned int what, unsigned int argument) {
    auto& self = *static_cast<Simulation*>(user);
    if (what == KQ_NOTIFY_POSITION) {
        self.OnPosition(KQPlayedTime(argument));
        self.ActInCallback();
        return 0;
    }
    self.OnEnd();
    if (self.m_callsInside && self.m_loops < 2 && self.Chance(0.5)) {
        ++self.m_loops;
        self.GoOn("Play", &IMediaPlayer::Play);
    }
    return 0;
}

} // namespace

SimulationResult Simulate(std::uint64_t seed) {
    Simulation simulation(seed);
    SimulationResult result = simulation.Run();
    TakeLog();
    current = nullptr;
    return result;
}

} // namespace kq::test
