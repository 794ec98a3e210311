/// @file
/// The index of a file's pictures, made when somebody asks.
#pragma once

#include "FrameIndex.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace kq::streams {

/// Numbers and times of the pictures of one file, for all who ask. The file is read for them from the first
/// question on, so that nothing delays its first picture. Any thread.
class FrameNumbers {
public:
    using Reader = std::function<std::unique_ptr<FrameIndex>()>;

    /// @param read begins to read the file once more; for an input that can be read only once it is empty,
    /// and
    ///             what is known is what Tell() has told
    explicit FrameNumbers(Reader read) : m_read(std::move(read)) {}

    /// @return the number of the picture on show at a time, nothing while it is not known
    std::optional<std::int64_t> NumberAt(Ticks time) { return Index().NumberAt(time); }
    /// @return begin of the picture on show at a time, nothing while it is not known
    std::optional<Ticks> BeginAt(Ticks time) { return Index().BeginAt(time); }
    /// The index whose answers may be waited for. @return null for an input that can be read only once, until
    /// that has happened
    FrameIndex* Whole();

    bool IsTold() const { return !m_read; }
    void Tell(Ticks time, Ticks end) { Index().Add(time, end); }
    void TellEnd() { Index().Finish(); }

private:
    FrameIndex& Index();

    const Reader m_read;
    std::once_flag m_asked;
    std::unique_ptr<FrameIndex> m_index;
};

} // namespace kq::streams
