/* A host in plain C: its own stream, a player reached through slots and identifiers alone, a run to its end.
 */
#include <kqplayer/kqplayer_c.h>

#include <stdatomic.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

enum { FRAMES = 10, WIDTH = 32, HEIGHT = 18 };

#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "c_host: line %d: %s\n", __LINE__, #condition);                                  \
            return 1;                                                                                        \
        }                                                                                                    \
    } while (0)

typedef struct Stream {
    KQ_IMediaStream interface; /* first: a pointer to the stream is a pointer to its interface */
    KQ_IStreamInfo info;
    atomic_int references;
    atomic_int position;
    KQ_VIDEO_STREAM_INFO format;
    KQ_MEDIA_FRAME frames[FRAMES];
    uint8_t luma[WIDTH * HEIGHT];
    uint8_t chroma[WIDTH * HEIGHT / 4];
} Stream;

static Stream stream;

static int32_t Refuse(void** ppv) {
    *ppv = NULL;
    return (int32_t)0x80000004;
}

static int32_t StreamQuery(KQ_IMediaStream* self, const KQ_GUID* riid, void** ppv) {
    (void)self;
    (void)riid;
    return Refuse(ppv);
}
static uint32_t StreamAddRef(KQ_IMediaStream* self) {
    (void)self;
    return (uint32_t)atomic_fetch_add(&stream.references, 1) + 1;
}
static uint32_t StreamRelease(KQ_IMediaStream* self) {
    (void)self;
    return (uint32_t)atomic_fetch_sub(&stream.references, 1) - 1;
}
static int32_t StreamInfo(KQ_IMediaStream* self, KQ_IStreamInfo** ppInfo) {
    StreamAddRef(self);
    *ppInfo = &stream.info;
    return 0;
}
static int32_t StreamReserved(KQ_IMediaStream* self) {
    (void)self;
    return 0;
}
static double StreamSeek(KQ_IMediaStream* self, double seconds, int mode) {
    (void)self;
    (void)mode;
    const int frame = (int)(seconds * stream.format.dFrameRate + 0.001);
    atomic_store(&stream.position, frame < 0 ? 0 : frame < FRAMES ? frame : FRAMES - 1);
    return atomic_load(&stream.position) / stream.format.dFrameRate;
}
static KQ_MEDIA_FRAME* StreamCurrent(KQ_IMediaStream* self) {
    (void)self;
    const int frame = atomic_load(&stream.position);
    return frame < FRAMES ? &stream.frames[frame] : NULL;
}
static int StreamNext(KQ_IMediaStream* self) {
    (void)self;
    return atomic_fetch_add(&stream.position, 1) + 1 < FRAMES;
}
static double StreamPosition(KQ_IMediaStream* self) {
    (void)self;
    return atomic_load(&stream.position);
}

static int32_t InfoQuery(KQ_IStreamInfo* self, const KQ_GUID* riid, void** ppv) {
    (void)self;
    (void)riid;
    return Refuse(ppv);
}
static uint32_t InfoAddRef(KQ_IStreamInfo* self) {
    (void)self;
    return StreamAddRef(&stream.interface);
}
static uint32_t InfoRelease(KQ_IStreamInfo* self) {
    (void)self;
    return StreamRelease(&stream.interface);
}
static const KQ_AUDIO_STREAM_INFO* InfoAudio(KQ_IStreamInfo* self) {
    (void)self;
    return NULL;
}
static const KQ_VIDEO_STREAM_INFO* InfoVideo(KQ_IStreamInfo* self) {
    (void)self;
    return &stream.format;
}

static const KQ_IMediaStreamVtbl streamTable = {StreamQuery,   StreamAddRef,   StreamRelease,
                                                StreamInfo,    StreamReserved, StreamSeek,
                                                StreamCurrent, StreamNext,     StreamPosition};
static const KQ_IStreamInfoVtbl infoTable = {InfoQuery, InfoAddRef, InfoRelease,
                                             {NULL},    InfoAudio,  InfoVideo};

