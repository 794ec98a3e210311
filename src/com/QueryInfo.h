/// @file
/// Asking a stream for its information.
#pragma once

#include <kqplayer/convenience.h>
#include <kqplayer/streams.h>

/// @return the stream's information, or null when the query fails: what such a call leaves in the out-pointer
/// was not given and is not released
inline kq::ComPtr<IStreamInfo> QueryInfo(IMediaStream& stream) {
    IStreamInfo* pInfo = nullptr;
    if (stream.GetStreamInfo(&pInfo) != kq::Ok) {
        return nullptr;
    }
    return kq::ComPtr<IStreamInfo>::Adopt(pInfo);
}
