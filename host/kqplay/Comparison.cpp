#include "Comparison.h"

#include "ProgressLine.h"
#include "VideoSize.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <utility>

namespace kqplay {
namespace {

/// What a stream without a frame rate is counted with.
constexpr double usualRate = 25;

/// Files that are not shown look this often where the first one is.
constexpr auto keepEvery = std::chrono::milliseconds(20);
/// It stands still when so many looks have found it at one place: pictures may last longer than a look.
constexpr int looksUntilStill = 8;
/// With more files it costs too much to decode all of them while they play: only the chosen one, and the two
/// that are likely to be next.
constexpr std::size_t mostInStep = 3;

} // namespace

Comparison::Comparison(IMediaStream& first, std::shared_ptr<kq::streams::Timeline> timeline)
    : m_first(first), m_timeline(std::move(timeline)),
      m_look(std::make_shared<kq::streams::DifferenceLook>()) {
    const VIDEO_STREAM_INFO format = VideoFormatOf(first);
    m_views[0] = kq::ComPtr<ShownStream>::Adopt(new ShownStream(format, &first));
    m_views[1] = kq::ComPtr<ShownStream>::Adopt(new ShownStream(format, nullptr));
}

Comparison::~Comparison() {
    {
        const std::lock_guard guard(m_lock);
        m_quit = true;
    }
    m_wake.notify_all();
    if (m_keeper.joinable()) {
        m_keeper.join();
    }
    for (auto& view : m_views) {
        view->Show(nullptr);
    }
    for (Other& other : m_others) {
        other.difference.Reset();
        other.file.Release();
    }
}

void Comparison::Add(std::string name, const kq::streams::MediaFile& file,
                     std::shared_ptr<kq::streams::Companion> companion, std::int64_t offset) {
    Other other{std::move(name), file, std::move(companion), {}, 0, false};
    other.difference =
        kq::ComPtr<IMediaStream>::Adopt(kq::streams::MakeDifference(m_first, *file.video, m_look));
    m_others.push_back(std::move(other));
    SetOffset(m_others.size() - 1, offset);
    Apply();
}

void Comparison::KeepInStep() {
    if (m_others.size() > 1) {
        m_keeper = std::thread([this] { Keep(); });
    }
}

void Comparison::Keep() {
    double before = -1;
    int looks = 0;
    std::unique_lock guard(m_lock);
    while (!m_wake.wait_for(guard, keepEvery, [this] { return m_quit; })) {
        guard.unlock();
        const double now = m_first.GetFramePosition();
        looks = now == std::exchange(before, now) ? std::min(looks + 1, looksUntilStill) : 0;
        for (std::size_t i = 0; i < m_others.size(); ++i) {
            if (i != m_chosen && (looks == looksUntilStill || IsLikelyNext(i))) {
                m_others[i].file.video->GetFramePosition();
            }
        }
        guard.lock();
    }
}

/// @return true for a file that is to be there at once when it is chosen, also during play
bool Comparison::IsLikelyNext(std::size_t number) const {
    return m_others.size() <= mostInStep || number == (m_chosen + 1) % m_others.size() ||
           number == m_chosenBefore;
}

void Comparison::SetLayout(Layout layout) {
    m_layout = layout;
    Apply();
}

bool Comparison::Choose(std::size_t number) {
    if (number >= m_others.size()) {
        return false;
    }
    if (number != m_chosen) {
        m_chosenBefore = m_chosen.exchange(number);
    }
    Apply();
    if (m_hearsOther) {
        HearChosen();
    }
    return true;
}

bool Comparison::Flip(bool on) {
    if (on == std::exchange(m_isFlipped, on) || m_layout != Layout::Flip) {
        return false;
    }
    Apply();
    return true;
}

std::optional<int> Comparison::ViewOf(bool isOther) const {
    switch (m_layout) {
    case Layout::Flip:
        return isOther == m_isFlipped ? std::optional(1) : std::nullopt;
    case Layout::Difference:
        return std::nullopt;
    default:
        return isOther ? 1 : 0;
    }
}

/// Gives the views what they show.
void Comparison::Apply() {
    IMediaStream* const beside = Beside().file.video;
    switch (m_layout) {
    case Layout::Flip:
        m_views[0]->Show(nullptr);
        m_views[1]->Show(m_isFlipped ? beside : &m_first, m_isFlipped ? nullptr : beside);
        break;
    case Layout::Difference:
        m_views[0]->Show(nullptr);
        m_views[1]->Show(Beside().difference.Get());
        break;
    default:
        m_views[0]->Show(&m_first);
        m_views[1]->Show(beside);
    }
}

void Comparison::SetOffset(std::size_t number, std::int64_t pictures) {
    Other& other = m_others[number];
    const double rate = other.file.facts.frameRate;
    other.offset = pictures;
    other.companion->SetOffset(static_cast<double>(pictures) / (rate > 0 ? rate : usualRate));
}

std::string Comparison::Amplify() {
    const int doublings = (m_look->doublings + 1) % (kq::streams::DifferenceLook::mostDoublings + 1);
    m_look->doublings = doublings;
    return "difference x" + std::to_string(1 << doublings);
}

std::string Comparison::TogglePlanes() {
    m_look->hasChroma = !m_look->hasChroma;
    return m_look->hasChroma ? "difference of luma and chroma" : "difference of luma";
}

std::string Comparison::ShortName() const {
    return std::filesystem::path(Beside().name).filename().string();
}

std::string Comparison::ToggleSound() {
    if (!m_hearsOther && !Beside().companion->HasSound()) {
        return ShortName() + " has no sound";
    }
    m_hearsOther = !m_hearsOther;
    HearChosen();
    return m_hearsOther ? "sound of " + ShortName() : "sound of the first file";
}

/// A file without sound gives it back to the first.
void Comparison::HearChosen() {
    m_hearsOther = m_hearsOther && Beside().companion->HasSound();
    if (m_hearsOther) {
        Beside().companion->Hear();
    } else {
        kq::streams::HearReference(*m_timeline);
    }
}

std::string Comparison::Text() const {
    std::string text;
    if (m_others.size() > 1) {
        text = std::to_string(m_chosen + 1) + "/" + std::to_string(m_others.size());
    }
    if (Beside().offset != 0) {
        text += (text.empty() ? "" : "  ") + std::string("offset ") + FormatOffset(Beside().offset);
    }
    return text;
}

std::string Comparison::TakeLack() {
    Other& other = m_others[m_chosen];
    if (other.toldLack || !other.companion->LacksPicture()) {
        return {};
    }
    other.toldLack = true;
    return other.name + ": there is no picture at this time; a cross is shown where there is none";
}

kq::streams::KeptPicture Comparison::KeepShown(int view) {
    const auto shown = m_views[view == 0 ? 0 : 1]->Shown();
    if (!shown) {
        return {};
    }
    // A difference stands where the first file does.
    return kq::streams::KeepPicture(m_layout == Layout::Difference ? m_first : *shown);
}

} // namespace kqplay
