#include "Speeds.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kqplay {

double Speeds::Playable(double speed) {
    return speed < 0 ? std::clamp(speed, -fastestBack, -slowest) : std::clamp(speed, slowest, fastest);
}

double Speeds::Changed(double speed, double factor) {
    constexpr double rounding = 0.005;
    const double changed = Playable(speed * factor);
    return std::abs(std::abs(changed) - 1) < rounding ? std::copysign(1.0, changed) : changed;
}

double Speeds::Shuttled(double speed, int direction) {
    const double along = speed * direction;
    const double most = direction > 0 ? fastest : fastestBack;
    double next = 1;
    while (next <= along && next < most) {
        next *= 2;
    }
    return next * direction;
}

std::string Speeds::Format(double speed) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3gx", speed);
    return text;
}

} // namespace kqplay
