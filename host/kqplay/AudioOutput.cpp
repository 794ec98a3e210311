#include "AudioOutput.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <fcntl.h>
#include <sys/stat.h>

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
    struct stat facts;
    if (stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode))
        errno = EISDIR;
    else if (FileDescriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)))
        return true;
    error = path + ": " + std::strerror(errno);
    return false;
}

std::string MakePrivateFolder(std::string& error) {
    std::error_code failure;
    const fs::path base = fs::temp_directory_path(failure);
    std::string folder = ((failure ? fs::path("/tmp") : base) / "kqplay-XXXXXX").string();
    if (mkdtemp(folder.data()))
        return folder;
    error = folder + ": " + std::strerror(errno);
    return {};
}

} // namespace

AudioOutput::~AudioOutput() {
    Close();
    RemoveSettings();
}

bool AudioOutput::Configure(const Options& options, std::string& error) {
    const bool record = options.audio == AudioTarget::Wav;
    if (record && !CreateRecording(options.wavPath, error))
        return false;
    if (options.audio == AudioTarget::Null)
        setenv("ALSOFT_DRIVERS", "null", 1);
    if (record)
        setenv("ALSOFT_DRIVERS", "wave", 1);
    if (!record && IsConfiguredByUser())
        return true;

    m_settingsFolder = MakePrivateFolder(error);
    if (m_settingsFolder.empty())
        return false;
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
    setenv("ALSOFT_CONF", settings.c_str(), 1);
    return true;
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
    if (m_context && alcMakeContextCurrent(m_context) == ALC_TRUE)
        return true;
    error = "OpenAL refuses a context";
    Close();
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
    if (alcIsExtensionPresent(m_device, "ALC_EXT_disconnect") != ALC_TRUE)
        return true;
    ALCint connected = ALC_TRUE;
    alcGetIntegerv(m_device, ALC_CONNECTED, 1, &connected);
    return connected == ALC_TRUE;
}

double AudioOutput::Period() const {
    ALCint periodsPerSecond = 0;
    alcGetIntegerv(m_device, ALC_REFRESH, 1, &periodsPerSecond);
    return periodsPerSecond > 0 ? 1.0 / periodsPerSecond : 0;
}

bool AudioOutput::IsConfiguredByUser() {
    if (std::getenv("ALSOFT_CONF"))
        return true;
    const char* home = std::getenv("HOME");
    const char* config = std::getenv("XDG_CONFIG_HOME");
    std::error_code ignored;
    if (config && fs::exists(fs::path(config) / "alsoft.conf", ignored))
        return true;
    return home && (fs::exists(fs::path(home) / ".alsoftrc", ignored) ||
                    fs::exists(fs::path(home) / ".config" / "alsoft.conf", ignored));
}

void AudioOutput::Close() {
    if (m_context) {
        alcMakeContextCurrent(nullptr);
        alcDestroyContext(m_context);
    }
    if (m_device)
        alcCloseDevice(m_device);
    m_context = nullptr;
    m_device = nullptr;
}

void AudioOutput::RemoveSettings() {
    std::error_code ignored;
    if (!m_settingsFolder.empty())
        fs::remove_all(m_settingsFolder, ignored);
    m_settingsFolder.clear();
}

} // namespace kqplay
