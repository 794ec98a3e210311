/// @file
/// C++ conveniences beside the raw interfaces: an owning interface pointer, results as text, colour
/// descriptions of frames, and base classes that do the counting, the queries and the description of a host's
/// own streams.
///
/// Header only and nothing of it is exported: what is here is compiled into the host and is no part of the
/// binary interface. kqplayer.h does not include it; hosts that prefer to count themselves leave it out.
#pragma once

#include "com.h"
#include "identifiers.h"
#include "player.h"
#include "records.h"
#include "streams.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>
#include <variant>

namespace kq {

/// Units of MEDIA_FRAME::llPTS, of 100 ns each, in a second.
inline constexpr std::int64_t TicksPerSecond = 10'000'000;

/// @name Modes of IMediaStream::Seek(), IMediaPlayer::Seek() and SyncSeek()
/// @{
inline constexpr int KeyFrameSeek = 0; ///< to the key frame at the time or before it, which is the fastest
inline constexpr int ExactSeek = 1;    ///< to the frame that is on show at the time
/// @}

/// @return what a result code says, for people: "out of memory". Never null; the text is never freed.
inline const char* ResultText(std::int32_t nResult) {
    switch (nResult) {
    case Ok:
        return "success";
    case Refused:
        return "refused: nothing was done";
    case OutOfMemory:
        return "out of memory";
    case NoInterface:
        return "the object does not offer this interface";
    case NullPointer:
        return "a null pointer was given";
    case Failed:
        return "failed";
    case NoAggregation:
        return "an object inside another one is asked for IUnknown first";
    case ClassNotAvailable:
        return "there is no such class";
    default:
        return nResult < 0 ? "an unknown failure" : "an unknown success";
    }
}

/// @return the identifier of a public interface, by its type: IdentifierOf<IMediaPlayer>()
template <class Interface>
const _GUID& IdentifierOf() = delete;

/// @cond One specialisation an interface.
template <>
inline const _GUID& IdentifierOf<IUnknown>() {
    return IID_IUnknown;
}
template <>
inline const _GUID& IdentifierOf<IClassFactory>() {
    return IID_IClassFactory;
}
template <>
inline const _GUID& IdentifierOf<IMediaPlayer>() {
    return IID_IMediaPlayer;
}
template <>
inline const _GUID& IdentifierOf<IMediaPlayer2>() {
    return IID_IMediaPlayer2;
}
template <>
inline const _GUID& IdentifierOf<IAudioInput>() {
    return IID_IAudioInput;
}
template <>
inline const _GUID& IdentifierOf<IPlayerViewMgr>() {
    return IID_IPlayerViewMgr;
}
template <>
inline const _GUID& IdentifierOf<IPlayerView>() {
    return IID_IPlayerView;
}
template <>
inline const _GUID& IdentifierOf<IPlayerView2>() {
    return IID_IPlayerView2;
}
template <>
inline const _GUID& IdentifierOf<IMediaStream>() {
    return IID_IMediaStream;
}
template <>
inline const _GUID& IdentifierOf<IStreamInfo>() {
    return IID_IStreamInfo;
}
template <>
inline const _GUID& IdentifierOf<IQLXDispatch>() {
    return IID_IQLXDispatch;
}
/// @endcond

/// Owns one reference on an object, or none (null).
///
/// A copy takes a reference of its own. As with other pointers, one ComPtr is used from one thread at a time;
/// the object's own rules say from where it may be called.
template <class T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {} ///< null
    /// Adds a reference.
    ComPtr(const ComPtr& other) : ComPtr(Share(other.m_p)) {}
    /// Takes the reference over; @p other is null then.
    ComPtr(ComPtr&& other) noexcept : m_p(other.Detach()) {}
    /// From a pointer to a class that derives from T.
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    ComPtr(ComPtr<U> other) noexcept : m_p(other.Detach()) {}
    ~ComPtr() { Reset(); }

    /// Takes over the reference that @p p carries: for pointers that a call or `new` has handed out.
    static ComPtr Adopt(T* p) {
        ComPtr result;
        result.m_p = p;
        return result;
    }
    /// Adds a reference: for pointers that are somebody else's.
    static ComPtr Share(T* p) {
        if (p != nullptr) {
            p->AddRef();
        }
        return Adopt(p);
    }

    /// Gives the present reference back and adds one on what @p other holds.
    ComPtr& operator=(const ComPtr& other) {
        if (this != &other) {
            *this = Share(other.m_p);
        }
        return *this;
    }
    /// Exchanges the two: the reference that was held here is given back when @p other goes.
    ComPtr& operator=(ComPtr&& other) noexcept {
        std::swap(m_p, other.m_p);
        return *this;
    }

    /// Gives the reference back.
    void Reset() {
        if (T* const p = Detach()) {
            p->Release();
        }
    }
    /// Empties the pointer without giving the reference back. @return what was held
    T* Detach() { return std::exchange(m_p, nullptr); }
    /// Where a call stores an interface that it hands out with one reference. Empties the pointer first.
    T** Out() {
        Reset();
        return &m_p;
    }

