#include "PictureReceivers.h"

namespace kq::playerview {

namespace {

/// The X protocol keeps the three highest bits of every id 0, and Wayland's surfaces have all three set.
constexpr std::uintptr_t firstValue = 0xC0000001;
constexpr std::uintptr_t mostReceivers = 4096;

} // namespace

PictureReceivers& PictureReceivers::Instance() {
    // Never destroyed: hosts may take receivers back while static objects go.
    static auto& theReceivers = *new PictureReceivers;
    return theReceivers;
}

std::uintptr_t PictureReceivers::Add(const KQPictureReceiver& receiver) {
    const std::lock_guard<std::mutex> guard(m_lock);
    for (std::uintptr_t value = firstValue; value < firstValue + mostReceivers; ++value) {
        if (m_receivers.emplace(value, receiver).second) {
            return value;
        }
    }
    return 0;
}

bool PictureReceivers::Remove(std::uintptr_t value) {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_receivers.erase(value) != 0;
}

std::optional<KQPictureReceiver> PictureReceivers::Find(std::uintptr_t value) {
    const std::lock_guard<std::mutex> guard(m_lock);
    const auto found = m_receivers.find(value);
    return found == m_receivers.end() ? std::nullopt : std::optional(found->second);
}

} // namespace kq::playerview
