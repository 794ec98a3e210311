/// @file
/// The records that pass between a host's streams, the player, its views and capture.
///
/// Their layout is part of the binary interface. On 32 bits every byte is where the comments say; on 64 bits
/// pointers widen and nothing else changes. Both layouts are checked at compile time below.
#pragma once

#include "version.h"

#include <cstddef>
#include <cstdint>

/// A planar YUV picture with an optional alpha plane. The record never owns the planes. What its samples are,
/// and how many chroma samples there are, says MEDIA_FRAME::nKind; planar 4:2:0 with 8 bits is described
/// here.
struct tagYUVImage {
    std::int32_t nFormat; ///< picture format; 2 in pictures that the component builds, otherwise not read
    std::uint8_t*
        pY; ///< luma: nHeight rows of nWidth samples, 16 to 235 unless a description says full range
    /// Cb: (nHeight+1)/2 rows of (nWidth+1)/2 samples. In an audio frame: interleaved 16-bit PCM.
    std::uint8_t* pU;
    union {
        std::uint8_t* pV;          ///< Cr, as Cb
        std::int32_t nAudioLength; ///< audio frame: length of the PCM in bytes
    };
    std::uint8_t* pA;     ///< alpha, nHeight rows of nWidth samples, or null
    std::int32_t nWidth;  ///< pixels
    std::int32_t nHeight; ///< pixels
    std::int32_t nPitchY; ///< bytes from one row to the next
    std::int32_t nPitchU; ///< likewise
    std::int32_t nPitchV; ///< likewise
    union {
        std::int32_t nPitchA; ///< likewise
        /// Packed RGB picture, always of its stream's size (VIDEO_STREAM_INFO), whatever nWidth and nHeight
        /// say: B, G, R, top-down, rows of ((width*24+31)/32)*4 bytes.
        std::uint8_t* pRgb;
    };
};

/// Picture kinds of MEDIA_FRAME::nKind. A picture of any other kind is shown black and not captured.
///
/// Chroma planes have (nWidth+1)/2 samples a row, 4:4:4 nWidth; and (nHeight+1)/2 rows, 4:2:2 and 4:4:4
/// nHeight. With 10 bits a sample is a 16-bit little-endian word; bits above the tenth are ignored. Pitches
/// count bytes throughout, and planes need no alignment.
enum : std::int32_t {
    KQ_PICTURE_PACKED_RGB = 0,        ///< 24-bit RGB behind image.pRgb; capture takes it, views show black
    KQ_PICTURE_PLANAR_YUV = 1,        ///< planar 4:2:0 in image, 8 bits
    KQ_PICTURE_PLANAR_422 = 0x100,    ///< planar 4:2:2, 8 bits
    KQ_PICTURE_PLANAR_444 = 0x101,    ///< planar 4:4:4, 8 bits
    KQ_PICTURE_NV12 = 0x102,          ///< 4:2:0, 8 bits: Cb and Cr in turn behind image.pU; pV is not read
    KQ_PICTURE_PLANAR_420_10 = 0x110, ///< planar 4:2:0, 10 bits in the lower bits of a word
    KQ_PICTURE_PLANAR_422_10 = 0x111, ///< planar 4:2:2, likewise
    KQ_PICTURE_PLANAR_444_10 = 0x112, ///< planar 4:4:4, likewise
    KQ_PICTURE_P010 = 0x113, ///< as NV12, with 10 bits in the upper bits of a word, those below ignored
};

/// @name What the samples of a picture mean
/// MEDIA_FRAME::reserved[0] may hold a colour description: KQ_COLOUR_MARK in its upper half, and in its lower
/// half a matrix in bits 0 to 3, a range in bit 4 and a transfer in bits 8 to 11; the other bits are zero,
/// and not read. A word without the mark, zero or uninitialised, is no description: the picture is BT.601 in
/// limited range, SDR, as frames always were. In a described one a matrix or transfer that is not listed
/// counts as BT.601 and as SDR. The description may change from frame to frame. kq::DescribeColour() and
/// kq::ColourOf() of convenience.h write and read it.
/// @{

/// Upper half of a colour description.
inline constexpr std::uint32_t KQ_COLOUR_MARK = 0x4B51;

/// Matrix of a colour description.
enum : std::int32_t {
    KQ_MATRIX_BT601 = 0,     ///< Kr 0.299, Kb 0.114
    KQ_MATRIX_BT709 = 1,     ///< Kr 0.2126, Kb 0.0722
    KQ_MATRIX_BT2020 = 2,    ///< Kr 0.2627, Kb 0.0593, non-constant luminance
    KQ_MATRIX_SMPTE240M = 3, ///< Kr 0.212, Kb 0.087
};

/// Range of a colour description.
enum : std::int32_t {
    KQ_RANGE_LIMITED = 0, ///< luma 16 to 235, chroma 16 to 240; four times that with 10 bits
    KQ_RANGE_FULL = 1,    ///< all values: 0 to 255, or 0 to 1023
};

