/* A host in plain C (C11): its own stream of pictures, a player reached through slots, a run to its end.
 * An interface is a structure whose first member points at its table of slots. A stream of one's own is such
 * a structure with a table that one has filled in. */

#include <kqplayer/kqplayer_c.h>

#include <stdatomic.h>
#include <stdio.h>
#include <string.h>
#include <threads.h>

enum { FRAMES = 10, RATE = 50, WIDTH = 32, HEIGHT = 18 };

/* Ends main() with a line that says which step failed. */
#define CHECK(condition)                                                                                     \
    do {                                                                                                     \
        if (!(condition))                                                                                    \
            return fprintf(stderr, "c_host: line %d: %s\n", __LINE__, #condition), 1;                        \
    } while (0)

/* One stream, as long as the program: it counts its references, and nothing is freed at 0. Its calls come
 * from several threads. */
static atomic_int references = 1;
static atomic_int position;
static const KQ_VIDEO_STREAM_INFO format = {WIDTH, HEIGHT, RATE, FRAMES, 16, 9};
static KQ_MEDIA_FRAME frames[FRAMES];
static uint8_t luma[FRAMES][WIDTH * HEIGHT];
static uint8_t chroma[WIDTH * HEIGHT / 4];
static KQ_IMediaStream stream;
static KQ_IStreamInfo info;

/* The slots of both tables take their own pointer first; what is the same for both is written once. */
#define COUNTING(Interface, Prefix)                                                                          \
    static int32_t Prefix##Query(Interface* self, const KQ_GUID* riid, void** ppv) {                         \
        const int known = memcmp(riid, &IID_IUnknown, sizeof *riid) == 0;                                    \
        atomic_fetch_add(&references, known);                                                                \
        *ppv = known ? self : NULL;                                                                          \
        return known ? 0 : (int32_t)0x80000004;                                                              \
    }                                                                                                        \
    static uint32_t Prefix##AddRef(Interface* self) {                                                        \
        return (void)self, (uint32_t)atomic_fetch_add(&references, 1) + 1;                                   \
    }                                                                                                        \
    static uint32_t Prefix##Release(Interface* self) {                                                       \
        return (void)self, (uint32_t)atomic_fetch_sub(&references, 1) - 1;                                   \
    }
COUNTING(KQ_IMediaStream, Stream)
COUNTING(KQ_IStreamInfo, Info)

static const KQ_AUDIO_STREAM_INFO* InfoAudio(KQ_IStreamInfo* self) {
    return (void)self, NULL;
}
static const KQ_VIDEO_STREAM_INFO* InfoVideo(KQ_IStreamInfo* self) {
    return (void)self, &format;
}
static int32_t StreamInfo(KQ_IMediaStream* self, KQ_IStreamInfo** ppInfo) {
    StreamAddRef(self);
    *ppInfo = &info;
    return 0;
}
static double StreamSeek(KQ_IMediaStream* self, double seconds, int mode) {
    (void)self, (void)mode;
    const int frame = (int)(seconds * RATE + 0.001);
    atomic_store(&position, frame < 0 ? 0 : frame < FRAMES ? frame : FRAMES - 1);
    return (double)atomic_load(&position) / RATE;
}
static KQ_MEDIA_FRAME* StreamCurrent(KQ_IMediaStream* self) {
    const int frame = atomic_load(&position);
    return (void)self, frame < FRAMES ? &frames[frame] : NULL;
}
static int StreamNext(KQ_IMediaStream* self) {
    return (void)self, atomic_fetch_add(&position, 1) + 1 < FRAMES;
}
static double StreamPosition(KQ_IMediaStream* self) {
    return (void)self, atomic_load(&position);
}
static const KQ_IMediaStreamVtbl streamTable = {StreamQuery,   StreamAddRef, StreamRelease,
                                                StreamInfo,    NULL,         StreamSeek,
                                                StreamCurrent, StreamNext,   StreamPosition};
static const KQ_IStreamInfoVtbl infoTable = {InfoQuery, InfoAddRef, InfoRelease,
                                             {NULL},    InfoAudio,  InfoVideo};

static void DrawFrames(void) {
    const KQ_YUVImage picture = {2,      NULL,  chroma,    {chroma},  NULL, WIDTH,
                                 HEIGHT, WIDTH, WIDTH / 2, WIDTH / 2, {0}};
    memset(chroma, 128, sizeof chroma);
    for (int n = 0; n < FRAMES; ++n) {
        memset(luma[n], 20 + n * 20, sizeof luma[n]);
        frames[n].nKind = 1; /* planar 4:2:0 */
        frames[n].image = picture;
        frames[n].image.pY = luma[n];
        frames[n].llPTS = n * INT64_C(10000000) / RATE;
    }
}

static atomic_int positions, ends;
static double last;

/* Called on the playback thread. */
static long OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument) {
    if (userData != &stream || message != 3025) {
        return 0;
    }
    if (what == 1) {
        last = KQ_PlayedTime(argument);
    }
    atomic_fetch_add(what == 1 ? &positions : &ends, 1);
    return 0;
}

int main(void) {
    DrawFrames();
    stream.v = &streamTable;
    info.v = &infoTable;
    void* p = NULL;
    CHECK(DllGetClassObject(&CLSID_CMediaPlayer, &IID_IClassFactory, &p) == 0);
    KQ_IClassFactory* const factory = p;
    CHECK(factory->v->CreateInstance(factory, NULL, &IID_IMediaPlayer, &p) == 0);
    KQ_IMediaPlayer* const player = p;
    CHECK(factory->v->Release(factory) == 0);

    KQ_IPlayerViewMgr* views = NULL;
    CHECK(player->v->GetPlayerViewMgr(player, &views) == 0);
    const KQ_RECT rect = {1, 2, 33, 20};
    KQ_IPlayerView* const view = views->v->CreatePlayView(views, (void*)1 /* off-screen */, &rect);
    CHECK(view != NULL);
    const KQ_RECT got = view->v->GetRect(view);
    CHECK(memcmp(&got, &rect, sizeof rect) == 0);
    CHECK(view->v->SetVideoInput(view, 1, &stream) == 0);
    CHECK(player->v->GetMovieLength(player) == 0.2);
    CHECK(player->v->SetCallBack(player, OnNotify, &stream) == 0);
    CHECK(player->v->Play(player) == 0);
    for (int i = 0; i < 2000 && atomic_load(&ends) == 0; ++i) {
        thrd_sleep(&(struct timespec){.tv_nsec = 10000000}, NULL);
    }
    CHECK(atomic_load(&ends) == 1 && atomic_load(&positions) == FRAMES - 1);
    CHECK(last > 0.159 && last < 0.161);
    CHECK(player->v->IsActivate(player) == 3 && !player->v->IsPaused(player));

    CHECK(player->v->QueryInterface(player, &IID_IAudioInput, &p) == 0);
    KQ_IAudioInput* const audio = p;
    CHECK(audio->v->SetAudioInput(audio, NULL) == 0);
    audio->v->Release(audio);

    CHECK(player->v->Stop(player) == 0);
    CHECK(view->v->Release(view) == 1); /* the manager's own */
    CHECK(views->v->Remove(views, 0) == 0 && views->v->GetCount(views) == 0);
    views->v->Release(views);
    CHECK(player->v->Release(player) == 0);
    CHECK(atomic_load(&references) == 1); /* everybody has given back what they took */
    puts("c_host: played to the end");
    return 0;
}
