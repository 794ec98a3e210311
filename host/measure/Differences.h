/// @file
/// Where two files differ, found in the background.
#pragma once

#include "Measurer.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kq::measure {

/// Measures two files on a thread of low priority, from the time of its making on, and remembers which pairs
/// differ. Any thread may ask. Pictures that stay alone count as pairs that differ.
class Differences {
public:
    /// A pair that differs.
    struct Place {
        std::int64_t frame = 0; ///< number of the first file's picture
        double time = 0;        ///< its begin, seconds in that file
    };
    /// Pairs that differ without one between them that does not.
    struct Span {
        double begin = 0; ///< seconds in the first file
        double end = 0;   ///< begin of the first picture that does not differ, or of the last one measured
    };

    /// Begins to measure.
    explicit Differences(const MeasureRequest& request);
    /// Ends it, whatever is left.
    ~Differences();
    Differences(const Differences&) = delete;
    Differences& operator=(const Differences&) = delete;

    /// @return the first pair behind a picture that differs, as far as is known
    std::optional<Place> After(std::int64_t frame) const;
    /// @return the last pair before a picture that differs
    std::optional<Place> Before(std::int64_t frame) const;
    /// @return where the files differ, in order
    std::vector<Span> Spans() const;
    /// @return true when all has been measured
    bool IsDone() const;
    /// @return how far it has come, seconds in the first file
    double MeasuredUntil() const;
    /// @return why it could not measure, empty without a reason
    std::string Error() const;

private:
    void Run();
    void Add(std::int64_t frame, double time, bool differs);

    const MeasureRequest m_request;
    mutable std::mutex m_lock; ///< guards what follows
    std::unique_ptr<Measurer> m_measurer;
    std::vector<Place> m_places;
    std::vector<Span> m_spans;
    bool m_isInSpan = false;
    bool m_isDone = false;
    bool m_isCancelled = false;
    double m_until = 0;
    std::string m_error;
    std::thread m_thread;
};

} // namespace kq::measure
