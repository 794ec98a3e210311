#include "wayland/WaylandSurface.h"

#include <kqplayer/log.h>

#include <fractional-scale-v1-client-protocol.h>
#include <presentation-time-client-protocol.h>
#include <viewporter-client-protocol.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <new>
#include <utility>

namespace kq::playerview {

namespace {

constexpr std::size_t mostWaiting = 2;

/// The surfaces that there are, by what hosts know them by.
struct Known {
    std::mutex lock;
    std::map<const void*, WaylandSurface*> byHandle;
};

Known& KnownSurfaces() {
    static auto& known = *new Known; // never destroyed: views may outlive static objects
    return known;
}

const void* AsPointer(std::uintptr_t handle) {
    return reinterpret_cast<const void*>(handle);
}

Rect Clamped(const Rect& rect) {
    return {rect.x, rect.y, std::clamp(rect.width, 1, maxSide), std::clamp(rect.height, 1, maxSide)};
}

int ToPixels(int units, double scale) {
    return static_cast<int>(std::lround(units * scale));
}

int ToUnits(int pixels, double scale) {
    return static_cast<int>(std::lround(pixels / scale));
}

Rect ToPixels(const Rect& rect, double scale) {
    const int left = ToPixels(rect.x, scale);
    const int top = ToPixels(rect.y, scale);
    return {left, top, ToPixels(rect.x + rect.width, scale) - left,
            ToPixels(rect.y + rect.height, scale) - top};
}

Rect ToUnits(const Rect& rect, double scale) {
    const int left = ToUnits(rect.x, scale);
    const int top = ToUnits(rect.y, scale);
    return {left, top, ToUnits(rect.x + rect.width, scale) - left,
            ToUnits(rect.y + rect.height, scale) - top};
}

bool AreEqual(const Rect& a, const Rect& b) {
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

/// One side of what a viewport shows, in the protocol's 24.8 fixed point: never empty, and never beyond the
/// picture, which the protocol forbids.
struct FixedSpan {
    wl_fixed_t begin, length;

    FixedSpan(double from, double size, int picture) {
        constexpr int one = 256;
        const int all = picture * one;
        begin = std::clamp(static_cast<int>(std::lround(from * one)), 0, all - 1);
        length = std::clamp(static_cast<int>(std::lround(size * one)), 1, all - begin);
    }
};

} // namespace

void WaylandSurface::Layer::Make(const WaylandConnection& connection, wl_surface* parent) {
    surface.reset(wl_compositor_create_surface(connection.Compositor()));
    subsurface.reset(wl_subcompositor_get_subsurface(connection.Subcompositor(), surface.get(), parent));
    wl_subsurface_set_desync(subsurface.get());
    if (connection.Viewporter() != nullptr) {
        viewport = wp_viewporter_get_viewport(connection.Viewporter(), surface.get());
    }
    // Input goes to the host's surface beneath.
    wl_region* const none = wl_compositor_create_region(connection.Compositor());
    wl_surface_set_input_region(surface.get(), none);
    wl_region_destroy(none);
}

void WaylandSurface::Layer::Cut(const RectF& source, Size buffer) {
    const FixedSpan columns(source.x, source.width, buffer.width);
    const FixedSpan rows(source.y, source.height, buffer.height);
    const std::array<wl_fixed_t, 4> cut = {columns.begin, rows.begin, columns.length, rows.length};
    if (cut != m_source) {
        m_source = cut;
        wp_viewport_set_source(viewport, columns.begin, rows.begin, columns.length, rows.length);
    }
}

void WaylandSurface::Layer::SetSize(const WaylandConnection& connection, Size size) {
    if (size == m_size) {
        return;
    }
    m_size = size;
    if (viewport != nullptr) {
        wp_viewport_set_destination(viewport, size.width, size.height);
    }
    wl_region* const region = wl_compositor_create_region(connection.Compositor());
    wl_region_add(region, 0, 0, size.width, size.height);
    wl_surface_set_opaque_region(surface.get(), region);
    wl_region_destroy(region);
}

void WaylandSurface::Layer::Free() {
    if (viewport != nullptr) {
        wp_viewport_destroy(std::exchange(viewport, nullptr));
    }
    subsurface.reset();
    surface.reset();
}

std::unique_ptr<WaylandSurface> WaylandSurface::Create(const KQWaylandParent& parent, const VRECT& rect,
                                                       std::string& error,
                                                       const WaylandConnection::Extensions& allowed) {
    std::shared_ptr<WaylandConnection> connection = WaylandConnection::For(parent.pDisplay, error, allowed);
    if (!connection) {
        return nullptr;
    }
    std::unique_ptr<WaylandSurface> surface(new WaylandSurface(std::move(connection)));
    surface->Make(parent, rect);
    return surface;
}

WaylandSurface::WaylandSurface(std::shared_ptr<WaylandConnection> connection)
    : m_connection(std::move(connection)), m_pool(*m_connection), m_scaledPool(*m_connection) {}

void WaylandSurface::Make(const KQWaylandParent& parent, const VRECT& rect) {
    {
        const std::lock_guard<std::mutex> guard(m_connection->Lock());
        m_givenScale = parent.dScale;
        m_place = m_seen = Clamped({rect.x, rect.y, rect.width, rect.height});
        m_ground.Make(*m_connection, parent.pSurface);
        m_layer.Make(*m_connection, m_ground.surface.get());
        WatchScale();
        m_handle = reinterpret_cast<std::uintptr_t>(m_ground.surface.get());
        Draw();
    }
    const std::lock_guard<std::mutex> guard(KnownSurfaces().lock);
    KnownSurfaces().byHandle[AsPointer(m_handle)] = this;
}

WaylandSurface::~WaylandSurface() {
    {
        const std::lock_guard<std::mutex> guard(KnownSurfaces().lock);
        KnownSurfaces().byHandle.erase(AsPointer(m_handle));
    }
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    if (m_frame != nullptr) {
        wl_callback_destroy(m_frame);
    }
    for (const auto& [feedback, picture] : m_feedbacks) {
        wp_presentation_feedback_destroy(feedback);
    }
    if (m_fractionalScale != nullptr) {
        wp_fractional_scale_v1_destroy(m_fractionalScale);
    }
    m_layer.Free();
    m_ground.Free();
    FreeBuffers();
    m_connection->Flush();
    LogCounts();
}

/// Under the lock: the thread that dispatches may be about to tell one of them that it was given back.
void WaylandSurface::FreeBuffers() {
    m_waiting.clear();
    for (BufferPtr* held : {&m_lent, &m_committed, &m_attached, &m_latest, &m_groundBuffer}) {
        held->reset();
    }
    m_pool.Clear();
    m_scaledPool.Clear();
}

void WaylandSurface::LogCounts() const {
    const auto log = [](const wchar_t* what, std::int64_t count) { return std::to_wstring(count) + what; };
    std::wstring line = log(L" pictures, ", m_counts.llShown) + log(L" committed, ", m_counts.llCommitted) +
                        log(L" skipped", m_counts.llSkipped);
    if (m_isAsked && m_connection->Presentation() != nullptr) {
        line += L", " + log(L" presented, ", m_counts.llPresented) + log(L" discarded", m_counts.llDiscarded);
    }
    KQLogEx(L"PlayerView: a Wayland view has had %ls", line.c_str());
}

WaylandSurface* WaylandSurface::Find(const void* handle, std::unique_lock<std::mutex>& lock) {
    Known& known = KnownSurfaces();
    lock = std::unique_lock<std::mutex>(known.lock);
    const auto found = known.byHandle.find(handle);
    return found == known.byHandle.end() ? nullptr : found->second;
}

void WaylandSurface::Expect(Size size) {
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    if (!m_connection->IsLost()) {
        const BufferPtr first = m_pool.Acquire(size);
        m_pool.Acquire(size); // another one, as the first is held
    }
}

std::uint8_t* WaylandSurface::Lend(Size size) {
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    m_lent = m_connection->IsLost() ? nullptr : AcquirePicture(size);
    return m_lent ? m_lent->Pixels() : nullptr;
}

void WaylandSurface::Show(Size size, const std::uint8_t* pixels, const Rect& made) {
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    ++m_counts.llShown;
    BufferPtr picture = std::exchange(m_lent, nullptr);
    if (m_connection->IsLost()) {
        return;
    }
    if (!picture || picture->Pixels() != pixels || !(picture->PixelSize() == size)) {
        picture = AcquirePicture(size);
        if (!picture) {
            KQLogEx(L"PlayerView: no memory for a picture of %dx%d", size.width, size.height);
            return;
        }
        const std::size_t rowBytes = std::size_t{4} * size.width;
        const std::size_t begin = made.IsEmpty() ? 0 : made.y * rowBytes;
        std::memcpy(picture->Pixels() + begin, pixels + begin, made.IsEmpty() ? 0 : made.height * rowBytes);
    }
    picture->made = made;
    m_settings.Bind(size);
    if (CanShow(*picture, m_settings)) {
        m_shown = m_settings;
    } else if (!CanShow(*picture, m_shown)) {
        return; // made for settings that have changed twice since
    }
    m_latest = picture;
    m_waiting.push_back(std::move(picture));
    if (m_waiting.size() > mostWaiting) {
        m_waiting.pop_front();
        ++m_counts.llSkipped;
    }
    if (m_frame == nullptr || m_seen.IsEmpty()) {
        CommitNext();
    }
}

bool WaylandSurface::Apply(const DisplaySettings& settings) {
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    m_settings = settings;
    if (m_latest && !CanShow(*m_latest, m_settings)) {
        return false;
    }
    m_shown = m_settings;
    Draw();
    return true;
}

void WaylandSurface::Redraw() {
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    Draw();
}

std::uintptr_t WaylandSurface::Handle() {
    return m_connection->IsLost() ? 0 : m_handle;
}

bool WaylandSurface::FindMapping(KQViewMapping& mapping) {
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    if (!m_latest) {
        return false;
    }
    const double scale = ScaleToUse();
    mapping = MappingOf(m_latest->PixelSize(), m_shown, WindowPixels());
    for (double* side :
         {&mapping.target.left, &mapping.target.top, &mapping.target.right, &mapping.target.bottom}) {
        *side /= scale;
    }
    mapping.nWindowWidth = m_place.width;
    mapping.nWindowHeight = m_place.height;
    return true;
}

bool WaylandSurface::ReadPixel(int x, int y, std::uint32_t& rgb) {
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    if (!m_latest || !Contains(m_latest->made, {x, y, 1, 1})) {
        return false;
    }
    const std::uint8_t* pixel =
        m_latest->Pixels() + 4 * (static_cast<std::size_t>(y) * m_latest->PixelSize().width + x);
    rgb = static_cast<std::uint32_t>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]);
    return true;
}

