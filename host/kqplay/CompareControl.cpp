#include "CompareControl.h"

#include "Keys.h"
#include "ProgressLine.h"

#include <chrono>
#include <cmath>
#include <cstdio>

namespace kqplay {
namespace {

constexpr int largeShift = 10;

/// @return what is to be looked for, and by what
kq::compare::Search SearchFor(const PlaybackParts& parts, std::size_t number, AlignBy by) {
    kq::compare::Search search;
    search.reference = parts.options.file;
    search.other = parts.comparison->At(number).name;
    search.by = by == AlignBy::Sound ? kq::compare::Trait::Sound : kq::compare::Trait::Picture;
    return search;
}

/// Shifts a file by what was found. @return what to say about it
std::string TakeOutcome(Comparison& comparison, std::size_t number, const kq::compare::Outcome& outcome) {
    if (!outcome.error.empty()) {
        return outcome.error;
    }
    const Comparison::Other& other = comparison.At(number);
    const std::string sure = std::to_string(std::lround(outcome.confidence * 100)) + " % sure";
    const double rate = other.file.facts.frameRate;
    const auto pictures = static_cast<std::int64_t>(std::llround(outcome.offset * rate));
    if (!outcome.isSure) {
        return other.name + ": unsure of the offset (at most " + sure + "); it stays " +
               FormatOffset(other.offset);
    }
    comparison.SetOffset(number, pictures);
    return other.name + ": offset " + FormatOffset(pictures) + ", " + sure;
}

} // namespace

CompareControl::~CompareControl() {
    m_isCancelled = true;
}

std::optional<std::string> CompareControl::Obey(Command command, int key) {
    switch (command) {
    case Command::NextLayout:
    case Command::Flip:
    case Command::ShiftOn:
    case Command::ShiftBack:
    case Command::ShiftFarOn:
    case Command::ShiftFarBack:
    case Command::Align:
    case Command::NextFile:
    case Command::ChooseFile:
    case Command::AmplifyDifference:
    case Command::ToggleDifferencePlanes:
    case Command::ToggleSound:
        return m_parts.comparison ? Carry(command, key) : "there is nothing to compare with";
    case Command::NextInList:
    case Command::PreviousInList: // keys that shift far where there is something to shift
        return m_parts.comparison ? std::optional(Carry(command, key)) : std::nullopt;
    default:
        return std::nullopt;
    }
}

std::string CompareControl::Carry(Command command, int key) {
    Comparison& comparison = *m_parts.comparison;
    switch (command) {
    case Command::NextLayout:
        return SetLayout(Next(comparison.Now()));
    case Command::Flip:
        m_isFlipped = !m_isFlipped;
        return comparison.Now() == Layout::Flip ? (m_isFlipped ? "the other file" : "the first file") : "";
    case Command::ShiftOn:
        return Shift(1);
    case Command::ShiftBack:
        return Shift(-1);
    case Command::ShiftFarOn:
    case Command::NextInList:
        return Shift(largeShift);
    case Command::ShiftFarBack:
    case Command::PreviousInList:
        return Shift(-largeShift);
    case Command::Align:
        return BeginToAlign();
    case Command::NextFile:
        return Choose((comparison.Chosen() + 1) % comparison.Count());
    case Command::ChooseFile:
        return Choose(static_cast<std::size_t>(key - KeyFile1));
    case Command::ToggleSound:
        return comparison.ToggleSound();
    default:
        break;
    }
    std::string note =
        command == Command::AmplifyDifference ? comparison.Amplify() : comparison.TogglePlanes();
    m_transport.Redraw();
    return note;
}

std::string CompareControl::SetLayout(Layout layout) {
    m_parts.comparison->SetLayout(layout);
    m_transport.Redraw();
    if (m_parts.window) {
        m_parts.window->SetLayout(layout);
    }
    return NameOf(layout);
}

std::string CompareControl::Choose(std::size_t number) {
    if (!m_parts.comparison->Choose(number)) {
        return "there is no file " + std::to_string(number + 1) + " to compare with";
    }
    m_transport.Redraw();
    return "beside " + m_parts.comparison->ShortName();
}

std::string CompareControl::Shift(int pictures) {
    m_parts.comparison->Shift(pictures);
    m_transport.Redraw();
    return "offset " + FormatOffset(m_parts.comparison->Beside().offset);
}

std::string CompareControl::BeginToAlign() {
    if (m_search.valid()) {
        return "the offset is being looked for";
    }
    if (!m_parts.options.filter.empty()) {
        return "what leaves the filters is not shifted";
    }
    m_searched = m_parts.comparison->Chosen();
    kq::compare::Search search =
        SearchFor(m_parts, m_searched, m_parts.options.align.value_or(AlignBy::Picture));
    search.decoderThreads = 1; // play goes on meanwhile
    search.isCancelled = [this] { return m_isCancelled.load(); };
    m_search = std::async(std::launch::async, kq::compare::FindOffset, std::move(search));
    return "looking for the offset";
}

std::optional<std::string> CompareControl::Follow() {
    if (!m_parts.comparison) {
        return std::nullopt;
    }
    const bool isHeld = m_parts.window && m_parts.window->IsFlipped();
    if (m_parts.comparison->Flip(isHeld != m_isFlipped)) {
        m_transport.Redraw();
    }
    const std::string lack = m_parts.comparison->TakeLack();
    if (!lack.empty()) {
        m_parts.Notice(lack);
    }
    return TakeAlignment();
}

std::optional<std::string> CompareControl::TakeAlignment() {
    if (!m_search.valid() || m_search.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        return std::nullopt;
    }
    std::string note = TakeOutcome(*m_parts.comparison, m_searched, m_search.get());
    m_transport.Redraw();
    m_parts.Say(note);
    return note;
}

void AlignFiles(PlaybackParts& parts) {
    if (!parts.options.align || !parts.comparison) {
        return;
    }
    bool isQuit = false;
    for (std::size_t number = 0; number < parts.comparison->Count() && !isQuit; ++number) {
        kq::compare::Search search = SearchFor(parts, number, *parts.options.align);
        search.isCancelled = [&] { return isQuit = isQuit || parts.signals.Take().has_value(); };
        parts.progress->ShowBar("looking for the offset", static_cast<int>(number),
                                static_cast<int>(parts.comparison->Count()));
        parts.Say(TakeOutcome(*parts.comparison, number, kq::compare::FindOffset(search)));
    }
}

} // namespace kqplay
