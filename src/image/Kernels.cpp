#include "Kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "image/Kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

// Better targets have lower numbers; without SSE4 the plain routines serve.
#if HWY_TARGET <= HWY_SSE4
#include "Packed-inl.h"
#include "RgbToYuv-inl.h"
#include "YuvToRgb-inl.h"
#endif

HWY_BEFORE_NAMESPACE();
namespace kq::image::HWY_NAMESPACE {

const Kernels* TargetKernels() {
#if HWY_TARGET > HWY_SSE4
    return nullptr;
#else
    static constexpr Kernels kernels = {
        PlanarPictureToRgb<Rgb13, Layout32<255>>,
        PlanarPictureToRgb<Rgb13, Layout24>,
        PlanarPictureToRgb<Rgb10, Layout24>,
        PlanarPictureToRgb<Components13, Layout32<0>>,
        PlanarPictureToRgb<TableComponents, Layout24>,
        PlanarPictureToRgb<Components13, Layout16<5>>,
        PlanarPictureToRgb<Components13, Layout16<6>>,
        RgbPictureToPlanar<SourceBgra, Yuv14>,
        BgraPictureToPlanarAlpha,
        RgbPictureToPlanar<SourceXrgb, Yuv14>,
        RgbPictureToPlanar<SourceBgr, Yuv14>,
        RgbPictureToPlanar<SourceBgr, Yuv10>,
        PalettePictureToPlanar,
        PackedToBgr,
        BgrToPacked,
        PlanarToPackedPicture,
        PackedToPlanarPicture,
        SwapPairs,
    };
    return &kernels;
#endif
}

} // namespace kq::image::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kq::image {

HWY_EXPORT(TargetKernels);

const Kernels* FindKernels() {
    return HWY_DYNAMIC_DISPATCH(TargetKernels)();
}

} // namespace kq::image
#endif
