#include "player/SeekMailbox.h"

#include <algorithm>
#include <utility>

std::uint64_t SeekMailbox::PostLocked(double dTime, unsigned int nMode, bool bCarriedOut) {
    m_request = {dTime, nMode, bCarriedOut, ++m_nPosted};
    return m_nPosted;
}

std::uint64_t SeekMailbox::Post(double dTime, unsigned int nMode, Waiter waiter) {
    CSingleLock lock(&m_csSeek);
    const std::uint64_t nRequest = PostLocked(dTime, nMode, false);
    m_bSeekPending = 1;
    if (waiter == Waiter::Yes) {
        ++m_nWaiters;
        m_nWaitedFor = nRequest;
    }
    return nRequest;
}

void SeekMailbox::PostCarriedOut(double dTime, unsigned int nMode, std::uint64_t nSeen) {
    CSingleLock lock(&m_csSeek);
    if (m_bSeekPending != 0 && m_nPosted > nSeen) {
        m_nSettled = std::max(m_nSettled, nSeen);
        return;
    }
    m_nTaken = m_nSettled = PostLocked(dTime, nMode, true);
    m_bSeekPending = 0;
}

std::uint64_t SeekMailbox::GetNewest() {
    CSingleLock lock(&m_csSeek);
    return m_nPosted;
}

void SeekMailbox::PutBack(const Request& request) {
    CSingleLock lock(&m_csSeek);
    if (m_nPosted == request.nNumber) {
        m_request = request;
        m_bSeekPending = 1;
    }
}

bool SeekMailbox::IsSettled(std::uint64_t nRequest) {
    CSingleLock lock(&m_csSeek);
    return m_nSettled >= nRequest;
}

void SeekMailbox::EndWait() {
    CSingleLock lock(&m_csSeek);
    --m_nWaiters;
}

bool SeekMailbox::IsPending() {
    CSingleLock lock(&m_csSeek);
    return m_bSeekPending != 0;
}

SeekMailbox::Request SeekMailbox::Take() {
    CSingleLock lock(&m_csSeek);
    const Request request = std::exchange(m_request, {});
    m_bSeekPending = 0;
    m_nTaken = m_nPosted;
    if (!request.IsSet()) {
        m_nSettled = m_nTaken; // nothing there, or refused
    }
    return request;
}

SeekMailbox::Request SeekMailbox::TakeUncarried() {
    CSingleLock lock(&m_csSeek);
    return m_request.bCarriedOut ? Request{} : Take();
}

void SeekMailbox::Settle() {
    CSingleLock lock(&m_csSeek);
    m_nSettled = m_nTaken;
}

void SeekMailbox::Hold::Begin() {
    m_mailbox.m_csSeek.Lock();
    if (m_mailbox.m_nWaiters > 0 && m_mailbox.m_nWaitedFor > m_mailbox.m_nSettled && !m_bHeld) {
        m_bHeld = true;
        return;
    }
    m_mailbox.m_csSeek.Unlock();
}

void SeekMailbox::Hold::End() {
    if (m_bHeld) {
        m_bHeld = false;
        m_mailbox.m_csSeek.Unlock();
    }
}
