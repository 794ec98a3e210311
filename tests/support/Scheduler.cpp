#include "tests/support/Scheduler.h"

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace kq::test {

struct Scheduler::Thread {
    Thread() { sem_init(&turn, 0, 0); }
    ~Thread() { sem_destroy(&turn); }

    sem_t turn; ///< posted when the thread may go on
    std::uint64_t wake = 0;
    bool done = false;
    pthread_t handle{};
    void* (*body)(void*) = nullptr;
    void* argument = nullptr;
};

namespace {

Scheduler* active = nullptr;
thread_local Scheduler::Thread* self = nullptr;

constexpr std::uint64_t mostSpent = 40; ///< microseconds that a step takes
constexpr std::uint64_t lockPoll = 5;

void Await(sem_t& turn) {
    while (sem_wait(&turn) != 0) {
    }
}

} // namespace

Scheduler::Scheduler(std::uint64_t seed) : m_random(seed) {
    m_threads.push_back(std::make_unique<Thread>());
    self = m_threads.back().get();
    active = this;
    TimeSource::Install(this);
    // Just one thread runs at any moment: handing over takes a third of the time within one processor.
    if (sched_getaffinity(0, sizeof(m_processors), &m_processors) == 0) {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
        sched_setaffinity(0, sizeof(one), &one);
    }
}

Scheduler::~Scheduler() {
    sched_setaffinity(0, sizeof(m_processors), &m_processors);
    TimeSource::Install(nullptr);
    active = nullptr;
    self = nullptr;
}

Scheduler* Scheduler::Active() {
    return self != nullptr ? active : nullptr;
}

void Scheduler::SleepFor(std::uint64_t microseconds) {
    self->wake = m_now + microseconds;
    Yield();
}

void Scheduler::Spend() {
    SleepFor(m_random() % mostSpent);
}

Scheduler::Thread& Scheduler::Next() {
    // Of several that wake at the same moment the longest-lived goes first; the steps' random lengths mix
    // them.
    Thread* next = nullptr;
    for (const auto& thread : m_threads) {
        if (!thread->done && (next == nullptr || thread->wake < next->wake)) {
            next = thread.get();
        }
    }
    return *next;
}

void Scheduler::Yield() {
    Thread& next = Next();
    m_now = std::max(m_now, next.wake);
    if (m_now > m_limit) {
        m_onLimit();
        std::abort();
    }
    Thread* const me = self;
    if (&next != me) {
        sem_post(&next.turn);
        Await(me->turn);
    }
}

Scheduler::Thread* Scheduler::Prepare() {
    m_threads.push_back(std::make_unique<Thread>());
    m_threads.back()->wake = m_now + m_random() % mostSpent;
    return m_threads.back().get();
}

void Scheduler::Run(Thread& thread) {
    self = &thread;
    Await(thread.turn);
}

void Scheduler::Leave(Thread& thread) {
    thread.done = true;
    Thread& next = Next();
    m_now = std::max(m_now, next.wake);
    self = nullptr;
    sem_post(&next.turn);
}

void Scheduler::Join(const Thread& thread) {
    while (!thread.done) {
        SleepFor(100);
    }
}

Scheduler::Thread* Scheduler::Find(unsigned long handle) {
    // The newest one: a handle is used again once its thread was joined.
    const auto found = std::find_if(m_threads.rbegin(), m_threads.rend(), [&](const auto& thread) {
        return pthread_equal(thread->handle, handle) != 0;
    });
    return found != m_threads.rend() ? found->get() : nullptr;
}

} // namespace kq::test

using kq::test::Scheduler;

// Visible, because libraries of the link may refer to what is wrapped, too.
#pragma GCC visibility push(default)
extern "C" {

int __real_pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument);
int __real_pthread_join(pthread_t handle, void** result);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);

static void* RunScheduled(void* argument) {
    auto& thread = *static_cast<Scheduler::Thread*>(argument);
    Scheduler& scheduler = *kq::test::active;
    scheduler.Run(thread);
    void* const result = thread.body(thread.argument);
    scheduler.Leave(thread);
    return result;
}

int __wrap_pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
    Scheduler* const scheduler = Scheduler::Active();
    if (scheduler == nullptr) {
        return __real_pthread_create(handle, attributes, body, argument);
    }
    Scheduler::Thread* const thread = scheduler->Prepare();
    thread->body = body;
    thread->argument = argument;
    const int result = __real_pthread_create(&thread->handle, attributes, &RunScheduled, thread);
    if (result != 0) {
        thread->done = true;
        return result;
    }
    *handle = thread->handle;
    return 0;
}

int __wrap_pthread_join(pthread_t handle, void** result) {
    if (Scheduler* const scheduler = Scheduler::Active()) {
        if (const Scheduler::Thread* const thread = scheduler->Find(handle)) {
            scheduler->Join(*thread);
        }
    }
    return __real_pthread_join(handle, result);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    Scheduler* const scheduler = Scheduler::Active();
    if (scheduler == nullptr) {
        return __real_pthread_mutex_lock(mutex);
    }
    int result = pthread_mutex_trylock(mutex);
    while (result == EBUSY) {
        scheduler->SleepFor(kq::test::lockPoll);
        result = pthread_mutex_trylock(mutex);
    }
    return result;
}

} // extern "C"
#pragma GCC visibility pop
