#include "View.h"

#include "ViewRegistry.h"

#include <utility>

namespace {

bool isSize(int width, int height) {
    return width > 0 && width <= MaxSide && height > 0 && height <= MaxSide;
}

} // namespace

View::View(std::unique_ptr<Surface> surface)
    : m_surface(std::move(surface)), m_number(ViewRegistry::instance().add(m_sinks)) {}

View::~View() {
    ViewRegistry::instance().remove(m_sinks);
}

unsigned char* View::lend(int width, int height) {
    return isSize(width, height) ? m_surface->Lend({width, height}) : nullptr;
}

void View::show(int width, int height, const unsigned char* pixels) {
    if (pixels == nullptr || !isSize(width, height)) {
        return;
    }
    m_sinks.call(this, m_number, width, height, pixels);
    m_surface->Show({width, height}, pixels);
}

tagRECT View::cropRect() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_settings.crop;
}
