/// @file
#pragma once

#include "Surface.h"

namespace kq::playerview {

/// No window: pictures go to the view's sinks only.
class OffScreenSurface final : public Surface {
public:
    std::uint8_t* Lend(Size /*size*/) override { return nullptr; }
    void Show(Size /*size*/, const std::uint8_t* /*pixels*/) override {}
    void Apply(const DisplaySettings& /*settings*/) override {}
    void Redraw() override {}
    std::uintptr_t Handle() override { return 0; }
};

} // namespace kq::playerview
