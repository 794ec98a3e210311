#include "Alignment.h"

#include "Peak.h"
#include "PictureTrait.h"
#include "SoundTrait.h"

#include <kqplayer/media_file.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace kq::compare {
namespace {

/// Shifts up to so many seconds, to both sides, are tried.
constexpr double mostApart = 10;
/// Places that are tried, as parts of the reference's length.
constexpr std::array<double, 5> places = {0.5, 0.75, 0.25, 0.9, 0.1};
/// So much of the reference is compared in each place: a quarter of a short film.
constexpr double partOfFilm = 0.25;
constexpr double shortestPart = 1;
/// What agrees at all has at least such a score and such a prominence.
constexpr double leastScore = 0.35;
constexpr double leastProminence = 0.3;
/// With a score from here on one place is enough, where there is no other one to try.
constexpr double clearScore = 0.6;
/// What was found is looked for so far around, in seconds, in another place.
constexpr double narrow = 0.5;
/// There it has to score nearly as high as anything else; what repeats itself may score as high elsewhere.
constexpr double asHigh = 0.95;

/// Scores by shift, in seconds.
struct Scores {
    double first = 0;
    double step = 1;
    std::size_t slope = 0; ///< see FindPeak()
    std::vector<double> values;

    /// @return the highest score within a step of a shift; the clocks of sound drift a little
    double Near(double shift) const {
        constexpr double sameSeconds = 0.005;
        double highest = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const double apart = std::abs(first + static_cast<double>(i) * step - shift);
            highest = apart < std::max(1.5 * step, sameSeconds) ? std::max(highest, values[i]) : highest;
        }
        return highest;
    }
    double ShiftOf(const Peak& peak) const { return first + static_cast<double>(peak.index) * step; }
};

/// Two open files, compared by one of their traits.
class Pair {
public:
    Pair() = default;
    virtual ~Pair() {
        m_reference.Release();
        m_other.Release();
    }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    /// @return false with the reason in @p error
    bool Open(const Search& search, std::string& error) {
        m_isCancelled = search.isCancelled;
        streams::OpenOptions how;
        how.queueBytes = 1; // what lies ahead is not wanted
        how.decoderThreads = search.decoderThreads;
        how.audio = search.by == Trait::Sound;
        return OpenOne(search.reference, how, m_reference, error) &&
               OpenOne(search.other, how, m_other, error);
    }
    /// @param at,length of what is compared, seconds in the reference
    /// @param low,high  bounds of the shift, seconds
    virtual Scores Compare(double at, double length, double low, double high) = 0;
    /// @return the most that is compared in one place, seconds
    virtual double LongestPart() const = 0;
    double Duration() const { return m_reference.facts.duration; }
    bool IsCancelled() const { return m_isCancelled && m_isCancelled(); }

protected:
    virtual bool HasTrait(const streams::MediaFile& file) const = 0;
    virtual const char* Lack() const = 0;

    const std::function<bool()>& Stopped() const { return m_isCancelled; }

    streams::MediaFile m_reference;
    streams::MediaFile m_other;

private:
    bool OpenOne(const std::string& path, const streams::OpenOptions& how, streams::MediaFile& file,
                 std::string& error) const {
        if (!streams::OpenMediaFile(path, how, file, error)) {
            return false;
        }
        if (!HasTrait(file)) {
            error = path + ": " + Lack();
            return false;
        }
        return true;
    }

    std::function<bool()> m_isCancelled;
};

