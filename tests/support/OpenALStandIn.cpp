#include "tests/support/OpenALStandIn.h"

#include <AL/alext.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>

struct ALCdevice_struct {};

struct ALCcontext_struct {
    ALCdevice* device;
};

namespace kq::test {

namespace {

using Clock = std::chrono::steady_clock;

struct Buffer {
    std::vector<std::uint8_t> pcm;
    int frameBytes = 1;
    int rate = 1;
};

struct Source {
    std::deque<ALuint> queue;
    ALenum state = AL_INITIAL;
    std::int64_t played = 0; ///< bytes of the queue
    double frames = 0;       ///< played, but not a whole sample frame yet
};

struct Fault {
    int from;
    Failing how;
};

struct World {
    std::map<std::string, int> calls;
    std::map<std::string, Fault> faults;
    int failures = 0;

    bool isClockStopped = false;
    Clock::time_point settled = Clock::now();
    double rate = 1;
    int offsetShift = 0;
    bool isConnected = true;

    std::set<ALCdevice*> devices;
    std::set<ALCcontext*> contexts;
    ALCcontext* current = nullptr;
    int wrongClosings = 0;
    ALenum error = AL_NO_ERROR;
    ALuint nextName = 1;
    std::map<ALuint, Buffer> buffers;
    std::map<ALuint, Source> sources;
    std::vector<OpenALStandIn::Heard> heard;

    World() = default;
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World() {
        for (ALCcontext* context : contexts) {
            delete context;
        }
        for (ALCdevice* device : devices) {
            delete device;
        }
    }

    /// Counts a call. @return whether it is to fail
    bool IsFaulty(const std::string& function) {
        const int number = ++calls[function];
        const auto fault = faults.find(function);
        if (fault == faults.end() || number < fault->second.from ||
            (fault->second.how == Failing::Once && number > fault->second.from)) {
            return false;
        }
        ++failures;
        return true;
    }

    void Settle() {
        const Clock::time_point now = Clock::now();
        const Clock::duration passed = now - settled;
        settled = now;
        if (!isClockStopped) {
            Pass(std::chrono::duration<double>(passed).count());
        }
    }

    void Pass(double seconds) {
        for (auto& [name, source] : sources) {
            if (source.state == AL_PLAYING) {
                Consume(source, seconds * rate);
            }
        }
    }

    void Consume(Source& source, double seconds) {
        const Buffer& first = buffers.at(source.queue.front());
        source.frames += seconds * first.rate;
        const double whole = std::floor(source.frames);
        source.frames -= whole;
        std::vector<std::uint8_t> bytes;
        std::int64_t begin = 0; // of a buffer, from the begin of the queue
        const std::int64_t end = source.played + static_cast<std::int64_t>(whole) * first.frameBytes;
        for (const ALuint name : source.queue) {
            const auto& pcm = buffers.at(name).pcm;
            const auto size = static_cast<std::int64_t>(pcm.size());
            const std::int64_t from = std::clamp<std::int64_t>(source.played - begin, 0, size);
            const std::int64_t to = std::clamp<std::int64_t>(end - begin, from, size);
            bytes.insert(bytes.end(), pcm.begin() + from, pcm.begin() + to);
            begin += size;
        }
        Note(bytes);
        source.played = std::min(end, begin);
        if (end >= begin) {
            source.state = AL_STOPPED;
        }
    }

    void Note(const std::vector<std::uint8_t>& bytes) {
        if (bytes.size() >= 2) {
            auto& samples = heard.emplace_back(OpenALStandIn::Heard{settled, {}}).samples;
            samples.resize(bytes.size() / 2);
            std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
        }
    }

    int Processed(const Source& source) const {
        if (source.state == AL_INITIAL) {
            return 0;
        }
        int count = 0;
        std::int64_t end = 0;
        for (const ALuint name : source.queue) {
            end += static_cast<std::int64_t>(buffers.at(name).pcm.size());
            count += source.state == AL_STOPPED || end <= source.played ? 1 : 0;
        }
        return count;
    }

