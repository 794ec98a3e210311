/// @file
/// How the pictures of a film change.
#pragma once

#include <kqplayer/media_file.h>

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace kq::compare {

/// A picture made very small: the mean luma of its parts, without its brightness and contrast.
struct Thumbnail {
    static constexpr int columns = 16;
    static constexpr int rows = 12;
    static constexpr std::size_t count = std::size_t{columns} * rows; ///< of parts, row by row

    double time = 0; ///< seconds in the file
    std::array<float, count> parts{};
};

/// @return the small picture of a frame, all 0 for one of a single colour
Thumbnail Shrink(const MEDIA_FRAME& frame, double time);

/// Reads the small pictures of a part of a film.
/// @param video     a stream of OpenMediaFile()
/// @param from,to   seconds
/// @param isStopped asked with every picture; may be empty
/// @return fewer where the film has no more
std::vector<Thumbnail> ReadThumbnails(IMediaStream& video, double from, double to,
                                      const std::function<bool()>& isStopped);

/// Tells how alike two films change, for shifts that follow each other.
/// @param reference at least two pictures
/// @param other     at least two
/// @param first     the lowest shift in seconds: what the other shows at t + shift is compared with t
/// @param step      seconds from one shift to the next
/// @param count     of shifts
/// @return by shift, -1 to 1; 0 where too little of the two lies at the same time
std::vector<double> CompareChanges(const std::vector<Thumbnail>& reference,
                                   const std::vector<Thumbnail>& other, double first, double step,
                                   std::size_t count);

} // namespace kq::compare
