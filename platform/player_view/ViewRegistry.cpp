#include "ViewRegistry.h"

#include <algorithm>

ViewRegistry& ViewRegistry::instance() {
    // Never destroyed: views may outlive the static objects of the process.
    static auto& theRegistry = *new ViewRegistry;
    return theRegistry;
}

int ViewRegistry::add(PictureSinks& sinks) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_views.push_back(&sinks);
    sinks.setCommon(m_commonSink);
    return m_nextNumber++;
}

void ViewRegistry::remove(PictureSinks& sinks) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_views.erase(std::remove(m_views.begin(), m_views.end(), &sinks), m_views.end());
}

void ViewRegistry::setCommonSink(PictureSink sink) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_commonSink = sink;
    for (PictureSinks* sinks : m_views) {
        sinks->setCommon(sink);
    }
}
