/// @file
/// What frame capture keeps between captures.
#pragma once

#include "thread/Critical.h"
#include "view/PlanarFrame.h"

#include <kqplayer/records.h>
#include <kqplayer/streams.h>

/// Captures the current picture of a stream, to a file or into a frame of its own. The image and the copy are
/// kept and used again while the size stays the same. Captures from several threads run one after the other.
class CCaptureStore {
public:
    CCaptureStore() = default;
    CCaptureStore(const CCaptureStore&) = delete;
    CCaptureStore& operator=(const CCaptureStore&) = delete;
    ~CCaptureStore();

    /// Writes the stream's current picture to a file; each failure is logged. @return 0, or 0x80000008
    std::int32_t CaptureToFile(IMediaStream* pStream, const CaptureImageInfo& info, const wchar_t* pPath);
    /// The same for IMediaPlayer2::CaptureViewToFile(), which tells its results.
    std::int32_t SaveCurrent(IMediaStream* pStream, std::int32_t nFormat, const char* pPath);
    /// Does what IMediaPlayer2::CaptureView() does. @param picture untouched on failure
    std::int32_t CopyPixels(IMediaStream* pStream, std::int32_t nLayout, KQPicture& picture);
    /// Copies the stream's current picture. @return the copy, owned by the store, or null
    MEDIA_FRAME* CaptureCopy(IMediaStream* pStream);

private:
    bool FitImage(PictureSize size);
    /// Draws the stream's current picture into the image. @return why it cannot be, or null
    const wchar_t* Draw(IMediaStream* pStream, std::int64_t& llPTS);
    bool FitCopy(PictureSize size);

    CCritical m_csCapture;
    CaptureImageInfo m_lastRequest{};
    void* m_pImage = nullptr; ///< handle of the image library
    PlanarFramePtr m_pCopy;
};
