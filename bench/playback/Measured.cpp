#include "Measured.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace bench {
namespace {

fs::path OwnFolder() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

double Now() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

[[noreturn]] void Become(const std::vector<std::string>& command) {
    const int nowhere = open("/dev/null", O_RDWR);
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nowhere, fd);
    std::vector<char*> arguments;
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

int g_screen = STDOUT_FILENO;

} // namespace

void PrintTo(int fd) {
    g_screen = fd;
}

void Print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vdprintf(g_screen, format, arguments);
    va_end(arguments);
}

pid_t Begin(const std::vector<std::string>& command) {
    const pid_t child = fork();
    if (child == 0)
        Become(command);
    return child;
}

Usage Run(const std::vector<std::string>& command) {
    Usage usage;
    const double start = Now();
    const pid_t child = Begin(command);
    int status = 0;
    rusage resources = {};
    if (child < 0 || wait4(child, &status, 0, &resources) != child)
        return usage;
    usage.ran = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    usage.elapsed = Now() - start;
    usage.processor = Seconds(resources.ru_utime) + Seconds(resources.ru_stime);
    usage.peak = static_cast<double>(resources.ru_maxrss) / 1024;
    return usage;
}

double ProcessorTimeOf(pid_t process) {
    constexpr int fieldsBefore = 13; // of the times of user and system
    std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
    std::string ignored;
    for (int i = 0; i < fieldsBefore; ++i) {
        stat >> ignored;
    }
    double user = 0;
    double system = 0;
    stat >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

bool IsInstalled(const std::string& program) {
    return Run({program, "--version"}).ran || Run({program, "-version"}).ran;
}

std::string Kqplay() {
    return (OwnFolder() / "kqplay").string();
}

std::string Scratch(const std::string& name) {
    const fs::path folder = OwnFolder().parent_path() / "clips" / "bench";
    fs::create_directories(folder);
    return (folder / name).string();
}

std::string MakeClip(const std::string& name, const std::vector<std::string>& options) {
    const std::string clip = Scratch(name);
    if (fs::exists(clip))
        return clip;
    const std::string unfinished = Scratch("new-" + name);
    std::vector<std::string> command = {"ffmpeg", "-v", "error", "-nostdin", "-y"};
    command.insert(command.end(), options.begin(), options.end());
    command.push_back(unfinished);
    if (!Run(command).ran)
        throw std::runtime_error("ffmpeg could not make " + name);
    fs::rename(unfinished, clip);
    return clip;
}

std::vector<double> PictureTimes(const std::string& path, int view) {
    const std::string event = "\"ev\":\"picture\",\"view\":" + std::to_string(view) + ",";
    std::vector<double> times;
    std::ifstream trace(path);
    for (std::string line; std::getline(trace, line);) {
        long long time = 0;
        const bool isPicture = line.find(event) != std::string::npos;
        if (isPicture && std::sscanf(line.c_str(), "{\"t_us\":%lld", &time) == 1) {
            times.push_back(static_cast<double>(time) / 1000);
        }
    }
    if (!times.empty()) {
        times.pop_back();
    }
    return times;
}

std::string FlashClip(int seconds, int pictures) {
    const std::string flash = std::to_string(pictures * 16), beep = std::to_string(pictures * 20);
    return MakeClip("flashes-" + std::to_string(seconds) + "-" + std::to_string(pictures) + ".mkv",
                    {"-f", "lavfi", "-i",
                     "color=black:size=320x180:rate=60,drawbox=enable='lt(mod(t,1)*1000," + flash +
                         ")':color=white:t=fill",
                     "-f", "lavfi", "-i",
                     "aevalsrc='if(lt(mod(t,1)*1000," + beep + "),0.8*cos(2*PI*1000*t),0)':s=48000", "-t",
                     std::to_string(seconds), "-c:v", "libx264", "-pix_fmt", "yuv420p", "-ac", "2", "-c:a",
                     "pcm_s16le"});
}

std::string Clip1080p25(int gop) {
    return MakeClip("1080p25-" + std::to_string(gop) + ".mp4",
                    {"-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=25:duration=20,noise=alls=6:allf=t",
                     "-c:v", "libx264", "-preset", "veryfast", "-crf", "23", "-pix_fmt", "yuv420p",
                     "-x264-params", "bframes=3:scenecut=0:keyint=" + std::to_string(gop)});
}

Pairs PairUp(const std::vector<double>& flashes, const std::vector<double>& beeps, double farApart) {
    Pairs pairs;
    for (const double flash : flashes) {
        const auto nearer = [flash](double a, double b) { return std::abs(a - flash) < std::abs(b - flash); };
        const auto beep = std::min_element(beeps.begin(), beeps.end(), nearer);
        if (beep == beeps.end() || std::abs(*beep - flash) > farApart) {
            ++pairs.missed;
        } else {
            pairs.offsets.push_back(flash - *beep);
        }
    }
    return pairs;
}

double Percentile(std::vector<double> values, double share) {
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
}

} // namespace bench
