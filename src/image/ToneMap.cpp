#include "ToneMap.h"

#include <algorithm>
#include <cmath>
#include <mutex>

namespace kq::image {
namespace {

constexpr double whiteNits = 203;
/// Of maps kept at hand: as many HDR streams of different peaks play side by side without making tables anew.
constexpr std::size_t keptMaps = 8;

constexpr double m1 = 2610.0 / 16384, m2 = 2523.0 / 32, c1 = 3424.0 / 4096, c2 = 2413.0 / 128,
                 c3 = 2392.0 / 128;

double PqOfNits(double nits) {
    const double power = std::pow(nits / 10000, m1);
    return std::pow((c1 + c2 * power) / (1 + c3 * power), m2);
}

double NitsOfPq(double encoded) {
    const double power = std::pow(encoded, 1 / m2);
    return 10000 * std::pow(std::max(power - c1, 0.0) / (c2 - c3 * power), 1 / m1);
}

/// BT.2390's EETF for black at 0.
double Compressed(double encoded, double peakNits) {
    const double peak = PqOfNits(peakNits), target = PqOfNits(whiteNits) / peak;
    const double knee = 1.5 * target - 0.5, e = std::min(encoded / peak, 1.0);
    if (target >= 1 || e < knee) {
        return encoded;
    }
    const double t = (e - knee) / (1 - knee), t2 = t * t, t3 = t2 * t;
    return peak *
           ((2 * t3 - 3 * t2 + 1) * knee + (t3 - 2 * t2 + t) * (1 - knee) + (-2 * t3 + 3 * t2) * target);
}

double SceneLightOfHlg(double encoded) {
    constexpr double a = 0.17883277, b = 1 - 4 * a;
    const double c = 0.5 - a * std::log(4 * a);
    return encoded <= 0.5 ? encoded * encoded / 3 : (std::exp((encoded - c) / a) + b) / 12;
}

double EncodedAsSrgb(double light) {
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

/// @return the entry of a piece between two values of a curve
std::int32_t Piece(int from, int to) {
    return from * 65536 + ((to - from) & 0xFFFF);
}

/// @param valueAt the curve's value at the beginning of a piece
template <class Function>
std::vector<std::int32_t> CurveOf(int pieces, Function valueAt) {
    const auto at = [&](int i) { return static_cast<int>(std::lround(valueAt(i))); };
    std::vector<std::int32_t> curve;
    for (int i = 0; i < pieces; ++i) {
        curve.push_back(Piece(at(i), at(i + 1)));
    }
    return curve;
}

/// @param function of light, 1 for the whole
template <class Function>
std::vector<std::int32_t> CurveByLight(Function function) {
    constexpr int perDoubling = 1 << (23 - ToneCurves::lightPieceBits);
    return CurveOf(ToneCurves::lightPieces, [&](int i) {
        const double doubled =
            std::ldexp(1 + static_cast<double>(i % perDoubling) / perDoubling, i / perDoubling);
        return function((doubled - 1) * ToneCurves::leastLight / ToneCurves::wholeLight);
    });
}

} // namespace

ToneMap::ToneMap(bool hlg, int peak) : m_hlg(hlg), m_peak(peak) {
    constexpr int pieces = 1 << (ToneCurves::encodedBits - ToneCurves::encodedPieceBits);
    // The end of the last piece is a piece of its own.
    m_light = CurveOf(pieces + 1, [=](int i) {
        const double encoded = std::min(static_cast<double>(i) / pieces, 1.0);
        const double light =
            hlg ? SceneLightOfHlg(encoded) : std::min(NitsOfPq(Compressed(encoded, peak)) / whiteNits, 1.0);
        return light * ToneCurves::wholeLight - ToneCurves::middleLight;
    });
    if (hlg) {
        const double gamma = 1.2 * std::pow(1.111, std::log2(whiteNits / 1000));
        // The factor is steepest, and light least, in the first piece: it begins where it is nearest to all
        // of it.
        constexpr double least = 6.0 / ToneCurves::wholeLight;
        m_systemGamma = CurveByLight(
            [=](double light) { return (1 << 14) * std::pow(std::max(light, least), gamma - 1); });
    }
    m_levels = CurveByLight([](double light) { return 128 * 255 * EncodedAsSrgb(light) + 64; });
}

ToneCurves ToneMap::Curves() const {
    return {m_light.data(), m_hlg ? m_systemGamma.data() : nullptr, m_levels.data()};
}

std::shared_ptr<const ToneMap> ToneMap::For(bool hlg, int peak) {
    static std::mutex mutex;
    static std::vector<std::shared_ptr<const ToneMap>> kept;
    const std::lock_guard lock(mutex);
    for (const auto& map : kept) {
        if (map->m_hlg == hlg && map->m_peak == peak) {
            return map;
        }
    }
    auto made = std::make_shared<const ToneMap>(hlg, peak);
    if (kept.size() == keptMaps) {
        kept.erase(kept.begin());
    }
    kept.push_back(made);
    return made;
}

} // namespace kq::image
