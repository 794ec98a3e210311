// Plays a file in a window of its own: minimal_host [--headless] FILE
//
// Build it with three lines of CMake (see CMakeLists.txt beside this file) or one line of pkg-config:
//     g++ -std=c++17 minimal_host.cpp -o minimal_host $(pkg-config --cflags --libs kqplayer-streams)

#include <kqplayer/convenience.h>
#include <kqplayer/media_file.h>

#include <cstdio>
#include <cstring>
#include <future>

namespace {

/// What the callback and main() share.
struct Run {
    std::promise<void> ended;
    double position = 0; ///< written by the playback thread, read when the run has ended
};

/// Runs on the playback thread, which waits meanwhile: be quick here, and never call Stop().
long OnNotify(void* userData, unsigned int /*message*/, unsigned int what, unsigned int argument) {
    Run& run = *static_cast<Run*>(userData);
    if (what == KQ_NOTIFY_POSITION) {
        run.position = KQPlayedTime(argument);
    } else if (what == KQ_NOTIFY_END) {
        run.ended.set_value();
    }
    return 0;
}

int Fail(const char* what, const char* why) {
    std::fprintf(stderr, "minimal_host: %s: %s\n", what, why);
    return 1;
}

int Play(const char* path, void* parent) {
    // The file's streams decode ahead on threads of their own. Each comes with one reference, which we own.
    kq::streams::MediaFile file;
    std::string error;
    if (!kq::streams::OpenMediaFile(path, {}, file, error)) {
        std::fprintf(stderr, "minimal_host: %s\n", error.c_str());
        return 1;
    }
    const auto video = kq::ComPtr<IMediaStream>::Adopt(file.video);
    const auto audio = kq::ComPtr<IMediaStream>::Adopt(file.audio);

    // A player, and its views. What the callback uses outlives the player, whose last reference waits for it.
    Run run;
    kq::ComPtr<IMediaPlayer> player;
    if (const std::int32_t result = kq::CreatePlayer(player); result != kq::Ok) {
        return Fail("no player", kq::ResultText(result));
    }
    kq::ComPtr<IPlayerViewMgr> views;
    player->GetPlayerViewMgr(views.Out());
    const auto view =
        kq::ComPtr<IPlayerView>::Adopt(views->CreatePlayView(parent, tagRECT{100, 100, 1060, 640}));
    if (!view) {
        return Fail("no view", "PlayerView.so is missing or refuses the window");
    }

    // One view: its source mode is 1, the number of the stream that paces playback. The player takes
    // references of its own on what it is given.
    if (video) {
        view->SetVideoInput(1, video.Get());
    }
    if (audio) {
        player.As<IAudioInput>()->SetAudioInput(audio.Get());
    }

    player->SetCallBack(OnNotify, &run);
    player->SetPlayTime(0, 0); // from the start to the end
    if (const std::int32_t result = player->Play(); result != kq::Ok) {
        return Fail(path, kq::ResultText(result));
    }
    run.ended.get_future().wait();
    std::printf("played %.2f seconds\n", run.position);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const bool headless = argc > 1 && std::strcmp(argv[1], "--headless") == 0;
    if (argc != (headless ? 3 : 2)) {
        std::fprintf(stderr, "usage: minimal_host [--headless] FILE\n");
        return 2;
    }
    // A null parent is a window of the view's own (without a display: off-screen). Hosts with a window give
    // its X11 id as a pointer-sized value instead.
    return Play(argv[argc - 1], headless ? kq::OffScreenParent() : nullptr);
}