void WaylandSurface::Place(const Rect& place, const Rect& seen) {
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    m_place = Clamped(place);
    const Rect part = Intersect(m_place, seen);
    m_seen = part.IsEmpty() ? Rect{} : part;
    Draw();
}

KQPresentation WaylandSurface::Presentation() {
    const std::lock_guard<std::mutex> guard(m_connection->Lock());
    m_isAsked = true;
    KQPresentation counts = m_counts;
    if (m_connection->Presentation() == nullptr) {
        counts.llPresented = counts.llDiscarded = -1;
    }
    counts.nClock = static_cast<std::uint32_t>(m_connection->Clock());
    return counts;
}

/// Has the compositor tell on which outputs the view is, and which fraction it prefers.
void WaylandSurface::WatchScale() {
    static constexpr wl_surface_listener listener = {
        [](void* self, wl_surface*, wl_output* output) {
            static_cast<WaylandSurface*>(self)->OnOutput(output, true);
        },
        [](void* self, wl_surface*, wl_output* output) {
            static_cast<WaylandSurface*>(self)->OnOutput(output, false);
        }};
    static constexpr wp_fractional_scale_v1_listener fractionalListener = {
        [](void* self, wp_fractional_scale_v1*, std::uint32_t parts) {
            constexpr double partsOfOne = 120;
            static_cast<WaylandSurface*>(self)->OnPreferredScale(parts / partsOfOne);
        }};
    wl_surface* const surface = m_ground.surface.get();
    wl_surface_add_listener(surface, &listener, this);
    wp_fractional_scale_manager_v1* const manager = m_connection->FractionalScales();
    if (manager != nullptr && m_ground.viewport != nullptr) {
        m_fractionalScale = wp_fractional_scale_manager_v1_get_fractional_scale(manager, surface);
        wp_fractional_scale_v1_add_listener(m_fractionalScale, &fractionalListener, this);
    }
}

