/// @file
/// A decoded picture as Python sees it.
#pragma once

#include "FileCore.h"

#include <pybind11/numpy.h>

#include <memory>
#include <string>

namespace kq::python {

/// The order of bytes that a picture is converted to.
enum class PixelOrder { Rgb, Bgr, Bgra };

/// A picture that stays as long as somebody holds it, or an array of it. Never changes.
class Frame {
public:
    /// @param numbers of its file; may be null
    /// @param number  where it is known already, else -1
    Frame(std::shared_ptr<const MEDIA_FRAME> record, const streams::PicturePlace& place,
          std::shared_ptr<PictureNumbers> numbers)
        : m_record(std::move(record)), m_place(place), m_numbers(std::move(numbers)) {}

    /// @param number where it is known without asking, else -1
    static std::shared_ptr<Frame> Of(const FramePtr& frame, std::int64_t number, const FileCore& file);

    const MEDIA_FRAME& Record() const { return *m_record; }
    const streams::PicturePlace& Place() const { return m_place; }
    int Width() const { return m_record->image.nWidth; }
    int Height() const { return m_record->image.nHeight; }
    /// Waits for the file's packets. @return -1 where it cannot be told. Without the interpreter's lock.
    std::int64_t Number();

    /// Converts the picture. Without the interpreter's lock.
    /// @param out Height() rows of Width() pixels, pitch bytes apart
    /// @throw Error for a picture of no known kind
    void ConvertTo(PixelOrder order, std::uint8_t* out, std::ptrdiff_t pitch) const;
    /// Writes the picture to a file whose name says its format. Without the interpreter's lock.
    /// @throw Error
    void Save(const std::wstring& path) const;

private:
    const std::shared_ptr<const MEDIA_FRAME> m_record;
    const streams::PicturePlace m_place;
    const std::shared_ptr<PictureNumbers> m_numbers;
    std::atomic<std::int64_t> m_number{-1};
};

/// @return how many bytes a pixel has
int PixelBytes(PixelOrder order);
/// @return a new array of rows x columns x bytes over a block
py::array NewPixels(int height, int width, int pixelBytes);

void BindFrame(py::module_& module);

} // namespace kq::python
