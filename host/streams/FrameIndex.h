/// @file
/// The numbers and times of a file's pictures.
#pragma once

#include "Decoder.h"
#include "Handles.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kq::streams {

/// Reads a file's packets, without decoding, on a thread of its own, and counts its pictures in order of
/// time: number 0 is the first that is shown. Exact for variable rates, open groups of pictures and edit
/// lists. Any thread may ask; answers that wait end with Cancel().
class FrameIndex {
public:
    /// Begins to read a file, at a low priority.
    /// @param stream    of the pictures
    /// @param fileStart the file's own time at which it starts
    /// @param rate      as its decoder has it
    static std::unique_ptr<FrameIndex> Read(std::string path, int stream, Ticks fileStart, double rate);
    /// An index for an input that can be read only once. It knows the pictures that it was told.
    /// @param tolerance as their decoder has it
    static std::unique_ptr<FrameIndex> Told(Ticks tolerance);

    ~FrameIndex();
    FrameIndex(const FrameIndex&) = delete;
    FrameIndex& operator=(const FrameIndex&) = delete;

    /// Tells the next picture of Told(); those that are known already change nothing.
    void Add(Ticks time, Ticks end);
    /// Tells that there are no more.
    void Finish();

    /// @return number of the picture on show at a time; nothing while the index does not reach so far
    std::optional<std::int64_t> NumberAt(Ticks time) const;
    /// @return begin of the picture on show at a time; nothing while the index does not reach so far
    std::optional<Ticks> BeginAt(Ticks time) const;
    /// Waits until the index reaches so far. @return begin of the picture with that number; nothing past the
    /// last
    std::optional<Ticks> TimeOf(std::int64_t number);
    /// Waits for the whole file. @return the number of pictures
    std::int64_t Count();
    /// Waits for the whole file. @return the end of the last picture
    Ticks End();
    bool IsComplete() const;
    void Cancel();

private:
    FrameIndex() = default;

    std::optional<std::size_t> Find(Ticks time) const;
    void ReadFile(const std::string& path, int stream, Ticks fileStart, double rate);
    bool HasPicture(Decoder& decoder, Decoded& first);
    void SetTolerance(Ticks tolerance);

    mutable std::mutex m_lock;        ///< guards everything below
    std::condition_variable m_change; ///< more pictures are known
    std::vector<Ticks> m_times;       ///< begins of the pictures that no others can come before any more
    Ticks m_end = 0;                  ///< of the last of them
    Ticks m_tolerance = 0;
    bool m_isComplete = false;
    Decoder* m_decoder = nullptr; ///< decodes the first picture
    std::atomic<bool> m_cancelled{false};
    std::thread m_thread;
};

} // namespace kq::streams
