#include "Doctor.h"

#include "AudioOutput.h"
#include "ComponentOutput.h"
#include "DoctorReport.h"
#include "LoadedLibraries.h"
#include "NativeWindow.h"
#include "SelfTest.h"
#include "TextRenderer.h"
#include "ViewLibrary.h"

#include <kqplayer/view_library.h>

#include <AL/al.h>
#include <SDL_version.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <hwy/highway.h>
#include <sys/utsname.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <thread>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace kqplay {
namespace {

/// Pictures at 60 Hz come in pairs when the played position moves in larger steps, in seconds.
constexpr double longestPeriod = 0.012;

/// A picture that is later than this, in seconds, can be seen to be late.
constexpr double visiblyLate = 0.040;

template <class... Values>
std::string Format(const char* format, Values... values) {
    char text[400];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

std::string Milliseconds(double seconds) {
    return Format("%.1f ms", seconds * 1e3);
}

/// @return the text behind the first @p key of a file's line that begins with it, or "unknown"
std::string ValueIn(const char* path, const std::string& key) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(key, 0) != 0) {
            continue;
        }
        const std::size_t begin = line.find_first_not_of("\t :=\"", key.size());
        return begin == std::string::npos ? "" : line.substr(begin, line.find_last_not_of('"') + 1 - begin);
    }
    return "unknown";
}

const char* Variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// --- What runs here

std::string Compiler() {
#ifdef __clang__
    std::string text = "clang++ " __clang_version__;
#else
    std::string text = "g++ " __VERSION__;
#endif
#if defined(__SANITIZE_ADDRESS__)
    text += ", with AddressSanitizer";
#elif defined(__SANITIZE_THREAD__)
    text += ", with ThreadSanitizer";
#endif
#ifndef __OPTIMIZE__
    text += ", not optimised";
#endif
    return text;
}

/// The instruction set that the component's conversions take on this processor.
std::string VectorTarget() {
    const auto usable = hwy::SupportedTargets() & HWY_TARGETS;
    return hwy::TargetName(usable & -usable);
}

void DescribeProgram(DoctorReport& report) {
    utsname system = {};
    uname(&system);
    report.Section("Program and machine");
    report.Line("KQPlayer", KQPLAY_VERSION);
    report.Line("data model", Format("%zu bits", sizeof(void*) * 8));
    report.Line("compiler", Compiler());
    report.Line("system", ValueIn("/etc/os-release", "PRETTY_NAME") + ", " + system.sysname + " " +
                              system.release + " " + system.machine);
    report.Line("processor", ValueIn("/proc/cpuinfo", "model name") + ", " +
                                 std::to_string(std::thread::hardware_concurrency()) + " threads");
    report.Line("SIMD target", VectorTarget());
}

// --- Libraries

std::string FfmpegVersion(unsigned version) {
    return Format("%u.%u.%u", AV_VERSION_MAJOR(version), AV_VERSION_MINOR(version),
                  AV_VERSION_MICRO(version));
}

/// @return the licence switches of FFmpeg's configuration, and how many other libraries it was built with
std::string FfmpegConfiguration() {
    std::istringstream words(avutil_configuration());
    std::string switches;
    int libraries = 0;
    for (std::string word; words >> word;) {
        if (word == "--enable-gpl" || word == "--enable-version3" || word == "--enable-nonfree") {
            switches += word + " ";
        }
        libraries += word.rfind("--enable-lib", 0) == 0 ? 1 : 0;
    }
    return switches + Format("and %d further libraries", libraries);
}

