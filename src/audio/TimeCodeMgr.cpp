#include "audio/TimeCodeMgr.h"

#include <algorithm>

namespace {
constexpr std::size_t kMostRecords = 4096;
/// The first record answers one byte past its end, so two stay in front of the record that a search may need.
constexpr std::size_t kKeptBefore = 2;
constexpr std::int64_t kNoStamp = -1;
} // namespace

void TimeCodeMgr::Reset() {
    std::lock_guard<std::mutex> lock(m_lock);
    m_listTimeCode.clear();
    m_llLastSearched = 0;
}

int TimeCodeMgr::PutPTS(int nLen, std::int64_t llPTS) {
    std::lock_guard<std::mutex> lock(m_lock);
    if (m_listTimeCode.empty()) {
        m_listTimeCode.push_back({llPTS, 0, nLen});
        return nLen;
    }
    struTimeCodeMgr& last = m_listTimeCode.back();
    if (llPTS == kNoStamp) {
        last.nLen += nLen;
        return nLen;
    }
    const std::int64_t llStart = last.llPos + last.nLen;
    m_listTimeCode.push_back({llPTS, llStart, nLen});
    if (m_listTimeCode.size() > kMostRecords) {
        DropOld();
    }
    return nLen;
}

void TimeCodeMgr::DropOld() {
    const auto needed = std::lower_bound(
        m_listTimeCode.begin(), m_listTimeCode.end(), m_llLastSearched,
        [](const struTimeCodeMgr& record, std::int64_t llPos) { return record.llPos < llPos; });
    // `needed` is the first record that starts at or after the position; the one before it answers for it.
    const auto nBefore = static_cast<std::size_t>(needed - m_listTimeCode.begin());
    if (nBefore > kKeptBefore + 1) {
        m_listTimeCode.erase(m_listTimeCode.begin(),
                             m_listTimeCode.begin() + static_cast<std::ptrdiff_t>(nBefore - kKeptBefore - 1));
    }
}

std::int64_t TimeCodeMgr::SearchPTSReverse(std::int64_t llBytePos, std::int64_t& llPTS,
                                           std::int64_t& llChunkPos) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_llLastSearched = llBytePos;
    if (m_listTimeCode.empty()) {
        llPTS = kNoStamp;
        llChunkPos = -1;
        return 0;
    }
    const struTimeCodeMgr& first = m_listTimeCode.front();
    if (llBytePos <= first.llPos + first.nLen + 1) {
        llPTS = first.llPTS;
        llChunkPos = first.llPos;
        return 0;
    }
    const auto found = std::find_if(m_listTimeCode.rbegin(), m_listTimeCode.rend() - 1,
                                    [&](const struTimeCodeMgr& record) { return record.llPos < llBytePos; });
    if (found != m_listTimeCode.rend() - 1) {
        llPTS = found->llPTS;
        llChunkPos = found->llPos;
    }
    return 0;
}

std::size_t TimeCodeMgr::GetCount() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return m_listTimeCode.size();
}
