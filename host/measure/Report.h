/// @file
/// The report of a measurement, for scripts.
#pragma once

#include "Measurer.h"

#include <cstdio>
#include <memory>
#include <string>

namespace kq::imageproc {
class AtomicFile;
}

namespace kq::measure {

/// @return a pair as one JSON object, without a line's end. What is not defined is null: the PSNR of equal
///         planes, the SSIM of very small ones, and what a picture without colours has no planes for.
std::string PairAsJson(const MeasuredPair& pair);

/// Writes one JSON object a pair, each on a line of its own, and nothing else. A file appears whole or not at
/// all, and replaces an earlier report only: who forgets to name one must not lose a film. Devices and pipes
/// are written to as results come.
class ReportFile {
public:
    ReportFile();
    ~ReportFile();
    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;

    /// @param error as for all: receives one line that names the file and the reason
    bool Open(const std::string& path, std::string& error);
    /// @return false when the disk is full, and the like; nothing is written any more then
    bool Add(const MeasuredPair& pair, std::string& error);
    /// Gives the file its name. @return false when something could not be written
    bool Finish(std::string& error);

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    bool Fail(const std::string& reason, std::string& error) const;

    std::string m_path;
    std::unique_ptr<imageproc::AtomicFile> m_file; ///< a regular file, or one to be
    std::unique_ptr<std::FILE, Closer> m_device;   ///< anything else
};

} // namespace kq::measure
