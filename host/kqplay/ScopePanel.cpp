#include "ScopePanel.h"

namespace kqplay {

ScopePanel::ScopePanel(PlaybackParts& parts) : m_parts(parts) {
    Set(parts.options.scope);
}

ScopePanel::~ScopePanel() {
    Set({});
}

std::string ScopePanel::Next() {
    if (!m_parts.window || !m_parts.file.video) {
        return "no window for a scope";
    }
    std::optional<Kind> next;
    if (m_kind != Kind::Histogram) {
        next = m_kind ? static_cast<Kind>(static_cast<int>(*m_kind) + 1) : Kind::Waveform;
    }
    if (!Set(next)) {
        return "no scope";
    }
    constexpr const char* names[] = {"waveform", "vectorscope", "histogram"};
    return next ? names[static_cast<int>(*next)] : "no scope";
}

/// @return false after a line that tells the reason
bool ScopePanel::Set(std::optional<Kind> kind) {
    if (!m_parts.window || !m_parts.file.video) {
        return false;
    }
    m_kind.reset();
    if (m_scope) {
        m_parts.window->SetScope(nullptr);
        m_scope.reset();
    }
    if (!kind) {
        return true;
    }
    std::string error;
    m_scope = ScopeView::Open(m_parts.viewLibrary, m_parts.window->Handle(), *kind, error);
    if (!m_scope) {
        return m_parts.Fail("no scope: " + error);
    }
    m_kind = kind;
    m_parts.window->SetScope(m_scope->Window());
    return true;
}

void ScopePanel::Show() {
    if (m_scope) {
        m_scope->Offer(m_parts.monitor->Shown(m_view, m_parts.navigation->IsStill()).frame);
    }
}

} // namespace kqplay
