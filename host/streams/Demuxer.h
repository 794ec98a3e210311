/// @file
/// A media file taken apart into the packets of its streams.
#pragma once

#include "FileLog.h"
#include "Handles.h"
#include "PipeInput.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace kq::streams {

/// Reads packets. Normally a demuxer serves one stream, so that streams never wait for each other; the
/// streams of a pipe, which can be read only once, share one. Read() may then be called by one thread for
/// each stream; all else belongs to the single thread that opened the demuxer or decodes its only stream.
class Demuxer {
public:
    /// @param reason receives why it failed
    /// @param givesUp see OpenOptions
    /// @return null when the file cannot be opened or is not a media file
    static std::shared_ptr<Demuxer> Open(const std::string& path, std::shared_ptr<FileLog> log,
                                         std::string& reason, std::function<bool()> givesUp = {});
    ~Demuxer();
    Demuxer(const Demuxer&) = delete;
    Demuxer& operator=(const Demuxer&) = delete;

    AVFormatContext& Context() const { return *m_context; }
    AVStream& Stream(int index) const { return *m_context->streams[index]; }
    const std::shared_ptr<FileLog>& Log() const { return m_log; }

    /// @return index of the stream of that kind that a viewer would want, with a decoder that exists; -1 for
    /// none.
    ///         Cover pictures are no video.
    int BestStream(AVMediaType kind) const;

    /// Adds a stream to those whose packets Read() gives. Others are left out already while the file is read.
    void Select(int index);
    /// Takes it out again.
    void Deselect(int index);

    /// Gives the stream's next packet in file order.
    /// @param cancelled ends a wait for data when it becomes true
    /// @return 0, AVERROR_EOF at the end, AVERROR_EXIT when cancelled
    int Read(int index, AVPacket& packet, const std::atomic<bool>& cancelled);

    bool Seekable() const;
    /// Moves to a packet at or before a time, as well as the format can tell.
    /// @param stamp in the stream's time base
    /// @return false when the format could not
    bool SeekTo(int index, std::int64_t stamp);
    /// Opens the file once more, which is the sure way back to its first packet. AVStream references end.
    /// @return false when that failed; Read() then gives the end
    bool Reopen();

private:
    struct Waiting {
        std::deque<PacketHandle> packets;
        std::size_t bytes = 0;
        std::size_t unsettled = 0; ///< so many of the last packets are not given yet: their page goes on
        std::int64_t pageBegin = AV_NOPTS_VALUE; ///< where the page before it ended
    };

    Demuxer(std::string path, std::shared_ptr<FileLog> log);

    int OpenContext();
    int ReadFromFile(AVPacket& packet);
    void Deliver(PacketHandle packet);
    void End();
    static void SettlePage(Waiting& waiting, std::int64_t end);
    bool StampsAreGuessed(int index) const;
    void ApplySelection();
    int IndexedStream(int index) const;
    bool GivesUp() const;

    const std::string m_path;
    const std::shared_ptr<FileLog> m_log;
    std::unique_ptr<PipeInput> m_pipe; ///< null for what FFmpeg opens itself; outlives the context
    FormatHandle m_context;

    std::function<bool()> m_givesUp; ///< while the file is opened
    std::mutex m_lock;
    std::condition_variable m_change;
    std::map<int, Waiting> m_selected;
    int m_end = 0; ///< what Read() returns once there are no more packets
    std::atomic<const std::atomic<bool>*> m_reader{
        nullptr}; ///< cancel flag of the thread that reads the file
};

} // namespace kq::streams
