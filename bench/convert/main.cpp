// The conversions beside libyuv's nearest routines, swscale and plain copies.
//
//     bench_convert [--json] [--rounds N] [--filter TEXT] [--size WxH] [--targets]
//
// Every row compares medians over the rounds of ratios of interleaved runs. "copy" is a copy of the output's
// bytes, "traffic" a copy that moves as many bytes as the conversion reads and writes. Rows of layouts in
// BT.709 stand beside libyuv's for the same matrix, and beside "BT.601": our 8-bit planar 4:2:0 with it.
#include "bench/Compare.h"
#include "image/ColourConvert.h"

#include <kqplayer/image.h>

#include <hwy/highway.h>
#include <hwy/targets.h>
#include <libyuv.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

namespace {

using kq::bench::Contestant;
/// Buffers begin at a cache line, as frame pools have them, for every contestant alike.
using Bytes = std::vector<std::uint8_t, kq::bench::LineAllocator<std::uint8_t>>;

/// A picture in every format that a routine may read or write, with room for copies of the largest traffic:
/// half of what the widest layout, 4:4:4 with 10 bits to 32-bit RGB, reads and writes.
struct Picture {
    static constexpr int trafficBytes = (48 + 32) / 16;
    int width, height;
    Bytes y, u, v, packed, rgb;

    Picture(int w, int h)
        : width(w), height(h), y(Random(w * h * 2)), u(Random(w * h * 2)), v(Random(w * h * 2)),
          packed(Random(w * h * 2)), rgb(Random(w * h * trafficBytes)) {}

