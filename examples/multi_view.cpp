// Before and after: a file beside itself as it leaves a filter, in two views that keep in step.
//     multi_view [--headless] FILE [FILTER]      FILTER is an FFmpeg filter graph, hue=s=0 unless given

#include <kqplayer/convenience.h>
#include <kqplayer/media_file.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

using kq::ComPtr;
namespace streams = kq::streams;

/// With exactly two views the stream of the view with source mode 0 paces playback; the other view shows
/// whatever its own stream says is current at that time.
enum { PacingMode = 0, OtherMode = 1 };

/// The two streams. The second one follows the first one's time, so that nobody has to keep them in step.
struct Streams {
    ComPtr<IMediaStream> before, after, audio;
};

bool Open(const std::string& path, const std::string& filter, Streams& opened, std::string& error) {
    streams::MediaFile file;
    if (!streams::OpenMediaFile(path, {}, file, error)) {
        return false;
    }
    opened.before = ComPtr<IMediaStream>::Adopt(file.video);
    opened.audio = ComPtr<IMediaStream>::Adopt(file.audio);
    if (!opened.before) {
        error = path + ": no pictures to compare";
        return false;
    }
    streams::OpenOptions filtered;
    filtered.filter = filter;
    streams::MediaFile follower;
    if (!streams::OpenFollower(path, *opened.before, filtered, follower, error)) {
        return false;
    }
    opened.after = ComPtr<IMediaStream>::Adopt(follower.video);
    return true;
}

ComPtr<IPlayerView> Show(IPlayerViewMgr& views, void* parent, int left, int mode, IMediaStream& stream) {
    auto view = ComPtr<IPlayerView>::Adopt(views.CreatePlayView(parent, tagRECT{left, 100, left + 640, 460}));
    if (view) {
        view->SetVideoInput(mode, &stream);
    }
    return view;
}

/// @return "640x360" of a stream's pictures
std::string SizeOf(IMediaStream& stream) {
    ComPtr<IStreamInfo> info;
    stream.GetStreamInfo(info.Out());
    const VIDEO_STREAM_INFO& format = *info->GetVideoFormat();
    return std::to_string(format.nWidth) + "x" + std::to_string(format.nHeight);
}

bool Play(const Streams& opened, void* parent, std::string& error) {
    ComPtr<IMediaPlayer> player;
    ComPtr<IPlayerViewMgr> views;
    std::int32_t result = kq::CreatePlayer(player);
    if (result == kq::Ok) {
        result = player->GetPlayerViewMgr(views.Out());
    }
    if (result != kq::Ok) {
        error = kq::ResultText(result);
        return false;
    }
    const auto left = Show(*views, parent, 100, PacingMode, *opened.before);
    const auto right = Show(*views, parent, 760, OtherMode, *opened.after);
    if (!left || !right) {
        error = "PlayerView.so is missing or refuses the window";
        return false;
    }
    if (opened.audio) {
        player.As<IAudioInput>()->SetAudioInput(opened.audio.Get());
    }
    player->Play();
    while (player->IsActivate() != KQ_ACTIVATE_ENDED) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    player->Stop(); // before the views go: one without its manager has no window and no stream
    std::printf("before: %s, after: %s\n", SizeOf(*opened.before).c_str(), SizeOf(*opened.after).c_str());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool headless = !arguments.empty() && arguments[0] == "--headless";
    if (headless) {
        arguments.erase(arguments.begin());
    }
    if (arguments.empty() || arguments.size() > 2) {
        std::fprintf(stderr, "usage: multi_view [--headless] FILE [FILTER]\n");
        return 2;
    }
    const std::string filter = arguments.size() == 2 ? arguments[1] : "hue=s=0";
    Streams opened;
    std::string error;
    if (Open(arguments[0], filter, opened, error) &&
        Play(opened, headless ? kq::OffScreenParent() : nullptr, error)) {
        return 0;
    }
    std::fprintf(stderr, "multi_view: %s\n", error.c_str());
    return 1;
}
