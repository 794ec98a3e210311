/**
 * @file
 * Media files as streams, for hosts written in C: what media_file.h and follower.h do, without C++. Link
 * KQPlayer::Streams, or `pkg-config --libs kqplayer-streams`.
 */
#ifndef KQPLAYER_MEDIA_FILE_C_H
#define KQPLAYER_MEDIA_FILE_C_H

#include <kqplayer/version.h>

/* This is C, with the prefix that C needs. NOLINTBEGIN(modernize-*,readability-identifier-naming) */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A stream, see kqplayer_c.h. */
typedef struct KQ_IMediaStream KQ_IMediaStream;

/** How a file is opened. All zero: as usual. The fields are those of kq::streams::OpenOptions. */
typedef struct KQ_OpenOptions {
    int32_t bWithoutVideo;   /**< non-zero: leave the pictures out */
    int32_t bWithoutAudio;   /**< non-zero: leave the sound out */
    int32_t nAudioTrack;     /**< which sound, counted from 1; 0: the best one */
    int32_t nMaxChannels;    /**< sound with more is mixed to stereo; 0: as many as can be played */
    int32_t nDecoderThreads; /**< for video; 0: one a core, eight at most */
    int32_t bPlainPictures;  /**< non-zero: every picture as planar 4:2:0, BT.601, limited range */
    const char* pFilter;     /**< an FFmpeg filter graph that the pictures pass; null for none */
    void (*pfnLog)(const char* pLine,
                   void* pUserData); /**< one line a notice, from any thread; may be null */
    void* pUserData;                 /**< handed to pfnLog */
} KQ_OpenOptions;

/** An open file. */
typedef struct KQ_MediaFile {
    KQ_IMediaStream* pVideo; /**< one reference, or null */
    KQ_IMediaStream* pAudio; /**< one reference, or null */
    double dDuration;        /**< seconds */
    double dFrameRate;       /**< average, frames per second */
    int32_t nWidth;          /**< pixels */
    int32_t nHeight;         /**< pixels */
    int32_t nFrameCount;     /**< of the video */
    int32_t nSampleRate;     /**< Hz */
    int32_t nChannels;       /**< of the source */
    int32_t nAudioTrack;     /**< which sound was opened, counted from 1; 0 for none */
    int32_t nAudioTracks;    /**< how many the file has */
    char container[64];      /**< for people, as the next ones; a longer text is cut */
    char videoCodec[64];     /**< empty without video */
    char audioCodec[64];     /**< empty without sound */
    char pixelFormat[64];    /**< of the source */
} KQ_MediaFile;

/**
 * Opens a file. Both streams decode ahead on threads of their own, which end with the streams.
 * @param pPath      the file, or whatever else FFmpeg opens
 * @param pOptions   how to open it; null: as usual
 * @param pFile      receives the streams and what the file holds; all zero on failure
 * @param pError     receives one line that names the file and the reason, cut where it does not fit; may be
 *                   null
 * @param nErrorSize bytes of room in pError
 * @return 0; 0x80000008 when the file cannot be opened or has nothing to play; 0x80000002 without memory;
 *         0x80000005 for a null path or file
 */
int32_t KQ_OpenMediaFile(const char* pPath, const KQ_OpenOptions* pOptions, KQ_MediaFile* pFile, char* pError,
                         size_t nErrorSize);

/**
 * Opens a file's video as one that follows a stream of KQ_OpenMediaFile(), for a second view.
 * @param pPath      the file
 * @param pReference the stream whose time counts
 * @param pOptions   as above; sound is not opened
 * @param pFile      receives the follower as its video
 * @param pError     as above
 * @param nErrorSize as above
 * @return as above; also 0x80000008 for a reference of another kind
 */
int32_t KQ_OpenFollower(const char* pPath, KQ_IMediaStream* pReference, const KQ_OpenOptions* pOptions,
                        KQ_MediaFile* pFile, char* pError, size_t nErrorSize);

/**
 * Lets any video stream follow any other one, see kq::FollowingStream.
 * @param pOwn       the stream that is shown; from then on it is the follower's alone
 * @param pReference the stream whose time counts
 * @param dOffset    beside the reference's time t, what the own stream has at t + this many seconds
 * @return the follower with one reference; null without memory and for null
 */
KQ_IMediaStream* KQ_MakeFollower(KQ_IMediaStream* pOwn, KQ_IMediaStream* pReference, double dOffset);

/** Gives both streams back and clears the record; they live on while others hold references. */
void KQ_ReleaseMediaFile(KQ_MediaFile* pFile);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(modernize-*,readability-identifier-naming) */

#endif
