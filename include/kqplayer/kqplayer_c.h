/**
 * @file
 * The player for hosts written in C (C11): every interface as a table of slots.
 *
 * An interface pointer points at a structure whose first member is the table: call a slot as
 * `player->v->Play(player)`. What the operations do, their units, ownership and threads are described in
 * player.h and streams.h; the slots here are the same ones, in the same order.
 *
 * A host's own stream is a structure whose first member is a pointer to a KQ_IMediaStreamVtbl that the host
 * has filled in.
 */
#ifndef KQPLAYER_C_H
#define KQPLAYER_C_H

#include "version.h"

#include <stdbool.h>
#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @cond The records and slots of records.h, com.h, streams.h and player.h, which explain them. */

typedef struct KQ_GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
} KQ_GUID;

extern const KQ_GUID IID_IUnknown;
extern const KQ_GUID IID_IClassFactory;
extern const KQ_GUID CLSID_CMediaPlayer;
extern const KQ_GUID IID_IMediaPlayer;
extern const KQ_GUID IID_IAudioInput;
extern const KQ_GUID IID_IPlayerViewMgr;
extern const KQ_GUID IID_IPlayerView;
extern const KQ_GUID IID_IPlayerView2;
extern const KQ_GUID IID_IMediaStream;
extern const KQ_GUID IID_IQLXDispatch;

int32_t DllGetClassObject(const KQ_GUID* rclsid, const KQ_GUID* riid, void** ppv);

/** See tagYUVImage and MEDIA_FRAME in records.h. */
typedef struct KQ_YUVImage {
    int32_t nFormat;
    uint8_t* pY;
    uint8_t* pU;
    union {
        uint8_t* pV;
        int32_t nAudioLength;
    } u;
    uint8_t* pA;
    int32_t nWidth, nHeight;
    int32_t nPitchY, nPitchU, nPitchV;
    union {
        int32_t nPitchA;
        uint8_t* pRgb;
    } a;
} KQ_YUVImage;

typedef struct KQ_MEDIA_FRAME {
    int32_t nType;
    int32_t nKind;
    KQ_YUVImage image;
    int32_t reserved[7];
    int64_t llTime;
    int64_t llPTS;
    int32_t nFlags;
} KQ_MEDIA_FRAME;

/** Values of KQ_MEDIA_FRAME::nKind; records.h tells how each layout's planes lie. */
enum {
    KQ_PICTURE_PACKED_RGB = 0,
    KQ_PICTURE_PLANAR_YUV = 1,
    KQ_PICTURE_PLANAR_422 = 0x100,
    KQ_PICTURE_PLANAR_444 = 0x101,
    KQ_PICTURE_NV12 = 0x102,
    KQ_PICTURE_PLANAR_420_10 = 0x110,
    KQ_PICTURE_PLANAR_422_10 = 0x111,
    KQ_PICTURE_PLANAR_444_10 = 0x112,
    KQ_PICTURE_P010 = 0x113
};

enum { KQ_MATRIX_BT601 = 0, KQ_MATRIX_BT709 = 1, KQ_MATRIX_BT2020 = 2, KQ_MATRIX_SMPTE240M = 3 };
enum { KQ_RANGE_LIMITED = 0, KQ_RANGE_FULL = 1 };
enum { KQ_TRANSFER_SDR = 0, KQ_TRANSFER_PQ = 1, KQ_TRANSFER_HLG = 2 };

/** Says what a frame's samples mean; without it they are BT.601 in limited range, SDR. Peaks in cd/m², 0 for
 * unknown. */
static inline void KQ_DescribeColour(KQ_MEDIA_FRAME* pFrame, int32_t nMatrix, int32_t nRange,
                                     int32_t nTransfer, int32_t nMasteringPeak, int32_t nContentPeak) {
    pFrame->reserved[0] = (int32_t)0x4B510000 | (nMatrix & 0xF) | (nRange & 1) << 4 | (nTransfer & 0xF) << 8;
    pFrame->reserved[1] = nMasteringPeak;
    pFrame->reserved[2] = nContentPeak;
}

typedef struct KQ_VIDEO_STREAM_INFO {
    int32_t nWidth, nHeight;
    double dFrameRate;
    int32_t nFrameCount;
    int32_t nAspectX, nAspectY;
} KQ_VIDEO_STREAM_INFO;

typedef struct KQ_AUDIO_STREAM_INFO {
    int32_t nSampleRate, nChannels, nBitsPerSample, nBytesPerSec;
    double dDuration;
    int32_t nReserved;
} KQ_AUDIO_STREAM_INFO;

