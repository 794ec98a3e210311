/// @file
/// The sound of an audio stream.
#pragma once

#include "FrameSource.h"
#include "SampleConverter.h"
#include "StreamDecoder.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace kq::streams {

/// @return a frame of interleaved samples that begins at a time
FramePtr MakeSoundFrame(Ticks time, std::vector<std::int16_t> samples, int rate, std::size_t channels);

/// Decodes sound into chunks of 20 ms or more, at most 4,096 sample frames.
///
/// The player tells the time by the sound that was heard, so the chunks follow each other without holes:
/// where the file has no sound (before its first sample, in gaps, for a seek behind its last sample while the
/// video goes on) there is silence. A seek lands on the sample.
class AudioSource : public FrameSource {
public:
    /// @param channels of the output, see OutputChannels()
    /// @param fileEnd  end of the longest stream of the file; 0 for unknown
    AudioSource(std::unique_ptr<StreamDecoder> decoder, int rate, int channels, Ticks fileEnd);

    FramePtr Next() override;
    Landing Seek(Ticks time, bool exact) override;
    Ticks Tolerance() const override;
    FramePtr From(FramePtr frame, Ticks time) const override;
    void Notice(const std::string& text) const override;
    void Cancel() override;

private:
    bool NextDecoded(Decoded& sound);
    bool Take(Decoded sound);
    void StartAt(Ticks time);
    FramePtr Give(std::size_t count);
    FramePtr GoForward(Ticks time);
    std::size_t Filled() const { return m_samples.size() / m_channels; }
    Ticks ToTicks(std::int64_t sampleFrames) const;
    std::int64_t ToSampleFrames(Ticks time) const;
    Ticks TimeOf(std::size_t filled) const;

    const std::unique_ptr<StreamDecoder> m_decoder;
    SampleConverter m_converter;
    const std::size_t m_channels;
    const Ticks m_fileEnd;

    std::vector<std::int16_t> m_samples; ///< converted and not yet given
    Ticks m_anchor = 0;                  ///< time that the samples are counted from
    std::int64_t m_given = 0;            ///< sample frames given since
    std::int64_t m_silence = 0;          ///< sample frames of silence owed before the next decoded sound
    Ticks m_skipTo = 0;                  ///< sound before this time is passed over
    bool m_unsteady = false;             ///< time stamps went back
    bool m_fresh = true;                 ///< nothing given or filled since the start or a seek
    std::optional<Decoded> m_ahead;      ///< decoded already, and the next to be taken
    FramePtr m_last;                     ///< the chunk given last
};

} // namespace kq::streams
