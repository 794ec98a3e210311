#include "Zoom.h"

#include <algorithm>
#include <cmath>

namespace kqplay {
namespace {

constexpr double stepsPerDoubling = 3;

double FitFactor(const Zoom::Screen& screen) {
    return std::min(screen.width / (screen.pictureWidth * screen.pixelShape),
                    screen.height / screen.pictureHeight);
}

/// @return the next magnification on the ladder that has 100, 200, 400 % on it
double NextFactor(double factor, int direction) {
    constexpr double rounding = 1e-6;
    const double rung = stepsPerDoubling * std::log2(factor);
    const double next = direction > 0 ? std::floor(rung + rounding) + 1 : std::ceil(rung - rounding) - 1;
    return std::exp2(next / stepsPerDoubling);
}

/// One side of a corner: as far as the picture goes, on whole window pixels; a picture that the view has room
/// for lies in the middle.
double Placed(double corner, double shown, double picture, double factor) {
    constexpr double rounding = 1e-6;
    if (shown >= picture) {
        return std::round((picture - shown) / 2 * factor) / factor;
    }
    const double furthest = std::floor((picture - shown) * factor + rounding);
    return std::clamp(std::round(corner * factor), 0.0, furthest) / factor;
}

} // namespace

double Zoom::Factor(const Screen& screen) const {
    return IsFit() ? FitFactor(screen) : m_factor;
}

void Zoom::SetFactor(double factor, const Screen& screen) {
    const KQPointF middle = {screen.width / 2, screen.height / 2};
    const double down = Factor(screen);
    const double across = down * screen.pixelShape;
    const KQPointF position = IsFit()
                                  ? KQPointF{screen.pictureWidth / 2, screen.pictureHeight / 2}
                                  : KQPointF{m_corner.x + middle.x / across, m_corner.y + middle.y / down};
    m_factor = factor;
    Keep(position, middle, screen);
}

void Zoom::Step(int steps, KQPointF position, const Screen& screen) {
    const int direction = steps > 0 ? 1 : -1;
    const double fit = FitFactor(screen);
    for (int i = 0; i != steps; i += direction) {
        const double before = Factor(screen);
        const double next = std::min(NextFactor(before, direction), largest);
        const bool crosses = !IsFit() && ((before < fit && next >= fit) || (before > fit && next <= fit));
        if (next < std::min(1.0, fit) && !crosses) {
            return;
        }
        const double down = before;
        const double across = down * screen.pixelShape;
        if (IsFit()) { // the picture lies in the middle
            m_corner = {(screen.pictureWidth - screen.width / across) / 2,
                        (screen.pictureHeight - screen.height / down) / 2};
        }
        const KQPointF under = {m_corner.x + position.x / across, m_corner.y + position.y / down};
        m_factor = crosses ? 0 : next;
        if (!IsFit()) {
            Keep(under, position, screen);
        }
    }
}

void Zoom::Move(double right, double down, const Screen& screen) {
    if (!IsFit()) {
        Keep(m_corner, {right, down}, screen);
    }
}

/// @param position of the picture that is to lie at @p at in the view
void Zoom::Keep(KQPointF position, KQPointF at, const Screen& screen) {
    const double across = m_factor * screen.pixelShape;
    m_corner = {
        Placed(position.x - at.x / across, screen.width / across, screen.pictureWidth, across),
        Placed(position.y - at.y / m_factor, screen.height / m_factor, screen.pictureHeight, m_factor)};
}

KQViewDisplay Zoom::Display(const Screen& first, const Screen& screen) const {
    KQViewDisplay display = {};
    if (IsFit()) {
        return display;
    }
    const double across = m_factor * first.pixelShape;
    const double wider = screen.pictureWidth / first.pictureWidth;
    const double higher = screen.pictureHeight / first.pictureHeight;
    display.source = {m_corner.x * wider, m_corner.y * higher, (m_corner.x + screen.width / across) * wider,
                      (m_corner.y + screen.height / m_factor) * higher};
    display.nScaling = m_factor >= sharpFrom ? KQ_SCALING_NEAREST : KQ_SCALING_BILINEAR;
    display.nResize = IMAGE_RESIZE_STRETCH;
    return display;
}

} // namespace kqplay
