/// @file
/// One run of pictures through FFmpeg's filters.
#pragma once

#include "Handles.h"

#include <memory>
#include <string>

namespace kq::streams {

/// The pictures that go into a graph or come out of it.
struct PictureKind {
    int format = AV_PIX_FMT_YUV420P;
    int width = 0;
    int height = 0;
    AVRational sampleAspect{1, 1};
    double rate = 0; ///< frames per second
};

/// How much of what came before a picture must have passed the graph for that picture to come out right.
enum class FilterMemory {
    None,    ///< each picture is treated by itself
    Short,   ///< some neighbours
    Endless, ///< frames are counted from the first one, or nobody knows
};

/// A graph that is ready for pictures; it takes them once, from the first to the last. Used by one thread.
/// FFmpeg's messages go to the log in scope.
class FilterGraph {
public:
    enum class Pulled { Picture, NeedsInput, End };

    /// @param input the pictures to come; each says its matrix and range
    /// @param reason receives why it failed, unless FFmpeg's messages tell
    /// @return null when the graph is wrong
    static std::unique_ptr<FilterGraph> Build(const std::string& description, const PictureKind& input,
                                              std::string& reason);

    /// @return true when the picture has the size and format that the graph was built for
    bool Takes(const AVFrame& picture) const;
    /// @return false when a filter refuses the picture
    bool Push(FrameHandle picture, Ticks time, Ticks duration);
    /// There are no more pictures.
    void Finish();
    /// @param picture receives a picture; one with luma and chroma says which matrix it has
    Pulled Pull(AVFrame& picture);

    /// @return time of a picture that came out; AV_NOPTS_VALUE for none
    Ticks TimeOf(const AVFrame& picture) const;
    PictureKind Output() const;
    FilterMemory Memory() const { return m_memory; }

private:
    FilterGraph(const PictureKind& input) : m_input(input) {}

    int Connect(const std::string& description, std::string& reason);
    int AddEnds();

    const PictureKind m_input;
    GraphHandle m_graph;
    AVFilterContext* m_source = nullptr; ///< owned by the graph, like the sink
    AVFilterContext* m_sink = nullptr;
    FilterMemory m_memory = FilterMemory::Endless;
    Ticks m_end = 0; ///< of the picture that went in last
};

} // namespace kq::streams