/// Transfer of a colour description. PQ and HLG pictures have the primaries of BT.2020 and are tone-mapped.
enum : std::int32_t {
    KQ_TRANSFER_SDR = 0, ///< shown as it is
    KQ_TRANSFER_PQ = 1,  ///< BT.2100 PQ
    KQ_TRANSFER_HLG = 2, ///< BT.2100 HLG
};
/// @}

/// The time stamp of a frame that has none.
inline constexpr std::int64_t KQ_NO_PTS = -1;

/// One picture or one chunk of audio. A stream owns its frames; see IMediaStream::GetCurrentFrame().
struct MEDIA_FRAME {
    std::int32_t nType; ///< 2 in frames that the component builds; never read
    std::int32_t nKind; ///< one of KQ_PICTURE_…
    tagYUVImage image;  ///< the picture, or the sound in pU and nAudioLength
    /// [0] the colour description, or zero. With a description: [1] the peak luminance of the mastering
    /// display, [2] that of the brightest pixel of the content (MaxCLL), both in cd/m² and both read for PQ
    /// only; 0, and anything beyond 10,000, is unknown. The others zero.
    std::int32_t reserved[7];
    std::int64_t llTime; ///< copied with the frame, never interpreted
    std::int64_t llPTS;  ///< presentation time stamp in 100-ns units, KQ_NO_PTS for none
    std::int32_t nFlags; ///< copied with the frame
};

/// Format of a video stream. A size may be given negative; its absolute value counts.
struct VIDEO_STREAM_INFO {
    std::int32_t nWidth;      ///< pixels
    std::int32_t nHeight;     ///< pixels
    double dFrameRate;        ///< frames per second; 0 for unknown
    std::int32_t nFrameCount; ///< frames in the stream
    std::int32_t nAspectX;    ///< display aspect ratio, horizontal part; 0 for unknown
    std::int32_t nAspectY;    ///< display aspect ratio, vertical part
};

/// Format of an audio stream. Its frames hold interleaved signed 16-bit samples.
struct AUDIO_STREAM_INFO {
    std::int32_t nSampleRate;    ///< Hz
    std::int32_t nChannels;      ///< 1, 2, 4, 6, 7 or 8; see the guide for what can be played
    std::int32_t nBitsPerSample; ///< replaced by 16 in the player's copy
    std::int32_t nBytesPerSec;   ///< replaced by rate * channels * 2 in the player's copy
    double dDuration;            ///< seconds
    std::int32_t nReserved;      ///< copied, never interpreted
};

/// A host's rectangle, in pixels; right and bottom are exclusive.
struct tagRECT {
    std::int32_t left;   ///< first column
    std::int32_t top;    ///< first row
    std::int32_t right;  ///< column behind the last one
    std::int32_t bottom; ///< row behind the last one
};

/// The same rectangle as views and the view library use it.
struct VRECT {
    std::int32_t x;      ///< first column
    std::int32_t y;      ///< first row
    std::int32_t width;  ///< columns
    std::int32_t height; ///< rows
};

/// A position in pixels from the top left corner of a picture or window, with fractions: pixel n reaches
/// from n to n + 1, and its centre lies at n + 0.5.
struct KQPointF {
    double x; ///< to the right
    double y; ///< down
};

/// A rectangle in pixels, with fractions.
struct KQRectF {
    double left;   ///< its left edge
    double top;    ///< its upper edge
    double right;  ///< its right edge; 1 more than the left one for a single column
    double bottom; ///< its lower edge
};

/// How a view scales pictures. Window pixel x of a picture that covers w of them, and whose shown part begins
/// at column l and is c columns wide, is taken at p = l + (x + 0.5) * c / w; rows likewise.
enum : std::int32_t {
    KQ_SCALING_DEFAULT = 0,  ///< smooth, by the window system: nearly bilinear, and the cheapest
    KQ_SCALING_BILINEAR = 1, ///< between the pixels whose centres lie around p, at most 0.52 of a level from
                             ///< the real value; at the picture's edges the outermost pixel goes on
    KQ_SCALING_NEAREST = 2,  ///< the pixel that p lies in
};

/// How a picture is placed in its window.
enum IMAGE_RESIZE_METHOD : std::int32_t {
    IMAGE_RESIZE_FIT = 0,      ///< whole picture, display aspect ratio kept, black bars
    IMAGE_RESIZE_STRETCH = 1,  ///< the whole window, aspect ratio ignored
    IMAGE_RESIZE_FILL = 2,     ///< the whole window, aspect ratio kept, edges cut
    IMAGE_RESIZE_ORIGINAL = 3, ///< one picture pixel a window pixel, centred
};