    /// @return another interface of the object, or null when it does not offer it or there is no object
    template <class Other>
    ComPtr<Other> As() const {
        void* p = nullptr;
        if (m_p == nullptr || m_p->QueryInterface(IdentifierOf<Other>(), &p) < 0) {
            return nullptr;
        }
        return ComPtr<Other>::Adopt(static_cast<Other*>(p));
    }

    T* Get() const { return m_p; }                            ///< borrowed: valid while this pointer holds it
    T* operator->() const { return m_p; }                     ///< not for null
    T& operator*() const { return *m_p; }                     ///< not for null
    explicit operator bool() const { return m_p != nullptr; } ///< true unless null

private:
    T* m_p = nullptr;
};

/// Makes a player.
/// @return 0; otherwise the code of the step that failed, and @p pPlayer is null
inline std::int32_t CreatePlayer(ComPtr<IMediaPlayer>& pPlayer) {
    pPlayer.Reset();
    void* p = nullptr;
    std::int32_t nResult = DllGetClassObject(CLSID_CMediaPlayer, IID_IClassFactory, &p);
    if (nResult < 0) {
        return nResult;
    }
    const auto pFactory = ComPtr<IClassFactory>::Adopt(static_cast<IClassFactory*>(p));
    p = nullptr;
    nResult = pFactory->CreateInstance(nullptr, IID_IMediaPlayer, &p);
    pPlayer = ComPtr<IMediaPlayer>::Adopt(static_cast<IMediaPlayer*>(p));
    return nResult;
}

/// A captured picture of its own: gives the pixels back when it goes.
class CapturedPicture {
public:
    CapturedPicture() = default;
    CapturedPicture(const CapturedPicture&) = delete;
    CapturedPicture& operator=(const CapturedPicture&) = delete;
    /// Takes the pixels over; @p other is empty then.
    CapturedPicture(CapturedPicture&& other) noexcept : m_picture(std::exchange(other.m_picture, {})) {}
    ~CapturedPicture() { KQReleasePicture(&m_picture); }

    /// Where IMediaPlayer2::CaptureView() stores a picture. Gives the present pixels back first.
    KQPicture* Out() {
        KQReleasePicture(&m_picture);
        return &m_picture;
    }
    const KQPicture& operator*() const { return m_picture; }   ///< all zero for no picture
    const KQPicture* operator->() const { return &m_picture; } ///< all zero for no picture

private:
    KQPicture m_picture{};
};

/// @return what stands for "no window" as a view's parent: the view is off-screen
inline void* OffScreenParent() {
    return reinterpret_cast<void*>(std::uintptr_t{1});
}

/// Base of an object that a host implements: counts its references, destroys itself with the last one, and
/// answers queries for IID_IUnknown and for its interfaces.
///
/// The object begins with one reference, its maker's: `ComPtr<Mine>::Adopt(new Mine)`. Make it with `new`.
/// Counting and queries are safe from any thread.
/// @tparam First the interface whose pointer also stands for the object's identity
/// @tparam More  further public interfaces, for instance IQLXDispatch
template <class First, class... More>
class ComObject : public First, public More... {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    /// See IUnknown.
    std::int32_t QueryInterface(const _GUID& riid, void** ppv) override {
        if (ppv == nullptr) {
            return NullPointer;
        }
        *ppv = nullptr;
        if (riid == IID_IUnknown) {
            *ppv = static_cast<First*>(this);
        }
        Offer<First>(riid, ppv);
        (Offer<More>(riid, ppv), ...);
        if (*ppv == nullptr) {
            return NoInterface;
        }
        AddRef();
        return Ok;
    }
    /// See IUnknown.
    std::uint32_t AddRef() override { return ++m_nReferences; }
    /// See IUnknown.
    std::uint32_t Release() override {
        const std::uint32_t nLeft = --m_nReferences;
        if (nLeft == 0) {
            delete this;
        }
        return nLeft;
    }

protected:
    ComObject() = default;
    virtual ~ComObject() = default;

private:
    template <class Interface>
    void Offer(const _GUID& riid, void** ppv) {
        if (riid == IdentifierOf<Interface>()) {
            *ppv = static_cast<Interface*>(this);
        }
    }

    std::atomic<std::uint32_t> m_nReferences{1};
};

/// What the samples of a picture mean. As it is made: what a frame without a description is.
struct Colour {
    std::int32_t nMatrix = KQ_MATRIX_BT601;   ///< one of KQ_MATRIX_…
    std::int32_t nRange = KQ_RANGE_LIMITED;   ///< one of KQ_RANGE_…
    std::int32_t nTransfer = KQ_TRANSFER_SDR; ///< one of KQ_TRANSFER_…
    std::int32_t nMasteringPeak = 0;          ///< of the mastering display, in cd/m²; 0 for unknown
    std::int32_t nContentPeak = 0;            ///< of the content (MaxCLL), in cd/m²; 0 for unknown

