#include "FramePins.h"

#include <algorithm>
#include <utility>

namespace kq::streams {
namespace {

/// Threads that ended without a further call are forgotten once so many others have asked.
constexpr std::size_t mostThreads = 32;

} // namespace

void FramePins::Pin(FramePtr frame) {
    Unpin();
    m_uses.push_back({std::this_thread::get_id(), std::move(frame)});
    if (m_uses.size() > mostThreads) {
        m_uses.pop_front();
    }
}

void FramePins::Unpin() {
    const auto self = std::this_thread::get_id();
    const auto isOwn = [self](const Use& use) { return use.thread == self; };
    m_uses.erase(std::remove_if(m_uses.begin(), m_uses.end(), isOwn), m_uses.end());
}

} // namespace kq::streams
