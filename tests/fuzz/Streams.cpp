// Media files with anything in them, opened in every way that the streams can be, read and sought. An input
// is eight bytes that say how, and the file.
#include "Input.h"

#include <kqplayer/convenience.h>
#include <kqplayer/media_file.h>

extern "C" {
#include <libavutil/log.h>
#include <libavutil/mem.h>
}
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <memory>
#include <string>

namespace {

using namespace kq::fuzz;
using namespace kq::streams;

constexpr std::size_t howBytes = 8;

/// A file in memory that can be opened by its name.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : m_descriptor(memfd_create("fuzz", MFD_CLOEXEC)) {
        if (m_descriptor < 0 || write(m_descriptor, data, size) != static_cast<ssize_t>(size)) {
            std::perror("memfd");
            std::exit(2);
        }
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(m_descriptor); }
    std::string Name() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

private:
    int m_descriptor;
};

/// Reads a plane to its last byte.
void ReadRows(const std::uint8_t* plane, std::int32_t pitch, int rowBytes, int rows) {
    Expect(plane != nullptr, "a picture lacks a plane");
    for (int row = 0; row < rows; ++row) {
        const std::uint8_t* const begin = plane + std::ptrdiff_t{pitch} * row;
        Touch(begin[0]);
        Touch(begin[rowBytes - 1]);
    }
}

void ReadPicture(const MEDIA_FRAME& frame, bool plain) {
    const tagYUVImage& p = frame.image;
    const bool tenBits = frame.nKind == KQ_PICTURE_P010 || (frame.nKind >= 0x110 && frame.nKind <= 0x112);
    const bool inTurn = frame.nKind == KQ_PICTURE_NV12 || frame.nKind == KQ_PICTURE_P010;
    const bool full = frame.nKind == KQ_PICTURE_PLANAR_444 || frame.nKind == KQ_PICTURE_PLANAR_444_10;
    const bool fullRows =
        full || frame.nKind == KQ_PICTURE_PLANAR_422 || frame.nKind == KQ_PICTURE_PLANAR_422_10;
    const int sample = tenBits ? 2 : 1;
    Expect(tenBits || inTurn || fullRows || frame.nKind == KQ_PICTURE_PLANAR_YUV, "a picture of no kind");
    Expect(!plain || (frame.nKind == KQ_PICTURE_PLANAR_YUV && frame.reserved[0] == 0),
           "a picture is not plain");
    Expect(p.nWidth > 0 && p.nHeight > 0, "a picture without a size");
    const int columns = full ? p.nWidth : (p.nWidth + 1) / 2,
              rows = fullRows ? p.nHeight : (p.nHeight + 1) / 2;
    ReadRows(p.pY, p.nPitchY, p.nWidth * sample, p.nHeight);
    ReadRows(p.pU, p.nPitchU, columns * sample * (inTurn ? 2 : 1), rows);
    if (!inTurn) {
        ReadRows(p.pV, p.nPitchV, columns * sample, rows);
    }
}

/// Reads on from the position: whole frames, with stamps that rise.
void Read(IMediaStream& stream, bool video, bool plain, int most) {
    std::int64_t last = -1;
    for (int i = 0; i < most; ++i) {
        const MEDIA_FRAME* const frame = stream.GetCurrentFrame();
        if (frame == nullptr) {
            return;
        }
        Expect(i == 0 || frame->llPTS > last, "a stamp does not rise");
        last = frame->llPTS;
        if (video) {
            ReadPicture(*frame, plain);
        } else if (frame->image.nAudioLength > 0) {
            ReadRows(frame->image.pU, 0, frame->image.nAudioLength, 1);
        }
        if (stream.NextFrame() <= 0) {
            return;
        }
    }
}

double TimeFrom(std::uint8_t byte) {
    return byte == 255 ? std::strtod("nan", nullptr) : byte == 254 ? 1e12 : byte / 32.0 - 1;
}

void UseTimeline(Timeline& timeline, Input& how) {
    constexpr double rates[] = {1, -1, 0.25, 8, -4, 0, 2};
    timeline.SetRate(how.Pick(rates));
    const double begin = TimeFrom(how.Byte());
    timeline.SetRange(begin, how.Flag() ? begin + 0.3 : Timeline::openEnd, 2);
    static_cast<void>(timeline.PlaceOfFrame(how.Between(-1, 20)));
    Expect(timeline.FrameCount() >= 0, "a negative number of pictures");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    av_max_alloc(std::size_t{64} << 20); // pictures that take all memory are FFmpeg's own limit to set
    av_log_set_level(AV_LOG_QUIET);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size <= howBytes) {
        return 0;
    }
    Input how(data, howBytes);
    const MemoryFile memory(data + howBytes, size - howBytes);
    constexpr const char* filters[] = {
        "", "", "", "hflip", "scale=33:17", "fps=10", "transpose", "select=not(mod(n\\,2))"};
    const std::uint8_t flags = how.Byte();
    OpenOptions options;
    options.video = (flags & 1) == 0;
    options.audio = (flags & 2) == 0;
    options.plainPictures = (flags & 4) != 0;
    options.decoderThreads = (flags & 8) != 0 ? 2 : 1;
    options.maxChannels = (flags & 16) != 0 ? 2 : 8;
    options.queueBytes = std::size_t{1} << 20;
    options.storeBytes = std::size_t{1} << 20;
    options.filter = how.Pick(filters);
    options.log = [](const std::string& line) {
        Expect(line.find('\n') == std::string::npos, "a notice of several lines");
    };

    MediaFile file, follower;
    std::shared_ptr<Timeline> timeline;
    std::string error;
    const bool isOpen = (flags & 32) != 0 ? OpenTimeline(memory.Name(), options, file, timeline, error)
                                          : OpenMediaFile(memory.Name(), options, file, error);
    Expect(isOpen != (file.video == nullptr && file.audio == nullptr),
           "opened without a stream, or the other way round");
    Expect(isOpen != (!error.empty() && error.find('\n') == std::string::npos),
           "a failure has to be told in one line");
    if (isOpen && (flags & 64) != 0 && file.video != nullptr) {
        OpenFollower(memory.Name(), *file.video, options, follower, error);
    }
    if (timeline != nullptr) {
        UseTimeline(*timeline, how);
    }
    while (isOpen && !how.IsEmpty()) {
        const double time = TimeFrom(how.Byte());
        for (IMediaStream* const stream : {file.video, file.audio}) {
            if (stream != nullptr) {
                Read(*stream, stream == file.video, options.plainPictures, 12);
                stream->Seek(time, how.Left() % 2 == 0);
            }
        }
        if (follower.video != nullptr && follower.video->GetCurrentFrame() != nullptr) {
            ReadPicture(*follower.video->GetCurrentFrame(), options.plainPictures);
        }
    }
    follower.Release();
    file.Release();
    return 0;
}
