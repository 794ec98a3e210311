// Which pictures are measured against each other.
#include "host/measure/Pairing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>
#include <vector>

namespace kq::measure {
namespace {

/// Pictures at a rate, some of which are missing. Their times are in the file's own clock.
class Sequence : public PictureSequence {
public:
    struct Shape {
        double rate = 25;
        int count = 6;
        std::set<int> missing = {};
        double clock = 1e7;            ///< ticks per second
        std::vector<int> varying = {}; ///< milliseconds at which pictures begin, instead of the rate
    };

    explicit Sequence(Shape shape) : m_shape(std::move(shape)) {}

    PicturePtr Next() override {
        bool isAfterLoss = false;
        for (; m_shape.missing.count(m_next) != 0; ++m_next) {
            isAfterLoss = true;
        }
        if (m_next >= m_shape.count) {
            return nullptr;
        }
        auto picture = std::make_shared<Picture>();
        picture->number = m_next;
        picture->time = BeginOf(m_next);
        picture->duration = IsSteady() || m_next + 1 == m_shape.count ? static_cast<Ticks>(1e7 / m_shape.rate)
                                                                      : BeginOf(m_next + 1) - picture->time;
        picture->afterLoss = isAfterLoss;
        ++m_next;
        return picture;
    }
    double Rate() const override { return m_shape.rate; }
    bool IsSteady() const override { return m_shape.varying.empty(); }

private:
    Ticks BeginOf(int number) const {
        const double seconds =
            IsSteady() ? number / m_shape.rate : m_shape.varying[static_cast<std::size_t>(number)] / 1000.0;
        return std::llround(std::round(seconds * m_shape.clock) / m_shape.clock * 1e7);
    }

    const Shape m_shape;
    int m_next = 0;
};

/// @return the pairs as text, "0-0 1-x x-2", and after a bar what is left of either
std::string PairsOf(const Sequence::Shape& firstShape, const Sequence::Shape& secondShape, int offset) {
    Sequence first(firstShape), second(secondShape);
    Pairing pairing(first, second, offset);
    const auto name = [](const PicturePtr& picture) {
        return picture ? std::to_string(picture->number) : std::string("x");
    };
    std::string text;
    while (const auto pair = pairing.Next()) {
        text += (text.empty() ? "" : " ") + name(pair->first) + "-" + name(pair->second);
    }
    return text + " | " + name(pairing.RestOfFirst()) + " " + name(pairing.RestOfSecond());
}

TEST(Pairing, NeverTakesANeighbourForAMissingPicture) {
    const std::vector<int> uneven = {0, 40, 120, 160, 280, 320};
    const struct {
        const char* what;
        Sequence::Shape first, second;
        int offset;
        const char* pairs;
    } rows[] = {
        {"the same", {25, 4}, {25, 4}, 0, "0-0 1-1 2-2 3-3 | x x"},
        {"one in the second", {25, 5}, {25, 5, {2}}, 0, "0-0 1-1 2-x 3-3 4-4 | x x"},
        {"one in the first", {25, 5}, {25, 5, {}}, 0, "0-0 1-1 2-2 3-3 4-4 | x x"},
        {"others in both", {25, 5, {1}}, {25, 5, {2, 3}}, 0, "0-0 x-1 2-x 3-x 4-4 | x x"},
        {"the first of the second", {25, 3}, {25, 3, {0}}, 0, "0-x 1-1 2-2 | x x"},
        {"a shorter second", {25, 5}, {25, 3}, 0, "0-0 1-1 2-2 | 3 x"},
        {"a longer second", {25, 2}, {25, 4}, 0, "0-0 1-1 | x 2"},
        {"later pictures of the second", {25, 3}, {25, 6}, 2, "x-0 x-1 0-2 1-3 2-4 | x 5"},
        {"earlier ones", {25, 4}, {25, 4}, -2, "0-x 1-x 2-0 3-1 | x 2"},
        {"offset and missing", {25, 4}, {25, 6, {3}}, 2, "x-0 x-1 0-2 1-x 2-4 3-5 | x x"},
        {"a clock of milliseconds", {60, 5, {}, 1000}, {60, 5, {3}, 90000}, 0, "0-0 1-1 2-2 3-x 4-4 | x x"},
        {"a rate with fewer digits", {29.97, 3}, {30000 / 1001.0, 3}, 0, "0-0 1-1 2-2 | x x"},
        {"twice the rate", {50, 5}, {25, 3}, 0, "0-0 1-0 2-1 3-1 4-2 | x x"},
        {"twice the rate, one missing", {50, 6}, {25, 3, {1}}, 0, "0-0 1-0 2-x 3-x 4-2 5-2 | x x"},
        {"half the rate", {25, 3}, {50, 6}, 0, "0-0 1-2 2-4 | x 5"},
        {"half the rate, one missing", {25, 3}, {50, 6, {2}}, 0, "0-0 1-x 2-4 | x 5"},
        {"another rate, the end", {50, 6}, {25, 2}, 0, "0-0 1-0 2-1 3-1 | 4 x"},
        {"another rate, offset", {50, 4}, {25, 3}, 1, "0-1 1-1 2-2 3-2 | x x"},
        {"24 and 24000/1001", {24, 4}, {24000 / 1001.0, 2}, 0, "0-0 1-1 | 2 x"},
        {"varying", {15, 6, {}, 1e7, uneven}, {15, 6, {3}, 1e7, uneven}, 0, "0-0 1-1 2-2 3-x 4-4 5-5 | x x"},
        {"varying beside steady", {25, 6}, {15, 4, {}, 1e7, uneven}, 0, "0-0 1-1 2-1 3-2 4-3 5-3 | x x"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(PairsOf(row.first, row.second, row.offset), row.pairs) << row.what;
    }
}

/// A rate that is written with fewer digits must not add up.
TEST(Pairing, KeepsStepOverHours) {
    Sequence first({30000 / 1001.0, 400000}), second({29.97, 400000});
    Pairing pairing(first, second, 0);
    while (const auto pair = pairing.Next()) {
        ASSERT_TRUE(pair->first && pair->second);
        ASSERT_EQ(pair->first->number, pair->second->number);
    }
    EXPECT_EQ(pairing.RestOfFirst(), nullptr);
}

} // namespace
} // namespace kq::measure
