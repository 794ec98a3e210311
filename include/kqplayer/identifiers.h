/// @file
/// Entry points and identifiers that libKQPlayer.so exports.
#pragma once

#include "com.h"
#include "export.h"

KQ_EXTERN_C const _GUID CLSID_CMediaPlayer; ///< 6487969C-8280-4371-B037-6FDD91321A3E
KQ_EXTERN_C const _GUID IID_IMediaPlayer;   ///< 05A20FDC-2032-4C70-9134-AE340D8FC36F
KQ_EXTERN_C const _GUID IID_IMediaPlayer2;  ///< 0AD54FB8-E817-4A1F-A0AA-5E25BCFE850E
KQ_EXTERN_C const _GUID IID_IAudioInput;    ///< 89314327-F161-4483-A0EE-AFA455E825EA
KQ_EXTERN_C const _GUID IID_IPlayerViewMgr; ///< 08E9EED2-63E7-4895-9C46-8577AD7745CC
KQ_EXTERN_C const _GUID IID_IPlayerView;    ///< 8E7CE0D9-BF91-4E4F-AF9A-E25C6D9A2C12
KQ_EXTERN_C const _GUID IID_IPlayerView2;   ///< 4B70FA33-F0F4-405E-BB9C-DD56B2622596
KQ_EXTERN_C const _GUID IID_IMediaStream;   ///< E6C172B0-6D74-438F-81E0-433D92B2A627
KQ_EXTERN_C const _GUID IID_IStreamInfo;    ///< 58FE100C-DCD4-49DB-9930-326174CC0ECC
KQ_EXTERN_C const _GUID IID_IStreamInfoSrc; ///< A9AF814A-6F97-4A81-9453-4070EEC761BB
KQ_EXTERN_C const _GUID IID_IQLXDispatch;   ///< C9651659-F5E2-419C-B147-D8DF83C74EA2
KQ_EXTERN_C const _GUID IID_IVideoInput;    ///< 8F310739-7304-4FB9-B4C4-FF7B3B48D98E
KQ_EXTERN_C const _GUID IID_IVideoOutput;   ///< 30D4D994-A15B-4C2E-8277-66D0A8AA1B4F
KQ_EXTERN_C const _GUID IID_IAudioOutput;   ///< 29B857F5-9C9F-4586-85EA-BDE2F1F178F1
KQ_EXTERN_C const _GUID IID_IDibImage;      ///< 2E1ADF80-6F97-47F5-A3AA-9EB80EE12D3F

/// Gives the factory of a class.
/// @param rclsid identifier of the class, CLSID_CMediaPlayer
/// @param riid   IID_IClassFactory or IID_IUnknown
/// @param ppv    receives the factory with one reference; untouched on failure
/// @return 0; 0x80000004 for another interface; 0x80040111 for an unknown class; 0x80000002 without memory;
///         0x80000005 for a null @p ppv
KQ_EXTERN_C std::int32_t DllGetClassObject(const _GUID& rclsid, const _GUID& riid, void** ppv);
/// @return 0, whatever objects are alive
KQ_EXTERN_C std::int32_t DllCanUnloadNow();
/// Does nothing. @return 0
KQ_EXTERN_C std::int32_t DllRegisterServer();
/// Does nothing. @return 0
KQ_EXTERN_C std::int32_t DllUnregisterServer();

/// Where the component's own printed lines go: those about the sound player, seeks, the end of the range and
/// the view library. Records of its log are not concerned (see log.h).
enum : std::int32_t {
    KQ_OUTPUT_CONSOLE = 0, ///< to standard output, as a process starts
    KQ_OUTPUT_LOG = 1,     ///< to the log, a record a line: to the sink that the host has installed
    KQ_OUTPUT_NONE = 2,    ///< nowhere
};

/// Chooses where the component's printed lines go, for the whole process, so that a host's console is its
/// own. Any thread may call it, at any time; what is being printed at that moment still goes where it went.
/// @param nOutput one of KQ_OUTPUT_…
/// @return 0; 1 with nothing changed for another number
KQ_EXTERN_C std::int32_t KQPlayerSetOutput(std::int32_t nOutput);
