/// @file
/// Pictures that are drawn and saved as files.
#pragma once

#include "ComponentOutput.h"

#include <string>

namespace kqplay {

/// Picture formats go by the name's extension: .bmp, .jpg, .jpeg or .png, in any case.
/// @return the format's number in CaptureImageInfo, or -1 for another extension
int PictureFormat(const std::string& path);
/// @return a path as the image library takes it, empty for text that is not UTF-8
std::wstring ToWide(const std::string& path);

/// @return @p path with @p suffix before its extension
std::string WithSuffix(const std::string& path, const std::string& suffix);

/// A picture of B, G, R.
class Picture {
public:
    Picture();
    ~Picture();
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    /// Makes it black. It is empty without memory, or for a size that no picture has.
    void Resize(int width, int height);
    bool IsEmpty() const;
    int Width() const;
    int Height() const;
    /// @return bytes from one row to the next
    int Pitch() const { return (Width() * 24 + 31) / 32 * 4; }
    /// @return the rows, top-down
    unsigned char* Bits();
    /// Writes a file of the format that its name tells. A file of that name is replaced, once the new one is
    /// complete.
    /// @param output knows what the image library complains about
    /// @param error receives one line that names the file and the reason
    bool Save(const std::string& path, ComponentOutput& output, std::string& error);

private:
    void* m_image;
};

} // namespace kqplay
