#include "Trial.h"

#include <hwy/highway.h>
#include <hwy/targets.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace kq::image::test {
namespace {

/// Bytes around a destination: whole cache lines.
constexpr std::size_t margin = 128;

} // namespace

GuardedBuffer::GuardedBuffer(std::size_t bytes, bool flushWithEnd) : m_bytes(bytes) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (bytes + page - 1) / page * page;
    m_mapped = usable + 2 * page;
    void* memory = mmap(nullptr, m_mapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no memory for a guarded buffer");
    }
    m_mapping = static_cast<std::uint8_t*>(memory);
    if (usable != 0 && mprotect(m_mapping + page, usable, PROT_READ | PROT_WRITE) != 0) {
        throw std::runtime_error("cannot open a guarded buffer");
    }
    m_data = m_mapping + page + (flushWithEnd ? usable - bytes : 0);
}

GuardedBuffer::~GuardedBuffer() {
    munmap(m_mapping, m_mapped);
}

Trial::Trial(std::uint32_t seed) : m_random(seed) {}

Trial::Trial(std::uint32_t seed, std::vector<std::uint8_t> numbers)
    : m_random(seed), m_numbers(std::move(numbers)) {}

std::int32_t Trial::Between(std::int32_t low, std::int32_t high) {
    if (m_used + 2 <= m_numbers.size()) {
        const auto number = m_numbers[m_used] | static_cast<std::int64_t>(m_numbers[m_used + 1]) << 8;
        m_used += 2;
        return static_cast<std::int32_t>(low + number * (std::int64_t{high} - low + 1) / 65536);
    }
    return std::uniform_int_distribution<std::int32_t>(low, high)(m_random);
}

std::int32_t Trial::Size() {
    switch (Between(0, 5)) {
    case 0:
        return Between(0, 3);
    case 1:
        return Between(500, 1400);
    case 2:
        return 64 * Between(1, 3);
    default:
        return Between(1, 150);
    }
}

std::int32_t Trial::Rows() {
    return Between(0, 3) == 0 ? Between(0, 3) : Between(1, 40);
}

void Trial::Fill(std::uint8_t* data, std::size_t bytes) {
    const int kind = Between(0, 3);
    if (kind == 0) {
        // Extremes only: sums that saturate one way and the other.
        std::generate(data, data + bytes,
                      [&] { return static_cast<std::uint8_t>((m_random() & 1) ? 255 : 0); });
    } else if (kind == 1) {
        std::memset(data, Between(0, 255), bytes);
    } else {
        std::generate(data, data + bytes, [&] { return static_cast<std::uint8_t>(m_random()); });
    }
}

Area Trial::Place(std::vector<std::unique_ptr<GuardedBuffer>>& buffers, std::int32_t rowBytes,
                  std::int32_t rows, std::int32_t pitch, std::size_t margin) {
    const bool atLines = m_aligned && margin != 0;
    if (pitch == 0) {
        pitch = std::max(rowBytes, 0) + (Flag() ? Between(0, 70) : 0);
        pitch = atLines ? (pitch + 63) / 64 * 64 : pitch;
    }
    const std::size_t bytes =
        rows <= 0 || rowBytes <= 0 ? 0 : static_cast<std::size_t>(rows - 1) * pitch + rowBytes;
    buffers.push_back(std::make_unique<GuardedBuffer>(bytes + 2 * margin, !atLines && Flag()));
    Fill(buffers.back()->Data(), buffers.back()->Size());
    return {buffers.back()->Data() + margin, pitch};
}

Area Trial::Source(std::int32_t rowBytes, std::int32_t rows, std::int32_t pitch) {
    return Place(m_sources, rowBytes, rows, pitch, 0);
}

Area Trial::Destination(std::int32_t rowBytes, std::int32_t rows, std::int32_t pitch) {
    return Place(m_destinations, rowBytes, rows, pitch, margin);
}

std::string Trial::Compare(const std::function<void()>& routine, const std::function<void()>& reference) {
    using Contents = std::vector<std::vector<std::uint8_t>>;
    const auto snapshot = [this] {
        Contents contents;
        for (const auto& buffer : m_destinations) {
            contents.emplace_back(buffer->Data(), buffer->Data() + buffer->Size());
        }
        return contents;
    };
    const Contents before = snapshot();
    reference();
    const Contents wanted = snapshot();
    for (std::size_t i = 0; i < before.size(); ++i) {
        std::copy(before[i].begin(), before[i].end(), m_destinations[i]->Data());
    }
    routine();
    const Contents got = snapshot();
    for (std::size_t i = 0; i < got.size(); ++i) {
        const auto at = std::mismatch(got[i].begin(), got[i].end(), wanted[i].begin());
        if (at.first != got[i].end()) {
            return "destination " + std::to_string(i) + ", byte " +
                   std::to_string(at.first - got[i].begin() - static_cast<std::ptrdiff_t>(margin)) + ": " +
                   std::to_string(*at.first) + " instead of " + std::to_string(*at.second);
        }
    }
    return {};
}

std::vector<std::int64_t> DispatchTargets() {
    std::vector<std::int64_t> targets;
    for (std::int64_t bits = hwy::SupportedTargets() & HWY_TARGETS; bits != 0; bits &= bits - 1) {
        targets.push_back(bits & -bits);
    }
    return targets;
}

std::string TargetName(std::int64_t target) {
    return hwy::TargetName(target);
}

void UseTarget(std::int64_t target) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

} // namespace kq::image::test
