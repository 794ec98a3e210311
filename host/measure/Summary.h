/// @file
/// What a measurement comes to, for people.
#pragma once

#include "Measurer.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kq::measure {

/// Gathers results and tells them as text, lines of which are no wider than asked for.
class Summary {
public:
    void Add(const MeasuredPair& pair);
    void Add(const LonePicture& picture);

    std::int64_t PairCount() const { return static_cast<std::int64_t>(m_pairs.size()); }
    std::int64_t EqualCount() const { return m_equal; }
    std::int64_t AloneCount() const { return m_alone; }
    /// @return the worst pairs by the PSNR of luma, the worst first; equal ones are none of them
    std::vector<MeasuredPair> Worst(std::size_t most) const;
    /// @return the smallest figures of any pair's luma; infinite, and 1, without one
    double LeastPsnr() const;
    double LeastSsim() const;

    /// @param file,other names to be printed; an empty second one: pictures were measured against those
    /// before
    /// @param columns of the terminal, at least 40 are used
    std::string Text(const std::string& file, const std::string& other, const MeasureOutcome& outcome,
                     int columns) const;

private:
    /// Pictures that do not change.
    struct Freeze {
        MeasuredPair begin; ///< the first that equals the one before it
        std::int64_t pictures = 0;
    };

    std::string Head(const std::string& file, const std::string& other) const;
    std::string Means() const;
    std::string Plot(std::size_t columns) const;
    std::string WorstTable() const;
    std::string Freezes() const;
    std::string Missing(const std::string& file, const std::string& other,
                        const MeasureOutcome& outcome) const;

    std::vector<MeasuredPair> m_pairs;
    std::int64_t m_equal = 0;
    std::int64_t m_alone = 0;
    std::int64_t m_otherAlone = 0;
    LonePicture m_firstAlone;
    LonePicture m_otherFirstAlone;
};

} // namespace kq::measure
