/// @file
#pragma once

#include <kqplayer/wayland.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>

namespace kq::playerview {

/// The surfaces that hosts have registered as parents of views. Any thread may call it.
class WaylandParents {
public:
    static WaylandParents& Instance();

    /// @return the value that stands for it, 0 when too many are registered
    std::uintptr_t Add(const KQWaylandParent& parent);
    /// @return false for a value that stands for none
    bool Remove(std::uintptr_t value);
    std::optional<KQWaylandParent> Find(std::uintptr_t value);

private:
    std::mutex m_lock;
    std::map<std::uintptr_t, KQWaylandParent> m_parents;
};

} // namespace kq::playerview