/// FFmpeg is several libraries; they have to be of one build.
void DescribeFfmpeg(DoctorReport& report) {
    struct Part {
        const char* name;
        unsigned built;
        unsigned running;
    };
    const Part parts[] = {
        {"avformat", LIBAVFORMAT_VERSION_INT, avformat_version()},
        {"avcodec", LIBAVCODEC_VERSION_INT, avcodec_version()},
        {"avfilter", LIBAVFILTER_VERSION_INT, avfilter_version()},
        {"avutil", LIBAVUTIL_VERSION_INT, avutil_version()},
        {"swscale", LIBSWSCALE_VERSION_INT, swscale_version()},
        {"swresample", LIBSWRESAMPLE_VERSION_INT, swresample_version()},
    };
    std::string all;
    for (const Part& part : parts) {
        all += (all.empty() ? "" : ", ") + std::string(part.name) + " " + FfmpegVersion(part.running);
        if (AV_VERSION_MAJOR(part.built) != AV_VERSION_MAJOR(part.running)) {
            report.Fault(std::string("lib") + part.name + " " + FfmpegVersion(part.running) +
                             " was loaded, but kqplay was built with " + FfmpegVersion(part.built) + ".",
                         "Install the FFmpeg libraries that kqplay was built with, or build kqplay again.");
        }
    }
    report.Line("FFmpeg", av_version_info());
    report.Line("", all);
    report.Line("", std::string(avutil_license()) + "; " + FfmpegConfiguration());
}

/// An installed library's file is named after its version: libKQPlayer.so.1.0.0.
void CompareVersion(DoctorReport& report, const std::string& path) {
    static const std::regex versioned(".*\\.so\\.([0-9]+\\.[0-9]+\\.[0-9]+)");
    std::smatch match;
    if (std::regex_match(path, match, versioned) && match[1] != KQPLAY_VERSION) {
        report.Fault(path + " is of version " + match[1].str() + ", kqplay of " KQPLAY_VERSION ".",
                     "Remove the one that is out of date; its libraries are found before the others.");
    }
}

void DescribeFont(DoctorReport& report) {
    report.Line("FreeType", TextRenderer::Version());
    std::string error;
    const auto text = TextRenderer::Open(error);
    report.Line("font", text ? text->FontFile() : "none");
    if (!text) {
        report.Note("Nothing can be written on pictures and contact sheets: " + error + ".",
                    "Install a font that fontconfig finds.");
    }
}

void DescribeLibraries(DoctorReport& report) {
    constexpr const char* notLoaded = "not loaded as a library of its own";
    report.Section("Libraries");
    DescribeFfmpeg(report);
    SDL_version sdl;
    SDL_GetVersion(&sdl);
    report.Line("SDL", Format("%d.%d.%d", sdl.major, sdl.minor, sdl.patch));
    DescribeFont(report);
    for (const char* name : {"libKQPlayer", "libKQ_Com", "libKQ_Log", "libKQ_ImageProc"}) {
        const std::string path = PathOfLoaded(std::string(name) + ".so");
        report.Line(name, path.empty() ? notLoaded : path);
        CompareVersion(report, path);
    }
    for (const char* name : {"libopenal", "libavcodec"}) {
        const std::string path = PathOfLoaded(std::string(name) + ".so");
        report.Line(name, path.empty() ? notLoaded : path);
    }
}

void DescribeViewLibrary(DoctorReport& report, const ViewLibrary& views) {
    report.Line("PlayerView.so", views.Path().empty() ? "not found" : views.Path());
    if (views.Path().empty()) {
        std::string folders;
        for (const std::string& folder : kq::ViewLibraryFolders()) {
            folders += (folders.empty() ? "" : " or ") + folder;
        }
        report.Fault("PlayerView.so cannot be loaded: " + views.WhyNoView() + ".",
                     "Put the PlayerView.so of this version into " + folders +
                         ", or install KQPlayer again.");
    } else if (!views.LackingFunction().empty()) {
        report.Fault(views.WhyNoView() + ".",
                     "It is of another version or another maker: replace it by the one of this version.");
    }
}

// --- Display

struct DisplayCloser {
    void operator()(Display* display) const { XCloseDisplay(display); }
};

/// @return the extensions that a view draws with, and whether the server has them
std::string DrawingExtensions(Display* display, DoctorReport& report) {
    std::string text;
    for (const char* name : {"MIT-SHM", "RENDER", "Present", "DRI3"}) {
        int opcode = 0;
        int event = 0;
        int error = 0;
        const bool has = XQueryExtension(display, name, &opcode, &event, &error) == True;
        text += std::string(text.empty() ? "" : ", ") + name + (has ? " yes" : " no");
        if (!has && std::strcmp(name, "MIT-SHM") == 0) {
            report.Note(
                "The X server has no MIT-SHM: every picture goes through the connection, which is slow.",
                "Use a server on this machine with MIT-SHM if large pictures judder.");
        }
        if (!has && std::strcmp(name, "RENDER") == 0) {
            report.Note(
                "The X server has no RENDER: pictures are scaled by the processor, without smoothing.",
                "Use a server with RENDER.");
        }
    }
    return text;
}

