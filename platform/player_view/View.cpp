#include "View.h"

#include "ViewRegistry.h"

#include <utility>

View::View(std::unique_ptr<ViewWindow> pWindow)
    : m_pWindow(std::move(pWindow)), m_number(ViewRegistry::instance().add(m_sinks)) {}

View::~View() {
    ViewRegistry::instance().remove(m_sinks);
}

xcb_window_t View::window() {
    return m_pWindow ? m_pWindow->window() : 0;
}

void View::show(int nWidth, int nHeight, const unsigned char* pPixels) {
    const auto isSide = [](int side) { return side > 0 && side <= MaxSide; };
    if (pPixels == nullptr || !isSide(nWidth) || !isSide(nHeight)) {
        return;
    }
    m_sinks.call(this, m_number, nWidth, nHeight, pPixels);
    if (m_pWindow) {
        m_pWindow->show({nWidth, nHeight}, pPixels);
    }
}

void View::update() {
    if (m_pWindow) {
        m_pWindow->redraw();
    }
}

tagRECT View::cropRect() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_settings.crop;
}
