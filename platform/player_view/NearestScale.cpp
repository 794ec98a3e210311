#include "NearestScale.h"

#include <cstring>

namespace kq::playerview {

namespace {

/// Steps of source pixels in 32.32 fixed point, starting at the centre of a target pixel.
struct Stepper {
    Stepper(int sourceSide, int targetSide, int first)
        : step((std::int64_t{sourceSide} << 32) / targetSide), position(step / 2 + step * first) {}
    int Next() {
        const auto pixel = static_cast<int>(position >> 32);
        position += step;
        return pixel;
    }
    std::int64_t step;
    std::int64_t position;
};

} // namespace

void ScaleNearest(const std::uint8_t* pixels, int pictureWidth, const PictureLayout& layout,
                  std::uint8_t* out) {
    const Rect& source = layout.source;
    const Rect& target = layout.target;
    const Rect& visible = layout.visible;
    Stepper rows(source.height, target.height, visible.y - target.y);
    for (int y = 0; y < visible.height; ++y) {
        const std::size_t sourceRow = source.y + rows.Next();
        const std::uint8_t* row = pixels + 4 * (sourceRow * pictureWidth + source.x);
        Stepper columns(source.width, target.width, visible.x - target.x);
        for (int x = 0; x < visible.width; ++x, out += 4) {
            std::memcpy(out, row + 4 * columns.Next(), 4);
        }
    }
}

} // namespace kq::playerview
