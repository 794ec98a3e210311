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

void PictureSinks::Call(void* view, int number, int width, int height, const unsigned char* pixels) {
    const std::lock_guard<std::mutex> guard(m_lock);
    for (const PictureSink& sink : {m_own, m_common}) {
        if (sink.function != nullptr) {
            sink.function(view, number, width, height, pixels, sink.userData);
        }
    }
}

} // namespace kq::playerview
