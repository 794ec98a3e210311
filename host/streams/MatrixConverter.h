/// @file
/// Planar pictures of any matrix brought to the one that views and captures go by.
#pragma once

#include "FilterGraph.h"
#include "Handles.h"

#include <memory>

namespace kq::streams {

/// Brings luma and chroma to BT.601's matrix; primaries and transfer stay as they are. Used by one thread.
class MatrixConverter {
public:
    /// @return the matrix of a decoded picture: its own, that of its size (BT.709 from 1280 columns or 577
    /// rows on,
    ///         as players have agreed on) when it does not say, or BT.601 for what has no matrix
    static AVColorSpace MatrixOf(const AVFrame& picture);

    /// @param picture planar 4:2:0 with video range
    /// @return the picture itself where nothing is to be done, or can be done; null without memory
    FrameHandle Convert(FrameHandle picture, AVColorSpace matrix);

private:
    bool Prepare(const AVFrame& picture, AVColorSpace matrix);

    std::unique_ptr<FilterGraph> m_graph;          ///< null when it could not be built
    AVColorSpace m_matrix = AVCOL_SPC_UNSPECIFIED; ///< what the graph was built for
    int m_width = 0;
    int m_height = 0;
};

} // namespace kq::streams