    ALint ValueOf(const Source& source, ALenum what) const {
        switch (what) {
        case AL_SOURCE_STATE:
            return source.state;
        case AL_BUFFERS_QUEUED:
            return static_cast<ALint>(source.queue.size());
        case AL_BUFFERS_PROCESSED:
            return Processed(source);
        default: // the offset, which only a source on its way has
            return source.state == AL_PLAYING || source.state == AL_PAUSED
                       ? static_cast<ALint>(source.played) + offsetShift
                       : 0;
        }
    }

    bool IsQueued(ALuint buffer) const {
        return std::any_of(sources.begin(), sources.end(), [buffer](const auto& item) {
            const auto& queue = item.second.queue;
            return std::find(queue.begin(), queue.end(), buffer) != queue.end();
        });
    }
};

std::mutex worldLock;
auto world = std::make_unique<World>();

/// Runs a call of the context, which tells its error, unless it is to fail.
template <class Body>
void Call(const std::string& function, ALenum failure, Body body) {
    const std::lock_guard<std::mutex> lock(worldLock);
    world->Settle();
    const ALenum error = world->IsFaulty(function)   ? failure
                         : world->current == nullptr ? AL_INVALID_OPERATION
                                                     : body(*world);
    if (world->error == AL_NO_ERROR) {
        world->error = error;
    }
}

/// Runs a call on a source, which tells its error, unless it is to fail.
template <class Body>
void CallSource(const std::string& function, ALuint name, Body body) {
    Call(function, AL_INVALID_OPERATION, [&](World& w) -> ALenum {
        const auto source = w.sources.find(name);
        return source == w.sources.end() ? AL_INVALID_NAME : body(w, source->second);
    });
}

/// Runs a call of the library, which tells its result, unless it is to fail.
template <class Result, class Body>
Result CallLibrary(const std::string& function, Result failure, Body body) {
    const std::lock_guard<std::mutex> lock(worldLock);
    if (!world) {
        return failure; // the process ends
    }
    world->Settle();
    return world->IsFaulty(function) ? failure : body(*world);
}

int FrameBytesOf(ALenum format) {
    static const std::map<ALenum, int> bytes{
        {AL_FORMAT_MONO8, 1},  {AL_FORMAT_MONO16, 2},   {AL_FORMAT_STEREO8, 2},  {AL_FORMAT_STEREO16, 4},
        {AL_FORMAT_QUAD16, 8}, {AL_FORMAT_51CHN16, 12}, {AL_FORMAT_61CHN16, 14}, {AL_FORMAT_71CHN16, 16}};
    const auto found = bytes.find(format);
    return found != bytes.end() ? found->second : 0;
}

} // namespace

OpenALStandIn::OpenALStandIn() {
    const std::lock_guard<std::mutex> lock(worldLock);
    world = std::make_unique<World>();
}

OpenALStandIn::~OpenALStandIn() {
    const std::lock_guard<std::mutex> lock(worldLock);
    world = std::make_unique<World>();
}

void OpenALStandIn::Fail(const std::string& function, int nth, Failing how) {
    const std::lock_guard<std::mutex> lock(worldLock);
    world->faults[function] = {world->calls[function] + nth, how};
}

int OpenALStandIn::CountCalls(const std::string& function) const {
    const std::lock_guard<std::mutex> lock(worldLock);
    return world->calls[function];
}

int OpenALStandIn::CountFailures() const {
    const std::lock_guard<std::mutex> lock(worldLock);
    return world->failures;
}

void OpenALStandIn::StopClock() {
    const std::lock_guard<std::mutex> lock(worldLock);
    world->Settle();
    world->isClockStopped = true;
}

void OpenALStandIn::Advance(std::chrono::microseconds by) {
    const std::lock_guard<std::mutex> lock(worldLock);
    world->Settle();
    world->Pass(std::chrono::duration<double>(by).count());
}

void OpenALStandIn::SetRate(double rate) {
    const std::lock_guard<std::mutex> lock(worldLock);
    world->Settle();
    world->rate = rate;
}

void OpenALStandIn::ShiftOffset(int bytes) {
    const std::lock_guard<std::mutex> lock(worldLock);
    world->offsetShift = bytes;
}

void OpenALStandIn::Disconnect() {
    const std::lock_guard<std::mutex> lock(worldLock);
    world->Settle();
    world->isConnected = false;
    for (auto& [name, source] : world->sources) {
        source.state = source.state == AL_PLAYING ? AL_STOPPED : source.state;
    }
}

void OpenALStandIn::OpenAsHost() {
    m_device = alcOpenDevice(nullptr);
    m_context = m_device != nullptr ? alcCreateContext(m_device, nullptr) : nullptr;
    if (m_context == nullptr || alcMakeContextCurrent(m_context) == ALC_FALSE) {
        throw std::runtime_error("the host's own OpenAL calls fail");
    }
}

bool OpenALStandIn::CloseAsHost() {
    const int before = CountWrongClosings();
    alcMakeContextCurrent(nullptr);
    alcDestroyContext(m_context);
    return alcCloseDevice(m_device) == ALC_TRUE && CountWrongClosings() == before;
}

OpenALStandIn::Objects OpenALStandIn::GetObjects() const {
    const std::lock_guard<std::mutex> lock(worldLock);
    return {static_cast<int>(world->devices.size()), static_cast<int>(world->contexts.size()),
            static_cast<int>(world->sources.size()), static_cast<int>(world->buffers.size())};
}

int OpenALStandIn::CountWrongClosings() const {
    const std::lock_guard<std::mutex> lock(worldLock);
    return world->wrongClosings;
}

std::vector<OpenALStandIn::Heard> OpenALStandIn::GetHeard() const {
    const std::lock_guard<std::mutex> lock(worldLock);
    world->Settle();
    return world->heard;
}

std::vector<std::int16_t> OpenALStandIn::GetHeardSamples() const {
    std::vector<std::int16_t> all;
    for (const Heard& piece : GetHeard()) {
        all.insert(all.end(), piece.samples.begin(), piece.samples.end());
    }
    return all;
}

} // namespace kq::test

