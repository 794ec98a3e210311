/// @file
/// HDR pictures (BT.2100 PQ and HLG with the primaries of BT.2020) shown as SDR, by table.
///
/// SDR white is 203 cd/m². PQ light above the knee of BT.2390's EETF is compressed from the peak of the
/// content to it, each component for itself; HLG is rendered as on a display of that peak, with BT.2390's
/// system gamma. The light is then brought to the primaries of BT.709, cut off outside them, and encoded as
/// sRGB.
#pragma once

#include "Kernels.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kq::image {

/// The tables of one transfer and peak. Immutable, so that threads may share them.
class ToneMap {
public:
    /// @param hlg  whether the transfer is HLG, not PQ
    /// @param peak of the content in cd/m², read for PQ
    ToneMap(bool hlg, int peak);

    /// @return the tables of this transfer and peak, made if they are not at hand
    /// @throws std::bad_alloc
    static std::shared_ptr<const ToneMap> For(bool hlg, int peak);

    /// @param r,g,b encoded components, 2^24 for the whole; any value
    Bgr Convert(std::int64_t r, std::int64_t g, std::int64_t b) const;

private:
    std::int64_t LightOf(std::int64_t encoded) const;

    bool m_hlg;
    int m_peak;
    std::vector<std::int32_t> m_light; ///< of encoded components, 2^24 for SDR white (HLG: for the peak)
    std::vector<std::int32_t> m_systemGamma; ///< HLG: factors by scene luminance, 2^16 for 1
    std::vector<std::uint8_t> m_encoded;     ///< by light
};

} // namespace kq::image
