/// @file
/// OpenAL for a test program: its functions replace the library's, and fail, stall, jump, creep and
/// disconnect when told.
#pragma once

#include <AL/al.h>
#include <AL/alc.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace kq::test {

enum class Failing { Once, ForEver };

/// Commands the stand-in for as long as it lives; one at a time. A program that links the stand-in never
/// reaches the real library, and has the functions that the component calls, no more.
///
/// Every failing call leaves its out-values untouched and raises AL_OUT_OF_MEMORY (generate, fill) or
/// AL_INVALID_OPERATION, and one of alc… returns null or ALC_FALSE. As in OpenAL Soft a source that has run
/// dry counts its whole queue as processed, what was queued after that included. Sources are consumed, and
/// positions move, by the device's clock: real time, or what Advance() says. Any thread may call anything.
class OpenALStandIn {
public:
    OpenALStandIn();
    OpenALStandIn(const OpenALStandIn&) = delete;
    OpenALStandIn& operator=(const OpenALStandIn&) = delete;
    ~OpenALStandIn();

    /// @param function as OpenAL calls it; "alGetSourcei/AL_BYTE_OFFSET" (…/AL_SOURCE_STATE,
    ///     …/AL_BUFFERS_PROCESSED, …/AL_BUFFERS_QUEUED) for the query of that value alone
    /// @param nth from the next call on, which is 1
    void Fail(const std::string& function, int nth = 1, Failing how = Failing::Once);
    /// @return how often a function was called, failures included, since the object was made
    int CountCalls(const std::string& function) const;
    /// @return how many calls have failed because of Fail()
    int CountFailures() const;

    /// From now on only Advance() moves the device's clock.
    void StopClock();
    void Advance(std::chrono::microseconds by);
    /// Device time for a unit of time: 0 stalls, 0.1 creeps, 1 is right.
    void SetRate(double rate);
    /// From now on AL_BYTE_OFFSET of a source that plays tells so many bytes more than the truth, or less.
    void ShiftOffset(int bytes);
    /// The device goes away: its sources stop, and none starts any more.
    void Disconnect();

    /// A device and a context as a host makes them, current for the process.
    void OpenAsHost();
    /// @return whether the host's context and device were still there to be closed
    bool CloseAsHost();

    /// What exists now.
    struct Objects {
        int devices;
        int contexts;
        int sources;
        int buffers;
    };
    Objects GetObjects() const;
    /// @return how often something was closed or destroyed that did not exist (any more)
    int CountWrongClosings() const;

    /// What was played between two calls of OpenAL, as 16-bit samples.
    struct Heard {
        std::chrono::steady_clock::time_point when; ///< the last of them
        std::vector<std::int16_t> samples;
    };
    /// @return all that has been played, in order; of one source at a time
    std::vector<Heard> GetHeard() const;
    std::vector<std::int16_t> GetHeardSamples() const;

private:
    ALCdevice* m_device = nullptr;
    ALCcontext* m_context = nullptr;
};

} // namespace kq::test
