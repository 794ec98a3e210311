#include "Conversions.h"

#include <kqplayer/audio.h>
#include <kqplayer/image.h>

#include <image/Arithmetic.h>
#include <pybind11/numpy.h>

#include <algorithm>
#include <climits>
#include <limits>
#include <string>
#include <vector>

namespace kq::python {
namespace {

using Bytes = py::array_t<std::uint8_t>;
using Words = py::array_t<std::uint16_t>;

/// Sides that all routines serve, and no memory is too small for.
constexpr py::ssize_t longestSide = 32768;

std::string ShapeText(const py::array& array) {
    return py::str(array.attr("shape")).cast<std::string>();
}

/// An array as the routines read it: a plane of bytes, or pixels of some bytes each.
/// @param pixelBytes 0 for a plane
/// @throw py::value_error
py::array Checked(const py::object& object, const char* name, int pixelBytes) {
    const std::string text = name;
    if (!py::isinstance<py::array>(object)) {
        throw py::value_error(text + " has to be a NumPy array");
    }
    auto array = py::reinterpret_borrow<py::array>(object);
    const bool isPlane = pixelBytes == 0;
    if (!array.dtype().is(py::dtype::of<std::uint8_t>())) {
        throw py::value_error(text + " has to be of uint8, not " +
                              py::str(array.dtype()).cast<std::string>());
    }
    if (array.ndim() != (isPlane ? 2 : 3) || (!isPlane && array.shape(2) != pixelBytes)) {
        const std::string expected =
            isPlane ? "(rows, columns)" : "(rows, columns, " + std::to_string(pixelBytes) + ")";
        throw py::value_error(text + " has to be of shape " + expected + ", not " + ShapeText(array));
    }
    if (array.shape(0) < 1 || array.shape(1) < 1 || array.shape(0) > longestSide ||
        array.shape(1) > longestSide) {
        throw py::value_error(text + " has to have 1 to 32768 rows and columns, not " + ShapeText(array));
    }
    const bool isDense =
        isPlane ? array.strides(1) == 1 : array.strides(2) == 1 && array.strides(1) == pixelBytes;
    if ((!isDense && array.shape(1) > 1) || std::abs(array.strides(0)) > INT_MAX) {
        throw py::value_error(
            text + " has to have the samples of each row side by side: numpy.ascontiguousarray() makes that");
    }
    return array;
}

/// The three planes of a 4:2:0 picture.
struct Planar {
    py::array y, u, v;
    int width = 0, height = 0;

    Planar(const py::object& luma, const py::object& cb, const py::object& cr)
        : y(Checked(luma, "y", 0)), u(Checked(cb, "u", 0)), v(Checked(cr, "v", 0)),
          width(static_cast<int>(y.shape(1))), height(static_cast<int>(y.shape(0))) {
        for (const py::array* chroma : {&u, &v}) {
            if (chroma->shape(0) != (height + 1) / 2 || chroma->shape(1) != (width + 1) / 2) {
                throw py::value_error("u and v of a picture of " + std::to_string(width) + "x" +
                                      std::to_string(height) + " have to be of shape (" +
                                      std::to_string((height + 1) / 2) + ", " +
                                      std::to_string((width + 1) / 2) + "), not " + ShapeText(*chroma));
            }
        }
    }
};

/// The routines take what they only read without const.
std::uint8_t* Data(const py::array& array) {
    return const_cast<std::uint8_t*>(static_cast<const std::uint8_t*>(array.data()));
}
std::int32_t Pitch(const py::array& array) {
    return static_cast<std::int32_t>(array.strides(0));
}

tagBITMAPINFOHEADER HeaderOf(int width, int height, int bits) {
    tagBITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<std::uint16_t>(bits);
    return header;
}

py::ssize_t PaddedRow(int width) {
    return image::BitmapRowBytes(width, 24);
}

/// New pixels of 24 bits, whose rows are padded to four bytes.
Bytes NewBgr(int width, int height) {
    const Bytes memory({static_cast<py::ssize_t>(height), PaddedRow(width)});
    return Bytes({static_cast<py::ssize_t>(height), static_cast<py::ssize_t>(width), py::ssize_t{3}},
                 {PaddedRow(width), py::ssize_t{3}, py::ssize_t{1}}, memory.data(), memory);
}

/// New planes. Luma has a column more for odd widths, which the routines write; what they leave out of
/// pictures with odd sides is 0.
struct NewPlanar {
    Bytes y, u, v;

