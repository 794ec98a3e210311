/// @file
/// The scope beside the pictures.
#pragma once

#include "PlaybackParts.h"
#include "ScopeView.h"

#include <memory>
#include <optional>
#include <string>

namespace kqplay {

/// Shows one scope at a time, or none, in a column of the window. Off-screen there is none. Main thread only.
class ScopePanel {
public:
    /// Shows what the options ask for.
    /// @param parts opened; they stay the caller's
    explicit ScopePanel(PlaybackParts& parts);
    ~ScopePanel();
    ScopePanel(const ScopePanel&) = delete;
    ScopePanel& operator=(const ScopePanel&) = delete;

    /// Goes from none to waveform, vectorscope, histogram, and back to none.
    /// @return what is shown now, for people
    std::string Next();
    /// Names the file whose pictures are looked at. @param view that shows it, from 0
    void Choose(int view) { m_view = view; }
    /// Draws the scope of the picture on show. To be called after each picture.
    void Show();
    bool IsOn() const { return m_scope != nullptr; }

private:
    using Kind = kq::streams::ScopeKind;

    bool Set(std::optional<Kind> kind);

    PlaybackParts& m_parts;
    std::optional<Kind> m_kind;
    std::unique_ptr<ScopeView> m_scope;
    int m_view = 0;
};

} // namespace kqplay
