/// @file
/// What the fuzzers share: numbers out of an input's bytes, and the one line that a finding is told in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

namespace kq::fuzz {

/// Takes numbers out of an input; behind its end they are 0.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_left(size) {}

    bool IsEmpty() const { return m_left == 0; }
    std::size_t Left() const { return m_left; }
    const std::uint8_t* Rest() const { return m_data; }

    std::uint8_t Byte() {
        if (m_left == 0) {
            return 0;
        }
        --m_left;
        return *m_data++;
    }
    bool Flag() { return (Byte() & 1) != 0; }
    std::uint32_t Word() {
        std::uint32_t word = 0;
        for (int i = 0; i < 4; ++i) {
            word = word << 8 | Byte();
        }
        return word;
    }
    /// @param low,high both included, at most 65535 apart
    int Between(int low, int high) {
        const int span = high - low + 1;
        const int number = span <= 256 ? Byte() : Byte() << 8 | Byte();
        return low + number % span;
    }
    template <class Values>
    auto Pick(const Values& values) {
        return values[static_cast<std::size_t>(Byte()) % std::size(values)];
    }
    /// Mostly a number of pixels or seconds, now and then one that nobody expects.
    double Number() {
        constexpr double odd[] = {-1, 0, 0.5, 1e-300, -1e300, 1e300, 4294967296.0, 1.0 / 3};
        const int kind = Between(0, 9);
        return kind == 0   ? Pick(odd)
               : kind == 1 ? std::strtod(Flag() ? "nan" : "inf", nullptr)
                           : Between(-2000, 20000) / 16.0;
    }

private:
    const std::uint8_t* m_data;
    std::size_t m_left;
};

/// Ends the process as a finding.
[[noreturn]] inline void Report(const std::string& what) {
    std::fprintf(stderr, "FINDING: %s\n", what.c_str());
    std::abort();
}

/// Has a value read.
template <class T>
void Touch(const T& value) {
    static_cast<void>(*static_cast<const volatile T*>(&value));
}

inline void Expect(bool holds, const char* what) {
    if (!holds) {
        Report(what);
    }
}

} // namespace kq::fuzz
