/// @file
#pragma once

#include "Surface.h"

#include <kqplayer/picture_receiver.h>

#include <algorithm>
#include <mutex>

namespace kq::playerview {

/// No window: pictures go to the view's sinks only. What would be shown where is known all the same.
class OffScreenSurface final : public Surface {
public:
    /// @param rect     placement, whose size stands for a window's
    /// @param receiver lends the memory for pictures, where it has any
    explicit OffScreenSurface(const VRECT& rect, const KQPictureReceiver& receiver = {})
        : m_window{std::clamp(rect.width, 1, maxSide), std::clamp(rect.height, 1, maxSide)},
          m_receiver(receiver) {}

    std::uint8_t* Lend(Size size) override {
        return m_receiver.pfnLend != nullptr
                   ? m_receiver.pfnLend(size.width, size.height, m_receiver.pUserData)
                   : nullptr;
    }
    void Show(Size size, const std::uint8_t* /*pixels*/, const Rect& /*made*/) override {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_settings.Bind(size);
        m_picture = size;
    }
    bool Apply(const DisplaySettings& settings) override {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_settings = settings;
        return true;
    }
    void Redraw() override {}
    std::uintptr_t Handle() override { return 0; }
    bool FindMapping(KQViewMapping& mapping) override {
        const std::lock_guard<std::mutex> guard(m_lock);
        if (m_picture.width == 0) {
            return false;
        }
        mapping = MappingOf(m_picture, m_settings, m_window);
        return true;
    }
    bool ReadPixel(int /*x*/, int /*y*/, std::uint32_t& /*rgb*/) override { return false; }

private:
    const Size m_window;
    const KQPictureReceiver m_receiver;
    std::mutex m_lock; ///< guards what follows
    Size m_picture;
    DisplaySettings m_settings;
};

} // namespace kq::playerview
