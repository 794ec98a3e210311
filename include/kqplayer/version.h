/**
 * @file
 * The version of these headers. Programs that ask for the installed package (the CMake target
 * KQPlayer::KQPlayer, or the flags of pkg-config) are refused when they read other headers than the
 * package's.
 */
#ifndef KQPLAYER_VERSION_H
#define KQPLAYER_VERSION_H

/** Also the number of the binary interface. */
#define KQPLAYER_VERSION_MAJOR 1
/** Counts additions. */
#define KQPLAYER_VERSION_MINOR 0
/** Counts corrections. */
#define KQPLAYER_VERSION_PATCH 0
/** 10203 for version 1.2.3 */
#define KQPLAYER_VERSION                                                                                     \
    (KQPLAYER_VERSION_MAJOR * 10000 + KQPLAYER_VERSION_MINOR * 100 + KQPLAYER_VERSION_PATCH)

#if defined(KQPLAYER_PACKAGE_VERSION) && KQPLAYER_PACKAGE_VERSION != KQPLAYER_VERSION
#error                                                                                                       \
    "These KQPlayer headers are not those of the package that was found: an older or newer copy lies earlier in the include path. Remove it, or put the package's include folder first."
#endif
#if defined(KQPLAYER_PACKAGE_POINTER_SIZE) && KQPLAYER_PACKAGE_POINTER_SIZE != __SIZEOF_POINTER__
#error                                                                                                       \
    "The KQPlayer package that was found is of the other data model (32 or 64 bits): install the package of the architecture that this program is built for."
#endif

#endif