    static Bytes Random(int bytes) {
        Bytes result(static_cast<std::size_t>(bytes));
        unsigned state = 1;
        for (std::uint8_t& b : result) {
            b = static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
        }
        return result;
    }
};

struct Routine {
    std::string name;
    int sourceBits, outputBits; ///< bits per pixel
    std::function<void(Picture&, Picture&)> ours, libyuv;
    AVPixelFormat sourceFormat, outputFormat;
    std::function<void(Picture&, Picture&)> usual = nullptr; ///< the BT.601 routine with the same output
};

tagBITMAPINFOHEADER Header(const Picture& p, int bits) {
    tagBITMAPINFOHEADER header{};
    header.biWidth = p.width;
    header.biHeight = p.height;
    header.biBitCount = static_cast<std::uint16_t>(bits);
    return header;
}

/// A layout of pictures in BT.709, with libyuv's routine to 32-bit RGB.
struct ColourLayout {
    const char* name;
    std::int32_t kind;
    int sourceBits;             ///< bits per pixel
    int lumaBytes, chromaBytes; ///< of two columns, in a row of luma and of pU
    decltype(&libyuv::H420ToARGB) libyuv;
    std::int32_t transfer = KQ_TRANSFER_SDR;
};

Routine ColourRoutine(const ColourLayout& layout, int outputBits) {
    const auto ours = [=](Picture& s, Picture& d) {
        const std::ptrdiff_t luma = s.width / 2 * layout.lumaBytes, chroma = s.width / 2 * layout.chromaBytes;
        const kq::image::SourcePicture picture = {{s.y.data(), s.u.data(), s.v.data()},
                                                  {luma, chroma, chroma},
                                                  s.width,
                                                  s.height,
                                                  layout.kind,
                                                  KQ_MATRIX_BT709,
                                                  KQ_RANGE_LIMITED,
                                                  layout.transfer};
        (outputBits == 32 ? kq::image::ToRgb32 : kq::image::ToRgb24)(
            picture, d.rgb.data(), std::ptrdiff_t{s.width} * outputBits / 8);
    };
    const auto usual = [=](Picture& s, Picture& d) {
        auto h = Header(s, outputBits);
        (outputBits == 32 ? Yuv420_2_rgb32 : Yuv420_2_rgb24)(&h, d.rgb.data(), s.y.data(), s.u.data(),
                                                             s.v.data(), s.width, s.width / 2, s.width / 2);
    };
    Routine routine = {std::string(layout.name) + " to " + std::to_string(outputBits),
                       layout.sourceBits,
                       outputBits,
                       ours,
                       nullptr,
                       AV_PIX_FMT_NONE,
                       AV_PIX_FMT_NONE,
                       usual};
    if (outputBits == 32 && layout.libyuv != nullptr) {
        routine.libyuv = [=](Picture& s, Picture& d) {
            layout.libyuv(s.y.data(), s.width, s.u.data(), s.width / 2 * layout.chromaBytes, s.v.data(),
                          s.width / 2 * layout.chromaBytes, d.rgb.data(), s.width * 4, s.width, s.height);
        };
    }
    return routine;
}

/// libyuv's pitches of words count words, and its routines for two planes have a parameter less.
int WideToArgb(decltype(&libyuv::H010ToARGB) convert, const std::uint8_t* y, int yPitch,
               const std::uint8_t* u, const std::uint8_t* v, int chromaPitch, std::uint8_t* out, int width,
               int height) {
    const auto words = [](const std::uint8_t* p) { return reinterpret_cast<const std::uint16_t*>(p); };
    return convert(words(y), yPitch, words(u), chromaPitch / 2, words(v), chromaPitch / 2, out, width * 4,
                   width, height);
}

std::vector<Routine> ColourRoutines() {
    const ColourLayout layouts[] = {
        {"BT.709 4:2:0", KQ_PICTURE_PLANAR_YUV, 12, 2, 1, libyuv::H420ToARGB},
        {"BT.709 4:2:2", KQ_PICTURE_PLANAR_422, 16, 2, 1, libyuv::H422ToARGB},
        {"BT.709 4:4:4", KQ_PICTURE_PLANAR_444, 24, 2, 2, libyuv::H444ToARGB},
        {"BT.709 NV12", KQ_PICTURE_NV12, 12, 2, 2,
         [](auto y, int yPitch, auto uv, int uvPitch, auto, int, auto out, int pitch, int width, int height) {
             return libyuv::NV12ToARGBMatrix(y, yPitch, uv, uvPitch, out, pitch, &libyuv::kYuvH709Constants,
                                             width, height);
         }},
        {"BT.709 4:2:0 10", KQ_PICTURE_PLANAR_420_10, 24, 4, 2,
         [](auto y, int yPitch, auto u, int uPitch, auto v, int, auto out, int, int width, int height) {
             return WideToArgb(libyuv::H010ToARGB, y, yPitch, u, v, uPitch, out, width, height);
         }},
        {"BT.709 4:2:2 10", KQ_PICTURE_PLANAR_422_10, 32, 4, 2,
         [](auto y, int yPitch, auto u, int uPitch, auto v, int, auto out, int, int width, int height) {
             return WideToArgb(libyuv::H210ToARGB, y, yPitch, u, v, uPitch, out, width, height);
         }},
        {"BT.709 4:4:4 10", KQ_PICTURE_PLANAR_444_10, 48, 4, 4, nullptr},
        {"BT.709 P010", KQ_PICTURE_P010, 24, 4, 4,
         [](auto y, int yPitch, auto uv, int uvPitch, auto, int, auto out, int pitch, int width, int height) {
             const auto words = [](const std::uint8_t* p) {
                 return reinterpret_cast<const std::uint16_t*>(p);
             };
             return libyuv::P010ToARGBMatrix(words(y), yPitch, words(uv), uvPitch / 2, out, pitch,
                                             &libyuv::kYuvH709Constants, width, height);
         }},
        {"PQ 4:2:0 10", KQ_PICTURE_PLANAR_420_10, 24, 4, 2, nullptr, KQ_TRANSFER_PQ},
        {"HLG 4:2:0 10", KQ_PICTURE_PLANAR_420_10, 24, 4, 2, nullptr, KQ_TRANSFER_HLG},
    };
    std::vector<Routine> routines;
    for (const ColourLayout& layout : layouts) {
        routines.push_back(ColourRoutine(layout, 32));
        routines.push_back(ColourRoutine(layout, 24));
    }
    return routines;
}

std::vector<Routine> Routines() {
    using P = Picture;
    return {
        {"Yuv420_2_rgb32", 12, 32,
         [](P& s, P& d) {
             auto h = Header(s, 32);
             Yuv420_2_rgb32(&h, d.rgb.data(), s.y.data(), s.u.data(), s.v.data(), s.width, s.width / 2,
                            s.width / 2);
         },
         [](P& s, P& d) {
             libyuv::I420ToARGB(s.y.data(), s.width, s.u.data(), s.width / 2, s.v.data(), s.width / 2,
                                d.rgb.data(), s.width * 4, s.width, s.height);
         },
         AV_PIX_FMT_YUV420P, AV_PIX_FMT_BGRA},
        {"Yuv420_2_rgb24", 12, 24,
         [](P& s, P& d) {
             auto h = Header(s, 24);
             Yuv420_2_rgb24(&h, d.rgb.data(), s.y.data(), s.u.data(), s.v.data(), s.width, s.width / 2,
                            s.width / 2);
         },
         [](P& s, P& d) {
             libyuv::I420ToRGB24(s.y.data(), s.width, s.u.data(), s.width / 2, s.v.data(), s.width / 2,
                                 d.rgb.data(), s.width * 3, s.width, s.height);
         },
         AV_PIX_FMT_YUV420P, AV_PIX_FMT_BGR24},
        {"Argb_2_yuv420", 32, 12,
         [](P& s, P& d) {
             auto h = Header(s, 32);
             Argb_2_yuv420(d.y.data(), d.u.data(), d.v.data(), s.width, s.width / 2, s.width / 2, &h,
                           s.rgb.data());
         },
         [](P& s, P& d) {
             libyuv::ARGBToI420(s.rgb.data(), s.width * 4, d.y.data(), s.width, d.u.data(), s.width / 2,
                                d.v.data(), s.width / 2, s.width, s.height);
         },
         AV_PIX_FMT_BGRA, AV_PIX_FMT_YUV420P},
        {"Rgb24_2_yuv420", 24, 12,
         [](P& s, P& d) {
             auto h = Header(s, 24);
             Rgb24_2_yuv420(d.y.data(), d.u.data(), d.v.data(), s.width, s.width / 2, s.width / 2, &h,
                            s.rgb.data());
         },
         [](P& s, P& d) {
             libyuv::RGB24ToI420(s.rgb.data(), s.width * 3, d.y.data(), s.width, d.u.data(), s.width / 2,
                                 d.v.data(), s.width / 2, s.width, -s.height);
         },
         AV_PIX_FMT_BGR24, AV_PIX_FMT_YUV420P},
        {"Yuv420_2_YUY2", 12, 16,
         [](P& s, P& d) {
             Yuv420_2_YUY2(d.packed.data(), s.width * 2, 0, 0, s.width, s.height, 1, s.y.data(), s.u.data(),
                           s.v.data(), s.width, s.width / 2, s.width / 2, 0, 0);
         },
         [](P& s, P& d) {
             libyuv::I420ToYUY2(s.y.data(), s.width, s.u.data(), s.width / 2, s.v.data(), s.width / 2,
                                d.packed.data(), s.width * 2, s.width, s.height);
         },
         AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUYV422},
        {"YUY2_2_Yuv420", 16, 12,
         [](P& s, P& d) {
             YUY2_2_Yuv420(d.y.data(), d.u.data(), d.v.data(), s.width, s.width / 2, s.width / 2, 0, 0,
                           s.width, s.height, s.packed.data(), s.width * 2, 1, 0, 0);
         },
         [](P& s, P& d) {
             libyuv::YUY2ToI420(s.packed.data(), s.width * 2, d.y.data(), s.width, d.u.data(), s.width / 2,
                                d.v.data(), s.width / 2, s.width, s.height);
         },
         AV_PIX_FMT_YUYV422, AV_PIX_FMT_YUV420P},
        {"YUY2_2_Rgb24", 16, 24,
         [](P& s, P& d) {
             YUY2_2_Rgb24(d.rgb.data(), s.height, s.width * 3, 0, 0, s.width, s.height, s.packed.data(),
                          s.width * 2, 1, 0, 0);
         },
         [](P& s, P& d) { // libyuv's packed input goes to 32 bits only
             libyuv::YUY2ToARGB(s.packed.data(), s.width * 2, d.rgb.data(), s.width * 4, s.width, s.height);
         },
         AV_PIX_FMT_YUYV422, AV_PIX_FMT_BGR24},
        {"Rgb24_2_YUY2", 24, 16,
         [](P& s, P& d) {
             Rgb24_2_YUY2(d.packed.data(), s.width * 2, 0, 0, s.width, s.height, 1, s.rgb.data(), s.height,
                          s.width * 3, 0, 0);
         },
         [](P& s, P& d) { // the nearest: from 32 bits
             libyuv::ARGBToYUY2(s.rgb.data(), s.width * 4, d.packed.data(), s.width * 2, s.width, s.height);
         },
         AV_PIX_FMT_BGR24, AV_PIX_FMT_YUYV422},
        {"yuv2rgb_565", 12, 16,
         [](P& s, P& d) {
             yuv2rgb_565(s.y.data(), s.width, s.u.data(), s.v.data(), s.width / 2, d.rgb.data(), s.width,
                         s.height, s.width);
         },
         [](P& s, P& d) {
             libyuv::I420ToRGB565(s.y.data(), s.width, s.u.data(), s.width / 2, s.v.data(), s.width / 2,
                                  d.rgb.data(), s.width * 2, s.width, s.height);
         },
         AV_PIX_FMT_YUV420P, AV_PIX_FMT_RGB565LE},
        {"yuv2rgb_555", 12, 16,
         [](P& s, P& d) {
             yuv2rgb_555(s.y.data(), s.width, s.u.data(), s.v.data(), s.width / 2, d.rgb.data(), s.width,
                         s.height, s.width);
         },
         [](P& s, P& d) {
             libyuv::I420ToARGB1555(s.y.data(), s.width, s.u.data(), s.width / 2, s.v.data(), s.width / 2,
                                    d.rgb.data(), s.width * 2, s.width, s.height);
         },
         AV_PIX_FMT_YUV420P, AV_PIX_FMT_RGB555LE},
        {"yuv2rgb_32", 12, 32,
         [](P& s, P& d) {
             yuv2rgb_32(s.y.data(), s.width, s.u.data(), s.v.data(), s.width / 2, d.rgb.data(), s.width,
                        s.height, s.width);
         },
         [](P& s, P& d) {
             libyuv::I420ToABGR(s.y.data(), s.width, s.u.data(), s.width / 2, s.v.data(), s.width / 2,
                                d.rgb.data(), s.width * 4, s.width, s.height);
         },
         AV_PIX_FMT_YUV420P, AV_PIX_FMT_RGBA},
        {"yuv2rgb_24", 12, 24,
         [](P& s, P& d) {
             yuv2rgb_24(s.y.data(), s.width, s.u.data(), s.v.data(), s.width / 2, d.rgb.data(), s.width,
                        s.height, s.width * 3);
         },
         [](P& s, P& d) {
             libyuv::I420ToRAW(s.y.data(), s.width, s.u.data(), s.width / 2, s.v.data(), s.width / 2,
                               d.rgb.data(), s.width * 3, s.width, s.height);
         },
         AV_PIX_FMT_YUV420P, AV_PIX_FMT_RGB24},
        {"YUY2_Blt_fast", 16, 16,
         [](P& s, P& d) {
             YUY2_Blt_fast(d.packed.data(), s.width * 2, 0, 0, s.width, s.height, 1, s.packed.data(),
                           s.width * 2, 1, 0, 0);
         },
         [](P& s, P& d) {
             libyuv::CopyPlane(s.packed.data(), s.width * 2, d.packed.data(), s.width * 2, s.width * 2,
                               s.height);
         },
         AV_PIX_FMT_NONE, AV_PIX_FMT_NONE},
        {"YUY2_Blt_fast swap", 16, 16,
         [](P& s, P& d) {
             YUY2_Blt_fast(d.packed.data(), s.width * 2, 0, 0, s.width, s.height, 0, s.packed.data(),
                           s.width * 2, 1, 0, 0);
         },
         nullptr, AV_PIX_FMT_YUYV422, AV_PIX_FMT_UYVY422},
        {"YV12_Blt_fast", 12, 12,
         [](P& s, P& d) {
             YV12_Blt_fast(d.y.data(), d.u.data(), d.v.data(), s.width, s.width / 2, s.width / 2, 0, 0,
                           s.width, s.height, s.y.data(), s.u.data(), s.v.data(), s.width, s.width / 2,
                           s.width / 2, 0, 0);
         },
         [](P& s, P& d) {
             libyuv::I420Copy(s.y.data(), s.width, s.u.data(), s.width / 2, s.v.data(), s.width / 2,
                              d.y.data(), s.width, d.u.data(), s.width / 2, d.v.data(), s.width / 2, s.width,
                              s.height);
         },
         AV_PIX_FMT_NONE, AV_PIX_FMT_NONE},
    };
}

/// The planes of a picture in one of swscale's formats.
void Planes(Picture& p, AVPixelFormat format, int bits, std::uint8_t* planes[4], int pitches[4]) {
    if (format == AV_PIX_FMT_YUV420P) {
        std::uint8_t* data[4] = {p.y.data(), p.u.data(), p.v.data(), nullptr};
        const int pitch[4] = {p.width, p.width / 2, p.width / 2, 0};
        std::copy(data, data + 4, planes);
        std::copy(pitch, pitch + 4, pitches);
        return;
    }
    planes[0] = format == AV_PIX_FMT_YUYV422 || format == AV_PIX_FMT_UYVY422 ? p.packed.data() : p.rgb.data();
    pitches[0] = p.width * bits / 8;
}

std::function<void()> Swscale(const Routine& routine, Picture& source, Picture& output, int flags) {
    SwsContext* context =
        sws_getContext(source.width, source.height, routine.sourceFormat, source.width, source.height,
                       routine.outputFormat, flags, nullptr, nullptr, nullptr);
    if (context == nullptr) {
        return nullptr;
    }
    const std::shared_ptr<SwsContext> owned(context, sws_freeContext);
    return [&routine, &source, &output, owned] {
        std::uint8_t *in[4] = {}, *out[4] = {};
        int inPitch[4] = {}, outPitch[4] = {};
        Planes(source, routine.sourceFormat, routine.sourceBits, in, inPitch);
        Planes(output, routine.outputFormat, routine.outputBits, out, outPitch);
        sws_scale(owned.get(), in, inPitch, 0, source.height, out, outPitch);
    };
}

struct Options {
    bool json = false, targets = false;
    int rounds = 25;
    std::string filter;
    std::vector<std::pair<int, int>> sizes = {{640, 360}, {1920, 1080}, {3840, 2160}};
};

Options Parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--json") {
            options.json = true;
        } else if (arg == "--targets") {
            options.targets = true;
        } else if (arg == "--rounds" && i + 1 < argc) {
            options.rounds = std::atoi(argv[++i]);
        } else if (arg == "--filter" && i + 1 < argc) {
            options.filter = argv[++i];
        } else if (arg == "--size" && i + 1 < argc) {
            int w = 0, h = 0;
            if (std::sscanf(argv[++i], "%dx%d", &w, &h) != 2) {
                std::exit(2);
            }
            options.sizes = {{w, h}};
        } else {
            std::fprintf(stderr, "usage: %s [--json] [--targets] [--rounds N] [--filter TEXT] [--size WxH]\n",
                         argv[0]);
            std::exit(2);
        }
    }
    return options;
}

