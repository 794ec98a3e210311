/// @file
/// Which picture of one file belongs to which of another.
#pragma once

#include <streams/Handles.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace kq::measure {

using streams::Ticks;

/// A decoded picture.
struct Picture {
    streams::FrameHandle frame;
    Ticks fileTime = 0;      ///< begin, counted from the file's start
    Ticks time = 0;          ///< begin, counted from the begin of its file's first picture
    Ticks duration = 0;      ///< as the file tells, or its usual one
    std::int64_t number = 0; ///< in the file, counted from 0 in order of time
    bool afterLoss = false;  ///< one or more before it could not be decoded
};
using PicturePtr = std::shared_ptr<const Picture>;

/// Gives pictures in order of time.
class PictureSequence {
public:
    PictureSequence() = default;
    virtual ~PictureSequence() = default;
    PictureSequence(const PictureSequence&) = delete;
    PictureSequence& operator=(const PictureSequence&) = delete;

    /// @return null at the end
    virtual PicturePtr Next() = 0;
    virtual double Rate() const = 0;   ///< pictures per second
    virtual bool IsSteady() const = 0; ///< they come at equal distances
};

/// Finds pairs. Used by one thread.
///
/// Two files of one rate are paired picture by picture: the n-th with the n-th, where n is counted by the
/// times of the pictures, so that one that is missing in either file does not shift those behind it.
/// Otherwise each picture of the first file is paired with the one of the other that is on show at its begin.
/// In both cases a picture whose counterpart is missing (damaged, dropped, before the begin or behind the
/// end) stays alone: it is never paired with a neighbour of its counterpart.
class Pairing {
public:
    /// A picture of the first file and its counterpart; one of them is null for a picture that stays alone.
    struct Pair {
        PicturePtr first;
        PicturePtr second;
    };

    /// @param offset the first file's picture n belongs to the other one's picture n + offset
    Pairing(PictureSequence& first, PictureSequence& second, std::int64_t offset);

    /// @return nothing when either file has ended
    std::optional<Pair> Next();

    /// What follows behind the end of the other file; after Next() has given nothing.
    const PicturePtr& RestOfFirst() const { return m_first; }
    const PicturePtr& RestOfSecond() const { return m_isOneToOne ? m_second : m_secondAfter; }

    /// @return true when they are paired picture by picture
    bool IsOneToOne() const { return m_isOneToOne; }
    /// @return whether files of these rates would be
    static bool AreEqual(double rate, double other);

private:
    std::optional<Pair> NextOneToOne();
    std::optional<Pair> NextOnShow();
    PicturePtr TakeFirst();
    PicturePtr TakeSecond();
    double PlaceOfFirst(const Picture& picture) const;
    double PlaceOfSecond(const Picture& picture) const;
    double Distance(const PicturePtr& first, const PicturePtr& second) const;
    Ticks Shifted(const Picture& second) const { return second.time - m_shift; }
    bool IsOnShow(Ticks time) const;
    bool MissesNext() const;
    Ticks EndOf(const Picture& second) const;

    PictureSequence& m_firstFile;
    PictureSequence& m_secondFile;
    const std::int64_t m_offset;
    const bool m_isOneToOne;
    const bool m_countsByRate; ///< places are counted by each file's own rate
    const Ticks m_shift;       ///< the other file's times are so much later
    const Ticks m_tolerance;   ///< of times
    PicturePtr m_first;        ///< the next one of each file, and the one behind it
    PicturePtr m_firstAfter;
    PicturePtr m_second;
    PicturePtr m_secondAfter;
};

} // namespace kq::measure
