/// @file
/// How near the pictures of two files are to each other, pair by pair.
#pragma once

#include "Pairing.h"
#include "Quality.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace kq::measure {

class PictureReader;
struct Shape;

/// What is to be measured.
struct MeasureRequest {
    std::string file;
    /// The file beside it; empty: each picture of the file is measured against the one before it.
    std::string other;
    std::int64_t offset = 0; ///< the file's picture n belongs to the other one's picture n + offset
    double begin = 0;        ///< of what is measured, seconds in the file
    double end = std::numeric_limits<double>::infinity(); ///< likewise
    int decoderThreads = 0;                               ///< for each file; 0: one a core, eight at most
    std::function<bool()> givesUp;                        ///< see OpenOptions
    std::function<void(const std::string&)> log;          ///< lines about damaged input, from any thread
};

/// Two pictures, and how near they are to each other.
struct MeasuredPair {
    std::int64_t frame = 0;      ///< number of the file's picture, counted from 0 in order of time
    double time = 0;             ///< its begin, seconds in the file
    std::int64_t otherFrame = 0; ///< the same of the picture that it was measured against
    double otherTime = 0;
    std::array<PlaneQuality, 3> planes; ///< luma, Cb, Cr
    int planeCount = 3;                 ///< 1 for pictures without colours
    int depth = 8;                      ///< bits a sample

    bool IsEqual() const;
};

/// A picture that was not measured, because its counterpart is missing.
struct LonePicture {
    bool isOther = false; ///< it is the other file's
    std::int64_t frame = 0;
    double time = 0; ///< seconds in its file
};

/// What became of a measurement.
struct MeasureOutcome {
    bool isComplete = false;    ///< it was not cancelled
    std::int64_t rest = 0;      ///< so many pictures of the file lie behind the end of the other one
    std::int64_t otherRest = 0; ///< the other way round; both 0 where they cannot be counted
    bool goesOn = false;        ///< there is a rest, known or not
    bool otherGoesOn = false;   ///< likewise
    std::int64_t lost = 0;      ///< damaged packets and frames of the file that were left out
    std::int64_t otherLost = 0; ///< likewise
};

/// Measures a file against another, or against itself. Decodes both on threads of their own, and gives the
/// results picture by picture.
///
/// Planes are compared as they are decoded. The other file's pictures are brought to the size, format and
/// range of the first file's first picture where they differ, as FFmpeg's filter "scale" does by default;
/// layouts that do not lie in planes of luma and chroma are measured in the nearest one that does (RGB:
/// planar 4:2:0). Pairing.h tells which pictures belong together.
///
/// For work in the background: call Open() and Run() on a thread of low priority, which all threads that are
/// made inherit.
class Measurer {
public:
    using Take = std::function<void(const MeasuredPair&)>;
    using TakeLone = std::function<void(const LonePicture&)>;

    /// @param error receives one line that names the file and the reason
    /// @return null when one of the files cannot be opened or has no pictures
    static std::unique_ptr<Measurer> Open(const MeasureRequest& request, std::string& error);
    ~Measurer();
    Measurer(const Measurer&) = delete;
    Measurer& operator=(const Measurer&) = delete;

    /// @return what is done to pictures before they are measured and how they are paired, a line each, for
    /// people
    const std::vector<std::string>& Remarks() const { return m_remarks; }
    /// @return about so many results will come; 0 for unknown
    std::int64_t ExpectedCount() const;

    /// Measures all there is; to be called once. Results come in order, on the calling thread.
    /// @param take receives each pair
    /// @param lone receives each picture that stays alone; may be empty
    MeasureOutcome Run(const Take& take, const TakeLone& lone = {});
    /// Makes Run() return soon. Any thread, also from inside the callbacks, before and while it runs.
    void Cancel();

private:
    explicit Measurer(const MeasureRequest& request);

    bool OpenFiles(std::string& error);
    void Remark();
    void Begin();
    void MeasurePairs(const Take& take, const TakeLone& lone);
    void MeasureNeighbours(const Take& take);
    void CountRest(const Pairing& pairing);
    MeasuredPair Measure(const Picture& picture, const Picture& other);
    bool IsPastEnd(const Picture& picture) const;

    const MeasureRequest m_request;
    std::unique_ptr<PictureReader> m_first;
    std::unique_ptr<PictureReader> m_second; ///< null when there is one file
    std::vector<std::string> m_remarks;
    QualityMeter m_meter;
    MeasureOutcome m_outcome;
    std::atomic<bool> m_cancelled{false};
};

} // namespace kq::measure