bool IsTrueColour(Display* display) {
    XVisualInfo wanted = {};
    wanted.depth = 24;
    wanted.c_class = TrueColor;
    int count = 0;
    XVisualInfo* found = XGetVisualInfo(display, VisualDepthMask | VisualClassMask, &wanted, &count);
    XFree(found);
    return count > 0 && ImageByteOrder(display) == LSBFirst;
}

void DescribeWayland(DoctorReport& report) {
    const std::string name = Variable("WAYLAND_DISPLAY");
    report.Line("WAYLAND_DISPLAY", name.empty() ? "not set" : name);
    if (name.empty()) {
        report.Note("There is no display (neither DISPLAY nor WAYLAND_DISPLAY is set): pictures are shown "
                    "off-screen.",
                    "Start kqplay within a graphical session to see a window.");
        return;
    }
    std::string error;
    const bool isUsable = CheckWayland(error);
    report.Line("compositor", isUsable ? "has what windows need" : "cannot be used");
    if (!isUsable) {
        report.Note("There is no window on Wayland (" + error + "): pictures are shown off-screen.",
                    "Is the compositor running, and is XDG_RUNTIME_DIR that of its user? With Xwayland, set "
                    "DISPLAY.");
    }
}

/// @return true when there is an X server on which windows can be shown
bool DescribeDisplay(DoctorReport& report, const Options& options) {
    const std::string name = Variable("DISPLAY");
    report.Section("Display");
    report.Line("DISPLAY", name.empty() ? "not set" : name);
    if (!*Variable("DISPLAY")) {
        DescribeWayland(report);
        return false;
    }
    const std::unique_ptr<Display, DisplayCloser> display(XOpenDisplay(nullptr));
    if (!display) {
        report.Line("server", "cannot be reached");
        report.Note(
            "The X server of DISPLAY=" + name +
                " does not answer or refuses us: pictures are shown off-screen.",
            "Is the server running, and may this user use it (XAUTHORITY, xhost)? Otherwise unset or correct "
            "DISPLAY.");
        return false;
    }
    const int screen = DefaultScreen(display.get());
    report.Line("server",
                Format("%s, release %d", ServerVendor(display.get()), VendorRelease(display.get())));
    report.Line("screen", Format("%d x %d, %d bits", DisplayWidth(display.get(), screen),
                                 DisplayHeight(display.get(), screen), DefaultDepth(display.get(), screen)));
    report.Line("extensions", DrawingExtensions(display.get(), report));
    if (!IsTrueColour(display.get())) {
        report.Note("The screen has no 24-bit true colour: pictures are shown off-screen.",
                    "Let the X server run with a depth of 24 bits.");
        return false;
    }
    return !options.headless;
}

// --- Sound

void ExplainNoDevice(DoctorReport& report, const std::string& reason) {
    const std::string drivers = Variable("ALSOFT_DRIVERS");
    report.Line("device", "none");
    report.Note("There is no sound device (" + reason + "): files play without sound.",
                drivers.empty()
                    ? "Is a sound server (PipeWire, PulseAudio) running, or a sound card there, and may "
                      "this user use it (group audio)?"
                    : "ALSOFT_DRIVERS is set to '" + drivers +
                          "': unset it, unless OpenAL is to use nothing else.");
}

void JudgePeriod(DoctorReport& report, const AudioOutput& sound, bool configured) {
    if (sound.Period() <= longestPeriod) {
        return;
    }
    report.Note("The sound device moves in steps of " + Milliseconds(sound.Period()) +
                    ": pictures at 50 or 60 Hz come in pairs.",
                configured ? "Your settings for OpenAL Soft are used: set period_size = 256 there."
                           : "The device does not take the period of 256 sample frames that kqplay asks for; "
                             "another output may.");
}

