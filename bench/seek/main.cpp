// Measures seeking: bench_seek [latency] [sync] [--json] [--count=N], both when nothing is named.
#include "Seek.h"

#include <kqplayer/log.h>

#include <bench/playback/Measured.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

namespace {

struct Settings {
    bool latency = false;
    bool sync = false;
    bool json = false;
    int count = 100; ///< movements of each kind
};

/// @return false for a word that means nothing
bool Read(int argc, char** argv, Settings& settings) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "latency") {
            settings.latency = true;
        } else if (word == "sync") {
            settings.sync = true;
        } else if (word == "--json") {
            settings.json = true;
        } else if (word.rfind("--count=", 0) == 0) {
            settings.count = std::max(std::atoi(word.c_str() + std::strlen("--count=")), 1);
        } else {
            return false;
        }
    }
    if (!settings.latency && !settings.sync) {
        settings.latency = settings.sync = true;
    }
    return true;
}

/// What the component prints has no place between the tables. @return the standard output as it was
int TakeScreen() {
    KQLogSetSink([](const char*, void*) {}, nullptr);
    const int screen = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::fflush(stdout);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    return screen;
}

void PrintRow(const bench::Row& row, bool json) {
    const auto at = [&row](double share) { return bench::Percentile(row.milliseconds, share); };
    const char* format = json
                             ? "{\"clip\":\"%s\",\"what\":\"%s\",\"count\":%zu,\"missed\":%d,\"min_ms\":%.2f,"
                               "\"p50_ms\":%.2f,\"p90_ms\":%.2f,\"p99_ms\":%.2f,\"max_ms\":%.2f}\n"
                             : "%-26s  %-24s %5zu %6d %8.1f %8.1f %8.1f %8.1f %8.1f\n";
    bench::Print(format, row.clip.c_str(), row.what.c_str(), row.milliseconds.size(), row.missed, at(0),
                 at(0.5), at(0.9), at(0.99), at(1));
}

void PrintHead(bool json) {
    if (!json) {
        bench::Print("%-26s  %-24s %5s %6s %8s %8s %8s %8s %8s\n", "milliseconds", "", "count", "missed",
                     "min", "p50", "p90", "p99", "max");
    }
}

void PrintSync(const bench::Row& row, bool json) {
    const double limit = bench::SoundPeriod() + 5;
    const auto agree = std::count_if(row.milliseconds.begin(), row.milliseconds.end(),
                                     [limit](double offset) { return std::abs(offset) <= limit; });
    PrintRow(row, json);
    if (json) {
        bench::Print("{\"limit_ms\":%.2f,\"within\":%td}\n", limit, agree);
    } else {
        bench::Print("within one sound period + 5 ms (%.1f ms): %td of %zu\n", limit, agree,
                     row.milliseconds.size());
    }
}

} // namespace

int main(int argc, char** argv) {
    Settings settings;
    if (!Read(argc, argv, settings)) {
        std::fprintf(stderr, "usage: bench_seek [latency] [sync] [--json] [--count=N]\n");
        return 2;
    }
    bench::PrintTo(TakeScreen());
    try {
        PrintHead(settings.json);
        if (settings.latency) {
            for (const bench::Row& row : bench::MeasureLatency(settings.count)) {
                PrintRow(row, settings.json);
            }
        }
        if (settings.sync) {
            PrintSync(bench::MeasureSync(settings.count), settings.json);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_seek: %s\n", error.what());
        return 1;
    }
    return 0;
}
