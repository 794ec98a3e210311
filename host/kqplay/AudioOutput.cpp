#include "AudioOutput.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace kqplay {
namespace {

constexpr int periodFrames = 256;

/// Makes the file to record to, so that an unwritable one is reported with its reason.
bool CreateRecording(const std::string& path, std::string& error) {
    struct stat facts = {};
    const bool exists = stat(path.c_str(), &facts) == 0;
    if (exists && S_ISFIFO(facts.st_mode)) {
        return true; // its reader would see the end when we closed it
    }
    if (exists && S_ISDIR(facts.st_mode)) {
        errno = EISDIR;
    } else if (FileDescriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666))) {
        return true;
    }
    error = path + ": " + std::strerror(errno);
    return false;
}

/// OpenAL writes the length into the file's header at the end, and tells no one when that or a write before
/// it fails.
bool HasLengthOfItsHeader(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::array<unsigned char, 8> header = {};
    file.read(reinterpret_cast<char*>(header.data()), header.size());
    std::uint64_t length = 0;
    for (std::size_t i = header.size(); i > 4; --i) {
        length = length << 8 | header[i - 1];
    }
    std::error_code failure;
    return file && fs::file_size(path, failure) == length + header.size();
}

/// @return why a file that is to grow cannot, as far as that can be found out afterwards
std::string WhyNotWritten(const std::string& path) {
    const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    struct stat facts = {};
    if (!file || fstat(file.Get(), &facts) != 0) {
        return std::strerror(errno);
    }
    if (!S_ISREG(facts.st_mode)) {
        return "a write failed";
    }
    constexpr off_t more = 1 << 16;
    const int reason = posix_fallocate(file.Get(), facts.st_size, more);
    [[maybe_unused]] const int restored = ftruncate(file.Get(), facts.st_size);
    return reason == 0 ? "a write failed" : std::strerror(reason);
}

std::string MakePrivateFolder(std::string& error) {
    std::error_code failure;
    const fs::path base = fs::temp_directory_path(failure);
    std::string folder = ((failure ? fs::path("/tmp") : base) / "kqplay-XXXXXX").string();
    if (mkdtemp(folder.data())) {
        return folder;
    }
    error = folder + ": " + std::strerror(errno);
    return {};
}

} // namespace

AudioOutput::~AudioOutput() {
    std::string ignored;
    Close(ignored);
    RemoveSettings();
}

bool AudioOutput::Configure(const Options& options, std::string& error) {
    const bool record = options.audio == AudioTarget::Wav;
    if (record && !CreateRecording(options.wavPath, error)) {
        return false;
    }
    if (options.audio == AudioTarget::Null) {
        setenv("ALSOFT_DRIVERS", "null", 1);
    }
    if (record) {
        m_recording = options.wavPath;
        setenv("ALSOFT_DRIVERS", "wave", 1);
    }
    if (options.log.empty() && !options.verbose) {
        setenv("ALSOFT_LOGLEVEL", "0", 0); // its mixer prints failed writes, which are ours to report
    }
    if (!record && IsConfiguredByUser()) {
        return true;
    }

    m_settingsFolder = MakePrivateFolder(error);
    if (m_settingsFolder.empty()) {
        return false;
    }
    const std::string settings = m_settingsFolder + "/alsoft.conf";
    std::ofstream file(settings);
    file << "[general]\nperiod_size = " << periodFrames << "\nperiods = 4\n";
    if (record) {
        // A link, because a settings file cannot spell every path.
        const std::string link = m_settingsFolder + "/record.wav";
        std::error_code failure;
        fs::create_symlink(fs::absolute(options.wavPath), link, failure);
        file << "channels = stereo\nsample-type = int16\n[wave]\nfile = " << link << "\n";
    }
    file.close();
    if (file) {
        return setenv("ALSOFT_CONF", settings.c_str(), 1) == 0;
    }
    error = settings + ": " + std::strerror(errno);
    return !record; // without the short period then
}