using namespace kq::test;

// --- Devices and contexts

ALCdevice* alcOpenDevice(const ALCchar*) {
    return CallLibrary<ALCdevice*>(__func__, nullptr,
                                   [](World& w) { return *w.devices.insert(new ALCdevice).first; });
}

ALCboolean alcCloseDevice(ALCdevice* device) {
    return CallLibrary<ALCboolean>(__func__, ALC_FALSE, [&](World& w) -> ALCboolean {
        if (w.devices.erase(device) == 0) {
            ++w.wrongClosings;
            return ALC_FALSE;
        }
        for (auto context = w.contexts.begin(); context != w.contexts.end();) {
            if ((*context)->device != device) {
                ++context;
                continue;
            }
            // It goes with its device, under the hands of whoever still uses it.
            ++w.wrongClosings;
            w.current = w.current == *context ? nullptr : w.current;
            delete *context;
            context = w.contexts.erase(context);
        }
        delete device;
        return ALC_TRUE;
    });
}

ALCcontext* alcCreateContext(ALCdevice* device, const ALCint*) {
    return CallLibrary<ALCcontext*>(__func__, nullptr, [&](World& w) -> ALCcontext* {
        return w.devices.count(device) != 0 ? *w.contexts.insert(new ALCcontext{device}).first : nullptr;
    });
}

void alcDestroyContext(ALCcontext* context) {
    CallLibrary<int>(__func__, 0, [&](World& w) {
        if (w.contexts.erase(context) == 0) {
            ++w.wrongClosings;
            return 0;
        }
        w.current = w.current == context ? nullptr : w.current;
        delete context;
        return 0;
    });
}

ALCboolean alcMakeContextCurrent(ALCcontext* context) {
    return CallLibrary<ALCboolean>(__func__, ALC_FALSE, [&](World& w) -> ALCboolean {
        if (context != nullptr && w.contexts.count(context) == 0) {
            return ALC_FALSE;
        }
        w.current = context;
        return ALC_TRUE;
    });
}

ALCcontext* alcGetCurrentContext() {
    return CallLibrary<ALCcontext*>(__func__, nullptr, [](World& w) { return w.current; });
}

ALCdevice* alcGetContextsDevice(ALCcontext* context) {
    return CallLibrary<ALCdevice*>(__func__, nullptr, [&](World& w) -> ALCdevice* {
        return w.contexts.count(context) != 0 ? context->device : nullptr;
    });
}

