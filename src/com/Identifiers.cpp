#include "com/IdentifierValues.h"

#include <kqplayer/identifiers.h>

// clang-format off
const _GUID CLSID_CMediaPlayer = IdentifierValues::kClassMediaPlayer;
const _GUID IID_IMediaPlayer   = IdentifierValues::kIMediaPlayer;
const _GUID IID_IMediaPlayer2  = IdentifierValues::kIMediaPlayer2;
const _GUID IID_IAudioInput    = IdentifierValues::kIAudioInput;
const _GUID IID_IPlayerViewMgr = IdentifierValues::kIPlayerViewMgr;
const _GUID IID_IPlayerView    = IdentifierValues::kIPlayerView;
const _GUID IID_IPlayerView2   = IdentifierValues::kIPlayerView2;
const _GUID IID_IMediaStream   = IdentifierValues::kIMediaStream;
const _GUID IID_IStreamInfo    = IdentifierValues::kIStreamInfo;
const _GUID IID_IStreamInfoSrc = IdentifierValues::kIStreamInfoSrc;
const _GUID IID_IQLXDispatch   = IdentifierValues::kIQLXDispatch;
const _GUID IID_IVideoInput    = IdentifierValues::kIVideoInput;
const _GUID IID_IVideoOutput   = IdentifierValues::kIVideoOutput;
const _GUID IID_IAudioOutput   = IdentifierValues::kIAudioOutput;
const _GUID IID_IDibImage      = IdentifierValues::kIDibImage;
// clang-format on
