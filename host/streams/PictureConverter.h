/// @file
/// Decoded pictures of any kind brought to what frames can hold.
#pragma once

#include "FileLog.h"
#include "Handles.h"
#include "Orientation.h"
#include "PictureColour.h"
#include "Scaler.h"

#include <cstddef>
#include <memory>

namespace kq::streams {

/// Buffers for pictures, used again when their pictures are gone.
class PicturePool {
public:
    /// @param format one that frames can have
    /// @return an empty picture, null without memory
    FrameHandle Make(int format, int width, int height);

private:
    PoolHandle m_pool;
    std::size_t m_bytes = 0;
};

/// Hands a picture that a frame can hold through with its own planes, and converts others to the nearest
/// layout. Alpha is left out, RGB becomes planar 4:2:0 by BT.601. Used by one thread.
///
/// A picture that comes out says its matrix and range, whatever it came with, and carries what the file said
/// of it (SourceText()).
class PictureConverter {
public:
    /// @param orientation how the pictures have to be turned
    /// @param plain       everything becomes planar 4:2:0 with 8 bits, BT.601 and limited range
    PictureConverter(Orientation orientation, bool plain) : m_orientation(orientation), m_plain(plain) {}

    /// @return null when the picture cannot be converted
    FrameHandle Convert(FrameHandle picture, FileLog& log);

    /// @return the format that pictures of a format get
    AVPixelFormat FormatFor(int format) const;
    /// @return what the file said of a picture that came out
    static std::string SourceText(const AVFrame& picture);

private:
    static bool IsReady(const AVFrame& picture, int format);
    FrameHandle Scale(const AVFrame& picture, int format, const ColourReading& from, const ColourReading& to);
    FrameHandle Turn(const AVFrame& picture, int format);
    FrameHandle WithoutCgco(const AVFrame& picture, int format, bool isFullRange);
    bool PrepareScaler(const ScalerSetup& setup);
    void CarrySourceText(AVFrame& picture);
    void NoticeChanges(const AVFrame& picture, const ColourReading& reading, FileLog& log);

    const Orientation m_orientation;
    const bool m_plain;
    ScalerHandle m_scaler;
    ScalerSetup m_setup; ///< of the scaler
    PicturePool m_scaled;
    PicturePool m_turned;
    PicturePool m_recoded;
    BufferHandle m_sourceText; ///< of the picture before, as the rest
    int m_width = 0;
    int m_height = 0;
    int m_format = AV_PIX_FMT_NONE;
    AVColorSpace m_matrix = AVCOL_SPC_UNSPECIFIED;
};

/// @return the record of a picture that came out of a converter; it points into the picture's planes
MEDIA_FRAME RecordOf(const AVFrame& picture, Ticks time);
/// The other way round: format, size and planes, which stay the record's. The colour description is left out.
/// @param record of a kind that views show
void PointAt(AVFrame& picture, const MEDIA_FRAME& record);

} // namespace kq::streams
