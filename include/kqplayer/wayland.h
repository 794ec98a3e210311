/// @file
/// Views in the windows of a Wayland host: what it hands over, and how it moves them.
///
/// On Wayland a window is no number that every program may name: it is a `wl_surface` of the host's own
/// connection. A host registers it, and is given a value that stands for it as the parent of views, wherever
/// an X11 window's id stands otherwise. No X11 window has such a value.
///
/// A view is a desynchronised subsurface of the host's surface. It takes no input: pointer and touch go to
/// the host's surface beneath. Its pictures come on an event queue of the view library's own, on the host's
/// connection; the host's queues are never dispatched. Coordinates are those of the host's surface, whatever
/// the scale of the screen.
///
/// The host has to
/// - commit its surface after a view was made and after PVPlaceWaylandView(): the compositor takes the place
///   over with that (and shows nothing in a surface that has no buffer itself),
/// - destroy its views, with the player, before the surface and the connection,
/// - make, place and destroy views outside of its own wl_display_prepare_read() and wl_display_read_events(),
/// - read its events as libwayland asks for: with wl_display_dispatch(), or with wl_display_prepare_read()
///   before it waits on the descriptor, because the library's thread reads the same connection.
#pragma once

#include "export.h"
#include "records.h"
#include "view_library.h"

#include <cstdint>
#include <utility>

struct wl_display;
struct wl_surface;

/// What a Wayland host hands over.
struct KQWaylandParent {
    std::uint32_t cbSize;        ///< sizeof(KQWaylandParent)
    struct wl_display* pDisplay; ///< the host's connection
    struct wl_surface* pSurface; ///< its window's surface, which was made on that connection
    double dScale;               ///< pixels of the screen per unit of the surface's coordinates, for hosts
                                 ///< that know a better one; 0: as the compositor tells, fractions too
};

/// How the compositor has fared with a view's pictures since the view was made. What it tells of the screen
/// costs processor time for each picture, and is counted from the first call of PVGetPresentation() on.
struct KQPresentation {
    std::int64_t llShown;     ///< pictures that were handed to the view
    std::int64_t llCommitted; ///< of these, given to the compositor
    std::int64_t llPresented; ///< of those committed since the first call, brought to a screen; -1 where the
                              ///< compositor does not tell
    std::int64_t llDiscarded; ///< likewise, never on a screen
    std::int64_t llSkipped;  ///< pictures that newer ones took the place of before the compositor wanted them
    std::int64_t llLastTime; ///< when the last one came to a screen, ns on the compositor's clock; 0 for none
    std::uint32_t nClock;    ///< that clock, as clock_gettime() has it
    std::uint32_t nRefresh;  ///< ns from one refresh of the screen to the next; 0 for unknown
};

/// Registers a surface as the parent of views.
/// @param pParent both pointers are kept and used until the value is taken back and its views are destroyed
/// @return a value for IPlayerViewMgr::CreatePlayView(), IYv12View::Create() and PVCreatePlayerView(): above
///         every X11 window's id, never 0 or 1; null when something is missing in the record, or too many
///         surfaces are registered, or the library was built without Wayland
KQ_EXTERN_C void* PVAddWaylandParent(const KQWaylandParent* pParent);
/// Takes a value back. Views that were made with it stay.
/// @return 1, or 0 for a value that does not stand for a surface
KQ_EXTERN_C int PVRemoveWaylandParent(void* pValue);
/// Moves and resizes a view. To be followed by a commit of the host's surface.
/// @param pWindow as IPlayerView::GetWND() and PVGetHwnd() give it: the view's `wl_surface`
/// @param pPlace  in the host's surface
/// @param pSeen   the part of it that is seen, in the same coordinates; null: all of it; an empty one hides
/// the view
/// @return 1, or 0 for a window that is no Wayland view of this library
KQ_EXTERN_C int PVPlaceWaylandView(void* pWindow, const VRECT* pPlace, const VRECT* pSeen);
/// @param pWindow       as PVPlaceWaylandView() has it
/// @param pPresentation receives the counts; the first call makes those of the screen begin
/// @return 1, or 0 for a window that is no Wayland view of this library
KQ_EXTERN_C int PVGetPresentation(void* pWindow, KQPresentation* pPresentation);

namespace kq {

/// A host's surface, registered while the object lives with the view library that the component uses.
class WaylandParent {
public:
    /// Nothing is registered.
    WaylandParent() = default;
    /// @param pDisplay,pSurface as KQWaylandParent has them
    /// @param dScale            likewise
    WaylandParent(wl_display* pDisplay, wl_surface* pSurface, double dScale = 0)
        : m_library(OpenViewLibrary().pHandle) {
        const KQWaylandParent parent = {sizeof(KQWaylandParent), pDisplay, pSurface, dScale};
        const auto pfnAdd = m_library.Function<decltype(&PVAddWaylandParent)>("PVAddWaylandParent");
        m_pValue = pfnAdd != nullptr ? pfnAdd(&parent) : nullptr;
    }
    ~WaylandParent() {
        if (const auto pfnRemove =
                m_library.Function<decltype(&PVRemoveWaylandParent)>("PVRemoveWaylandParent");
            m_pValue != nullptr && pfnRemove != nullptr) {
            pfnRemove(m_pValue);
        }
    }
    WaylandParent(const WaylandParent&) = delete;
    WaylandParent& operator=(const WaylandParent&) = delete;
    /// Takes another one's surface over.
    WaylandParent(WaylandParent&& other) noexcept
        : m_library(std::move(other.m_library)), m_pValue(std::exchange(other.m_pValue, nullptr)) {}
    /// Exchanges the surfaces.
    WaylandParent& operator=(WaylandParent&& other) noexcept {
        m_library = std::move(other.m_library);
        std::swap(m_pValue, other.m_pValue);
        return *this;
    }

    /// @return the parent for views. Where the surface could not be registered no view can be made with it.
    void* Get() const {
        return m_pValue != nullptr ? m_pValue : reinterpret_cast<void*>(std::uintptr_t{kRefused});
    }
    /// @return false when the view library does not know Wayland
    explicit operator bool() const { return m_pValue != nullptr; }
    /// As PVPlaceWaylandView(). @return false for a window that is no Wayland view
    bool Place(void* pWindow, const VRECT& place, const VRECT* pSeen = nullptr) const {
        const auto pfnPlace = m_library.Function<decltype(&PVPlaceWaylandView)>("PVPlaceWaylandView");
        return pfnPlace != nullptr && pfnPlace(pWindow, &place, pSeen) != 0;
    }
    /// As PVGetPresentation(). @return false for a window that is no Wayland view
    bool Presentation(void* pWindow, KQPresentation& presentation) const {
        const auto pfnGet = m_library.Function<decltype(&PVGetPresentation)>("PVGetPresentation");
        return pfnGet != nullptr && pfnGet(pWindow, &presentation) != 0;
    }

private:
    /// Above every X11 window's id, and never registered.
    static constexpr std::uintptr_t kRefused = 0xE0000000;

    LoadedViewLibrary m_library;
    void* m_pValue = nullptr;
};

} // namespace kq
