#include "Kqplay.h"

#include <Common/Image/Reference.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

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

double Number(const std::string& text) {
    return std::atof(text.c_str());
}

/// What a command writes to standard output.
std::string Output(const std::vector<std::string>& command) {
    const Outcome outcome = RunProcess(command);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
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
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    kq::image::reference::Yuv420_2_rgb32(&header, pixels.data(), planes, cb, cr, width, chromaWidth,
                                         chromaWidth);
    char text[16];
    std::snprintf(text, sizeof text, "%08lx", crc32_z(0, pixels.data(), pixels.size()));
    return text;
}

std::size_t PlanesSize(int width, int height) {
    return static_cast<std::size_t>(width * height + 2 * ((width + 1) / 2) * ((height + 1) / 2));
}

} // namespace

std::string Clip(const std::string& name) {
    return std::string(KQPLAY_CLIPS) + "/" + name;
}

std::string KqplayPath() {
    return KQPLAY_PROGRAM;
}

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kqplay-test-XXXXXX").string();
    m_path = mkdtemp(pattern.data());
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::vector<TraceEvent> ReadTrace(const std::string& path) {
    std::vector<TraceEvent> events;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        EXPECT_TRUE(line.front() == '{' && line.back() == '}') << line;
        TraceEvent event;
        event.time = std::atoll(Field(line, "t_us").c_str());
        event.name = Field(line, "ev");
        event.hash = Field(line, "crc32");
        event.view = static_cast<int>(Number(Field(line, "view")));
        event.width = static_cast<int>(Number(Field(line, "w")));
        event.height = static_cast<int>(Number(Field(line, "h")));
        event.position = Number(Field(line, "pos"));
        if (event.name == "state")
            event.activate = static_cast<int>(Number(Field(line, "activate")));
        events.push_back(event);
    }
    return events;
}

std::vector<std::string> PictureHashes(const std::vector<TraceEvent>& trace) {
    std::vector<std::string> hashes;
    for (const TraceEvent& event : trace) {
        if (event.name == "picture")
            hashes.push_back(event.hash);
    }
    return hashes;
}

std::vector<int> States(const std::vector<TraceEvent>& trace) {
    std::vector<int> states;
    for (const TraceEvent& event : trace) {
        if (event.name == "state")
            states.push_back(event.activate);
    }
    return states;
}

std::size_t CountEnds(const std::vector<TraceEvent>& trace) {
    std::size_t count = 0;
    for (const TraceEvent& event : trace)
        count += event.name == "end" ? 1 : 0;
    return count;
}

std::vector<std::string> ReferenceHashes(const std::string& path) {
    const std::string size = Output({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                                     "stream=width,height", "-of", "csv=p=0", path});
    int width = 0;
    int height = 0;
    EXPECT_EQ(std::sscanf(size.c_str(), "%d,%d", &width, &height), 2) << size;
    std::string planes = Output({"ffmpeg", "-v", "error", "-nostdin", "-i", path, "-map", "0:v:0",
                                 "-fps_mode", "passthrough", "-f", "rawvideo", "-pix_fmt", "yuv420p", "-"});
    const std::size_t frame = PlanesSize(width, height);
    EXPECT_EQ(planes.size() % frame, 0u);
    std::vector<std::string> hashes;
    for (std::size_t at = 0; at + frame <= planes.size(); at += frame)
        hashes.push_back(HashPlanes(reinterpret_cast<std::uint8_t*>(planes.data()) + at, width, height));
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

std::vector<std::string> Headless(const std::string& clip, const std::vector<std::string>& options) {
    std::vector<std::string> command = {KqplayPath(), "--headless"};
    command.insert(command.end(), options.begin(), options.end());
    command.push_back(clip);
    return command;
}

} // namespace kqtest
