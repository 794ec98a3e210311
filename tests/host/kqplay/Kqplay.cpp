#include "Kqplay.h"

#include <Common/Image/Reference.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <utility>

namespace kqtest {
namespace {

/// @return the text behind "name": in a line of JSON, without quotes
std::string Field(const std::string& line, const std::string& name) {
    const std::string key = "\"" + name + "\":";
    const std::size_t at = line.find(key);
    if (at == std::string::npos)
        return {};
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
    kq::image::reference::Yuv420_2_rgb32(&header, reinterpret_cast<std::uint8_t*>(pixels.data()), planes, cb,
                                         cr, width, chromaWidth, chromaWidth);
    return HashBytes(pixels);
}

std::size_t PlanesSize(int width, int height) {
    return static_cast<std::size_t>(width * height + 2 * ((width + 1) / 2) * ((height + 1) / 2));
}

} // namespace

Trace::Trace(const std::string& path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        EXPECT_TRUE(line.front() == '{' && line.back() == '}') << line;
        const auto number = [&line](const char* name) { return std::atof(Field(line, name).c_str()); };
        TraceEvent event = {
            std::atoll(Field(line, "t_us").c_str()), Field(line, "ev"), Field(line, "crc32"),
            static_cast<int>(number("view")),        number("pos"),     static_cast<int>(number("activate"))};
        events.push_back(event);
    }
}

Strings Trace::Pictures(int view) const {
    Strings hashes;
    for (const TraceEvent& event : events) {
        if (event.name == "picture" && event.view == view)
            hashes.push_back(event.hash);
    }
    return hashes;
}

std::vector<int> Trace::States() const {
    std::vector<int> states;
    for (const TraceEvent& event : events) {
        if (event.name == "state")
            states.push_back(event.activate);
    }
    return states;
}

std::size_t Trace::CountEnds() const {
    std::size_t count = 0;
    for (const TraceEvent& event : events)
        count += event.name == "end" ? 1 : 0;
    return count;
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
    const std::size_t frame = PlanesSize(width, height);
    EXPECT_EQ(planes.size() % frame, 0u);
    Strings hashes;
    for (std::size_t at = 0; at + frame <= planes.size(); at += frame)
        hashes.push_back(HashPlanes(reinterpret_cast<std::uint8_t*>(planes.data()) + at, width, height));
    return hashes;
}

Strings HashesOfARun(const std::string& path) {
    Strings hashes = ReferenceHashes(path);
    EXPECT_FALSE(hashes.empty());
    hashes.push_back(hashes.back());
    return hashes;
}

std::string BlackHash(int width, int height) {
    std::vector<std::uint8_t> planes(PlanesSize(width, height), 0x80);
    std::fill_n(planes.begin(), width * height, std::uint8_t{0x10});
    return HashPlanes(planes.data(), width, height);
}

std::string HashBytes(const std::string& bytes) {
    char text[16];
    std::snprintf(text, sizeof text, "%08lx",
                  crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
    return text;
}

Strings Headless(const std::string& clip, Strings options) {
    options.insert(options.begin(), {KQPLAY_PROGRAM, "--headless"});
    options.push_back(clip);
    return options;
}

Trace PlayTraced(const std::string& clip, Strings options, const std::string& err,
                 const Process::Environment& environment) {
    const TemporaryFolder folder;
    options.insert(options.end(), {"--trace", folder / "trace", "--trace-hash"});
    const Outcome outcome = RunProcess(Headless(clip, options), environment);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, err);
    return Trace(folder / "trace");
}

AtTerminal::AtTerminal(Strings options, Process::Environment environment)
    : process((options.insert(options.begin(), {"sh", "-c", "cd \"$0\" && exec \"$@\"", folder / "",
                                                KQPLAY_PROGRAM, "--trace", folder / "trace", "--trace-hash"}),
               options),
              (environment["TERM"] = "xterm", environment), Process::Streams::PseudoTerminal) {}

void AtTerminal::Press(const std::string& keys, const std::string& shown) {
    process.Type(keys);
    EXPECT_TRUE(process.WaitForOutput(shown)) << "after " << testing::PrintToString(keys) << "\n"
                                              << process.Output();
}

Trace AtTerminal::Quit(const std::string& keys) {
    process.Type(keys);
    const Outcome outcome = process.Finish();
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_TRUE(process.TerminalIsNormal());
    return Trace(folder / "trace");
}

} // namespace kqtest
