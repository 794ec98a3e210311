#include "ViewLayout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

namespace kqplay {
namespace {

constexpr std::array<const char*, 5> names = {"side", "stack", "wipe", "flip", "difference"};

/// As many columns as rows, or one more.
int ColumnsFor(const Arrangement& arrangement) {
    if (arrangement.isComparison) {
        return arrangement.layout == Layout::Side ? 2 : 1;
    }
    return static_cast<int>(std::ceil(std::sqrt(static_cast<double>(arrangement.views))));
}

/// @return true when all views lie in the same place
bool IsPile(const Arrangement& arrangement) {
    return arrangement.isComparison && arrangement.layout != Layout::Side &&
           arrangement.layout != Layout::Stack;
}

Area CellOf(int view, int views, int columns, Size free) {
    const int rows = (views + columns - 1) / columns;
    const int left = free.width * (view % columns) / columns;
    const int right = free.width * (view % columns + 1) / columns;
    const int top = free.height * (view / columns) / rows;
    const int bottom = free.height * (view / columns + 1) / rows;
    return {left, top, std::max(1, right - left), std::max(1, bottom - top)};
}

/// The first file lies beneath the second one, of which the part behind the divider is seen.
std::vector<ViewPlace> PlacePile(const Arrangement& arrangement, Size free) {
    const Area all = {0, 0, std::max(1, free.width), std::max(1, free.height)};
    if (!arrangement.HasDivider()) {
        return {{{}, all}, {all, all}};
    }
    const double part = std::clamp(arrangement.divider, 0.0, 1.0);
    const int left = static_cast<int>(std::lround(part * all.width));
    const Area behind = {left, 0, all.width - left, all.height};
    return {{all, all}, {behind, all}};
}

} // namespace

const char* NameOf(Layout layout) {
    return names.at(static_cast<std::size_t>(layout));
}

Layout Next(Layout layout) {
    return static_cast<Layout>((static_cast<std::size_t>(layout) + 1) % names.size());
}

bool Area::operator==(const Area& other) const {
    return std::tie(left, top, width, height) == std::tie(other.left, other.top, other.width, other.height);
}

Size NeededSize(const Arrangement& arrangement, Size picture) {
    if (IsPile(arrangement)) {
        return picture;
    }
    const int columns = ColumnsFor(arrangement);
    return {picture.width * columns, picture.height * ((arrangement.views + columns - 1) / columns)};
}

std::vector<ViewPlace> PlaceViews(const Arrangement& arrangement, Size free) {
    if (IsPile(arrangement)) {
        return PlacePile(arrangement, free);
    }
    std::vector<ViewPlace> places;
    for (int view = 0; view < arrangement.views; ++view) {
        const Area cell = CellOf(view, arrangement.views, ColumnsFor(arrangement), free);
        places.push_back({cell, cell});
    }
    return places;
}

} // namespace kqplay
