// The records that a host hands in: streams with any format and any frames that the contract allows, shown,
// captured, played and sought by a player with views, and handed to a native view and the frame copy
// directly.
#include "Input.h"
#include "tests/image/Trial.h"

#include <kqplayer/capture.h>
#include <kqplayer/convenience.h>
#include <kqplayer/kqplayer.h>
#include <kqplayer/log.h>
#include <kqplayer/view_library.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace kq::fuzz;
namespace fs = std::filesystem;

constexpr std::int32_t listedKinds[] = {
    KQ_PICTURE_PACKED_RGB,    KQ_PICTURE_PLANAR_YUV,    KQ_PICTURE_PLANAR_422,
    KQ_PICTURE_PLANAR_444,    KQ_PICTURE_NV12,          KQ_PICTURE_P010,
    KQ_PICTURE_PLANAR_420_10, KQ_PICTURE_PLANAR_422_10, KQ_PICTURE_PLANAR_444_10,
};

std::int32_t OddNumber(Input& input) {
    constexpr std::int32_t odd[] = {0, -1, 1, INT_MIN, INT_MAX, 65536, 32767};
    return input.Pick(odd);
}

/// A frame and its planes, which hold what the record says and not a byte more.
struct Frame {
    MEDIA_FRAME record = {};
    std::vector<std::unique_ptr<kq::image::test::GuardedBuffer>> planes;

    /// @return memory with a page without access behind it, or in front
    std::uint8_t* Memory(Input& input, std::size_t bytes) {
        planes.push_back(std::make_unique<kq::image::test::GuardedBuffer>(bytes, input.Between(0, 3) != 0));
        std::memset(planes.back()->Data(), input.Byte(), bytes);
        return planes.back()->Data();
    }

    /// @return rows of so many bytes, at any address
    std::uint8_t* Plane(Input& input, int rowBytes, int rows, std::int32_t& pitch, bool wholeRows) {
        pitch = rowBytes + (input.Flag() ? input.Between(0, 40) : 0);
        const auto bytes = static_cast<std::size_t>(rows - 1) * static_cast<std::size_t>(pitch) +
                           static_cast<std::size_t>(wholeRows ? pitch : rowBytes);
        return Memory(input, bytes);
    }

    /// @param wholeRows whether the last row, too, is as long as the pitch
    void MakePicture(Input& input, int width, int height, bool wholeRows) {
        MEDIA_FRAME& f = record;
        f.image.nWidth = width;
        f.image.nHeight = height;
        const bool tenBits = f.nKind == KQ_PICTURE_P010 || (f.nKind >= 0x110 && f.nKind <= 0x112);
        const bool inTurn = f.nKind == KQ_PICTURE_NV12 || f.nKind == KQ_PICTURE_P010;
        const bool fullColumns = f.nKind == KQ_PICTURE_PLANAR_444 || f.nKind == KQ_PICTURE_PLANAR_444_10;
        const bool fullRows =
            fullColumns || f.nKind == KQ_PICTURE_PLANAR_422 || f.nKind == KQ_PICTURE_PLANAR_422_10;
        const int sample = tenBits ? 2 : 1;
        const int columns = fullColumns ? width : (width + 1) / 2,
                  rows = fullRows ? height : (height + 1) / 2;
        if (f.nKind == KQ_PICTURE_PACKED_RGB) {
            std::int32_t pitch = 0;
            f.image.pRgb = Memory(input, static_cast<std::size_t>((width * 24 + 31) / 32 * 4) * height);
            f.image.pY = input.Flag() ? Plane(input, width, height, pitch, wholeRows) : nullptr;
            return;
        }
        f.image.pY = Plane(input, width * sample, height, f.image.nPitchY, wholeRows);
        f.image.pU = Plane(input, columns * sample * (inTurn ? 2 : 1), rows, f.image.nPitchU, wholeRows);
        f.image.pV = inTurn ? nullptr : Plane(input, columns * sample, rows, f.image.nPitchV, wholeRows);
        f.image.pA =
            input.Between(0, 3) == 0 ? Plane(input, width, height, f.image.nPitchA, wholeRows) : nullptr;
    }

