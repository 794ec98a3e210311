/// @file
/// The line of information on each picture.
#pragma once

#include "InfoText.h"
#include "PlaybackParts.h"
#include "Transport.h"

#include <memory>
#include <optional>
#include <string>

namespace kqplay {

/// Keeps the text above the pictures in the window up to date. Off-screen there is none. Main thread only.
class InfoPanel {
public:
    /// Shows what the options ask for from the first Show() on.
    /// @param parts,transport stay the caller's
    InfoPanel(PlaybackParts& parts, const Transport& transport);

    /// Goes from none to short, to full, and back to none. @return what is shown now, for people
    std::string Next();
    /// Shows what has changed. To be called after each picture and key.
    void Show();
    bool IsOn() const { return m_level != InfoLevel::Off; }

private:
    bool OpenFont();
    PictureInfo InfoOf(int view) const;
    void ShowLevel();

    PlaybackParts& m_parts;
    const Transport& m_transport;
    InfoLevel m_level;
    std::unique_ptr<TextRenderer> m_text; ///< opened when it is needed first
};

} // namespace kqplay
