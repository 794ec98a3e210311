/// @file
/// Finding by how much two copies of a film are shifted against each other.
#pragma once

#include <functional>
#include <string>

namespace kq::compare {

/// By what two files are compared.
enum class Trait {
    Picture, ///< how pictures change: not their size, brightness, contrast or coding
    Sound,   ///< the sound's wave: not its loudness, rate, channels or coding
};

/// What is looked for.
struct Search {
    std::string reference; ///< a file
    std::string other;     ///< a file that may be a copy of it
    Trait by = Trait::Picture;
    int decoderThreads = 0; ///< see streams::OpenOptions
    /// Asked from time to time; true ends the search. May be empty.
    std::function<bool()> isCancelled;
};

/// What was found.
struct Outcome {
    /// What the reference has at t the other file has at t + @p offset, in seconds; for pictures a whole
    /// number of the other file's.
    double offset = 0;
    /// 0 to 1: how well the files agree there, and how much better than elsewhere.
    double confidence = 0;
    /// True when they agree there and nowhere else, in every place that was tried. False for files that have
    /// nothing in common, and for those that are the same all the time (still pictures, repeated patterns,
    /// tones, silence): the offset then means nothing.
    bool isSure = false;
    std::string error; ///< one line that names the file and the reason when one cannot be read; else empty
};

/// Compares a few seconds of the reference with those of the other file up to 10 s before and after, and what
/// was found with another place, farther on. Reads both files from any thread, and returns when it is done:
/// decoding up to half a minute of each is what takes its time.
Outcome FindOffset(const Search& search);

} // namespace kq::compare
