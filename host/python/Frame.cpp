#include "Frame.h"

#include "LogRelay.h"
#include "PixelMemory.h"
#include "RgbOrder.h"

#include <kqplayer/imageproc.h>

#include <image/Arithmetic.h>
#include <image/ColourConvert.h>
#include <streams/PictureLayout.h>
#include <streams/QueuedStream.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <vector>

namespace kq::python {
namespace {

/// Rows that are converted before their colours are exchanged: they stay in the cache between, and begin
/// with a row of chroma.
constexpr int bandRows = 16;

constexpr int bitmapBits = 24;

struct KindName {
    std::int32_t kind;
    const char* name;
};
constexpr std::array<KindName, 8> kindNames = {{{KQ_PICTURE_PLANAR_YUV, "yuv420p"},
                                                {KQ_PICTURE_PLANAR_422, "yuv422p"},
                                                {KQ_PICTURE_PLANAR_444, "yuv444p"},
                                                {KQ_PICTURE_NV12, "nv12"},
                                                {KQ_PICTURE_PLANAR_420_10, "yuv420p10"},
                                                {KQ_PICTURE_PLANAR_422_10, "yuv422p10"},
                                                {KQ_PICTURE_PLANAR_444_10, "yuv444p10"},
                                                {KQ_PICTURE_P010, "p010"}}};

std::string KindOf(const Frame& frame) {
    for (const KindName& known : kindNames) {
        if (known.kind == frame.Record().nKind) {
            return known.name;
        }
    }
    return "unknown";
}

py::object ColourTuple(const Frame& frame) {
    static constexpr std::array<const char*, 4> matrices = {"bt601", "bt709", "bt2020", "smpte240m"};
    static constexpr std::array<const char*, 3> transfers = {"sdr", "pq", "hlg"};
    const Colour colour = ColourOf(frame.Record());
    return py::module_::import("kqplayer")
        .attr("Colour")(matrices[static_cast<std::size_t>(colour.nMatrix)],
                        colour.nRange == KQ_RANGE_FULL ? "full" : "limited",
                        transfers[static_cast<std::size_t>(colour.nTransfer)], colour.nMasteringPeak,
                        colour.nContentPeak);
}

/// A plane as an array over the decoder's memory, which the frame keeps; others read it too, so nobody
/// writes.
py::array PlaneArray(const py::object& self, const Frame& frame, int plane) {
    const AVPixelFormat format = streams::FormatOf(frame.Record().nKind);
    const tagYUVImage& image = frame.Record().image;
    const std::array<const std::uint8_t*, 3> planes = {image.pY, image.pU, image.pV};
    const std::array<std::int32_t, 3> pitches = {image.nPitchY, image.nPitchU, image.nPitchV};
    const streams::PlaneShape shape = streams::ShapeOf(format, plane, image.nWidth, image.nHeight);
    const bool isDeep = frame.Record().nKind >= KQ_PICTURE_PLANAR_420_10;
    const py::ssize_t sampleBytes = isDeep ? 2 : 1;
    const py::ssize_t samples = shape.unitBytes / sampleBytes;
    const auto index = static_cast<std::size_t>(plane);
    std::vector<py::ssize_t> shapes = {shape.height, shape.width};
    std::vector<py::ssize_t> strides = {pitches[index], shape.unitBytes};
    if (samples > 1) {
        shapes.push_back(samples);
        strides.push_back(sampleBytes);
    }
    const py::dtype type = isDeep ? py::dtype::of<std::uint16_t>() : py::dtype::of<std::uint8_t>();
    py::array array(type, shapes, strides, planes[index], self);
    array.attr("flags").attr("writeable") = false;
    return array;
}

py::tuple Planes(const py::object& self) {
    const auto& frame = self.cast<const Frame&>();
    const AVPixelFormat format = streams::FormatOf(frame.Record().nKind);
    if (format == AV_PIX_FMT_NONE) {
        throw Error("this picture has no planes of a known kind");
    }
    py::tuple planes(static_cast<std::size_t>(streams::PlaneCount(format)));
    for (int plane = 0; plane < streams::PlaneCount(format); ++plane) {
        planes[static_cast<std::size_t>(plane)] = PlaneArray(self, frame, plane);
    }
    return planes;
}

/// @throw py::value_error for an array that the pixels do not fit
void CheckOut(const py::array& out, const Frame& frame, int pixelBytes) {
    const auto expected = "(" + std::to_string(frame.Height()) + ", " + std::to_string(frame.Width()) + ", " +
                          std::to_string(pixelBytes) + ")";
    const bool fits = out.ndim() == 3 && out.shape(0) == frame.Height() && out.shape(1) == frame.Width() &&
                      out.shape(2) == pixelBytes;
    if (!out.dtype().is(py::dtype::of<std::uint8_t>()) || !fits) {
        throw py::value_error("out has to be an array of uint8 and shape " + expected);
    }
    if (!out.writeable() || out.strides(2) != 1 || out.strides(1) != pixelBytes) {
        throw py::value_error("out has to be writeable, with the pixels of each row side by side");
    }
}

py::array Pixels(const Frame& frame, PixelOrder order, const py::object& out) {
    const int pixelBytes = PixelBytes(order);
    py::array array;
    if (out.is_none()) {
        array = NewPixels(frame.Height(), frame.Width(), pixelBytes);
    } else if (py::isinstance<py::array>(out)) {
        array = py::reinterpret_borrow<py::array>(out);
        CheckOut(array, frame, pixelBytes);
    } else {
        throw py::value_error("out has to be a NumPy array");
    }
    auto* const data = static_cast<std::uint8_t*>(array.mutable_data());
    const std::ptrdiff_t pitch = array.strides(0);
    const Unlocked unlocked;
    frame.ConvertTo(order, data, pitch);
    return array;
}

const wchar_t* MimeTypeOf(const std::wstring& path) {
    std::wstring ending = path.substr(std::min(path.rfind(L'.'), path.size()));
    std::transform(ending.begin(), ending.end(), ending.begin(), [](wchar_t letter) {
        return letter < 128 ? static_cast<wchar_t>(std::tolower(static_cast<int>(letter))) : letter;
    });
    if (ending == L".png") {
        return L"image/png";
    }
    if (ending == L".jpg" || ending == L".jpeg") {
        return L"image/jpeg";
    }
    return ending == L".bmp" ? L"image/bmp" : nullptr;
}

std::string Describe(const std::shared_ptr<Frame>& frame) {
    char time[48];
    std::snprintf(time, sizeof time, "%.3f", frame->Place().time);
    return "<kqplayer.Frame at " + std::string(time) + " s, " + std::to_string(frame->Width()) + "x" +
           std::to_string(frame->Height()) + " " + KindOf(*frame) + ">";
}

} // namespace

std::shared_ptr<Frame> Frame::Of(const FramePtr& frame, std::int64_t number, const FileCore& file) {
    streams::PicturePlace place = streams::PlaceOf(*frame, file.Rate());
    place.number = number;
    return std::make_shared<Frame>(std::shared_ptr<const MEDIA_FRAME>(frame, &frame->record), place,
                                   file.Numbers());
}

std::int64_t Frame::Number() {
    if (m_place.number >= 0) {
        return m_place.number;
    }
    if (m_number < 0 && m_numbers) {
        m_number = m_numbers->NumberAt(streams::ToTicks(m_place.time));
    }
    return m_number;
}

void Frame::ConvertTo(PixelOrder order, std::uint8_t* out, std::ptrdiff_t pitch) const {
    const image::SourcePicture source = image::SourceOf(*m_record);
    if (!image::IsConvertible(source)) {
        throw Error("this picture cannot be converted to RGB");
    }
    if (order == PixelOrder::Bgra) {
        image::ToRgb32(source, out, pitch);
        return;
    }
    if (order == PixelOrder::Bgr) {
        image::ToRgb24(source, out, pitch);
        return;
    }
    const auto rowBytes = static_cast<std::size_t>(source.width) * 3;
    thread_local std::vector<std::uint8_t> band;
    band.resize(std::max(band.size(), rowBytes * bandRows));
    for (int row = 0; row < source.height; row += bandRows) {
        const int rows = std::min(bandRows, source.height - row);
        image::ToRgb24(image::PartOf(source, {0, row, source.width, row + rows}), band.data(),
                       static_cast<std::ptrdiff_t>(rowBytes));
        for (int i = 0; i < rows; ++i) {
            SwapColours(band.data() + static_cast<std::size_t>(i) * rowBytes, out,
                        static_cast<std::size_t>(source.width));
            out += pitch;
        }
    }
}

void Frame::Save(const std::wstring& path) const {
    const wchar_t* const mimeType = MimeTypeOf(path);
    if (mimeType == nullptr) {
        throw Error("the name of a picture's file ends in .png, .jpg or .bmp");
    }
    struct Destroyer {
        void operator()(void* image) const { DIDestroy(image); }
    };
    const std::unique_ptr<void, Destroyer> image(DICreate());
    if (!image || DISetContent(image.get(), Width(), Height(), bitmapBits) == 0) {
        throw Error("there is no memory for a picture of this size");
    }
    ConvertTo(PixelOrder::Bgr, DIGetBits(image.get()), image::BitmapRowBytes(Width(), bitmapBits));
    const LogRelay::Capture log;
    if (DISaveEx(image.get(), path.c_str(), mimeType) == 0) {
        throw Error(log.Last().empty() ? "the picture's file cannot be written" : log.Last());
    }
}

int PixelBytes(PixelOrder order) {
    return order == PixelOrder::Bgra ? 4 : 3;
}

py::array NewPixels(int height, int width, int pixelBytes) {
    const py::ssize_t pitch = static_cast<py::ssize_t>(width) * pixelBytes;
    auto block = std::make_unique<PixelBlock>(TakePixels(static_cast<std::size_t>(pitch * height)));
    std::uint8_t* const data = block->get();
    const py::capsule base(block.release(), [](void* held) { delete static_cast<PixelBlock*>(held); });
    return py::array(py::dtype::of<std::uint8_t>(),
                     {static_cast<py::ssize_t>(height), static_cast<py::ssize_t>(width),
                      static_cast<py::ssize_t>(pixelBytes)},
                     {pitch, static_cast<py::ssize_t>(pixelBytes), static_cast<py::ssize_t>(1)}, data, base);
}

void BindFrame(py::module_& module) {
    using Shared = std::shared_ptr<Frame>;
    py::class_<Frame, Shared>(
        module, "Frame",
        R"(A decoded picture. It never changes, and stays as long as it or an array of it is held.

>>> frame = kqplayer.open(clip)[7]
>>> frame
<kqplayer.Frame at 0.280 s, 160x120 yuv420p>
>>> frame.rgb().shape
(120, 160, 3))")
        .def_property_readonly(
            "number",
            [](const Shared& frame) {
                std::int64_t number = -1;
                {
                    const Unlocked unlocked;
                    number = frame->Number();
                }
                return number < 0 ? py::object(py::none()) : py::object(py::int_(number));
            },
            R"(Which picture of the file it is, counted from 0 in order of time. Waits until the file's packets
have been read so far, which takes no decoding; None where nobody can tell.)")
        .def_property_readonly(
            "time", [](const Frame& frame) { return frame.Place().time; },
            "Begin of the picture, in seconds from the file's start.")
        .def_property_readonly(
            "duration", [](const Frame& frame) { return frame.Place().duration; },
            "How long it is on show, in seconds; 0.0 for unknown.")
        .def_property_readonly(
            "type",
            [](const Frame& frame) {
                return frame.Place().kind == '\0' ? std::string() : std::string(1, frame.Place().kind);
            },
            "How it was coded: 'I', 'P', 'B', another letter of FFmpeg's, or '' for unknown.")
        .def_property_readonly("width", &Frame::Width, "Pixels.")
        .def_property_readonly("height", &Frame::Height, "Pixels.")
        .def_property_readonly(
            "kind", &KindOf,
            R"(What its samples are: 'yuv420p', 'yuv422p', 'yuv444p', 'nv12', the same three planar ones with
10 bits ('yuv420p10', ...), or 'p010'.)")
        .def_property_readonly("colour", &ColourTuple, "What its samples mean, as a kqplayer.Colour.")
        .def_property_readonly(
            "planes", &Planes,
            R"(Its samples as the decoder gave them, without a copy: a tuple of read-only arrays, luma, Cb and Cr.

uint8, or uint16 where samples have 10 bits (in the upper bits for 'p010'). 'nv12' and 'p010' have
two: the second one is of shape (rows, columns, 2), Cb and Cr. Rows may lie apart in memory.

>>> [plane.shape for plane in kqplayer.open(clip)[0].planes]
[(120, 160), (60, 80), (60, 80)])")
        .def(
            "rgb",
            [](const Frame& frame, const py::object& out) { return Pixels(frame, PixelOrder::Rgb, out); },
            py::arg("out") = py::none(),
            R"(Converts it to 8 bits of red, green and blue: an array of uint8 and shape (height, width, 3).

Matrix, range and depth are those that the file tells, HDR is tone-mapped. Every value is at most
0.55 of a level from the standard's formula (planar 4:2:0 in BT.601 keeps the fixed-point formula of
kqplayer.convert.yuv420_to_bgr()).

out: an array of that shape that receives the picture and is returned; its rows may lie apart.
Raises ValueError for another one.)")
        .def(
            "bgr",
            [](const Frame& frame, const py::object& out) { return Pixels(frame, PixelOrder::Bgr, out); },
            py::arg("out") = py::none(), "As rgb(), in the order blue, green, red, which OpenCV uses.")
        .def(
            "bgra",
            [](const Frame& frame, const py::object& out) { return Pixels(frame, PixelOrder::Bgra, out); },
            py::arg("out") = py::none(),
            R"(As bgr(), with 255 as fourth byte: the 32-bit pixels of cairo, GTK and Qt (Format_RGB32).)")
        .def(
            "save",
            [](const Frame& frame, const py::object& path) {
                const auto text = py::module_::import("os").attr("fspath")(path).cast<std::wstring>();
                const Unlocked unlocked;
                frame.Save(text);
            },
            py::arg("path"),
            R"(Writes it to a file whose name ends in .png, .jpg or .bmp. The file appears whole or not at all.
Raises kqplayer.Error with the reason when it cannot be written.)")
        .def(
            "__array__",
            [](const Frame& frame, const py::object& type) {
                py::array pixels = Pixels(frame, PixelOrder::Rgb, py::none());
                return type.is_none() ? py::object(pixels) : py::object(pixels.attr("astype")(type));
            },
            py::arg("dtype") = py::none())
        .def("__repr__", &Describe);
}

} // namespace kq::python
