/// @file
/// Frames brought to the pictures that views show, without playing.
#pragma once

#include "ComponentOutput.h"
#include "Player.h"

#include <string>

namespace kqplay {

/// A player of its own that never plays: its stream has the one frame of which a picture is taken. The main
/// thread's.
class StillPlayer final : private PlayerListener {
public:
    StillPlayer();

    /// Writes a frame, exactly as a view shows it, to a file of the format that its name tells. A file of
    /// that name is replaced, once the new one is complete.
    /// @param output knows what the image library complains about
    /// @param error receives one line that names the file and the reason
    bool Save(const MEDIA_FRAME& frame, const std::string& path, ComponentOutput& output, std::string& error);
    /// Brings a frame to planar 4:2:0 with 8 bits, HDR to SDR; matrix and range may still be any.
    /// @return null without memory or a player; valid until the next call
    const MEDIA_FRAME* Flatten(const MEDIA_FRAME& frame);

private:
    void OnPosition(double /*seconds*/) override {}
    void OnEnd() override {}
    bool Show(const MEDIA_FRAME& frame);

    std::string m_fault; ///< why there is no player
    Player m_player;
};

} // namespace kqplay
