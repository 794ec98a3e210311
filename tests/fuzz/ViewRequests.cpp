// The view library's requests: any order of its functions on off-screen views, with any values, and the
// scaling that its windows draw with.
#include "Input.h"
#include "PictureScaler.h"
#include "tests/platform/player_view/Reference.h"

#include <kqplayer/log.h>
#include <kqplayer/player_view.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace {

using namespace kq::fuzz;
using namespace kq::playerview;

constexpr int viewCount = 3;

struct Session {
    void* views[viewCount] = {};
    int windows[viewCount][2] = {};
    int watched = 0; ///< pictures that a sink or watch got

    ~Session() {
        PVSetPictureSink(nullptr, nullptr, nullptr);
        for (void* view : views) {
            PVDestroyPlayerView(view);
        }
    }
};

int Side(Input& input) {
    constexpr int odd[] = {0, -1, -2147483647 - 1, 2147483647, 16385, 65536};
    return input.Between(0, 15) == 0 ? input.Pick(odd) : input.Between(1, 90);
}

tagRECT AnyRect(Input& input) {
    return {Side(input), Side(input), Side(input), Side(input)};
}

KQViewDisplay AnyDisplay(Input& input) {
    KQViewDisplay display = {};
    if (input.Between(0, 3) == 0) {
        display.source = {input.Number(), input.Number(), input.Number(), input.Number()};
    } else if (input.Flag()) {
        const double left = input.Between(-64, 900) / 8.0, top = input.Between(-64, 900) / 8.0;
        display.source = {left, top, left + input.Between(1, 900) / 7.0, top + input.Between(1, 900) / 7.0};
    }
    display.nScaling = input.Between(-1, 3);
    display.nResize = input.Between(-1, 4);
    return display;
}

bool IsFinite(const KQRectF& r) {
    return std::isfinite(r.left) && std::isfinite(r.top) && std::isfinite(r.right) && std::isfinite(r.bottom);
}

void CountPicture(void* /*view*/, int /*number*/, int width, int height, const unsigned char* pixels,
                  void* user) {
    Expect(width >= 1 && width <= 16384 && height >= 1 && height <= 16384,
           "a sink got a size that is not shown");
    if (pixels != nullptr) {
        Touch(pixels[std::size_t{4} * width * height - 1]);
    }
    ++*static_cast<int*>(user);
}

void ShowPicture(Input& input, void* view, bool part) {
    const int width = Side(input), height = Side(input);
    const bool usable = width > 0 && height > 0 && std::int64_t{width} * height < 100'000;
    std::unique_ptr<unsigned char[]> pixels; // exactly as many as there are
    if (usable) {
        const std::size_t bytes = std::size_t{4} * width * height;
        pixels = std::make_unique<unsigned char[]>(bytes);
        std::memset(pixels.get(), input.Byte(), bytes);
    } else if (width >= 1 && width <= 16384 && height >= 1 && height <= 16384) {
        return; // legal, but too large to make
    }
    if (!part) {
        PVShowRGB32Image(view, width, height, pixels.get());
        return;
    }
    tagRECT wanted = {};
    if (PVGetWantedPart(view, width, height, &wanted) == 1) {
        Expect(wanted.left >= 0 && wanted.top >= 0 && wanted.right <= width && wanted.bottom <= height &&
                   wanted.left <= wanted.right && wanted.top <= wanted.bottom,
               "the wanted part reaches beyond the picture");
    }
    const tagRECT made = input.Flag() ? wanted : AnyRect(input);
    PVShowRGB32Part(view, width, height, pixels.get(), input.Between(0, 7) == 0 ? nullptr : &made);
}

void CheckMapping(void* view, const int window[2]) {
    KQViewMapping mapping = {};
    if (PVGetMapping(view, &mapping) != 1) {
        return;
    }
    Expect(IsFinite(mapping.source) && IsFinite(mapping.target), "a mapping is not finite");
    Expect(mapping.nWindowWidth == std::clamp(window[0], 1, 16384) &&
               mapping.nWindowHeight == std::clamp(window[1], 1, 16384),
           "a mapping is that of another window");
}

void SetDisplay(Input& input, void* view) {
    const KQViewDisplay display = AnyDisplay(input);
    const int result = PVSetDisplay(view, input.Between(0, 7) == 0 ? nullptr : &display);
    Expect(result >= 0 && result <= 2, "PVSetDisplay gave what it does not give");
    KQViewDisplay got = {};
    if (PVGetDisplay(view, &got) == 1) {
        Expect(IsFinite(got.source), "a display is not finite");
    }
}