/// Without a viewport a buffer's pixels are a whole number to a unit.
double WaylandSurface::ScaleToUse() const {
    double scale = m_givenScale > 0 ? m_givenScale : m_preferredScale;
    if (!(scale > 0)) {
        int largest = 1;
        for (wl_output* output : m_outputs) {
            largest = std::max(largest, m_connection->ScaleOf(output));
        }
        scale = largest;
    }
    return m_ground.viewport != nullptr ? scale : std::ceil(scale);
}

Size WaylandSurface::WindowPixels() const {
    const double scale = ScaleToUse();
    return {std::clamp(ToPixels(m_place.width, scale), 1, maxSide),
            std::clamp(ToPixels(m_place.height, scale), 1, maxSide)};
}

WaylandSurface::Drawing WaylandSurface::DrawingOf(Size picture) const {
    Drawing drawing;
    const double scale = ScaleToUse();
    PictureLayout& layout = drawing.layout;
    layout = LayOut(picture, m_shown, WindowPixels());
    const Rect seen = {m_seen.x - m_place.x, m_seen.y - m_place.y, m_seen.width, m_seen.height};
    const Rect visible = Intersect(ToUnits(layout.visible, scale), seen);
    if (visible.IsEmpty()) {
        return drawing;
    }
    drawing.visible = {visible.x - seen.x, visible.y - seen.y, visible.width, visible.height};
    layout.visible = ToPixels(visible, scale); // surfaces lie at whole units
    const double across = layout.source.width / layout.target.width;
    const double down = layout.source.height / layout.target.height;
    drawing.source = {layout.source.x + (layout.visible.x - layout.target.x) * across,
                      layout.source.y + (layout.visible.y - layout.target.y) * down,
                      layout.visible.width * across, layout.visible.height * down};
    return drawing;
}

