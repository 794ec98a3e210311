/// @file
#pragma once

#include "PictureLayout.h"
#include "PictureScaler.h"
#include "Surface.h"
#include "wayland/BufferPool.h"
#include "wayland/WaylandConnection.h"

#include <kqplayer/wayland.h>

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

struct wp_viewport;
struct wp_presentation_feedback;
struct wp_fractional_scale_v1;

namespace kq::playerview {

/// Subsurfaces of a host's surface: a black one of the view's size, and above it one with the picture.
///
/// The compositor is given a picture only when it has taken over the one before, so that none is lost between
/// two refreshes of the screen: pictures of 60 Hz come unevenly, and two of them may fall into one refresh.
/// Up to two wait meanwhile; a third one takes the place of the oldest, so that a window that is not shown
/// holds nobody up.
class WaylandSurface final : public Surface {
public:
    /// @param parent  what the host has registered
    /// @param rect    placement in the parent's coordinates
    /// @param error   receives the reason for null
    /// @param allowed extensions that may be used if the compositor has them
    static std::unique_ptr<WaylandSurface> Create(const KQWaylandParent& parent, const VRECT& rect,
                                                  std::string& error,
                                                  const WaylandConnection::Extensions& allowed = {});
    ~WaylandSurface() override;
    WaylandSurface(const WaylandSurface&) = delete;
    WaylandSurface& operator=(const WaylandSurface&) = delete;

    void Expect(Size size) override;
    std::uint8_t* Lend(Size size) override;
    void Show(Size size, const std::uint8_t* pixels, const Rect& made) override;
    bool Apply(const DisplaySettings& settings) override;
    void Redraw() override;
    std::uintptr_t Handle() override; ///< the black subsurface's `wl_surface`
    bool FindMapping(KQViewMapping& mapping) override;
    bool ReadPixel(int x, int y, std::uint32_t& rgb) override;

    void Place(const Rect& place, const Rect& seen);
    KQPresentation Presentation();

    /// @return the surface with that handle, which stays while the lock is held; null for none
    static WaylandSurface* Find(const void* handle, std::unique_lock<std::mutex>& lock);

private:
    using Feedback = struct wp_presentation_feedback; ///< there is a function of that name too
    using BufferPtr = std::shared_ptr<WaylandBuffer>;

    /// A subsurface, and what cuts and scales its buffer where the compositor can do that. What is as it was
    /// is not requested again.
    class Layer {
    public:
        Proxy<wl_surface> surface;
        Proxy<wl_subsurface> subsurface;
        wp_viewport* viewport = nullptr;

        void Make(const WaylandConnection& connection, wl_surface* parent);
        /// To be called where there is a viewport only. @param source of a buffer of that size
        void Cut(const RectF& source, Size buffer);
        /// @param size in units; all of it hides what lies beneath
        void SetSize(const WaylandConnection& connection, Size size);
        void Free();

    private:
        std::array<wl_fixed_t, 4> m_source = {}; ///< left, top, width, height
        Size m_size;
    };
    /// What of a picture goes where.
    struct Drawing {
        PictureLayout layout; ///< in pixels of the screen
        Rect visible;         ///< in the view's units, from the corner of what is seen of the view
        RectF source;         ///< what is visible, in the picture
    };

    explicit WaylandSurface(std::shared_ptr<WaylandConnection> connection);
    void Make(const KQWaylandParent& parent, const VRECT& rect);

    // Under the lock.
    void FreeBuffers();
    void LogCounts() const;
    void WatchScale();
    double ScaleToUse() const;
    Size WindowPixels() const;
    Drawing DrawingOf(Size picture) const;
    static bool CanShow(const WaylandBuffer& picture, const DisplaySettings& settings);
    BufferPtr AcquirePicture(Size size);
    BufferPtr Scale(const WaylandBuffer& picture, const Drawing& drawing);
    bool IsAsItIs(const WaylandBuffer& picture, const Drawing& drawing) const;
    BufferPtr BufferFor(const BufferPtr& picture, const Drawing& drawing);
    bool Attach(const BufferPtr& picture, const Drawing& drawing, bool isNew);
    void CommitNext();
    void CommitPicture(bool isNew, bool withGround);
    void CommitGround();
    void Draw();
    void WatchCommit();
    void RequestFeedback();
    bool IsAwaited(std::int64_t picture) const;
    void OnFrame();
    void OnPresented(Feedback* feedback, std::int64_t time, std::uint32_t refresh);
    void OnDiscarded(Feedback* feedback);
    std::int64_t Forget(Feedback* feedback);
    void OnOutput(wl_output* output, bool isEntered);
    void OnPreferredScale(double scale);

    const std::shared_ptr<WaylandConnection> m_connection;
    std::uintptr_t m_handle = 0;

    // What follows is guarded by the connection's lock.
    BufferPool m_pool;
    BufferPool m_scaledPool;
    BufferPtr m_groundBuffer; ///< black
    Layer m_ground;
    Layer m_layer; ///< the picture
    PictureScaler m_scaler;
    double m_givenScale = 0;     ///< by the host
    double m_preferredScale = 0; ///< by the compositor
    wp_fractional_scale_v1* m_fractionalScale = nullptr;
    std::set<wl_output*> m_outputs; ///< on which the view is
    Rect m_place;                   ///< in the parent
    Rect m_seen;                    ///< of that; in the parent, too
    BufferPtr m_lent;
    std::deque<BufferPtr> m_waiting; ///< pictures that the compositor is given next
    BufferPtr m_committed;           ///< the one that it was given last
    BufferPtr m_attached;            ///< what of it the compositor has: itself, or scaled; null: nothing
    BufferPtr m_latest;              ///< the one that was shown last: the last one that waits, or that one
    wl_callback* m_frame = nullptr;  ///< the compositor has not taken over the last commit
    /// Each with the number of its picture, counted from 1: several for one that was placed anew meanwhile.
    std::map<Feedback*, std::int64_t> m_feedbacks;
    KQPresentation m_counts = {};
    bool m_isAsked = false;     ///< for the counts: what becomes of pictures is worth a wake-up each
    Rect m_visible;             ///< where the picture's subsurface is
    DisplaySettings m_settings; ///< as they were set last
    DisplaySettings m_shown;    ///< those that the picture is shown with
};

} // namespace kq::playerview
