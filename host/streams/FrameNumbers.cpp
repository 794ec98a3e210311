#include "FrameNumbers.h"

namespace kq::streams {

FrameIndex& FrameNumbers::Index() {
    // Told times are the decoder's own: nothing is rounded between them and what is asked.
    std::call_once(m_asked, [this] { m_index = m_read ? m_read() : FrameIndex::Told(0); });
    return *m_index;
}

FrameIndex* FrameNumbers::Whole() {
    FrameIndex& index = Index();
    return m_read || index.IsComplete() ? &index : nullptr;
}

} // namespace kq::streams