/// @return true when the picture has what the settings show of it
bool WaylandSurface::CanShow(const WaylandBuffer& picture, const DisplaySettings& settings) {
    return Contains(picture.made, NeededPart(picture.PixelSize(), settings));
}

/// A picture that waits gives way to a newer one.
WaylandSurface::BufferPtr WaylandSurface::AcquirePicture(Size size) {
    BufferPtr picture = m_pool.Acquire(size);
    if (!picture && m_waiting.size() > 1) {
        m_waiting.pop_front();
        ++m_counts.llSkipped;
        picture = m_pool.Acquire(size);
    }
    return picture;
}

/// @return true when the compositor can take the picture's own buffer
bool WaylandSurface::IsAsItIs(const WaylandBuffer& picture, const Drawing& drawing) const {
    if (m_layer.viewport != nullptr) {
        return m_shown.Scaling() == KQ_SCALING_DEFAULT || drawing.layout.IsCopy();
    }
    const RectF& source = drawing.source;
    const Size size = picture.PixelSize();
    return drawing.layout.IsCopy() && ScaleToUse() == 1 && source.x == 0 && source.y == 0 &&
           source.width == size.width && source.height == size.height;
}

WaylandSurface::BufferPtr WaylandSurface::Scale(const WaylandBuffer& picture, const Drawing& drawing) {
    const Rect& visible = drawing.layout.visible;
    BufferPtr scaled = m_scaledPool.Acquire({visible.width, visible.height});
    if (!scaled) {
        return nullptr;
    }
    try {
        m_scaler.Scale(picture.Pixels(), picture.PixelSize(), drawing.layout,
                       m_shown.Scaling() != KQ_SCALING_NEAREST, scaled->Pixels());
    } catch (const std::bad_alloc&) {
        KQLogEx(L"PlayerView: no memory to scale a picture");
        return nullptr;
    }
    return scaled;
}

/// @return null when there is nothing to be seen of it
WaylandSurface::BufferPtr WaylandSurface::BufferFor(const BufferPtr& picture, const Drawing& drawing) {
    if (drawing.visible.IsEmpty()) {
        return nullptr;
    }
    return IsAsItIs(*picture, drawing) ? picture : Scale(*picture, drawing);
}

