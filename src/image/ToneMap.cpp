#include "ToneMap.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>

namespace kq::image {
namespace {

constexpr double whiteNits = 203;
/// Of the table by encoded components, each 2^segmentBits wide.
constexpr int segments = 4096, segmentBits = 12;
constexpr int whole = segments << segmentBits;
/// Tables by light have 1024 entries to a doubling, beginning with the one of leastLight, which is added so
/// that there is a beginning.
constexpr int leastLight = 256, lostBits = 13;
constexpr std::uint32_t firstIndex = (127 + 8) << (23 - lostBits);
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

/// Where a table by light has its entry, from 0 (no light) to the whole: the bits of a floating-point number.
std::uint32_t LightIndex(std::int32_t light) {
    const auto number = static_cast<float>(light + leastLight);
    std::uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof(bits));
    return (bits >> lostBits) - firstIndex;
}

/// @return function of the light in the middle of what an entry stands for, for all entries
template <class Value, class Function>
std::vector<Value> TableByLight(Function function) {
    std::vector<Value> table(LightIndex(whole) + 1);
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        const std::uint32_t bits = ((i + firstIndex) << lostBits) + (1u << (lostBits - 1));
        float number = 0;
        std::memcpy(&number, &bits, sizeof(number));
        const double light = (static_cast<double>(number) - leastLight) / whole;
        table[i] = static_cast<Value>(std::lround(function(std::min(light, 1.0))));
    }
    return table;
}

std::int32_t Bounded(std::int64_t value) {
    return static_cast<std::int32_t>(std::min<std::int64_t>(std::max<std::int64_t>(value, 0), whole));
}

} // namespace

ToneMap::ToneMap(bool hlg, int peak) : m_hlg(hlg), m_peak(peak), m_light(segments + 2) {
    for (int i = 0; i <= segments; ++i) {
        const double encoded = static_cast<double>(i) / segments;
        const double light =
            hlg ? SceneLightOfHlg(encoded) : std::min(NitsOfPq(Compressed(encoded, peak)) / whiteNits, 1.0);
        m_light[static_cast<std::size_t>(i)] = static_cast<std::int32_t>(std::lround(light * whole));
    }
    m_light.back() = m_light[segments];
    if (hlg) {
        const double gamma = 1.2 * std::pow(1.111, std::log2(whiteNits / 1000));
        m_systemGamma = TableByLight<std::int32_t>(
            [=](double light) { return 65536 * std::pow(std::max(light, 0.5 / whole), gamma - 1); });
    }
    m_encoded = TableByLight<std::uint8_t>([](double light) { return 255 * EncodedAsSrgb(light); });
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

std::int64_t ToneMap::LightOf(std::int64_t encoded) const {
    const auto bounded = static_cast<std::uint32_t>(Bounded(encoded));
    const std::int32_t* from = &m_light[bounded >> segmentBits];
    const std::int64_t rest = bounded & ((1u << segmentBits) - 1);
    return from[0] + ((from[1] - from[0]) * rest >> segmentBits);
}

Bgr ToneMap::Convert(std::int64_t r, std::int64_t g, std::int64_t b) const {
    std::int64_t red = LightOf(r), green = LightOf(g), blue = LightOf(b);
    if (m_hlg) {
        // Parts of luminance in BT.2020, with 16 fractional bits.
        const std::int64_t factor =
            m_systemGamma[LightIndex(Bounded((17216 * red + 44434 * green + 3886 * blue) >> 16))];
        red = red * factor >> 16;
        green = green * factor >> 16;
        blue = blue * factor >> 16;
    }
    // BT.2020 to BT.709, likewise.
    const auto encode = [&](std::int64_t fromRed, std::int64_t fromGreen, std::int64_t fromBlue) {
        return m_encoded[LightIndex(Bounded((fromRed * red + fromGreen * green + fromBlue * blue) >> 16))];
    };
    return {encode(-1189, -6592, 73317), encode(-8163, 74246, -547), encode(108822, -38512, -4774)};
}

} // namespace kq::image
