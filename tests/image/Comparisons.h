/// @file
/// Each vectorised conversion beside its plain version, on the sizes and samples of a trial.
#pragma once

#include "Trial.h"
#include "image/ColourConvert.h"
#include "image/Kernels.h"

#include <string>
#include <vector>

namespace kq::image::test {

/// @return empty when all bytes agree, otherwise where they differ
struct Comparison {
    const char* name; ///< of the exported routine
    std::string (*compare)(Trial&);
};

/// Every exported conversion routine. yuv2rgb_24() needs init_yuv2rgb().
const std::vector<Comparison>& RoutineComparisons();

/// A kind of picture and how its planes hold the samples.
struct PictureKind {
    std::int32_t kind;
    SampleLayout layout;

    int SampleBytes() const { return layout.depth == SampleDepth::Eight ? 1 : 2; }
    bool InTurn() const { return layout.chroma == ChromaColumns::Interleaved; }
    bool Halved() const { return layout.chroma != ChromaColumns::Full; }
};

inline constexpr PictureKind pictureKinds[] = {
    {KQ_PICTURE_PLANAR_YUV, {SampleDepth::Eight, ChromaColumns::Half, true}},
    {KQ_PICTURE_PLANAR_422, {SampleDepth::Eight, ChromaColumns::Half, false}},
    {KQ_PICTURE_PLANAR_444, {SampleDepth::Eight, ChromaColumns::Full, false}},
    {KQ_PICTURE_NV12, {SampleDepth::Eight, ChromaColumns::Interleaved, true}},
    {KQ_PICTURE_PLANAR_420_10, {SampleDepth::TenLow, ChromaColumns::Half, true}},
    {KQ_PICTURE_PLANAR_422_10, {SampleDepth::TenLow, ChromaColumns::Half, false}},
    {KQ_PICTURE_PLANAR_444_10, {SampleDepth::TenLow, ChromaColumns::Full, false}},
    {KQ_PICTURE_P010, {SampleDepth::TenHigh, ChromaColumns::Interleaved, true}},
};

/// A picture whose planes hold what the kind needs and not a byte more, each with a pitch of its own.
SourcePicture RandomPicture(Trial& trial, const PictureKind& kind, std::int32_t width, std::int32_t height);

/// The loops behind ToRgb32() and ToRgb24(), with and without a transfer.
/// @return as Comparison::compare
std::string CompareWithPlain(Trial& trial, const PictureKind& kind);

} // namespace kq::image::test
