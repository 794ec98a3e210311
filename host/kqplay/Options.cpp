#include "Options.h"

#include "Comparison.h"
#include "Keys.h"
#include "Picture.h"
#include "Speeds.h"
#include "TypedPlace.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <regex>
#include <utility>

namespace kqplay {
namespace {

using kq::streams::ScopeKind;

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

std::string NotTime(const std::string& text) {
    return "'" + text + "' is no time such as 83.5, 1:23.5 or 1:02:03";
}

/// Turns a time as people write it into seconds. @return what is wrong with the text, or an empty string
std::string ConvertTime(std::string& text) {
    const auto seconds = ReadTime(text);
    if (!seconds) {
        return NotTime(text);
    }
    text = std::to_string(*seconds);
    return {};
}

std::string NotSpeed(const std::string& text) {
    double value = 0;
    const bool number = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
    return number && Speeds::Playable(value) == value
               ? std::string()
               : "'" + text + "' is not a speed from 0.1 to 8 or from -0.1 to -4";
}

/// @param words with their values
/// @return what brings one of the words to its value's number, as command line options take it
template <typename Value>
CLI::Validator OneOf(std::initializer_list<std::pair<const char*, Value>> words) {
    std::string all;
    std::map<std::string, Value> values;
    for (const auto& [word, value] : words) {
        all += (all.empty() ? "" : ", ") + std::string(word);
        values[word] = value;
    }
    const auto convert = [values, all](std::string& text) {
        const auto found = values.find(text);
        if (found == values.end()) {
            return "'" + text + "' is none of " + all;
        }
        text = std::to_string(static_cast<int>(found->second));
        return std::string();
    };
    return CLI::Validator(convert, "");
}

/// Takes "TIME:PATH"; the time is as long as it can be.
/// @return what is wrong with the text, or an empty string
std::string ReadCapture(const std::string& text, Options& options) {
    std::size_t end = text.find(':');
    if (end == std::string::npos) {
        return "'" + text + "' is not TIME:PATH";
    }
    for (std::size_t next = text.find(':', end + 1);
         next != std::string::npos && ReadTime(text.substr(0, next)); next = text.find(':', next + 1)) {
        end = next;
    }
    CaptureRequest request;
    const auto seconds = ReadTime(text.substr(0, end));
    if (!seconds) {
        return NotTime(text.substr(0, end));
    }
    request.seconds = *seconds;
    request.path = text.substr(end + 1);
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

/// @return what is wrong with how measuring and verifying are asked for
std::string WrongMeasure(const Options& options) {
    const MeasureOptions& measure = options.measure;
    if ((measure.HasLimits() || !measure.worstSheet.empty()) && measure.report.empty()) {
        return "--min-psnr, --min-ssim and --worst need --measure REPORT";
    }
    if (measure.HasLimits() && options.compare.empty()) {
        return "--min-psnr and --min-ssim need --compare FILE2";
    }
    if (!measure.report.empty() && options.compare.size() > 1) {
        return "--measure takes one --compare";
    }
    if (!measure.worstSheet.empty() && PictureFormat(measure.worstSheet) < 0) {
        return "'" + measure.worstSheet + "' does not end in .bmp, .jpg, .jpeg or .png";
    }
    if ((!measure.report.empty() || options.verify.isAsked) && !options.video) {
        return "--measure and --verify need the pictures that --no-video leaves out";
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

std::pair<const char*, Layout> Named(Layout layout) {
    return {NameOf(layout), layout};
}

std::string NothingSelected(const Options& options) {
    if (options.file.empty() && !options.doctor) {
        return "FILE is required";
    }
    const bool takesOne = options.IsComparison() || !options.captures.empty() || options.verify.isAsked ||
                          !options.contactSheet.path.empty() || !options.measure.report.empty();
    if (options.files.size() > 1 && takesOne) {
        return "--compare, --filter, --capture-at, --contact-sheet, --measure and --verify take one FILE, "
               "and " +
               options.files[1] + " is another";
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
    std::string wrong = WrongMeasure(options);
    if (!wrong.empty()) {
        return wrong;
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

/// @return how many letters have to be put in, left out or replaced to make one word of the other
std::size_t EditDistance(const std::string& one, const std::string& other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

/// @param unknown what was typed, without its value
/// @return the option that was meant, or an empty string when that cannot be told
std::string LikelyOption(const CLI::App& app, const std::string& unknown) {
    constexpr std::size_t mostEdits = 2;
    constexpr std::size_t leastLetters = 4;
    const std::string word = unknown.substr(unknown.find_first_not_of('-'));
    std::string likely;
    std::size_t fewest = mostEdits + 1;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            const bool isBegin = word.size() >= leastLetters && name.rfind(word, 0) == 0;
            const std::size_t edits = isBegin ? 0 : EditDistance(word, name);
            if (edits < fewest && edits < word.size()) {
                fewest = edits;
                likely = "--" + name;
            }
        }
    }
    return likely;
}

/// @return what is wrong with the words that no option and no FILE took
std::string Unexpected(const CLI::App& app) {
    const std::vector<std::string> extras = app.remaining();
    const auto isOption = [](const std::string& word) {
        return word.front() == '-' && word.find_first_not_of('-') != std::string::npos;
    };
    const auto option = std::find_if(extras.begin(), extras.end(), isOption);
    if (option != extras.end()) {
        const std::string name = option->substr(0, option->find('='));
        const std::string likely = LikelyOption(app, name);
        return "there is no option " + name + (likely.empty() ? "" : ": did you mean " + likely + "?");
    }
    return extras.empty() ? std::string() : "nobody knows what to do with " + extras.front();
}

/// Names what an option takes, and leaves out bounds and what options exclude each other: whoever gives what
/// cannot be is told.
class PlainHelp : public CLI::Formatter {
public:
    std::string make_option_opts(const CLI::Option* option) const override { // NOLINT: the library's name
        const std::string name = option->get_type_name();
        return name.empty() ? "" : " " + name.substr(0, name.find(":INT"));
    }
};

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
    app.formatter(std::make_shared<PlainHelp>());
    const CLI::Validator time(ConvertTime, "");
    bool noVideo = false;
    bool noAudio = false;
    bool reverse = false;

    app.set_version_flag("--version", "kqplay " KQPLAY_VERSION, "Print the version and exit");
    auto* file =
        app.add_option("FILE", options.files, "What to play; several files are played one after the other")
            ->type_name("");
    auto* start = app.add_option("--start", options.start, "Begin at this time: 83.5, 1:23.5 or 1:02:03");
    start->transform(time)->type_name("TIME");
    app.add_option("--length", options.length, "Play no more than this")->transform(time)->type_name("TIME");
    app.add_option("--frame", options.frame, "Begin at the picture with this number, counted from 0")
        ->check(CLI::Range(std::int64_t{0}, std::numeric_limits<std::int64_t>::max()))
        ->type_name("N")
        ->excludes(start);
    app.add_option("--speed", options.speed, "Play slower, faster, or backwards: 0.1 to 8, -0.1 to -4")
        ->check(CLI::Validator(NotSpeed, ""))
        ->type_name("X");
    app.add_flag("--reverse", reverse, "Play backwards, from the end");
    auto* loop = app.add_flag("--loop", options.loop, "Play again and again, without a seam");
    auto* count = app.add_option("--loop-count", options.loopCount, "Play this often, without a seam");
    count->check(CLI::Range(1, 1'000'000))->type_name("N")->excludes(loop);
    app.add_option("--volume", options.volume, "Loudness, 0 to 100")
        ->check(CLI::Range(0, 100))
        ->type_name("PERCENT");
    app.add_flag("--mute", options.mute, "No loudness at all");
    app.add_flag("--no-video", noVideo, "Leave the pictures out");
    auto* audioOff = app.add_flag("--no-audio", noAudio, "Leave the sound out");
    app.add_flag("--headless", options.headless, "Show pictures off-screen, without a window");
    app.add_flag("--wayland", options.wayland, "Open the window on Wayland although there is an X server");
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
    app.add_option("--audio-track", options.audioTrack,
                   "Which sound of a file that has several, counted from 1")
        ->check(CLI::Range(1, 1000))
        ->type_name("N")
        ->excludes(audioOff);
    auto* views = app.add_option("--views", options.views, "Show the pictures in this many views, 1 to 16");
    views->check(CLI::Range(1, 16))->type_name("N");
    std::vector<std::string> compared;
    std::vector<std::string> offsets;
    auto* compare = app.add_option("--compare", compared,
                                   "Show another file beside the first, in step; may be given 9 times");
    compare->type_name("FILE2")->excludes(views)->allow_extra_args(false);
    auto* offset = app.add_option("--offset", offsets,
                                  "Behind --compare: shift that file by so many of its frames, later ones "
                                  "first");
    offset->type_name("FRAMES")->needs(compare)->allow_extra_args(false);
    auto* layout = app.add_option("--layout", options.layout, "How two files are shown");
    layout
        ->transform(OneOf<Layout>({Named(Layout::Side), Named(Layout::Stack), Named(Layout::Wipe),
                                   Named(Layout::Flip), Named(Layout::Difference)}))
        ->type_name("side|stack|wipe|flip|difference");
    auto* align = app.add_option(
        "--align", options.align,
        "Before playing, find by how much the other files are shifted, up to 10 s, and shift them back");
    align->transform(OneOf<AlignBy>({{"picture", AlignBy::Picture}, {"sound", AlignBy::Sound}}))
        ->type_name("picture|sound")
        ->needs(compare);
    app.add_option("--filter", options.filter,
                   "Show the pictures beside themselves as they leave an FFmpeg filter graph")
        ->type_name("GRAPH")
        ->excludes(views)
        ->excludes(compare);
    auto* filter = app.get_option("--filter");
    app.add_option("--info", options.info, "Write on the pictures which they are: a short line, or full ones")
        ->transform(OneOf<InfoLevel>({{"short", InfoLevel::Short}, {"full", InfoLevel::Full}}))
        ->type_name("short|full");
    app.add_option("--scope", options.scope, "Show a scope of the pictures beside them")
        ->transform(OneOf<ScopeKind>({{"waveform", ScopeKind::Waveform},
                                      {"vectorscope", ScopeKind::Vectorscope},
                                      {"histogram", ScopeKind::Histogram}}))
        ->type_name("waveform|vectorscope|histogram");
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
        ->type_name("TIME:PATH")
        ->allow_extra_args(false);
    auto* sheet = app.add_option_function<std::string>(
        "--contact-sheet",
        [&](const std::string& text) {
            const std::string wrong = ReadContactSheet(text, options.contactSheet);
            if (!wrong.empty()) {
                throw CLI::ValidationError("--contact-sheet", wrong);
            }
        },
        "Do not play, but write an overview picture, 4x4 pictures unless told otherwise");
    sheet->type_name("PATH[:COLSxROWS]")->excludes(compare);
    auto* measure = app.add_option("--measure", options.measure.report,
                                   "Do not play, but measure every picture against the one of --compare, or "
                                   "against the one before it, and write a report, one JSON object a line");
    measure->type_name("REPORT")->excludes(sheet)->excludes(filter)->excludes(views);
    app.add_option("--min-psnr", options.measure.minPsnr,
                   "With --measure: end with status 3 unless the luma of every pair reaches so many dB")
        ->check(CLI::Range(0.0, 1000.0))
        ->type_name("");
    app.add_option("--min-ssim", options.measure.minSsim,
                   "With --measure: the same for the structural similarity")
        ->check(CLI::Range(-1.0, 1.0))
        ->type_name("");
    app.add_option("--worst", options.measure.worstSheet,
                   "With --measure: write a picture of the worst pairs and their differences")
        ->type_name("PATH");
    auto* verify = app.add_flag(
        "--verify", options.verify.isAsked,
        "Do not play, but seek and step at random, and compare every picture with that of a decode from the "
        "start; the status is 3 when one differs");
    verify->excludes(measure)->excludes(sheet)->excludes(compare)->excludes(filter)->excludes(views);
    app.add_option("--count", options.verify.count, "With --verify: so many movements, 1000 unless told")
        ->check(CLI::Range(1, 100'000'000))
        ->type_name("")
        ->needs(verify);
    app.add_option("--seed", options.verify.seed, "With --verify: the same number makes the same movements")
        ->check(CLI::Range(std::uint32_t{0}, std::numeric_limits<std::uint32_t>::max()))
        ->type_name("")
        ->needs(verify);
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
    const std::string unexpected = Unexpected(app);
    if (!unexpected.empty()) {
        return UsageError(unexpected);
    }
    if (!wrong.empty()) {
        return UsageError(wrong);
    }
    options.file = options.files.empty() ? std::string() : options.files.front();
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
