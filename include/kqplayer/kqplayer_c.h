/**
 * @file
 * The player for hosts written in C (C11): every interface as a table of slots.
 *
 * An interface pointer points at a structure whose first member is the table: call a slot as
 * `player->v->Play(player)`. What the operations do, their units, ownership and threads are described in
 * player.h and streams.h; the slots here are the same ones, in the same order.
 *
 * A host's own stream is a structure whose first member is a pointer to a KQ_IMediaStreamVtbl that the host
 * has filled in: KQ_OwnStream below does the counting, the queries and the description. Media files are
 * opened with media_file_c.h. This header and the C++ ones are not included together.
 */
#ifndef KQPLAYER_C_H
#define KQPLAYER_C_H

#include "log.h"
#include "version.h"

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
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
extern const KQ_GUID IID_IMediaPlayer2;
extern const KQ_GUID IID_IAudioInput;
extern const KQ_GUID IID_IPlayerViewMgr;
extern const KQ_GUID IID_IPlayerView;
extern const KQ_GUID IID_IPlayerView2;
extern const KQ_GUID IID_IMediaStream;
extern const KQ_GUID IID_IStreamInfo;
extern const KQ_GUID IID_IQLXDispatch;

int32_t DllGetClassObject(const KQ_GUID* rclsid, const KQ_GUID* riid, void** ppv);

/** Result codes, see com.h; KQ_ResultText() puts them into words. */
#define KQ_OK 0
#define KQ_REFUSED 1
#define KQ_OUT_OF_MEMORY ((int32_t)0x80000002)
#define KQ_NO_INTERFACE ((int32_t)0x80000004)
#define KQ_NULL_POINTER ((int32_t)0x80000005)
#define KQ_FAILED ((int32_t)0x80000008)
#define KQ_NO_AGGREGATION ((int32_t)0x80040110)
#define KQ_CLASS_NOT_AVAILABLE ((int32_t)0x80040111)

/** Where the component's printed lines go, see identifiers.h. */
enum { KQ_OUTPUT_CONSOLE = 0, KQ_OUTPUT_LOG = 1, KQ_OUTPUT_NONE = 2 };
int32_t KQPlayerSetOutput(int32_t nOutput);

/** Units of KQ_MEDIA_FRAME::llPTS, of 100 ns each, in a second; and the stamp of a frame that has none. */
#define KQ_TICKS_PER_SECOND INT64_C(10000000)
#define KQ_NO_PTS INT64_C(-1)

/** Modes of seeks. */
enum { KQ_KEY_FRAME_SEEK = 0, KQ_EXACT_SEEK = 1 };

/** What IMediaPlayer::IsActivate() returns. */
enum { KQ_ACTIVATE_STOPPED = 0, KQ_ACTIVATE_PLAYING = 1, KQ_ACTIVATE_PAUSED = 2, KQ_ACTIVATE_ENDED = 3 };

/** The callback's message code, and what it is about. */
enum { KQ_PLAYER_NOTIFY = 3025, KQ_NOTIFY_POSITION = 1, KQ_NOTIFY_END = 2 };

/** What KQ_IQLXDispatch::Invoke() tells. */
enum { KQ_COMMAND_PLAY = 0, KQ_COMMAND_STOP = 1, KQ_COMMAND_PAUSE = 3, KQ_COMMAND_RESUME = 4 };

/** Formats of picture files; 0 to 2 for KQ_CaptureImageInfo::nFormat. */
enum { KQ_CAPTURE_BMP = 0, KQ_CAPTURE_JPEG = 1, KQ_CAPTURE_PNG = 2, KQ_CAPTURE_BY_NAME = 3 };

/** Layouts of captured pixels, see records.h. */
enum { KQ_PIXELS_RGB24 = 0, KQ_PIXELS_BGRA32 = 1 };

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

enum { KQ_COLOUR_MARK = 0x4B51 };

/** Says what a frame's samples mean; without it they are BT.601 in limited range, SDR. Peaks in cd/m², 0 for
 * unknown. */
