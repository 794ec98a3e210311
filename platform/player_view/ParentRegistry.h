/// @file
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>

namespace kq::playerview {

/// What hosts have registered as parents of views, each under a value that stands for it. Any thread may
/// call it.
/// @tparam Parent     what is registered
/// @tparam firstValue of the values. The X protocol keeps the three highest bits of every id 0.
template <class Parent, std::uintptr_t firstValue>
class ParentRegistry {
public:
    static ParentRegistry& Instance() {
        // Never destroyed: hosts may take parents back while static objects go.
        static auto& theRegistry = *new ParentRegistry;
        return theRegistry;
    }

    /// @return the value that stands for it, null when too many are registered
    void* Add(const Parent& parent) {
        const std::lock_guard<std::mutex> guard(m_lock);
        for (std::uintptr_t value = firstValue; value < firstValue + mostParents; ++value) {
            if (m_parents.emplace(value, parent).second) {
                return reinterpret_cast<void*>(value);
            }
        }
        return nullptr;
    }

    /// @return false for a value that stands for none
    bool Remove(void* value) {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_parents.erase(reinterpret_cast<std::uintptr_t>(value)) != 0;
    }

    std::optional<Parent> Find(std::uintptr_t value) {
        const std::lock_guard<std::mutex> guard(m_lock);
        const auto found = m_parents.find(value);
        return found == m_parents.end() ? std::nullopt : std::optional(found->second);
    }

private:
    static constexpr std::uintptr_t mostParents = 4096;

    std::mutex m_lock;
    std::map<std::uintptr_t, Parent> m_parents;
};

} // namespace kq::playerview