static void MakeStream(void) {
    stream.interface.v = &streamTable;
    stream.info.v = &infoTable;
    atomic_store(&stream.references, 1);
    stream.format = (KQ_VIDEO_STREAM_INFO){WIDTH, HEIGHT, 50.0, FRAMES, 16, 9};
    memset(stream.luma, 100, sizeof(stream.luma));
    memset(stream.chroma, 128, sizeof(stream.chroma));
    for (int n = 0; n < FRAMES; ++n) {
        KQ_MEDIA_FRAME* const frame = &stream.frames[n];
        frame->nKind = 1;
        frame->image.pY = stream.luma;
        frame->image.pU = stream.chroma;
        frame->image.u.pV = stream.chroma;
        frame->image.nWidth = WIDTH;
        frame->image.nHeight = HEIGHT;
        frame->image.nPitchY = WIDTH;
        frame->image.nPitchU = WIDTH / 2;
        frame->image.nPitchV = WIDTH / 2;
        frame->llPTS = n * INT64_C(200000);
    }
}

static atomic_int positions;
static atomic_int ends;
static double lastPosition;

static long OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument) {
    if (userData != &stream || message != 3025) {
        return 0;
    }
    if (what == 1) {
        lastPosition = KQ_PlayedTime(argument);
        atomic_fetch_add(&positions, 1);
    } else {
        atomic_fetch_add(&ends, 1);
    }
    return 0;
}

int main(void) {
    MakeStream();
    void* p = NULL;
    CHECK(DllGetClassObject(&CLSID_CMediaPlayer, &IID_IClassFactory, &p) == 0);
    KQ_IClassFactory* const factory = p;
    CHECK(factory->v->CreateInstance(factory, NULL, &IID_IMediaPlayer, &p) == 0);
    KQ_IMediaPlayer* const player = p;
    CHECK(factory->v->Release(factory) == 0);

    KQ_IPlayerViewMgr* manager = NULL;
    CHECK(player->v->GetPlayerViewMgr(player, &manager) == 0);
    const KQ_RECT rect = {1, 2, 33, 20};
    KQ_IPlayerView* const view = manager->v->CreatePlayView(manager, (void*)1, &rect);
    CHECK(view != NULL);
    const KQ_RECT got = view->v->GetRect(view);
    CHECK(memcmp(&got, &rect, sizeof(rect)) == 0);
    CHECK(view->v->SetVideoInput(view, 1, &stream.interface) == 0);

    CHECK(player->v->SetCallBack(player, OnNotify, &stream) == 0);
    CHECK(player->v->SetPlayTime(player, 0.0, 0.0) == 0);
    CHECK(player->v->GetMovieLength(player) == 0.2);
    CHECK(player->v->Play(player) == 0);
    for (int i = 0; i < 2000 && atomic_load(&ends) == 0; ++i) {
        usleep(10000);
    }
    CHECK(atomic_load(&ends) == 1);
    CHECK(atomic_load(&positions) == FRAMES - 1);
    CHECK(lastPosition > 0.159 && lastPosition < 0.161);
    CHECK(player->v->IsActivate(player) == 3);
    CHECK(!player->v->IsPaused(player) && !player->v->IsSeeking(player));

    KQ_IAudioInput* audio = NULL;
    CHECK(player->v->QueryInterface(player, &IID_IAudioInput, &p) == 0);
    audio = p;
    CHECK(audio->v->SetAudioInput(audio, NULL) == 0);
    audio->v->Release(audio);

    CHECK(player->v->Stop(player) == 0);
    CHECK(view->v->Release(view) == 1);
    CHECK(manager->v->Remove(manager, 0) == 0);
    CHECK(manager->v->GetCount(manager) == 0);
    manager->v->Release(manager);
    CHECK(player->v->Release(player) == 0);
    CHECK(atomic_load(&stream.references) == 1);
    puts("c_host: played to the end");
    return 0;
}
