#include "tests/support/FakeStream.h"
#include "tests/support/ForwardingStream.h"
#include "tests/support/Hindrance.h"
#include "tests/support/OpenALStandIn.h"
#include "tests/support/PlayerHost.h"
#include "tests/support/ViewRecorder.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace kq::test {
namespace {

using std::chrono::milliseconds;

constexpr int pictureMs = 40;
/// A sound that stands still is given up after 300 ms, the next picture is due one interval later, and
/// machines are busy.
constexpr int mostGapMs = 300 + pictureMs + 60;

double Milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

/// What a player did, in words; empty when all was well.
class Findings {
public:
    template <class... Parts>
    void Require(bool holds, const Parts&... parts) {
        if (!holds) {
            (m_text << ... << parts) << "; ";
        }
    }
    std::string GetText() const { return m_text.str(); }

private:
    std::ostringstream m_text;
};

/// Runs bodies beside each other, each in a process of its own with its own OpenAL and its own standard
/// output.
class Processes {
public:
    void Start(const std::string& name, const std::function<std::string()>& body) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        std::fflush(nullptr);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const std::string findings = body();
            const bool isTold = write(ends[1], findings.data(), findings.size()) >= 0;
            _exit(isTold ? 0 : 1);
        }
        close(ends[1]);
        m_children.push_back({name, child, ends[0]});
    }

    /// Expects of each that it ended in good order and found nothing.
    void WaitForAll() {
        for (const Child& child : m_children) {
            std::string findings;
            char piece[512];
            for (ssize_t n = 0; (n = read(child.pipe, piece, sizeof piece)) > 0;) {
                findings.append(piece, static_cast<std::size_t>(n));
            }
            close(child.pipe);
            int status = 0;
            waitpid(child.process, &status, 0);
            EXPECT_EQ(status, 0) << child.name << " ended the process";
            EXPECT_EQ(findings, "") << child.name;
        }
        m_children.clear();
    }

private:
    struct Child {
        std::string name;
        pid_t process;
        int pipe;
    };
    std::vector<Child> m_children;
};

/// Keeps the standard output of this process.
class KeptOutput {
public:
    KeptOutput() : m_file(memfd_create("output", 0)) { dup2(m_file, STDOUT_FILENO); }

    int Count(const std::string& text) const {
        std::fflush(stdout);
        std::string all(static_cast<std::size_t>(lseek(m_file, 0, SEEK_END)), '\0');
        const ssize_t size = pread(m_file, all.data(), all.size(), 0);
        int count = 0;
        for (std::size_t at = all.find(text); size > 0 && at != std::string::npos;
             at = all.find(text, at + 1)) {
            ++count;
        }
        return count;
    }
    /// Lines that say that the run goes on without its sound.
    int CountGivenUp() const {
        return Count("the run goes on without it") + Count("SoundPlayer::Open refused") +
               Count("the audio device is gone");
    }

private:
    int m_file;
};

struct Shown {
    int frame;
    double ms; ///< since Play()
};

/// What was on show for the first time, in order.
std::vector<Shown> GetShown(const ViewRecorder& recorder, Clock::time_point start) {
    std::vector<Shown> shown;
    const auto frames = recorder.GetFrames();
    const auto pictures = recorder.GetPictures();
    for (std::size_t i = 0; i < std::min(frames.size(), pictures.size()); ++i) {
        if (frames[i] >= 0 && (shown.empty() || shown.back().frame != frames[i])) {
            shown.push_back({frames[i], Milliseconds(pictures[i].when - start)});
        }
    }
    return shown;
}

