/// @file
/// The files beside the first one, and how they are shown.
#pragma once

#include "ShownStream.h"
#include "ViewLayout.h"

#include <kqplayer/comparison.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kqplay {

/// One to nine files beside the first, one of which is chosen. The main thread's, but for KeepShown() and
/// IsUnseen(). Whoever changes something has the views drawn again.
class Comparison {
public:
    static constexpr std::size_t mostFiles = 9;

    /// What stands beside the first file.
    struct Other {
        std::string name; ///< for people: the path, or what it is made by
        kq::streams::MediaFile file;
        std::shared_ptr<kq::streams::Companion> companion;
        kq::ComPtr<IMediaStream> difference; ///< from the first file
        std::int64_t offset = 0;             ///< its pictures are so many further on
        bool toldLack = false;
    };

    /// @param first    the first file's pictures, the caller's; they live longer
    /// @param timeline of the first file
    Comparison(IMediaStream& first, std::shared_ptr<kq::streams::Timeline> timeline);
    ~Comparison();
    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    /// Adds a file, which is taken over; the first one is chosen.
    /// @param offset in its pictures
    void Add(std::string name, const kq::streams::MediaFile& file,
             std::shared_ptr<kq::streams::Companion> companion, std::int64_t offset);

    /// To be called when all files have been added: from now on those that are not chosen follow too, so that
    /// they are there when they are; while the first one plays not more than two of them, the one next in
    /// turn and the one that was chosen before.
    void KeepInStep();

    /// @return the stream for the first or the second of the two views
    IMediaStream& View(int view) { return *m_views[view == 0 ? 0 : 1].Get(); }
    std::size_t Count() const { return m_others.size(); }
    std::size_t Chosen() const { return m_chosen; }
    /// @return the one that is chosen
    const Other& Beside() const { return m_others[m_chosen]; }
    const Other& At(std::size_t number) const { return m_others[number]; }
    /// @return the name of the one that is chosen, without its folder
    std::string ShortName() const;
    Layout Now() const { return m_layout; }

    void SetLayout(Layout layout);
    /// @param number from 0. @return false when there is no such file
    bool Choose(std::size_t number);
    /// In Layout::Flip: shows the chosen file in place of the first. @return true when that is a change
    bool Flip(bool on);
    /// Shifts the chosen file, or another one, against the first, by pictures of its own.
    void Shift(std::int64_t pictures) { SetOffset(m_chosen, Beside().offset + pictures); }
    void SetOffset(std::size_t number, std::int64_t pictures);
    /// Amplifies differences by twice as much, and after 64 by 1. @return what it has become, for people
    std::string Amplify();
    /// Differences of luma alone, or of all planes. @return what it has become, for people
    std::string TogglePlanes();
    /// Lets the chosen file's sound be heard, or that of the first again. @return what is heard, for people
    std::string ToggleSound();

    /// @return what the progress line says: "2/3  offset +4", empty for nothing worth it
    std::string Text() const;
    /// @return a line about a file that turned out to have no picture where it should; empty for nothing new
    std::string TakeLack();

    /// @return the picture that a view shows, while its stream stands there, and of a difference the first
    ///         file's; none for a view that nobody sees. Any thread.
    kq::streams::KeptPicture KeepShown(int view);
    /// @return the view that shows the file that is chosen, or the first one; none for a file that is not
    /// seen
    ///         by itself
    std::optional<int> ViewOf(bool isOther) const;
    /// @return true for a view of the file that is chosen, false for one of the first file, or of differences
    bool ShowsOther(int view) const { return ViewOf(true) == view; }
    /// @return the first view that is seen
    int Front() const { return m_layout == Layout::Flip || m_layout == Layout::Difference ? 1 : 0; }
    /// @return true for a view that nobody sees; any thread
    bool IsUnseen(int view) { return !m_views[view == 0 ? 0 : 1]->Shown(); }

private:
    void Apply();
    void HearChosen();
    void Keep();
    bool IsLikelyNext(std::size_t number) const;

    IMediaStream& m_first;
    const std::shared_ptr<kq::streams::Timeline> m_timeline;
    const std::shared_ptr<kq::streams::DifferenceLook> m_look;
    std::vector<Other> m_others;
    kq::ComPtr<ShownStream> m_views[2];
    std::atomic<std::size_t> m_chosen{0};
    std::atomic<std::size_t> m_chosenBefore{0};
    std::atomic<Layout> m_layout{Layout::Side};
    bool m_isFlipped = false;
    bool m_hearsOther = false;

    std::thread m_keeper; ///< lets the others follow
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_quit = false; ///< guarded by m_lock
};

} // namespace kqplay
