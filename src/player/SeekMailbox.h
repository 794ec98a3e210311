/// @file
/// The seek request on its way from a host's thread to the playback loop.
#pragma once

#include "thread/Critical.h"

#include <cstdint>

/// Holds the posted seek request, its number, who waits for it, and what became of it. Only the newest request
/// counts: posting takes the place of one that was not taken yet, whose waiters then wait for the newer one.
///
/// Any thread may post and ask; the loop takes, holds and settles.
class SeekMailbox {
public:
    struct Request {
        double dTime = -1.0; ///< seconds from the begin of the range; -1.0: no request
        unsigned int nMode = 0;
        /// The stream was moved already, without a run; a run's start goes there once more.
        bool bCarriedOut = false;
        std::uint64_t nNumber = 0;
        bool IsSet() const { return dTime > -0.001; }
    };
    enum class Waiter { No, Yes };

    /// @param waiter Yes: counts a waiter in the same locked step, who calls EndWait() in the end
    /// @return the request's number
    std::uint64_t Post(double dTime, unsigned int nMode, Waiter waiter = Waiter::No);
    /// Leaves the time of a seek that was carried out without a run, for the next run's start, unless a newer
    /// request was posted since.
    /// @param nSeen the number of the request that was carried out, or the newest one before it
    void PostCarriedOut(double dTime, unsigned int nMode, std::uint64_t nSeen);
    /// @return the number of the request posted last
    std::uint64_t GetNewest();
    /// @return whether the request with that number was carried out, refused or replaced by one that was
    bool IsSettled(std::uint64_t nRequest);
    /// A waiter goes.
    void EndWait();
    /// @return whether a request was posted and not taken yet
    bool IsPending();

    /// Takes the request; one that is not set is refused, and settled at once.
    Request Take();
    /// Takes the request only if nothing has carried it out.
    Request TakeUncarried();
    /// Gives back a request that was taken and cannot be carried out here, unless a newer one was posted since.
    void PutBack(const Request& request);
    /// Every request up to the one taken last is done with.
    void Settle();

    /// Keeps the mailbox locked for other threads to the end of an iteration of the loop, while somebody waits for
    /// a request that is not settled yet.
    class Hold {
    public:
        explicit Hold(SeekMailbox& mailbox) : m_mailbox(mailbox) {}
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;
        ~Hold() { End(); }
        void Begin();
        void End();

    private:
        SeekMailbox& m_mailbox;
        bool m_bHeld = false;
    };

private:
    std::uint64_t PostLocked(double dTime, unsigned int nMode, bool bCarriedOut);

    CCritical m_csSeek;
    Request m_request; ///< the next fields are guarded by m_csSeek, too
    std::int32_t m_bSeekPending = 0;
    std::int32_t m_nWaiters = 0;
    std::uint64_t m_nPosted = 0;      ///< number of the request posted last
    std::uint64_t m_nTaken = 0;       ///< number of the request taken last
    std::uint64_t m_nSettled = 0;     ///< every request up to this number is done with
    std::uint64_t m_nWaitedFor = 0;   ///< the newest request that somebody waits for
};
