// What is written on pictures, and the scope beside them, on an X server of the test's own.
#include "InWindow.h"

#include <host/kqplay/InfoText.h>
#include <host/kqplay/ProgressLine.h>

#include <cstring>
#include <filesystem>

using namespace kqtest;
using kq::test::WaitUntil;
using kqplay::TextBox;
using kqplay::TextLine;
using kqplay::TextRenderer;
namespace fs = std::filesystem;

namespace {

std::unique_ptr<TextRenderer> OpenText() {
    std::string error;
    auto text = TextRenderer::Open(error);
    EXPECT_TRUE(text) << error;
    return text;
}

/// @return the letters of all pictures of a clip
std::string KindsOf(const std::string& clip) {
    const std::string out = RunProcess({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                                        "frame=pict_type", "-of", "csv=p=0", clip})
                                .out;
    std::string kinds;
    std::copy_if(out.begin(), out.end(), std::back_inserter(kinds),
                 [](char c) { return std::isalpha(c) != 0; });
    return kinds;
}

/// @return a part of an image, as a box
TextBox Cut(const Image& image, int left, int top, int width, int height) {
    TextBox part{width, height, {}};
    for (int y = top; y < top + height; ++y) {
        for (int x = left; x < left + width; ++x) {
            const bool isInside = x < image.width && y < image.height;
            part.pixels.push_back(isInside ? image.At(x, y) & 0xFFFFFF : 0);
        }
    }
    return part;
}

class OnThePicture : public InWindow {
protected:
    /// @return true once the window has exactly this box in it
    bool Shows(Window window, int left, const std::vector<TextLine>& lines, int size, int mostWidth) {
        m_text->SetSize(size);
        const TextBox expected = m_text->Draw(lines, mostWidth);
        return WaitUntil([&] {
            const Image image = m_server.Screenshot(static_cast<xcb_window_t>(window));
            return Cut(image, left, 0, expected.width, expected.height).pixels == expected.pixels;
        });
    }