typedef struct KQ_RECT {
    int32_t left, top, right, bottom;
} KQ_RECT;

typedef struct KQ_PointF {
    double x, y;
} KQ_PointF;

typedef struct KQ_RectF {
    double left, top, right, bottom;
} KQ_RectF;

enum { KQ_SCALING_DEFAULT = 0, KQ_SCALING_BILINEAR = 1, KQ_SCALING_NEAREST = 2 };

/** Values of KQ_ViewDisplay::nResize; view.h tells what they do. */
enum { KQ_RESIZE_FIT = 0, KQ_RESIZE_STRETCH = 1, KQ_RESIZE_FILL = 2, KQ_RESIZE_ORIGINAL = 3 };

typedef struct KQ_ViewDisplay {
    KQ_RectF source;
    int32_t nScaling;
    int32_t nResize;
} KQ_ViewDisplay;

typedef struct KQ_ViewMapping {
    KQ_RectF source, target;
    int32_t nPictureWidth, nPictureHeight;
    int32_t nWindowWidth, nWindowHeight;
} KQ_ViewMapping;

typedef struct KQ_CaptureImageInfo {
    int32_t hostData[5];
    int32_t nFormat;
} KQ_CaptureImageInfo;

/** Message 3025; nWhat 1: position (nArgument for KQ_PlayedTime()), 2: end of play. */
typedef long (*KQ_PlayerCallback)(void* pUserData, unsigned int nMessage, unsigned int nWhat,
                                  unsigned int nArgument);

static inline double KQ_PlayedTime(unsigned int nArgument) {
    return *(const double*)(uintptr_t)nArgument;
}

/** The three slots that every table begins with. */
#define KQ_UNKNOWN_SLOTS(Interface)                                                                          \
    int32_t (*QueryInterface)(Interface * self, const KQ_GUID* riid, void** ppv);                            \
    uint32_t (*AddRef)(Interface * self);                                                                    \
    uint32_t (*Release)(Interface * self);

#define KQ_DECLARE_INTERFACE(Name)                                                                           \
    typedef struct KQ_##Name KQ_##Name;                                                                      \
    typedef struct KQ_##Name##Vtbl KQ_##Name##Vtbl;                                                          \
    struct KQ_##Name {                                                                                       \
        const KQ_##Name##Vtbl* v;                                                                            \
    };

KQ_DECLARE_INTERFACE(IUnknown)
KQ_DECLARE_INTERFACE(IClassFactory)
KQ_DECLARE_INTERFACE(IStreamInfo)
KQ_DECLARE_INTERFACE(IMediaStream)
KQ_DECLARE_INTERFACE(IPlayerView)
KQ_DECLARE_INTERFACE(IPlayerView2)
KQ_DECLARE_INTERFACE(IPlayerViewMgr)
KQ_DECLARE_INTERFACE(IMediaPlayer)
KQ_DECLARE_INTERFACE(IAudioInput)

struct KQ_IUnknownVtbl {
    KQ_UNKNOWN_SLOTS(KQ_IUnknown)
};

struct KQ_IClassFactoryVtbl {
    KQ_UNKNOWN_SLOTS(KQ_IClassFactory)
    int32_t (*CreateInstance)(KQ_IClassFactory* self, KQ_IUnknown* pUnkOuter, const KQ_GUID* riid,
                              void** ppv);
    int32_t (*LockServer)(KQ_IClassFactory* self, int fLock);
};

struct KQ_IStreamInfoVtbl {
    KQ_UNKNOWN_SLOTS(KQ_IStreamInfo)
    int32_t (*Reserved[8])(KQ_IStreamInfo* self);
    const KQ_AUDIO_STREAM_INFO* (*GetAudioFormat)(KQ_IStreamInfo* self);
    const KQ_VIDEO_STREAM_INFO* (*GetVideoFormat)(KQ_IStreamInfo* self);
};

struct KQ_IMediaStreamVtbl {
    KQ_UNKNOWN_SLOTS(KQ_IMediaStream)
    int32_t (*GetStreamInfo)(KQ_IMediaStream* self, KQ_IStreamInfo** ppInfo);
    int32_t (*Reserved)(KQ_IMediaStream* self);
    double (*Seek)(KQ_IMediaStream* self, double dSeconds, int nMode);
    KQ_MEDIA_FRAME* (*GetCurrentFrame)(KQ_IMediaStream* self);
    int (*NextFrame)(KQ_IMediaStream* self);
    double (*GetFramePosition)(KQ_IMediaStream* self);
};

