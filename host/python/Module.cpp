#include "Conversions.h"
#include "Frame.h"
#include "Interpreter.h"
#include "LogRelay.h"
#include "MeasuringBinding.h"
#include "MediaFileBinding.h"
#include "PlayerBinding.h"

#include <kqplayer/version.h>

PYBIND11_MODULE(_kqplayer, module) {
    using namespace kq::python;
    module.doc() = "The compiled part of kqplayer.";
    Watch(module);
    LogRelay::Begin();
    BindFrame(module);
    BindMediaFile(module);
    BindPlayer(module);
    BindConversions(module);
    BindMeasuring(module);
    module.attr("__version__") = std::to_string(KQPLAYER_VERSION_MAJOR) + "." +
                                 std::to_string(KQPLAYER_VERSION_MINOR) + "." +
                                 std::to_string(KQPLAYER_VERSION_PATCH);
}
