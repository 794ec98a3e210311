// The PCM converter beside libswresample (linear interpolation), speexdsp (its fastest quality) and plain
// copies.
//
//     bench_pcm [--json] [--rounds N]
//
// "copy" copies the output's samples, "queued" copies them into a queue and out of it again, "swr" and
// "speex" do the same conversion of the same blocks.
#include "bench/Compare.h"

#include <kqplayer/audio.h>

#include <speex/speex_resampler.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace {

using kq::bench::Contestant;
using Samples = std::vector<short, kq::bench::LineAllocator<short>>;

constexpr int blockFrames = 4096;

struct Job {
    const char* name;
    int in, out, inRate, outRate;
};

constexpr Job jobs[] = {
    {"mono to stereo", 1, 2, 48000, 48000},        {"stereo to mono", 2, 1, 48000, 48000},
    {"5.1 to stereo", 6, 2, 48000, 48000},         {"stereo to 5.1", 2, 6, 48000, 48000},
    {"44100 to 48000 mono", 1, 1, 44100, 48000},   {"44100 to 48000 stereo", 2, 2, 44100, 48000},
    {"48000 to 44100 stereo", 2, 2, 48000, 44100}, {"48000 to 16000 stereo", 2, 2, 48000, 16000},
    {"44100 to 48000 5.1", 6, 6, 44100, 48000},
};

std::function<void()> Ours(const Job& job, const Samples& in, Samples& out) {
    auto converter = std::make_shared<CAudioConverter>(job.in, job.out, job.inRate, job.outRate, 0);
    return [&, converter] {
        converter->Put(in.data(), blockFrames * job.in);
        converter->Get(out.data(), static_cast<int>(out.size()));
    };
}

/// Two taps with linear interpolation between phases: what "linear" means in this library.
std::function<void()> Swr(const Job& job, const Samples& in, Samples& out) {
    AVChannelLayout inLayout{}, outLayout{};
    av_channel_layout_default(&inLayout, job.in);
    av_channel_layout_default(&outLayout, job.out);
    SwrContext* raw = nullptr;
    if (swr_alloc_set_opts2(&raw, &outLayout, AV_SAMPLE_FMT_S16, job.outRate, &inLayout, AV_SAMPLE_FMT_S16,
                            job.inRate, 0, nullptr) < 0) {
        return nullptr;
    }
    const std::shared_ptr<SwrContext> context(raw, [](SwrContext* c) { swr_free(&c); });
    av_opt_set_int(raw, "filter_size", 2, 0);
    av_opt_set_int(raw, "linear_interp", 1, 0);
    if (swr_init(raw) < 0) {
        return nullptr;
    }
    return [&, context] {
        const auto* source = reinterpret_cast<const std::uint8_t*>(in.data());
        auto* target = reinterpret_cast<std::uint8_t*>(out.data());
        swr_convert(context.get(), &target, static_cast<int>(out.size()) / job.out, &source, blockFrames);
    };
}

std::function<void()> Speex(const Job& job, const Samples& in, Samples& out) {
    int error = 0;
    const std::shared_ptr<SpeexResamplerState> state(
        speex_resampler_init(static_cast<spx_uint32_t>(job.in), static_cast<spx_uint32_t>(job.inRate),
                             static_cast<spx_uint32_t>(job.outRate), 0, &error),
        speex_resampler_destroy);
    return [&, state] {
        spx_uint32_t used = blockFrames,
                     made = static_cast<spx_uint32_t>(out.size()) / static_cast<spx_uint32_t>(job.out);
        speex_resampler_process_interleaved_int(state.get(), in.data(), &used, out.data(), &made);
    };
}

std::vector<Contestant> Contestants(const Job& job, const Samples& in, Samples& out) {
    std::vector<Contestant> all = {{"ours", Ours(job, in, out)}};
    if (auto swr = Swr(job, in, out)) {
        all.push_back({"swr", swr});
    }
    if (job.in == job.out) {
        all.push_back({"speex", Speex(job, in, out)});
    }
    const std::size_t made =
        static_cast<std::size_t>(std::int64_t{blockFrames} * job.outRate / job.inRate * job.out);
    all.push_back({"copy", [&, made] { std::memcpy(out.data(), out.data() + made, made * sizeof(short)); }});
    all.push_back({"queued", [&, made, queue = std::make_shared<Samples>(made)] {
                       std::memcpy(queue->data(), out.data() + made, made * sizeof(short));
                       std::memcpy(out.data(), queue->data(), made * sizeof(short));
                   }});
    return all;
}

void Print(const Job& job, const std::vector<Contestant>& all, bool json) {
    const double rate = blockFrames / kq::bench::Median(all.front().seconds) / 1e6;
    std::printf(json ? "{\"job\":\"%s\",\"mframes\":%.1f,\"times_as_fast_as\":{" : "%-22s %8.1f Mframes/s ",
                job.name, rate);
    for (std::size_t i = 1; i < all.size(); ++i) {
        const double times = kq::bench::TimesAsFast(all.front(), all[i]);
        if (json) {
            std::printf("%s\"%s\":%.3f", i == 1 ? "" : ",", all[i].name.c_str(), times);
        } else {
            std::printf("  %s %.2fx", all[i].name.c_str(), times);
        }
    }
    std::printf(json ? "}}\n" : "\n");
}

} // namespace

int main(int argc, char** argv) {
    bool json = false;
    int rounds = 25;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            json = true;
        } else if (std::strcmp(argv[i], "--rounds") == 0 && i + 1 < argc) {
            rounds = std::atoi(argv[++i]);
        } else {
            std::fprintf(stderr, "usage: %s [--json] [--rounds N]\n", argv[0]);
            return 2;
        }
    }
    kq::bench::StayOnOneProcessor();
    for (const Job& job : jobs) {
        Samples in(static_cast<std::size_t>(blockFrames * job.in)),
            out(static_cast<std::size_t>(blockFrames) * 32);
        unsigned state = 1;
        for (short& s : in) {
            s = static_cast<short>((state = state * 1664525u + 1013904223u) >> 16);
        }
        std::vector<Contestant> all = Contestants(job, in, out);
        kq::bench::RunInTurn(all, rounds, 0.002);
        Print(job, all, json);
    }
}