#define KQ_PLAYER_VIEW_SLOTS(Interface)                                                                      \
    KQ_UNKNOWN_SLOTS(Interface)                                                                              \
    int32_t (*SetVideoInput)(Interface * self, int nSourceMode, KQ_IMediaStream* pStream);                   \
    int32_t (*SetParentWND)(Interface * self, void* pWindow);                                                \
    void* (*GetParentWND)(Interface * self);                                                                 \
    int32_t (*SetRect)(Interface * self, const KQ_RECT* pRect);                                              \
    KQ_RECT (*GetRect)(Interface * self);                                                                    \
    int (*GetIndex)(Interface * self);                                                                       \
    void* (*GetWND)(Interface * self);

struct KQ_IPlayerViewVtbl {
    KQ_PLAYER_VIEW_SLOTS(KQ_IPlayerView)
};

struct KQ_IPlayerView2Vtbl {
    KQ_PLAYER_VIEW_SLOTS(KQ_IPlayerView2)
    int32_t (*SetDisplay)(KQ_IPlayerView2* self, const KQ_ViewDisplay* pDisplay);
    int32_t (*GetDisplay)(KQ_IPlayerView2* self, KQ_ViewDisplay* pDisplay);
    int32_t (*GetMapping)(KQ_IPlayerView2* self, KQ_ViewMapping* pMapping);
    int32_t (*WindowToPicture)(KQ_IPlayerView2* self, double dX, double dY, KQ_PointF* pPosition);
    int32_t (*PictureToWindow)(KQ_IPlayerView2* self, double dX, double dY, KQ_PointF* pPosition);
    int32_t (*GetShownPixel)(KQ_IPlayerView2* self, int32_t nX, int32_t nY, uint32_t* pnRgb);
};

struct KQ_IPlayerViewMgrVtbl {
    KQ_UNKNOWN_SLOTS(KQ_IPlayerViewMgr)
    KQ_IPlayerView* (*CreatePlayView)(KQ_IPlayerViewMgr* self, void* pParent, const KQ_RECT* pRect);
    int (*GetCount)(KQ_IPlayerViewMgr* self);
    int32_t (*Remove)(KQ_IPlayerViewMgr* self, int nIndex);
    int32_t (*GetItem)(KQ_IPlayerViewMgr* self, int nIndex, KQ_IPlayerView** ppView);
};

struct KQ_IMediaPlayerVtbl {
    KQ_UNKNOWN_SLOTS(KQ_IMediaPlayer)
    double (*GetMovieLength)(KQ_IMediaPlayer* self);
    int32_t (*SetPlayTime)(KQ_IMediaPlayer* self, double dBegin, double dLength);
    int32_t (*SetCallBack)(KQ_IMediaPlayer* self, KQ_PlayerCallback pfnCallBack, void* pUserData);
    int32_t (*GetPlayerViewMgr)(KQ_IMediaPlayer* self, KQ_IPlayerViewMgr** ppMgr);
    int (*IsActivate)(KQ_IMediaPlayer* self);
    int32_t (*Stop)(KQ_IMediaPlayer* self);
    int32_t (*Play)(KQ_IMediaPlayer* self);
    int32_t (*Pause)(KQ_IMediaPlayer* self);
    int32_t (*Resume)(KQ_IMediaPlayer* self);
    int32_t (*Seek)(KQ_IMediaPlayer* self, double dTime, int nMode);
    int32_t (*SyncSeek)(KQ_IMediaPlayer* self, double dTime, int nMode);
    int32_t (*Forward)(KQ_IMediaPlayer* self);
    int32_t (*SyncForward)(KQ_IMediaPlayer* self);
    int32_t (*Update)(KQ_IMediaPlayer* self, int nImmediate);
    int32_t (*CaptureCurrentImage)(KQ_IMediaPlayer* self, const KQ_CaptureImageInfo* pInfo,
                                   const wchar_t* pPath);
    KQ_MEDIA_FRAME* (*CaptureCurrentImageEx)(KQ_IMediaPlayer* self);
    int32_t (*Load)(KQ_IMediaPlayer* self);
    bool (*IsSeeking)(KQ_IMediaPlayer* self);
    bool (*IsPaused)(KQ_IMediaPlayer* self);
};

struct KQ_IAudioInputVtbl {
    KQ_UNKNOWN_SLOTS(KQ_IAudioInput)
    int32_t (*SetAudioInput)(KQ_IAudioInput* self, KQ_IMediaStream* pStream);
};

/** @endcond */

#ifdef __cplusplus
}
#endif

#endif
