#include "MeasuringBinding.h"

#include "LogRelay.h"

#include <measure/Measurer.h>
#include <measure/Summary.h>
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <chrono>
#include <future>
#include <limits>
#include <vector>

namespace kq::python {
namespace {

using measure::LonePicture;
using measure::MeasuredPair;
using measure::MeasureOutcome;

constexpr auto often = std::chrono::milliseconds(50);
/// The PSNR of equal planes.
constexpr double equal = std::numeric_limits<double>::infinity();
constexpr double undefined = std::numeric_limits<double>::quiet_NaN();

struct Results {
    std::vector<MeasuredPair> pairs;
    std::vector<LonePicture> alone;
    measure::Summary summary;
    MeasureOutcome outcome;
};

/// Measures on a thread of its own, so that Ctrl-C ends it.
void Run(measure::Measurer& measurer, Results& results) {
    std::future<MeasureOutcome> work = std::async(std::launch::async, [&] {
        return measurer.Run(
            [&](const MeasuredPair& pair) {
                results.pairs.push_back(pair);
                results.summary.Add(pair);
            },
            [&](const LonePicture& picture) {
                results.alone.push_back(picture);
                results.summary.Add(picture);
            });
    });
    try {
        while (true) {
            {
                const Unlocked unlocked;
                if (work.wait_for(often) == std::future_status::ready) {
                    break;
                }
            }
            CheckSignals();
        }
    } catch (...) {
        const Unlocked unlocked;
        measurer.Cancel();
        work.wait();
        throw;
    }
    results.outcome = work.get();
}

template <class Value, class Get>
py::array_t<Value> Column(const std::vector<MeasuredPair>& pairs, Get get) {
    py::array_t<Value> column(static_cast<py::ssize_t>(pairs.size()));
    auto values = column.template mutable_unchecked<1>();
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        values(static_cast<py::ssize_t>(i)) = get(pairs[i]);
    }
    return column;
}

/// One row a pair: luma, Cb, Cr.
template <class Get>
py::array_t<double> Planes(const std::vector<MeasuredPair>& pairs, Get get) {
    py::array_t<double> table({static_cast<py::ssize_t>(pairs.size()), py::ssize_t{3}});
    auto values = table.mutable_unchecked<2>();
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        for (std::size_t plane = 0; plane < 3; ++plane) {
            const bool isThere = static_cast<int>(plane) < pairs[i].planeCount;
            values(static_cast<py::ssize_t>(i), static_cast<py::ssize_t>(plane)) =
                isThere ? get(pairs[i].planes[plane]) : undefined;
        }
    }
    return table;
}

py::dict Measure(const py::object& file, const py::object& other, std::int64_t offset, double begin,
                 double end) {
    measure::MeasureRequest request;
    request.file = PathOf(file);
    request.other = other.is_none() ? std::string() : PathOf(other);
    request.offset = offset;
    request.begin = begin;
    request.end = end;
    request.log = [](const std::string& line) { LogRelay::Warn(line); };
    std::string error;
    std::unique_ptr<measure::Measurer> measurer;
    {
        const Unlocked unlocked;
        measurer = measure::Measurer::Open(request, error);
    }
    if (!measurer) {
        throw Error(error);
    }
    Results results;
    Run(*measurer, results);
    const auto& pairs = results.pairs;
    constexpr int columns = 80;
    py::list alone;
    for (const LonePicture& picture : results.alone) {
        alone.append(py::make_tuple(picture.isOther, picture.frame, picture.time));
    }
    py::dict told;
    told["frame"] = Column<std::int64_t>(pairs, [](const MeasuredPair& pair) { return pair.frame; });
    told["time"] = Column<double>(pairs, [](const MeasuredPair& pair) { return pair.time; });
    told["other_frame"] =
        Column<std::int64_t>(pairs, [](const MeasuredPair& pair) { return pair.otherFrame; });
    told["other_time"] = Column<double>(pairs, [](const MeasuredPair& pair) { return pair.otherTime; });
    told["mse"] = Planes(pairs, [](const measure::PlaneQuality& plane) { return plane.meanSquare; });
    told["psnr"] =
        Planes(pairs, [](const measure::PlaneQuality& plane) { return plane.psnr.value_or(equal); });
    told["ssim"] =
        Planes(pairs, [](const measure::PlaneQuality& plane) { return plane.ssim.value_or(undefined); });
    told["alone"] = alone;
    told["remarks"] = measurer->Remarks();
    told["text"] = results.summary.Text(request.file, request.other, results.outcome, columns);
    const Unlocked unlocked;
    measurer.reset();
    return told;
}

} // namespace

void BindMeasuring(py::module_& module) {
    module.def("measure", &Measure);
}

} // namespace kq::python