/// @param freeMs time that no picture is charged with: in a pause, or lost to what else the machine did
void CheckPace(Findings& findings, const std::vector<Shown>& shown, int frames, double freeMs) {
    findings.Require(static_cast<int>(shown.size()) == frames, shown.size(), " pictures of ", frames);
    findings.Require(!shown.empty() && shown[0].ms <= 1500 + freeMs, "the first picture came late");
    for (std::size_t i = 0; i < shown.size(); ++i) {
        // From the first picture on: starting up takes as long as the machine is busy.
        const double due = shown[0].ms + static_cast<double>(i) * pictureMs;
        findings.Require(shown[i].frame == static_cast<int>(i), "picture ", shown[i].frame, " in place ", i);
        findings.Require(shown[i].ms >= due - 250, "picture ", i, " at ", shown[i].ms, " ms is early");
        findings.Require(shown[i].ms <= due + freeMs + 400, "picture ", i, " at ", shown[i].ms,
                         " ms is late");
        findings.Require(i < 1 || shown[i].ms - shown[i - 1].ms <= mostGapMs + freeMs, "a gap of ",
                         i < 1 ? 0 : shown[i].ms - shown[i - 1].ms, " ms before picture ", i);
        findings.Require(i < 6 || shown[i].ms - shown[i - 6].ms > 100 - freeMs, "a burst up to picture ", i);
    }
}

constexpr int anyNumber = -1;

struct Misfortune {
    std::string name;
    std::function<void(OpenALStandIn&)> begins;          ///< before the player plays
    std::function<void(OpenALStandIn&)> later = nullptr; ///< 400 ms after it
    std::function<void(OpenALStandIn&)> last = nullptr;  ///< 200 ms after that
    bool isPaused = false;                               ///< the host pauses and resumes
    int givenUp = 1;                                     ///< lines that say so
    bool isOwnContext = false;
};

std::string PlayThrough(const Misfortune& misfortune) {
    constexpr int frames = 40;
    constexpr double lengthMs = frames * pictureMs;
    KeptOutput output;
    Findings findings;
    OpenALStandIn openAL;
    ViewRecorder recorder;
    if (!misfortune.isOwnContext) {
        openAL.OpenAsHost();
    }
    FakeVideo video(frames, 25);
    FakeAudio audio(4.0, 8000, 1, 160);
    PlayerHost host(&video, &audio);
    host->SetPlayTime(0, lengthMs / 1000);
    if (misfortune.begins) {
        misfortune.begins(openAL);
    }
    const Hindrance hindrance;
    const auto start = Clock::now();
    host->Play();
    double pausedMs = 0;
    for (int i = 0; i < 2 && misfortune.isPaused; ++i) {
        std::this_thread::sleep_for(milliseconds(300));
        const auto paused = Clock::now();
        const auto isDone = [&](bool isPaused) {
            return host->IsPaused() == isPaused || host.GetEnds() == 1;
        };
        host->Pause();
        WaitUntil([&] { return isDone(true); });
        std::this_thread::sleep_for(milliseconds(60));
        host->Resume();
        WaitUntil([&] { return isDone(false); });
        pausedMs += Milliseconds(Clock::now() - paused);
    }
    if (misfortune.later) {
        std::this_thread::sleep_until(start + milliseconds(400));
        misfortune.later(openAL);
    }
    if (misfortune.last) {
        std::this_thread::sleep_until(start + milliseconds(600));
        misfortune.last(openAL);
    }
    findings.Require(WaitUntil([&] { return host.GetEnds() == 1; }, std::chrono::seconds(10)), "no end");
    const auto shown = GetShown(recorder, start);
    const double endMs = Milliseconds(Clock::now() - start) - (shown.empty() ? 0 : shown[0].ms);
    const double freeMs = pausedMs + hindrance.Lost();
    findings.Require(endMs >= lengthMs - pictureMs - 50, "the end came early, at ", endMs);
    findings.Require(endMs <= lengthMs + freeMs + 700, "the end came late, at ", endMs);
    CheckPace(findings, shown, frames, freeMs);
    host.ReleasePlayer();
    findings.Require(misfortune.givenUp == anyNumber || output.CountGivenUp() == misfortune.givenUp,
                     output.CountGivenUp(), " lines say so");
    findings.Require(openAL.GetObjects().sources == 0 && openAL.GetObjects().buffers == 0,
                     "sources or buffers are left");
    findings.Require(openAL.CountWrongClosings() == 0, "something was closed twice");
    if (!misfortune.isOwnContext) {
        findings.Require(alcGetCurrentContext() != nullptr, "the host's context is not current any more");
        findings.Require(openAL.CloseAsHost(), "the host cannot close what it opened");
    }
    return findings.GetText();
}