    NewPlanar(int width, int height) {
        const auto make = [](py::ssize_t rows, py::ssize_t columns, py::ssize_t pitch) {
            Bytes memory({rows, pitch});
            std::fill_n(memory.mutable_data(), memory.size(), std::uint8_t{0});
            return Bytes({rows, columns}, {pitch, py::ssize_t{1}}, memory.data(), memory);
        };
        y = make(height, width, width + width % 2);
        u = make((height + 1) / 2, (width + 1) / 2, (width + 1) / 2);
        v = make((height + 1) / 2, (width + 1) / 2, (width + 1) / 2);
    }
    py::tuple Tuple() const { return py::make_tuple(y, u, v); }
};

Bytes ToBgra(const py::object& luma, const py::object& cb, const py::object& cr) {
    const Planar from(luma, cb, cr);
    Bytes to({from.height, from.width, 4});
    tagBITMAPINFOHEADER header = HeaderOf(from.width, from.height, 32);
    std::uint8_t* const out = to.mutable_data();
    const Unlocked unlocked;
    Yuv420_2_rgb32(&header, out, Data(from.y), Data(from.u), Data(from.v), Pitch(from.y), Pitch(from.u),
                   Pitch(from.v));
    return to;
}

Bytes ToBgr(const py::object& luma, const py::object& cb, const py::object& cr) {
    const Planar from(luma, cb, cr);
    Bytes to = NewBgr(from.width, from.height);
    tagBITMAPINFOHEADER header = HeaderOf(from.width, from.height, 24);
    const Unlocked unlocked;
    Yuv420_2_rgb24(&header, Data(to), Data(from.y), Data(from.u), Data(from.v), Pitch(from.y), Pitch(from.u),
                   Pitch(from.v));
    return to;
}

/// @param pitch bytes between the rows of the copy
/// @param isBottomUp row r of the picture is row height - 1 - r of the copy
std::vector<std::uint8_t> CopyRows(const py::array& pixels, py::ssize_t pitch, bool isBottomUp) {
    const py::ssize_t height = pixels.shape(0);
    std::vector<std::uint8_t> rows(static_cast<std::size_t>(height * pitch));
    for (py::ssize_t row = 0; row < height; ++row) {
        std::copy_n(Data(pixels) + row * pixels.strides(0), pixels.shape(1) * pixels.shape(2),
                    rows.data() + (isBottomUp ? height - 1 - row : row) * pitch);
    }
    return rows;
}

/// Bottom-up in padded rows, as some routines read 24-bit pixels.
std::vector<std::uint8_t> BottomUp(const py::array& pixels) {
    return CopyRows(pixels, PaddedRow(static_cast<int>(pixels.shape(1))), true);
}

/// @param convert fills the planes from the pixels; without the interpreter's lock
template <class Convert>
py::tuple FromPixels(const py::object& pixels, int pixelBytes, Convert convert) {
    const py::array from = Checked(pixels, "pixels", pixelBytes);
    const auto width = static_cast<int>(from.shape(1));
    const auto height = static_cast<int>(from.shape(0));
    const NewPlanar to(width, height);
    tagBITMAPINFOHEADER header = HeaderOf(width, height, 8 * pixelBytes);
    {
        const Unlocked unlocked;
        convert(from, to, header);
    }
    return to.Tuple();
}

py::tuple FromBgra(const py::object& pixels) {
    constexpr int pixelBytes = 4;
    return FromPixels(pixels, pixelBytes,
                      [](const py::array& from, const NewPlanar& to, tagBITMAPINFOHEADER& header) {
                          const py::ssize_t pitch = from.shape(1) * pixelBytes;
                          std::vector<std::uint8_t> copy;
                          std::uint8_t* rows = Data(from);
                          if (from.strides(0) != pitch) {
                              copy = CopyRows(from, pitch, false);
                              rows = copy.data();
                          }
                          Argb_2_yuv420(Data(to.y), Data(to.u), Data(to.v), Pitch(to.y), Pitch(to.u),
                                        Pitch(to.v), &header, rows);
                      });
}

py::tuple FromBgr(const py::object& pixels) {
    return FromPixels(pixels, 3, [](const py::array& from, const NewPlanar& to, tagBITMAPINFOHEADER& header) {
        std::vector<std::uint8_t> rows = BottomUp(from);
        Rgb24_2_yuv420(Data(to.y), Data(to.u), Data(to.v), Pitch(to.y), Pitch(to.u), Pitch(to.v), &header,
                       rows.data());
    });
}

Bytes ToPacked(const py::object& luma, const py::object& cb, const py::object& cr, bool isYuy2) {
    const Planar from(luma, cb, cr);
    if (from.width % 2 != 0 || from.height % 2 != 0) {
        throw py::value_error("packed pictures are made of planes with even sides");
    }
    Bytes to({from.height, from.width, 2});
    std::uint8_t* const out = to.mutable_data();
    const Unlocked unlocked;
    Yuv420_2_YUY2(out, from.width * 2, 0, 0, from.width, from.height, isYuy2 ? 1 : 0, Data(from.y),
                  Data(from.u), Data(from.v), Pitch(from.y), Pitch(from.u), Pitch(from.v), 0, 0);
    return to;
}

/// @throw py::value_error
py::array CheckedPacked(const py::object& packed) {
    py::array from = Checked(packed, "packed", 2);
    if (from.shape(1) % 2 != 0) {
        throw py::value_error("packed has to have an even number of columns, not " + ShapeText(from));
    }
    return from;
}

py::tuple PackedToPlanar(const py::object& packed, bool isYuy2) {
    const py::array from = CheckedPacked(packed);
    const auto width = static_cast<int>(from.shape(1));
    const auto height = static_cast<int>(from.shape(0));
    if (height % 2 != 0) {
        throw py::value_error("packed has to have an even number of rows, not " + ShapeText(from));
    }
    const NewPlanar to(width, height);
    {
        const Unlocked unlocked;
        YUY2_2_Yuv420(Data(to.y), Data(to.u), Data(to.v), Pitch(to.y), Pitch(to.u), Pitch(to.v), 0, 0, width,
                      height, Data(from), Pitch(from), isYuy2 ? 1 : 0, 0, 0);
    }
    return to.Tuple();
}

/// Packed rows are read from the top, and 24-bit rows written from the bottom: the array is a view that turns
/// these round.
Bytes PackedToBgr(const py::object& packed, bool isYuy2) {
    const py::array from = CheckedPacked(packed);
    const auto width = static_cast<int>(from.shape(1));
    const auto height = static_cast<int>(from.shape(0));
    const py::ssize_t pitch = PaddedRow(width);
    Bytes memory({static_cast<py::ssize_t>(height), pitch});
    std::uint8_t* const out = memory.mutable_data();
    {
        const Unlocked unlocked;
        YUY2_2_Rgb24(out, height, static_cast<std::int32_t>(pitch), 0, 0, width, height, Data(from),
                     Pitch(from), isYuy2 ? 1 : 0, 0, 0);
    }
    return Bytes({static_cast<py::ssize_t>(height), static_cast<py::ssize_t>(width), py::ssize_t{3}},
                 {-pitch, py::ssize_t{3}, py::ssize_t{1}}, out + (height - 1) * pitch, memory);
}

Bytes BgrToPacked(const py::object& pixels, bool isYuy2) {
    const py::array from = Checked(pixels, "pixels", 3);
    const auto width = static_cast<int>(from.shape(1));
    const auto height = static_cast<int>(from.shape(0));
    if (width % 2 != 0) {
        throw py::value_error("pixels have to have an even number of columns, not " + ShapeText(from));
    }
    Bytes to({height, width, 2});
    std::uint8_t* const out = to.mutable_data();
    const Unlocked unlocked;
    std::vector<std::uint8_t> rows = BottomUp(from);
    Rgb24_2_YUY2(out, width * 2, 0, 0, width, height, isYuy2 ? 1 : 0, rows.data(), height,
                 static_cast<std::int32_t>(PaddedRow(width)), 0, 0);
    return to;
}

/// @param cr,cb in the order of the routine, whose first chroma plane is the red difference
Words ToWords(const py::object& luma, const py::object& cr, const py::object& cb, KQ_CONVERT_YUV* convert) {
    const Planar from(luma, cr, cb);
    if (Pitch(from.u) != Pitch(from.v)) {
        throw py::value_error("u and v have to have rows equally far apart");
    }
    Words to({from.height, from.width});
    auto* const out = reinterpret_cast<std::uint8_t*>(to.mutable_data());
    const Unlocked unlocked;
    convert(Data(from.y), Pitch(from.y), Data(from.u), Data(from.v), Pitch(from.u), out, from.width,
            from.height, from.width);
    return to;
}

/// @throw py::value_error
py::array CheckedSound(const py::object& object) {
    if (!py::isinstance<py::array>(object)) {
        throw py::value_error("samples have to be a NumPy array");
    }
    auto array = py::reinterpret_borrow<py::array>(object);
    if (!array.dtype().is(py::dtype::of<std::int16_t>()) || array.ndim() != 2 || array.shape(1) < 1 ||
        array.shape(1) > 8) {
        throw py::value_error("samples have to be of int16 and shape (samples, 1 to 8 channels)");
    }
    if ((array.flags() & py::array::c_style) == 0) {
        throw py::value_error("samples have to be contiguous: numpy.ascontiguousarray() makes that");
    }
    return array;
}

py::array_t<std::int16_t> ConvertSound(const py::object& samples, int rate, int toRate, int toChannels) {
    constexpr int highest = 16'777'216;
    constexpr int block = 1 << 16;
    const py::array from = CheckedSound(samples);
    const auto channels = static_cast<int>(from.shape(1));
    if (rate < 1 || rate > highest || toRate < 1 || toRate > highest) {
        throw py::value_error("rates are from 1 to 16777216 Hz");
    }
    if (toChannels != channels && toChannels != 1 && toChannels != 2 && toChannels != 6) {
        throw py::value_error("sound is mixed to 1, 2 or 6 channels, or keeps its own");
    }
    std::vector<std::int16_t> out;
    {
        const Unlocked unlocked;
        CAudioConverter converter(channels, toChannels, rate, toRate, 0);
        const auto* data = static_cast<const std::int16_t*>(from.data());
        for (py::ssize_t left = from.size(); left > 0;) {
            const auto part =
                static_cast<int>(std::min<py::ssize_t>(left, block * static_cast<py::ssize_t>(channels)));
            converter.Put(data, part);
            const std::size_t old = out.size();
            out.resize(old + static_cast<std::size_t>(converter.GetValidSize()));
            converter.Get(out.data() + old, static_cast<int>(out.size() - old));
            data += part;
            left -= part;
        }
    }
    const auto count = static_cast<py::ssize_t>(out.size()) / toChannels;
    py::array_t<std::int16_t> result({count, static_cast<py::ssize_t>(toChannels)});
    std::copy_n(out.data(), result.size(), result.mutable_data());
    return result;
}

} // namespace

void BindConversions(py::module_& module) {
    module.def("yuv420_to_bgra", &ToBgra, py::arg("y"), py::arg("u"), py::arg("v"));
    module.def("yuv420_to_bgr", &ToBgr, py::arg("y"), py::arg("u"), py::arg("v"));
    module.def("bgra_to_yuv420", &FromBgra, py::arg("pixels"));
    module.def("bgr_to_yuv420", &FromBgr, py::arg("pixels"));
    module.def("yuv420_to_packed", &ToPacked);
    module.def("packed_to_yuv420", &PackedToPlanar);
    module.def("packed_to_bgr", &PackedToBgr);
    module.def("bgr_to_packed", &BgrToPacked);
    module.def("yuv420_to_rgb565", [](const py::object& y, const py::object& u, const py::object& v) {
        return ToWords(y, u, v, yuv2rgb_565);
    });
    module.def("yuv420_to_rgb555", [](const py::object& y, const py::object& u, const py::object& v) {
        return ToWords(y, u, v, yuv2rgb_555);
    });
    module.def("convert_sound", &ConvertSound);
}

} // namespace kq::python
