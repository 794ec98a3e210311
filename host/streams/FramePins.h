/// @file
/// Which thread still uses which frame.
#pragma once

#include "FrameSource.h"

#include <deque>
#include <thread>

namespace kq::streams {

/// Keeps, for each of the threads that asked last, the frame that it was given. Not safe for threads by
/// itself.
class FramePins {
public:
    /// The calling thread uses the frame from now on, instead of the one before.
    void Pin(FramePtr frame);
    /// The calling thread uses none any more.
    void Unpin();

private:
    struct Use {
        std::thread::id thread;
        FramePtr frame;
    };

    std::deque<Use> m_uses; ///< the latest last
};

} // namespace kq::streams
