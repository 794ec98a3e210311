#include "Session.h"

#include "EventLoop.h"
#include "Measuring.h"
#include "Opening.h"

#include <algorithm>

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

/// Draws the overview instead of playing. @return the exit status
int Session::DrawContactSheet() {
    kq::streams::OpenOptions how;
    how.audio = false;
    how.queueBytes = 1; // what lies behind a picture is not wanted
    how.filter = m_parts.options.filter;
    how.log = [this](const std::string& line) { m_parts.output.Note(line); };
    std::string error;
    if (!kq::streams::OpenMediaFile(m_parts.options.file, how, m_parts.file, error)) {
        m_parts.Fail(error);
        return ExitFailed;
    }
    const ContactSheetRequest& request = m_parts.options.contactSheet;
    const int all = request.columns * request.rows;
    const double left = std::max(0.0, m_parts.file.facts.duration - m_parts.options.start);
    ContactSheet sheet(*m_parts.file.video, m_parts.options.start,
                       std::min(m_parts.options.length.value_or(left), left), request);
    const bool drawn = sheet.Draw(
        [&](int done) {
            m_parts.progress->ShowBar("contact sheet", done, all);
            return !m_parts.signals.Take();
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
