/* Plays a media file from plain C (C11): c_player [--headless] FILE [PICTURE]
 * With PICTURE, its last picture is written there (.bmp, .jpg or .png) at the end.
 *
 *     gcc -std=c11 c_player.c -o c_player $(pkg-config --cflags --libs kqplayer-streams) */

#include <kqplayer/kqplayer_c.h>
#include <kqplayer/media_file_c.h>

#include <stdatomic.h>
#include <stdio.h>
#include <threads.h>

/* Called on the playback thread, which waits meanwhile: be quick here, and never call Stop(). */
static long OnNotify(void* userData, unsigned int message, unsigned int what, unsigned int argument) {
    (void)message, (void)argument;
    if (what == KQ_NOTIFY_END) {
        atomic_store((atomic_bool*)userData, true);
    }
    return 0;
}

static int Fail(const char* what, const char* why) {
    fprintf(stderr, "c_player: %s: %s\n", what, why);
    return 1;
}

/* Plays what has been opened, and waits for its end. */
static int Play(KQ_IMediaPlayer2* player, const KQ_MediaFile* file, void* parent, const char* picture) {
    static atomic_bool ended;
    KQ_IPlayerViewMgr* views = NULL;
    player->v->GetPlayerViewMgr(player, &views);
    const KQ_RECT rect = {100, 100, 1060, 640};
    KQ_IPlayerView* view = views->v->CreatePlayView(views, parent, &rect);
    KQ_RELEASE(views);
    if (view == NULL) {
        return Fail("no view", "PlayerView.so is missing or refuses the window");
    }
    if (file->pVideo != NULL) {
        view->v->SetVideoInput(view, 1, file->pVideo); /* a single view: its source mode is 1 */
    }
    KQ_IAudioInput* audio = NULL;
    if (file->pAudio != NULL && KQ_QUERY(player, &IID_IAudioInput, &audio) == KQ_OK) {
        audio->v->SetAudioInput(audio, file->pAudio);
    }
    KQ_RELEASE(audio);
    player->v->SetResize(player, view, KQ_RESIZE_FIT);
    player->v->SetCallBack(player, OnNotify, &ended);
    player->v->SetPlayTime(player, 0, 0); /* from the start to the end */
    int32_t result = player->v->Play(player);
    while (result == KQ_OK && !atomic_load(&ended)) {
        printf("\r%6.2f s", player->v->GetPosition(player));
        fflush(stdout);
        thrd_sleep(&(struct timespec){.tv_nsec = 50000000}, NULL);
    }
    if (result == KQ_OK && picture != NULL) {
        result = player->v->CaptureViewToFile(player, view, KQ_CAPTURE_BY_NAME, picture);
    }
    KQ_RELEASE(view);
    if (result != KQ_OK) {
        return Fail("not played or captured", KQ_ResultText(result));
    }
    printf("\rplayed %.2f seconds\n", player->v->GetPosition(player));
    return 0;
}

int main(int argc, char** argv) {
    const bool headless = argc > 1 && argv[1][0] == '-';
    if (argc - headless < 2 || argc - headless > 3) {
        fprintf(stderr, "usage: c_player [--headless] FILE [PICTURE]\n");
        return 2;
    }
    const char* const path = argv[1 + headless];
    const char* const picture = argc - headless == 3 ? argv[2 + headless] : NULL;
    KQPlayerSetOutput(KQ_OUTPUT_NONE); /* this console is ours */

    /* The file's streams decode ahead on threads of their own. */
    KQ_MediaFile file;
    char error[512];
    if (KQ_OpenMediaFile(path, NULL, &file, error, sizeof error) != KQ_OK) {
        fprintf(stderr, "c_player: %s\n", error);
        return 1;
    }
    KQ_IMediaPlayer2* player = NULL;
    const int32_t made = KQ_CreatePlayer(&player);
    const int status = made == KQ_OK ? Play(player, &file, headless ? KQ_OffScreenParent() : NULL, picture)
                                     : Fail("no player", KQ_ResultText(made));
    KQ_RELEASE(player); /* its last reference waits for the callback */
    KQ_ReleaseMediaFile(&file);
    return status;
}
