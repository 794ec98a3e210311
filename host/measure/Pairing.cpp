#include "Pairing.h"

#include <cmath>
#include <limits>
#include <utility>

namespace kq::measure {
namespace {

/// Rates that differ by less than this part are one rate, written with fewer digits; 24 and 24000/1001 are
/// not.
constexpr double sameRate = 5e-4;

Ticks StepAt(double rate) {
    return static_cast<Ticks>(static_cast<double>(TicksPerSecond) / rate);
}

} // namespace

bool Pairing::AreEqual(double rate, double other) {
    return std::abs(rate - other) < sameRate * rate;
}

Pairing::Pairing(PictureSequence& first, PictureSequence& second, std::int64_t offset)
    : m_firstFile(first), m_secondFile(second), m_offset(offset),
      m_isOneToOne(AreEqual(first.Rate(), second.Rate())),
      m_countsByRate(first.IsSteady() && second.IsSteady()), m_shift(offset * StepAt(second.Rate())),
      m_tolerance(TicksPerSecond / 1000), m_first(first.Next()), m_firstAfter(first.Next()),
      m_second(second.Next()), m_secondAfter(second.Next()) {}

std::optional<Pairing::Pair> Pairing::Next() {
    return m_isOneToOne ? NextOneToOne() : NextOnShow();
}

/// Pairs those that are nearest to each other, by no more than half a picture.
std::optional<Pairing::Pair> Pairing::NextOneToOne() {
    if (!m_first || !m_second) {
        return std::nullopt;
    }
    const double distance = Distance(m_first, m_second);
    const bool isNearest =
        distance <= Distance(m_firstAfter, m_second) && distance <= Distance(m_first, m_secondAfter);
    if (distance <= 0.5 && isNearest) {
        PicturePtr first = TakeFirst();
        return Pair{std::move(first), TakeSecond()};
    }
    if (PlaceOfFirst(*m_first) < PlaceOfSecond(*m_second)) {
        return Pair{TakeFirst(), nullptr};
    }
    return Pair{nullptr, TakeSecond()};
}

/// Pairs each picture of the first file with what the other one shows then.
std::optional<Pairing::Pair> Pairing::NextOnShow() {
    if (!m_first) {
        return std::nullopt;
    }
    const Ticks time = m_first->time + m_tolerance;
    while (m_secondAfter && Shifted(*m_secondAfter) <= time) {
        TakeSecond();
    }
    if (!m_second || (!m_secondAfter && time >= EndOf(*m_second))) {
        m_second = nullptr;
        return std::nullopt;
    }
    PicturePtr second = IsOnShow(time) ? m_second : nullptr;
    return Pair{TakeFirst(), std::move(second)};
}

/// @return true when the other file's present picture is on show, and not one that is missing behind it
bool Pairing::IsOnShow(Ticks time) const {
    if (Shifted(*m_second) > time) {
        return false;
    }
    return !MissesNext() || time < EndOf(*m_second);
}

/// @return true when pictures are missing behind the other file's present one
bool Pairing::MissesNext() const {
    if (!m_secondAfter) {
        return false;
    }
    const double steps = streams::ToSeconds(m_secondAfter->time - m_second->time) * m_secondFile.Rate();
    return m_secondAfter->afterLoss || (m_secondFile.IsSteady() && steps > 1.5);
}

/// @return when the other file's picture would be over if one were missing behind it
Ticks Pairing::EndOf(const Picture& second) const {
    const bool isUsual = m_secondFile.IsSteady() || second.duration <= 0;
    return Shifted(second) + (isUsual ? StepAt(m_secondFile.Rate()) : second.duration);
}

PicturePtr Pairing::TakeFirst() {
    PicturePtr taken = std::exchange(m_first, std::exchange(m_firstAfter, nullptr));
    m_firstAfter = m_first ? m_firstFile.Next() : nullptr;
    return taken;
}

PicturePtr Pairing::TakeSecond() {
    PicturePtr taken = std::exchange(m_second, std::exchange(m_secondAfter, nullptr));
    m_secondAfter = m_second ? m_secondFile.Next() : nullptr;
    return taken;
}

/// @return where a picture stands, counted in pictures
double Pairing::PlaceOfFirst(const Picture& picture) const {
    return streams::ToSeconds(picture.time) * m_firstFile.Rate();
}

double Pairing::PlaceOfSecond(const Picture& picture) const {
    const double rate = m_countsByRate ? m_secondFile.Rate() : m_firstFile.Rate();
    return streams::ToSeconds(picture.time) * rate - static_cast<double>(m_offset);
}

double Pairing::Distance(const PicturePtr& first, const PicturePtr& second) const {
    if (!first || !second) {
        return std::numeric_limits<double>::infinity();
    }
    return std::abs(PlaceOfFirst(*first) - PlaceOfSecond(*second));
}

} // namespace kq::measure