class Pictures : public Pair {
public:
    Scores Compare(double at, double length, double low, double high) override {
        const double rate = m_other.facts.frameRate;
        Scores scores;
        scores.step = 1 / rate;
        scores.slope = static_cast<std::size_t>(std::ceil(slopeSeconds * rate)) + 2;
        const auto lowest = static_cast<int>(std::floor(low * rate));
        const auto highest = static_cast<int>(std::ceil(high * rate));
        scores.first = lowest * scores.step;
        const auto own = ReadThumbnails(*m_reference.video, at, at + length, Stopped());
        const auto others =
            ReadThumbnails(*m_other.video, at + low - margin, at + length + high + margin, Stopped());
        if (own.size() > 1 && others.size() > 1) {
            scores.values = CompareChanges(own, others, scores.first, scores.step,
                                           static_cast<std::size_t>(highest - lowest) + 1);
        }
        return scores;
    }
    double LongestPart() const override { return 5; }

protected:
    bool HasTrait(const streams::MediaFile& file) const override { return file.video != nullptr; }
    const char* Lack() const override { return "no pictures to compare"; }

private:
    static constexpr double slopeSeconds = 0.1; ///< a slow movement looks alike so far around
    static constexpr double margin = 0.2;       ///< for the pictures that hold a time
};

class Sounds : public Pair {
public:
    Scores Compare(double at, double length, double low, double high) override {
        const Wave own = ReadWave(*m_reference.audio, at, at + length, Stopped());
        const Wave others = ReadWave(*m_other.audio, at + low, at + length + high, Stopped());
        Scores scores;
        scores.step = 1.0 / Wave::rate;
        scores.slope = Wave::rate / 20;
        scores.first = others.begin - own.begin;
        scores.values = CompareWaves(own, others);
        return scores;
    }
    double LongestPart() const override { return 8; }

protected:
    bool HasTrait(const streams::MediaFile& file) const override { return file.audio != nullptr; }
    const char* Lack() const override { return "no sound to compare"; }
};

bool IsClear(const Peak& peak) {
    return peak.score >= leastScore && peak.prominence >= leastProminence;
}

/// What other places say of a shift that one has found.
enum class Verdict { Agree, Disagree, Unknown };

/// Looks for the offset of one pair of files.
class Seeker {
public:
    explicit Seeker(Pair& pair)
        : m_pair(pair),
          m_length(std::max(shortestPart, std::min(pair.LongestPart(), pair.Duration() * partOfFilm))) {}

    Outcome Run() {
        Outcome best;
        for (std::size_t place = 0; place < places.size() && !m_pair.IsCancelled(); ++place) {
            const Scores scores = m_pair.Compare(At(place), m_length, -mostApart, mostApart);
            const Peak peak = FindPeak(scores.values, scores.slope);
            const double confidence = std::clamp(peak.score * peak.prominence, 0.0, 1.0);
            if (confidence > best.confidence) {
                best.offset = scores.ShiftOf(peak);
                best.confidence = confidence;
            }
            if (IsClear(peak)) {
                const Verdict verdict = Confirm(scores.ShiftOf(peak), place);
                best.isSure =
                    verdict == Verdict::Agree || (verdict == Verdict::Unknown && peak.score >= clearScore);
                return best;
            }
        }
        return best;
    }

private:
    /// @return where a place begins, seconds in the reference
    double At(std::size_t place) const {
        return std::max(0.0, (m_pair.Duration() - m_length) * places.at(place));
    }

    /// Asks one other place, the first that has something to say.
    Verdict Confirm(double offset, std::size_t found) {
        for (std::size_t place = 0; place < places.size() && !m_pair.IsCancelled(); ++place) {
            if (std::abs(At(place) - At(found)) < m_length / 2) {
                continue;
            }
            const Scores scores = m_pair.Compare(At(place), m_length, offset - narrow, offset + narrow);
            const double highest = FindPeak(scores.values, 0).score;
            if (highest < leastScore) {
                continue; // the other file has nothing there, or nothing moves
            }
            return scores.Near(offset) >= asHigh * highest ? Verdict::Agree : Verdict::Disagree;
        }
        return Verdict::Unknown;
    }

    Pair& m_pair;
    const double m_length; ///< of what is compared in a place, seconds
};

} // namespace

Outcome FindOffset(const Search& search) {
    std::unique_ptr<Pair> pair;
    if (search.by == Trait::Sound) {
        pair = std::make_unique<Sounds>();
    } else {
        pair = std::make_unique<Pictures>();
    }
    Outcome outcome;
    if (!pair->Open(search, outcome.error)) {
        return outcome;
    }
    return Seeker(*pair).Run();
}

} // namespace kq::compare
