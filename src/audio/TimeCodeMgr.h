/// @file
/// The map from byte positions of the played PCM to presentation time stamps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

/// Records where each stamped chunk of audio starts, so that a played position can be turned into media time.
///
/// Positions count bytes from the first chunk after a reset. Records lie end to end in ascending order. Old
/// records are dropped once there are more than a few thousand, but none that a position at or after the last
/// one searched could need. All operations are safe from any thread; the lock inside is a leaf.
class TimeCodeMgr {
public:
    struct struTimeCodeMgr {
        std::int64_t llPTS; ///< 100-ns units; -1 for a chunk without a stamp
        std::int64_t llPos; ///< byte position at which the chunk starts
        std::int64_t nLen;  ///< bytes; unstamped chunks lengthen it without limit
    };

    TimeCodeMgr() = default;
    TimeCodeMgr(const TimeCodeMgr&) = delete;
    TimeCodeMgr& operator=(const TimeCodeMgr&) = delete;
    virtual ~TimeCodeMgr() = default;

    /// Removes every record; positions start at 0 again.
    virtual void Reset();
    /// Appends a chunk; one without a stamp (-1) lengthens the chunk before it. @return nLen
    int PutPTS(int nLen, std::int64_t llPTS);
    /// Finds the chunk of a played position: the last one that starts before it, or the first one up to one
    /// byte past its end.
    /// @param llPTS      receives the chunk's stamp; -1 for an empty map; untouched when nothing was found
    /// @param llChunkPos receives the chunk's start position, likewise
    /// @return 0
    std::int64_t SearchPTSReverse(std::int64_t llBytePos, std::int64_t& llPTS, std::int64_t& llChunkPos);
    /// @return the number of records held
    std::size_t GetCount() const;

private:
    void DropOld();

    mutable std::mutex m_lock;
    std::deque<struTimeCodeMgr> m_listTimeCode;
    std::int64_t m_llLastSearched = 0;
};