void SetOldWay(Input& input, void* view) {
    tagRECT rect = AnyRect(input);
    PVSetCropMode(view, input.Byte());
    PVSetMaskMode(view, input.Byte());
    PVSetCallbackWnd(view, nullptr);
    PVSetCropRect(view, input.Between(0, 7) == 0 ? nullptr : &rect);
    PVGetCropRect(view, input.Flag() ? &rect : nullptr);
    PVSetDisplayResizeMode(view, static_cast<IMAGE_RESIZE_METHOD>(input.Between(0, 3)));
    PVSetDisplayScale(view, Side(input), Side(input));
}

void MakeView(Input& input, Session& session, int index) {
    PVDestroyPlayerView(session.views[index]);
    VRECT rect = {Side(input), Side(input), Side(input), Side(input)};
    session.views[index] = PVCreatePlayerView(reinterpret_cast<void*>(1), &rect);
    session.windows[index][0] = rect.width;
    session.windows[index][1] = rect.height;
    Expect(session.views[index] == nullptr || PVGetHwnd(session.views[index]) == nullptr,
           "an off-screen view has a window");
}

void Watch(Input& input, Session& session, void* view) {
    const PVPictureSink sink = input.Flag() ? CountPicture : nullptr;
    (input.Flag() ? PVSetPictureSink : PVSetPictureWatch)(input.Flag() ? view : nullptr, sink,
                                                          &session.watched);
}

/// What a window would draw, beside the formula.
void Scale(Input& input) {
    std::mt19937 random(input.Byte());
    const kqtest::TestPicture picture = kqtest::Random(input.Between(1, 70), input.Between(1, 40), random);
    const Size size = {picture.width, picture.height}, window = {input.Between(1, 150), input.Between(1, 90)};
    DisplaySettings settings;
    settings.method = static_cast<IMAGE_RESIZE_METHOD>(input.Between(0, 3));
    settings.aspectX = Side(input);
    settings.aspectY = Side(input);
    settings.cropOn = input.Flag();
    settings.crop = AnyRect(input);
    const KQViewDisplay display = AnyDisplay(input);
    settings.displayOn = IsDisplay(display);
    if (settings.displayOn) {
        settings.display = display;
    }
    const PictureLayout layout = LayOut(size, settings, window);
    const Rect all = {0, 0, window.width, window.height};
    Expect(layout.visible.IsEmpty() || Contains(all, layout.visible), "a picture reaches beyond its window");
    const Bars bars = BarsAround(layout.visible, window);
    for (int i = 0; i < bars.count; ++i) {
        Expect(Contains(all, bars.rects[i]), "a bar reaches beyond its window");
    }
    if (layout.visible.IsEmpty()) {
        return;
    }
    const bool smooth = input.Flag();
    const std::vector<std::uint8_t> wanted = kqtest::Scaled(picture, layout, smooth);
    std::vector<std::uint8_t> got(wanted.size());
    PictureScaler().Scale(picture.pixels.data(), size, layout, smooth, got.data());
    Expect(got == wanted, "a scaled picture is not that of the formula");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    KQLogSetSink([](const char*, void*) {}, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Session session;
    for (int request = 0; !input.IsEmpty() && request < 200; ++request) {
        const int index = input.Between(0, viewCount - 1);
        void* const view = session.views[index]; // null at first: also to be refused
        switch (input.Between(0, 10)) {
        case 0:
            MakeView(input, session, index);
            break;
        case 1:
            ShowPicture(input, view, false);
            break;
        case 2:
            ShowPicture(input, view, true);
            break;
        case 3:
            SetDisplay(input, view);
            break;
        case 4:
            SetOldWay(input, view);
            break;
        case 5:
            CheckMapping(view, session.windows[index]);
            break;
        case 6: {
            std::uint32_t rgb = 0;
            PVGetShownPixel(view, Side(input), Side(input), &rgb);
            break;
        }
        case 7:
            Watch(input, session, view);
            break;
        case 8:
            PVUpdate(view);
            Expect(PVGetPictureBuffer(view, Side(input), Side(input)) == nullptr,
                   "an off-screen view lends memory");
            break;
        case 9:
            PVDestroyPlayerView(view);
            session.views[index] = nullptr;
            break;
        default:
            Scale(input);
        }
    }
    return 0;
}