static inline void KQ_DescribeColour(KQ_MEDIA_FRAME* pFrame, int32_t nMatrix, int32_t nRange,
                                     int32_t nTransfer, int32_t nMasteringPeak, int32_t nContentPeak) {
    pFrame->reserved[0] = (int32_t)0x4B510000 | (nMatrix & 0xF) | (nRange & 1) << 4 | (nTransfer & 0xF) << 8;
    pFrame->reserved[1] = nMasteringPeak;
    pFrame->reserved[2] = nContentPeak;
}

/** What a frame's samples mean. */
typedef struct KQ_Colour {
    int32_t nMatrix, nRange, nTransfer;
    int32_t nMasteringPeak, nContentPeak;
} KQ_Colour;

static inline int32_t KQ_ListedOrZero(uint32_t nValue, uint32_t nLast) {
    return nValue <= nLast ? (int32_t)nValue : 0;
}

/** @return what a frame's samples mean: every field is a listed value, whatever the frame holds */
static inline KQ_Colour KQ_ColourOf(const KQ_MEDIA_FRAME* pFrame) {
    KQ_Colour colour = {KQ_MATRIX_BT601, KQ_RANGE_LIMITED, KQ_TRANSFER_SDR, 0, 0};
    const uint32_t nWord = (uint32_t)pFrame->reserved[0];
    if (nWord >> 16 == KQ_COLOUR_MARK) {
        colour.nMatrix = KQ_ListedOrZero(nWord & 0xF, KQ_MATRIX_SMPTE240M);
        colour.nRange = (int32_t)(nWord >> 4 & 1);
        colour.nTransfer = KQ_ListedOrZero(nWord >> 8 & 0xF, KQ_TRANSFER_HLG);
        colour.nMasteringPeak = KQ_ListedOrZero((uint32_t)pFrame->reserved[1], 10000);
        colour.nContentPeak = KQ_ListedOrZero((uint32_t)pFrame->reserved[2], 10000);
    }
    return colour;
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

/** A captured picture, which KQReleasePicture() gives back. */
typedef struct KQ_Picture {
    int64_t llPTS;
    uint8_t* pPixels;
    int32_t nWidth, nHeight, nPitch, nLayout;
} KQ_Picture;

void KQReleasePicture(KQ_Picture* pPicture);

/** Message KQ_PLAYER_NOTIFY; nWhat KQ_NOTIFY_POSITION (nArgument for KQ_PlayedTime()) or KQ_NOTIFY_END. */
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
KQ_DECLARE_INTERFACE(IMediaPlayer2)
KQ_DECLARE_INTERFACE(IQLXDispatch)
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

#define KQ_MEDIA_PLAYER_SLOTS(Interface)                                                                     \
    KQ_UNKNOWN_SLOTS(Interface)                                                                              \
    double (*GetMovieLength)(Interface * self);                                                              \
    int32_t (*SetPlayTime)(Interface * self, double dBegin, double dLength);                                 \
    int32_t (*SetCallBack)(Interface * self, KQ_PlayerCallback pfnCallBack, void* pUserData);                \
    int32_t (*GetPlayerViewMgr)(Interface * self, KQ_IPlayerViewMgr * *ppMgr);                               \
    int (*IsActivate)(Interface * self);                                                                     \
    int32_t (*Stop)(Interface * self);                                                                       \
    int32_t (*Play)(Interface * self);                                                                       \
    int32_t (*Pause)(Interface * self);                                                                      \
    int32_t (*Resume)(Interface * self);                                                                     \
    int32_t (*Seek)(Interface * self, double dTime, int nMode);                                              \
    int32_t (*SyncSeek)(Interface * self, double dTime, int nMode);                                          \
    int32_t (*Forward)(Interface * self);                                                                    \
    int32_t (*SyncForward)(Interface * self);                                                                \
    int32_t (*Update)(Interface * self, int nImmediate);                                                     \
    int32_t (*CaptureCurrentImage)(Interface * self, const KQ_CaptureImageInfo* pInfo,                       \
                                   const wchar_t* pPath);                                                    \
    KQ_MEDIA_FRAME* (*CaptureCurrentImageEx)(Interface * self);                                              \
    int32_t (*Load)(Interface * self);                                                                       \
    bool (*IsSeeking)(Interface * self);                                                                     \
    bool (*IsPaused)(Interface * self);

struct KQ_IMediaPlayerVtbl {
    KQ_MEDIA_PLAYER_SLOTS(KQ_IMediaPlayer)
};

struct KQ_IMediaPlayer2Vtbl {
    KQ_MEDIA_PLAYER_SLOTS(KQ_IMediaPlayer2)
    double (*GetPosition)(KQ_IMediaPlayer2* self);
    int32_t (*SetVolume)(KQ_IMediaPlayer2* self, double dVolume);
    double (*GetVolume)(KQ_IMediaPlayer2* self);
    int32_t (*SetMute)(KQ_IMediaPlayer2* self, int bMute);
    bool (*IsMuted)(KQ_IMediaPlayer2* self);
    int32_t (*Backward)(KQ_IMediaPlayer2* self);
    int32_t (*SetResize)(KQ_IMediaPlayer2* self, KQ_IPlayerView* pView, int32_t nResize);
    int32_t (*CaptureViewToFile)(KQ_IMediaPlayer2* self, KQ_IPlayerView* pView, int32_t nFormat,
                                 const char* pPath);
    int32_t (*CaptureView)(KQ_IMediaPlayer2* self, KQ_IPlayerView* pView, int32_t nLayout,
                           KQ_Picture* pPicture);
};

struct KQ_IQLXDispatchVtbl {
    KQ_UNKNOWN_SLOTS(KQ_IQLXDispatch)
    int32_t (*Invoke)(KQ_IQLXDispatch* self, int32_t nReserved0, int64_t llCommand, int32_t nReserved1);
};

struct KQ_IAudioInputVtbl {
    KQ_UNKNOWN_SLOTS(KQ_IAudioInput)
    int32_t (*SetAudioInput)(KQ_IAudioInput* self, KQ_IMediaStream* pStream);
};

/** @endcond */

/** Asks any object for another of its interfaces: KQ_QUERY(player, &IID_IAudioInput, &audio).
 * @return 0, with one reference in @p pp; a negative code and null otherwise */
#define KQ_QUERY(object, riid, pp) ((object)->v->QueryInterface((object), (riid), (void**)(pp)))

/** Gives an interface's reference back and clears the pointer; null is left alone. */
#define KQ_RELEASE(p)                                                                                        \
    do {                                                                                                     \
        if ((p) != NULL) {                                                                                   \
            (p)->v->Release(p);                                                                              \
            (p) = NULL;                                                                                      \
        }                                                                                                    \
    } while (0)

/** @return what a result code says, for people: "out of memory". Never null; the text is never freed. */
static inline const char* KQ_ResultText(int32_t nResult) {
    switch (nResult) {
    case KQ_OK:
        return "success";
    case KQ_REFUSED:
        return "refused: nothing was done";
    case KQ_OUT_OF_MEMORY:
        return "out of memory";
    case KQ_NO_INTERFACE:
        return "the object does not offer this interface";
    case KQ_NULL_POINTER:
        return "a null pointer was given";
    case KQ_FAILED:
        return "failed";
    case KQ_NO_AGGREGATION:
        return "an object inside another one is asked for IUnknown first";
    case KQ_CLASS_NOT_AVAILABLE:
        return "there is no such class";
    default:
        return nResult < 0 ? "an unknown failure" : "an unknown success";
    }
}

/** @return whether two identifiers are the same */
static inline bool KQ_IsSameGuid(const KQ_GUID* pFirst, const KQ_GUID* pSecond) {
    return memcmp(pFirst, pSecond, sizeof(KQ_GUID)) == 0;
}

/** @return what stands for "no window" as a view's parent: the view is off-screen */
static inline void* KQ_OffScreenParent(void) {
    return (void*)(uintptr_t)1;
}

/** Makes a player.
 * @param ppPlayer receives it with one reference, or null
 * @return 0; otherwise the code of the step that failed */
static inline int32_t KQ_CreatePlayer(KQ_IMediaPlayer2** ppPlayer) {
    KQ_IClassFactory* pFactory = NULL;
    void* p = NULL;
    int32_t nResult = DllGetClassObject(&CLSID_CMediaPlayer, &IID_IClassFactory, &p);
    *ppPlayer = NULL;
    if (nResult < 0) {
        return nResult;
    }
    pFactory = (KQ_IClassFactory*)p;
    p = NULL;
    nResult = pFactory->v->CreateInstance(pFactory, NULL, &IID_IMediaPlayer2, &p);
    pFactory->v->Release(pFactory);
    *ppPlayer = (KQ_IMediaPlayer2*)p;
    return nResult;
}

/**
 * A host's own stream, as far as it is the same for all: counting, queries, description. A host puts it first
 * into a structure of its own, writes the four functions that are left, and hands &own.stream to the player:
 *
 *     static const KQ_IMediaStreamVtbl table = KQ_OWN_STREAM_TABLE(Seek, GetCurrentFrame, NextFrame,
 * GetFramePosition); KQ_InitVideoStream(&mine.base, &table, &format, Destroy);
 *
 * It begins with one reference, its maker's. Counting and queries are safe from any thread.
 */
typedef struct KQ_OwnStream {
    KQ_IMediaStream stream;                        /**< its interface */
    KQ_IStreamInfo info;                           /**< its description, which shares the count */
    int32_t nReferences;                           /**< changed atomically */
    bool bIsAudio;                                 /**< which of the next two holds */
    KQ_VIDEO_STREAM_INFO video;                    /**< of pictures */
    KQ_AUDIO_STREAM_INFO audio;                    /**< of sound */
    void (*pfnDestroy)(struct KQ_OwnStream* self); /**< called with the last reference; may be null */
} KQ_OwnStream;

/** @cond The slots that are the same for all. */
static inline uint32_t KQ_OwnStreamAddRef(KQ_IMediaStream* self) {
    return (uint32_t)__atomic_add_fetch(&((KQ_OwnStream*)self)->nReferences, 1, __ATOMIC_ACQ_REL);
}

static inline uint32_t KQ_OwnStreamRelease(KQ_IMediaStream* self) {
    KQ_OwnStream* const pOwn = (KQ_OwnStream*)self;
    const int32_t nLeft = __atomic_sub_fetch(&pOwn->nReferences, 1, __ATOMIC_ACQ_REL);
    if (nLeft == 0 && pOwn->pfnDestroy != NULL) {
        pOwn->pfnDestroy(pOwn);
    }
    return (uint32_t)nLeft;
}

static inline int32_t KQ_OwnStreamQuery(KQ_IMediaStream* self, const KQ_GUID* riid, void** ppv) {
    if (ppv == NULL) {
        return KQ_NULL_POINTER;
    }
    *ppv = NULL;
    if (!KQ_IsSameGuid(riid, &IID_IUnknown) && !KQ_IsSameGuid(riid, &IID_IMediaStream)) {
        return KQ_NO_INTERFACE;
    }
    KQ_OwnStreamAddRef(self);
    *ppv = self;
    return KQ_OK;
}

static inline int32_t KQ_OwnStreamInfo(KQ_IMediaStream* self, KQ_IStreamInfo** ppInfo) {
    if (ppInfo == NULL) {
        return KQ_NULL_POINTER;
    }
    KQ_OwnStreamAddRef(self);
    *ppInfo = &((KQ_OwnStream*)self)->info;
    return KQ_OK;
}

static inline int32_t KQ_OwnStreamReserved(KQ_IMediaStream* self) {
    (void)self;
    return KQ_FAILED;
}

static inline KQ_OwnStream* KQ_OwnStreamOfInfo(KQ_IStreamInfo* self) {
    return (KQ_OwnStream*)(void*)((char*)self - offsetof(KQ_OwnStream, info));
}

static inline uint32_t KQ_OwnInfoAddRef(KQ_IStreamInfo* self) {
    return KQ_OwnStreamAddRef(&KQ_OwnStreamOfInfo(self)->stream);
}

static inline uint32_t KQ_OwnInfoRelease(KQ_IStreamInfo* self) {
    return KQ_OwnStreamRelease(&KQ_OwnStreamOfInfo(self)->stream);
}

static inline int32_t KQ_OwnInfoQuery(KQ_IStreamInfo* self, const KQ_GUID* riid, void** ppv) {
    if (ppv == NULL) {
        return KQ_NULL_POINTER;
    }
    *ppv = NULL;
    if (!KQ_IsSameGuid(riid, &IID_IUnknown) && !KQ_IsSameGuid(riid, &IID_IStreamInfo)) {
        return KQ_NO_INTERFACE;
    }
    KQ_OwnInfoAddRef(self);
    *ppv = self;
    return KQ_OK;
}

static inline int32_t KQ_OwnInfoReserved(KQ_IStreamInfo* self) {
    (void)self;
    return KQ_FAILED;
}

static inline const KQ_AUDIO_STREAM_INFO* KQ_OwnInfoAudio(KQ_IStreamInfo* self) {
    return KQ_OwnStreamOfInfo(self)->bIsAudio ? &KQ_OwnStreamOfInfo(self)->audio : NULL;
}

static inline const KQ_VIDEO_STREAM_INFO* KQ_OwnInfoVideo(KQ_IStreamInfo* self) {
    return KQ_OwnStreamOfInfo(self)->bIsAudio ? NULL : &KQ_OwnStreamOfInfo(self)->video;
}

static inline void KQ_InitOwnStream(KQ_OwnStream* self, const KQ_IMediaStreamVtbl* pTable,
                                    void (*pfnDestroy)(KQ_OwnStream* self)) {
    static const KQ_IStreamInfoVtbl infoTable = {KQ_OwnInfoQuery,
                                                 KQ_OwnInfoAddRef,
                                                 KQ_OwnInfoRelease,
                                                 {KQ_OwnInfoReserved, KQ_OwnInfoReserved, KQ_OwnInfoReserved,
                                                  KQ_OwnInfoReserved, KQ_OwnInfoReserved, KQ_OwnInfoReserved,
                                                  KQ_OwnInfoReserved, KQ_OwnInfoReserved},
                                                 KQ_OwnInfoAudio,
                                                 KQ_OwnInfoVideo};
    memset(self, 0, sizeof(*self));
    self->stream.v = pTable;
    self->info.v = &infoTable;
    self->nReferences = 1;
    self->pfnDestroy = pfnDestroy;
}
/** @endcond */

/** The table of an own stream: these four functions, each with a KQ_IMediaStream* first, and the shared rest.
 */
#define KQ_OWN_STREAM_TABLE(Seek, GetCurrentFrame, NextFrame, GetFramePosition)                              \
    {                                                                                                        \
        KQ_OwnStreamQuery, KQ_OwnStreamAddRef, KQ_OwnStreamRelease, KQ_OwnStreamInfo, KQ_OwnStreamReserved,  \
            Seek, GetCurrentFrame, NextFrame, GetFramePosition                                               \
    }

/** Makes a stream of pictures of it.
 * @param self       the stream; all of it is set
 * @param pTable     see KQ_OWN_STREAM_TABLE(); it outlives the stream
 * @param pFormat    what the stream holds; copied
 * @param pfnDestroy called with the last reference, on the thread that gives it back; null for a stream that
 *                   the host keeps itself */
static inline void KQ_InitVideoStream(KQ_OwnStream* self, const KQ_IMediaStreamVtbl* pTable,
                                      const KQ_VIDEO_STREAM_INFO* pFormat,
                                      void (*pfnDestroy)(KQ_OwnStream* self)) {
    KQ_InitOwnStream(self, pTable, pfnDestroy);
    self->video = *pFormat;
}

/** Makes a stream of sound of it; everything else as KQ_InitVideoStream(). */
static inline void KQ_InitAudioStream(KQ_OwnStream* self, const KQ_IMediaStreamVtbl* pTable,
                                      const KQ_AUDIO_STREAM_INFO* pFormat,
                                      void (*pfnDestroy)(KQ_OwnStream* self)) {
    KQ_InitOwnStream(self, pTable, pfnDestroy);
    self->audio = *pFormat;
    self->bIsAudio = true;
}

#ifdef __cplusplus
}
#endif

#endif
