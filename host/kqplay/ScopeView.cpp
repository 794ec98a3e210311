#include "ScopeView.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace kqplay {
namespace {

constexpr int niceness = 10; ///< of the thread, and of those that FFmpeg starts for it

} // namespace

std::unique_ptr<ScopeView> ScopeView::Open(ViewLibrary& library, void* parent, kq::streams::ScopeKind kind,
                                           std::string& error) {
    auto scope = kq::streams::Scope::Make(kind, error);
    if (!scope) {
        return nullptr;
    }
    auto view = LibraryView::Make(library, parent);
    if (!view) {
        error = library.WhyNoView();
        return nullptr;
    }
    return std::unique_ptr<ScopeView>(new ScopeView(std::move(scope), std::move(view)));
}

ScopeView::ScopeView(std::unique_ptr<kq::streams::Scope> scope, std::unique_ptr<LibraryView> view)
    : m_scope(std::move(scope)), m_view(std::move(view)), m_thread([this] { Run(); }) {}

ScopeView::~ScopeView() {
    {
        const std::lock_guard guard(m_lock);
        m_quit = true;
    }
    m_work.notify_one();
    m_thread.join();
}

void ScopeView::Offer(const PicturePtr& picture) {
    if (picture == m_offered) {
        return;
    }
    m_offered = picture;
    {
        const std::lock_guard guard(m_lock);
        m_next = picture;
        m_hasNext = true;
    }
    m_work.notify_one();
}

void ScopeView::Run() {
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), niceness);
    std::unique_lock guard(m_lock);
    while (true) {
        m_work.wait(guard, [this] { return m_quit || m_hasNext; });
        if (m_quit) {
            return;
        }
        m_hasNext = false;
        const PicturePtr picture = std::exchange(m_next, nullptr);
        guard.unlock();
        Draw(picture);
        guard.lock();
    }
}

/// Black stands for no picture, and for one that cannot be drawn.
void ScopeView::Draw(const PicturePtr& picture) {
    if (!picture || !m_scope->Draw(picture, m_drawn)) {
        m_drawn.width = m_drawn.height = kq::streams::Scope::side;
        m_drawn.pixels.resize(std::size_t{4} * kq::streams::Scope::side * kq::streams::Scope::side);
        std::fill(m_drawn.pixels.begin(), m_drawn.pixels.end(), std::uint8_t{0});
    }
    m_view->Show(m_drawn.width, m_drawn.height, m_drawn.pixels.data());
}

} // namespace kqplay