/// The instruction sets that this processor has and that were compiled.
std::int64_t Targets() {
    static const std::int64_t targets = hwy::SupportedTargets() & HWY_TARGETS;
    return targets;
}

/// Dispatches to the best of these targets. Cheap enough to be timed with what it is for.
void UseTargets(std::int64_t targets) {
    hwy::GetChosenTarget().Update(targets);
}

/// Ours on the best target first, then the others that were asked for, then the competition.
std::vector<Contestant> Contestants(const Routine& routine, Picture& source, Picture& output,
                                    const Options& options) {
    std::vector<Contestant> all;
    all.push_back({"ours", [&] { routine.ours(source, output); }});
    if (routine.libyuv) {
        all.push_back({"libyuv", [&] { routine.libyuv(source, output); }});
    }
    if (routine.usual) {
        all.push_back({"BT.601", [&] { routine.usual(source, output); }});
    }
    if (routine.sourceFormat != AV_PIX_FMT_NONE) {
        if (auto fast = Swscale(routine, source, output, SWS_FAST_BILINEAR)) {
            all.push_back({"sws fast", fast});
        }
        if (auto exact = Swscale(routine, source, output,
                                 SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP)) {
            all.push_back({"sws accurate", exact});
        }
    }
    const std::size_t pixels = static_cast<std::size_t>(source.width) * source.height;
    all.push_back({"copy", [&, bytes = pixels * routine.outputBits / 8] {
                       std::memcpy(output.rgb.data(), source.rgb.data(), bytes);
                   }});
    all.push_back({"traffic", [&, bytes = pixels * (routine.outputBits + routine.sourceBits) / 16] {
                       std::memcpy(output.rgb.data(), source.rgb.data(), bytes);
                   }});
    if (options.targets) {
        for (std::int64_t bits = Targets(); bits != 0; bits &= bits - 1) {
            all.push_back({hwy::TargetName(bits & -bits), [&, target = bits & -bits] {
                               UseTargets(target);
                               routine.ours(source, output);
                               UseTargets(Targets());
                           }});
        }
    }
    return all;
}

