#include "ShapeWatch.h"

namespace kq::streams {

ShapeWatch::ShapeWatch(AVCodecID codec) {
    if (codec != AV_CODEC_ID_MPEG1VIDEO && codec != AV_CODEC_ID_MPEG2VIDEO) {
        return;
    }
    m_codec.reset(avcodec_alloc_context3(avcodec_find_decoder(codec)));
    m_parser.reset(av_parser_init(codec));
    if (m_parser) {
        m_parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    }
}

bool ShapeWatch::Changes(const AVPacket& packet) {
    // Only what can be decoded from has a sequence's header.
    if (!m_parser || !m_codec || (packet.flags & AV_PKT_FLAG_KEY) == 0) {
        return false;
    }
    std::uint8_t* data = nullptr;
    int size = 0;
    av_parser_parse2(m_parser.get(), m_codec.get(), &data, &size, packet.data, packet.size, packet.pts,
                     packet.dts, packet.pos);
    const std::tuple<int, int, int> shape = {m_parser->width, m_parser->height, m_parser->format};
    if (m_parser->width <= 0 || shape == m_shape) {
        return false;
    }
    const bool isFirst = m_shape == std::tuple<int, int, int>{};
    m_shape = shape;
    return !isFirst;
}

} // namespace kq::streams