bool AudioOutput::Open(int sampleRate, const ComponentOutput& output, std::string& error) {
    const ComponentOutput::QuietErrors quiet(output);
    m_device = alcOpenDevice(nullptr);
    RemoveSettings(); // they have been read
    if (!m_device) {
        error = "none can be opened";
        return false;
    }
    const ALCint attributes[] = {ALC_FREQUENCY, sampleRate, 0};
    m_context = alcCreateContext(m_device, sampleRate > 0 ? attributes : nullptr);
    if (m_context && alcMakeContextCurrent(m_context) == ALC_TRUE) {
        return true;
    }
    std::string ignored;
    Close(ignored);
    error = "OpenAL refuses a context";
    return false;
}

int AudioOutput::Rate() const {
    ALCint rate = 0;
    alcGetIntegerv(m_device, ALC_FREQUENCY, 1, &rate);
    return rate;
}

std::string AudioOutput::DeviceName() const {
    const char* name = alcGetString(m_device, ALC_ALL_DEVICES_SPECIFIER);
    return name ? name : "";
}

void AudioOutput::SetGain(double gain) {
    alListenerf(AL_GAIN, static_cast<float>(gain));
}

bool AudioOutput::IsConnected() const {
    if (alcIsExtensionPresent(m_device, "ALC_EXT_disconnect") != ALC_TRUE) {
        return true;
    }
    ALCint connected = ALC_TRUE;
    alcGetIntegerv(m_device, ALC_CONNECTED, 1, &connected);
    return connected == ALC_TRUE;
}

void AudioOutput::SetRunning(bool running) {
    // OpenAL goes on with a recording at its begin.
    if (!m_device || IsRecording() || alcIsExtensionPresent(m_device, "ALC_SOFT_pause_device") != ALC_TRUE) {
        return;
    }
    const char* name = running ? "alcDeviceResumeSOFT" : "alcDevicePauseSOFT";
    reinterpret_cast<LPALCDEVICEPAUSESOFT>(alcGetProcAddress(m_device, name))(m_device);
}

double AudioOutput::Period() const {
    ALCint periodsPerSecond = 0;
    alcGetIntegerv(m_device, ALC_REFRESH, 1, &periodsPerSecond);
    return periodsPerSecond > 0 ? 1.0 / periodsPerSecond : 0;
}

bool AudioOutput::IsConfiguredByUser() {
    if (std::getenv("ALSOFT_CONF")) {
        return true;
    }
    const char* home = std::getenv("HOME");
    const char* config = std::getenv("XDG_CONFIG_HOME");
    std::error_code ignored;
    if (config && fs::exists(fs::path(config) / "alsoft.conf", ignored)) {
        return true;
    }
    return home && (fs::exists(fs::path(home) / ".alsoftrc", ignored) ||
                    fs::exists(fs::path(home) / ".config" / "alsoft.conf", ignored));
}

bool AudioOutput::IsRecordingWhole() const {
    std::error_code failure;
    return !fs::is_regular_file(m_recording, failure) || HasLengthOfItsHeader(m_recording);
}

bool AudioOutput::Close(std::string& error) {
    const bool recorded = IsRecording() && m_context;
    const bool connected = !m_context || IsConnected();
    if (m_context) {
        alcMakeContextCurrent(nullptr);
        alcDestroyContext(m_context);
    }
    if (m_device) {
        alcCloseDevice(m_device);
    }
    m_context = nullptr;
    m_device = nullptr;
    if (!recorded || (connected && IsRecordingWhole())) {
        return true;
    }
    error = m_recording + ": could not be written whole: " + WhyNotWritten(m_recording);
    return false;
}

void AudioOutput::RemoveSettings() {
    std::error_code ignored;
    if (!m_settingsFolder.empty()) {
        fs::remove_all(m_settingsFolder, ignored);
    }
    m_settingsFolder.clear();
}

} // namespace kqplay
