/// @file
/// The window.
#pragma once

#include "NativeWindow.h"
#include "TextBar.h"
#include "ViewLayout.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct SDL_Keysym;
struct SDL_Window;

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
    /// Opens a window on the X server, or on the Wayland compositor where there is none or @p wayland is set.
    /// @param picture     size of one picture; the window is made smaller where the screen is
    /// @param arrangement of the views
    /// @param views       outlives the window
    /// @param error       receives the reason for null
    static std::unique_ptr<VideoWindow> Open(const std::string& title, Size picture,
                                             const Arrangement& arrangement, bool wayland,
                                             const ViewLibrary& views, std::string& error);
    ~VideoWindow();
    VideoWindow(const VideoWindow&) = delete;
    VideoWindow& operator=(const VideoWindow&) = delete;

    /// @return the parent of the player's views
    void* Handle() const { return m_native->ViewParent(); }
    /// For the views of another file, in the same arrangement, once those of the one before are gone.
    void Renew(const std::string& title);
    /// @return the parent of the second view of a comparison
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

    /// @return true when the window system has gone; nothing can be shown any more
    bool IsLost() const { return m_native->IsLost(); }
    /// @return the sentence for that
    const char* LostText() const { return m_native->LostText(); }
    /// @return descriptor that becomes readable when something happened to the window; to be waited for with
    ///         Poll() only
    int Fd() const { return m_native->Fd(); }
    /// As poll(). @param sources Fd() among them
    int Poll(pollfd* sources, nfds_t count, int milliseconds) {
        return m_native->Poll(sources, count, milliseconds);
    }
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
    struct Place {
        int x, y, width, height;
    };

    VideoWindow() = default;
    void FillScreen();
    void OnText(const char* text, std::vector<int>& keys);
    void OnKey(const SDL_Keysym& pressed, std::vector<int>& keys);
    bool Start(const std::string& title, Size size, bool wayland, const ViewLibrary& views,
               std::string& error);
    void OnMouse(const MouseEvent& event);
    void OnPress(const MouseEvent& event);
    void MovePointer(int x, int y);
    void OnWindowEvent(int event, int width, int height);
    void FitViews();
    std::vector<Stripe> Stripes() const;
    void DrawTimeline();
    void Drag(int x);
    void MoveDivider(int x, int y);
    Size FreeSize() const;

    SDL_Window* m_window = nullptr;
    std::unique_ptr<NativeWindow> m_native;
    std::vector<void*> m_views;
    std::vector<TextBar> m_texts; ///< above the views
    void* m_scope = nullptr;      ///< window of the view in the column, null for none
    bool m_hasSecond = false;     ///< the second view has a parent of its own
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
