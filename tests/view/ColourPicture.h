/// @file
/// Pictures in which every mistake shows: other colours in every pixel, other pitches in every plane.
#pragma once

#include <kqplayer/records.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace kq::test {

using Bytes = std::vector<std::uint8_t>;

/// A planar picture of random samples. Its planes lie in memory as far apart as a host may place them, and
/// the bytes between the rows are no samples.
class ColourPicture {
public:
    /// @param seed another one for every other picture
    ColourPicture(int width, int height, unsigned seed) : m_samples(Samples(seed, width, height)) {
        const int chromaWidth = (width + 1) / 2;
        m_image.nWidth = width;
        m_image.nHeight = height;
        m_image.nPitchY = width + 3;
        m_image.nPitchU = chromaWidth + 13;
        m_image.nPitchV = chromaWidth + 6;
        m_image.pY = m_samples.data();
        m_image.pU = m_image.pY + std::ptrdiff_t{m_image.nPitchY} * height;
        m_image.pV = m_image.pU + std::ptrdiff_t{m_image.nPitchU} * ((height + 1) / 2);
    }
    ColourPicture(const ColourPicture&) = delete;
    ColourPicture& operator=(const ColourPicture&) = delete;

    const tagYUVImage& Image() const { return m_image; }
    MEDIA_FRAME Frame() const {
        MEDIA_FRAME frame{};
        frame.nKind = KQ_PICTURE_PLANAR_YUV;
        frame.image = m_image;
        return frame;
    }

    /// @param bytesPerPixel 3: B, G, R; 4: B, G, R, 255. Rows are padded with zeros to a multiple of 4 bytes.
    /// @return what views and captures make of the picture
    Bytes Rgb(int bytesPerPixel) const {
        const int rowBytes = (m_image.nWidth * bytesPerPixel + 3) / 4 * 4;
        Bytes rgb(static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(m_image.nHeight));
        for (int row = 0; row < m_image.nHeight; ++row) {
            for (int column = 0; column < m_image.nWidth; ++column) {
                std::uint8_t* const pixel =
                    rgb.data() + std::ptrdiff_t{rowBytes} * row + std::ptrdiff_t{bytesPerPixel} * column;
                WritePixel(pixel, row, column);
                if (bytesPerPixel == 4) {
                    pixel[3] = 255;
                }
            }
        }
        return rgb;
    }

private:
    static Bytes Samples(unsigned seed, int width, int height) {
        Bytes samples((2 * static_cast<std::size_t>(width) + 32) * (static_cast<std::size_t>(height) + 1));
        std::mt19937 random(seed);
        std::generate(samples.begin(), samples.end(),
                      [&] { return static_cast<std::uint8_t>(random() >> 8); });
        return samples;
    }
    void WritePixel(std::uint8_t* bgr, int row, int column) const {
        const int y = 9536 * m_image.pY[row * m_image.nPitchY + column];
        const int u = m_image.pU[row / 2 * m_image.nPitchU + column / 2];
        const int v = m_image.pV[row / 2 * m_image.nPitchV + column / 2];
        const int levels[] = {y + 16532 * u - 2268594, y - 3203 * u - 6660 * v + 1109918,
                              y + 13074 * v - 1826095};
        for (const int level : levels) {
            *bgr++ = static_cast<std::uint8_t>(std::clamp(level >> 13, 0, 255));
        }
    }

    Bytes m_samples;
    tagYUVImage m_image{};
};

} // namespace kq::test
