#include "wayland/WaylandParents.h"

namespace kq::playerview {

namespace {

/// The X protocol keeps the three highest bits of every id 0. Here they are 1.
constexpr std::uintptr_t firstValue = 0xE0000001;
constexpr std::uintptr_t mostParents = 4096;

} // namespace

WaylandParents& WaylandParents::Instance() {
    // Never destroyed: hosts may take surfaces back while static objects go.
    static auto& theParents = *new WaylandParents;
    return theParents;
}

std::uintptr_t WaylandParents::Add(const KQWaylandParent& parent) {
    const std::lock_guard<std::mutex> guard(m_lock);
    for (std::uintptr_t value = firstValue; value < firstValue + mostParents; ++value) {
        if (m_parents.emplace(value, parent).second) {
            return value;
        }
    }
    return 0;
}

bool WaylandParents::Remove(std::uintptr_t value) {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_parents.erase(value) != 0;
}

std::optional<KQWaylandParent> WaylandParents::Find(std::uintptr_t value) {
    const std::lock_guard<std::mutex> guard(m_lock);
    const auto found = m_parents.find(value);
    return found == m_parents.end() ? std::nullopt : std::optional(found->second);
}

} // namespace kq::playerview
