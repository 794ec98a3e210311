/// @file
/// Streams whose pictures become others half way.
#pragma once

#include "Handles.h"

#include <tuple>

namespace kq::streams {

/// Looks for places where MPEG-1 and MPEG-2 pictures get another size or another layout of their chroma, as
/// where two recordings were joined. FFmpeg's decoder loses the picture before, and does not notice the
/// chroma at all or keeps it for what a seek leads to: it has to be emptied and opened anew there.
class ShapeWatch {
public:
    /// @param codec of the stream; others than the two need no watch
    explicit ShapeWatch(AVCodecID codec);

    /// @return true when the pictures from this packet on have another shape than those of the packets before
    bool Changes(const AVPacket& packet);

private:
    struct ParserDeleter {
        void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
    };

    std::unique_ptr<AVCodecParserContext, ParserDeleter> m_parser;
    CodecHandle m_codec;               ///< the parser writes there
    std::tuple<int, int, int> m_shape; ///< width, height and format; 0 before the first picture
};

} // namespace kq::streams
