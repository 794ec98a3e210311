/// @file
/// Asking a stream for its information.
#pragma once

#include "com/ComPtr.h"

#include <kqplayer/streams.h>

#include <utility>

/// @return the stream's information, or null when the query fails
inline ComPtr<IStreamInfo> QueryInfo(IMediaStream& stream) {
    IStreamInfo* pInfo = nullptr;
    const bool bFailed = stream.GetStreamInfo(&pInfo) != 0;
    auto result = ComPtr<IStreamInfo>::Adopt(pInfo);
    return bFailed ? ComPtr<IStreamInfo>() : std::move(result);
}