void alcProcessContext(ALCcontext* context) {
    CallLibrary<int>(__func__, 0, [&](World& w) { return static_cast<int>(w.contexts.count(context)); });
}

ALCboolean alcIsExtensionPresent(ALCdevice*, const ALCchar* name) {
    return CallLibrary<ALCboolean>(__func__, ALC_FALSE, [&](World&) -> ALCboolean {
        return std::strcmp(name, "ALC_EXT_disconnect") == 0 ? ALC_TRUE : ALC_FALSE;
    });
}

void alcGetIntegerv(ALCdevice*, ALCenum what, ALCsizei, ALCint* values) {
    CallLibrary<int>(__func__, 0, [&](World& w) {
        if (what == ALC_CONNECTED) {
            *values = w.isConnected ? ALC_TRUE : ALC_FALSE;
        }
        return 0;
    });
}

// --- Errors and names

ALenum alGetError() {
    const std::lock_guard<std::mutex> lock(worldLock);
    const ALenum error = world->current != nullptr ? world->error : AL_INVALID_OPERATION;
    world->error = AL_NO_ERROR;
    return error;
}

ALenum alGetEnumValue(const ALchar* name) {
    return CallLibrary<ALenum>(__func__, 0, [&](World&) -> ALenum {
        static const std::map<std::string, ALenum> values{{"AL_FORMAT_QUAD16", AL_FORMAT_QUAD16},
                                                          {"AL_FORMAT_51CHN16", AL_FORMAT_51CHN16},
                                                          {"AL_FORMAT_61CHN16", AL_FORMAT_61CHN16},
                                                          {"AL_FORMAT_71CHN16", AL_FORMAT_71CHN16}};
        const auto found = values.find(name);
        return found != values.end() ? found->second : 0;
    });
}

void alGenBuffers(ALsizei count, ALuint* names) {
    Call(__func__, AL_OUT_OF_MEMORY, [&](World& w) -> ALenum {
        std::generate_n(names, count, [&] {
            w.buffers[w.nextName];
            return w.nextName++;
        });
        return AL_NO_ERROR;
    });
}

void alDeleteBuffers(ALsizei count, const ALuint* names) {
    Call(__func__, AL_INVALID_OPERATION, [&](World& w) -> ALenum {
        for (const ALuint* name = names; name != names + count; ++name) {
            if (*name != 0 && w.buffers.count(*name) == 0) {
                return AL_INVALID_NAME;
            }
            if (w.IsQueued(*name)) {
                return AL_INVALID_OPERATION;
            }
        }
        std::for_each_n(names, count, [&](ALuint name) { w.buffers.erase(name); });
        return AL_NO_ERROR;
    });
}

ALboolean alIsBuffer(ALuint name) {
    return CallLibrary<ALboolean>(__func__, AL_FALSE, [&](World& w) -> ALboolean {
        return w.buffers.count(name) != 0 ? AL_TRUE : AL_FALSE;
    });
}

void alBufferData(ALuint name, ALenum format, const ALvoid* data, ALsizei size, ALsizei rate) {
    Call(__func__, AL_OUT_OF_MEMORY, [&](World& w) -> ALenum {
        const auto buffer = w.buffers.find(name);
        if (buffer == w.buffers.end()) {
            return AL_INVALID_NAME;
        }
        const int frameBytes = FrameBytesOf(format);
        if (frameBytes == 0 || size % frameBytes != 0 || rate <= 0) {
            return AL_INVALID_VALUE;
        }
        if (w.IsQueued(name)) {
            return AL_INVALID_OPERATION;
        }
        const auto* const bytes = static_cast<const std::uint8_t*>(data);
        buffer->second = {{bytes, bytes + size}, frameBytes, rate};
        return AL_NO_ERROR;
    });
}

void alGenSources(ALsizei count, ALuint* names) {
    Call(__func__, AL_OUT_OF_MEMORY, [&](World& w) -> ALenum {
        std::generate_n(names, count, [&] {
            w.sources[w.nextName];
            return w.nextName++;
        });
        return AL_NO_ERROR;
    });
}

