#include "InfoPanel.h"

#include <filesystem>

namespace kqplay {

InfoPanel::InfoPanel(PlaybackParts& parts, const Transport& transport)
    : m_parts(parts), m_transport(transport), m_level(parts.window ? parts.options.info : InfoLevel::Off) {
    if (IsOn() && !OpenFont()) {
        m_level = InfoLevel::Off;
    }
}

std::string InfoPanel::Next() {
    if (!m_parts.window) {
        return "no window to write on";
    }
    const InfoLevel next =
        m_level == InfoLevel::Full ? InfoLevel::Off : static_cast<InfoLevel>(static_cast<int>(m_level) + 1);
    if (next != InfoLevel::Off && !OpenFont()) {
        return "no font";
    }
    m_level = next;
    if (!IsOn()) {
        ShowLevel(); // for the last time: takes the text away
        return "no information";
    }
    return m_level == InfoLevel::Short ? "short information" : "full information";
}

/// @return false after a line that says what is missing
bool InfoPanel::OpenFont() {
    std::string error;
    if (!m_text) {
        m_text = TextRenderer::Open(error);
    }
    if (!m_text) {
        m_parts.Notice("no information on the pictures: " + error);
    }
    return m_text != nullptr;
}

void InfoPanel::Show() {
    if (IsOn()) {
        ShowLevel();
    }
}

void InfoPanel::ShowLevel() {
    // Further views of the file show the same picture as the first.
    const int files = m_parts.second.video ? 2 : 1;
    for (int view = 0; view < files && m_parts.file.video; ++view) {
        m_parts.window->ShowText(static_cast<std::size_t>(view), FormatInfo(InfoOf(view), m_level), *m_text);
    }
}

PictureInfo InfoPanel::InfoOf(int view) const {
    const Options& options = m_parts.options;
    const std::string& path = view == 0 || options.compare.empty() ? options.file : options.compare;
    PictureInfo info;
    info.name = std::filesystem::path(path).filename().string();
    if (view > 0 && !options.filter.empty()) {
        info.name += " | " + options.filter;
    }
    info.shown = m_parts.monitor->Shown(view, m_parts.navigation->IsStill());
    info.facts = view == 0 ? m_parts.file.facts : m_parts.second.facts;
    info.speed = m_transport.Speed();
    return info;
}

} // namespace kqplay
