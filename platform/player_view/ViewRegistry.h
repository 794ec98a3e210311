/// @file
#pragma once

#include "PictureSinks.h"

#include <mutex>
#include <vector>

namespace kq::playerview {

/// The views of the process: numbers them, and keeps the sink that is common to all.
class ViewRegistry {
public:
    static ViewRegistry& Instance();

    /// Enters a view by its sinks. @return the view's number
    int Add(PictureSinks& sinks);
    void Remove(PictureSinks& sinks);
    void SetCommonSink(PictureSink sink);

private:
    std::mutex m_lock;
    std::vector<PictureSinks*> m_views;
    PictureSink m_commonSink;
    int m_nextNumber = 0;
};

} // namespace kq::playerview