void PlayAll(const std::vector<Misfortune>& misfortunes) {
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    constexpr std::size_t most = 4; // at a time: each costs several times as much
#else
    constexpr std::size_t most = 8;
#endif
    Processes processes;
    for (std::size_t i = 0; i < misfortunes.size(); ++i) {
        processes.Start(misfortunes[i].name, [&] { return PlayThrough(misfortunes[i]); });
        if ((i + 1) % most == 0) {
            processes.WaitForAll();
        }
    }
    processes.WaitForAll();
}

/// A call that fails the first, second or third time, once or for ever.
std::vector<Misfortune> Failures(const std::string& function, int mostNth, bool isPaused, int givenUp = 1) {
    std::vector<Misfortune> all;
    for (int nth = 1; nth <= mostNth; ++nth) {
        for (const Failing how : {Failing::Once, Failing::ForEver}) {
            Misfortune m{function + " " + std::to_string(nth) +
                             (how == Failing::Once ? " once" : " for ever"),
                         [=](OpenALStandIn& openAL) { openAL.Fail(function, nth, how); }};
            m.isPaused = isPaused;
            m.givenUp = givenUp;
            m.isOwnContext = function.rfind("alc", 0) == 0;
            all.push_back(m);
        }
    }
    return all;
}

void PlayEach(const std::vector<std::vector<Misfortune>>& groups) {
    std::vector<Misfortune> all;
    for (const auto& group : groups) {
        all.insert(all.end(), group.begin(), group.end());
    }
    PlayAll(all);
}

/// A sound stream that has nothing to give for a while, and then goes on where it was.
class StallingAudio final : public ForwardingStream {
public:
    StallingAudio(FakeAudio& audio, milliseconds from, milliseconds length)
        : ForwardingStream(audio), m_from(Clock::now() + from), m_to(m_from + length) {}

    MEDIA_FRAME* GetCurrentFrame() override {
        const auto now = Clock::now();
        return now >= m_from && now < m_to ? nullptr : ForwardingStream::GetCurrentFrame();
    }

private:
    const Clock::time_point m_from;
    const Clock::time_point m_to;
};

/// Sound that is heard while a picture is on show belongs to it.
void CheckStep(Findings& findings, const OpenALStandIn& openAL, const std::vector<Shown>& shown,
               Clock::time_point start, double fromMs, double freeMs) {
    int heard = 0;
    for (const auto& piece : openAL.GetHeard()) {
        const double at = Milliseconds(piece.when - start);
        const int sample = piece.samples.back();
        const auto next = std::find_if(shown.begin(), shown.end(), [&](const Shown& s) { return s.ms > at; });
        if (sample == 0 || at < fromMs || next == shown.begin() || next == shown.end()) {
            continue; // silence, or no picture beside it
        }
        ++heard;
        // Samples count to 20,000, which is 2.5 s.
        const double apart = std::remainder(sample / 8.0 - (next - 1)->frame * pictureMs, 2500);
        findings.Require(std::abs(apart) <= 300 + freeMs, "sound and pictures are ", apart, " ms apart at ",
                         at);
    }
    findings.Require(heard > 50, "the sound was not heard again");
}

std::string PlayWithStall(milliseconds length) {
    constexpr milliseconds from(700);
    const int frames = static_cast<int>((from + length).count() + 1800) / pictureMs;
    KeptOutput output;
    Findings findings;
    OpenALStandIn openAL;
    openAL.OpenAsHost();
    ViewRecorder recorder;
    FakeVideo video(frames, 25);
    FakeAudio audio(8.0, 8000, 1, 160);
    StallingAudio stalling(audio, from, length);
    PlayerHost host(&video, &stalling);
    host->SetPlayTime(0, frames * pictureMs / 1000.0);
    const Hindrance hindrance;
    const auto start = Clock::now();
    host->Play();
    findings.Require(WaitUntil([&] { return host.GetEnds() == 1; }, std::chrono::seconds(20)), "no end");
    const auto shown = GetShown(recorder, start);
    CheckPace(findings, shown, frames, hindrance.Lost());
    CheckStep(findings, openAL, shown, start, static_cast<double>((from + length).count()) + 600,
              hindrance.Lost());
    findings.Require(output.CountGivenUp() == 0, "the sound was given up");
    return findings.GetText();
}