    /// What cannot be shown, which hosts hand in all the same: no planes, or no size.
    void Spoil(Input& input) {
        std::uint8_t** const pointers[] = {&record.image.pY, &record.image.pU, &record.image.pV,
                                           &record.image.pA};
        switch (input.Between(0, 4)) {
        case 0:
            *input.Pick(pointers) = nullptr;
            break;
        case 1:
            record.image.nWidth = -input.Between(0, 2);
            break;
        case 2:
            record.image.nHeight = -input.Between(0, 2);
            break;
        case 3:
            record.image = {};
            break;
        default:
            record.nKind = static_cast<std::int32_t>(input.Word());
            if (std::find(std::begin(listedKinds), std::end(listedKinds), record.nKind) !=
                std::end(listedKinds)) {
                record.nKind = -1; // its planes are those of another kind
            }
        }
    }

    /// @param format of its stream: packed pictures have the size that stands there
    Frame(Input& input, const VIDEO_STREAM_INFO& format, std::int64_t stamp) {
        record.nKind = input.Pick(listedKinds);
        const bool wide = input.Between(0, 15) == 0;
        int width = wide ? input.Between(1, 5000) : input.Between(1, 70);
        int height = input.Between(1, wide ? 3 : 50);
        // Signs of a stream's size do not count, as those of bitmaps.
        const long columns = std::labs(format.nWidth), rows = std::labs(format.nHeight);
        if (record.nKind == KQ_PICTURE_PACKED_RGB && columns > 0 && rows > 0) {
            constexpr long mostSide = 100;
            if (columns > mostSide || rows > mostSide) {
                record.nKind = KQ_PICTURE_PLANAR_YUV; // nobody could make such pictures
            } else {
                width = static_cast<int>(columns);
                height = static_cast<int>(rows);
            }
        }
        MakePicture(input, width, height, false);
        if (input.Flag()) {
            record.reserved[0] =
                input.Flag() ? static_cast<std::int32_t>(KQ_COLOUR_MARK << 16 | (input.Word() & 0xFFFF))
                             : static_cast<std::int32_t>(input.Word());
            record.reserved[1] = input.Flag() ? input.Between(0, 12000) : OddNumber(input);
            record.reserved[2] = input.Flag() ? input.Between(0, 12000) : OddNumber(input);
        }
        record.llPTS = stamp;
        if (input.Between(0, 7) == 0) {
            Spoil(input);
        }
    }
    Frame() = default;
};

/// What streams of pictures and of sound share.
class Stream : public kq::MediaStream {
public:
    double Seek(double seconds, int /*mode*/) override {
        m_at = std::isfinite(seconds)
                   ? std::clamp(static_cast<int>(std::clamp(seconds, 0.0, 1e6) * 25), 0, m_count)
                   : 0;
        return m_at / 25.0;
    }
    int NextFrame() override {
        m_at = std::min(m_at + 1, m_count);
        return m_at < m_count ? 1 : 0;
    }
    double GetFramePosition() override { return m_at; }

protected:
    explicit Stream(const kq::StreamFormat& format) : MediaStream(format) {}

    std::atomic<int> m_at{0};
    int m_count = 0;
};

