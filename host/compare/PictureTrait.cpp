#include "PictureTrait.h"

#include <kqplayer/convenience.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace kq::compare {
namespace {

/// Of large pictures so many rows and columns of each part count.
constexpr int samplesInPart = 24;
/// Pictures of one colour, but for noise, have no contrast to take out.
constexpr float leastDeviation = 0.5F;
/// A shift is judged by no less than this share of the reference.
constexpr double leastShare = 0.5;

bool IsDeep(std::int32_t kind) {
    return kind == KQ_PICTURE_PLANAR_420_10 || kind == KQ_PICTURE_PLANAR_422_10 ||
           kind == KQ_PICTURE_PLANAR_444_10 || kind == KQ_PICTURE_P010;
}

/// @return the luma of a sample in levels of 8 bits
float LumaAt(const MEDIA_FRAME& frame, int x, int y) {
    const std::uint8_t* const row = frame.image.pY + static_cast<std::ptrdiff_t>(y) * frame.image.nPitchY;
    if (!IsDeep(frame.nKind)) {
        return row[x];
    }
    const auto word = static_cast<float>(row[2 * x] + 256 * row[2 * x + 1]);
    return frame.nKind == KQ_PICTURE_P010 ? word / 256 : word / 4;
}

float MeanOf(const MEDIA_FRAME& frame, int left, int right, int top, int bottom) {
    const int stepX = std::max(1, (right - left) / samplesInPart);
    const int stepY = std::max(1, (bottom - top) / samplesInPart);
    float sum = 0;
    int count = 0;
    for (int y = top; y < std::max(bottom, top + 1); y += stepY) {
        for (int x = left; x < std::max(right, left + 1); x += stepX) {
            sum += LumaAt(frame, x, y);
            ++count;
        }
    }
    return sum / static_cast<float>(count);
}

/// Takes brightness and contrast out.
void Normalise(Thumbnail& thumbnail) {
    float sum = 0;
    for (const float part : thumbnail.parts) {
        sum += part;
    }
    const float mean = sum / static_cast<float>(thumbnail.parts.size());
    float squares = 0;
    for (float& part : thumbnail.parts) {
        part -= mean;
        squares += part * part;
    }
    const float deviation = std::sqrt(squares / static_cast<float>(thumbnail.parts.size()));
    const float factor = deviation > leastDeviation ? 1 / deviation : 0;
    for (float& part : thumbnail.parts) {
        part *= factor;
    }
}

/// A change of the reference from one picture to the next.
using Change = std::array<float, Thumbnail::count>;

Change ChangeBetween(const Thumbnail& before, const Thumbnail& after) {
    Change change{};
    for (std::size_t i = 0; i < change.size(); ++i) {
        change[i] = after.parts[i] - before.parts[i];
    }
    return change;
}

float Product(const Change& a, const Change& b) {
    float sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += a[i] * b[i];
    }
    return sum;
}

/// @return the place of the picture on show at a time, the number of all where none is
std::size_t OnShow(const std::vector<Thumbnail>& film, double time, double slack) {
    const auto after =
        std::upper_bound(film.begin(), film.end(), time + slack,
                         [](double value, const Thumbnail& thumbnail) { return value < thumbnail.time; });
    const bool isBehind = after == film.end() && time > film.back().time + 2 * slack;
    return after == film.begin() || isBehind ? film.size()
                                             : static_cast<std::size_t>(after - film.begin()) - 1;
}

} // namespace

Thumbnail Shrink(const MEDIA_FRAME& frame, double time) {
    Thumbnail thumbnail;
    thumbnail.time = time;
    const auto edge = [](int size, int at, int parts) { return std::min(size * at / parts, size - 1); };
    auto part = thumbnail.parts.begin();
    for (int row = 0; row < Thumbnail::rows; ++row) {
        const int top = edge(frame.image.nHeight, row, Thumbnail::rows);
        const int bottom = edge(frame.image.nHeight, row + 1, Thumbnail::rows);
        for (int column = 0; column < Thumbnail::columns; ++column) {
            const int left = edge(frame.image.nWidth, column, Thumbnail::columns);
            const int right = edge(frame.image.nWidth, column + 1, Thumbnail::columns);
            *part++ = MeanOf(frame, left, right, top, bottom);
        }
    }
    Normalise(thumbnail);
    return thumbnail;
}

std::vector<Thumbnail> ReadThumbnails(IMediaStream& video, double from, double to,
                                      const std::function<bool()>& isStopped) {
    std::vector<Thumbnail> film;
    video.Seek(std::max(from, 0.0), ExactSeek);
    do {
        const MEDIA_FRAME* const frame = video.GetCurrentFrame();
        const double time = frame != nullptr ? static_cast<double>(frame->llPTS) / TicksPerSecond : 0;
        if (frame == nullptr || time >= to || (isStopped && isStopped())) {
            break;
        }
        film.push_back(Shrink(*frame, time));
    } while (video.NextFrame() > 0);
    return film;
}

std::vector<double> CompareChanges(const std::vector<Thumbnail>& reference,
                                   const std::vector<Thumbnail>& other, double first, double step,
                                   std::size_t count) {
    std::vector<Change> changes;
    std::vector<double> squaresOf;
    for (std::size_t i = 1; i < reference.size(); ++i) {
        changes.push_back(ChangeBetween(reference[i - 1], reference[i]));
        squaresOf.push_back(Product(changes.back(), changes.back()));
    }
    // Clocks of files round to milliseconds, and pictures begin somewhere within those of another rate.
    const double slack = step / 4;
    std::vector<double> scores;
    for (std::size_t shift = 0; shift < count; ++shift) {
        const double apart = first + static_cast<double>(shift) * step;
        double products = 0;
        double ownSquares = 0;
        double otherSquares = 0;
        std::size_t compared = 0;
        for (std::size_t i = 0; i < changes.size(); ++i) {
            const std::size_t before = OnShow(other, reference[i].time + apart, slack);
            const std::size_t after = OnShow(other, reference[i + 1].time + apart, slack);
            if (before == other.size() || after == other.size()) {
                continue;
            }
            const Change change = ChangeBetween(other[before], other[after]);
            products += Product(changes[i], change);
            ownSquares += squaresOf[i];
            otherSquares += Product(change, change);
            ++compared;
        }
        const double squares = std::sqrt(ownSquares * otherSquares);
        const bool isEnough =
            static_cast<double>(compared) >= leastShare * static_cast<double>(changes.size());
        scores.push_back(isEnough && squares > 0 ? products / squares : 0);
    }
    return scores;
}

} // namespace kq::compare
