#include "View.h"

#include "ViewRegistry.h"

#include <algorithm>
#include <utility>

namespace kq::playerview {

namespace {

bool IsSize(int width, int height) {
    return width > 0 && width <= maxSide && height > 0 && height <= maxSide;
}

Rect Between(int left, int top, int right, int bottom) {
    return {left, top, right - left, bottom - top};
}

} // namespace

View::View(std::unique_ptr<Surface> surface)
    : m_surface(std::move(surface)), m_number(ViewRegistry::Instance().Add(m_sinks)) {}

View::~View() {
    ViewRegistry::Instance().Remove(m_sinks);
}

bool View::Expect(int width, int height) {
    if (!IsSize(width, height)) {
        return false;
    }
    m_surface->Expect({width, height});
    return true;
}

unsigned char* View::Lend(int width, int height) {
    return IsSize(width, height) ? m_surface->Lend({width, height}) : nullptr;
}

void View::Show(int width, int height, const unsigned char* pixels, const tagRECT* part) {
    if (pixels == nullptr || !IsSize(width, height)) {
        return;
    }
    const Rect whole = {0, 0, width, height};
    const Rect made = part != nullptr
                          ? Between(std::clamp(part->left, 0, width), std::clamp(part->top, 0, height),
                                    std::clamp(part->right, 0, width), std::clamp(part->bottom, 0, height))
                          : whole;
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_picture = {width, height};
        m_settings.Bind(m_picture);
    }
    m_sinks.Call(this, m_number, width, height, pixels, Contains(made, whole));
    m_surface->Show({width, height}, pixels, made);
}

int View::SetDisplay(const KQViewDisplay* display) {
    if (display != nullptr && !IsDisplay(*display)) {
        return 0;
    }
    const std::lock_guard<std::mutex> guard(m_lock);
    m_settings.displayOn = display != nullptr;
    m_settings.display = display != nullptr ? *display : KQViewDisplay{};
    m_settings.displayFor = m_picture;
    return m_surface->Apply(m_settings) ? 1 : 2;
}

KQViewDisplay View::Display() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return DisplayFor(m_picture, m_settings);
}

bool View::FindWantedPart(int width, int height, tagRECT& part) {
    if (!IsSize(width, height)) {
        return false;
    }
    Rect wanted = {0, 0, width, height};
    if (!m_sinks.ReadPixels()) {
        const std::lock_guard<std::mutex> guard(m_lock);
        wanted = NeededPart({width, height}, m_settings);
    }
    part = {wanted.x, wanted.y, wanted.x + wanted.width, wanted.y + wanted.height};
    return true;
}

tagRECT View::CropRect() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_settings.crop;
}

} // namespace kq::playerview
