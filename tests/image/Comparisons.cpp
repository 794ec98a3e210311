#include "Comparisons.h"

#include "Reference.h"
#include "image/ToneMap.h"

#include <kqplayer/image.h>

#include <algorithm>
#include <iterator>

namespace kq::image::test {
namespace {

std::int32_t Half(std::int32_t size) {
    return (size + 1) / 2;
}

std::int32_t PaddedRow(std::int32_t width, int bits) {
    return (width * bits + 31) / 32 * 4;
}

struct PlanarAreas {
    Area y, u, v;
};

using Placing = Area (Trial::*)(std::int32_t rowBytes, std::int32_t rows, std::int32_t pitch);
constexpr Placing fromSource = &Trial::Source, toDestination = &Trial::Destination;

PlanarAreas Planes(Trial& trial, Placing place, std::int32_t width, std::int32_t rows,
                   std::int32_t chromaWidth, std::int32_t chromaRows) {
    const Area y = (trial.*place)(width, rows, 0), u = (trial.*place)(chromaWidth, chromaRows, 0);
    return {y, u, (trial.*place)(chromaWidth, chromaRows, 0)};
}

PlanarAreas Planes(Trial& trial, Placing place, std::int32_t width, std::int32_t height) {
    return Planes(trial, place, width, height, Half(width), Half(height));
}

/// The four routines with a destination header.
template <class Routine>
std::string ComparePlanarToRgb(Trial& trial, int bits, bool signedHeight, Routine routine, Routine plain) {
    const std::int32_t width = trial.Size(), height = trial.Rows();
    const PlanarAreas in = Planes(trial, fromSource, width, height);
    const Area out = trial.Destination(PaddedRow(width, bits), height, PaddedRow(width, bits) + (width == 0));
    tagBITMAPINFOHEADER header = Header(width, signedHeight && trial.Flag() ? -height : height, bits);
    return trial.Compare(routine, plain, &header, out.data, in.y.data, in.u.data, in.v.data, in.y.pitch,
                         in.u.pitch, in.v.pitch);
}

/// The RGB to planar routines with eight parameters.
template <class Routine>
std::string CompareRgbToPlanar(Trial& trial, int bits, Routine routine, Routine plain) {
    const std::int32_t width = trial.Size(), height = trial.Rows();
    const Area in = trial.Source(PaddedRow(width, bits), height, PaddedRow(width, bits) + (width == 0));
    const PlanarAreas out = Planes(trial, toDestination, width + width % 2, height);
    tagBITMAPINFOHEADER header = Header(width, height, bits);
    return trial.Compare(routine, plain, out.y.data, out.u.data, out.v.data, out.y.pitch, out.u.pitch,
                         out.v.pitch, &header, in.data);
}

std::string CompareArgbWithPitch(Trial& trial) {
    const std::int32_t width = trial.Size(), height = trial.Rows();
    const Area in = trial.Source(4 * width, height);
    const PlanarAreas out = Planes(trial, toDestination, width + width % 2, height);
    tagBITMAPINFOHEADER header = Header(width, height, 32);
    using Routine = void (*)(std::uint8_t*, std::uint8_t*, std::uint8_t*, std::int32_t, std::int32_t,
                             std::int32_t, tagBITMAPINFOHEADER*, std::uint8_t*, std::int32_t);
    return trial.Compare(Routine{Argb_2_yuv420}, Routine{reference::Argb_2_yuv420}, out.y.data, out.u.data,
                         out.v.data, out.y.pitch, out.u.pitch, out.v.pitch, &header, in.data, in.pitch);
}

std::string CompareWithAlpha(Trial& trial) {
    const std::int32_t width = trial.Size(), height = trial.Rows();
    const Area in = trial.Source(4 * width, height, 4 * width + (width == 0));
    const PlanarAreas out = Planes(trial, toDestination, width, height);
    const Area alpha = trial.Destination(width, height, out.y.pitch + (out.y.pitch == 0));
    tagBITMAPINFOHEADER header = Header(width, height, 32);
    return trial.Compare(Rgb32_2_yuv420A, reference::Rgb32_2_yuv420A, out.y.data, out.u.data, out.v.data,
                         alpha.data, out.y.pitch, out.u.pitch, out.v.pitch, &header, in.data);
}

std::string ComparePalette(Trial& trial) {
    const std::int32_t width = trial.Size(), height = trial.Rows();
    const Area in = trial.Source(PaddedRow(width, 8), height, PaddedRow(width, 8) + (width == 0));
    const PlanarAreas out = Planes(trial, toDestination, width + width % 2, height);
    const Area info = trial.Source(40 + 256 * 4, 1);
    auto* bitmap = reinterpret_cast<tagBITMAPINFO*>(info.data);
    bitmap->bmiHeader = Header(width, height, 8);
    return trial.Compare(Rgb8_2_YUV420, reference::Rgb8_2_YUV420, out.y.data, out.u.data, out.v.data,
                         out.y.pitch, out.u.pitch, out.v.pitch, bitmap, in.data);
}

/// A rectangle inside a picture that is larger by the position and some more.
struct Rectangle {
    std::int32_t x, y, width, height;
};

Rectangle RandomRectangle(Trial& trial) {
    const std::int32_t width = trial.Size(), height = trial.Rows();
    return {trial.Between(0, 9), trial.Between(0, 5), width, height};
}

std::string CompareRgbToPacked(Trial& trial) {
    const Rectangle in = RandomRectangle(trial), out = RandomRectangle(trial);
    const std::int32_t width = in.width, shift = out.x >= 2 ? 1 : 0, below = trial.Between(0, 3);
    const std::int32_t pixels = in.x + width + shift;
    const Area source = trial.Source(3 * pixels, in.height + in.y + below, 3 * pixels + trial.Between(0, 20));
    const std::int32_t macropixels = (width + shift + 1) / 2;
    const std::int32_t rowBytes = 2 * (out.x - shift) + 4 * macropixels;
    const Area destination =
        trial.Destination(rowBytes, out.y + in.height, rowBytes + 8 + trial.Between(0, 20));
    const std::int32_t yuy2 = trial.Between(0, 2);
    return trial.Compare(Rgb24_2_YUY2, reference::Rgb24_2_YUY2, destination.data, destination.pitch, out.x,
                         out.y, width, in.height, yuy2, source.data, in.height + in.y + below, source.pitch,
                         in.x, in.y);
}

std::string ComparePackedToRgb(Trial& trial) {
    const Rectangle in = RandomRectangle(trial), out = RandomRectangle(trial);
    const std::int32_t width = in.width, below = trial.Between(0, 3);
    const std::int32_t start = in.x >= 2 ? in.x - 1 : in.x;
    const Area source = trial.Source(2 * start + (width + 1) / 2 * 4, in.y + in.height);
    const Area destination = trial.Destination(3 * (out.x + width), out.y + in.height + below);
    const std::int32_t yuy2 = trial.Between(0, 2);
    return trial.Compare(YUY2_2_Rgb24, reference::YUY2_2_Rgb24, destination.data, out.y + in.height + below,
                         destination.pitch, out.x, out.y, width, in.height, source.data, source.pitch, yuy2,
                         in.x, in.y);
}

std::string ComparePackedBlit(Trial& trial) {
    const Rectangle in = RandomRectangle(trial);
    const std::int32_t yuy2Source = trial.Between(0, 2), yuy2Destination = trial.Between(0, 2);
    const bool swap = (yuy2Source != 0) != (yuy2Destination != 0);
    const std::int32_t rowBytes = 2 * in.x + (swap ? (in.width + 1) / 2 * 4 : in.width * 2);
    const Area source = trial.Source(rowBytes, in.y + in.height);
    const Area destination = trial.Destination(rowBytes, in.y + in.height);
    const std::int32_t x = trial.Between(0, 50), y = trial.Between(0, 50);
    return trial.Compare(YUY2_Blt_fast, reference::YUY2_Blt_fast, destination.data, destination.pitch, x, y,
                         in.width, in.height, yuy2Destination, source.data, source.pitch, yuy2Source, in.x,
                         in.y);
}

std::string ComparePlanarBlit(Trial& trial) {
    const Rectangle in = RandomRectangle(trial), out = RandomRectangle(trial);
    const std::int32_t width = in.width, pairs = Half(in.height);
    const auto planes = [&](Placing place, const Rectangle& r) {
        return Planes(trial, place, r.x + width, r.y + 2 * pairs, (r.x + 1) / 2 + Half(width),
                      r.y / 2 + pairs);
    };
    const PlanarAreas s = planes(fromSource, in), d = planes(toDestination, out);
    return trial.Compare(YV12_Blt_fast, reference::YV12_Blt_fast, d.y.data, d.u.data, d.v.data, d.y.pitch,
                         d.u.pitch, d.v.pitch, out.x, out.y, width, out.y + in.height, s.y.data, s.u.data,
                         s.v.data, s.y.pitch, s.u.pitch, s.v.pitch, in.x, in.y);
}

std::string ComparePackedToPlanar(Trial& trial) {
    const Rectangle in = RandomRectangle(trial), out = RandomRectangle(trial);
    const std::int32_t pairs = Half(in.width), rows = Half(in.height);
    const Area source = trial.Source(4 * pairs, in.y + 2 * rows);
    const PlanarAreas d = Planes(trial, toDestination, out.x + 2 * pairs, out.y + 2 * rows, out.x / 2 + pairs,
                                 out.y / 2 + rows);
    const std::int32_t yuy2 = trial.Between(0, 2), x = trial.Between(0, 50);
    return trial.Compare(YUY2_2_Yuv420, reference::YUY2_2_Yuv420, d.y.data, d.u.data, d.v.data, d.y.pitch,
                         d.u.pitch, d.v.pitch, out.x, out.y, in.width, in.height, source.data, source.pitch,
                         yuy2, x, in.y);
}

std::string ComparePlanarToPacked(Trial& trial) {
    const Rectangle in = RandomRectangle(trial), out = RandomRectangle(trial);
    const std::int32_t pairs = Half(in.width), rows = Half(in.height);
    const PlanarAreas s =
        Planes(trial, fromSource, in.x + 2 * pairs, in.y + 2 * rows, in.x / 2 + pairs, in.y / 2 + rows);
    const Area destination = trial.Destination(4 * pairs, out.y + 2 * rows);
    const std::int32_t yuy2 = trial.Between(0, 2), x = trial.Between(0, 50);
    return trial.Compare(Yuv420_2_YUY2, reference::Yuv420_2_YUY2, destination.data, destination.pitch, x,
                         out.y, in.width, in.height, yuy2, s.y.data, s.u.data, s.v.data, s.y.pitch, s.u.pitch,
                         s.v.pitch, in.x, in.y);
}

/// The output converters: strideUnit is what one unit of the destination stride counts.
std::string CompareOutput(Trial& trial, KQ_CONVERT_YUV* routine, KQ_CONVERT_YUV* plain, int pixelBytes,
                          int strideUnit, bool roundsUp) {
    const std::int32_t width = trial.Size(), height = trial.Rows();
    const std::int32_t columns = roundsUp ? width + width % 2 : width;
    const Area y = trial.Source(columns, height);
    const Area u = trial.Source(Half(width), Half(height));
    const Area v = trial.Source(Half(width), Half(height), u.pitch + (u.pitch == 0));
    const std::int32_t stride = columns * pixelBytes / strideUnit + trial.Between(0, 9);
    const Area out = trial.Destination(columns * pixelBytes, height, stride * strideUnit + (stride == 0));
    const std::int32_t signedHeight = trial.Flag() ? -height : height;
    return trial.Compare(routine, plain, y.data, y.pitch, u.data, v.data, v.pitch, out.data, width,
                         signedHeight, stride);
}

/// The contiguous planar copy: three quarters of a plane more than the luma rows take.
std::string ComparePlanarOutput(Trial& trial) {
    const std::int32_t width = trial.Size(), height = trial.Rows();
    const Area y = trial.Source(width, height);
    const Area u = trial.Source(Half(width), Half(height));
    const Area v = trial.Source(Half(width), Half(height), u.pitch + (u.pitch == 0));
    const std::int32_t stride = width + trial.Between(0, 9);
    const Area out = trial.Destination(2 * stride + 2, height, 2 * stride + 2);
    const std::int32_t signedHeight = trial.Flag() ? -height : height;
    return trial.Compare(yuv12_out, reference::yuv12_out, y.data, y.pitch, u.data, v.data, v.pitch, out.data,
                         width, signedHeight, stride);
}

#define BOTH(routine) routine, reference::routine

constexpr Comparison routines[] = {
    {"Yuv420_2_rgb32", [](Trial& t) { return ComparePlanarToRgb(t, 32, true, BOTH(Yuv420_2_rgb32)); }},
    {"Yuv420_2_rgb24", [](Trial& t) { return ComparePlanarToRgb(t, 24, true, BOTH(Yuv420_2_rgb24)); }},
    {"Yuv420_2_Argb", [](Trial& t) { return ComparePlanarToRgb(t, 32, false, BOTH(Yuv420_2_Argb)); }},
    {"Yuv420_2_rgb24Simple",
     [](Trial& t) { return ComparePlanarToRgb(t, 24, false, BOTH(Yuv420_2_rgb24Simple)); }},
    {"Rgb32_2_yuv420", [](Trial& t) { return CompareRgbToPlanar(t, 32, BOTH(Rgb32_2_yuv420)); }},
    {"Argb_2_yuv420",
     [](Trial& t) { return CompareRgbToPlanar<EightParameters>(t, 32, BOTH(Argb_2_yuv420)); }},
    {"Argb_2_yuv420WithPitch", CompareArgbWithPitch},
    {"Rgb24_2_yuv420", [](Trial& t) { return CompareRgbToPlanar(t, 24, BOTH(Rgb24_2_yuv420)); }},
    {"Rgb24_2_yuv420Simple", [](Trial& t) { return CompareRgbToPlanar(t, 24, BOTH(Rgb24_2_yuv420Simple)); }},
    {"Rgb32_2_yuv420A", CompareWithAlpha},
    {"Rgb8_2_YUV420", ComparePalette},
    {"Rgb24_2_YUY2", CompareRgbToPacked},
    {"YUY2_2_Rgb24", ComparePackedToRgb},
    {"YUY2_Blt_fast", ComparePackedBlit},
    {"YV12_Blt_fast", ComparePlanarBlit},
    {"YUY2_2_Yuv420", ComparePackedToPlanar},
    {"Yuv420_2_YUY2", ComparePlanarToPacked},
    {"yuv2rgb_32", [](Trial& t) { return CompareOutput(t, BOTH(yuv2rgb_32), 4, 4, false); }},
    {"yuv2rgb_24", [](Trial& t) { return CompareOutput(t, BOTH(yuv2rgb_24), 3, 1, true); }},
    {"yuv2rgb_555", [](Trial& t) { return CompareOutput(t, BOTH(yuv2rgb_555), 2, 2, false); }},
    {"yuv2rgb_565", [](Trial& t) { return CompareOutput(t, BOTH(yuv2rgb_565), 2, 2, false); }},
    {"yuy2_out", [](Trial& t) { return CompareOutput(t, BOTH(yuy2_out), 2, 1, true); }},
    {"uyvy_out", [](Trial& t) { return CompareOutput(t, BOTH(uyvy_out), 2, 1, false); }},
    {"yuv12_out", ComparePlanarOutput},
};

} // namespace

const std::vector<Comparison>& RoutineComparisons() {
    static const std::vector<Comparison> all(std::begin(routines), std::end(routines));
    return all;
}

SourcePicture RandomPicture(Trial& trial, const PictureKind& kind, std::int32_t width, std::int32_t height) {
    const std::int32_t columns = kind.Halved() ? (width + 1) / 2 : width;
    const std::int32_t rows = kind.layout.rowsShareChroma ? (height + 1) / 2 : height;
    const std::int32_t chromaBytes = columns * kind.SampleBytes();
    const Area y = trial.Source(width * kind.SampleBytes(), height);
    const Area u = trial.Source(kind.InTurn() ? 2 * chromaBytes : chromaBytes, rows);
    const Area v = kind.InTurn() ? Area{nullptr, 0} : trial.Source(chromaBytes, rows);
    return {{y.data, u.data, v.data}, {y.pitch, u.pitch, v.pitch}, width, height, kind.kind, 0, 0};
}

std::string CompareWithPlain(Trial& trial, const PictureKind& kind) {
    const std::int32_t width = std::max(trial.Size(), 1), height = std::max(trial.Rows(), 1);
    const SourcePicture p = RandomPicture(trial, kind, width, height);
    const int bytes = trial.Flag() ? 4 : 3;
    const Area out = trial.Destination(width * bytes, height);
    const SampleWeights weights = {trial.Between(16000, 19200), trial.Between(12000, 19000),
                                   trial.Between(12000, 19000), -trial.Between(1000, 9000),
                                   -trial.Between(5000, 14000), trial.Between(-1300, 33)};
    const auto plane = [&](int i) { return ConstPlane{p.planes[i], p.pitches[i]}; };
    const SamplesToRgb job = {
        plane(0), plane(1), plane(kind.InTurn() ? 1 : 2), {out.data, out.pitch}, width, height, kind.layout};
    if (trial.Flag()) {
        const auto loop = bytes == 4 ? &Kernels::weightedToBgra : &Kernels::weightedToBgr;
        return trial.Compare(BestKernels().*loop, PlainKernels().*loop, WeightedToRgb{job, weights});
    }
    const int unit = kind.SampleBytes() == 1 ? 1 << 20 : 1 << 18;
    const EncodedWeights encoded = {trial.Between(unit, unit * 5 / 4),  trial.Between(0, unit * 70),
                                    trial.Between(unit, unit * 11 / 5), -trial.Between(unit / 8, unit / 2),
                                    -trial.Between(unit / 2, unit),     trial.Between(unit, unit * 2)};
    const ToneCurves curves = ToneMap::For(trial.Flag(), 1000)->Curves();
    const auto loop = bytes == 4 ? &Kernels::toneMappedToBgra : &Kernels::toneMappedToBgr;
    return trial.Compare(BestKernels().*loop, PlainKernels().*loop, ToneMappedToRgb{job, encoded, curves});
}

} // namespace kq::image::test
