/// @file
/// Views for hosts that draw by themselves, as most toolkits do: their pictures are made in memory of the
/// host's, and handed to it, instead of being drawn in a window.
///
/// A host registers a receiver and is given a value that stands for it as the parent of views, wherever an
/// X11 window's id stands otherwise. Each view has such a receiver of its own. No X11 window has such a
/// value. Such a view has no window: IPlayerView::GetWND() gives null, and how a picture is placed is the
/// host's to decide, its display aspect ratio (VIDEO_STREAM_INFO) included.
#pragma once

#include "export.h"
#include "player_view.h"
#include "view_library.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

/// Lends the memory that a view's next picture is made in, on the thread that makes it. The same rules hold
/// as for a PVPictureSink.
/// @param nWidth    pixels, from 1 to 16384
/// @param nHeight   likewise
/// @param pUserData as given with the receiver
/// @return room for nWidth * nHeight * 4 bytes, which is written until the next call for the view, or until
///         the picture is handed over as its pixels; null: the picture is made elsewhere
typedef unsigned char* (*PVPictureLender)(int nWidth, int nHeight, void* pUserData);

/// Where the pictures of a view go. Neither function may throw.
struct KQPictureReceiver {
    std::uint32_t cbSize;     ///< sizeof(KQPictureReceiver)
    PVPictureLender pfnLend;  ///< null: nothing is lent
    PVPictureSink pfnReceive; ///< becomes the view's own sink (see PVSetPictureSink())
    void* pUserData;          ///< for both; has to last as long as the views that are made with the receiver
};

/// Registers a receiver as the parent of views.
/// @param pReceiver is copied
/// @return a value for IPlayerViewMgr::CreatePlayView(), IYv12View::Create() and PVCreatePlayerView(): above
///         every X11 window's id; null when a field is missing, or too many receivers are registered
KQ_EXTERN_C void* PVAddPictureReceiver(const KQPictureReceiver* pReceiver);
/// Takes a value back. Views that were made with it stay, and hand over their pictures.
/// @return 1, or 0 for a value that does not stand for a receiver
KQ_EXTERN_C int PVRemovePictureReceiver(void* pValue);

namespace kq {

/// A picture that stays as it is for as long as somebody holds it, on whatever thread, also when its receiver
/// has gone.
struct ReceivedPicture {
    int nWidth = 0;                               ///< pixels
    int nHeight = 0;                              ///< pixels
    std::shared_ptr<const unsigned char> pPixels; ///< B, G, R, 255, top-down, rows of 4 * nWidth bytes; null:
                                                  ///< there is no picture yet

    std::size_t Bytes() const { return std::size_t{4} * nWidth * nHeight; } ///< of the pixels
};

/// Receives the pictures of one view without a copy: keeps the newest one, for the host's thread to draw. The
/// memory of pictures that nobody holds any more is used again.
///
/// To be destroyed after the player whose view it was the parent of.
class PictureReceiver {
public:
    /// @param onPicture called for every picture, on the thread that has made it (mostly the playback thread,
    ///        which waits meanwhile): tells the toolkit's own thread, and returns. It may not call the
    ///        player.
    explicit PictureReceiver(std::function<void()> onPicture)
        : m_onPicture(std::move(onPicture)), m_library(OpenViewLibrary().pHandle) {
        const KQPictureReceiver receiver = {sizeof(KQPictureReceiver), Lend, Receive, this};
        const auto pfnAdd = m_library.Function<decltype(&PVAddPictureReceiver)>("PVAddPictureReceiver");
        m_pValue = pfnAdd != nullptr ? pfnAdd(&receiver) : nullptr;
    }
    ~PictureReceiver() {
        if (m_pValue != nullptr) {
            m_library.Function<decltype(&PVRemovePictureReceiver)>("PVRemovePictureReceiver")(m_pValue);
        }
    }
    PictureReceiver(const PictureReceiver&) = delete;
    PictureReceiver& operator=(const PictureReceiver&) = delete;

