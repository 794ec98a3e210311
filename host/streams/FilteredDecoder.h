/// @file
/// A decoder's pictures after FFmpeg's filters.
#pragma once

#include "Decoder.h"
#include "FilterGraph.h"
#include "PictureConverter.h"

#include <atomic>
#include <deque>
#include <limits>
#include <memory>
#include <string>

namespace kq::streams {

/// Gives what a filter graph makes of the pictures of a decoder, which it turns upright and converts as far
/// as frames could not hold them. The graph is built anew for each seek, and where the pictures change their
/// size or layout.
class FilteredDecoder : public Decoder {
public:
    /// @param input the pictures as they are decoded and turned upright
    /// @param reason receives what is wrong with the graph
    /// @return null for a wrong graph
    static std::unique_ptr<FilteredDecoder> Open(std::unique_ptr<Decoder> inner, Orientation orientation,
                                                 const std::string& description, const PictureKind& input,
                                                 std::string& reason);

    bool Next(Decoded& frame) override;
    bool SeekAtOrBefore(Ticks time, Decoded& first, bool& nearest) override;
    bool ForwardIsShorter(Ticks from, Ticks to) const override;
    void LeaveOutBefore(Ticks /*time*/) override {} // the graph may need every picture
    bool Seekable() const override { return m_inner->Seekable(); }
    bool HasKeyFrames() const override { return false; }
    Ticks Tolerance() const override { return m_inner->Tolerance(); }
    const std::shared_ptr<FileLog>& Log() const override { return m_inner->Log(); }
    void Cancel() override { m_inner->Cancel(); }
    bool Cancelled() const override { return m_inner->Cancelled(); }
    void Interrupt(bool on) override {
        m_interrupted = on;
        m_inner->Interrupt(on);
    }
    bool Stops() const override { return Cancelled() || m_interrupted; }

    /// @return what came out of the graph when it was opened
    const PictureKind& Output() const { return m_output; }

private:
    static constexpr Ticks noTime = std::numeric_limits<Ticks>::min();

    FilteredDecoder(std::unique_ptr<Decoder> inner, Orientation orientation, std::string description,
                    const PictureKind& input, std::unique_ptr<FilterGraph> graph);

    bool NextUnfiltered(Decoded& frame);
    void Feed();
    void Push(Decoded picture);
    bool Rebuild(const PictureKind& input);
    bool StartAt(Ticks time);
    Ticks RunUp(Ticks time) const;
    void Stamp(Decoded& frame);

    const std::unique_ptr<Decoder> m_inner;
    PictureConverter m_converter;
    const std::string m_description;
    const PictureKind m_firstInput;
    PictureKind m_input; ///< of the present graph
    std::unique_ptr<FilterGraph> m_graph;
    const PictureKind m_output;
    const FilterMemory m_memory;

    std::deque<Decoded> m_ahead; ///< decoded already, and the next to be converted
    Decoded m_resized;           ///< converted, and waits for a graph of its size
    Ticks m_lastTime = noTime;   ///< of the picture given last since the start or a seek
    Ticks m_duration = 0;        ///< of one picture that comes out
    std::atomic<bool> m_interrupted{false};
};

} // namespace kq::streams
