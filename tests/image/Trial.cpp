#include "Trial.h"

#include <hwy/highway.h>
#include <hwy/targets.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace kq::image::test {

GuardedBuffer::GuardedBuffer(std::size_t bytes, bool flushWithEnd) : bytes_(bytes) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t usable = (bytes + page - 1) / page * page;
    mapped_ = usable + 2 * page;
    void* memory = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::runtime_error("no memory for a guarded buffer");
    mapping_ = static_cast<std::uint8_t*>(memory);
    if (usable != 0 && mprotect(mapping_ + page, usable, PROT_READ | PROT_WRITE) != 0)
        throw std::runtime_error("cannot open a guarded buffer");
    data_ = mapping_ + page + (flushWithEnd ? usable - bytes : 0);
}

GuardedBuffer::~GuardedBuffer() {
    munmap(mapping_, mapped_);
}

Trial::Trial(std::uint32_t seed) : random_(seed) {}

std::int32_t Trial::Between(std::int32_t low, std::int32_t high) {
    return std::uniform_int_distribution<std::int32_t>(low, high)(random_);
}

std::int32_t Trial::Size() {
    switch (Between(0, 5)) {
    case 0:
        return Between(0, 3);
    case 1:
        return Between(500, 1400);
    case 2:
        return 32 * Between(1, 6);
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
                      [&] { return static_cast<std::uint8_t>((random_() & 1) ? 255 : 0); });
    } else if (kind == 1) {
        std::memset(data, Between(0, 255), bytes);
    } else {
        std::generate(data, data + bytes, [&] { return static_cast<std::uint8_t>(random_()); });
    }
}

Area Trial::Place(std::vector<std::unique_ptr<GuardedBuffer>>& buffers, std::int32_t rowBytes,
                  std::int32_t rows, std::int32_t pitch, std::size_t margin) {
    if (pitch == 0)
        pitch = std::max(rowBytes, 0) + (Flag() ? Between(0, 70) : 0);
    const std::size_t bytes =
        rows <= 0 || rowBytes <= 0 ? 0 : static_cast<std::size_t>(rows - 1) * pitch + rowBytes;
    buffers.push_back(std::make_unique<GuardedBuffer>(bytes + 2 * margin, Flag()));
    Fill(buffers.back()->data(), buffers.back()->size());
    return {buffers.back()->data() + margin, pitch};
}

Area Trial::Source(std::int32_t rowBytes, std::int32_t rows, std::int32_t pitch) {
    return Place(sources_, rowBytes, rows, pitch, 0);
}

Area Trial::Destination(std::int32_t rowBytes, std::int32_t rows, std::int32_t pitch) {
    return Place(destinations_, rowBytes, rows, pitch, 96);
}

std::string Trial::Compare(const std::function<void()>& routine, const std::function<void()>& reference) {
    using Contents = std::vector<std::vector<std::uint8_t>>;
    const auto snapshot = [this] {
        Contents contents;
        for (const auto& buffer : destinations_)
            contents.emplace_back(buffer->data(), buffer->data() + buffer->size());
        return contents;
    };
    const Contents before = snapshot();
    reference();
    const Contents wanted = snapshot();
    for (std::size_t i = 0; i < before.size(); ++i)
        std::copy(before[i].begin(), before[i].end(), destinations_[i]->data());
    routine();
    const Contents got = snapshot();
    for (std::size_t i = 0; i < got.size(); ++i) {
        const auto at = std::mismatch(got[i].begin(), got[i].end(), wanted[i].begin());
        if (at.first != got[i].end())
            return "destination " + std::to_string(i) + ", byte " +
                   std::to_string(at.first - got[i].begin() - 96) + ": " + std::to_string(*at.first) +
                   " instead of " + std::to_string(*at.second);
    }
    return {};
}

std::vector<std::int64_t> DispatchTargets() {
    std::vector<std::int64_t> targets;
    for (std::int64_t bits = hwy::SupportedTargets() & HWY_TARGETS; bits != 0; bits &= bits - 1)
        targets.push_back(bits & -bits);
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
