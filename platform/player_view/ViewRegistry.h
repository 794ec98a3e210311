/// @file
#pragma once

#include "PictureSinks.h"

#include <mutex>
#include <vector>

/// The views of the process: numbers them, and keeps the sink that is common to all.
class ViewRegistry {
public:
    static ViewRegistry& instance();

    /// Enters a view by its sinks. @return the view's number
    int add(PictureSinks& sinks);
    void remove(PictureSinks& sinks);
    void setCommonSink(PictureSink sink);

private:
    std::mutex m_lock;
    std::vector<PictureSinks*> m_views;
    PictureSink m_commonSink;
    int m_nextNumber = 0;
};
