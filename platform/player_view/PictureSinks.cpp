#include "PictureSinks.h"

namespace kq::playerview {

void PictureSinks::SetOwn(PictureSink sink) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_own = sink;
}

void PictureSinks::SetCommon(PictureSink sink) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_common = sink;
}

void PictureSinks::Call(void* view, int number, int width, int height, const unsigned char* pixels,
                        bool isWhole) {
    const std::lock_guard<std::mutex> guard(m_lock);
    for (const PictureSink& sink : {m_own, m_common}) {
        if (sink.function != nullptr && (isWhole || !sink.readsPixels)) {
            sink.function(view, number, width, height, sink.readsPixels ? pixels : nullptr, sink.userData);
        }
    }
}

bool PictureSinks::ReadPixels() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return (m_own.function != nullptr && m_own.readsPixels) ||
           (m_common.function != nullptr && m_common.readsPixels);
}

} // namespace kq::playerview
