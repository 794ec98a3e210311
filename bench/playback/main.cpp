// Measures playback: bench_playback [pacing] [sync] [cost] [zoom] [layouts] [timeline] [changes] [scopes]
// [wayland], everything when nothing is named.
#include "Measured.h"

#include <host/kqplay/ComponentOutput.h>

#include <cstdio>
#include <exception>
#include <set>
#include <string>

int main(int argc, char** argv) {
    const std::set<std::string> wanted(argv + 1, argv + argc);
    const auto asked = [&](const char* name) { return wanted.empty() || wanted.count(name) > 0; };
    kqplay::ComponentOutput output; // what the component prints has no place between the tables
    std::string ignored;
    output.Redirect("", false, ignored);
    bench::PrintTo(output.Screen());
    try {
        if (asked("pacing"))
            bench::MeasurePacing();
        if (asked("sync"))
            bench::MeasureFlashAndBeep();
        if (asked("cost"))
            bench::MeasureProcessorTime();
        if (asked("zoom"))
            bench::MeasureZoom();
        if (asked("layouts"))
            bench::MeasureLayouts();
        if (asked("timeline"))
            bench::MeasureTimeline();
        if (asked("changes"))
            bench::MeasureChanges();
        if (asked("scopes"))
            bench::MeasureScopes();
#ifdef BENCH_WAYLAND
        if (asked("wayland"))
            bench::MeasureWayland();
#endif
    } catch (const std::exception& error) {
        bench::Print("bench_playback: %s\n", error.what());
        return 1;
    }
    return 0;
}
