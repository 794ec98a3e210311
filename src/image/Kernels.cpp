#include "Kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/Kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// SSE4 and what is better, which has lower numbers, and 64-bit ARM; on other processors the plain routines
// serve.
#define KQ_HAS_KERNELS (HWY_TARGET <= HWY_SSE4 || (HWY_TARGET == HWY_NEON && HWY_ARCH_ARM_A64))
#if KQ_HAS_KERNELS
#include "Packed-inl.h"
#include "RgbToYuv-inl.h"
#include "ToneMap-inl.h"
#include "WeightedToRgb-inl.h"
#include "YuvToRgb-inl.h"
#endif

HWY_BEFORE_NAMESPACE();
namespace kq::image::HWY_NAMESPACE {

#if !KQ_HAS_KERNELS

const Kernels* TargetKernels() {
    return &PlainKernels();
}

#else
namespace {

constexpr Kernels MakeKernels() {
    Kernels k{};
    k.planarToBgra13 = PlanarPictureToRgb<Rgb13, Layout32<255>>;
    k.planarToBgr13 = PlanarPictureToRgb<Rgb13, Layout24>;
    k.planarToBgr10 = PlanarPictureToRgb<Rgb10, Layout24>;
    k.planarToComponents32 = PlanarPictureToRgb<Components13, Layout32<0>>;
    k.planarToComponents24 = PlanarPictureToRgb<TableComponents, Layout24>;
    k.planarToComponents555 = PlanarPictureToRgb<Components13, Layout16<5>>;
    k.planarToComponents565 = PlanarPictureToRgb<Components13, Layout16<6>>;
    k.weightedToBgra = WeightedPictureToRgb<Layout32<255>>;
    k.weightedToBgr = WeightedPictureToRgb<Layout24>;
    k.toneMappedToBgra = ToneMappedPictureToRgb<Layout32<255>>;
    k.toneMappedToBgr = ToneMappedPictureToRgb<Layout24>;
    k.bgraToPlanar = RgbPictureToPlanar<SourceBgra, Yuv14>;
    k.xrgbToPlanar = RgbPictureToPlanar<SourceXrgb, Yuv14>;
    k.bgrToPlanar = RgbPictureToPlanar<SourceBgr, Yuv14>;
    k.bgrToPlanar10 = RgbPictureToPlanar<SourceBgr, Yuv10>;
    k.paletteToPlanar = PalettePictureToPlanar;
    k.packedToBgr = PackedToBgr;
    k.bgrToPacked = BgrToPacked;
    k.planarToPacked = PlanarToPackedPicture;
    k.packedToPlanar = PackedToPlanarPicture;
    k.swapPairs = SwapPairs;
    k.copyRows = CopyRows;
    return k;
}

} // namespace

const Kernels* TargetKernels() {
    static constexpr Kernels kernels = MakeKernels();
    return &kernels;
}

#endif
} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kq::image {

HWY_EXPORT(TargetKernels);

const Kernels& BestKernels() {
    return *HWY_DYNAMIC_DISPATCH(TargetKernels)();
}

} // namespace kq::image
#endif
