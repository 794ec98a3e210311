#include "DoctorReport.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace kqplay {
namespace {

constexpr std::size_t nameWidth = 16;
constexpr std::size_t textWidth = 80;

/// Breaks a text between words. A word that is too long for a line, such as a path, keeps a line of its own.
std::vector<std::string> Wrap(const std::string& text) {
    std::vector<std::string> lines(1);
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (!lines.back().empty() && lines.back().size() + 1 + word.size() > textWidth) {
            lines.emplace_back();
        }
        lines.back() += (lines.back().empty() ? "" : " ") + word;
    }
    return lines;
}

std::string Count(std::ptrdiff_t number, const std::string& thing) {
    return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

} // namespace

void DoctorReport::Print(const std::string& text) const {
    dprintf(m_fd, "%s\n", text.c_str());
}

void DoctorReport::Section(const std::string& title) {
    Print((m_begun ? "\n" : "") + title);
    m_begun = true;
}

void DoctorReport::Line(const std::string& name, const std::string& value) {
    std::string label = name;
    for (const std::string& line : Wrap(value)) {
        label.resize(std::max(label.size(), nameWidth), ' ');
        Print(label.insert(0, "  ").append("  ").append(line));
        label.clear();
    }
}

void DoctorReport::Note(const std::string& what, const std::string& advice) {
    m_findings.push_back({false, what, advice});
}

void DoctorReport::Fault(const std::string& what, const std::string& advice) {
    m_findings.push_back({true, what, advice});
}

bool DoctorReport::Conclude() {
    Section("Findings");
    for (const Finding& finding : m_findings) {
        Line(finding.fault ? "broken" : "note", finding.what);
        Line("  what to do", finding.advice);
    }
    const auto faults =
        std::count_if(m_findings.begin(), m_findings.end(), [](const Finding& f) { return f.fault; });
    const auto notes = static_cast<std::ptrdiff_t>(m_findings.size()) - faults;
    std::string conclusion = "All is well.";
    if (faults > 0) {
        conclusion = Count(faults, "thing") + (faults == 1 ? " is broken." : " are broken.");
    } else if (notes > 0) {
        conclusion = "Nothing is broken; " + Count(notes, "note") + " above.";
    }
    Line("conclusion", conclusion);
    return faults == 0;
}

} // namespace kqplay