class Video final : public Stream {
public:
    Video(const VIDEO_STREAM_INFO& format, Input& input) : Stream(format) {
        m_count = input.Between(0, 6);
        const bool stamped = input.Between(0, 3) != 0;
        for (int i = 0; i < m_count; ++i) {
            m_frames.push_back(
                std::make_unique<Frame>(input, format, stamped ? i * std::int64_t{400'000} : KQ_NO_PTS));
        }
    }
    MEDIA_FRAME* GetCurrentFrame() override {
        const auto at = static_cast<std::size_t>(m_at);
        return at < m_frames.size() ? &m_frames[at]->record : nullptr;
    }

private:
    std::vector<std::unique_ptr<Frame>> m_frames;
};

class Sound final : public Stream {
public:
    Sound(const AUDIO_STREAM_INFO& format, Input& input) : Stream(format), m_lengths(8) {
        m_count = 8;
        for (int& length : m_lengths) {
            length = input.Between(0, 5000);
            m_samples.push_back(std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(length)));
        }
    }
    MEDIA_FRAME* GetCurrentFrame() override {
        const auto at = static_cast<std::size_t>(m_at);
        if (at >= m_lengths.size()) {
            return nullptr;
        }
        m_frame.image.pU = m_samples[at].get();
        m_frame.image.nAudioLength = m_lengths[at];
        m_frame.llPTS = static_cast<std::int64_t>(at) * 400'000;
        return &m_frame;
    }

private:
    MEDIA_FRAME m_frame = {};
    std::vector<int> m_lengths;
    std::vector<std::unique_ptr<std::uint8_t[]>> m_samples;
};

VIDEO_STREAM_INFO AnyVideoFormat(Input& input) {
    const auto side = [&] { return input.Between(0, 7) == 0 ? OddNumber(input) : input.Between(-4, 80); };
    const int width = side(), height = side();
    const double rate = input.Flag() ? 25 : input.Number();
    return {width, height, rate, input.Flag() ? 6 : OddNumber(input), side(), side()};
}

AUDIO_STREAM_INFO AnySoundFormat(Input& input) {
    constexpr int rates[] = {8000, 44100, 48000, 192000};
    const int rate = input.Between(0, 3) == 0 ? OddNumber(input) : input.Pick(rates);
    return {
        rate, input.Between(-1, 9), input.Pick(rates), OddNumber(input), input.Flag() ? 0.3 : input.Number(),
        0};
}

/// A folder for captures that goes with the process.
const fs::path& Folder() {
    struct Temporary {
        fs::path path;
        Temporary() {
            std::string name = (fs::temp_directory_path() / "fuzz_records.XXXXXX").string();
            path = mkdtemp(name.data());
        }
        ~Temporary() {
            std::error_code ignored;
            fs::remove_all(path, ignored);
        }
    };
    static const Temporary folder;
    return folder.path;
}

class Host {
public:
    explicit Host(Input& input) : m_input(input) {
        kq::CreatePlayer(m_player);
        Expect(static_cast<bool>(m_player), "no player");
        m_player->GetPlayerViewMgr(m_views.Out());
        m_player->SetCallBack(
            [](void*, unsigned int, unsigned int what, unsigned int argument) -> long {
                Touch(what == KQ_NOTIFY_POSITION ? KQPlayedTime(argument) : 0);
                return 0;
            },
            nullptr);
    }
    ~Host() { m_player->Stop(); }

    void Act() {
        switch (m_input.Between(0, 13)) {
        case 0:
            return AddView();
        case 1:
        case 2:
            return AttachVideo();
        case 3:
            return AttachSound();
        case 4:
            return Open();
        case 5:
            m_player->Play();
            return std::this_thread::sleep_for(std::chrono::milliseconds(m_input.Between(0, 60)));
        case 6:
            m_player->Forward();
            return Settle();
        case 7:
            m_player->Seek(m_input.Number(), m_input.Between(-1, 2));
            return Settle();
        case 8:
            m_player->SetPlayTime(m_input.Number(), m_input.Number());
            return AskLength();
        case 9:
            return Capture();
        case 10:
            return Look();
        case 11:
            m_player->Update(m_input.Flag());
            m_player->Pause();
            return Settle();
        case 12:
            return ShowDirectly();
        default:
            return Copy();
        }
    }

private:
    void Settle() { std::this_thread::sleep_for(std::chrono::milliseconds(3)); }
    void AskLength() { static_cast<void>(m_player->GetMovieLength()); }

    void AddView() {
        const tagRECT rect = {0, 0, m_input.Between(-1, 200), m_input.Between(-1, 200)};
        if (m_views->GetCount() < 4) {
            kq::ComPtr<IPlayerView>::Adopt(m_views->CreatePlayView(kq::OffScreenParent(), rect));
        } else {
            m_views->Remove(m_input.Between(0, 8));
        }
    }

    kq::ComPtr<IPlayerView> AnyView() {
        kq::ComPtr<IPlayerView> view;
        m_views->GetItem(m_input.Between(0, 3), view.Out());
        return view;
    }

    void AttachVideo() {
        if (const auto view = AnyView()) {
            const VIDEO_STREAM_INFO format = AnyVideoFormat(m_input);
            const auto stream = kq::ComPtr<Video>::Adopt(new Video(format, m_input));
            view->SetVideoInput(m_input.Between(0, 2), m_input.Between(0, 9) == 0 ? nullptr : stream.Get());
        } else {
            AddView();
        }
    }

    void AttachSound() {
        const AUDIO_STREAM_INFO format = AnySoundFormat(m_input);
        const auto stream = kq::ComPtr<Sound>::Adopt(new Sound(format, m_input));
        m_player.As<IAudioInput>()->SetAudioInput(m_input.Flag() ? stream.Get() : nullptr);
    }

    void Open() {
        m_player->Load();
        for (int i = 0; i < 30 && !m_player->IsPaused() && m_player->IsActivate() != KQ_ACTIVATE_ENDED; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    void Capture() {
        if (const MEDIA_FRAME* const frame = m_player->CaptureCurrentImageEx()) {
            Expect(frame->nKind == KQ_PICTURE_PLANAR_YUV && frame->image.nWidth > 0 &&
                       frame->image.nHeight > 0,
                   "a captured frame is not planar");
            const auto last = static_cast<std::ptrdiff_t>(frame->image.nHeight - 1) * frame->image.nPitchY;
            Touch(frame->image.pY[last + frame->image.nWidth - 1]);
        }
        CaptureImageInfo info = {};
        info.nFormat = m_input.Between(0, 3);
        const std::wstring path = (Folder() / "picture").wstring();
        m_player->CaptureCurrentImage(&info, path.c_str());
    }

    void Look() {
        const auto view = AnyView().As<IPlayerView2>();
        if (!view) {
            return;
        }
        const KQViewDisplay display = {
            {m_input.Number(), m_input.Number(), m_input.Number(), m_input.Number()},
            m_input.Between(-1, 3),
            m_input.Between(-1, 4)};
        view->SetDisplay(m_input.Between(0, 7) == 0 ? nullptr : &display);
        KQViewDisplay got = {};
        KQViewMapping mapping = {};
        KQPointF point = {};
        std::uint32_t rgb = 0;
        view->GetDisplay(&got);
        view->GetMapping(&mapping);
        view->WindowToPicture(m_input.Number(), m_input.Number(), &point);
        view->PictureToWindow(m_input.Number(), m_input.Number(), &point);
        view->GetShownPixel(m_input.Between(-1, 90), m_input.Between(-1, 90), &rgb);
    }

    void ShowDirectly() {
        const std::unique_ptr<IYv12View> view(MakeYv12View());
        view->Create(kq::OffScreenParent(), {0, 0, 40, 30}, 0, 0);
        Frame frame(m_input, {}, 0);
        if (frame.record.nKind == KQ_PICTURE_PLANAR_YUV) {
            view->SetSrcAspectRatio(OddNumber(m_input), OddNumber(m_input));
            view->ShowYUVImage(&frame.record.image);
        }
    }

    void Copy() {
        Frame from, to;
        from.record.nKind = to.record.nKind = KQ_PICTURE_PLANAR_YUV;
        const int width = m_input.Between(1, 60), height = m_input.Between(1, 40);
        from.MakePicture(m_input, width, height, true);
        to.MakePicture(m_input, width, height, true);
        const auto cap = [](std::int32_t& pitch, std::int32_t most) { pitch = std::min(pitch, most); };
        cap(to.record.image.nPitchY, from.record.image.nPitchY);
        cap(to.record.image.nPitchU, from.record.image.nPitchU);
        cap(to.record.image.nPitchV, from.record.image.nPitchV);
        if (from.record.image.pA != nullptr && to.record.image.pA != nullptr) {
            cap(to.record.image.nPitchA, from.record.image.nPitchA);
        }
        if (m_input.Between(0, 3) == 0) {
            Frame& one = m_input.Flag() ? from : to;
            (m_input.Flag() ? one.record.image.pY : one.record.image.pU) = nullptr;
        }
        CopyVideoFrame(m_input.Between(0, 7) == 0 ? nullptr : &to.record,
                       m_input.Between(0, 7) == 0 ? nullptr : &from.record, m_input.Flag(), 0);
    }

    Input& m_input;
    kq::ComPtr<IMediaPlayer> m_player;
    kq::ComPtr<IPlayerViewMgr> m_views;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    KQLogSetSink([](const char*, void*) {}, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Host host(input);
    for (int i = 0; !input.IsEmpty() && i < 12; ++i) {
        host.Act();
    }
    return 0;
}
