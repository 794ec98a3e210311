/// @file
/// Sound played faster or slower at its own pitch.
#pragma once

#include "Handles.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace kq::streams {

/// FFmpeg's `atempo` over interleaved 16-bit samples.
class Tempo {
public:
    static constexpr double least = 0.25;
    static constexpr double most = 4;

    /// @param tempo from least to most
    /// @param rate  samples a second
    /// @return null when there is no such filter
    static std::unique_ptr<Tempo> Make(double tempo, int rate, std::size_t channels);

    /// @return by how many samples sound comes out early on an average
    double Lead() const { return m_lead; }
    /// Takes samples in. @return false when the filter fails
    bool Push(const std::vector<std::int16_t>& samples);
    /// Appends what has come out.
    void Pull(std::vector<std::int16_t>& samples);

private:
    Tempo(int rate, std::size_t channels) : m_rate(rate), m_channels(channels) {}

    bool Connect(double tempo);

    const int m_rate;
    const std::size_t m_channels;
    GraphHandle m_graph;
    AVFilterContext* m_source = nullptr; ///< owned by the graph, like the sink
    AVFilterContext* m_sink = nullptr;
    int m_told = 0; ///< the rate that the filter believes in
    double m_lead = 0;
    std::int64_t m_pushed = 0; ///< samples
};

} // namespace kq::streams
