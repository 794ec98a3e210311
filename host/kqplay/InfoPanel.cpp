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
    const int files = m_parts.comparison ? 2 : 1;
    for (int view = 0; view < files && m_parts.file.video; ++view) {
        m_parts.window->ShowText(static_cast<std::size_t>(view), FormatInfo(InfoOf(view), m_level), *m_text);
    }
}

PictureInfo InfoPanel::InfoOf(int view) const {
    PictureInfo info;
    info.shown = m_parts.monitor->Shown(view, m_parts.navigation->IsStill());
    info.speed = m_transport.Speed();
    if (m_parts.comparison && m_parts.comparison->ShowsOther(view)) {
        info.name = m_parts.comparison->ShortName();
        info.facts = m_parts.comparison->Beside().file.facts;
        info.offset = m_parts.comparison->Beside().offset;
    } else {
        info.name = std::filesystem::path(m_parts.options.file).filename().string();
        info.facts = m_parts.file.facts;
    }
    return info;
}

} // namespace kqplay