    std::unique_ptr<TextRenderer> m_text = OpenText();
};

TEST_F(OnThePicture, TheLineIsThatOfThePictureOnShow) {
    const std::string clip = Clip("long.mp4");
    AtTerminal kqplay({"--no-audio", "--info", "short", clip}, m_environment);
    const Window window = FindWindow();
    Fit(window, 640, 400);
    const std::string kinds = KindsOf(clip);
    ASSERT_GT(kinds.size(), 600u);
    const auto line = [&](int number) {
        const double time = number / 25.0;
        return TextLine{"#" + std::to_string(number) + "  " + kqplay::FormatTimeCode(time, 25) + "  " +
                            kinds[static_cast<std::size_t>(number)] + "  ",
                        "long.mp4"};
    };
    kqplay.Press(" g#500\r", "paused  0:20.00");
    EXPECT_TRUE(Shows(window, 0, {line(500)}, 13, 640));
    for (const auto& [key, number] : {std::pair(".", 501), {".", 502}, {",", 501}, {",", 500}, {",", 499}}) {
        kqplay.Press(key, "");
        EXPECT_TRUE(Shows(window, 0, {line(number)}, 13, 640)) << number;
    }
    // Neither a screenshot nor the trace has the text, and a speed is part of the full information.
    kqplay.Arrive();
    EXPECT_EQ(kqplay.SavedPictures(), Strings{ReferenceHashes(clip).at(499)});
    kqplay.Press("o[", "speed 0.909x");
    const std::string facts = "96x64  h264 (High) yuv420p  25 frames/s  0.909x";
    EXPECT_TRUE(Shows(window, 0, {line(499), {facts}}, 13, 640));
    PressKey(window, XK_f);
    EXPECT_TRUE(Shows(window, 0, {line(499), {facts}}, 13, 1024)) << "in full screen too";
    kqplay.Press("o", "no information");
    EXPECT_TRUE(
        WaitUntil([&] { return !m_server.IsShown(static_cast<xcb_window_t>(Children(window).back())); }));
    kqplay.Quit();
}

TEST_F(OnThePicture, EachOfTwoFilesHasItsOwn) {
    AtTerminal kqplay({"--no-audio", "--info", "short", "--compare", Clip("silent.mp4"), Clip("long.mp4")},
                      m_environment);
    const Window window = FindWindow();
    Fit(window, 900, 300);
    kqplay.Press(" g#20\r", "paused  0:00.80");
    const std::string own = std::string(1, KindsOf(Clip("long.mp4"))[20]);
    const std::string other = std::string(1, KindsOf(Clip("silent.mp4"))[24]);
    EXPECT_TRUE(Shows(window, 0, {{"#20  00:00:00:20  " + own + "  ", "long.mp4"}}, 13, 450));
    EXPECT_TRUE(Shows(window, 450, {{"#24  00:00:00:24  " + other + "  ", "silent.mp4"}}, 13, 450));
    kqplay.Quit();
}

TEST_F(OnThePicture, ANameOfAnySortFitsIn) {
    const TemporaryFolder folder;
    std::string name = "line\nbreak \xFF \xE6\xBC\xA2\xE5\xAD\x97 "; // no UTF-8, and a script of its own
    name.resize(240, 'x');
    name += "-crf23.mp4";
    fs::copy_file(Clip("long.mp4"), folder / name);
    AtTerminal kqplay({"--no-audio", "--info", "short", folder / name}, m_environment);
    const Window window = FindWindow();
    kqplay.Press(" g#0\r", "paused  0:00.00");
    for (const int width : {600, 250, 130}) {
        Fit(window, static_cast<unsigned>(width), 200);
        EXPECT_TRUE(Shows(window, 0, {{"#0  00:00:00:00  I  ", name}}, 13, width)) << width;
    }
    kqplay.Quit();
}

TEST(ContactSheet, SaysWhichPicturesItHas) {
    const TemporaryFolder folder;
    const std::string clip = Clip("silent.mp4");
    const auto text = OpenText();
    text->SetSize(10);
    kq::streams::MediaFacts facts;
    facts.videoCodec = "h264 (High)";
    facts.pixelFormat = "yuv420p";
    facts.width = 176;
    facts.height = 144;
    facts.frameRate = 30;
    facts.duration = 1;
    const std::string last = std::string(1, KindsOf(clip).at(22));
    const struct {
        const char* level; ///< null for no --info
        std::vector<TextLine> title;
        std::string first, second;
    } rows[] = {{nullptr, {}, "0:00.00", "0:00.73"},
                {"full", kqplay::FormatTitle("silent.mp4", facts, kqplay::InfoLevel::Full),
                 "#0  00:00:00:00  I", "#22  00:00:00:22  " + last}};
    for (const auto& row : rows) {
        Strings command = {KQPLAY_PROGRAM, "--contact-sheet", folder / "sheet.png:2x1", clip};
        if (row.level) {
            command = Joined(command, {"--info", row.level});
        }
        ASSERT_EQ(RunProcess(command).status, 0);
        const std::string bytes = RunProcess({"ffmpeg", "-v", "error", "-i", folder / "sheet.png", "-f",
                                              "rawvideo", "-pix_fmt", "bgra", "-"})
                                      .out;
        Image sheet;
        sheet.width = 4 + 2 * 180;
        sheet.height = static_cast<int>(bytes.size()) / 4 / sheet.width;
        sheet.pixels.resize(bytes.size() / 4);
        std::memcpy(sheet.pixels.data(), bytes.data(), bytes.size());
        const TextBox title = row.title.empty() ? TextBox() : text->Draw(row.title, sheet.width);
        ASSERT_EQ(sheet.height, title.height + 4 + 144 + 4);
        EXPECT_EQ(Cut(sheet, 0, 0, title.width, title.height).pixels, title.pixels);
        for (const auto& [left, label] : {std::pair(8, row.first), {188, row.second}}) {
            const TextBox box = text->Draw({{label}}, sheet.width);
            EXPECT_EQ(Cut(sheet, left, title.height + 8, box.width, box.height).pixels, box.pixels) << label;
        }
    }
}

TEST(Text, LosesTheMiddleOfItsTailAndThenItsEnd) {
    const auto text = OpenText();
    const auto draw = [&](const TextLine& line, int most) { return text->Draw({line}, most); };
    const TextBox whole = draw({"#12  ", "a-very-long-name.mp4"}, 1000);
    const TextBox cut = draw({"#12  ", "a-very-long-name.mp4"}, whole.width - 40);
    EXPECT_LE(cut.width, whole.width - 40);
    EXPECT_GT(cut.width, whole.width - 60) << "no more than needed";
    EXPECT_EQ(Cut({cut.width, cut.height, cut.pixels}, 0, 0, 60, cut.height).pixels,
              Cut({whole.width, whole.height, whole.pixels}, 0, 0, 60, whole.height).pixels)
        << "the begin stays";
    EXPECT_EQ(Cut({cut.width, cut.height, cut.pixels}, cut.width - 40, 0, 40, cut.height).pixels,
              Cut({whole.width, whole.height, whole.pixels}, whole.width - 40, 0, 40, whole.height).pixels)
        << "and so does the end";
    EXPECT_LE(draw({"#1234567"}, 40).width, 40);
    // A control character and a byte that is no UTF-8 are drawn as U+FFFD, and other scripts as themselves.
    const TextBox odd = draw({"\n\xFF"}, 1000);
    EXPECT_EQ(odd.pixels, draw({"\xEF\xBF\xBD\xEF\xBF\xBD"}, 1000).pixels);
    EXPECT_NE(draw({"\xC3\xA4"}, 1000).pixels, draw({"a"}, 1000).pixels);
}

TEST(Text, AMissingFontIsOneLine) {
    const TemporaryFolder folder;
    kq::test::WriteFile(folder / "fonts.conf",
                        "<fontconfig><cachedir>" + (folder / "cache") + "</cachedir></fontconfig>");
    const Process::Environment fontless = {{"FONTCONFIG_FILE", folder / "fonts.conf"}};
    const std::string reason = "no font is installed (on Debian: apt install fonts-dejavu-core)\n";
    const Outcome sheet = RunProcess(
        {KQPLAY_PROGRAM, "--contact-sheet", folder / "sheet.png:2x2", Clip("plain.mp4")}, fontless);
    EXPECT_EQ(sheet.status, 0);
    EXPECT_EQ(sheet.err, "kqplay: nothing is written on the contact sheet: " + reason);
    EXPECT_TRUE(fs::exists(folder / "sheet.png"));
    Xvfb server;
    Process::Environment environment = fontless;
    environment["DISPLAY"] = server.Display();
    const Outcome played =
        RunProcess({KQPLAY_PROGRAM, "--no-audio", "--info", "full", Clip("one.mp4")}, environment);
    EXPECT_EQ(played.status, 0);
    EXPECT_EQ(played.err, "kqplay: no information on the pictures: " + reason);
}

TEST_F(InWindow, AScopeFollowsThePictureAndGoes) {
    const TemporaryFolder folder;
    // Grey that rises by 2 from picture to picture, darker by 60 at the left.
    const Outcome made = RunProcess(
        {"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "color=black:size=64x48:rate=25,format=yuv420p", "-vf",
         "geq=lum='if(lt(X,32),60,120)+2*N':cb=128:cr=128", "-t", "2", "-c:v", "ffv1", folder / "grey.mkv"});
    ASSERT_EQ(made.status, 0) << made.err;
    AtTerminal kqplay({"--no-audio", "--scope", "waveform", folder / "grey.mkv"}, m_environment);
    const Window window = FindWindow();
    Fit(window, 1000, 520);
    // The column is 300 wide; the scope, a square, stands in its middle.
    const auto brightness = [&](int x, int luma) {
        const Image image = m_server.Screenshot(static_cast<xcb_window_t>(window));
        int brightest = 0;
        for (int y = -2; y <= 2; ++y) {
            const std::uint32_t pixel = image.At(700 + x, 106 + (255 - luma) * 300 / 256 + y);
            brightest = std::max<int>(brightest, pixel >> 16 & 0xFF);
        }
        return brightest;
    };
    const auto isWaveformOf = [&](int number) {
        return brightness(75, 60 + 2 * number) > 90 && brightness(225, 120 + 2 * number) > 90 &&
               brightness(75, 120 + 2 * number) < 40 && brightness(225, 60 + 2 * number) < 40;
    };
    kqplay.Press(" g#10\r", "paused  0:00.40");
    EXPECT_TRUE(WaitUntil([&] { return isWaveformOf(10); }));
    kqplay.Press(".", "#11 ");
    EXPECT_TRUE(WaitUntil([&] { return isWaveformOf(11); }));
    kqplay.Press("g#40\r", "#40 ");
    EXPECT_TRUE(WaitUntil([&] { return isWaveformOf(40); }));
    EXPECT_FALSE(isWaveformOf(11));
    kqplay.Press("w", "vectorscope");
    EXPECT_TRUE(WaitUntil([&] { return brightness(150, 127) > 40 && !isWaveformOf(40); }));
    kqplay.Press("w", "histogram");
    kqplay.Press("w", "no scope");
    EXPECT_TRUE(WaitUntil([&] {
        const std::vector<Window> children = Children(window);
        return children.size() == 1 && Attributes(children[0]).width == 1000;
    }));
    kqplay.Press("w", "waveform");
    EXPECT_TRUE(WaitUntil([&] { return isWaveformOf(40); })) << "while paused";
    // Neither the late frames nor the trace know of the scope's pictures.
    const Trace trace = kqplay.Quit();
    EXPECT_TRUE(trace.pictures[1].empty());
}

} // namespace
