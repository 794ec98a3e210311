// Sizes, places and pitches of the exported conversions: every routine beside its plain version, on memory
// that shows each stray access.
#include "Input.h"
#include "tests/audio/AudioComparisons.h"
#include "tests/image/Comparisons.h"

#include <kqplayer/image.h>

#include <vector>

namespace {

using namespace kq::image::test;
namespace fuzz = kq::fuzz;

struct Named {
    std::string name;
    std::function<std::string(Trial&)> compare;
};

std::vector<Named> AllComparisons() {
    std::vector<Named> all;
    for (const Comparison& routine : RoutineComparisons()) {
        all.push_back({routine.name, routine.compare});
    }
    for (const PictureKind& kind : pictureKinds) {
        all.push_back(
            {"kind " + std::to_string(kind.kind), [&kind](Trial& t) { return CompareWithPlain(t, kind); }});
    }
    all.push_back({"mixing", kq::audio::test::CompareMixing});
    all.push_back({"resampling", kq::audio::test::CompareResampling});
    all.push_back({"sums", kq::audio::test::CompareSums});
    return all;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    init_yuv2rgb();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<Named> comparisons = AllComparisons();
    static const std::vector<std::int64_t> targets = DispatchTargets();
    static const std::ptrdiff_t usualStreamBytes = kq::image::streamBytes;
    fuzz::Input input(data, size);
    const Named& comparison = comparisons[input.Byte() % comparisons.size()];
    const std::int64_t target = input.Pick(targets);
    const bool pastCaches = input.Flag();
    const std::uint32_t seed = input.Byte();
    Trial trial(seed, {input.Rest(), input.Rest() + input.Left()});
    UseTarget(target);
    kq::image::streamBytes = pastCaches ? 1 : usualStreamBytes;
    if (pastCaches) {
        trial.AlignDestinations();
    }
    const std::string difference = comparison.compare(trial);
    if (!difference.empty()) {
        fuzz::Report(comparison.name + " on " + TargetName(target) + ": " + difference);
    }
    return 0;
}
