/// @file
/// Whether a file gives the same pictures whichever way one comes to them.
#pragma once

#include <streams/FileVideo.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace kq::measure {

/// What is to be verified.
struct VerifyRequest {
    std::string file;
    int count = 1000;                            ///< movements
    std::uint32_t seed = 1;                      ///< the same one makes the same movements
    std::function<bool()> givesUp;               ///< see OpenOptions
    std::function<void(const std::string&)> log; ///< lines about damaged input, from any thread
};

/// The ways to move.
enum class Movement {
    Seek,      ///< exact, to any time
    KeySeek,   ///< to the key picture at or before any time
    StepAhead, ///< some pictures ahead, one by one
    StepBack,  ///< some pictures back, one by one
    Backwards, ///< play backwards for some pictures
};
inline constexpr std::size_t movementKinds = 5;

/// What became of it.
struct VerifyReport {
    std::array<int, movementKinds> movements{}; ///< how many of each kind were made
    std::int64_t pictures = 0;                  ///< in the file, as decoding it from the start gives them
    std::int64_t compared = 0;                  ///< pictures that were looked at after a movement
    std::int64_t faultCount = 0;
    std::vector<std::string> faults; ///< the first of them, a line each
    bool isComplete = false;         ///< it was not interrupted

    int MovementCount() const;
    /// @return the report as text
    std::string Text(const VerifyRequest& request) const;
};

/// Decodes a file from its start with a decoder of its own and keeps a hash of each picture's planes, time
/// and number. Then moves about in it at random, through the streams and the store that a player uses, and
/// compares every picture that comes. Used by one thread.
class Verifier {
public:
    /// What is going on. @return false to give up
    using Progress = std::function<bool(const char* what, std::int64_t done, std::int64_t all)>;

    /// @param error receives one line that names the file and the reason
    /// @return null when the file cannot be opened, has no pictures, or can be read only once
    static std::unique_ptr<Verifier> Open(const VerifyRequest& request, std::string& error);
    ~Verifier();
    Verifier(const Verifier&) = delete;
    Verifier& operator=(const Verifier&) = delete;

    /// To be called once. @return false with one line in @p error when there is nothing to compare
    bool Run(const Progress& progress, VerifyReport& report, std::string& error);

    /// Stands between the player's stream and the comparison: tests plant faults with it.
    using Tamper = std::function<std::uint64_t(std::int64_t number, std::uint64_t hash)>;
    void SetTamper(Tamper tamper) { m_tamper = std::move(tamper); }

private:
    /// A picture as decoding from the start gives it.
    struct Known {
        streams::Ticks time = 0;
        std::uint64_t hash = 0;
    };

    explicit Verifier(const VerifyRequest& request) : m_request(request), m_random(request.seed) {}

    bool DecodeAll(const Progress& progress);
    void CheckCount();
    void Move(int number);
    void Seek(bool exact);
    void StepAhead();
    void StepBack();
    void PlayBackwards();
    void Look(std::int64_t expected);
    std::int64_t IndexAt(streams::Ticks time) const;
    std::int64_t IndexOf(streams::Ticks time) const;
    std::int64_t Below(std::int64_t bound);
    double RandomTime();
    std::string NameOf(std::int64_t index) const;
    void Fault(const std::string& text);

    const VerifyRequest m_request;
    std::mt19937 m_random;
    streams::FileVideo m_video; ///< decodes from the start
    streams::MediaFile m_file;  ///< what a player would play
    std::shared_ptr<streams::Timeline> m_timeline;
    streams::Ticks m_tolerance = 0;
    std::vector<Known> m_known; ///< in order of time
    std::int64_t m_at = 0;      ///< index of the picture that the stream shows
    std::int64_t m_number = 0;  ///< what the stream counts it as
    bool m_numbersAgree = true; ///< as many packets have pictures as decoding gives
    std::string m_move;         ///< what is being done, for the report
    VerifyReport m_report;
    Tamper m_tamper;
};

} // namespace kq::measure
