/// @file
/// The text that kqplay --doctor prints.
#pragma once

#include <string>
#include <vector>

namespace kqplay {

/// Writes lines as they come, so that a check that ends the process leaves what was found before it, and
/// collects findings for the end.
class DoctorReport {
public:
    /// @param fd where the text goes
    explicit DoctorReport(int fd) : m_fd(fd) {}

    void Section(const std::string& title);
    /// Writes one aligned line, or several when @p value is long.
    void Line(const std::string& name, const std::string& value);
    /// Something is missing, or not as good as it could be, that is no fault of the installation.
    /// @param advice what to do about it
    void Note(const std::string& what, const std::string& advice);
    /// Something is broken.
    void Fault(const std::string& what, const std::string& advice);
    /// Writes the findings and the conclusion. @return true when nothing is broken
    bool Conclude();

private:
    struct Finding {
        bool fault;
        std::string what;
        std::string advice;
    };

    void Print(const std::string& text) const;

    int m_fd;
    bool m_begun = false;
    std::vector<Finding> m_findings;
};

} // namespace kqplay
