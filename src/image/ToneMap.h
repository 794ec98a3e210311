/// @file
/// HDR pictures (BT.2100 PQ and HLG with the primaries of BT.2020) shown as SDR, by curves of straight
/// pieces.
///
/// SDR white is 203 cd/m². PQ light above the knee of BT.2390's EETF is compressed from the peak of the
/// content to it, each component for itself; HLG is rendered as on a display of that peak, with BT.2390's
/// system gamma. The light is then brought to the primaries of BT.709, cut off outside them, and encoded as
/// sRGB.
#pragma once

#include "Arithmetic.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace kq::image {

/// The curves of one transfer and peak. Immutable, so that threads may share them.
class ToneMap {
public:
    /// @param hlg  whether the transfer is HLG, not PQ
    /// @param peak of the content in cd/m², read for PQ
    ToneMap(bool hlg, int peak);

    /// @return the curves of this transfer and peak, made if they are not at hand
    /// @throws std::bad_alloc
    static std::shared_ptr<const ToneMap> For(bool hlg, int peak);

    /// Valid as long as this object.
    ToneCurves Curves() const;

private:
    bool m_hlg;
    int m_peak;
    std::vector<std::int32_t> m_light, m_systemGamma, m_levels;
};

} // namespace kq::image
