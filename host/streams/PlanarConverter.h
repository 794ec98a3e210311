/// @file
/// Pictures of any kind made planar 4:2:0 with 8 bits and video range.
#pragma once

#include "Handles.h"
#include "MatrixConverter.h"
#include "Orientation.h"

#include <cstddef>

namespace kq::streams {

/// Buffers for planar 4:2:0 pictures, used again when their pictures are gone.
class PicturePool {
public:
    /// @return an empty picture of that size, null without memory
    FrameHandle Make(int width, int height);

private:
    PoolHandle m_pool;
    std::size_t m_bytes = 0;
};

/// Converts pictures; a picture that needs nothing done to it is handed through with its own planes.
/// Full-range sources are brought to 16..235, alpha is left out, RGB and other matrices become BT.601.
class PlanarConverter {
public:
    explicit PlanarConverter(Orientation orientation) : m_orientation(orientation) {}

    /// @return a planar 4:2:0 picture, null when the picture cannot be converted
    FrameHandle Convert(FrameHandle picture);

private:
    /// What a scaler was made for.
    struct Kind {
        int format = -1;
        int width = 0;
        int height = 0;
        bool fullRange = false;

        bool operator==(const Kind& other) const {
            return format == other.format && width == other.width && height == other.height &&
                   fullRange == other.fullRange;
        }
    };

    FrameHandle Scale(const AVFrame& picture);
    FrameHandle Turn(const AVFrame& picture);
    bool PrepareScaler(const Kind& kind);

    const Orientation m_orientation;
    ScalerHandle m_scaler;
    Kind m_kind;
    MatrixConverter m_matrix;
    PicturePool m_scaled;
    PicturePool m_turned;
};

} // namespace kq::streams
