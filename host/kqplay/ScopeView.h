/// @file
/// A scope of the picture on show, as a view of its own.
#pragma once

#include "ViewLibrary.h"

#include <kqplayer/scope.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace kqplay {

/// Draws the scope on a thread of its own, of low priority: the pictures themselves never wait for it. What
/// comes while one is drawn waits, and only the latest. The main thread's.
class ScopeView {
public:
    using PicturePtr = std::shared_ptr<const MEDIA_FRAME>;

    /// @param parent as PVCreatePlayerView() has it
    /// @param error receives the reason for null
    static std::unique_ptr<ScopeView> Open(ViewLibrary& library, void* parent, kq::streams::ScopeKind kind,
                                           std::string& error);
    ~ScopeView();
    ScopeView(const ScopeView&) = delete;
    ScopeView& operator=(const ScopeView&) = delete;

    /// @return the view's native window
    void* Window() const { return m_view->Window(); }
    /// Takes the picture on show, null while there is none. Returns at once.
    void Offer(const PicturePtr& picture);

private:
    ScopeView(std::unique_ptr<kq::streams::Scope> scope, std::unique_ptr<LibraryView> view);
    void Run();
    void Draw(const PicturePtr& picture);

    const std::unique_ptr<kq::streams::Scope> m_scope; ///< the thread's, like what it draws
    const std::unique_ptr<LibraryView> m_view;
    kq::streams::ScopePicture m_drawn;
    PicturePtr m_offered; ///< last, by the main thread

    std::mutex m_lock; ///< guards everything below
    std::condition_variable m_work;
    PicturePtr m_next;
    bool m_hasNext = true; ///< black at first
    bool m_quit = false;
    std::thread m_thread;
};

} // namespace kqplay
