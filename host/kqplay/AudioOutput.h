/// @file
/// The sound device.
#pragma once

#include "ComponentOutput.h"
#include "Options.h"

#include <string>

using ALCdevice = struct ALCdevice_struct;
using ALCcontext = struct ALCcontext_struct;

namespace kqplay {

/// Makes the OpenAL context of the process before the player needs one; the player then uses it.
///
/// A short mixing period is what this is for. The played position moves by whole periods, 1,024 sample frames
/// (23 ms) unless OpenAL Soft is told otherwise, and pictures that follow it would come in pairs at 60 Hz.
/// With 256 sample frames they come within 6 ms of their time. A user who has settings for OpenAL Soft keeps
/// them.
class AudioOutput {
public:
    ~AudioOutput();

    /// Chooses the device through OpenAL Soft's environment. To be called before any other thread runs:
    /// OpenAL reads its settings once, at its first call.
    /// @return false with the reason in @p error when the file to record to cannot be written
    bool Configure(const Options& options, std::string& error);

    /// Opens the device and makes its context current.
    /// @param sampleRate rate of the stream, Hz; the device is asked for the same, so that nothing is
    /// resampled
    /// @return false with the reason in @p error
    bool Open(int sampleRate, const ComponentOutput& output, std::string& error);
    bool IsOpen() const { return m_context != nullptr; }
    /// Stops the device while the process is stopped: some devices catch up afterwards, and the sound would
    /// jump ahead of the pictures. Does nothing without a device, and to a recording.
    void SetRunning(bool running);
    /// @param gain 0 silent to 1 unchanged
    void SetGain(double gain);
    /// @return false when the device has gone, as unplugged ones do
    bool IsConnected() const;
    /// @return seconds by which the played position moves at a time
    double Period() const;
    /// @return rate of the device, Hz
    int Rate() const;
    std::string DeviceName() const;
    /// @return true when the user has settings for OpenAL Soft, which kqplay then leaves alone. To be asked
    ///         before Configure().
    static bool IsConfiguredByUser();
    /// @return true when the sound goes to a file
    bool IsRecording() const { return !m_recording.empty(); }
    /// Closes the device. A recorded file is complete after that.
    /// @return false with the reason in @p error when the recorded file could not be written whole
    bool Close(std::string& error);

private:
    void RemoveSettings();
    bool IsRecordingWhole() const;

    std::string m_recording; ///< path of the file to record to, or empty
    std::string m_settingsFolder;
    ALCdevice* m_device = nullptr;
    ALCcontext* m_context = nullptr;
};

} // namespace kqplay
