#include "PictureMemory.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <mutex>

namespace kq::streams {
namespace {

/// Planes begin at multiples of this, which the widest instructions ask for.
constexpr std::size_t alignment = 64;
/// Decoders may write and read a little beyond a plane.
constexpr std::size_t margin = 64;
/// Blocks from this size on come from the system, so that they go back there.
constexpr std::size_t large = std::size_t{1} << 20;
/// So much, or so many blocks, are kept for the pictures to come.
constexpr std::size_t mostFree = std::size_t{16} << 20;
constexpr std::size_t fewFree = 4;

struct Block {
    std::uint8_t* data = nullptr;
    std::size_t bytes = 0;
};

Block Allocate(std::size_t bytes) {
    if (bytes < large) {
        return {static_cast<std::uint8_t*>(av_malloc(bytes)), bytes};
    }
    void* data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return {data == MAP_FAILED ? nullptr : static_cast<std::uint8_t*>(data), bytes};
}

void Free(const Block& block) {
    if (block.bytes < large) {
        av_free(block.data);
    } else {
        munmap(block.data, block.bytes);
    }
}

/// Blocks that nobody uses. Any thread.
class Stock {
public:
    Block Take(std::size_t bytes) {
        {
            const std::lock_guard guard(m_lock);
            const auto found = std::find_if(m_free.begin(), m_free.end(),
                                            [bytes](const Block& block) { return block.bytes == bytes; });
            if (found != m_free.end()) {
                const Block block = *found;
                m_free.erase(found);
                m_bytes -= bytes;
                return block;
            }
        }
        return Allocate(bytes);
    }

    void Give(const Block& block) {
        std::deque<Block> surplus;
        {
            const std::lock_guard guard(m_lock);
            m_free.push_front(block);
            m_bytes += block.bytes;
            for (; m_bytes > mostFree && m_free.size() > fewFree; m_free.pop_back()) {
                m_bytes -= m_free.back().bytes;
                surplus.push_back(m_free.back());
            }
        }
        std::for_each(surplus.begin(), surplus.end(), Free);
    }

    /// Pictures may be given back when the program ends, so it is never destroyed.
    static Stock& Common() {
        static auto* const stock = new Stock;
        return *stock;
    }

private:
    std::mutex m_lock;
    std::deque<Block> m_free; ///< the one given back last is the first
    std::size_t m_bytes = 0;
};

/// @param bytes of the block, as the buffer need not say all
void GiveBack(void* bytes, std::uint8_t* data) {
    Stock::Common().Give({data, reinterpret_cast<std::size_t>(bytes)});
}

std::size_t Aligned(std::size_t bytes) {
    return (bytes + alignment - 1) / alignment * alignment;
}

/// The shape that a decoder needs for a picture.
struct Shape {
    std::array<int, 4> pitches{};
    std::array<std::size_t, 4> sizes{};
    std::size_t bytes = 0;
};

bool FindShape(AVCodecContext& codec, const AVFrame& picture, Shape& shape) {
    int width = picture.width, height = picture.height;
    int pitchAlignment[AV_NUM_DATA_POINTERS] = {};
    avcodec_align_dimensions2(&codec, &width, &height, pitchAlignment);
    const auto format = static_cast<AVPixelFormat>(picture.format);
    for (bool isAligned = false; !isAligned; width += width & -width) {
        if (av_image_fill_linesizes(shape.pitches.data(), format, width) < 0) {
            return false;
        }
        isAligned = true;
        for (std::size_t plane = 0; plane < shape.pitches.size(); ++plane) {
            isAligned = isAligned && shape.pitches[plane] % std::max(pitchAlignment[plane], 1) == 0;
        }
    }
    const std::array<std::ptrdiff_t, 4> pitches = {shape.pitches[0], shape.pitches[1], shape.pitches[2],
                                                   shape.pitches[3]};
    if (av_image_fill_plane_sizes(shape.sizes.data(), format, height, pitches.data()) < 0) {
        return false;
    }
    shape.bytes = alignment;
    for (const std::size_t size : shape.sizes) {
        shape.bytes += size > 0 ? Aligned(size + margin) : 0;
    }
    return true;
}

int GetBuffer(AVCodecContext* codec, AVFrame* picture, int flags) {
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture->format));
    Shape shape;
    if (format == nullptr || (format->flags & AV_PIX_FMT_FLAG_HWACCEL) != 0 ||
        !FindShape(*codec, *picture, shape)) {
        return avcodec_default_get_buffer2(codec, picture, flags);
    }
    const Block block = Stock::Common().Take(shape.bytes);
    if (block.data == nullptr) {
        return AVERROR(ENOMEM);
    }
    picture->buf[0] =
        av_buffer_create(block.data, block.bytes, GiveBack, reinterpret_cast<void*>(block.bytes), 0);
    if (picture->buf[0] == nullptr) {
        Stock::Common().Give(block);
        return AVERROR(ENOMEM);
    }
    auto* at = reinterpret_cast<std::uint8_t*>(Aligned(reinterpret_cast<std::size_t>(block.data)));
    for (std::size_t plane = 0; plane < shape.sizes.size(); ++plane) {
        picture->linesize[plane] = shape.pitches[plane];
        picture->data[plane] = shape.sizes[plane] > 0 ? at : nullptr;
        at += shape.sizes[plane] > 0 ? Aligned(shape.sizes[plane] + margin) : 0;
    }
    picture->extended_data = picture->data;
    return 0;
}

} // namespace

void ShareMemory(AVCodecContext& codec) {
    const bool mayChoose = codec.codec_type == AVMEDIA_TYPE_VIDEO && codec.codec != nullptr &&
                           (codec.codec->capabilities & AV_CODEC_CAP_DR1) != 0;
    if (!mayChoose) {
        return;
    }
    codec.get_buffer2 = GetBuffer;
#if FF_API_THREAD_SAFE_CALLBACKS
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    codec.thread_safe_callbacks = 1; // or the decoder's threads would wait for each other
#pragma GCC diagnostic pop
#endif
}

} // namespace kq::streams
