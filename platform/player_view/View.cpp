#include "View.h"

#include "ViewRegistry.h"

#include <utility>

namespace {

bool isSize(int nWidth, int nHeight) {
    return nWidth > 0 && nWidth <= MaxSide && nHeight > 0 && nHeight <= MaxSide;
}

} // namespace

View::View(std::unique_ptr<ViewWindow> pWindow)
    : m_pWindow(std::move(pWindow)), m_number(ViewRegistry::instance().add(m_sinks)) {}

View::~View() {
    ViewRegistry::instance().remove(m_sinks);
}

xcb_window_t View::window() {
    return m_pWindow ? m_pWindow->window() : 0;
}

unsigned char* View::lend(int nWidth, int nHeight) {
    return m_pWindow && isSize(nWidth, nHeight) ? m_pWindow->lend({nWidth, nHeight}) : nullptr;
}

void View::show(int nWidth, int nHeight, const unsigned char* pPixels) {
    if (pPixels == nullptr || !isSize(nWidth, nHeight)) {
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
