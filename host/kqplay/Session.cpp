#include "Session.h"

#include "EventLoop.h"
#include "Measuring.h"
#include "Opening.h"

#include <algorithm>
#include <filesystem>

namespace kqplay {

int Session::Run() {
    m_parts.emplace(m_lasting, m_lasting.options.file);
    if (!OpenLogAndTrace(Parts())) {
        return ExitFailed;
    }
    if (!Parts().options.contactSheet.path.empty()) {
        return DrawContactSheet();
    }
    if (!Parts().options.measure.report.empty()) {
        return MeasureFiles(Parts());
    }
    if (Parts().options.verify.isAsked) {
        return VerifyFile(Parts());
    }
    return End(PlayFiles());
}

/// Plays the files one after the other, the way that the user goes through them. @return the exit status
int Session::PlayFiles() {
    const std::vector<std::string>& files = m_lasting.options.files;
    int status = ExitPlayed;
    int direction = 1;
    std::optional<std::size_t> number = 0;
    m_lasting.hasAnother = [&](int way) { return Beside(*number, way).has_value(); };
    while (number) {
        m_parts.emplace(m_lasting, files[*number]);
        if (files.size() > 1) {
            Parts().Say(std::to_string(*number + 1) + "/" + std::to_string(files.size()) + "  " +
                        files[*number]);
        }
        if (OpenPlayback(Parts())) {
            EventLoop loop(Parts());
            status = std::max<int>(status, loop.Run());
            direction = loop.Turn();
        } else {
            status = ExitFailed;
            m_unplayable.insert(*number);
            direction = Parts().signals.HasAskedForEnd() ? 0 : direction;
        }
        std::optional<std::size_t> next = direction != 0 ? Beside(*number, direction) : std::nullopt;
        if (!next && m_unplayable.count(*number) != 0 && direction < 0) {
            direction = 1; // back to where the user came from
            next = Beside(*number, direction);
        }
        number = next;
    }
    return status;
}

/// @return the nearest file that way which can be opened as far as is known
std::optional<std::size_t> Session::Beside(std::size_t number, int direction) const {
    const auto count = static_cast<std::ptrdiff_t>(m_lasting.options.files.size());
    for (auto at = static_cast<std::ptrdiff_t>(number) + direction; at >= 0 && at < count; at += direction) {
        if (m_unplayable.count(static_cast<std::size_t>(at)) == 0) {
            return static_cast<std::size_t>(at);
        }
    }
    return std::nullopt;
}

/// Closes what several files share, after a last one that could not be opened. @return the exit status
int Session::End(int status) {
    std::string error;
    const bool isWhole = (m_lasting.sound.Close(error) || Parts().Fail(error)) &&
                         (m_lasting.trace.Close(error) || Parts().Fail(error));
    return isWhole ? status : ExitFailed;
}

/// Opens the file, and where numbers of pictures are asked for, in a way that tells them.
bool Session::OpenForSheet(const kq::streams::OpenOptions& how, std::string& error) {
    const std::string& path = Parts().options.file;
    if (Parts().options.info == InfoLevel::Off) {
        return kq::streams::OpenMediaFile(path, how, Parts().file, error);
    }
    const bool opened = kq::streams::OpenTimeline(path, how, Parts().file, Parts().timeline, error);
    if (opened) {
        Parts().timeline->FrameCount(); // waits, so that each of its pictures has a number
    }
    return opened;
}

/// Draws the overview instead of playing. @return the exit status
int Session::DrawContactSheet() {
    kq::streams::OpenOptions how;
    how.audio = false;
    how.queueBytes = how.storeBytes = 1; // what lies behind a picture is not wanted
    how.filter = Parts().options.filter;
    Parts().Watch(how);
    std::string error;
    if (!OpenForSheet(how, error)) {
        Parts().Fail(error);
        return ExitFailed;
    }
    const auto text = TextRenderer::Open(error);
    if (!text) {
        Parts().Notice("nothing is written on the contact sheet: " + error);
    }
    ContactSheetRequest request = Parts().options.contactSheet;
    request.info = Parts().options.info;
    const int all = request.columns * request.rows;
    const double left = std::max(0.0, Parts().file.facts.duration - Parts().options.start);
    ContactSheet sheet(Parts().file, Parts().options.start,
                       std::min(Parts().options.length.value_or(left), left), request,
                       std::filesystem::path(Parts().options.file).filename().string(), text.get());
    const bool drawn = sheet.Draw(
        [&](int done) {
            Parts().progress->ShowBar("contact sheet", done, all);
            return !Parts().signals.AsksForEnd();
        },
        error);
    Parts().progress->Clear();
    if (!drawn && error.empty()) {
        return ExitPlayed;
    }
    if (!drawn || !sheet.Save(Parts().output, error)) {
        Parts().Fail(error);
        return ExitFailed;
    }
    Parts().Say("contact sheet of " + std::to_string(all) + " pictures: " + request.path);
    return ExitPlayed;
}

} // namespace kqplay
