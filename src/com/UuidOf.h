/// @file
/// Identifiers of the interfaces that the component's own classes implement, by type.
#pragma once

#include <kqplayer/com.h>

struct IMediaPlayer;
struct IAudioInput;
struct IPlayerViewMgr;
struct IPlayerView;

/// uuidof_class<T>::get_guid() converts the interface's text identifier on the first call, once per process.
template <class T>
struct uuidof_class {
    static _GUID get_guid() {
        static const _GUID guid = [] {
            _GUID value{};
            CLSIDFromString(Text(), &value);
            return value;
        }();
        return guid;
    }

private:
    static const wchar_t* Text();
};

template <>
inline const wchar_t* uuidof_class<IMediaPlayer>::Text() {
    return L"05A20FDC-2032-4c70-9134-AE340D8FC36F";
}
template <>
inline const wchar_t* uuidof_class<IAudioInput>::Text() {
    return L"89314327-F161-4483-A0EE-AFA455E825EA";
}
template <>
inline const wchar_t* uuidof_class<IPlayerViewMgr>::Text() {
    return L"08E9EED2-63E7-4895-9C46-8577AD7745CC";
}
template <>
inline const wchar_t* uuidof_class<IPlayerView>::Text() {
    return L"8E7CE0D9-BF91-4e4f-AF9A-E25C6D9A2C12";
}
