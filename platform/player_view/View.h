/// @file
#pragma once

#include "PictureLayout.h"
#include "PictureSinks.h"
#include "Surface.h"

#include <memory>
#include <mutex>

namespace kq::playerview {

/// One view: what a host set for it, its sinks, and its surface.
class View {
public:
    /// @param surface not null
    explicit View(std::unique_ptr<Surface> surface);
    ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    PictureSinks& Sinks() { return m_sinks; }
    /// @return the native window, or 0
    std::uintptr_t Handle() { return m_surface->Handle(); }
    /// See PVExpectPictures().
    bool Expect(int width, int height);
    /// @return memory for the next picture, see Surface::Lend(), or null
    unsigned char* Lend(int width, int height);
    /// Ignores a picture without pixels or of a size that cannot be shown.
    /// @param part that was made; null: all of it
    void Show(int width, int height, const unsigned char* pixels, const tagRECT* part);
    void Update() { m_surface->Redraw(); }
    tagRECT CropRect();

    /// See PVSetDisplay().
    int SetDisplay(const KQViewDisplay* display);
    KQViewDisplay Display();
    bool FindMapping(KQViewMapping& mapping) { return m_surface->FindMapping(mapping); }
    bool ReadPixel(int x, int y, std::uint32_t& rgb) { return m_surface->ReadPixel(x, y, rgb); }
    /// @return false for a size that cannot be shown
    bool FindWantedPart(int width, int height, tagRECT& part);

    /// Changes the settings and draws the last picture with them.
    template <typename Edit>
    void Change(Edit edit) {
        const std::lock_guard<std::mutex> guard(m_lock);
        edit(m_settings);
        m_surface->Apply(m_settings);
    }

private:
    const std::unique_ptr<Surface> m_surface;
    PictureSinks m_sinks;
    std::mutex m_lock; ///< guards what follows
    DisplaySettings m_settings;
    Size m_picture; ///< of the last picture
    const int m_number;
};

} // namespace kq::playerview