    /// @return the parent for the view. Where the view library knows no receivers no view can be made with
    /// it.
    void* Parent() const {
        return m_pValue != nullptr ? m_pValue : reinterpret_cast<void*>(std::uintptr_t{kRefused});
    }
    /// @return the newest picture. Any thread.
    ReceivedPicture Newest() const {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_newest;
    }

private:
    /// Above every X11 window's id, and never registered.
    static constexpr std::uintptr_t kRefused = 0xC0000000;

    /// Memory for pictures of one size, which each picture brings back when nobody holds it any more.
    class Store : public std::enable_shared_from_this<Store> {
    public:
        Store() = default;
        ~Store() {
            for (unsigned char* const p : m_free) {
                Delete(p);
            }
        }
        Store(const Store&) = delete;
        Store& operator=(const Store&) = delete;

        /// @throw std::bad_alloc
        std::shared_ptr<unsigned char> Take(std::size_t nBytes) {
            unsigned char* p = nullptr;
            {
                const std::lock_guard<std::mutex> guard(m_lock);
                if (m_nBytes != nBytes) {
                    Empty();
                    m_nBytes = nBytes;
                }
                m_free.reserve(kMostFree);
                if (!m_free.empty()) {
                    p = m_free.back();
                    m_free.pop_back();
                }
            }
            if (p == nullptr) {
                p = static_cast<unsigned char*>(::operator new(nBytes, kAlignment));
            }
            return {p, [pStore = shared_from_this(), nBytes](unsigned char* pUsed) {
                        pStore->GiveBack(pUsed, nBytes);
                    }};
        }

    private:
        static constexpr std::align_val_t kAlignment{64};
        static constexpr std::size_t kMostFree = 3;

        static void Delete(unsigned char* p) { ::operator delete(p, kAlignment); }
        void Empty() {
            for (unsigned char* const p : m_free) {
                Delete(p);
            }
            m_free.clear();
        }
        void GiveBack(unsigned char* p, std::size_t nBytes) {
            const std::lock_guard<std::mutex> guard(m_lock);
            if (nBytes == m_nBytes && m_free.size() < kMostFree) {
                m_free.push_back(p);
            } else {
                Delete(p);
            }
        }

        std::mutex m_lock;
        std::size_t m_nBytes = 0;
        std::vector<unsigned char*> m_free;
    };

    static unsigned char* Lend(int nWidth, int nHeight, void* pUserData) {
        auto& self = *static_cast<PictureReceiver*>(pUserData);
        try {
            self.m_pLent.reset();
            self.m_pLent = self.m_pStore->Take(ReceivedPicture{nWidth, nHeight, nullptr}.Bytes());
        } catch (const std::bad_alloc&) {
        }
        return self.m_pLent.get();
    }

    static void Receive(void* /*pView*/, int /*nView*/, int nWidth, int nHeight, const unsigned char* pPixels,
                        void* pUserData) {
        auto& self = *static_cast<PictureReceiver*>(pUserData);
        // Pixels that were made elsewhere, by a host that shows pictures itself.
        if (pPixels != self.m_pLent.get()) {
            unsigned char* const pCopy = Lend(nWidth, nHeight, pUserData);
            if (pCopy == nullptr) {
                return;
            }
            std::memcpy(pCopy, pPixels, ReceivedPicture{nWidth, nHeight, nullptr}.Bytes());
        }
        ReceivedPicture picture{nWidth, nHeight, std::move(self.m_pLent)};
        {
            const std::lock_guard<std::mutex> guard(self.m_lock);
            std::swap(self.m_newest, picture);
        }
        self.m_onPicture();
    }

    const std::function<void()> m_onPicture;
    const LoadedViewLibrary m_library;
    const std::shared_ptr<Store> m_pStore = std::make_shared<Store>();
    std::shared_ptr<unsigned char> m_pLent; ///< touched by the view's calls only, which come one at a time
    mutable std::mutex m_lock;              ///< guards the newest picture
    ReceivedPicture m_newest;
    void* m_pValue = nullptr;
};

} // namespace kq