TEST(SoundFailure, AStreamThatStalledIsHeardAgainInStep) {
    Processes processes;
    for (const int length : {300, 800, 2500}) {
        processes.Start(std::to_string(length), [=] { return PlayWithStall(milliseconds(length)); });
    }
    processes.WaitForAll();
}

TEST(SoundFailure, WhateverCannotBeMadeLeavesThePicturesRunning) {
    // Generated at Open and again at the start; one context and one device are asked for once.
    PlayEach({Failures("alGenBuffers", 2, false), Failures("alGenSources", 1, false),
              Failures("alcOpenDevice", 1, false), Failures("alcCreateContext", 1, false),
              Failures("alcMakeContextCurrent", 1, false), Failures("alSourcei", 1, false)});
}

TEST(SoundFailure, WhateverCannotBeFilledOrQueuedLeavesThePicturesRunning) {
    PlayEach({Failures("alBufferData", 3, false), Failures("alSourceQueueBuffers", 3, false)});
}

TEST(SoundFailure, WhateverCannotBeUnqueuedOrPlayedLeavesThePicturesRunning) {
    PlayEach({Failures("alSourceUnqueueBuffers", 3, false), Failures("alSourcePlay", 3, true)});
}

TEST(SoundFailure, WhateverCannotBeAskedLeavesThePicturesRunning) {
    std::vector<std::vector<Misfortune>> all = {Failures("alGetSourcei/AL_SOURCE_STATE", 1, false),
                                                Failures("alGetSourcei/AL_BUFFERS_PROCESSED", 1, false)};
    for (std::vector<Misfortune>& each : all) {
        each[0].givenUp = anyNumber; // on a busy machine the loop may ask first, and asks again
    }
    PlayEach(all);
}

TEST(SoundFailure, AContextThatIsCurrentNeedNotBeMadeCurrent) {
    auto later = Failures("alcMakeContextCurrent", 3, true, 0);
    later.erase(later.begin(), later.begin() + 2); // at the first call there is none
    PlayAll(later);
}

TEST(SoundFailure, ADeviceThatMovesWronglyDoesNotTakeThePicturesAlong) {
    const auto rate = [](double value) { return [value](OpenALStandIn& openAL) { openAL.SetRate(value); }; };
    const auto shift = [](int ms) { return [ms](OpenALStandIn& openAL) { openAL.ShiftOffset(ms * 16); }; };
    const auto disconnect = [](OpenALStandIn& openAL) { openAL.Disconnect(); };
    std::vector<Misfortune> all = {
        {"nothing", nullptr, nullptr, nullptr, false, 0},
        {"stalls from the begin", rate(0)},
        {"stalls", nullptr, rate(0)},
        {"stalls for 200 ms", nullptr, rate(0), rate(1), false, 0},
        {"creeps at 10 % from the begin", rate(0.1), nullptr, nullptr, false, 0},
        {"creeps at 10 %", nullptr, rate(0.1), nullptr, false, 0},
        {"creeps at 50 % from the begin", rate(0.5), nullptr, nullptr, false, 0},
        {"creeps at 50 %", nullptr, rate(0.5), nullptr, false, 0},
        {"jumps ahead", nullptr, shift(2000), nullptr, false, 0},
        {"jumps back", nullptr, shift(-2000), nullptr, false, 0},
        {"disconnects at the begin", disconnect},
        {"disconnects", nullptr, disconnect},
    };
    PlayAll(all);
}

} // namespace
} // namespace kq::test
