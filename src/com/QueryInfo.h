/// @file
/// Asking a stream for its information.
#pragma once

#include <kqplayer/convenience.h>
#include <kqplayer/streams.h>

#include <utility>

/// @return the stream's information, or null when the query fails
inline kq::ComPtr<IStreamInfo> QueryInfo(IMediaStream& stream) {
    IStreamInfo* pInfo = nullptr;
    const bool bFailed = stream.GetStreamInfo(&pInfo) != 0;
    auto result = kq::ComPtr<IStreamInfo>::Adopt(pInfo);
    return bFailed ? kq::ComPtr<IStreamInfo>() : std::move(result);
}
