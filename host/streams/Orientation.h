/// @file
/// How a picture has to be turned before it is shown, as phones write into their clips.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kq::streams {

/// One of the eight ways to lay a picture: first the axes are swapped, then each is mirrored.
struct Orientation {
    bool swapAxes = false;
    bool mirrorX = false; ///< in the picture as shown
    bool mirrorY = false;

    bool IsUpright() const { return !swapAxes && !mirrorX && !mirrorY; }

    /// @param matrix the nine numbers of a display matrix, or null for an upright picture. Angles between
    /// quarter
    ///        turns are rounded to the nearest.
    static Orientation FromDisplayMatrix(const std::int32_t* matrix);
};

/// A plane to be written.
struct PlaneView {
    std::uint8_t* data;
    std::ptrdiff_t pitch;
    int width; ///< units
    int height;
    int unitBytes; ///< 1, 2 or 4
};

/// Copies a plane into one that lies differently. The target's size says what is copied; units stay as they
/// are, pitches are in bytes.
void TurnPlane(Orientation orientation, const std::uint8_t* source, std::ptrdiff_t sourcePitch,
               const PlaneView& target);

} // namespace kq::streams
