#include "Options.h"

#include "Comparison.h"
#include "Keys.h"
#include "Picture.h"
#include "Speeds.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <regex>

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

std::string NotSpeed(const std::string& text) {
    double value = 0;
    const bool number = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
    return number && Speeds::Playable(value) == value
               ? std::string()
               : "'" + text + "' is not a speed from 0.1 to 8 or from -0.1 to -4";
}

/// Takes "SEC:PATH". @return what is wrong with the text, or an empty string
std::string ReadCapture(const std::string& text, Options& options) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || colon + 1 == text.size()) {
        return "'" + text + "' is not SEC:PATH";
    }
    CaptureRequest request;
    std::string wrong = NotSeconds(text.substr(0, colon));
    if (!wrong.empty()) {
        return wrong;
    }
    CLI::detail::lexical_cast(text.substr(0, colon), request.seconds);
    request.path = text.substr(colon + 1);
    if (PictureFormat(request.path) < 0) {
        return "'" + request.path + "' does not end in .bmp, .jpg, .jpeg or .png";
    }
    options.captures.push_back(request);
    return {};
}

/// Takes "PATH" or "PATH:COLSxROWS". @return what is wrong with the text, or an empty string
std::string ReadContactSheet(const std::string& text, ContactSheetRequest& request) {
    static const std::regex withSize("(.*):([0-9]{1,3})x([0-9]{1,3})");
    constexpr int most = 32;
    request.path = text;
    std::smatch match;
    if (std::regex_match(text, match, withSize)) {
        request.path = match[1];
        request.columns = std::stoi(match[2]);
        request.rows = std::stoi(match[3]);
    }
    if (std::min(request.columns, request.rows) < 1 || std::max(request.columns, request.rows) > most) {
        return "a contact sheet has 1 to 32 columns and rows";
    }
    if (PictureFormat(request.path) < 0) {
        return "'" + request.path + "' does not end in .bmp, .jpg, .jpeg or .png";
    }
    return {};
}

/// @param offsets belong to the files that were given just before them, by the numbers of those
/// @return what is wrong, or an empty string
std::string ReadCompared(const CLI::App& app, const CLI::Option& compare, const CLI::Option& offset,
                         std::vector<ComparedFile>& files) {
    std::size_t nextFile = 0;
    std::size_t nextOffset = 0;
    bool mayFollow = false;
    for (const CLI::Option* given : app.parse_order()) {
        if (given == &compare) {
            files.push_back({compare.results().at(nextFile++)});
        } else if (given == &offset) {
            const std::string& text = offset.results().at(nextOffset++);
            if (!mayFollow || !CLI::detail::lexical_cast(text, files.back().offset)) {
                return mayFollow ? "--offset: '" + text + "' is not a number of frames"
                                 : "--offset follows the --compare that it belongs to";
            }
        }
        mayFollow = given == &compare;
    }
    return files.size() > Comparison::mostFiles ? "--compare can be given 9 times" : std::string();
}

/// Takes the name of a layout. @return what is wrong with it, or an empty string
std::string ReadLayout(const std::string& text, Layout& layout) {
    const auto found = LayoutOf(text);
    layout = found.value_or(layout);
    return found ? std::string() : "'" + text + "' is not side, stack, wipe, flip or difference";
}

std::string NothingSelected(const Options& options) {
    if (options.file.empty() && !options.doctor) {
        return "FILE is required";
    }
    if (!options.video && options.audio == AudioTarget::Off) {
        return "--no-video and --no-audio leave nothing to play";
    }
    if (options.traceHash && options.trace.empty()) {
        return "--trace-hash needs --trace FILE";
    }
    if (options.speed < -Speeds::fastestBack) {
        return "backwards, the highest speed is 4";
    }
    if (options.layout != Layout::Side && !options.IsComparison()) {
        return "--layout needs --compare or --filter";
    }
    if (options.frame && !options.video) {
        return "--frame needs the pictures that --no-video leaves out";
    }
    const bool needsVideo = options.views > 1 || options.IsComparison() || !options.captures.empty() ||
                            !options.contactSheet.path.empty();
    if (needsVideo && !options.video) {
        return "--views, --compare, --filter, --capture-at and --contact-sheet need the pictures that "
               "--no-video "
               "leaves out";
    }
    return {};
}

/// @param extras words that no option and no FILE took
/// @return what is wrong with them: a mistyped option makes a file of its value, and an extra word of the
/// file
std::string Unexpected(const std::vector<std::string>& extras) {
    const auto isOption = [](const std::string& word) { return word.size() > 1 && word.front() == '-'; };
    const auto option = std::find_if(extras.begin(), extras.end(), isOption);
    if (option != extras.end()) {
        return "there is no option " + *option;
    }
    return extras.empty() ? std::string() : "one file is played, and " + extras.front() + " is another";
}

int UsageError(const std::string& reason) {
    std::cerr << "kqplay: " << reason << "\nkqplay --help lists what can be given.\n";
    return ExitUsage;
}

} // namespace