/// Opens the device. @return true when there is sound
bool DescribeSound(DoctorReport& report, const Options& options, AudioOutput& sound, bool configured,
                   const ComponentOutput& output) {
    report.Section("Sound");
    if (options.audio == AudioTarget::Off) {
        report.Line("device", "left out (--no-audio)");
        return false;
    }
    report.Line("settings", configured ? "the user's (ALSOFT_CONF, ~/.alsoftrc or alsoft.conf)" : "kqplay's");
    if (*Variable("ALSOFT_DRIVERS")) {
        report.Line("ALSOFT_DRIVERS", Variable("ALSOFT_DRIVERS"));
    }
    std::string error;
    if (!sound.Open(48000, output, error)) {
        ExplainNoDevice(report, error);
        return false;
    }
    report.Line("device", sound.DeviceName());
    report.Line("OpenAL", std::string(alGetString(AL_VERSION)) + ", " + alGetString(AL_RENDERER));
    report.Line("rate, period", Format("%d Hz, %.0f sample frames (%s)", sound.Rate(),
                                       sound.Rate() * sound.Period(), Milliseconds(sound.Period()).c_str()));
    JudgePeriod(report, sound, configured);
    return true;
}

// --- Self-test

void JudgePictures(DoctorReport& report, const SelfTestResult& result) {
    if (result.shown < result.due) {
        report.Fault(Format("Only %d of %d pictures of the self-test were shown, or not in order.",
                            result.shown, result.due),
                     "Send this report, and a log of the same (--doctor --log FILE).");
    } else if (result.worstLate > visiblyLate) {
        report.Note("Pictures of the self-test came up to " + Milliseconds(result.worstLate) + " late.",
                    "The machine was busy: close other programs and look again. In a virtual machine or on a "
                    "remote display some of it stays.");
    }
}

void JudgeSound(DoctorReport& report, const SelfTestResult& result) {
    if (result.samplesTaken == 0) {
        report.Fault("The component did not take the sound of the self-test.",
                     "Send this report, and a log of the same (--doctor --log FILE).");
    } else if (!result.ended) {
        report.Fault("The sound device was opened, but its position stands still; pictures wait for it.",
                     "Restart the sound server, or choose another output. Until then: kqplay --no-audio.");
    }
}

/// @param sound the device, or null to play without
void TestItself(DoctorReport& report, ViewLibrary& views, bool inWindow, const AudioOutput* sound) {
    report.Section("Self-test");
    const SelfTestResult result = RunSelfTest(views, inWindow, sound != nullptr);
    if (!result.failure.empty()) {
        report.Line("result", "could not be made: " + result.failure);
        if (!views.Path().empty() && views.LackingFunction().empty()) {
            report.Fault("Nothing can be played: " + result.failure + ".", "Install KQPlayer again.");
        }
        return;
    }
    report.Line("shown", result.inWindow ? "in a window" : "off-screen");
    if (result.watched) {
        report.Line("pictures", Format("%d of %d in order", result.shown, result.due));
        report.Line("lateness", "median " + Milliseconds(result.medianLate) + ", worst " +
                                    Milliseconds(result.worstLate) + ", after the most punctual picture");
        JudgePictures(report, result);
    } else {
        report.Line("pictures", "not counted: this PlayerView.so hands none out");
    }
    report.Line("position", Format("moved by %.3f s within %.3f s", result.moved, result.passed));
    report.Line("paced by", sound ? "the sound" : "the wall clock");
    if (!sound) {
        return;
    }
    report.Line("sound", Format("%d sample frames taken", result.samplesTaken));
    JudgeSound(report, result);
}

} // namespace

ExitStatus RunDoctor(const Options& options) {
    ComponentOutput output;
    std::string error;
    const bool configured = AudioOutput::IsConfiguredByUser();
    AudioOutput sound;
    if (!output.Redirect(options.log, options.verbose, error) ||
        (options.audio != AudioTarget::Off && !sound.Configure(options, error))) {
        std::fprintf(stderr, "kqplay: %s\n", error.c_str());
        return ExitFailed;
    }
    DoctorReport report(output.Screen());
    ViewLibrary views;
    DescribeProgram(report);
    DescribeLibraries(report);
    DescribeViewLibrary(report, views);
    const bool window = DescribeDisplay(report, options);
    const bool heard = DescribeSound(report, options, sound, configured, output);
    TestItself(report, views, window, heard ? &sound : nullptr);
    return report.Conclude() ? ExitPlayed : ExitFailed;
}

} // namespace kqplay
