#include "ViewRegistry.h"

#include <algorithm>

namespace kq::playerview {

ViewRegistry& ViewRegistry::Instance() {
    // Never destroyed: views may outlive the static objects of the process.
    static auto& theRegistry = *new ViewRegistry;
    return theRegistry;
}

int ViewRegistry::Add(PictureSinks& sinks) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_views.push_back(&sinks);
    sinks.SetCommon(m_commonSink);
    return m_nextNumber++;
}

void ViewRegistry::Remove(PictureSinks& sinks) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_views.erase(std::remove(m_views.begin(), m_views.end(), &sinks), m_views.end());
}

void ViewRegistry::SetCommonSink(PictureSink sink) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_commonSink = sink;
    for (PictureSinks* sinks : m_views) {
        sinks->SetCommon(sink);
    }
}

} // namespace kq::playerview
