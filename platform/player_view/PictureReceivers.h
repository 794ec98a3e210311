/// @file
#pragma once

#include <kqplayer/picture_receiver.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>

namespace kq::playerview {

/// The receivers that hosts have registered as parents of views. Any thread may call it.
class PictureReceivers {
public:
    static PictureReceivers& Instance();

    /// @return the value that stands for it, 0 when too many are registered
    std::uintptr_t Add(const KQPictureReceiver& receiver);
    /// @return false for a value that stands for none
    bool Remove(std::uintptr_t value);
    std::optional<KQPictureReceiver> Find(std::uintptr_t value);

private:
    std::mutex m_lock;
    std::map<std::uintptr_t, KQPictureReceiver> m_receivers;
};

} // namespace kq::playerview
