// Slower, faster, backwards and in loops: the pictures by their numbers in the file, and how long it takes.
#include "Kqplay.h"
#include "tests/support/Hindrance.h"

#include <algorithm>

using namespace kqtest;

namespace {

using Numbers = std::vector<int>;

/// @return the pictures that a view was given, each of which has to be the file's one with its number
Numbers NumbersOf(const Trace& trace, const Strings& all) {
    Numbers numbers;
    for (std::size_t i = 0; i < trace.pictures[0].size(); ++i) {
        if (trace.places[0][i] == "null null") { // the black of a stop
            continue;
        }
        const int number = std::stoi(trace.places[0][i]);
        EXPECT_EQ(trace.pictures[0][i], all.at(static_cast<std::size_t>(number))) << "number " << number;
        if (numbers.empty() || numbers.back() != number) { // shown again when it is sought, and at the end
            numbers.push_back(number);
        }
    }
    return numbers;
}

/// @return seconds from the first picture to the last one: what came before is not play
double SecondsOf(const Trace& trace) {
    const Strings& places = trace.places[0];
    double begin = 0, end = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (places[i] != "null null" && (i == 0 || places[i] != places[i - 1])) {
            end = trace.times[0][i];
            begin = begin == 0 ? end : begin;
        }
    }
    return end - begin;
}

/// @return the numbers from one to another, upwards or downwards
Numbers Row(int from, int to) {
    Numbers row;
    for (int number = from; number != to; number += from < to ? 1 : -1) {
        row.push_back(number);
    }
    row.push_back(to);
    return row;
}

Numbers Times(int rounds, const Numbers& round) {
    Numbers all;
    for (int i = 0; i < rounds; ++i) {
        all.insert(all.end(), round.begin(), round.end());
    }
    return all;
}

TEST(Speed, EveryPictureOfTheRangeIsShownInItsTime) {
    const struct {
        Strings options;
        Numbers pictures;
        double seconds;
        const char* clip = "silent.mp4"; // 30 pictures in a second
    } rows[] = {
        {{"--speed", "0.5"}, Row(0, 29), 2},
        {{"--speed", "2"}, Row(0, 29), 0.5},
        {{"--reverse"}, Row(29, 0), 1},
        {{"--reverse", "--start", "0.5", "--length", "0.2"}, Row(20, 15), 0.2},
        {{"--speed", "-0.5", "--frame", "10"}, Row(10, 0), 0.73},
        {{"--frame", "10", "--speed", "2"}, Row(10, 29), 0.33},
        {{"--loop-count", "3"}, Times(3, Row(0, 29)), 3},
        {{"--loop-count", "3", "--start", "0.21", "--length", "0.19"}, Times(3, Row(6, 11)), 0.6},
        {{"--loop-count", "2", "--reverse"}, Times(2, Row(29, 0)), 2},
        {{"--audio", "null", "--speed", "0.5", "--length", "1"}, Row(0, 24), 2, "plain.mp4"},
        {{"--audio", "null", "--speed", "2"}, Row(0, 49), 1, "plain.mp4"},
        {{"--audio", "null", "--reverse"}, Row(49, 0), 2, "plain.mp4"},
        {{"--audio", "null", "--loop-count", "2", "--length", "1"}, Times(2, Row(0, 24)), 2, "plain.mp4"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.options));
        const kq::test::Hindrance hindrance;
        const Trace trace = PlayTraced(Clip(row.clip), row.options);
        EXPECT_EQ(NumbersOf(trace, ReferenceHashes(Clip(row.clip))), row.pictures);
        EXPECT_EQ(trace.ends, 1u);
        EXPECT_GE(SecondsOf(trace), row.seconds - 0.15);
        EXPECT_LE(SecondsOf(trace), row.seconds * 1.25 + 0.3 + hindrance.Lost() / 1000);
    }
}

TEST(Speed, WhatTheFileDoesNotHaveIsToldInALine) {
    const struct {
        Strings options;
        const char* reason;
    } rows[] = {
        {{"--frame", "30"}, "there is no frame 30: the last one is 29"},
        {{"--loop", "--start", "5"}, "there is nothing to repeat"},
        {{"--loop", "--length", "0.001"}, "there is nothing to repeat"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = RunProcess(Headless(Clip("silent.mp4"), row.options));
        EXPECT_EQ(outcome.status, 1);
        const std::string line = "kqplay: " + Clip("silent.mp4") + ": " + row.reason;
        EXPECT_EQ(outcome.err.rfind(line, 0), 0u) << outcome.err;
        EXPECT_EQ(Lines(outcome.err).size(), 1u) << outcome.err;
    }
}

} // namespace
