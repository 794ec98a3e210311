/// @file
/// The window.
#pragma once

#include "TextBar.h"
#include "ViewLayout.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct SDL_Keysym;
struct SDL_Window;
using Display = struct _XDisplay;
union _XEvent;

namespace kqplay {

/// What the timeline shows, in parts of its length, 0 to 1.
struct TimelineBar {
    struct Part {
        double begin = 0;
        double end = 0;
    };
    double played = 0;                ///< up to the position
    Part repeated;                    ///< what the user has marked; empty for nothing
    std::vector<Part> kept;           ///< pictures that are there at once
    std::vector<Part> differing = {}; ///< pictures that differ from those beside them, in order
};

/// What the mouse has done over the pictures.
struct PictureMouse {
    int x = -1; ///< where the pointer is in the window, pixels; -1 outside
    int y = -1;
    int wheel = 0;    ///< steps; above 0 away from the user
    int draggedX = 0; ///< with the right button, pixels
    int draggedY = 0;
};

/// A window that can be resized, for the player's views side by side, with a thin timeline below them. Used
/// from the main thread only.
class VideoWindow {
public:
    /// Opens a window on the X server.
    /// @param picture     size of one picture; the window is made smaller where the screen is
    /// @param arrangement of the views
    /// @param error receives the reason for null
    static std::unique_ptr<VideoWindow> Open(const std::string& title, Size picture,
                                             const Arrangement& arrangement, std::string& error);
    ~VideoWindow();
    VideoWindow(const VideoWindow&) = delete;
    VideoWindow& operator=(const VideoWindow&) = delete;

    /// @return the X11 window, as the parent of the player's views
    void* Handle() const;
    /// For the views of another file, in the same arrangement, once those of the one before are gone.
    void Renew(const std::string& title);
    /// @return a window in that one, as the parent of the second view of a comparison; made by the first call
    void* SecondHandle();
    /// Shows two files in another layout.
    void SetLayout(Layout layout);
    /// @return true while the key for the other file is pressed (see Command::Flip)
    bool IsFlipped() const { return m_flipped; }
    /// Names the views' windows, which are to follow the size of this one from now on.
    void Adopt(const std::vector<void*>& viewWindows);
    /// With a window manager or without one.
    void ToggleFullScreen();
    /// Gives a column of the window to one more view, or takes it back for null.
    void SetScope(void* viewWindow);
    /// Shows lines of text above a view, or takes them away for none.
    /// @param view  number of one that was adopted, from 0
    /// @param text  draws them
    void ShowText(std::size_t view, const std::vector<TextLine>& lines, TextRenderer& text);
    /// Draws the timeline again if it has changed.
    void ShowTimeline(const TimelineBar& bar);

    /// @return true when the X server has gone; nothing can be shown any more
    bool IsLost() const;
    /// @return descriptor that becomes readable when something happened to the window
    int Fd() const;
    /// @return the keys that were typed since the last call, by their codes (see Keys.h)
    std::vector<int> Take();
    /// @return the key for steps that is held down, 0 for none. Take() does not give its repeats, which come
    ///         more slowly than pictures can.
    int HeldKey() const { return m_held; }
    /// @return true when the user has closed the window
    bool IsClosed() const { return m_closed; }
    /// @return where the timeline was clicked, or dragged to, last since the last call: 0 begin, 1 end
    std::optional<double> TakeTimelineClick() { return std::exchange(m_clicked, std::nullopt); }
    /// @return where the pointer is, and what the mouse did since the last call
    PictureMouse TakeMouse();
    /// @return where the views lie, in their order
    std::vector<ViewPlace> ViewPlaces() const { return PlaceViews(m_arrangement, FreeSize()); }

private:
    /// A part of the timeline in one colour.
    struct Stripe {
        unsigned long colour;
        int left, right;
        int top, bottom; ///< from the timeline's upper edge
        bool operator==(const Stripe& other) const;
    };
    struct Place {
        int x, y, width, height;
    };

    VideoWindow() = default;
    void FillScreen();
    void OnText(const char* text, std::vector<int>& keys);
    int OnKey(const SDL_Keysym& pressed);
    void OnMouse(const _XEvent& event);
    void OnButton(const _XEvent& event);
    void MovePointer(int x, int y);
    void OnWindowEvent(int event, int width, int height);
    void FitViews();
    std::vector<Stripe> Stripes() const;
    void DrawTimeline();
    void Drag(int x);
    void MoveDivider(int x, int y);
    Size FreeSize() const;

    SDL_Window* m_window = nullptr;
    Display* m_display = nullptr;
    unsigned long m_id = 0;
    std::vector<unsigned long> m_views;
    std::vector<TextBar> m_texts; ///< above the views
    unsigned long m_scope = 0;    ///< window of the view in the column, 0 for none
    unsigned long m_second = 0;   ///< what the second view of a comparison lies in, and is cut off by
    unsigned long m_divider = 0;  ///< the line between the two
    Arrangement m_arrangement;
    int m_width = 0;
    int m_height = 0;
    TimelineBar m_bar;
    std::vector<Stripe> m_drawn;
    std::optional<Place> m_before; ///< where the window was before it filled the screen on its own
    bool m_closed = false;
    bool m_flipped = false;
    int m_pressed = 0; ///< scan code of the key pressed last
    bool m_repeats = false;
    int m_held = 0;
    int m_heldCode = 0; ///< its scan code
    bool m_dragging = false;
    std::optional<double> m_clicked;
    PictureMouse m_mouse;
    bool m_panning = false;
};

} // namespace kqplay
