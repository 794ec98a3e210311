/// @file
/// Each vectorised loop of the PCM converter beside its plain version, on the sizes and samples of a trial.
#pragma once

#include "tests/image/Trial.h"

#include <string>

namespace kq::audio::test {

using image::test::Trial;

/// @return empty when all samples agree, otherwise where they differ
std::string CompareMixing(Trial& trial);
std::string CompareResampling(Trial& trial); ///< likewise
std::string CompareSums(Trial& trial);       ///< likewise

} // namespace kq::audio::test