void alDeleteSources(ALsizei count, const ALuint* names) {
    Call(__func__, AL_INVALID_OPERATION, [&](World& w) -> ALenum {
        const bool known =
            std::all_of(names, names + count, [&](ALuint name) { return w.sources.count(name) != 0; });
        std::for_each_n(names, known ? count : 0, [&](ALuint name) { w.sources.erase(name); });
        return known ? AL_NO_ERROR : AL_INVALID_NAME;
    });
}

// --- A source

void alSourcei(ALuint name, ALenum what, ALint value) {
    CallSource(__func__, name, [&](World&, Source& source) -> ALenum {
        if (what != AL_BUFFER || value != 0) {
            return AL_INVALID_ENUM;
        }
        if (source.state == AL_PLAYING || source.state == AL_PAUSED) {
            return AL_INVALID_OPERATION;
        }
        source.queue.clear();
        source.played = 0;
        return AL_NO_ERROR;
    });
}

void alGetSourcei(ALuint name, ALenum what, ALint* value) {
    static const std::map<ALenum, std::string> queries{{AL_SOURCE_STATE, "AL_SOURCE_STATE"},
                                                       {AL_BUFFERS_QUEUED, "AL_BUFFERS_QUEUED"},
                                                       {AL_BUFFERS_PROCESSED, "AL_BUFFERS_PROCESSED"},
                                                       {AL_BYTE_OFFSET, "AL_BYTE_OFFSET"}};
    const auto query = queries.find(what);
    if (query == queries.end()) {
        throw std::logic_error("the stand-in does not know this value");
    }
    CallSource("alGetSourcei/" + query->second, name, [&](World& w, const Source& source) -> ALenum {
        if (w.IsFaulty("alGetSourcei")) {
            return AL_INVALID_OPERATION;
        }
        *value = w.ValueOf(source, what);
        return AL_NO_ERROR;
    });
}

void alSourceQueueBuffers(ALuint name, ALsizei count, const ALuint* buffers) {
    CallSource(__func__, name, [&](World& w, Source& source) -> ALenum {
        const bool known =
            std::all_of(buffers, buffers + count, [&](ALuint b) { return w.buffers.count(b) != 0; });
        if (known) {
            source.queue.insert(source.queue.end(), buffers, buffers + count);
        }
        return known ? AL_NO_ERROR : AL_INVALID_NAME;
    });
}

void alSourceUnqueueBuffers(ALuint name, ALsizei count, ALuint* buffers) {
    CallSource(__func__, name, [&](World& w, Source& source) -> ALenum {
        if (count > w.Processed(source)) {
            return AL_INVALID_VALUE;
        }
        std::generate_n(buffers, count, [&] {
            const ALuint buffer = source.queue.front();
            source.queue.pop_front();
            const auto size = static_cast<std::int64_t>(w.buffers.at(buffer).pcm.size());
            source.played = std::max<std::int64_t>(0, source.played - size);
            return buffer;
        });
        return AL_NO_ERROR;
    });
}

void alSourcePlay(ALuint name) {
    CallSource(__func__, name, [&](World& w, Source& source) -> ALenum {
        if (source.state != AL_PAUSED) {
            source.played = 0;
            source.frames = 0;
        }
        source.state = w.isConnected && !source.queue.empty() ? AL_PLAYING : AL_STOPPED;
        return AL_NO_ERROR;
    });
}

void alSourcePause(ALuint name) {
    CallSource(__func__, name, [](World&, Source& source) -> ALenum {
        source.state = source.state == AL_PLAYING ? AL_PAUSED : source.state;
        return AL_NO_ERROR;
    });
}

void alSourceStop(ALuint name) {
    CallSource(__func__, name, [](World&, Source& source) -> ALenum {
        source.state = source.state == AL_INITIAL ? AL_INITIAL : AL_STOPPED;
        return AL_NO_ERROR;
    });
}

void alSourceRewind(ALuint name) {
    CallSource(__func__, name, [](World&, Source& source) -> ALenum {
        source.state = AL_INITIAL;
        source.played = 0;
        return AL_NO_ERROR;
    });
}
