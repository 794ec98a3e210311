#include "ComponentHost.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

/// The view library numbers the views of the whole process.
int viewsMade = 0;

std::string ViewLibraryPath() {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "PlayerView.so").string();
}

} // namespace

ComponentHost::ComponentHost(Marker marker)
    : m_marker(std::move(marker)), m_viewLibrary(dlopen(ViewLibraryPath().c_str(), RTLD_NOW | RTLD_LOCAL)),
      m_firstView(viewsMade) {
    if (m_viewLibrary == nullptr) {
        throw std::runtime_error(dlerror());
    }
    if (const std::int32_t result = kq::CreatePlayer(m_player)) {
        throw std::runtime_error(std::string("no player: ") + kq::ResultText(result));
    }
    m_player->GetPlayerViewMgr(m_views.Out());
    const auto setSink =
        reinterpret_cast<decltype(&PVSetPictureSink)>(dlsym(m_viewLibrary, "PVSetPictureSink"));
    setSink(nullptr, OnPicture, this);
}

ComponentHost::~ComponentHost() {
    m_player->Stop();
    reinterpret_cast<decltype(&PVSetPictureSink)>(dlsym(m_viewLibrary, "PVSetPictureSink"))(nullptr, nullptr,
                                                                                            nullptr);
    m_views.Reset();
    m_player.Reset();
    dlclose(m_viewLibrary);
}

void ComponentHost::AddView(int sourceMode, IMediaStream& video) {
    const auto view =
        ComPtr<IPlayerView>::Adopt(m_views->CreatePlayView(kq::OffScreenParent(), tagRECT{0, 0, 64, 36}));
    ++viewsMade;
    view->SetVideoInput(sourceMode, &video);
}

void ComponentHost::SetAudio(IMediaStream& audio) {
    m_player.As<IAudioInput>()->SetAudioInput(&audio);
}

void ComponentHost::LoadAndWait() {
    Forget();
    m_player->Load();
    WaitForPicture([](const auto& pictures) { return !pictures.empty() && pictures.back().mark != 0; });
}

std::vector<ComponentHost::Picture> ComponentHost::Pictures() {
    const std::lock_guard guard(m_lock);
    return m_pictures;
}

void ComponentHost::Forget() {
    const std::lock_guard guard(m_lock);
    m_pictures.clear();
}

bool ComponentHost::WaitForPicture(const std::function<bool(const std::vector<Picture>&)>& satisfied) {
    std::unique_lock guard(m_lock);
    return m_shown.wait_for(guard, std::chrono::seconds(20), [&] { return satisfied(m_pictures); });
}

bool ComponentHost::WaitForEnd() {
    const auto limit = Clock::now() + std::chrono::seconds(30);
    while (m_player->IsActivate() != KQ_ACTIVATE_ENDED && Clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return m_player->IsActivate() == KQ_ACTIVATE_ENDED;
}

void ComponentHost::OnPicture(void* /*handle*/, int view, int width, int height, const unsigned char* pixels,
                              void* self) {
    auto& host = *static_cast<ComponentHost*>(self);
    const std::size_t bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
    const Picture picture{view - host.m_firstView, host.m_marker(pixels, bytes), Clock::now()};
    const std::lock_guard guard(host.m_lock);
    host.m_pictures.push_back(picture);
    host.m_shown.notify_all();
}

} // namespace bench