std::optional<int> ParseOptions(int argc, const char* const* argv, Options& options) {
    CLI::App app("Plays a media file.\n\n"
                 "Keys, in the window and in the terminal:\n" +
                     DescribeKeys() +
                     "A click or drag on the timeline at the bottom of the window goes there.",
                 "kqplay");
    const CLI::Validator seconds(NotSeconds, "SECONDS");
    bool noVideo = false;
    bool noAudio = false;
    bool reverse = false;

    app.set_version_flag("--version", "kqplay " KQPLAY_VERSION, "Print the version and exit");
    auto* file = app.add_option("FILE", options.file, "What to play");
    auto* start = app.add_option("--start", options.start, "Begin at this time");
    start->check(seconds)->type_name("");
    app.add_option("--length", options.length, "Play no more than this")->check(seconds)->type_name("");
    app.add_option("--frame", options.frame, "Begin at the picture with this number, counted from 0")
        ->check(CLI::Range(std::int64_t{0}, std::numeric_limits<std::int64_t>::max()))
        ->type_name("")
        ->excludes(start);
    app.add_option("--speed", options.speed, "Play slower, faster, or backwards: 0.1 to 8, -0.1 to -4")
        ->check(CLI::Validator(NotSpeed, "SPEED"))
        ->type_name("");
    app.add_flag("--reverse", reverse, "Play backwards, from the end");
    auto* loop = app.add_flag("--loop", options.loop, "Play again and again, without a seam");
    auto* count = app.add_option("--loop-count", options.loopCount, "Play this often, without a seam");
    count->check(CLI::Range(1, 1'000'000))->type_name("")->excludes(loop);
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
               if (!wrong.empty()) {
                   throw CLI::ValidationError("--audio", wrong);
               }
           },
           "Where sound goes: the default device (auto), nowhere but in real time (null), or a file "
           "(wav:PATH)")
        ->type_name("auto|null|wav:PATH")
        ->excludes(audioOff);
    auto* views = app.add_option("--views", options.views, "Show the pictures in this many views, 1 to 16");
    views->check(CLI::Range(1, 16))->type_name("");
    std::vector<std::string> compared;
    std::vector<std::string> offsets;
    auto* compare = app.add_option("--compare", compared,
                                   "Show another file beside the first, in step; may be given 9 times");
    compare->type_name("FILE2")->excludes(views)->allow_extra_args(false);
    auto* offset = app.add_option("--offset", offsets,
                                  "Behind --compare: shift that file by so many of its frames, later ones "
                                  "first");
    offset->type_name("FRAMES")->needs(compare)->allow_extra_args(false);
    auto* layout = app.add_option_function<std::string>(
        "--layout",
        [&](const std::string& text) {
            const std::string wrong = ReadLayout(text, options.layout);
            if (!wrong.empty()) {
                throw CLI::ValidationError("--layout", wrong);
            }
        },
        "How two files are shown");
    layout->type_name("side|stack|wipe|flip|difference");
    auto* align = app.add_option_function<std::string>(
        "--align",
        [&](const std::string& text) {
            if (text != "picture" && text != "sound") {
                throw CLI::ValidationError("--align", "'" + text + "' is not picture or sound");
            }
            options.align = text == "sound" ? AlignBy::Sound : AlignBy::Picture;
        },
        "Before playing, find by how much the other files are shifted, up to 10 s, and shift them back");
    align->type_name("picture|sound")->needs(compare);
    app.add_option("--filter", options.filter,
                   "Show the pictures beside themselves as they leave an FFmpeg filter graph")
        ->type_name("GRAPH")
        ->excludes(views)
        ->excludes(compare);
    app.add_option_function<std::vector<std::string>>(
           "--capture-at",
           [&](const std::vector<std::string>& texts) {
               for (const std::string& text : texts) {
                   const std::string wrong = ReadCapture(text, options);
                   if (!wrong.empty()) {
                       throw CLI::ValidationError("--capture-at", wrong);
                   }
               }
           },
           "Before playing, write the picture of this time to a file (.bmp, .jpg, .jpeg, .png); may be given "
           "several times")
        ->type_name("SEC:PATH")
        ->allow_extra_args(false);
    app.add_option_function<std::string>(
           "--contact-sheet",
           [&](const std::string& text) {
               const std::string wrong = ReadContactSheet(text, options.contactSheet);
               if (!wrong.empty()) {
                   throw CLI::ValidationError("--contact-sheet", wrong);
               }
           },
           "Do not play, but write an overview picture, 4x4 pictures unless told otherwise")
        ->type_name("PATH[:COLSxROWS]")
        ->excludes(compare);
    app.add_option("--trace", options.trace, "Write what happens to a file, one JSON object a line")
        ->type_name("FILE");
    app.add_flag("--trace-hash", options.traceHash, "Give the trace's pictures a checksum");
    app.add_flag(
           "--doctor", options.doctor,
           "Do not play a file, but examine what kqplay runs on, play a second of picture and sound, and "
           "say what is wrong")
        ->excludes(file);
    auto* log = app.add_option("--log", options.log, "Write what the component prints and logs to a file");
    log->type_name("FILE");
    app.add_flag("-v,--verbose", options.verbose,
                 "Print what the component prints and logs, and what each file says of its pictures")
        ->excludes(log);

    app.allow_extras(); // they are told below, the unknown options first
    std::string wrong;
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) { // --help, --version
        return app.exit(request);
    } catch (const CLI::ParseError& error) {
        wrong = error.what();
    }
    if (wrong.empty()) {
        wrong = ReadCompared(app, *compare, *offset, options.compare);
    }
    const std::string unexpected = Unexpected(app.remaining());
    if (!unexpected.empty()) {
        return UsageError(unexpected);
    }
    if (!wrong.empty()) {
        return UsageError(wrong);
    }
    options.video = !noVideo;
    options.loop = options.loop || options.loopCount > 0;
    if (reverse) {
        options.speed = -std::abs(options.speed);
    }
    if (noAudio) {
        options.audio = AudioTarget::Off;
    }
    wrong = NothingSelected(options);
    if (!wrong.empty()) {
        return UsageError(wrong);
    }
    return std::nullopt;
}

} // namespace kqplay
