/* A host in plain C (C11): its own stream of pictures, a player reached through slots, a run to its end.
 * An interface is a structure whose first member points at its table of slots. */

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

/* One stream, as long as the program. KQ_OwnStream counts, answers queries and describes it; what is left are
 * four functions, which are called from several threads. */
typedef struct Pictures {
    KQ_OwnStream base; /* first: a pointer to it is one to all of it */
    atomic_int position;
    KQ_MEDIA_FRAME frames[FRAMES];
    uint8_t luma[FRAMES][WIDTH * HEIGHT];
    uint8_t chroma[WIDTH * HEIGHT / 4];
} Pictures;
static Pictures pictures;
static atomic_int destroyed;

static double Seek(KQ_IMediaStream* self, double seconds, int mode) {
    Pictures* const own = (Pictures*)self;
    const int frame = (int)(seconds * RATE + 0.001);
    (void)mode; /* every picture is a key frame: both modes are exact */
    atomic_store(&own->position, frame < 0 ? 0 : frame < FRAMES ? frame : FRAMES - 1);
    return (double)atomic_load(&own->position) / RATE;
}
static KQ_MEDIA_FRAME* GetCurrentFrame(KQ_IMediaStream* self) {
    Pictures* const own = (Pictures*)self;
    const int frame = atomic_load(&own->position);
    return &own->frames[frame < FRAMES ? frame : FRAMES - 1]; /* at the end, the last one stays on show */
}
static int NextFrame(KQ_IMediaStream* self) {
    return atomic_fetch_add(&((Pictures*)self)->position, 1) + 1 < FRAMES;
}
static double GetFramePosition(KQ_IMediaStream* self) {
    const int frame = atomic_load(&((Pictures*)self)->position);
    return frame < FRAMES ? frame : FRAMES - 1;
}
static void Destroy(KQ_OwnStream* self) {
    (void)self; /* nothing of it was allocated */
    atomic_fetch_add(&destroyed, 1);
}
static const KQ_IMediaStreamVtbl table =
    KQ_OWN_STREAM_TABLE(Seek, GetCurrentFrame, NextFrame, GetFramePosition);

static void MakePictures(void) {
    const KQ_VIDEO_STREAM_INFO format = {WIDTH, HEIGHT, RATE, FRAMES, 16, 9};
    KQ_InitVideoStream(&pictures.base, &table, &format, Destroy);
    memset(pictures.chroma, 128, sizeof pictures.chroma);
    for (int n = 0; n < FRAMES; ++n) {
        KQ_MEDIA_FRAME* const frame = &pictures.frames[n];
        memset(pictures.luma[n], 20 + n * 20, sizeof pictures.luma[n]);
        frame->nKind = KQ_PICTURE_PLANAR_YUV;
        frame->image.pY = pictures.luma[n];
        frame->image.pU = frame->image.u.pV = pictures.chroma;
        frame->image.nWidth = frame->image.nPitchY = WIDTH;
        frame->image.nHeight = HEIGHT;
        frame->image.nPitchU = frame->image.nPitchV = WIDTH / 2;
        frame->llPTS = n * KQ_TICKS_PER_SECOND / RATE;
    }
}

static atomic_int positions, ends;
static double last;

/* Called on the playback thread. */
static long OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument) {
    if (userData != &pictures || message != KQ_PLAYER_NOTIFY) {
        return 0;
    }
    if (what == KQ_NOTIFY_POSITION) {
        last = KQ_PlayedTime(argument);
    }
    atomic_fetch_add(what == KQ_NOTIFY_POSITION ? &positions : &ends, 1);
    return 0;
}

int main(void) {
    MakePictures();
    KQPlayerSetOutput(KQ_OUTPUT_NONE); /* this console is ours */
    KQ_IMediaPlayer2* player = NULL;
    const int32_t result = KQ_CreatePlayer(&player);
    if (result != KQ_OK) {
        return fprintf(stderr, "c_host: no player: %s\n", KQ_ResultText(result)), 1;
    }
    KQ_IPlayerViewMgr* views = NULL;
    CHECK(player->v->GetPlayerViewMgr(player, &views) == KQ_OK);
    const KQ_RECT rect = {1, 2, 33, 20};
    KQ_IPlayerView* view = views->v->CreatePlayView(views, KQ_OffScreenParent(), &rect);
    CHECK(view != NULL);
    const KQ_RECT got = view->v->GetRect(view);
    CHECK(memcmp(&got, &rect, sizeof rect) == 0);
    CHECK(view->v->SetVideoInput(view, 1, &pictures.base.stream) == KQ_OK);
    CHECK(player->v->GetMovieLength(player) == 0.2);
    CHECK(player->v->SetCallBack(player, OnNotify, &pictures) == KQ_OK);
    CHECK(player->v->Play(player) == KQ_OK);
    for (int i = 0; i < 2000 && atomic_load(&ends) == 0; ++i) {
        thrd_sleep(&(struct timespec){.tv_nsec = 10000000}, NULL);
    }
    CHECK(atomic_load(&ends) == 1 && atomic_load(&positions) == FRAMES - 1);
    CHECK(last > 0.159 && last < 0.161);
    CHECK(player->v->GetPosition(player) > 0.179 && player->v->GetPosition(player) < 0.181);
    CHECK(player->v->IsActivate(player) == KQ_ACTIVATE_ENDED && !player->v->IsPaused(player));

    /* The last picture, a grey of (200 - 16) * 1.164. */
    KQ_Picture picture;
    CHECK(player->v->CaptureView(player, view, KQ_PIXELS_RGB24, &picture) == KQ_OK);
    CHECK(picture.nWidth == WIDTH && picture.nHeight == HEIGHT && picture.nPitch == 3 * WIDTH);
    CHECK(picture.pPixels[0] > 211 && picture.pPixels[0] < 217);
    KQReleasePicture(&picture);

    KQ_IAudioInput* audio = NULL;
    CHECK(KQ_QUERY(player, &IID_IAudioInput, &audio) == KQ_OK);
    CHECK(audio->v->SetAudioInput(audio, NULL) == KQ_OK);
    KQ_RELEASE(audio);

    CHECK(player->v->Stop(player) == KQ_OK);
    CHECK(view->v->Release(view) == 1); /* the manager's own */
    CHECK(views->v->Remove(views, 0) == KQ_OK && views->v->GetCount(views) == 0);
    KQ_RELEASE(views);
    CHECK(player->v->Release(player) == 0);
    KQ_IMediaStream* stream = &pictures.base.stream;
    KQ_RELEASE(stream);
    CHECK(atomic_load(&destroyed) == 1); /* everybody has given back what they took */
    puts("c_host: played to the end");
    return 0;
}
