/// @file
/// The log library and the image library of a test program: they record instead of writing.
#pragma once

#include <string>
#include <vector>

namespace kq::test {

/// @return the lines logged since the last call, as UTF-8 with their line ends
std::vector<std::string> TakeLog();
/// @return whether a line was among those logged since the last TakeLog(), which it does not take
bool HasLogged(const std::string& line);

/// One picture that was saved through the recording image library.
struct SavedImage {
    int width;
    int height;
    std::vector<unsigned char> bits;
    std::wstring path;
    std::wstring mimeType; ///< empty for a null one
};
/// @return the pictures saved since the last call
std::vector<SavedImage> TakeSavedImages();
/// @return how many images exist, and how many were ever made
struct ImageCounts {
    int alive;
    int made;
};
ImageCounts GetImageCounts();

} // namespace kq::test
