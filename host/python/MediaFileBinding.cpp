#include "MediaFileBinding.h"

#include "Frame.h"
#include "LogRelay.h"
#include "Walk.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

namespace kq::python {
namespace {

using File = Holder<FileCore>;
using Iterator = Holder<Walk>;
using SharedFrame = std::shared_ptr<Frame>;

/// The decoder's threads wait for rows of each other's pictures: two a core keep the cores busy.
int ThreadsFor(int asked) {
    constexpr int most = 8;
    return asked > 0 ? asked : std::clamp(2 * static_cast<int>(std::thread::hardware_concurrency()), 1, most);
}

std::unique_ptr<File> Open(const py::object& path, int threads, int soundTrack) {
    streams::OpenOptions options;
    options.decoderThreads = ThreadsFor(threads);
    options.audioTrack = soundTrack;
    options.log = [](const std::string& line) { LogRelay::Warn(line); };
    const std::string name = PathOf(path);
    std::shared_ptr<FileCore> core;
    {
        const Unlocked unlocked;
        core = FileCore::Open(name, options);
    }
    return std::make_unique<File>(std::move(core));
}

std::int64_t Count(const FileCore& core) {
    const Unlocked unlocked;
    return core.Numbers()->Count();
}

std::size_t Length(const File& file) {
    const std::int64_t count = Count(*file.Get());
    if (count < 0) {
        throw py::type_error("this input can be read only once: nobody knows its number of pictures");
    }
    return static_cast<std::size_t>(count);
}

SharedFrame Picture(const File& file, std::int64_t number) {
    auto& core = *file.Get();
    SharedFrame frame;
    {
        const Unlocked unlocked;
        const std::int64_t wanted = number < 0 ? number + core.Numbers()->Count() : number;
        const FramePtr picture = wanted < 0 ? nullptr : core.Picture(wanted);
        frame = picture ? Frame::Of(picture, wanted, core) : nullptr;
    }
    if (!frame) {
        throw py::index_error("the file has no picture " + std::to_string(number));
    }
    return frame;
}

std::unique_ptr<Iterator> Range(const File& file, const py::slice& slice) {
    const auto& core = file.Get();
    std::int64_t begin = 0;
    std::int64_t step = 1;
    std::optional<std::int64_t> end;
    const auto part = [&slice](const char* name) { return py::object(slice.attr(name)); };
    const auto isForward = [&](const char* name) {
        return part(name).is_none() || part(name).cast<std::int64_t>() >= 0;
    };
    if (isForward("start") && isForward("stop") && !part("stop").is_none() &&
        (part("step").is_none() || part("step").cast<std::int64_t>() > 0)) {
        // Nobody has to know how many there are.
        begin = part("start").is_none() ? 0 : part("start").cast<std::int64_t>();
        end = part("stop").cast<std::int64_t>();
        step = part("step").is_none() ? 1 : part("step").cast<std::int64_t>();
    } else {
        py::ssize_t first = 0;
        py::ssize_t last = 0;
        py::ssize_t stride = 0;
        py::ssize_t length = 0;
        if (!slice.compute(static_cast<py::ssize_t>(Length(file)), &first, &last, &stride, &length)) {
            throw py::error_already_set();
        }
        begin = first;
        end = last;
        step = stride;
    }
    std::shared_ptr<Walk> walk;
    {
        const Unlocked unlocked;
        core->Numbers();
        walk = std::make_shared<Walk>(core, begin, end, step);
    }
    return std::make_unique<Iterator>(std::move(walk));
}

std::unique_ptr<Iterator> Iterate(const File& file) {
    const auto& core = file.Get();
    if (core->IsClosed()) {
        throw Closed("the file");
    }
    core->Numbers();
    return std::make_unique<Iterator>(std::make_shared<Walk>(core, 0, std::nullopt, 1));
}

SharedFrame NextOf(const Iterator& iterator) {
    const auto& walk = iterator.Get();
    SharedFrame frame;
    {
        const Unlocked unlocked;
        const WalkStep step = walk->Next();
        frame = step.frame ? Frame::Of(step.frame, step.number, *walk->File()) : nullptr;
    }
    if (!frame) {
        throw py::stop_iteration();
    }
    return frame;
}

SharedFrame PictureAt(const File& file, double seconds) {
    const auto& core = file.Get();
    if (!(seconds >= 0)) {
        throw py::value_error("times count from 0 on");
    }
    SharedFrame frame;
    {
        const Unlocked unlocked;
        const FramePtr picture = core->PictureAt(seconds);
        frame = picture ? Frame::Of(picture, -1, *core) : nullptr;
    }
    if (!frame) {
        throw Error(core->Path() + ": there is no picture at this time");
    }
    return frame;
}

py::array_t<std::int16_t> Sound(const File& file, double begin, const std::optional<double>& end) {
    const double last = end.value_or(std::numeric_limits<double>::infinity());
    if (!(begin >= 0) || !(last >= begin)) {
        throw py::value_error(
            "a range of sound goes from a begin of 0 or later to an end that is not before it");
    }
    const auto& core = file.Get();
    auto sound = std::make_unique<FileCore::Sound>();
    {
        const Unlocked unlocked;
        *sound = core->ReadSound(begin, last);
    }
    const auto channels = static_cast<py::ssize_t>(sound->channels);
    const auto samples = static_cast<py::ssize_t>(sound->samples.size()) / channels;
    const std::int16_t* const data = sound->samples.data();
    const py::capsule base(sound.release(), [](void* held) { delete static_cast<FileCore::Sound*>(held); });
    return py::array_t<std::int16_t>({samples, channels}, data, base);
}

FileCore::SoundFormat SoundFormat(const File& file) {
    const auto& core = file.Get();
    const Unlocked unlocked;
    return core->FormatOfSound();
}

void Close(const File& file) {
    const auto& core = file.Get();
    const Unlocked unlocked;
    core->Close();
}

std::string Describe(const File& file) {
    const FileCore& core = file.Raw();
    return "<kqplayer.MediaFile '" + core.Path() + "'" + (core.IsClosed() ? ", closed>" : ">");
}

} // namespace

void BindMediaFile(py::module_& module) {
    py::class_<Iterator>(module, "FrameIterator",
                         "Gives the pictures of a file in order; has a decoder of its own.")
        .def("__iter__", [](py::object self) { return self; })
        .def("__next__", &NextOf);

    const auto facts = [](auto member) {
        return [member](const File& file) { return file.Get()->Facts().*member; };
    };
    using Facts = streams::MediaFacts;
    py::class_<File>(module, "MediaFile", R"(An open media file: a sequence of its pictures, and its sound.

Made by kqplayer.open(). Numbers count from 0 in order of time, times are seconds from the file's
start. Any thread may use it; the interpreter goes on with others while a call waits. It is a context
manager, and closes itself with its last reference.

>>> with kqplayer.open(clip) as file:
...     print(len(file), file.rate, file.width, file.height)
100 25.0 160 120)")
        .def("__len__", &Length,
             "Number of its pictures. Waits until the file's packets have been read, without decoding them.")
        .def("__getitem__", &Picture, py::arg("number"),
             R"(The picture with a number; a negative one counts from the end. Exact, whatever the codec.

Raises IndexError when there is none, kqplayer.Error when it is damaged. A slice gives an iterator:

>>> [frame.number for frame in kqplayer.open(clip)[::25]]
[0, 25, 50, 75])")
        .def("__getitem__", &Range, py::arg("slice"))
        .def(
            "__iter__", &Iterate,
            R"(Gives the pictures in order. Damaged ones are passed over, with a line in the log. Several loops
over one file, and pictures that are fetched by number meanwhile, do not hinder each other.

>>> sum(1 for frame in kqplayer.open(clip))
100)")
        .def("at", &PictureAt, py::arg("seconds"),
             R"(The picture on show at a time, the last one behind the end.

>>> kqplayer.open(clip).at(1.5).number
37)")
        .def("sound", &Sound, py::arg("begin") = 0.0, py::arg("end") = py::none(),
             R"(The sound from a time to another (to the end for None) as an array of int16 and shape
(samples, channels), exact to the sample. There is silence where the file has none within the range;
behind the end of the sound the array ends.

>>> file = kqplayer.open(clip)
>>> file.sound(0.5, 1.0).shape, file.sample_rate
((22050, 1), 44100))")
        .def("close", &Close, "Closes the file. Frames and arrays stay. Closing twice is no error.")
        .def("__enter__", [](py::object self) { return self; })
        .def("__exit__", [](const File& file, const py::args&) { Close(file); })
        .def("__repr__", &Describe)
        .def_property_readonly(
            "closed", [](const File& file) { return file.Raw().IsClosed(); }, "Whether it is closed.")
        .def_property_readonly(
            "path",
            [](const File& file) {
                return py::module_::import("os").attr("fsdecode")(py::bytes(file.Raw().Path()));
            },
            "As it was opened.")
        .def_property_readonly(
            "has_video", [](const File& file) { return file.Get()->HasVideo(); }, "Whether it has pictures.")
        .def_property_readonly(
            "has_sound", [](const File& file) { return file.Get()->HasSound(); }, "Whether it has sound.")
        .def_property_readonly("width", facts(&Facts::width), "Columns of the pictures, as they are shown.")
        .def_property_readonly("height", facts(&Facts::height), "Rows.")
        .def_property_readonly("rate", facts(&Facts::frameRate),
                               "Pictures a second; an average where it varies.")
        .def_property_readonly("duration", facts(&Facts::duration),
                               "Seconds, as the file tells; 0.0 for unknown.")
        .def_property_readonly("container", facts(&Facts::container), "FFmpeg's names of the container.")
        .def_property_readonly("video_codec", facts(&Facts::videoCodec),
                               "Codec and profile of the pictures; '' without.")
        .def_property_readonly("pixel_format", facts(&Facts::pixelFormat),
                               "FFmpeg's name of the pictures' layout in the file.")
        .def_property_readonly("sound_tracks", facts(&Facts::audioTracks), "A line about each sound track.")
        .def_property_readonly(
            "sample_rate", [](const File& file) { return SoundFormat(file).rate; },
            "Samples a second of sound().")
        .def_property_readonly(
            "channels", [](const File& file) { return SoundFormat(file).channels; }, "Channels of sound().");

    module.def("open", &Open, py::arg("path"), py::kw_only(), py::arg("threads") = 0,
               py::arg("sound_track") = 0,
               R"(Opens a media file for its pictures and its sound.

path: a name, a pathlib.Path, or whatever else FFmpeg opens.
threads: of the decoder; 0 for two a core, eight at most.
sound_track: which sound, counted from 1; 0 for the best.

Raises kqplayer.Error with a line that names the file and the reason.

>>> kqplayer.open('missing.mp4')
Traceback (most recent call last):
    ...
kqplayer.Error: missing.mp4: No such file or directory)");
}

} // namespace kq::python
