/// @file
/// PCM conversion: channel layout, sample rate and mixing of interleaved signed 16-bit samples.
///
/// A sample is one 16-bit value, a frame one sample a channel. All sizes count samples.
#pragma once

#include "export.h"

/// Converts interleaved 16-bit PCM from one channel layout and rate to another and queues the result.
///
/// Channels are remixed first: any layout of 1 to 8 channels to 1, 2 or 6 channels by fixed integer rules,
/// equal counts unchanged; any other pair gives silence of as many samples as went in. The rate is then
/// converted by linear interpolation. Blocks of any size join without a seam: the last frame and the rounding
/// remainder of a block are kept for the next one.
///
/// Rates of 1 to 16,777,216 Hz and queues of up to 67,108,864 samples are served. What lies beyond (or finds
/// no memory) is refused: the call queues nothing and leaves the converter as it was. No operation throws or
/// reports an error otherwise. An object is used from one thread at a time; different objects are
/// independent.
///
/// Cost: equal rates cost about a copy of the samples; Get() moves what stays in the queue to its front.
class KQ_API CAudioConverter {
public:
    /// @param nInChannels    channels of what is put, 1 to 8
    /// @param nOutChannels   channels of what is got
    /// @param nInSampleRate  Hz
    /// @param nOutSampleRate Hz
    /// @param nBufferSize    samples that the queue holds before it grows; 0 (or less) for 262,144
    CAudioConverter(int nInChannels, int nOutChannels, int nInSampleRate, int nOutSampleRate,
                    int nBufferSize);
    ~CAudioConverter();
    CAudioConverter(const CAudioConverter&) = delete;
    CAudioConverter& operator=(const CAudioConverter&) = delete;

    /// Converts nSamples samples and appends the result to the queue, which grows as needed.
    /// @return the number of queued samples
    int Put(const short* pData, int nSamples);
    /// The conversion behind Put(): appends to the queue without counting the samples as queued.
    /// @return the number of appended samples
    int ConvertData(const short* pData, int nSamples);
    /// Takes up to nSamples samples out of the queue.
    /// @return how many were taken
    int Get(short* pData, int nSamples);

    int GetFreeSize() const;  ///< samples that fit before the queue grows
    int GetValidSize() const; ///< queued samples
    /// Empties the queue. The remainder and the last frame of the previous block stay.
    void Reset();

    int GetInputChannels();   ///< as given at construction
    int GetInputSampleRate(); ///< Hz, as given at construction

private:
    KQ_LOCAL bool Grow(double capacity);
    KQ_LOCAL bool MakeRoom(double workSamples, double outSamples);
    KQ_LOCAL short* Block() const;
    KQ_LOCAL void KeepHistory(const short* pMixed, int nLength);

    short* m_pOutBuf;
    short* m_pWorkBuf;
    int m_nBufSize;
    int m_nValidSize;
    int m_nInChannels;
    int m_nOutChannels;
    int m_nInSampleRate;
    int m_nOutSampleRate;
    double m_dFraction;
};

/// Mixes mono sample arrays into one. A sum outside the 16-bit range is limited to 32767 or -32767 and lowers
/// the gain to what would have kept it in range; the gain then recovers by nInputs / 441,000 a sample. It
/// starts at 1 with every call.
/// @param ppInputs the arrays
/// @param nInputs  how many there are
/// @param nSamples length of each
/// @param pOut     receives nSamples samples; may be one of the inputs
KQ_API void IntermixAudio(short** ppInputs, int nInputs, int nSamples, short* pOut);
