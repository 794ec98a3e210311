#include "PlayerBinding.h"

#include "Frame.h"
#include "LogRelay.h"
#include "PlayerCore.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace kq::python {
namespace {

using Player = Holder<PlayerCore>;

/// A view, which lives with its player.
class View : public Owned {
public:
    View(std::shared_ptr<PlayerCore> player, ComPtr<IPlayerView> view)
        : m_player(std::move(player)), m_view(std::move(view)) {}

    void Close() override { m_view.Reset(); }
    IPlayerView& Get() const {
        if (m_player->IsClosed()) {
            throw Closed("the player of this view");
        }
        return *m_view.Get();
    }
    /// @return the picture of its stream as red, green and blue
    std::unique_ptr<CapturedPicture> Capture() const { return m_player->Capture(Get()); }
    ComPtr<IPlayerView2> Closer() const {
        auto closer = ComPtr<IPlayerView>::Share(&Get()).As<IPlayerView2>();
        if (!closer) {
            throw Error("this view library cannot show parts of a picture");
        }
        return closer;
    }

private:
    const std::shared_ptr<PlayerCore> m_player;
    ComPtr<IPlayerView> m_view;
};
using ViewHolder = Holder<View>;

/// An object of Python that any thread may let go.
using SharedObject = std::shared_ptr<PyObject>;

SharedObject Share(const py::object& object) {
    return {object.inc_ref().ptr(), [](PyObject* held) {
                if (!IsEnding()) {
                    const Locked locked;
                    Py_DECREF(held);
                }
            }};
}

std::unique_ptr<Player> Open(const py::object& path, bool sound, int soundTrack, const std::string& filter) {
    PlayerCore::Setup setup;
    setup.path = PathOf(path);
    setup.sound = sound;
    setup.soundTrack = soundTrack;
    setup.filter = filter;
    setup.log = [](const std::string& line) { LogRelay::Warn(line); };
    std::shared_ptr<PlayerCore> core;
    {
        const Unlocked unlocked;
        core = PlayerCore::Open(setup);
    }
    return std::make_unique<Player>(std::move(core));
}

/// @param told weak reference on who is told: a strong one would keep a player for ever that nobody holds
void Listen(const Player& player, const py::weakref& told) {
    const SharedObject listener = Share(told);
    const auto call = [listener](const char* name, auto... arguments) {
        const auto target = py::reinterpret_borrow<py::object>(PyWeakref_GetObject(listener.get()));
        if (!target.is_none()) {
            target.attr(name)(arguments...);
        }
    };
    PlayerCore::Listener calls;
    calls.onPosition = [call](double position) { call("_tell_position", position); };
    calls.onEnd = [call] { call("_tell_end"); };
    const auto& core = player.Get();
    const Unlocked unlocked;
    core->Listen(std::move(calls));
}

/// Calls the component with the interpreter's lock given back.
template <class Call>
auto Without(const Player& player, Call call) {
    const auto& core = player.Get();
    const Unlocked unlocked;
    return call(*core);
}

template <class Result, class... Arguments>
auto Forward(Result (PlayerCore::*method)(Arguments...) const) {
    return [method](const Player& player, Arguments... arguments) {
        return Without(player, [&](PlayerCore& core) { return (core.*method)(arguments...); });
    };
}

template <class Result, class... Arguments>
auto Forward(Result (PlayerCore::*method)(Arguments...)) {
    return [method](const Player& player, Arguments... arguments) {
        return Without(player, [&](PlayerCore& core) { return (core.*method)(arguments...); });
    };
}

std::unique_ptr<ViewHolder> AddView(const Player& player, const py::object& window,
                                    const std::array<int, 4>& rect, const py::object& path,
                                    const std::string& filter) {
    void* parent = nullptr;
    if (py::isinstance<py::str>(window)) {
        parent = OffScreenParent();
    } else if (!window.is_none()) {
        parent = reinterpret_cast<void*>(window.cast<std::uintptr_t>());
    }
    const std::string file = path.is_none() ? std::string() : PathOf(path);
    const tagRECT place{rect[0], rect[1], rect[0] + rect[2], rect[1] + rect[3]};
    auto view = Without(player, [&](PlayerCore& core) { return core.AddView(parent, place, file, filter); });
    return std::make_unique<ViewHolder>(std::make_shared<View>(player.Get(), std::move(view)));
}

/// Waits, and lets signal handlers run meanwhile.
bool WaitForEnd(const Player& player, const std::optional<double>& seconds) {
    constexpr int slice = 50;
    const auto begin = std::chrono::steady_clock::now();
    while (true) {
        int milliseconds = slice;
        if (seconds) {
            const std::chrono::duration<double, std::milli> gone = std::chrono::steady_clock::now() - begin;
            milliseconds = static_cast<int>(std::clamp(*seconds * 1000 - gone.count(), 0.0, slice * 1.0));
        }
        if (Without(player, [&](PlayerCore& core) { return core.WaitForEnd(milliseconds); })) {
            return true;
        }
        CheckSignals();
        if (seconds && milliseconds < slice) {
            return false;
        }
    }
}

std::shared_ptr<Frame> Picture(const Player& player) {
    const streams::KeptPicture kept = Without(player, [](PlayerCore& core) {
        core.Count();
        return core.Picture();
    });
    return kept.frame ? std::make_shared<Frame>(kept.frame, kept.place, nullptr) : nullptr;
}

py::object Number(const Player& player) {
    const std::int64_t number = Without(player, [](PlayerCore& core) { return core.Number(); });
    return number < 0 ? py::object(py::none()) : py::object(py::int_(number));
}

void Show(const ViewHolder& view, const std::optional<std::array<double, 4>>& part, int scaling,
          int placement) {
    KQViewDisplay display{};
    if (part) {
        display.source = {(*part)[0], (*part)[1], (*part)[0] + (*part)[2], (*part)[1] + (*part)[3]};
    }
    display.nScaling = scaling;
    display.nResize = placement;
    const auto& core = view.Get();
    std::int32_t result = 0;
    {
        const Unlocked unlocked;
        result = core->Closer()->SetDisplay(&display);
    }
    if (result != Ok) {
        throw py::value_error("this part of a picture cannot be shown");
    }
}

py::array Rgb(const ViewHolder& view) {
    const auto& core = view.Get();
    std::unique_ptr<CapturedPicture> captured;
    {
        const Unlocked unlocked;
        captured = core->Capture();
    }
    const KQPicture& picture = **captured;
    const py::capsule base(captured.release(),
                           [](void* held) { delete static_cast<CapturedPicture*>(held); });
    const py::ssize_t pitch = picture.nPitch;
    return py::array(py::dtype::of<std::uint8_t>(),
                     {py::ssize_t{picture.nHeight}, py::ssize_t{picture.nWidth}, py::ssize_t{3}},
                     {pitch, py::ssize_t{3}, py::ssize_t{1}}, picture.pPixels, base);
}

template <class Map>
py::object Mapped(const ViewHolder& view, Map map) {
    const auto& core = view.Get();
    KQPointF point{};
    bool isMapped = false;
    {
        const Unlocked unlocked;
        isMapped = map(*core->Closer().Get(), &point) == Ok;
    }
    return isMapped ? py::object(py::make_tuple(point.x, point.y)) : py::object(py::none());
}

} // namespace

