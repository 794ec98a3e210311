/// @file
/// One call of a conversion routine beside its plain reference, on memory that shows every stray access.
#pragma once

#include <kqplayer/bitmap.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace kq::image::test {

/// Memory that ends (or begins) at a page without access, so that one byte too far stops the test.
class GuardedBuffer {
public:
    GuardedBuffer(std::size_t bytes, bool flushWithEnd);
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;
    ~GuardedBuffer();

    std::uint8_t* Data() const { return m_data; }
    std::size_t Size() const { return m_bytes; }

private:
    std::size_t m_bytes;
    std::size_t m_mapped;
    std::uint8_t* m_mapping;
    std::uint8_t* m_data;
};

/// A plane or a bitmap inside a buffer of a trial.
struct Area {
    std::uint8_t* data;
    std::int32_t pitch;
};

/// The random sizes, pitches and contents of one comparison.
class Trial {
public:
    explicit Trial(std::uint32_t seed);
    /// Takes its numbers from these bytes as long as there are any, contents excepted.
    Trial(std::uint32_t seed, std::vector<std::uint8_t> numbers);

    std::int32_t Between(std::int32_t low, std::int32_t high);
    bool Flag() { return Between(0, 1) != 0; }
    /// Mostly small and odd, sometimes wide.
    std::int32_t Size();
    /// As many rows as make a comparison quick.
    std::int32_t Rows();

    /// From now on rows to write begin at cache lines, as stores past the caches need it.
    void AlignDestinations() { m_aligned = true; }

    /// Rows to read: nothing but the rows is readable. Without a pitch a random one is taken.
    Area Source(std::int32_t rowBytes, std::int32_t rows, std::int32_t pitch = 0);
    /// Rows to write, with bytes around and between them that must stay as they are.
    Area Destination(std::int32_t rowBytes, std::int32_t rows, std::int32_t pitch = 0);

    /// Runs both on the same destinations.
    /// @return empty when every byte agrees, otherwise where they differ
    std::string Compare(const std::function<void()>& routine, const std::function<void()>& reference);
    template <class Routine, class... Arguments>
    std::string Compare(Routine routine, Routine reference, Arguments... arguments) {
        return Compare([&] { routine(arguments...); }, [&] { reference(arguments...); });
    }

private:
    Area Place(std::vector<std::unique_ptr<GuardedBuffer>>& buffers, std::int32_t rowBytes, std::int32_t rows,
               std::int32_t pitch, std::size_t margin);
    void Fill(std::uint8_t* data, std::size_t bytes);

    std::mt19937 m_random;
    std::vector<std::uint8_t> m_numbers;
    std::size_t m_used = 0; ///< of them
    bool m_aligned = false;
    std::vector<std::unique_ptr<GuardedBuffer>> m_sources;
    std::vector<std::unique_ptr<GuardedBuffer>> m_destinations;
};

/// A header as far as the routines read it.
inline tagBITMAPINFOHEADER Header(std::int32_t width, std::int32_t height, int bits) {
    return {40, width, height, 1, static_cast<std::uint16_t>(bits), 0, 0, 0, 0, 0, 0};
}

using EightParameters = void (*)(std::uint8_t*, std::uint8_t*, std::uint8_t*, std::int32_t, std::int32_t,
                                 std::int32_t, tagBITMAPINFOHEADER*, std::uint8_t*);

/// The instruction sets that this processor and this build can dispatch to.
std::vector<std::int64_t> DispatchTargets();
std::string TargetName(std::int64_t target);
/// Dispatches to one target only; 0 goes back to the best one.
void UseTarget(std::int64_t target);

} // namespace kq::image::test
