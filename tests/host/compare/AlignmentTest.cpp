// Offsets of copies that were altered, and of films that are no copies.
#include <gtest/gtest.h>
#include <host/compare/Alignment.h>

#include <cmath>
#include <filesystem>
#include <string>

using namespace kq::compare;

namespace {

std::string Clip(const std::string& name) {
    return std::string(COMPARE_CLIPS) + "/" + name;
}

Outcome Find(const std::string& other, Trait by) {
    Search search;
    search.reference = Clip("film.mp4");
    search.other = other;
    search.by = by;
    return FindOffset(search);
}

TEST(Alignment, FindsTheOffsetOfAlteredCopies) {
    int copies = 0;
    for (const auto& file : std::filesystem::directory_iterator(COMPARE_CLIPS)) {
        const std::string name = file.path().filename().string();
        if (name.rfind("copy", 0) != 0) {
            continue;
        }
        ++copies;
        const int expected = std::stoi(name.substr(4));
        for (const Trait trait : {Trait::Picture, Trait::Sound}) {
            SCOPED_TRACE(name + (trait == Trait::Picture ? " by its pictures" : " by its sound"));
            const Outcome outcome = Find(file.path().string(), trait);
            EXPECT_EQ(outcome.error, "");
            EXPECT_EQ(std::lround(outcome.offset * 25), expected) << outcome.offset;
            EXPECT_TRUE(outcome.isSure) << outcome.confidence;
        }
    }
    EXPECT_EQ(copies, 20);
}

TEST(Alignment, CountsInPicturesOfTheOtherFile) {
    const Outcome outcome = Find(Clip("faster.mkv"), Trait::Picture);
    EXPECT_TRUE(outcome.isSure) << outcome.confidence;
    EXPECT_NEAR(outcome.offset, 0, 1.0 / 30 + 0.001);
}

TEST(Alignment, IsUnsureOfFilmsThatHaveNothingInCommonAndOfThoseThatNeverChange) {
    for (const char* other : {"unrelated.mp4", "still.mp4"}) {
        for (const Trait trait : {Trait::Picture, Trait::Sound}) {
            const Outcome outcome = Find(Clip(other), trait);
            EXPECT_FALSE(outcome.isSure) << other << ' ' << outcome.offset << ' ' << outcome.confidence;
            EXPECT_LT(outcome.confidence, 0.3) << other;
        }
    }
}

TEST(Alignment, NamesAFileThatHasNothingToCompare) {
    EXPECT_EQ(Find(Clip("faster.mkv"), Trait::Sound).error, Clip("faster.mkv") + ": no sound to compare");
    EXPECT_NE(Find(Clip("missing.mp4"), Trait::Picture).error.find("missing.mp4: No such file"),
              std::string::npos);
}

} // namespace
