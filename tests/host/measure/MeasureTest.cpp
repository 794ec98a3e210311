// kqplay --measure: its figures beside those of FFmpeg's filters, which pictures it pairs, and how it ends.
#include "tests/host/kqplay/Process.h"
#include "tests/support/Files.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <regex>
#include <string>
#include <vector>

namespace {

using kq::test::ReadFile;
using kq::test::TemporaryFolder;
using kqtest::Lines;
using kqtest::Outcome;
using kqtest::RunProcess;
using Strings = std::vector<std::string>;

std::string Clip(const std::string& name) {
    return std::string(KQ_CLIPS) + "/" + name;
}

Strings Joined(Strings words, const Strings& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

/// One line of a report.
struct Row {
    int frame = -1;
    double time = 0;
    std::array<std::optional<double>, 3> psnr, ssim;
    bool equal = false;
};

std::optional<double> NumberOrNull(const std::string& text) {
    return text == "null" ? std::nullopt : std::optional<double>(std::stod(text));
}

/// @return the lines of a report, each of which has to be exactly as it is documented
std::vector<Row> ReadReport(const std::string& path) {
    static const std::string number = "(-?[0-9]+\\.[0-9]+|null)";
    static const std::regex form("\\{\"frame\":([0-9]+),\"time\":([0-9]+\\.[0-9]+),\"psnr_y\":" + number +
                                 ",\"psnr_u\":" + number + ",\"psnr_v\":" + number + ",\"ssim_y\":" + number +
                                 ",\"ssim_u\":" + number + ",\"ssim_v\":" + number +
                                 ",\"equal\":(true|false)\\}");
    std::vector<Row> rows;
    for (const std::string& line : Lines(ReadFile(path))) {
        std::smatch match;
        if (!std::regex_match(line, match, form)) {
            ADD_FAILURE() << line;
            continue;
        }
        Row row;
        row.frame = std::stoi(match[1]);
        row.time = std::stod(match[2]);
        for (std::size_t plane = 0; plane < 3; ++plane) {
            row.psnr[plane] = NumberOrNull(match[3 + plane]);
            row.ssim[plane] = NumberOrNull(match[6 + plane]);
        }
        row.equal = match[9] == "true";
        rows.push_back(row);
    }
    return rows;
}

/// Measures, which has to end with that status. @return what was printed
Outcome Measure(const std::string& report, const Strings& words, int status = 0) {
    const Outcome outcome = RunProcess(Joined({KQPLAY_PROGRAM, "--measure", report}, words));
    EXPECT_EQ(outcome.status, status) << outcome.out << outcome.err;
    return outcome;
}

void Make(const std::string& path, const std::string& source, const Strings& coding) {
    const Outcome made = RunProcess(
        Joined(Joined({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", source}, coding), {path}));
    ASSERT_EQ(made.status, 0) << made.err;
}

/// @param plain not vectorised, which makes the filter "ssim" wrong at the right edge of some widths; what is
///              scaled comes out otherwise then
/// @return what FFmpeg's filters say, by frame and name: "psnr.psnr.y", "ssim.U"
std::vector<std::map<std::string, double>> FilterFigures(const std::string& first, const std::string& second,
                                                         const std::string& scale, bool plain) {
    const std::string graph =
        "[1:v]" + scale + "split[b1][b2];[0:v][b1]psnr[p];[p][b2]ssim,metadata=print:file=-";
    const Strings command = {"ffmpeg", "-v",  "error", "-cpuflags", plain ? "0" : "all",
                             "-i",     first, "-i",    second,      "-lavfi",
                             graph,    "-f",  "null",  "-"};
    const Outcome outcome = RunProcess(command);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    static const std::regex figure("lavfi\\.(psnr\\.psnr\\.[yuv]|ssim\\.[YUV])=(.+)");
    std::vector<std::map<std::string, double>> frames;
    for (const std::string& line : Lines(outcome.out)) {
        std::smatch match;
        if (line.rfind("frame:", 0) == 0) {
            frames.emplace_back();
        } else if (std::regex_match(line, match, figure) && !frames.empty()) {
            frames.back()[match[1]] = std::stod(match[2]);
        }
    }
    return frames;
}

TEST(Measure, SaysWhatTheFiltersOfFfmpegSay) {
    const Strings ffv1 = {"-c:v", "ffv1"}, mjpeg = {"-c:v", "mjpeg", "-q:v", "2"}, raw = {"-c:v", "rawvideo"};
    const struct {
        const char* name;
        const char* size;
        std::string format;
        Strings coding = {"-c:v", "ffv1"};
        const char* otherSize = nullptr; ///< null: the same
        std::string otherFormat = {};
        int planes = 3;
    } rows[] = {
        {"420.mkv", "97x65", "yuv420p"},
        {"420-wide.mkv", "318x178", "yuv420p"},
        {"422.mkv", "97x65", "yuv422p"},
        {"444.mkv", "51x37", "yuv444p"},
        {"411.mkv", "97x65", "yuv411p"},
        {"420-10.mkv", "318x178", "yuv420p10le"},
        {"422-10.mkv", "97x65", "yuv422p10le"},
        {"444-10.mkv", "50x39", "yuv444p10le"},
        {"420-12.mkv", "97x65", "yuv420p12le"},
        {"444-16.mkv", "97x65", "yuv444p16le"},
        {"gray.mkv", "97x65", "gray", {"-c:v", "ffv1"}, nullptr, {}, 1},
        {"full.avi", "96x64", "yuvj420p", mjpeg},
        {"alpha.mkv", "97x65", "yuva420p"},
        {"nv12.nut", "96x64", "nv12", raw},
        {"packed.nut", "96x64", "yuyv422", raw},
        {"smaller.mkv", "97x65", "yuv420p", ffv1, "61x40"},
        {"larger.mkv", "96x64", "yuv422p10le", ffv1, "191x129"},
        {"deeper.mkv", "97x65", "yuv420p", ffv1, nullptr, "yuv444p10le"},
        {"shallower.mkv", "96x64", "yuv422p10le", ffv1, "64x48", "yuv420p"},
        {"range.avi", "96x64", "yuvj420p", mjpeg, nullptr, "yuv420p"},
    };
    const TemporaryFolder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string first = folder / row.name;
        const std::string second = folder / (std::string("second-") + row.name);
        const std::string report = folder / "report.json";
        const bool likens = row.otherSize == nullptr && row.otherFormat.empty();
        const std::string format = row.otherFormat.empty() ? row.format : row.otherFormat;
        // Through RGB, or the source would round odd sizes.
        const auto source = [](const std::string& size, const std::string& more) {
            return "testsrc2=rate=10:duration=0.5:size=" + size + ",format=rgb24," + more;
        };
        Make(first, source(row.size, "format=" + row.format), Joined({"-pix_fmt", row.format}, row.coding));
        Make(second,
             source(row.otherSize != nullptr ? row.otherSize : row.size,
                    "noise=alls=25:allf=t:all_seed=3:enable='not(eq(n,2))',format=" + format),
             Joined({"-pix_fmt", format}, row.otherFormat.empty() ? row.coding : ffv1));
        Measure(report, {"--compare", second, first});
        const std::vector<Row> measured = ReadReport(report);
        const std::string scale = row.otherSize != nullptr
                                      ? "scale=" + std::regex_replace(row.size, std::regex("x"), ":") + ","
                                      : "";
        const auto expected = FilterFigures(first, second, scale, likens);
        ASSERT_EQ(expected.size(), 5u);
        ASSERT_EQ(measured.size(), expected.size());
        for (std::size_t n = 0; n < measured.size(); ++n) {
            EXPECT_EQ(measured[n].frame, static_cast<int>(n));
            EXPECT_NEAR(measured[n].time, static_cast<double>(n) / 10, 1e-6);
            EXPECT_EQ(measured[n].equal, likens && n == 2) << n;
            constexpr std::array<const char*, 3> psnr = {"psnr.psnr.y", "psnr.psnr.u", "psnr.psnr.v"};
            constexpr std::array<const char*, 3> ssim = {"ssim.Y", "ssim.U", "ssim.V"};
            for (std::size_t plane = 0; plane < 3; ++plane) {
                if (plane >= static_cast<std::size_t>(row.planes)) {
                    EXPECT_FALSE(measured[n].psnr[plane] || measured[n].ssim[plane]);
                    continue;
                }
                const double dB = measured[n].psnr[plane].value_or(INFINITY);
                const double expectedDb = expected[n].at(psnr[plane]);
                EXPECT_TRUE(dB == expectedDb || std::abs(dB - expectedDb) < 1e-4) << dB << " " << expectedDb;
                EXPECT_NEAR(measured[n].ssim[plane].value_or(-2), expected[n].at(ssim[plane]), 1e-4);
            }
        }
    }
}

TEST(Measure, PairsWhatBelongsTogether) {
    const TemporaryFolder folder;
    const std::string report = folder / "report.json";
    const std::string clip = Clip("opengop.mp4"), stream = Clip("opengop.ts");
    const auto spoil = [](std::string content, std::size_t at, std::size_t bytes) {
        std::fill_n(content.begin() + static_cast<std::ptrdiff_t>(at), bytes, 'x');
        return content;
    };
    const std::string whole = ReadFile(stream), packed = ReadFile(clip);
    const std::string lossy = kq::test::WriteFile(folder / "lossy.ts", spoil(whole, whole.size() / 3, 5000));
    const std::string damaged =
        kq::test::WriteFile(folder / "damaged.mp4", spoil(packed, packed.size() / 3, 300));
    const std::string cut = kq::test::WriteFile(folder / "cut.ts", whole.substr(0, whole.size() / 2));
    const struct {
        const char* what;
        Strings words;
        std::size_t least, most; ///< pairs
        const char* printed;     ///< among others
        bool spoils = false;     ///< pictures from 1.2 to 2.4 s may differ
        bool misses = false;     ///< packets are missing, which nobody can number
    } rows[] = {
        {"the same file", {"--compare", clip, clip}, 100, 100, "100 pairs measured, all equal"},
        {"other times", {"--compare", stream, clip}, 100, 100, "100 pairs measured, all equal"},
        {"no times at the end",
         {"--compare", Clip("undelayed.avi"), Clip("bframes.mp4")},
         100,
         100,
         "all equal"},
        {"packets missing", {"--compare", lossy, clip}, 85, 99, "without a counterpart", true},
        {"packets missing in the first", {"--compare", clip, lossy}, 85, 99, "opengop.mp4: ", true, true},
        {"damage", {"--compare", damaged, clip}, 85, 99, "damaged packets or frames left out", true},
        {"damage in the first", {"--compare", clip, damaged}, 85, 99, "opengop.mp4: ", true},
        {"a shorter second", {"--compare", cut, clip}, 30, 60, "after the other's end"},
        {"a shorter first", {"--compare", clip, cut}, 30, 60, "opengop.mp4 goes on for", false, true},
        {"a part", {"--compare", stream, "--start", "1.2", "--length", "0.8", clip}, 20, 20, "all equal"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const Outcome outcome = Measure(report, row.words);
        EXPECT_NE(outcome.out.find(row.printed), std::string::npos) << outcome.out;
        const std::vector<Row> measured = ReadReport(report);
        EXPECT_GE(measured.size(), row.least);
        EXPECT_LE(measured.size(), row.most);
        for (const Row& pair : measured) {
            EXPECT_TRUE(pair.equal || (row.spoils && pair.time > 1.2 && pair.time < 2.4)) << pair.time;
            EXPECT_TRUE(row.misses || std::abs(pair.time - pair.frame * 0.04) < 1e-4) << pair.frame;
        }
    }
}

/// Half the rate: every second picture is measured, against the one at the same time.
TEST(Measure, PairsOtherRatesByTime) {
    const TemporaryFolder folder;
    Make(folder / "50.mkv", "testsrc2=rate=50:size=64x48:duration=1,noise=alls=9:allf=t:all_seed=1",
         {"-c:v", "ffv1"});
    Make(folder / "25.mkv",
         "testsrc2=rate=50:size=64x48:duration=1,noise=alls=9:allf=t:all_seed=1,select='not(mod(n,2))'",
         {"-r", "25", "-c:v", "ffv1"});
    Measure(folder / "a.json", {"--compare", folder / "50.mkv", folder / "25.mkv"});
    Measure(folder / "b.json", {"--compare", folder / "25.mkv", folder / "50.mkv"});
    const std::vector<Row> slow = ReadReport(folder / "a.json"), fast = ReadReport(folder / "b.json");
    ASSERT_EQ(slow.size(), 25u);
    ASSERT_EQ(fast.size(), 50u);
    for (std::size_t n = 0; n < fast.size(); ++n) {
        EXPECT_EQ(fast[n].equal, n % 2 == 0) << n;
        EXPECT_TRUE(n % 2 != 0 || slow[n / 2].equal) << n;
    }
}

TEST(Measure, WithoutASecondFileFindsWhatStandsStill) {
    const TemporaryFolder folder;
    Make(folder / "frozen.mkv",
         "testsrc2=rate=25:size=64x48:duration=2,noise=alls=9:allf=t:all_seed=1,loop=loop=9:size=1:start=20",
         {"-c:v", "ffv1"});
    const Outcome outcome = Measure(folder / "report.json", {folder / "frozen.mkv"});
    EXPECT_NE(outcome.out.find("#19 stays for 10 pictures from 0:00.760 on"), std::string::npos)
        << outcome.out;
    std::string equal;
    for (const Row& row : ReadReport(folder / "report.json")) {
        equal += row.equal ? std::to_string(row.frame) + " " : "";
    }
    EXPECT_EQ(equal, "20 21 22 23 24 25 26 27 28 ");
}

TEST(Measure, EndsWithTheStatusThatScriptsNeed) {
    const TemporaryFolder folder;
    const std::string clip = Clip("bframes.mp4"), worse = folder / "worse.mkv", cut = folder / "cut.mkv";
    const std::string source = "movie=" + clip + ",noise=alls=10:all_seed=1";
    Make(worse, source, {"-c:v", "ffv1"});
    Make(cut, "movie=" + clip, {"-t", "1", "-c:v", "ffv1"});
    const std::string report = folder / "report.json", sheet = folder / "sheet.png";
    const struct {
        int status;
        Strings words;
        const char* told; ///< part of the output, or of the one line of an error
    } rows[] = {
        {0,
         {"--compare", worse, "--min-psnr", "20", "--min-ssim", "0.2", clip},
         "100 pairs measured, none equal"},
        {0, {"--compare", clip, "--min-psnr", "200", "--min-ssim", "1", clip}, "all equal"},
        {0, {"--compare", clip, "--worst", sheet, clip}, "no pair differs"},
        {3, {"--compare", worse, "--min-psnr", "60", clip}, "not met: a pair has a PSNR of"},
        {3, {"--compare", worse, "--min-ssim", "0.9999", clip}, "not met: a pair has an SSIM of"},
        {3, {"--compare", cut, "--min-psnr", "20", clip}, "have no counterpart"},
        {0, {"--compare", clip, "--min-psnr", "20", cut}, "bframes.mp4 goes on for 75 pictures"},
        {1, {"--compare", folder / "missing", clip}, "missing: No such file"},
        {1, {"--compare", Clip("noise.flac"), clip}, "noise.flac: no video stream"},
        {1, {folder / "missing"}, "missing: No such file"},
        {2, {"--min-psnr", "20", clip}, "need --compare"},
        {2, {"--compare", clip, "--filter", "hflip", clip}, ""},
        {2, {"--compare", clip, "--verify", clip}, ""},
        {2, {"--worst", "sheet.gif", clip}, "sheet.gif"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.words));
        std::filesystem::remove(report);
        const Outcome outcome = Measure(report, row.words, row.status);
        const std::string& text = row.status == 1 || row.status == 2 ? outcome.err : outcome.out;
        EXPECT_NE(text.find(row.told), std::string::npos) << text;
        EXPECT_EQ(std::filesystem::exists(report), row.status == 0 || row.status == 3);
        EXPECT_EQ(Lines(outcome.err).size(), row.status == 1 ? 1u : row.status == 2 ? 2u : 0u) << outcome.err;
        for (const std::string& line : Lines(outcome.out)) {
            EXPECT_LE(line.size(), 80 + (folder / "").size() + clip.size()) << line;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(sheet));
}

TEST(Measure, WritesReportsAndSheetsWholeOrNotAtAll) {
    const TemporaryFolder folder;
    const std::string clip = Clip("bframes.mp4");
    kq::test::WriteFile(folder / "old.json", "{}");
    kq::test::WriteFile(folder / "film.mp4", "a film");
    const std::string sheet = folder / "sheet.png";
    // A limit on the size of files stands in for a full disk.
    const auto measure = [&](const std::string& report, const Strings& words, const char* blocks) {
        return RunProcess(Joined({"sh", "-c", "trap '' XFSZ; ulimit -f $0; exec \"$@\"", blocks,
                                  KQPLAY_PROGRAM, "--measure", report, "--compare", Clip("program.mpg")},
                                 Joined(words, {clip})));
    };
    const struct {
        std::string report;
        Strings words;
        const char* blocks;
        std::string named;
    } rows[] = {
        {folder / "old.json", {}, "8", folder / "old.json"},
        {folder / "film.mp4", {}, "unlimited", folder / "film.mp4"},
        {"/dev/full", {}, "unlimited", "/dev/full"},
        {folder / "nowhere/report.json", {}, "unlimited", folder / "nowhere/report.json"},
        {folder / "", {}, "unlimited", folder / ""},
        {"/dev/null", {"--worst", sheet}, "8", sheet},
    };
    for (const auto& row : rows) {
        const Outcome outcome = measure(row.report, row.words, row.blocks);
        EXPECT_EQ(outcome.status, 1) << outcome.out;
        EXPECT_EQ(outcome.err.rfind("kqplay: " + row.named + ": ", 0), 0u) << outcome.err;
        EXPECT_EQ(Lines(outcome.err).size(), 1u) << outcome.err;
    }
    EXPECT_EQ(ReadFile(folder / "old.json"), "{}");
    EXPECT_EQ(ReadFile(folder / "film.mp4"), "a film");
    EXPECT_EQ(folder.CountFiles(), 2u) << "nothing else is left";
}

/// A row for the one pair that differs: the pictures, and what is left of them. A difference of 3 becomes one
/// of 24.
TEST(Measure, DrawsTheWorstPairs) {
    const TemporaryFolder folder;
    const auto gray = [&](const char* name, const char* luma) {
        Make(folder / name,
             std::string("color=black:size=64x48:rate=5:duration=1,format=yuv420p,geq=lum='") + luma +
                 "':cb=128:cr=128",
             {"-c:v", "ffv1"});
    };
    gray("a.mkv", "100");
    gray("b.mkv", "100+3*eq(N,2)");
    Measure(folder / "report.json",
            {"--compare", folder / "b.mkv", "--worst", folder / "sheet.png", folder / "a.mkv"});
    const auto grayAt = [&](int x, int y) {
        const Outcome pixel =
            RunProcess({"ffmpeg", "-v", "error", "-i", folder / "sheet.png", "-vf",
                        "crop=1:1:exact=1:x=" + std::to_string(x) + ":y=" + std::to_string(y), "-f",
                        "rawvideo", "-pix_fmt", "gray", "-"});
        return pixel.out.size() == 1 ? static_cast<int>(static_cast<unsigned char>(pixel.out[0])) : -1;
    };
    const auto shown = [](int luma) { return static_cast<int>(std::lround((luma - 16) * 255.0 / 219)); };
    EXPECT_NEAR(grayAt(4 + 60, 4 + 44), shown(100), 1);
    EXPECT_NEAR(grayAt(4 + 68 + 60, 4 + 44), shown(103), 1);
    EXPECT_NEAR(grayAt(4 + 136 + 60, 4 + 44), shown(16 + 24), 1);
}

TEST(Measure, EndsOnASignalWithWhatWasMeasured) {
    const TemporaryFolder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string stream = Clip("opengop.ts");
    const std::string most = std::to_string(ReadFile(stream).size() * 2 / 3);
    kqtest::Process writer(
        {"sh", "-c", "{ head -c \"$0\" \"$1\"; exec sleep 60; } >\"$2\"", most, stream, pipe});
    kqtest::Process kqplay(
        {KQPLAY_PROGRAM, "--measure", folder / "report.json", "--compare", pipe, "--min-psnr", "1", stream},
        {}, kqtest::Process::Streams::PseudoTerminal);
    ASSERT_TRUE(kqplay.WaitForOutput("]  6")) << "some sixty pairs of 100, all that the pipe gives";
    kill(kqplay.Id(), SIGINT);
    const Outcome outcome = kqplay.Finish();
    EXPECT_EQ(outcome.status, 3) << outcome.out;
    EXPECT_NE(outcome.out.find("it was interrupted"), std::string::npos) << outcome.out;
    const std::vector<Row> measured = ReadReport(folder / "report.json");
    EXPECT_GT(measured.size(), 15u);
    EXPECT_LT(measured.size(), 100u);
}

TEST(Measure, TheKeysGoFromOneDifferenceToTheNext) {
    const TemporaryFolder folder;
    const std::string source = "testsrc2=rate=25:size=64x48:duration=4";
    Make(folder / "a.mkv", source, {"-c:v", "ffv1"});
    Make(folder / "b.mkv", source + ",noise=alls=60:all_seed=1:enable='between(n,30,31)+eq(n,60)'",
         {"-c:v", "ffv1"});
    kqtest::Process kqplay(
        {KQPLAY_PROGRAM, "--headless", "--no-audio", "--compare", folder / "b.mkv", folder / "a.mkv"}, {},
        kqtest::Process::Streams::PseudoTerminal);
    const std::pair<const char*, const char*> presses[] = {
        {"", "playing"},          {" \033[H", "paused  0:00.00 / 0:04.00  #0 "},
        {"n", "paused  0:01.20"}, {"n", "paused  0:01.24"},
        {"n", "paused  0:02.40"}, {"n", "no pair behind this one differs"},
        {"N", "paused  0:01.24"}, {"NN", "no pair before this one differs"},
    };
    for (const auto& [keys, shown] : presses) {
        kqplay.Type(keys);
        ASSERT_TRUE(kqplay.WaitForOutput(shown)) << shown << " in " << kqplay.Output();
    }
    kqplay.Type("q");
    EXPECT_EQ(kqplay.Finish().status, 0);
}

} // namespace
