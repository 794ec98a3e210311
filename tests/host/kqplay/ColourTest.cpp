// Files of any colour and depth: what is said of their pictures.
#include "Kqplay.h"

using namespace kqtest;

namespace {

const std::string hdr =
    "file: yuv420p10le, bt2020nc, limited range, smpte2084, content 400 cd/m\u00B2; given as "
    "4:2:0, 10 bits, BT.2020, limited range, PQ to be tone-mapped";
const std::string plain = "file: yuv420p, no matrix, no range; given as 4:2:0, 8 bits, BT.601, limited range";

TEST(Pictures, AreDescribedAtTheStart) {
    const struct {
        Strings options;
        Strings lines;
    } rows[] = {
        {{}, {Clip("hdr.mkv") + ": " + hdr}},
        {{"--compare", Clip("one.mp4")}, {Clip("hdr.mkv") + ": " + hdr, Clip("one.mp4") + ": " + plain}},
        {{"--filter", "hflip"}, {Clip("hdr.mkv") + ": " + hdr, Clip("hdr.mkv") + " | hflip: " + hdr}},
    };
    for (const auto& row : rows) {
        const Strings length = {"-v", "--length", "0.1"};
        const Outcome outcome = RunProcess(Headless(Clip("hdr.mkv"), Joined(length, row.options)));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        Strings described;
        for (const std::string& line : Lines(outcome.err)) {
            if (line.find("; given as ") != std::string::npos)
                described.push_back(line);
        }
        EXPECT_EQ(described, row.lines);
    }
}

TEST(Pictures, AreDescribedByAKey) {
    AtTerminal kqplay({"--headless", "--loop", "--compare", Clip("one.mp4"), Clip("hdr.mkv")});
    kqplay.Press("", "playing  0:00");
    kqplay.Press("i", "hdr.mkv: " + hdr);
    kqplay.Press("", "one.mp4: " + plain);
    kqplay.Quit();
}

} // namespace