/// @param isNew the compositor has not had it before
/// @return false when there is nothing to be seen of it
bool WaylandSurface::Attach(const BufferPtr& picture, const Drawing& drawing, bool isNew) {
    wl_surface* const surface = m_layer.surface.get();
    const BufferPtr before = std::exchange(m_attached, BufferFor(picture, drawing));
    if (!m_attached) {
        wl_surface_attach(surface, nullptr, 0, 0);
        return false;
    }
    const bool isAsItIs = m_attached == picture;
    const Size size = m_attached->PixelSize();
    if (m_layer.viewport != nullptr) {
        m_layer.Cut(isAsItIs ? drawing.source
                             : RectF{0, 0, static_cast<double>(size.width), static_cast<double>(size.height)},
                    size);
    } else {
        wl_surface_set_buffer_scale(surface, isAsItIs ? 1 : static_cast<int>(ScaleToUse()));
    }
    m_layer.SetSize(*m_connection, {drawing.visible.width, drawing.visible.height});
    if (isNew || m_attached != before) {
        wl_surface_attach(surface, m_attached->Get(), 0, 0);
        wl_surface_damage_buffer(surface, 0, 0, size.width, size.height);
        m_attached->MarkInUse();
    }
    return true;
}

/// Gives the compositor the next picture, if there is one.
void WaylandSurface::CommitNext() {
    while (m_waiting.size() > 1 && (!CanShow(*m_waiting.front(), m_shown) || m_seen.IsEmpty())) {
        m_waiting.pop_front();
        ++m_counts.llSkipped;
    }
    if (m_waiting.empty() || m_connection->IsLost()) {
        return;
    }
    m_committed = std::move(m_waiting.front());
    m_waiting.pop_front();
    if (m_seen.IsEmpty()) {
        ++m_counts.llSkipped;
        return;
    }
    CommitPicture(true, false);
}

/// @param isNew      the compositor has not had it before
/// @param withGround what lies beneath has changed, too
void WaylandSurface::CommitPicture(bool isNew, bool withGround) {
    const Drawing drawing = DrawingOf(m_committed->PixelSize());
    const bool isMoved = !AreEqual(drawing.visible, m_visible);
    const bool isBoth = isMoved || withGround;
    if (isBoth) { // picture and ground change in the same moment
        wl_subsurface_set_sync(m_layer.subsurface.get());
        wl_subsurface_set_position(m_layer.subsurface.get(), drawing.visible.x, drawing.visible.y);
        m_visible = drawing.visible;
    }
    const bool isSeen = Attach(m_committed, drawing, isNew);
    if (isNew && isSeen) {
        WatchCommit();
    } else if (isNew) {
        ++m_counts.llSkipped;
    } else if (isSeen && IsAwaited(m_counts.llCommitted)) {
        RequestFeedback(); // this commit is what is shown, unless the one before it already is
    }
    wl_surface_commit(m_layer.surface.get());
    if (isBoth) {
        CommitGround();
        wl_subsurface_set_desync(m_layer.subsurface.get());
    }
    m_connection->Flush();
}

void WaylandSurface::CommitGround() {
    wl_surface* const surface = m_ground.surface.get();
    const Size size = {m_seen.width, m_seen.height};
    const Size needed = m_ground.viewport != nullptr ? Size{1, 1} : size;
    if (!m_groundBuffer || !(m_groundBuffer->PixelSize() == needed)) {
        m_groundBuffer = WaylandBuffer::Create(*m_connection, needed);
    }
    if (!m_groundBuffer) {
        KQLogEx(L"PlayerView: no memory for the black around the pictures");
        return;
    }
    wl_subsurface_set_position(m_ground.subsurface.get(), m_seen.x, m_seen.y);
    m_ground.SetSize(*m_connection, size);
    wl_surface_attach(surface, m_groundBuffer->Get(), 0, 0);
    wl_surface_damage_buffer(surface, 0, 0, needed.width, needed.height);
    wl_surface_commit(surface);
}

