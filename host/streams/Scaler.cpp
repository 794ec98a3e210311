#include "Scaler.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <tuple>

namespace kq::streams {
namespace {

/// @return FFmpeg's number of a matrix for the scaler
int ScalerMatrix(AVColorSpace matrix) {
    switch (matrix) {
    case AVCOL_SPC_BT709:
        return SWS_CS_ITU709;
    case AVCOL_SPC_BT2020_NCL:
        return SWS_CS_BT2020;
    case AVCOL_SPC_SMPTE240M:
        return SWS_CS_SMPTE240M;
    default:
        return SWS_CS_ITU601;
    }
}

} // namespace

bool ScalerSetup::Side::operator==(const Side& other) const {
    return std::tie(format, width, height, isFull, matrix) ==
           std::tie(other.format, other.width, other.height, other.isFull, other.matrix);
}

ScalerHandle MakeScaler(const ScalerSetup& setup) {
    ScalerHandle scaler(sws_alloc_context());
    if (!scaler) {
        return nullptr;
    }
    av_opt_set_int(scaler.get(), "srcw", setup.from.width, 0);
    av_opt_set_int(scaler.get(), "srch", setup.from.height, 0);
    av_opt_set_int(scaler.get(), "src_format", setup.from.format, 0);
    av_opt_set_int(scaler.get(), "src_range", setup.from.isFull ? 1 : 0, 0);
    av_opt_set_int(scaler.get(), "dstw", setup.to.width, 0);
    av_opt_set_int(scaler.get(), "dsth", setup.to.height, 0);
    av_opt_set_int(scaler.get(), "dst_format", setup.to.format, 0);
    av_opt_set_int(scaler.get(), "dst_range", setup.to.isFull ? 1 : 0, 0);
    av_opt_set_int(scaler.get(), "sws_flags",
                   SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_BITEXACT, 0);
    constexpr int unity = 1 << 16; // of contrast and saturation
    const int from = ScalerMatrix(setup.from.matrix);
    const int to = ScalerMatrix(setup.to.matrix);
    const bool isMade = sws_init_context(scaler.get(), nullptr, nullptr) >= 0 &&
                        (from == to || sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(from),
                                                                setup.from.isFull, sws_getCoefficients(to),
                                                                setup.to.isFull, 0, unity, unity) >= 0);
    return isMade ? std::move(scaler) : nullptr;
}

} // namespace kq::streams
