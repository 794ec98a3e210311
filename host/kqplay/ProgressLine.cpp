#include "ProgressLine.h"

#include "Speeds.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kqplay {
namespace {

constexpr const char* clearLine = "\r\033[K";

} // namespace

std::size_t TerminalColumns(int screen) {
    winsize size = {};
    if (ioctl(screen, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return 80;
    }
    return size.ws_col;
}

std::string FormatTime(double seconds) {
    const auto hundredths = static_cast<long long>(std::floor(std::max(0.0, seconds) * 100 + 0.5));
    const int rest = static_cast<int>(hundredths % 6000);
    const long long minutes = hundredths / 6000;
    char text[48];
    if (minutes < 60) {
        std::snprintf(text, sizeof text, "%lld:%02d.%02d", minutes, rest / 100, rest % 100);
    } else {
        std::snprintf(text, sizeof text, "%lld:%02lld:%02d.%02d", minutes / 60, minutes % 60, rest / 100,
                      rest % 100);
    }
    return text;
}

std::string FormatTimeCode(double seconds, double frameRate) {
    constexpr double rounding = 0.001; // of the file's times
    const double time = std::max(0.0, seconds) + rounding;
    const auto whole = static_cast<long long>(time);
    const auto picture = static_cast<int>((time - static_cast<double>(whole)) * frameRate);
    char text[64];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld:%02d", whole / 3600, whole / 60 % 60, whole % 60,
                  picture);
    return text;
}

std::string FormatOffset(std::int64_t pictures) {
    return (pictures > 0 ? "+" : "") + std::to_string(pictures);
}

std::string FormatProgress(const Progress& progress) {
    if (!progress.pixel.empty()) {
        return std::string(progress.state) + "  " + progress.pixel;
    }
    std::string text = std::string(progress.state) + "  " + FormatTime(progress.position);
    if (progress.length > 0) {
        text += " / " + FormatTime(progress.length);
    }
    if (progress.frame >= 0 && progress.note.empty()) { // there is not room for both
        text += "  #" + std::to_string(progress.frame) + "  " +
                FormatTimeCode(progress.frameTime, progress.frameRate);
    }
    if (progress.speed != 1) {
        text += "  " + Speeds::Format(progress.speed);
    }
    if (!progress.beside.empty()) {
        text += "  " + progress.beside;
    }
    if (progress.late) {
        text +=
            "  " + std::to_string(*progress.late) + (*progress.late == 1 ? " late frame" : " late frames");
    }
    if (!progress.note.empty()) {
        text += "  " + progress.note;
    }
    return text;
}

ProgressLine::ProgressLine(int screen, bool busy) : m_screen(screen), m_live(!busy && isatty(screen) != 0) {}

void ProgressLine::Show(const Progress& progress) {
    if (m_live) {
        Draw(FormatProgress(progress));
    }
}

void ProgressLine::ShowBar(const std::string& what, int done, int all) {
    constexpr int width = 30;
    if (!m_live) {
        return;
    }
    const auto full = static_cast<std::size_t>(width * done / all);
    Draw(what + "  [" + std::string(full, '#') + std::string(width - full, '.') + "]  " +
         std::to_string(done) + "/" + std::to_string(all));
}

void ProgressLine::Draw(std::string text) {
    text = text.substr(0, TerminalColumns(m_screen) - 1);
    if (text == m_shown) {
        return;
    }
    Write("\r" + text + "\033[K"); // text first, then the rest of the line: nothing flickers
    m_shown = std::move(text);
}

void ProgressLine::Clear() {
    if (!m_shown.empty()) {
        Write(clearLine);
    }
    m_shown.clear();
}

void ProgressLine::Finish(const Progress& progress) {
    Clear();
    Write(FormatProgress(progress) + "\n");
}

void ProgressLine::Write(const std::string& text) const {
    // A terminal that takes no more is no reason to stop playing.
    if (write(m_screen, text.data(), text.size()) < 0) {
        return;
    }
}

} // namespace kqplay
