/// @file
/// The pictures of a file in order, for a loop.
#pragma once

#include "FileCore.h"

#include <memory>
#include <mutex>
#include <optional>

namespace kq::python {

/// What a walk gives.
struct WalkStep {
    FramePtr frame;           ///< null at the end
    std::int64_t number = -1; ///< where it is known without asking
};

/// Goes through a file's pictures, from one number up to another, in steps. It has a decoder of its own as
/// long as it is under way, so that several walks, and pictures that are fetched meanwhile, do not hinder
/// each other. Any thread, without the interpreter's lock.
class Walk : public Owned {
public:
    /// @param begin,end,step as those of a range; an end of none is that of the file. Steps back need an end.
    Walk(std::shared_ptr<FileCore> file, std::int64_t begin, std::optional<std::int64_t> end,
         std::int64_t step);
    ~Walk() override { Close(); }

    WalkStep Next();
    void Close() override;

    const std::shared_ptr<FileCore>& File() const { return m_file; }

private:
    FramePtr Follow();
    FramePtr Jump();
    void Finish();

    const std::shared_ptr<FileCore> m_file;
    const std::optional<std::int64_t> m_end;
    const std::int64_t m_step;
    std::mutex m_lock;
    std::int64_t m_next; ///< number of the next picture, unless some cannot be decoded
    bool m_isOver = false;
    bool m_isFirst = true;
    std::unique_ptr<PictureReader> m_reader;
};

} // namespace kq::python