/// What part of its pictures a view shows, and how; see IPlayerView2::SetDisplay().
struct KQViewDisplay {
    /// The part that is shown, in picture pixels. All zero: the whole picture. It may reach beyond the
    /// picture, where the view is black.
    KQRectF source;
    std::int32_t nScaling; ///< one of KQ_SCALING_…
    std::int32_t nResize;  ///< one of IMAGE_RESIZE_METHOD: how the part is placed in the window
};

/// Where a view shows which part of its picture: the rectangles cover each other.
struct KQViewMapping {
    KQRectF source;              ///< picture pixels
    KQRectF target;              ///< window pixels; may reach beyond the window
    std::int32_t nPictureWidth;  ///< pixels of the picture on show
    std::int32_t nPictureHeight; ///< likewise
    std::int32_t nWindowWidth;   ///< pixels of the view's window; of its placement without a window
    std::int32_t nWindowHeight;  ///< likewise
};

/// What IMediaPlayer::CaptureCurrentImage() is to write.
struct CaptureImageInfo {
    std::int32_t hostData[5]; ///< the host's own; kept with the request, not interpreted
    std::int32_t nFormat;     ///< 0 BMP, 1 JPEG, 2 PNG
};

/// Formats of picture files.
enum : std::int32_t {
    KQ_CAPTURE_BMP = 0,     ///< 24 bits
    KQ_CAPTURE_JPEG = 1,    ///< quality 92, no chroma subsampling
    KQ_CAPTURE_PNG = 2,     ///< 24 bits
    KQ_CAPTURE_BY_NAME = 3, ///< what the path ends in: .bmp, .jpg, .jpeg or .png, in any case
};

/// Layouts of captured pixels; rows are top-down and follow each other without padding.
enum : std::int32_t {
    KQ_PIXELS_RGB24 = 0,  ///< red, green, blue: rows of 3 * width bytes
    KQ_PIXELS_BGRA32 = 1, ///< blue, green, red, 255: rows of 4 * width bytes, as views are handed them
};

/// A picture that IMediaPlayer2::CaptureView() has copied.
struct KQPicture {
    std::int64_t llPTS;    ///< its time stamp in 100-ns units, KQ_NO_PTS for none
    std::uint8_t* pPixels; ///< nHeight rows of nPitch bytes, the caller's
    std::int32_t nWidth;   ///< pixels
    std::int32_t nHeight;  ///< pixels
    std::int32_t nPitch;   ///< bytes from one row to the next
    std::int32_t nLayout;  ///< one of KQ_PIXELS_…
};

static_assert(sizeof(CaptureImageInfo) == 24 && sizeof(tagRECT) == 16 && sizeof(VRECT) == 16);
static_assert(sizeof(KQPointF) == 16 && sizeof(KQRectF) == 32 && sizeof(KQViewDisplay) == 40 &&
              sizeof(KQViewMapping) == 80);
#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(KQPicture) == 28 && offsetof(KQPicture, nWidth) == 12);
static_assert(sizeof(tagYUVImage) == 44 && offsetof(tagYUVImage, pV) == 12 &&
              offsetof(tagYUVImage, nWidth) == 20 && offsetof(tagYUVImage, nPitchA) == 40);
static_assert(sizeof(MEDIA_FRAME) == 100 && offsetof(MEDIA_FRAME, image) == 8 &&
              offsetof(MEDIA_FRAME, reserved) == 52 && offsetof(MEDIA_FRAME, llTime) == 80 &&
              offsetof(MEDIA_FRAME, llPTS) == 88 && offsetof(MEDIA_FRAME, nFlags) == 96);
static_assert(sizeof(VIDEO_STREAM_INFO) == 28 && offsetof(VIDEO_STREAM_INFO, nFrameCount) == 16);
static_assert(sizeof(AUDIO_STREAM_INFO) == 28 && offsetof(AUDIO_STREAM_INFO, dDuration) == 16);
#else
static_assert(sizeof(KQPicture) == 32 && offsetof(KQPicture, nWidth) == 16);
static_assert(sizeof(tagYUVImage) == 72 && offsetof(tagYUVImage, pV) == 24 &&
              offsetof(tagYUVImage, nWidth) == 40 && offsetof(tagYUVImage, nPitchA) == 64);
static_assert(sizeof(MEDIA_FRAME) == 136 && offsetof(MEDIA_FRAME, image) == 8 &&
              offsetof(MEDIA_FRAME, reserved) == 80 && offsetof(MEDIA_FRAME, llTime) == 112 &&
              offsetof(MEDIA_FRAME, llPTS) == 120 && offsetof(MEDIA_FRAME, nFlags) == 128);
static_assert(sizeof(VIDEO_STREAM_INFO) == 32 && offsetof(VIDEO_STREAM_INFO, nFrameCount) == 16);
static_assert(sizeof(AUDIO_STREAM_INFO) == 32 && offsetof(AUDIO_STREAM_INFO, dDuration) == 16);
#endif
