#include "Session.h"

#include "EventLoop.h"
#include "Measuring.h"
#include "Opening.h"

#include <algorithm>
#include <filesystem>

namespace kqplay {

int Session::Run() {
    if (!OpenLogAndTrace(m_parts)) {
        return ExitFailed;
    }
    if (!m_parts.options.contactSheet.path.empty()) {
        return DrawContactSheet();
    }
    if (!m_parts.options.measure.report.empty()) {
        return MeasureFiles(m_parts);
    }
    if (m_parts.options.verify.isAsked) {
        return VerifyFile(m_parts);
    }
    if (!OpenPlayback(m_parts)) {
        return ExitFailed;
    }
    return EventLoop(m_parts).Run();
}

/// Opens the file, and where numbers of pictures are asked for, in a way that tells them.
bool Session::OpenForSheet(const kq::streams::OpenOptions& how, std::string& error) {
    const std::string& path = m_parts.options.file;
    if (m_parts.options.info == InfoLevel::Off) {
        return kq::streams::OpenMediaFile(path, how, m_parts.file, error);
    }
    const bool opened = kq::streams::OpenTimeline(path, how, m_parts.file, m_parts.timeline, error);
    if (opened) {
        m_parts.timeline->FrameCount(); // waits, so that each of its pictures has a number
    }
    return opened;
}

/// Draws the overview instead of playing. @return the exit status
int Session::DrawContactSheet() {
    kq::streams::OpenOptions how;
    how.audio = false;
    how.queueBytes = how.storeBytes = 1; // what lies behind a picture is not wanted
    how.filter = m_parts.options.filter;
    how.givesUp = [this] { return m_parts.signals.AsksForEnd(); };
    how.log = [this](const std::string& line) { m_parts.output.Note(line); };
    std::string error;
    if (!OpenForSheet(how, error)) {
        m_parts.Fail(error);
        return ExitFailed;
    }
    const auto text = TextRenderer::Open(error);
    if (!text) {
        m_parts.Notice("nothing is written on the contact sheet: " + error);
    }
    ContactSheetRequest request = m_parts.options.contactSheet;
    request.info = m_parts.options.info;
    const int all = request.columns * request.rows;
    const double left = std::max(0.0, m_parts.file.facts.duration - m_parts.options.start);
    ContactSheet sheet(m_parts.file, m_parts.options.start,
                       std::min(m_parts.options.length.value_or(left), left), request,
                       std::filesystem::path(m_parts.options.file).filename().string(), text.get());
    const bool drawn = sheet.Draw(
        [&](int done) {
            m_parts.progress->ShowBar("contact sheet", done, all);
            return !m_parts.signals.AsksForEnd();
        },
        error);
    m_parts.progress->Clear();
    if (!drawn && error.empty()) {
        return ExitPlayed;
    }
    if (!drawn || !sheet.Save(m_parts.output, error)) {
        m_parts.Fail(error);
        return ExitFailed;
    }
    m_parts.Say("contact sheet of " + std::to_string(all) + " pictures: " + request.path);
    return ExitPlayed;
}

} // namespace kqplay
