// Every exported conversion beside its plain reference, on every dispatch target.
#include "Comparisons.h"
#include "Reference.h"
#include "Trial.h"
#include "image/Kernels.h"

#include <kqplayer/image.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace kq::image::test;
namespace reference = kq::image::reference;

class EveryRoutine : public testing::TestWithParam<Comparison> {
protected:
    void SetUp() override { init_yuv2rgb(); }
    void TearDown() override {
        UseTarget(0);
        kq::image::streamBytes = usualStreamBytes;
    }

    static void CompareOnEveryTarget(bool pastCaches) {
        kq::image::streamBytes = pastCaches ? 1 : usualStreamBytes;
        for (const std::int64_t target : DispatchTargets()) {
            UseTarget(target);
            for (std::uint32_t seed = 0; seed < 250; ++seed) {
                Trial trial(seed);
                if (pastCaches) {
                    trial.AlignDestinations();
                }
                ASSERT_EQ("", GetParam().compare(trial)) << TargetName(target) << ", seed " << seed;
            }
        }
    }

private:
    static inline const std::ptrdiff_t usualStreamBytes = kq::image::streamBytes;
};

TEST_P(EveryRoutine, WritesTheReferencesBytesOnEveryTarget) {
    CompareOnEveryTarget(false);
}

TEST_P(EveryRoutine, WritesThemPastTheCachesToo) {
    CompareOnEveryTarget(true);
}

INSTANTIATE_TEST_SUITE_P(Image, EveryRoutine, testing::ValuesIn(RoutineComparisons()),
                         [](const auto& info) { return std::string(info.param.name); });

/// Rows past the caches, too, are copied in order and each as if at once.
TEST(Blits, MayOverlapTheirSource) {
    struct Place {
        std::ptrdiff_t from, to;
        std::int32_t rows;
    };
    constexpr Place places[] = {{64, 0, 5}, {2, 0, 5}, {1536, 512, 3}, {0, 64, 1}, {0, 192, 1}};
    constexpr std::int32_t pitch = 512, pixels = 250;
    const std::ptrdiff_t usual = kq::image::streamBytes;
    kq::image::streamBytes = 1;
    for (const std::int64_t target : DispatchTargets()) {
        UseTarget(target);
        for (const Place& place : places) {
            alignas(64) std::uint8_t bytes[8 * pitch], want[8 * pitch];
            for (std::size_t i = 0; i < sizeof(bytes); ++i) {
                bytes[i] = want[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
            }
            for (std::ptrdiff_t row = 0; row < place.rows; ++row) {
                std::memmove(want + place.to + row * pitch, want + place.from + row * pitch, pixels * 2);
            }
            YUY2_Blt_fast(bytes + place.to, pitch, 0, 0, pixels, place.rows, 1, bytes + place.from, pitch, 1,
                          0, 0);
            EXPECT_EQ(0, std::memcmp(want, bytes, sizeof(want)))
                << TargetName(target) << ", from " << place.from << " to " << place.to;
        }
    }
    UseTarget(0);
    kq::image::streamBytes = usual;
}

/// A picture in every format, its buffers at cache lines.
struct BigPicture {
    static constexpr std::int32_t width = 2104, pitch = 2112, height = 2002;
    static constexpr std::size_t lumaBytes = std::size_t{pitch} * height;

    explicit BigPicture(std::uint32_t seed) : bytes(lumaBytes * 6 + 64) {
        for (std::size_t i = 0; i < lumaBytes * 6; ++i) {
            y[i] = static_cast<std::uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
        }
    }

    std::vector<std::uint8_t> bytes;
    std::uint8_t* y = bytes.data() + 64 - reinterpret_cast<std::uintptr_t>(bytes.data()) % 64;
    std::uint8_t *u = y + lumaBytes, *v = u + lumaBytes / 2, *wide = v + lumaBytes / 2;
    tagBITMAPINFOHEADER header = Header(width, height, 32);
};

/// Runs a routine and its reference on equal pictures.
template <class Routine, class Call>
void CompareBig(const char* name, Routine routine, Routine plain, Call call) {
    BigPicture in(1), want(2);
    call(plain, in, want);
    for (const std::int64_t target : DispatchTargets()) {
        UseTarget(target);
        BigPicture got(2);
        call(routine, in, got);
        EXPECT_EQ(0, std::memcmp(want.y, got.y, BigPicture::lumaBytes * 6))
            << name << ", " << TargetName(target);
    }
    UseTarget(0);
}

TEST(BigPictures, AreTheReferencesWhenTheyBypassTheCaches) {
    using P = BigPicture;
    constexpr std::int32_t p = P::pitch;
    CompareBig("Yuv420_2_rgb32", Yuv420_2_rgb32, reference::Yuv420_2_rgb32, [](auto routine, P& in, P& out) {
        routine(&out.header, out.wide, in.y, in.u, in.v, p, p / 2, p / 2);
    });
    CompareBig("Argb_2_yuv420", EightParameters{Argb_2_yuv420}, EightParameters{reference::Argb_2_yuv420},
               [](auto routine, P& in, P& out) {
                   routine(out.y, out.u, out.v, p, p / 2, p / 2, &in.header, in.wide);
               });
    CompareBig("YUY2_2_Rgb24", YUY2_2_Rgb24, reference::YUY2_2_Rgb24, [](auto routine, P& in, P& out) {
        routine(out.wide, P::height, p * 3, 0, 0, P::width, P::height, in.wide, p * 2, 1, 0, 0);
    });
    CompareBig("Yuv420_2_YUY2", Yuv420_2_YUY2, reference::Yuv420_2_YUY2, [](auto routine, P& in, P& out) {
        routine(out.wide, p * 2, 0, 0, P::width, P::height, 1, in.y, in.u, in.v, p, p / 2, p / 2, 0, 0);
    });
    CompareBig("YUY2_2_Yuv420", YUY2_2_Yuv420, reference::YUY2_2_Yuv420, [](auto routine, P& in, P& out) {
        routine(out.y, out.u, out.v, p, p / 2, p / 2, 0, 0, P::width, P::height, in.wide, p * 2, 1, 0, 0);
    });
}

} // namespace
