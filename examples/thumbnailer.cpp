// Writes the very picture that is on show at a time of a file, without a window:
//     thumbnailer FILE SECONDS PICTURE      PICTURE ends in .png, .jpg or .bmp

#include <kqplayer/convenience.h>
#include <kqplayer/media_file.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using kq::ComPtr;

/// @return the format code of CaptureImageInfo for a file name, or -1
int FormatOf(const std::filesystem::path& picture) {
    const std::string extension = picture.extension().string();
    if (extension == ".bmp") {
        return 0;
    }
    if (extension == ".jpg" || extension == ".jpeg") {
        return 1;
    }
    return extension == ".png" ? 2 : -1;
}

/// @return an empty text, or what went wrong
std::string Capture(const char* path, double seconds, const std::filesystem::path& picture) {
    kq::streams::OpenOptions options;
    options.audio = false;
    kq::streams::MediaFile file;
    std::string error;
    if (!kq::streams::OpenMediaFile(path, options, file, error)) {
        return error;
    }
    const auto video = ComPtr<IMediaStream>::Adopt(file.video);

    ComPtr<IMediaPlayer> player;
    ComPtr<IPlayerViewMgr> views;
    std::int32_t result = kq::CreatePlayer(player);
    if (result == kq::Ok)
        result = player->GetPlayerViewMgr(views.Out());
    if (result != kq::Ok) {
        return kq::ResultText(result);
    }

    // A stream reaches the player through a view, here an off-screen one.
    const auto view =
        ComPtr<IPlayerView>::Adopt(views->CreatePlayView(kq::OffScreenParent(), tagRECT{0, 0, 1, 1}));
    if (!view) {
        return "no view: PlayerView.so is missing";
    }
    view->SetVideoInput(1, video.Get());

    // Nothing plays, so the seek is carried out at once. It is exact: decoding goes on from the key frame
    // before to the frame that is on show at that time.
    player->Seek(seconds, kq::ExactSeek);
    CaptureImageInfo info{};
    info.nFormat = FormatOf(picture);
    std::error_code ignored;
    std::filesystem::remove(picture, ignored);
    result = player->CaptureCurrentImage(&info, picture.wstring().c_str());
    if (result != kq::Ok) {
        return std::string("there is no picture to write: ") + kq::ResultText(result);
    }
    // The file appears whole or not at all; a line of the component's log says why not.
    return std::filesystem::exists(picture, ignored) ? std::string() : "cannot write " + picture.string();
}

} // namespace

int main(int argc, char** argv) {
    char* end = nullptr;
    const double seconds = argc == 4 ? std::strtod(argv[2], &end) : -1;
    if (argc != 4 || *end != '\0' || !(seconds >= 0) || FormatOf(argv[3]) < 0) {
        std::fprintf(stderr, "usage: thumbnailer FILE SECONDS PICTURE.(png|jpg|bmp)\n");
        return 2;
    }
    const std::string error = Capture(argv[1], seconds, argv[3]);
    if (!error.empty()) {
        std::fprintf(stderr, "thumbnailer: %s\n", error.c_str());
        return 1;
    }
    return 0;
}