    /// @return whether all fields agree
    bool operator==(const Colour& other) const {
        return nMatrix == other.nMatrix && nRange == other.nRange && nTransfer == other.nTransfer &&
               nMasteringPeak == other.nMasteringPeak && nContentPeak == other.nContentPeak;
    }
    /// @return whether a field differs
    bool operator!=(const Colour& other) const { return !(*this == other); }
};

/// Says what the samples of a frame mean. Frames that are not described are BT.601 in limited range, SDR.
inline void DescribeColour(MEDIA_FRAME& frame, const Colour& colour) {
    frame.reserved[0] = static_cast<std::int32_t>(KQ_COLOUR_MARK << 16) | (colour.nMatrix & 0xF) |
                        (colour.nRange & 1) << 4 | (colour.nTransfer & 0xF) << 8;
    frame.reserved[1] = colour.nMasteringPeak;
    frame.reserved[2] = colour.nContentPeak;
}

/// The same for pictures without HDR.
/// @param frame   is described
/// @param nMatrix one of KQ_MATRIX_…
/// @param nRange  one of KQ_RANGE_…
inline void DescribeColour(MEDIA_FRAME& frame, std::int32_t nMatrix, std::int32_t nRange) {
    Colour colour;
    colour.nMatrix = nMatrix;
    colour.nRange = nRange;
    DescribeColour(frame, colour);
}

/// @return what a frame's samples mean: every field is a listed value, whatever the frame holds
inline Colour ColourOf(const MEDIA_FRAME& frame) {
    Colour colour;
    const auto nWord = static_cast<std::uint32_t>(frame.reserved[0]);
    if (nWord >> 16 != KQ_COLOUR_MARK) {
        return colour;
    }
    const auto Listed = [](std::uint32_t nValue, std::int32_t nLast) {
        return nValue <= static_cast<std::uint32_t>(nLast) ? static_cast<std::int32_t>(nValue) : 0;
    };
    constexpr std::int32_t kBrightest = 10000;
    colour.nMatrix = Listed(nWord & 0xF, KQ_MATRIX_SMPTE240M);
    colour.nRange = Listed(nWord >> 4 & 1, KQ_RANGE_FULL);
    colour.nTransfer = Listed(nWord >> 8 & 0xF, KQ_TRANSFER_HLG);
    colour.nMasteringPeak = Listed(static_cast<std::uint32_t>(frame.reserved[1]), kBrightest);
    colour.nContentPeak = Listed(static_cast<std::uint32_t>(frame.reserved[2]), kBrightest);
    return colour;
}

/// What a stream holds: pictures or sound.
using StreamFormat = std::variant<VIDEO_STREAM_INFO, AUDIO_STREAM_INFO>;

/// The description of a stream, a copy of its format record for whoever asked.
class StreamInfo final : public ComObject<IStreamInfo> {
public:
    /// @param format what is described; it is copied
    explicit StreamInfo(const StreamFormat& format) : m_format(format) {}

    /// Does what IMediaStream::GetStreamInfo() has to.
    static std::int32_t Give(const StreamFormat& format, IStreamInfo** ppInfo) {
        if (ppInfo == nullptr) {
            return NullPointer;
        }
        *ppInfo = new (std::nothrow) StreamInfo(format);
        return *ppInfo != nullptr ? Ok : OutOfMemory;
    }

    std::int32_t Reserved0() override { return Failed; }
    std::int32_t Reserved1() override { return Failed; }
    std::int32_t Reserved2() override { return Failed; }
    std::int32_t Reserved3() override { return Failed; }
    std::int32_t Reserved4() override { return Failed; }
    std::int32_t Reserved5() override { return Failed; }
    std::int32_t Reserved6() override { return Failed; }
    std::int32_t Reserved7() override { return Failed; }
    const AUDIO_STREAM_INFO* GetAudioFormat() override { return std::get_if<AUDIO_STREAM_INFO>(&m_format); }
    const VIDEO_STREAM_INFO* GetVideoFormat() override { return std::get_if<VIDEO_STREAM_INFO>(&m_format); }

private:
    const StreamFormat m_format;
};

/// Base of a host's own stream: what is left to write is Seek(), GetCurrentFrame(), NextFrame() and
/// GetFramePosition() of IMediaStream. A stream that offers further interfaces derives from
/// `ComObject<IMediaStream, …>` instead and calls StreamInfo::Give() itself.
class MediaStream : public ComObject<IMediaStream> {
public:
    std::int32_t GetStreamInfo(IStreamInfo** ppInfo) override { return StreamInfo::Give(m_format, ppInfo); }
    std::int32_t Reserved() override { return Failed; }

    /// @return what the stream holds; it does not change
    const StreamFormat& Format() const { return m_format; }

protected:
    /// @param format a VIDEO_STREAM_INFO or an AUDIO_STREAM_INFO
    explicit MediaStream(const StreamFormat& format) : m_format(format) {}

private:
    const StreamFormat m_format;
};

} // namespace kq
