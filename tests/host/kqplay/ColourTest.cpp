// Files of any colour and depth: what is shown of their pictures, written and said.
#include "Kqplay.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

using namespace kqtest;

namespace {

const std::string hdr =
    "file: yuv420p10le, bt2020nc, limited range, smpte2084, content 400 cd/m\u00B2; given as "
    "4:2:0, 10 bits, BT.2020, limited range, PQ to be tone-mapped";
const std::string plain = "file: yuv420p, no matrix, no range; given as 4:2:0, 8 bits, BT.601, limited range";

std::string Decode(const std::string& path, const std::string& format, const Strings& filter = {}) {
    const Strings input = {"ffmpeg", "-v", "error", "-nostdin", "-i", path};
    const Outcome outcome = RunProcess(Joined(
        Joined(input, filter), {"-fps_mode", "passthrough", "-f", "rawvideo", "-pix_fmt", format, "-"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
}

/// What the pictures of a clip are: 160x120 pixels, three planes.
struct PlanesOf {
    const char* clip;
    const char* format; ///< FFmpeg's name of what the decoder gives
    double red, blue;   ///< weights of the matrix
    bool isFull;
    int columns, rows; ///< pixels of a chroma sample
    int depth = 8;
};

constexpr int width = 160;
constexpr int height = 120;

/// The real-valued conversion of a decoder's planes, the chroma sample of a block used as it is.
class Reference {
public:
    Reference(const PlanesOf& shape, std::string planes) : m_shape(shape), m_planes(std::move(planes)) {}

    std::size_t Frames() const { return m_planes.size() / FrameBytes(); }

    /// @param channel 0 for blue, 1 for green, 2 for red
    double At(std::size_t frame, int x, int y, int channel) const {
        const std::size_t chroma = static_cast<std::size_t>(ChromaWidth()) * ChromaHeight();
        const std::size_t luma = static_cast<std::size_t>(width) * height;
        const std::size_t at =
            static_cast<std::size_t>(y / m_shape.rows) * ChromaWidth() + x / m_shape.columns;
        const double scale = 1 << (m_shape.depth - 8);
        const double full = (1 << m_shape.depth) - 1;
        const double lumaRange = m_shape.isFull ? full : 219 * scale;
        const double chromaRange = m_shape.isFull ? full : 224 * scale;
        const double black = m_shape.isFull ? 0 : 16 * scale;
        const double l = (Sample(frame, static_cast<std::size_t>(y) * width + x) - black) / lumaRange;
        const double cb = (Sample(frame, luma + at) - 128 * scale) / chromaRange;
        const double cr = (Sample(frame, luma + chroma + at) - 128 * scale) / chromaRange;
        const double b = l + 2 * (1 - m_shape.blue) * cb;
        const double r = l + 2 * (1 - m_shape.red) * cr;
        const double g = (l - m_shape.red * r - m_shape.blue * b) / (1 - m_shape.red - m_shape.blue);
        return std::clamp((channel == 0 ? b : channel == 1 ? g : r) * 255, 0.0, 255.0);
    }

private:
    int SampleBytes() const { return m_shape.depth > 8 ? 2 : 1; }
    int ChromaWidth() const { return (width + m_shape.columns - 1) / m_shape.columns; }
    int ChromaHeight() const { return (height + m_shape.rows - 1) / m_shape.rows; }
    std::size_t FrameBytes() const {
        return (static_cast<std::size_t>(width) * height + 2u * ChromaWidth() * ChromaHeight()) *
               SampleBytes();
    }
    double Sample(std::size_t frame, std::size_t index) const {
        std::uint16_t sample = 0; // little-endian
        std::memcpy(&sample, m_planes.data() + frame * FrameBytes() + index * SampleBytes(), SampleBytes());
        return sample;
    }

    const PlanesOf m_shape;
    const std::string m_planes;
};

TEST(Pictures, AreTheRealConversionOfTheDecodersPlanesRounded) {
    const PlanesOf rows[] = {
        {"bt709.mkv", "yuv420p", 0.2126, 0.0722, false, 2, 2},
        {"bt709-422.mkv", "yuv422p", 0.2126, 0.0722, false, 2, 1},
        {"bt709-full.mkv", "yuvj420p", 0.2126, 0.0722, true, 2, 2},
        {"bt2020.mkv", "yuv420p10le", 0.2627, 0.0593, false, 2, 2, 10},
        {"bt2020-444.mkv", "yuv444p10le", 0.2627, 0.0593, false, 1, 1, 10},
        {"full.avi", "yuvj420p", 0.299, 0.114, true, 2, 2},
    };
    for (const PlanesOf& row : rows) {
        SCOPED_TRACE(row.clip);
        const TemporaryFolder folder;
        const Reference reference(row, Decode(Clip(row.clip), row.format));
        ASSERT_EQ(reference.Frames(), 25u);
        Strings options = {"--no-audio", "--length", "0.04"};
        const auto file = [&](int frame) { return folder / std::to_string(frame) + ".png"; };
        for (const int frame : {0, 12, 24})
            options.insert(options.end(),
                           {"--capture-at", std::to_string(frame / 25.0 + 0.001) + ":" + file(frame)});
        const Outcome outcome = RunProcess(Headless(Clip(row.clip), options));
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        double worst = 0;
        double sum = 0;
        int samples = 0;
        for (const int frame : {0, 12, 24}) {
            const std::string captured = Decode(file(frame), "bgr24");
            ASSERT_EQ(captured.size(), 3u * width * height);
            for (int i = 0; i < 3 * width * height; ++i, ++samples) {
                const double real = reference.At(frame, i / 3 % width, i / 3 / width, i % 3);
                const double error = std::abs(static_cast<unsigned char>(captured[i]) - real);
                worst = std::max(worst, error);
                sum += error;
            }
        }
        EXPECT_LE(worst, 1);
        EXPECT_LT(sum / samples, 0.35);
        RecordProperty(row.clip, "worst " + std::to_string(worst) + " mean " + std::to_string(sum / samples));
    }
}

TEST(Pictures, AreTheSameInViewCaptureAndTrace) {
    for (const char* clip : {"bt709.mkv", "bt709-422.mkv", "bt709-full.mkv", "bt2020.mkv", "bt2020-444.mkv",
                             "full.avi", "hdr.mkv", "plain.mp4"}) {
        SCOPED_TRACE(clip);
        const TemporaryFolder folder;
        const Trace trace = PlayTraced(Clip(clip), {"--no-audio", "--length", "0.5", "--compare", Clip(clip),
                                                    "--capture-at", "0.401:" + folder / "a.png"});
        ASSERT_GT(trace.pictures[0].size(), 10u);
        for (const int view : {1, 2}) {
            const std::string file = folder / "a-" + std::to_string(view) + ".png";
            EXPECT_EQ(HashBytes(Decode(file, "bgra")), trace.pictures.at(view - 1)[10]) << view;
        }
    }
}

TEST(Pictures, HaveTheirColoursInContactSheets) {
    for (const char* clip : {"bt709-422.mkv", "bt709-full.mkv", "bt2020.mkv", "hdr.mkv"}) {
        SCOPED_TRACE(clip);
        const TemporaryFolder folder;
        const std::string sheet = folder / "sheet.png", still = folder / "still.png";
        PlayTraced(Clip(clip), {"--length", "0.04", "--capture-at", "0.41:" + still});
        const Outcome outcome = RunProcess({KQPLAY_PROGRAM, "--contact-sheet", sheet + ":1x1", "--start",
                                            "0.38", "--length", "0.06", Clip(clip)});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const std::string drawn = Decode(sheet, "bgr24", {"-vf", "crop=160:80:4:44"}); // below the label
        const std::string expected = Decode(still, "bgr24", {"-vf", "crop=160:80:0:40"});
        ASSERT_EQ(drawn.size(), 3u * 160 * 80);
        double distance = 0;
        for (std::size_t i = 0; i < drawn.size(); ++i)
            distance +=
                std::abs(static_cast<unsigned char>(drawn[i]) - static_cast<unsigned char>(expected[i]));
        EXPECT_LT(distance / static_cast<double>(drawn.size()), 7.5) << "noise, its chroma averaged";
    }
}

TEST(Pictures, AreDescribedAtTheStart) {
    const struct {
        Strings options;
        Strings lines;
    } rows[] = {
        {{}, {Clip("hdr.mkv") + ": " + hdr}},
        {{"--compare", Clip("one.mp4")}, {Clip("hdr.mkv") + ": " + hdr, Clip("one.mp4") + ": " + plain}},
        {{"--filter", "hflip"}, {Clip("hdr.mkv") + ": " + hdr, Clip("hdr.mkv") + " | hflip: " + hdr}},
    };
    for (const auto& row : rows) {
        const Strings length = {"-v", "--length", "0.1"};
        const Outcome outcome = RunProcess(Headless(Clip("hdr.mkv"), Joined(length, row.options)));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        Strings described;
        for (const std::string& line : Lines(outcome.err)) {
            if (line.find("; given as ") != std::string::npos)
                described.push_back(line);
        }
        EXPECT_EQ(described, row.lines);
    }
}

TEST(Pictures, WithAMatrixThatNobodyNumberedAreReadAsUsual) {
    const TemporaryFolder folder;
    std::string content = kq::test::ReadFile(Clip("bt2020-444.mkv"));
    content.replace(content.find("\x55\xB1\x81\x09"), 4, "\x55\xB1\x81\xCD");
    const std::string clip = kq::test::WriteFile(folder / "matrix.mkv", content);
    const Outcome outcome = RunProcess(Headless(clip, {"-v", "--length", "0.1"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::string said = ": file: yuv444p10le, unknown, limited range; given as 4:4:4, 10 bits, BT.601";
    EXPECT_NE(outcome.err.find(clip + said), std::string::npos) << outcome.err;
}

TEST(Pictures, AreDescribedByAKey) {
    AtTerminal kqplay({"--headless", "--loop", "--compare", Clip("one.mp4"), Clip("hdr.mkv")});
    kqplay.Press("", "playing  0:00");
    kqplay.Press("i", "hdr.mkv: " + hdr);
    kqplay.Press("", "one.mp4: " + plain);
    kqplay.Quit();
}

} // namespace
