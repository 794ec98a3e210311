/// @file
/// What each window system does in its own way.
#pragma once

#include "ViewLayout.h"

#include <poll.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct SDL_Window;
union SDL_Event;

namespace kqplay {

class ViewLibrary;

/// A part of the timeline in one colour.
struct Stripe {
    std::uint32_t colour; ///< 0xRRGGBB
    int left, right;
    int top, bottom; ///< from the timeline's upper edge
    bool operator==(const Stripe& other) const {
        return colour == other.colour && left == other.left && right == other.right && top == other.top &&
               bottom == other.bottom;
    }
};

/// Something the mouse has done.
struct MouseEvent {
    enum class Kind { Move, Press, Release, Wheel };
    Kind kind;
    int x = 0; ///< in the window
    int y = 0;
    int button = 0; ///< 1 left, 3 right
    int wheel = 0;  ///< steps; above 0 away from the user
};

/// Pixels above the views, for as long as it lives; its window outlives it.
class Overlay {
public:
    virtual ~Overlay() = default;
    /// @param area   in the window
    /// @param pixels 0xRRGGBB, row by row, without gaps
    virtual void Show(const Area& area, const std::vector<std::uint32_t>& pixels) = 0;
    virtual void Hide() = 0;
};

/// The window that SDL has made, as its window system has it. Used from the main thread only. Nothing is done
/// once the window system has gone.
class NativeWindow {
public:
    virtual ~NativeWindow() = default;

    /// @return the parent of the player's views
    virtual void* ViewParent() = 0;
    /// @return the parent of the second view of a comparison, of which a part may be seen
    virtual void* SecondViewParent() = 0;
    /// Moves and resizes a view, or hides one that is not shown.
    /// @param view     as IPlayerView::GetWND() has it
    /// @param isSecond its parent is SecondViewParent()
    virtual void PlaceView(void* view, const ViewPlace& place, bool isSecond) = 0;
    /// Shows a line above the views, or none for an empty area.
    virtual void PlaceDivider(const Area& area, std::uint32_t colour) = 0;
    /// @param area of the window
    virtual void DrawTimeline(const std::vector<Stripe>& stripes, const Area& area) = 0;
    virtual std::unique_ptr<Overlay> MakeOverlay() = 0;
    /// To be called when the window has another size.
    virtual void Resize(Size size) = 0;
    /// Has what was placed take effect.
    virtual void Flush() = 0;

    /// @return true when there is somebody who can make windows fill the screen
    virtual bool HasFullScreen() = 0;
    /// @return what the mouse has done, if that is what the event tells
    virtual std::optional<MouseEvent> MouseOf(const SDL_Event& event) = 0;

    /// @return descriptor that becomes readable when something happened to the window
    virtual int Fd() const = 0;
    /// As poll(). @param sources Fd() among them
    virtual int Poll(pollfd* sources, nfds_t count, int milliseconds) = 0;
    /// To be called when all events have been taken.
    virtual void AfterEvents() = 0;
    /// @return true when the window system has gone; nothing can be shown any more
    virtual bool IsLost() const = 0;
    /// @return the sentence for that
    virtual const char* LostText() const = 0;
};

/// To be called before SDL starts: says which driver it is to take, and survives what it does not.
void PrepareX11();
/// @param error receives the reason for null
std::unique_ptr<NativeWindow> AdoptX11Window(SDL_Window* window, std::string& error);

/// @param error receives the reason for false
/// @return true when there is a compositor that has what a window needs
bool CheckWayland(std::string& error);
/// As the two above. @return false when there can be no window
bool PrepareWayland(std::string& error);
/// @param views outlives the window
std::unique_ptr<NativeWindow> AdoptWaylandWindow(SDL_Window* window, const ViewLibrary& views,
                                                 std::string& error);

} // namespace kqplay
