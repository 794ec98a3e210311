// The streams for hosts written in C.
#include <kqplayer/follower.h>
#include <kqplayer/media_file.h>
#include <kqplayer/media_file_c.h>

#include <cstdio>
#include <new>

namespace kq::streams {
namespace {

/// A table of slots is what both languages see.
IMediaStream* FromC(KQ_IMediaStream* stream) {
    return reinterpret_cast<IMediaStream*>(stream);
}

KQ_IMediaStream* ToC(IMediaStream* stream) {
    return reinterpret_cast<KQ_IMediaStream*>(stream);
}

template <std::size_t size>
void CopyText(char (&out)[size], const std::string& text) {
    std::snprintf(out, size, "%s", text.c_str());
}

OpenOptions OptionsFrom(const KQ_OpenOptions* given) {
    OpenOptions options;
    if (given == nullptr) {
        return options;
    }
    options.video = given->bWithoutVideo == 0;
    options.audio = given->bWithoutAudio == 0;
    options.audioTrack = given->nAudioTrack;
    options.maxChannels = given->nMaxChannels > 0 ? given->nMaxChannels : options.maxChannels;
    options.decoderThreads = given->nDecoderThreads;
    options.plainPictures = given->bPlainPictures != 0;
    options.filter = given->pFilter != nullptr ? given->pFilter : "";
    if (given->pfnLog != nullptr) {
        options.log = [log = given->pfnLog, user = given->pUserData](const std::string& line) {
            log(line.c_str(), user);
        };
    }
    return options;
}

void Fill(KQ_MediaFile& out, const MediaFile& file) {
    const MediaFacts& facts = file.facts;
    out.pVideo = ToC(file.video);
    out.pAudio = ToC(file.audio);
    out.dDuration = facts.duration;
    out.dFrameRate = facts.frameRate;
    out.nWidth = facts.width;
    out.nHeight = facts.height;
    out.nFrameCount = facts.frameCount;
    out.nSampleRate = facts.sampleRate;
    out.nChannels = facts.channels;
    out.nAudioTrack = facts.audioTrack;
    out.nAudioTracks = static_cast<std::int32_t>(facts.audioTracks.size());
    CopyText(out.container, facts.container);
    CopyText(out.videoCodec, facts.videoCodec);
    CopyText(out.audioCodec, facts.audioCodec);
    CopyText(out.pixelFormat, facts.pixelFormat);
}

/// @param open opens a file with options; what it throws stays in here
template <class Open>
std::int32_t OpenForC(const KQ_OpenOptions* given, KQ_MediaFile* out, char* error, std::size_t errorSize,
                      const Open& open) {
    *out = {};
    try {
        MediaFile file;
        std::string reason;
        if (open(OptionsFrom(given), file, reason)) {
            Fill(*out, file);
            return Ok;
        }
        if (error != nullptr && errorSize > 0) {
            std::snprintf(error, errorSize, "%s", reason.c_str());
        }
        return Failed;
    } catch (const std::bad_alloc&) {
        return OutOfMemory;
    }
}

} // namespace
} // namespace kq::streams

using namespace kq::streams;

std::int32_t KQ_OpenMediaFile(const char* pPath, const KQ_OpenOptions* pOptions, KQ_MediaFile* pFile,
                              char* pError, std::size_t nErrorSize) {
    if (pPath == nullptr || pFile == nullptr) {
        return kq::NullPointer;
    }
    return OpenForC(pOptions, pFile, pError, nErrorSize,
                    [&](const OpenOptions& options, MediaFile& file, std::string& reason) {
                        return OpenMediaFile(pPath, options, file, reason);
                    });
}

std::int32_t KQ_OpenFollower(const char* pPath, KQ_IMediaStream* pReference, const KQ_OpenOptions* pOptions,
                             KQ_MediaFile* pFile, char* pError, std::size_t nErrorSize) {
    if (pPath == nullptr || pFile == nullptr || pReference == nullptr) {
        return kq::NullPointer;
    }
    return OpenForC(pOptions, pFile, pError, nErrorSize,
                    [&](const OpenOptions& options, MediaFile& file, std::string& reason) {
                        return OpenFollower(pPath, *FromC(pReference), options, file, reason);
                    });
}

KQ_IMediaStream* KQ_MakeFollower(KQ_IMediaStream* pOwn, KQ_IMediaStream* pReference, double dOffset) {
    if (pOwn == nullptr || pReference == nullptr) {
        return nullptr;
    }
    auto* const follower = new (std::nothrow) kq::FollowingStream(*FromC(pOwn), *FromC(pReference));
    if (follower != nullptr) {
        follower->SetOffset(dOffset);
    }
    return ToC(follower);
}

void KQ_ReleaseMediaFile(KQ_MediaFile* pFile) {
    if (pFile == nullptr) {
        return;
    }
    for (KQ_IMediaStream* stream : {pFile->pVideo, pFile->pAudio}) {
        if (stream != nullptr) {
            FromC(stream)->Release();
        }
    }
    *pFile = {};
}
