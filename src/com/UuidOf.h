/// @file
/// Identifiers of the interfaces that the component's own classes implement, by type.
#pragma once

#include "com/IdentifierValues.h"

#include <kqplayer/com.h>

struct IMediaPlayer;
struct IMediaPlayer2;
struct IAudioInput;
struct IPlayerViewMgr;
struct IPlayerView;
struct IPlayerView2;

/// uuidof_class<T>::get_guid() converts the interface's text identifier on the first call, once per process.
template <class T>
struct uuidof_class {
    static _GUID get_guid() {
        static const _GUID s_guid = [] {
            _GUID value{};
            CLSIDFromString(Text(), &value);
            return value;
        }();
        return s_guid;
    }

private:
    static const wchar_t* Text();
};

template <>
inline const wchar_t* uuidof_class<IMediaPlayer>::Text() {
    return IdentifierValues::kIMediaPlayerText;
}
template <>
inline const wchar_t* uuidof_class<IMediaPlayer2>::Text() {
    return IdentifierValues::kIMediaPlayer2Text;
}
template <>
inline const wchar_t* uuidof_class<IAudioInput>::Text() {
    return IdentifierValues::kIAudioInputText;
}
template <>
inline const wchar_t* uuidof_class<IPlayerViewMgr>::Text() {
    return IdentifierValues::kIPlayerViewMgrText;
}
template <>
inline const wchar_t* uuidof_class<IPlayerView>::Text() {
    return IdentifierValues::kIPlayerViewText;
}
template <>
inline const wchar_t* uuidof_class<IPlayerView2>::Text() {
    return IdentifierValues::kIPlayerView2Text;
}
