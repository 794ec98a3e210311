#include "PictureScaler.h"

#include "ScaleKernels.h"

#include <hwy/cache_control.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kq::playerview {

namespace {

constexpr int weightParts = 32768;

/// One side of a layout: where a pixel of the window lies in the picture.
struct Side {
    double begin;  ///< of the shown part
    double length; ///< of the shown part
    int target;    ///< pixels that it covers
    int first;     ///< of them that is visible
    int count;     ///< of them that are visible
    int last;      ///< pixel of the picture

    double PositionOf(int i) const { return begin + (first + i + 0.5) * length / target; }
    int NearestTo(int i) const {
        return static_cast<int>(std::clamp(std::floor(PositionOf(i)), 0.0, static_cast<double>(last)));
    }
};

/// Two neighbours, and the second one's part.
struct Step {
    int first;
    int second;
    std::int16_t weight;
};

Step StepAt(const Side& side, int i) {
    const double position = std::clamp(side.PositionOf(i) - 0.5, 0.0, static_cast<double>(side.last));
    int first = static_cast<int>(position);
    auto weight = static_cast<int>(std::lround((position - first) * weightParts));
    if (weight == weightParts) {
        ++first;
        weight = 0;
    }
    return {first, std::min(first + 1, side.last), static_cast<std::int16_t>(weight)};
}

Side Columns(Size picture, const PictureLayout& layout) {
    return {layout.source.x,      layout.source.width,
            layout.target.width,  layout.visible.x - layout.target.x,
            layout.visible.width, picture.width - 1};
}

Side Rows(Size picture, const PictureLayout& layout) {
    return {layout.source.y,       layout.source.height,
            layout.target.height,  layout.visible.y - layout.target.y,
            layout.visible.height, picture.height - 1};
}

const std::uint32_t* RowOf(const std::uint8_t* pixels, Size picture, int number) {
    return reinterpret_cast<const std::uint32_t*>(pixels) +
           static_cast<std::ptrdiff_t>(number) * picture.width;
}

/// Repeats the last of @p count columns, so that all of them rise.
void FillUp(std::vector<std::int32_t>& columns, int count) {
    const auto end = columns.begin() + count;
    std::fill(end, columns.end(), *(end - 1));
}

} // namespace

void PictureScaler::Scale(const std::uint8_t* pixels, Size picture, const PictureLayout& layout, bool smooth,
                          std::uint8_t* out) {
    const std::size_t padded = PaddedColumns(static_cast<std::size_t>(layout.visible.width));
    m_columns.resize(padded);
    if (!smooth) {
        Nearest(pixels, picture, layout, out);
        return hwy::FlushStream();
    }
    m_weights.assign(4 * padded, 0);
    for (Row& row : m_rows) {
        row.number = -1;
        row.samples.resize(4 * padded);
    }
    Bilinear(pixels, picture, layout, out);
    hwy::FlushStream();
}

void PictureScaler::Nearest(const std::uint8_t* pixels, Size picture, const PictureLayout& layout,
                            std::uint8_t* out) {
    const Side columns = Columns(picture, layout);
    const Side rows = Rows(picture, layout);
    for (int x = 0; x < columns.count; ++x) {
        m_columns[static_cast<std::size_t>(x)] = columns.NearestTo(x);
    }
    const std::size_t padded = m_columns.size();
    FillUp(m_columns, columns.count);
    const std::size_t rowBytes = std::size_t{4} * static_cast<std::size_t>(columns.count);
    m_row.resize(padded);
    int before = -1;
    for (int y = 0; y < rows.count; ++y, out += rowBytes) {
        const int number = rows.NearestTo(y);
        if (number != before) {
            PickColumns(RowOf(pixels, picture, number), picture.width, m_columns.data(), padded,
                        m_row.data());
            before = number;
        }
        CopyRow(reinterpret_cast<const std::uint8_t*>(m_row.data()), rowBytes, out);
    }
}

void PictureScaler::Bilinear(const std::uint8_t* pixels, Size picture, const PictureLayout& layout,
                             std::uint8_t* out) {
    const Side columns = Columns(picture, layout);
    const Side rows = Rows(picture, layout);
    for (int x = 0; x < columns.count; ++x) {
        Step step = StepAt(columns, x);
        if (step.first > 0 && step.first == columns.last) { // there is no pixel to the right
            step = {step.first - 1, step.first, weightParts - 1};
        }
        m_columns[static_cast<std::size_t>(x)] = step.first;
        std::fill_n(m_weights.begin() + 4 * x, 4, step.weight);
    }
    FillUp(m_columns, columns.count);
    const std::size_t rowBytes = std::size_t{4} * static_cast<std::size_t>(columns.count);
    for (int y = 0; y < rows.count; ++y, out += rowBytes) {
        const Step step = StepAt(rows, y);
        const std::int16_t* upper = BlendedRow(pixels, picture, step.first, step.second);
        // A row without a part in the result need not be made.
        const std::int16_t* lower =
            step.weight != 0 ? BlendedRow(pixels, picture, step.second, step.first) : upper;
        BlendRows(upper, lower, step.weight, rowBytes, out);
    }
}

/// @param keep number of the row that is not to be replaced
const std::int16_t* PictureScaler::BlendedRow(const std::uint8_t* pixels, Size picture, int number,
                                              int keep) {
    for (const Row& row : m_rows) {
        if (row.number == number) {
            return row.samples.data();
        }
    }
    Row& row = m_rows[0].number == keep ? m_rows[1] : m_rows[0];
    const std::uint32_t* source = RowOf(pixels, picture, number);
    const std::uint32_t twice[] = {source[0], source[0]}; // a single column is its own neighbour
    const bool isSingle = picture.width == 1;
    BlendColumns(isSingle ? twice : source, isSingle ? 2 : picture.width, m_columns.data(), m_weights.data(),
                 m_columns.size(), row.samples.data());
    row.number = number;
    return row.samples.data();
}

} // namespace kq::playerview
