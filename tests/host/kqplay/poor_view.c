/* View libraries of another maker: with POOR one lacks a required function; neither has a picture sink. */
#define FUNCTION __attribute__((visibility("default")))

static int view;

FUNCTION void* PVCreatePlayerView(void* parent, void* rect) {
    (void)parent;
    (void)rect;
    return &view;
}
FUNCTION void PVDestroyPlayerView(void* handle) {
    (void)handle;
}
#define SETTER(name, type)                                                                                   \
    FUNCTION int name(void* handle, type value) {                                                            \
        (void)handle;                                                                                        \
        (void)value;                                                                                         \
        return 1;                                                                                            \
    }
SETTER(PVSetCropMode, unsigned)
SETTER(PVSetMaskMode, unsigned)
SETTER(PVSetCallbackWnd, void*)
SETTER(PVSetCropRect, void*)
SETTER(PVGetCropRect, void*)
SETTER(PVSetDisplayResizeMode, int)
FUNCTION void PVSetDisplayScale(void* handle, int x, int y) {
    (void)handle;
    (void)x;
    (void)y;
}
FUNCTION int PVUpdate(void* handle) {
    (void)handle;
    return 1;
}
FUNCTION void* PVGetHwnd(void* handle) {
    (void)handle;
    return 0;
}
#ifndef POOR
FUNCTION void PVShowRGB32Image(void* handle, int width, int height, unsigned char* pixels) {
    (void)handle;
    (void)width;
    (void)height;
    (void)pixels;
}
#endif
