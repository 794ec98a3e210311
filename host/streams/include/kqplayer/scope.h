/// @file
/// Scopes of pictures: what an eye cannot measure.
#pragma once

#include <kqplayer/records.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kq::streams {

/// What a scope shows of a picture's samples, as they are in the picture: no range or matrix is applied. 10
/// bits are rounded to 8.
enum class ScopeKind {
    Waveform,    ///< luma from dark below to bright above, each column above the picture's
    Vectorscope, ///< Cb to the right and Cr upwards, grey in the middle
    Histogram,   ///< how often each value is there, from dark to bright: luma, Cb and Cr below each other
};

/// A drawn scope.
struct ScopePicture {
    int width = 0;                    ///< pixels
    int height = 0;                   ///< pixels
    std::vector<std::uint8_t> pixels; ///< B, G, R, 255, top-down, rows of 4 * width bytes
};

/// Draws one kind of scope through FFmpeg's filters, which it keeps from one picture to the next. Used by one
/// thread at a time; FFmpeg may use further ones meanwhile.
class Scope {
public:
    /// The sides of a drawn scope, in pixels; two of them stand for a value.
    static constexpr int side = 512;

    /// @param kind  what it is to show
    /// @param error receives why there is none: an FFmpeg without the filters
    /// @return null without the scope's filters
    static std::unique_ptr<Scope> Make(ScopeKind kind, std::string& error);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

    /// @param picture any that a view shows, planar or with chroma in pairs; held no longer than the call
    /// @param drawn   receives the scope; its memory is used again
    /// @return false for a picture that cannot be drawn
    bool Draw(const std::shared_ptr<const MEDIA_FRAME>& picture, ScopePicture& drawn);

private:
    struct Filters;

    explicit Scope(ScopeKind kind);
    bool Prepare(const MEDIA_FRAME& picture, std::string& error);

    const ScopeKind m_kind;
    std::unique_ptr<Filters> m_filters;
};

} // namespace kq::streams
