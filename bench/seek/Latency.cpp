// From the call to the picture: seeks and frame steps on 1080p clips whose pictures carry their number.
#include "ComponentHost.h"
#include "OtherPlayer.h"
#include "Seek.h"

#include <kqplayer/media_file.h>

#include <bench/playback/Measured.h>
#include <tests/support/Xvfb.h>

#include <cmath>
#include <functional>
#include <random>
#include <stdexcept>

namespace bench {
namespace {

constexpr int width = 1920;
constexpr double rate = 25;
constexpr int frameCount = 500;
constexpr int bits = 9; ///< of a frame's number; one more, always set, tells a picture from black
constexpr int box = 48; ///< side of the white square of a bit that is set, in pixels

/// Draws the frame's number as a row of squares into the top left corner.
std::string NumberFilter() {
    const std::string side = std::to_string(box);
    std::string filter = "drawbox=0:0:" + std::to_string(box * (bits + 1)) + ":" + side + ":black:fill";
    filter += ",drawbox=0:0:" + side + ":" + side + ":white:fill";
    for (int bit = 0; bit < bits; ++bit) {
        filter.append(",drawbox=").append(std::to_string(box * (bit + 1))).append(":0:");
        filter.append(side).append(":").append(side);
        filter.append(":white:fill:enable='gt(bitand(n,").append(std::to_string(1 << bit)).append("),0)'");
    }
    return filter;
}

/// @return the number of the frame plus 1, 0 for black
std::size_t ReadNumber(const unsigned char* pixels, std::size_t /*bytes*/) {
    const auto isSet = [pixels](int square) {
        return pixels[(static_cast<std::size_t>(box / 2) * width +
                       static_cast<std::size_t>(square * box + box / 2)) *
                      4] > 128;
    };
    if (!isSet(0)) {
        return 0;
    }
    std::size_t number = 0;
    for (int bit = 0; bit < bits; ++bit) {
        number += isSet(bit + 1) ? std::size_t{1} << bit : 0;
    }
    return number + 1;
}

std::string Clip1080p(const std::string& name, int gop) {
    const std::string source =
        "testsrc2=size=1920x1080:rate=25:duration=20,noise=alls=6:allf=t," + NumberFilter();
    return MakeClip(name, {"-f", "lavfi", "-i", source, "-c:v", "libx264", "-preset", "veryfast", "-crf",
                           "23", "-pix_fmt", "yuv420p", "-x264-params",
                           "bframes=3:scenecut=0:keyint=" + std::to_string(gop)});
}

/// The same frames whenever it begins, some way from the ends, so that the clip does not end while it plays.
class RandomFrame {
public:
    int operator()() { return 20 + static_cast<int>(m_random() % (frameCount - 120)); }

private:
    std::mt19937 m_random{41};
};

/// One clip in one view.
class SeekBench {
public:
    SeekBench(std::string name, const std::string& path, int gop) : m_name(std::move(name)), m_gop(gop) {
        std::string error;
        kq::streams::OpenOptions options;
        options.audio = false;
        if (!kq::streams::OpenTimeline(path, options, m_file, m_timeline, error)) {
            throw std::runtime_error(error);
        }
        m_host.AddView(1, *m_file.video);
    }
    ~SeekBench() { m_file.Release(); }
    SeekBench(const SeekBench&) = delete;
    SeekBench& operator=(const SeekBench&) = delete;

    void Run(int count, std::vector<Row>& rows) {
        m_host.LoadAndWait();
        rows.push_back(Seeks("exact seek, paused", kq::ExactSeek, count));
        rows.push_back(Seeks("key-frame seek, paused", kq::KeyFrameSeek, count));
        rows.push_back(Steps("one frame forward", 1, count, [this](int) { m_host->SyncForward(); }));
        rows.push_back(
            Steps("one frame back", -1, count, [this](int n) { m_host->SyncSeek(n / rate, kq::ExactSeek); }));
        m_host->Resume();
        rows.push_back(Seeks("exact seek, playing", kq::ExactSeek, count));
        rows.push_back(Seeks("key-frame seek, playing", kq::KeyFrameSeek, count));
        m_host->Stop();
    }

private:
    Row Seeks(const std::string& what, int mode, int count) {
        Row row{m_name, what, {}, 0};
        for (int i = 0; i < count; ++i) {
            const int n = m_frame();
            const int landing = mode == 1 ? n : n / m_gop * m_gop;
            Time(row, landing, [&] { m_host->SyncSeek(n / rate, mode); });
        }
        return row;
    }

    /// @param by 1 or -1, which step() goes, given the frame that is to come
    Row Steps(const std::string& what, int by, int count, const std::function<void(int)>& step) {
        Row row{m_name, what, {}, 0};
        int n = 0;
        for (int i = 0; i < count; ++i) {
            if (i % 10 == 0) {
                n = m_frame();
                m_host->SyncSeek(n / rate, kq::ExactSeek);
            }
            n += by;
            Time(row, n, [&] { step(n); });
        }
        return row;
    }

    /// @param frame the one that is to come
    void Time(Row& row, int frame, const std::function<void()>& move) {
        const auto isFrame = [&](const ComponentHost::Picture& picture) {
            return picture.mark == static_cast<std::size_t>(frame) + 1;
        };
        m_host.Forget();
        const auto start = Clock::now();
        move();
        ComponentHost::Picture shown{};
        const bool came = m_host.WaitForPicture([&](const auto& pictures) {
            for (const auto& picture : pictures) {
                if (isFrame(picture)) {
                    shown = picture;
                    return true;
                }
            }
            return false;
        });
        if (!came) {
            ++row.missed;
            return;
        }
        row.milliseconds.push_back(std::chrono::duration<double, std::milli>(shown.when - start).count());
    }

    const std::string m_name;
    const int m_gop;
    kq::streams::MediaFile m_file;
    std::shared_ptr<kq::streams::Timeline> m_timeline;
    ComponentHost m_host{ReadNumber};
    RandomFrame m_frame;
};

/// The same exact seeks, and steps back, elsewhere.
void RunElsewhere(const std::string& name, const std::string& path, int count, std::vector<Row>& rows) {
    const kqtest::Xvfb server({"-screen", "0", "1920x1080x24"});
    OtherPlayer player(path);
    RandomFrame frame;
    Row seeks{name, "mpv: exact seek, paused", {}, 0};
    for (int i = 0; i < count; ++i) {
        if (const auto milliseconds = player.Seek(frame() / rate, 1 / rate)) {
            seeks.milliseconds.push_back(*milliseconds);
        } else {
            ++seeks.missed;
        }
    }
    rows.push_back(seeks);
    Row back{name, "mpv: one frame back", {}, 0};
    for (int i = 0; i < count; ++i) {
        if (i % 10 == 0) {
            player.Seek(frame() / rate, 1 / rate);
        }
        back.milliseconds.push_back(player.StepBack());
    }
    rows.push_back(back);
}

} // namespace

std::vector<Row> MeasureLatency(int count) {
    std::vector<Row> rows;
    const struct {
        const char* name;
        const char* file;
        int gop;
    } clips[] = {{"1080p, key frame every 250", "seek-250.mp4", 250},
                 {"1080p, key frame every 25", "seek-25.mp4", 25}};
    const bool compare = IsInstalled("mpv");
    for (const auto& clip : clips) {
        const std::string path = Clip1080p(clip.file, clip.gop);
        SeekBench(clip.name, path, clip.gop).Run(count, rows);
        if (compare) {
            RunElsewhere(clip.name, path, count, rows);
        }
    }
    return rows;
}

} // namespace bench
