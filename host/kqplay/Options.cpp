#include "Options.h"

#include <CLI/CLI.hpp>

#include <cmath>

namespace kqplay {
namespace {

/// Takes "auto", "null" or "wav:PATH". @return what is wrong with the text, or an empty string
std::string ReadAudioTarget(const std::string& text, Options& options) {
    static const std::string wavPrefix = "wav:";
    if (text == "auto") {
        options.audio = AudioTarget::Auto;
    } else if (text == "null") {
        options.audio = AudioTarget::Null;
    } else if (text.compare(0, wavPrefix.size(), wavPrefix) == 0 && text.size() > wavPrefix.size()) {
        options.audio = AudioTarget::Wav;
        options.wavPath = text.substr(wavPrefix.size());
    } else {
        return "'" + text + "' is not auto, null or wav:PATH";
    }
    return {};
}

std::string NotSeconds(const std::string& text) {
    double value = 0;
    const bool number = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
    return number && value >= 0 ? std::string() : "'" + text + "' is not a number of seconds";
}

std::string NothingSelected(const Options& options) {
    if (!options.video && options.audio == AudioTarget::Off)
        return "--no-video and --no-audio leave nothing to play";
    if (options.traceHash && options.trace.empty())
        return "--trace-hash needs --trace FILE";
    return {};
}

int UsageError(const std::string& reason) {
    std::cerr << "kqplay: " << reason << "\nkqplay --help lists what can be given.\n";
    return ExitUsage;
}

} // namespace

std::optional<int> ParseOptions(int argc, const char* const* argv, Options& options) {
    CLI::App app(
        "Plays a media file.\n\nKeys, in the window and in the terminal: space pauses and resumes (and plays "
        "again after a stop),\ns stops, q or Esc quits.",
        "kqplay");
    const CLI::Validator seconds(NotSeconds, "SECONDS");
    bool noVideo = false;
    bool noAudio = false;

    app.set_version_flag("--version", "kqplay " KQPLAY_VERSION, "Print the version and exit");
    app.add_option("FILE", options.file, "What to play")->required();
    app.add_option("--start", options.start, "Begin at this time")->check(seconds)->type_name("");
    app.add_option("--length", options.length, "Play no more than this")->check(seconds)->type_name("");
    app.add_flag("--loop", options.loop, "Play again and again");
    app.add_option("--volume", options.volume, "Loudness, 0 to 100")
        ->check(CLI::Range(0, 100))
        ->type_name("");
    app.add_flag("--mute", options.mute, "No loudness at all");
    app.add_flag("--no-video", noVideo, "Leave the pictures out");
    auto* audioOff = app.add_flag("--no-audio", noAudio, "Leave the sound out");
    app.add_flag("--headless", options.headless, "Show pictures off-screen, without a window");
    app.add_option_function<std::string>(
           "--audio",
           [&](const std::string& text) {
               const std::string wrong = ReadAudioTarget(text, options);
               if (!wrong.empty())
                   throw CLI::ValidationError("--audio", wrong);
           },
           "Where sound goes: the default device (auto), nowhere but in real time (null), or a file "
           "(wav:PATH)")
        ->type_name("auto|null|wav:PATH")
        ->excludes(audioOff);
    app.add_option("--trace", options.trace, "Write what happens to a file, one JSON object a line")
        ->type_name("FILE");
    app.add_flag("--trace-hash", options.traceHash, "Give the trace's pictures a checksum");
    auto* log = app.add_option("--log", options.log, "Write what the component prints and logs to a file");
    log->type_name("FILE");
    app.add_flag("-v,--verbose", options.verbose, "Print what the component prints and logs")->excludes(log);

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) { // --help, --version
        return app.exit(request);
    } catch (const CLI::ParseError& error) {
        return UsageError(error.what());
    }
    options.video = !noVideo;
    if (noAudio)
        options.audio = AudioTarget::Off;
    const std::string wrong = NothingSelected(options);
    if (!wrong.empty())
        return UsageError(wrong);
    return std::nullopt;
}

} // namespace kqplay
