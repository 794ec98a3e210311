/// @file
/// FFmpeg's scaler, as exact as it can be.
#pragma once

#include "Handles.h"

namespace kq::streams {

/// Between what a scaler brings pictures.
struct ScalerSetup {
    /// One end of it.
    struct Side {
        int format = -1; ///< a name that does not say the range, see WithoutRange()
        int width = 0;
        int height = 0;
        bool isFull = false; ///< range
        AVColorSpace matrix = AVCOL_SPC_SMPTE170M;

        bool operator==(const Side& other) const;
    };

    Side from;
    Side to;

    bool operator==(const ScalerSetup& other) const { return from == other.from && to == other.to; }
};

/// @return null without memory, and for what cannot be converted
ScalerHandle MakeScaler(const ScalerSetup& setup);

} // namespace kq::streams