/// Draws the picture on show, and the black, as they are to be now.
void WaylandSurface::Draw() {
    if (m_connection->IsLost()) {
        return;
    }
    if (m_seen.IsEmpty()) {
        wl_surface_attach(m_ground.surface.get(), nullptr, 0, 0);
        wl_surface_commit(m_ground.surface.get());
        m_connection->Flush();
        return;
    }
    if (m_committed && CanShow(*m_committed, m_shown)) {
        return CommitPicture(false, true);
    }
    if (!m_latest) {
        CommitGround();
        m_connection->Flush();
        return;
    }
    m_counts.llSkipped += m_waiting.empty() ? 0 : static_cast<std::int64_t>(m_waiting.size()) - 1;
    m_waiting.clear();
    const bool isNew = m_committed != m_latest;
    m_committed = m_latest;
    CommitPicture(isNew, true);
}

/// To be called before a new picture is committed.
void WaylandSurface::WatchCommit() {
    static constexpr wl_callback_listener listener = {
        [](void* self, wl_callback* /*callback*/, std::uint32_t /*time*/) {
            static_cast<WaylandSurface*>(self)->OnFrame();
        }};
    ++m_counts.llCommitted;
    if (m_frame == nullptr) {
        m_frame = wl_surface_frame(m_layer.surface.get());
        wl_callback_add_listener(m_frame, &listener, this);
    }
    if (m_isAsked && m_connection->Presentation() != nullptr) {
        RequestFeedback();
    }
}

/// Has the compositor tell what becomes of the commit that follows.
void WaylandSurface::RequestFeedback() {
    static constexpr wp_presentation_feedback_listener listener = {
        [](void*, Feedback*, wl_output*) {},
        [](void* self, Feedback* feedback, std::uint32_t secondsHigh, std::uint32_t secondsLow,
           std::uint32_t nanoseconds, std::uint32_t refresh, std::uint32_t, std::uint32_t, std::uint32_t) {
            constexpr std::int64_t perSecond = 1'000'000'000;
            const std::int64_t seconds = std::int64_t{secondsHigh} << 32 | secondsLow;
            static_cast<WaylandSurface*>(self)->OnPresented(feedback, seconds * perSecond + nanoseconds,
                                                            refresh);
        },
        [](void* self, Feedback* feedback) { static_cast<WaylandSurface*>(self)->OnDiscarded(feedback); }};
    Feedback* const feedback = wp_presentation_feedback(m_connection->Presentation(), m_layer.surface.get());
    wp_presentation_feedback_add_listener(feedback, &listener, this);
    m_feedbacks.emplace(feedback, m_counts.llCommitted);
}

/// @return true while it is not known what becomes of a picture
bool WaylandSurface::IsAwaited(std::int64_t picture) const {
    return std::any_of(m_feedbacks.begin(), m_feedbacks.end(),
                       [picture](const auto& each) { return each.second == picture; });
}

void WaylandSurface::OnFrame() {
    wl_callback_destroy(std::exchange(m_frame, nullptr));
    CommitNext();
}

void WaylandSurface::OnPresented(Feedback* feedback, std::int64_t time, std::uint32_t refresh) {
    ++m_counts.llPresented;
    m_counts.llLastTime = time;
    m_counts.nRefresh = refresh;
    const std::int64_t picture = Forget(feedback);
    for (auto at = m_feedbacks.begin(); at != m_feedbacks.end();) { // those of its other places say no more
        const auto each = at++;
        if (each->second == picture) {
            Forget(each->first);
        }
    }
}

/// A picture that is placed anew is another commit: it is lost only when none of them is presented.
void WaylandSurface::OnDiscarded(Feedback* feedback) {
    m_counts.llDiscarded += IsAwaited(Forget(feedback)) ? 0 : 1;
}

/// @return the number of its picture
std::int64_t WaylandSurface::Forget(Feedback* feedback) {
    const auto found = m_feedbacks.find(feedback);
    const std::int64_t picture = found->second;
    m_feedbacks.erase(found);
    wp_presentation_feedback_destroy(feedback);
    return picture;
}

/// The scale may have changed with the output.
void WaylandSurface::OnOutput(wl_output* output, bool isEntered) {
    const double before = ScaleToUse();
    if (isEntered) {
        m_outputs.insert(output);
    } else {
        m_outputs.erase(output);
    }
    if (ScaleToUse() != before) {
        Draw();
    }
}

void WaylandSurface::OnPreferredScale(double scale) {
    const double before = ScaleToUse();
    m_preferredScale = scale;
    if (ScaleToUse() != before) {
        Draw();
    }
}

} // namespace kq::playerview
