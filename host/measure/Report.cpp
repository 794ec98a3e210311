#include "Report.h"

#include <kq_imageproc/AtomicFile.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <fstream>
#include <optional>

namespace kq::measure {
namespace {

std::string Number(const std::optional<double>& value, const char* format) {
    if (!value) {
        return "null";
    }
    char text[64];
    std::snprintf(text, sizeof text, format, *value);
    return text;
}

/// @return true for a file that holds something that no report begins with
bool HoldsSomethingElse(const std::string& path) {
    char first = 0;
    return std::ifstream(path).get(first) && first != '{';
}

} // namespace

std::string PairAsJson(const MeasuredPair& pair) {
    char place[96];
    std::snprintf(place, sizeof place, "{\"frame\":%" PRId64 ",\"time\":%.6f", pair.frame, pair.time);
    std::string psnr;
    std::string ssim;
    constexpr std::array<const char*, 3> names = {"y", "u", "v"};
    for (std::size_t plane = 0; plane < names.size(); ++plane) {
        psnr += std::string(",\"psnr_") + names[plane] + "\":" + Number(pair.planes[plane].psnr, "%.4f");
        ssim += std::string(",\"ssim_") + names[plane] + "\":" + Number(pair.planes[plane].ssim, "%.6f");
    }
    return place + psnr + ssim + ",\"equal\":" + (pair.IsEqual() ? "true}" : "false}");
}

ReportFile::ReportFile() = default;

ReportFile::~ReportFile() = default;

bool ReportFile::Open(const std::string& path, std::string& error) {
    m_path = path;
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        m_device.reset(std::fopen(path.c_str(), "we"));
        return m_device != nullptr || Fail(std::strerror(errno), error);
    }
    if (HoldsSomethingElse(path)) {
        return Fail("the file is there, and is no report", error);
    }
    m_file = std::make_unique<imageproc::AtomicFile>(path);
    return m_file->Error().empty() || Fail(m_file->Error(), error);
}

bool ReportFile::Add(const MeasuredPair& pair, std::string& error) {
    const std::string line = PairAsJson(pair) + "\n";
    if (m_file) {
        return m_file->Write(line.data(), line.size()) || Fail(m_file->Error(), error);
    }
    const bool written = std::fwrite(line.data(), 1, line.size(), m_device.get()) == line.size();
    return written || Fail(std::strerror(errno), error);
}

bool ReportFile::Finish(std::string& error) {
    if (m_file) {
        return m_file->Commit() || Fail(m_file->Error(), error);
    }
    return std::fflush(m_device.get()) == 0 || Fail(std::strerror(errno), error);
}

bool ReportFile::Fail(const std::string& reason, std::string& error) const {
    error = m_path + ": the report cannot be written: " + reason;
    return false;
}

} // namespace kq::measure
