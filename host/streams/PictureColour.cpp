#include "PictureColour.h"

#include "PictureLayout.h"

extern "C" {
#include <libavutil/mastering_display_metadata.h>
#include <libavutil/pixdesc.h>
}

#include <cmath>
#include <cstring>
#include <type_traits>

namespace kq::streams {
namespace {

/// Pictures from this size on that do not name their matrix are HD.
constexpr int hdColumns = 1280;
constexpr int mostSdRows = 576;

template <class Enum>
void Limit(Enum& value, Enum end) {
    std::underlying_type_t<Enum> number;
    std::memcpy(&number, &value, sizeof number);
    if (number > end) {
        value = end;
    }
}

bool IsHdr(const AVFrame& picture) {
    return picture.color_trc == AVCOL_TRC_SMPTE2084 || picture.color_trc == AVCOL_TRC_ARIB_STD_B67;
}

/// @return the matrix of a picture that names none, or none that is known
std::int32_t UsualMatrix(const AVFrame& picture) {
    if (picture.color_primaries == AVCOL_PRI_BT2020 || IsHdr(picture)) {
        return KQ_MATRIX_BT2020;
    }
    return picture.width >= hdColumns || picture.height > mostSdRows ? KQ_MATRIX_BT709 : KQ_MATRIX_BT601;
}

/// @return one of KQ_MATRIX_…, -1 for what is unknown
std::int32_t NamedMatrix(AVColorSpace matrix) {
    switch (matrix) {
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_FCC: // differs by less than a level
    case AVCOL_SPC_YCGCO:
        return KQ_MATRIX_BT601;
    case AVCOL_SPC_BT709:
        return KQ_MATRIX_BT709;
    case AVCOL_SPC_BT2020_NCL:
        return KQ_MATRIX_BT2020;
    case AVCOL_SPC_SMPTE240M:
        return KQ_MATRIX_SMPTE240M;
    default:
        return -1;
    }
}

/// @return true where the samples need no guess: nothing is said, or what is said is not meant for them
bool SaysNothing(AVColorSpace matrix) {
    return matrix == AVCOL_SPC_UNSPECIFIED || matrix == AVCOL_SPC_RGB || matrix == AVCOL_SPC_RESERVED;
}

const char* NameOf(AVColorSpace matrix) {
    const char* name = av_color_space_name(matrix);
    return name != nullptr ? name : "unknown";
}

const char* NameOf(AVColorTransferCharacteristic transfer) {
    const char* name = av_color_transfer_name(transfer);
    return name != nullptr ? name : "unknown";
}

bool IsFullRange(const AVFrame& picture) {
    if (WithoutRange(picture.format) != picture.format) {
        return true;
    }
    return IsGray(picture.format) ? picture.color_range != AVCOL_RANGE_MPEG
                                  : picture.color_range == AVCOL_RANGE_JPEG;
}

/// @return true for a transfer that is near enough to that of displays
bool IsOrdinary(AVColorTransferCharacteristic transfer) {
    return transfer != AVCOL_TRC_LINEAR && transfer != AVCOL_TRC_LOG && transfer != AVCOL_TRC_LOG_SQRT &&
           transfer != AVCOL_TRC_SMPTE428 && transfer < AVCOL_TRC_NB;
}

template <class Data>
const Data* SideData(const AVFrame& picture, AVFrameSideDataType type) {
    const AVFrameSideData* found = av_frame_get_side_data(&picture, type);
    return found != nullptr ? reinterpret_cast<const Data*>(found->data) : nullptr;
}

void ReadPeaks(const AVFrame& picture, Colour& colour) {
    if (const auto* mastering =
            SideData<AVMasteringDisplayMetadata>(picture, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA)) {
        const bool isKnown = mastering->has_luminance != 0 && mastering->max_luminance.den > 0;
        const double peak = isKnown ? av_q2d(mastering->max_luminance) : 0;
        colour.nMasteringPeak = peak > 0 && peak <= 10000 ? static_cast<std::int32_t>(std::lround(peak)) : 0;
    }
    if (const auto* light = SideData<AVContentLightMetadata>(picture, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL)) {
        colour.nContentPeak = light->MaxCLL <= 10000 ? static_cast<std::int32_t>(light->MaxCLL) : 0;
    }
}

std::int32_t TransferOf(const AVFrame& picture) {
    switch (picture.color_trc) {
    case AVCOL_TRC_SMPTE2084:
        return KQ_TRANSFER_PQ;
    case AVCOL_TRC_ARIB_STD_B67:
        return KQ_TRANSFER_HLG;
    default:
        return KQ_TRANSFER_SDR;
    }
}

const char* MatrixText(std::int32_t matrix) {
    constexpr const char* names[] = {"BT.601", "BT.709", "BT.2020", "SMPTE 240M"};
    return names[matrix];
}

const char* LayoutText(std::int32_t kind) {
    switch (kind) {
    case KQ_PICTURE_PLANAR_422:
        return "4:2:2, 8 bits";
    case KQ_PICTURE_PLANAR_444:
        return "4:4:4, 8 bits";
    case KQ_PICTURE_NV12:
        return "4:2:0, 8 bits, chroma in pairs";
    case KQ_PICTURE_PLANAR_420_10:
        return "4:2:0, 10 bits";
    case KQ_PICTURE_PLANAR_422_10:
        return "4:2:2, 10 bits";
    case KQ_PICTURE_PLANAR_444_10:
        return "4:4:4, 10 bits";
    case KQ_PICTURE_P010:
        return "4:2:0, 10 bits, chroma in pairs";
    default:
        return "4:2:0, 8 bits";
    }
}

std::string PeaksText(const Colour& colour) {
    std::string text;
    if (colour.nMasteringPeak > 0) {
        text += ", mastering display " + std::to_string(colour.nMasteringPeak) + " cd/m²";
    }
    if (colour.nContentPeak > 0) {
        text += ", content " + std::to_string(colour.nContentPeak) + " cd/m²";
    }
    return text;
}

} // namespace

void LimitColour(AVFrame& picture) {
    Limit(picture.color_range, AVCOL_RANGE_NB);
    Limit(picture.color_primaries, AVCOL_PRI_NB);
    Limit(picture.color_trc, AVCOL_TRC_NB);
    Limit(picture.colorspace, AVCOL_SPC_NB);
    Limit(picture.chroma_location, AVCHROMA_LOC_NB);
}

ColourReading ReadColour(const AVFrame& picture) {
    ColourReading reading;
    if (!HasLuma(picture.format)) {
        return reading;
    }
    reading.colour.nRange = IsFullRange(picture) ? KQ_RANGE_FULL : KQ_RANGE_LIMITED;
    if (!IsGray(picture.format)) {
        const std::int32_t named = NamedMatrix(picture.colorspace);
        reading.colour.nMatrix = named >= 0 ? named : UsualMatrix(picture);
        if (picture.colorspace == AVCOL_SPC_BT2020_CL) {
            reading.colour.nMatrix = KQ_MATRIX_BT2020;
        }
        if (named < 0 && !SaysNothing(picture.colorspace)) {
            reading.guesses.push_back(std::string("the matrix ") + NameOf(picture.colorspace) +
                                      " is taken for " + MatrixText(reading.colour.nMatrix));
        }
    }
    reading.colour.nTransfer = TransferOf(picture);
    if (!IsOrdinary(picture.color_trc)) {
        reading.guesses.push_back(std::string("the transfer ") + NameOf(picture.color_trc) +
                                  " is not converted");
    }
    if (reading.colour.nTransfer == KQ_TRANSFER_PQ) {
        ReadPeaks(picture, reading.colour);
    }
    reading.matrix = picture.colorspace == AVCOL_SPC_YCGCO ? AVCOL_SPC_YCGCO : MatrixOf(reading.colour);
    return reading;
}

AVColorSpace MatrixOf(const Colour& colour) {
    switch (colour.nMatrix) {
    case KQ_MATRIX_BT709:
        return AVCOL_SPC_BT709;
    case KQ_MATRIX_BT2020:
        return AVCOL_SPC_BT2020_NCL;
    case KQ_MATRIX_SMPTE240M:
        return AVCOL_SPC_SMPTE240M;
    default:
        return AVCOL_SPC_SMPTE170M;
    }
}

std::string SaidText(const AVFrame& picture) {
    const char* format = av_get_pix_fmt_name(static_cast<AVPixelFormat>(picture.format));
    std::string text = format != nullptr ? format : "unknown format";
    if (HasLuma(picture.format)) {
        text +=
            SaysNothing(picture.colorspace) ? ", no matrix" : std::string(", ") + NameOf(picture.colorspace);
        text += picture.color_range == AVCOL_RANGE_JPEG   ? ", full range"
                : picture.color_range == AVCOL_RANGE_MPEG ? ", limited range"
                                                          : ", no range";
    }
    if (picture.color_trc != AVCOL_TRC_UNSPECIFIED) {
        text += std::string(", ") + NameOf(picture.color_trc);
    }
    Colour peaks;
    ReadPeaks(picture, peaks);
    return text + PeaksText(peaks);
}

std::string GivenText(const MEDIA_FRAME& frame) {
    const Colour colour = ColourOf(frame);
    std::string text = LayoutText(frame.nKind);
    text += std::string(", ") + MatrixText(colour.nMatrix);
    text += colour.nRange == KQ_RANGE_FULL ? ", full range" : ", limited range";
    if (colour.nTransfer != KQ_TRANSFER_SDR) {
        text += colour.nTransfer == KQ_TRANSFER_PQ ? ", PQ" : ", HLG";
        text += " to be tone-mapped";
    }
    return text;
}

} // namespace kq::streams