void Print(const Routine& routine, const Picture& picture, const std::vector<Contestant>& all, bool json) {
    const double pixels = static_cast<double>(picture.width) * picture.height;
    const Contestant& ours = all.front();
    if (json) {
        std::printf("{\"routine\":\"%s\",\"width\":%d,\"height\":%d,\"gpixels\":{", routine.name.c_str(),
                    picture.width, picture.height);
        for (std::size_t i = 0; i < all.size(); ++i) {
            std::printf("%s\"%s\":%.4f", i == 0 ? "" : ",", all[i].name.c_str(),
                        pixels / kq::bench::Median(all[i].seconds) / 1e9);
        }
        std::printf("},\"times_as_fast_as\":{");
        for (std::size_t i = 1; i < all.size(); ++i) {
            std::printf("%s\"%s\":%.3f", i == 1 ? "" : ",", all[i].name.c_str(),
                        kq::bench::TimesAsFast(ours, all[i]));
        }
        std::printf("}}\n");
        return;
    }
    std::printf("%-18s %4dx%-4d %6.2f Gpx/s ", routine.name.c_str(), picture.width, picture.height,
                pixels / kq::bench::Median(ours.seconds) / 1e9);
    for (std::size_t i = 1; i < all.size(); ++i) {
        std::printf("  %s %.2fx", all[i].name.c_str(), kq::bench::TimesAsFast(ours, all[i]));
    }
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    const Options options = Parse(argc, argv);
    kq::bench::StayOnOneProcessor();
    init_yuv2rgb();
    if (!options.json) {
        std::printf("Times as fast as each contestant; median of %d rounds. Targets here: best is %s.\n",
                    options.rounds, hwy::TargetName(Targets() & -Targets()));
    }
    std::vector<Routine> routines = Routines();
    for (Routine& routine : ColourRoutines()) {
        routines.push_back(std::move(routine));
    }
    for (const Routine& routine : routines) {
        if (routine.name.find(options.filter) == std::string::npos) {
            continue;
        }
        for (const auto& [width, height] : options.sizes) {
            Picture source(width, height), output(width, height);
            std::vector<Contestant> all = Contestants(routine, source, output, options);
            kq::bench::RunInTurn(all, options.rounds, 0.004);
            Print(routine, source, all, options.json);
        }
    }
}