void BindPlayer(py::module_& module) {
    py::class_<ViewHolder>(module, "_View")
        .def_property_readonly("window",
                               [](const ViewHolder& view) {
                                   const auto& core = view.Get();
                                   const Unlocked unlocked;
                                   return reinterpret_cast<std::uintptr_t>(core->Get().GetWND());
                               })
        .def("show", &Show)
        .def("rgb", &Rgb)
        .def("to_picture",
             [](const ViewHolder& view, double x, double y) {
                 return Mapped(view, [=](IPlayerView2& to, KQPointF* point) {
                     return to.WindowToPicture(x, y, point);
                 });
             })
        .def("to_window", [](const ViewHolder& view, double x, double y) {
            return Mapped(view,
                          [=](IPlayerView2& to, KQPointF* point) { return to.PictureToWindow(x, y, point); });
        });
    py::class_<Player>(module, "_Player")
        .def(py::init(&Open))
        .def("listen", &Listen)
        .def("add_view", &AddView)
        .def("close", Forward(&PlayerCore::Close))
        .def("play", Forward(&PlayerCore::Play))
        .def("pause", Forward(&PlayerCore::Pause))
        .def("stop", Forward(&PlayerCore::Stop))
        .def("load", Forward(&PlayerCore::Load))
        .def("seek", Forward(&PlayerCore::Seek))
        .def("seek_picture", Forward(&PlayerCore::SeekPicture))
        .def("step", Forward(&PlayerCore::Step))
        .def("set_rate", Forward(&PlayerCore::SetRate))
        .def("set_range", Forward(&PlayerCore::SetRange))
        .def("wait", &WaitForEnd)
        .def("picture", &Picture)
        .def("number", &Number)
        .def("rate", Forward(&PlayerCore::Rate))
        .def("activity",
             [](const Player& player) {
                 return Without(player,
                                [](PlayerCore& core) { return core.IsClosed() ? 0 : core.Activity(); });
             })
        .def("set_volume", Forward(&PlayerCore::SetVolume))
        .def("volume", Forward(&PlayerCore::Volume))
        .def("set_muted", Forward(&PlayerCore::SetMuted))
        .def("is_muted", Forward(&PlayerCore::IsMuted))
        .def("count", Forward(&PlayerCore::Count))
        .def("position", Forward(&PlayerCore::Position))
        .def("length", [](const Player& player) { return player.Get()->Facts().duration; })
        .def("picture_rate", [](const Player& player) { return player.Get()->Facts().frameRate; })
        .def("is_closed", [](const Player& player) { return player.Raw().IsClosed(); });
}

} // namespace kq::python
