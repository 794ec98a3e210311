#include "Summary.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <limits>

namespace kq::measure {
namespace {

constexpr std::size_t worstListed = 10;
constexpr std::size_t freezesListed = 10;
constexpr std::size_t plotRows = 8;
constexpr std::size_t labelWidth = 9; ///< of the plot's scale, "  48.21 |"
constexpr double infinite = std::numeric_limits<double>::infinity();

__attribute__((format(printf, 1, 2))) std::string Print(const char* format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

/// @return "1:02.503"
std::string TimeText(double seconds) {
    const auto milliseconds = std::llround(std::max(seconds, 0.0) * 1000);
    return Print("%lld:%02lld.%03lld", milliseconds / 60000, milliseconds / 1000 % 60, milliseconds % 1000);
}

double LumaPsnr(const MeasuredPair& pair) {
    return pair.planes[0].psnr.value_or(infinite);
}

std::string Pictures(std::int64_t count) {
    return Print("%" PRId64 " picture%s", count, count == 1 ? "" : "s");
}

} // namespace

void Summary::Add(const MeasuredPair& pair) {
    m_pairs.push_back(pair);
    m_equal += pair.IsEqual() ? 1 : 0;
}

void Summary::Add(const LonePicture& picture) {
    std::int64_t& count = picture.isOther ? m_otherAlone : m_alone;
    if (count == 0) {
        (picture.isOther ? m_otherFirstAlone : m_firstAlone) = picture;
    }
    ++count;
}

std::vector<MeasuredPair> Summary::Worst(std::size_t most) const {
    std::vector<MeasuredPair> worst;
    std::copy_if(m_pairs.begin(), m_pairs.end(), std::back_inserter(worst),
                 [](const MeasuredPair& pair) { return !pair.IsEqual(); });
    const std::size_t count = std::min(most, worst.size());
    const auto isWorse = [](const MeasuredPair& a, const MeasuredPair& b) {
        return LumaPsnr(a) != LumaPsnr(b) ? LumaPsnr(a) < LumaPsnr(b) : a.frame < b.frame;
    };
    std::partial_sort(worst.begin(), worst.begin() + static_cast<std::ptrdiff_t>(count), worst.end(),
                      isWorse);
    worst.resize(count);
    return worst;
}

double Summary::LeastPsnr() const {
    double least = infinite;
    for (const MeasuredPair& pair : m_pairs) {
        least = std::min(least, LumaPsnr(pair));
    }
    return least;
}

double Summary::LeastSsim() const {
    double least = 1;
    for (const MeasuredPair& pair : m_pairs) {
        least = std::min(least, pair.planes[0].ssim.value_or(1));
    }
    return least;
}

std::string Summary::Text(const std::string& file, const std::string& other, const MeasureOutcome& outcome,
                          int columns) const {
    const auto width = static_cast<std::size_t>(std::clamp(columns, 40, 160));
    std::string text = Head(file, other);
    if (!m_pairs.empty()) {
        text += Means() + Plot(width) + (other.empty() ? Freezes() : WorstTable());
    }
    text += Missing(file, other, outcome);
    if (!outcome.isComplete) {
        text += "Not all was measured: it was interrupted.\n";
    }
    return text;
}

std::string Summary::Head(const std::string& file, const std::string& other) const {
    const auto count = PairCount();
    std::string text =
        other.empty() ? file + "\neach picture against the one before it\n" : file + "\n" + other + "\n";
    text += Print("%" PRId64 " pair%s measured", count, count == 1 ? "" : "s");
    if (count == 0) {
        return text + "\n";
    }
    text += ", ";
    if (m_equal == count) {
        return text + "all equal\n";
    }
    return text + (m_equal > 0 ? Print("%" PRId64 " equal\n", m_equal) : "none equal\n");
}

/// The PSNR of all is that of the mean error, the SSIM of all the mean.
std::string Summary::Means() const {
    std::string psnr = "PSNR";
    std::string ssim = "SSIM";
    constexpr std::array<char, 3> names = {'Y', 'U', 'V'};
    const auto count = static_cast<double>(m_pairs.size());
    for (std::size_t plane = 0; plane < static_cast<std::size_t>(m_pairs.front().planeCount); ++plane) {
        double error = 0;
        double similarity = 0;
        for (const MeasuredPair& pair : m_pairs) {
            error += pair.planes[plane].meanSquare / count;
            similarity += pair.planes[plane].ssim.value_or(1) / count;
        }
        psnr += error > 0 ? Print("  %c %8.4f", names[plane], Psnr(error, m_pairs.front().depth))
                          : Print("  %c    equal", names[plane]);
        ssim += m_pairs.front().planes[plane].ssim ? Print("  %c %8.6f", names[plane], similarity)
                                                   : Print("  %c        -", names[plane]);
    }
    psnr += std::isinf(LeastPsnr()) ? "" : Print("   least Y %.4f", LeastPsnr());
    return psnr + "\n" + ssim + Print("   least Y %.6f\n", LeastSsim());
}

/// Each column shows the worst of its pairs; full height stands for equal ones too.
std::string Summary::Plot(std::size_t width) const {
    const std::size_t columns = std::min(width - labelWidth - 1, m_pairs.size());
    std::vector<double> worst(columns, infinite);
    for (std::size_t i = 0; i < m_pairs.size(); ++i) {
        double& column = worst[i * columns / m_pairs.size()];
        column = std::min(column, LumaPsnr(m_pairs[i]));
    }
    double low = infinite;
    double high = 0;
    for (const double value : worst) {
        low = std::min(low, value);
        high = std::isinf(value) ? high : std::max(high, value);
    }
    if (std::isinf(low)) {
        return {}; // all are equal
    }
    high = std::max(high, low + 1);
    const double step = (high - low) / (plotRows - 1);
    std::string text = "PSNR Y, the worst of each column\n";
    for (std::size_t row = plotRows; row-- > 0;) {
        const double level = low + step * static_cast<double>(row);
        std::string line = Print("%7.2f |", level);
        for (const double value : worst) {
            line += value >= level - step / 2 ? '#' : ' ';
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    const std::string begin = TimeText(m_pairs.front().time);
    const std::string end = TimeText(m_pairs.back().time);
    const std::size_t used = begin.size() + end.size();
    const std::string between(columns > used ? columns - used : 1, ' ');
    return text + std::string(labelWidth, ' ') + begin + between + end + "\n";
}

std::string Summary::WorstTable() const {
    const std::vector<MeasuredPair> worst = Worst(worstListed);
    if (worst.empty()) {
        return {};
    }
    std::string text = "  worst        time   PSNR Y   SSIM Y\n";
    for (const MeasuredPair& pair : worst) {
        const std::string psnr = pair.planes[0].psnr ? Print("%8.4f", *pair.planes[0].psnr) : "   equal";
        const std::string ssim = pair.planes[0].ssim ? Print("%8.6f", *pair.planes[0].ssim) : "       -";
        text += Print("%7s  %10s %s %s\n", Print("#%" PRId64, pair.frame).c_str(),
                      TimeText(pair.time).c_str(), psnr.c_str(), ssim.c_str());
    }
    return text;
}

/// Where pictures equal the ones before them, the longest first.
std::string Summary::Freezes() const {
    std::vector<Freeze> freezes;
    bool isFrozen = false;
    for (const MeasuredPair& pair : m_pairs) {
        if (pair.IsEqual() && !isFrozen) {
            freezes.push_back({pair, 0});
        }
        isFrozen = pair.IsEqual();
        if (isFrozen) {
            ++freezes.back().pictures;
        }
    }
    std::stable_sort(freezes.begin(), freezes.end(),
                     [](const Freeze& a, const Freeze& b) { return a.pictures > b.pictures; });
    std::string text;
    for (std::size_t i = 0; i < std::min(freezes.size(), freezesListed); ++i) {
        const MeasuredPair& begin = freezes[i].begin;
        text += Print("#%" PRId64 " stays for %s from %s on\n", begin.otherFrame,
                      Pictures(freezes[i].pictures + 1).c_str(), TimeText(begin.otherTime).c_str());
    }
    if (freezes.size() > freezesListed) {
        text += Print("and %zu more\n", freezes.size() - freezesListed);
    }
    return text.empty() ? "no picture equals the one before it\n" : text;
}

std::string Summary::Missing(const std::string& file, const std::string& other,
                             const MeasureOutcome& outcome) const {
    std::string text;
    const auto alone = [&text](const std::string& name, std::int64_t count, const LonePicture& first) {
        if (count > 0) {
            text += name + ": " + Pictures(count) + " without a counterpart, the first is " +
                    Print("#%" PRId64 " at ", first.frame) + TimeText(first.time) + "\n";
        }
    };
    const auto rest = [&text](const std::string& name, bool goesOn, std::int64_t count) {
        if (goesOn) {
            text += name + " goes on " + (count > 0 ? "for " + Pictures(count) + " " : "") +
                    "after the other's end\n";
        }
    };
    const auto lost = [&text](const std::string& name, std::int64_t count) {
        if (count > 0) {
            text += name + ": " + Print("%" PRId64, count) + " damaged packets or frames left out\n";
        }
    };
    alone(file, m_alone, m_firstAlone);
    alone(other, m_otherAlone, m_otherFirstAlone);
    rest(file, outcome.goesOn, outcome.rest);
    rest(other, outcome.otherGoesOn, outcome.otherRest);
    lost(file, outcome.lost);
    lost(other, outcome.otherLost);
    return text;
}

} // namespace kq::measure
