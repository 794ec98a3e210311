/// @file
/// An overview picture of a file.
#pragma once

#include "ComponentOutput.h"
#include "InfoText.h"
#include "StillPlayer.h"
#include "TileSheet.h"

#include <kqplayer/media_file.h>

#include <functional>
#include <string>

namespace kqplay {

/// What a contact sheet is to be.
struct ContactSheetRequest {
    std::string path; ///< with the extension of a known format; empty for no sheet
    int columns = 4;
    int rows = 4;
    InfoLevel info = InfoLevel::Off; ///< a title, and numbers and kinds of pictures that have places
};

/// Draws evenly spaced pictures of a range of a file, row by row, each with its time in the file.
///
/// Each picture stands for an equal part of the range. The one in the part's middle is shown; where a key
/// frame lies in the half of the part before it, that one is, because it takes no decoding of others.
class ContactSheet {
public:
    /// Called with the number of pictures drawn. @return false to give up
    using Progress = std::function<bool(int drawn)>;

    /// @param file    whose video nobody else uses meanwhile
    /// @param begin   of the range, seconds in the file
    /// @param seconds length of the range
    /// @param name    of the file, for people
    /// @param text    draws what is written, or null to write nothing
    ContactSheet(const kq::streams::MediaFile& file, double begin, double seconds,
                 const ContactSheetRequest& request, const std::string& name, TextRenderer* text);

    /// @return false when it was given up, with an empty @p error, or failed, with one line in @p error
    bool Draw(const Progress& progress, std::string& error);
    bool Save(ComponentOutput& output, std::string& error) {
        return m_sheet.Save(m_request.path, output, error);
    }

private:
    bool GoTo(int tile);
    bool DrawTile(int tile);

    const kq::streams::MediaFile& m_file;
    IMediaStream& m_video;
    double m_begin;
    double m_part; ///< seconds that a picture stands for
    ContactSheetRequest m_request;
    StillPlayer m_stills;
    TileSheet m_sheet;
};

} // namespace kqplay
