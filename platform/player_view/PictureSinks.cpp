#include "PictureSinks.h"

void PictureSinks::setOwn(PictureSink sink) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_own = sink;
}

void PictureSinks::setCommon(PictureSink sink) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_common = sink;
}

void PictureSinks::call(void* pView, int nView, int nWidth, int nHeight, const unsigned char* pPixels) {
    const std::lock_guard<std::mutex> guard(m_lock);
    for (const PictureSink& sink : {m_own, m_common}) {
        if (sink.pfn != nullptr) {
            sink.pfn(pView, nView, nWidth, nHeight, pPixels, sink.pUserData);
        }
    }
}
