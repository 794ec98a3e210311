#include "View.h"

#include "ViewRegistry.h"

#include <utility>

namespace kq::playerview {

namespace {

bool IsSize(int width, int height) {
    return width > 0 && width <= maxSide && height > 0 && height <= maxSide;
}

} // namespace

View::View(std::unique_ptr<Surface> surface)
    : m_surface(std::move(surface)), m_number(ViewRegistry::Instance().Add(m_sinks)) {}

View::~View() {
    ViewRegistry::Instance().Remove(m_sinks);
}

unsigned char* View::Lend(int width, int height) {
    return IsSize(width, height) ? m_surface->Lend({width, height}) : nullptr;
}

void View::Show(int width, int height, const unsigned char* pixels) {
    if (pixels == nullptr || !IsSize(width, height)) {
        return;
    }
    m_sinks.Call(this, m_number, width, height, pixels);
    m_surface->Show({width, height}, pixels);
}

tagRECT View::CropRect() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_settings.crop;
}

} // namespace kq::playerview
