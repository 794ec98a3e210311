#include "Kqplay.h"

#include "tests/support/WaitUntil.h"

#include <kqplayer/image.h>

#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <csignal>
#include <cstdio>

namespace fs = std::filesystem;

namespace kqtest {
namespace {

/// @return the text behind "name": in a line of JSON, without quotes
std::string Field(const std::string& line, const std::string& name) {
    const std::string key = "\"" + name + "\":";
    const std::size_t at = line.find(key);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = line.find_first_not_of('"', at + key.size());
    return line.substr(begin, line.find_first_of(",\"}", begin) - begin);
}

/// Hash of a planar 4:2:0 picture whose planes follow each other, converted to B, G, R, 255.
std::string HashPlanes(std::uint8_t* planes, int width, int height) {
    const int chromaWidth = (width + 1) / 2;
    std::uint8_t* cb = planes + width * height;
    std::uint8_t* cr = cb + chromaWidth * ((height + 1) / 2);
    tagBITMAPINFOHEADER header = {};
    header.biWidth = width;
    header.biHeight = height;
    header.biBitCount = 32;
    std::string pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4, '\0');
    Yuv420_2_rgb32(&header, reinterpret_cast<std::uint8_t*>(pixels.data()), planes, cb, cr, width,
                   chromaWidth, chromaWidth);
    return HashBytes(pixels);
}

} // namespace

Trace ReadTrace(const std::string& path) {
    Trace trace;
    const Strings lines = Lines(kq::test::ReadFile(path));
    for (const std::string& line : lines) {
        EXPECT_TRUE(line.front() == '{' && line.back() == '}') << line;
        const std::string event = Field(line, "ev");
        if (event == "picture") {
            const std::size_t view = std::stoul(Field(line, "view"));
            trace.pictures.at(view).push_back(Field(line, "crc32"));
            trace.places.at(view).push_back(Field(line, "frame") + " " + Field(line, "media"));
            trace.times.at(view).push_back(std::stod(Field(line, "t_us")) / 1e6);
        } else if (event == "position") {
            trace.positions.push_back(std::stod(Field(line, "pos")));
        } else if (event == "state") {
            trace.states.push_back(std::stoi(Field(line, "activate")));
        } else if (event == "end") {
            ++trace.ends;
        }
    }
    if (!lines.empty()) {
        trace.seconds =
            (std::stod(Field(lines.back(), "t_us")) - std::stod(Field(lines.front(), "t_us"))) / 1e6;
    }
    return trace;
}

Strings ReferenceHashes(const std::string& path) {
    const std::string size = RunProcess({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                                         "stream=width,height", "-of", "csv=p=0", path})
                                 .out;
    int width = 0;
    int height = 0;
    EXPECT_EQ(std::sscanf(size.c_str(), "%d,%d", &width, &height), 2) << size;
    std::string planes =
        RunProcess({"ffmpeg", "-v", "error", "-nostdin", "-i", path, "-map", "0:v:0", "-fps_mode",
                    "passthrough", "-f", "rawvideo", "-pix_fmt", "yuv420p", "-"})
            .out;
    const int samples = width * height + 2 * ((width + 1) / 2) * ((height + 1) / 2);
    const auto frame = static_cast<std::size_t>(samples);
    EXPECT_EQ(planes.size() % frame, 0u);
    Strings hashes;
    for (std::size_t at = 0; at + frame <= planes.size(); at += frame) {
        hashes.push_back(HashPlanes(reinterpret_cast<std::uint8_t*>(planes.data()) + at, width, height));
    }
    return hashes;
}

Strings HashesOfARun(const std::string& path) {
    Strings hashes = ReferenceHashes(path);
    EXPECT_FALSE(hashes.empty());
    hashes.push_back(hashes.back());
    return hashes;
}

std::string HashBytes(const std::string& bytes) {
    char text[16];
    std::snprintf(text, sizeof text, "%08lx",
                  crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
    return text;
}

std::string FileHash(const std::string& path) {
    const Outcome outcome =
        RunProcess({"ffmpeg", "-v", "error", "-i", path, "-f", "rawvideo", "-pix_fmt", "bgra", "-"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return HashBytes(outcome.out);
}

Strings Joined(Strings words, const Strings& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

Strings Headless(const std::string& clip, const Strings& options) {
    return Joined({KQPLAY_PROGRAM, "--headless", clip}, options);
}

std::string CopyProgram(const TemporaryFolder& folder, const std::string& viewLibrary) {
    for (const auto& file : fs::directory_iterator(fs::path(KQPLAY_PROGRAM).parent_path())) {
        const std::string name = file.path().filename().string();
        if (name == "kqplay" || name.rfind("libKQ", 0) == 0) {
            fs::copy_file(file, folder / name);
        }
    }
    if (!viewLibrary.empty()) {
        fs::copy_file(viewLibrary, folder / "PlayerView.so");
    }
    return folder / "kqplay";
}

Trace PlayTraced(const std::string& clip, const Strings& options, const std::string& err,
                 const Process::Environment& environment) {
    const TemporaryFolder folder;
    const Strings traced = Joined({"--trace", folder / "trace", "--trace-hash"}, options);
    const Outcome outcome = RunProcess(Headless(clip, traced), environment);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, err);
    return ReadTrace(folder / "trace");
}

AtTerminal::AtTerminal(const Strings& options, Process::Environment environment)
    : process(Joined({"sh", "-c", "cd \"$0\" && exec \"$@\"", folder / "", KQPLAY_PROGRAM, "--trace",
                      folder / "trace", "--trace-hash"},
                     options),
              (environment["TERM"] = "xterm", environment), Process::Streams::PseudoTerminal) {}

void AtTerminal::Press(const std::string& keys, const std::string& shown) {
    process.Type(keys);
    EXPECT_TRUE(process.WaitForOutput(shown)) << "after " << testing::PrintToString(keys) << "\n"
                                              << process.Output();
}

Strings AtTerminal::SavedPictures() const {
    const std::string key = "saved ";
    const std::string& shown = process.Output();
    Strings hashes;
    for (std::size_t at = shown.find(key); at != std::string::npos; at = shown.find(key, at + 1)) {
        const std::size_t begin = at + key.size();
        hashes.push_back(FileHash(folder / shown.substr(begin, shown.find_first_of("\r,", begin) - begin)));
    }
    return hashes;
}

void AtTerminal::Suspend(double seconds) {
    process.Type("\032");
    EXPECT_TRUE(kq::test::WaitUntil([&] { return process.TerminalIsNormal(); }));
    usleep(static_cast<useconds_t>(seconds * 1e6));
    // The terminal is given back first; a signal to go on that came before the stop would be lost.
    EXPECT_TRUE(kq::test::WaitUntil([&] {
        kill(process.Id(), SIGCONT);
        return !process.TerminalIsNormal();
    }));
}

Trace AtTerminal::Quit(const std::string& keys) {
    process.Type(keys);
    const Outcome outcome = process.Finish();
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_TRUE(process.TerminalIsNormal());
    return ReadTrace(folder / "trace");
}

} // namespace kqtest
