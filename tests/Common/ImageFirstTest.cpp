#include "Common/Image/Reference.h"

#include <gtest/gtest.h>

#include <vector>

TEST(Yuv420ToRgb32, EveryCombinationAndManySizesEqualTheReference) {
    std::vector<std::uint8_t> y(256 * 2 * 256), u(256 * 256), v(256 * 256);
    // Column pair 2k,2k+1 has U = k, row pair 2r has V = r; luma runs over all values in 128 passes.
    for (int row = 0; row < 256; ++row)
        for (int c = 0; c < 256; ++c) {
            u[row * 256 + c] = c;
            v[row * 256 + c] = row;
        }
    std::vector<std::uint8_t> luma(512 * 512), got(512 * 512 * 4), want(512 * 512 * 4);
    tagBITMAPINFOHEADER h{};
    h.biBitCount = 32;
    h.biWidth = 512;
    h.biHeight = 512;
    for (int pass = 0; pass < 256; pass += 4) {
        for (int i = 0; i < 512 * 512; ++i)
            luma[i] = pass + (i & 1) + ((i >> 9) & 1) * 2;
        ASSERT_EQ(0, Yuv420_2_rgb32(&h, got.data(), luma.data(), u.data(), v.data(), 512, 256, 256));
        kq::image::reference::Yuv420_2_rgb32(&h, want.data(), luma.data(), u.data(), v.data(), 512, 256, 256);
        ASSERT_EQ(want, got) << pass;
    }
    for (int w = 1; w < 70; ++w)
        for (int hh = -5; hh < 5; ++hh) {
            h.biWidth = w;
            h.biHeight = hh;
            std::fill(got.begin(), got.end(), 7);
            std::fill(want.begin(), want.end(), 7);
            for (int i = 0; i < 512 * 512; ++i)
                luma[i] = rand();
            EXPECT_EQ(hh == 0 ? -1 : 0,
                      Yuv420_2_rgb32(&h, got.data(), luma.data(), v.data(), u.data(), 512, 256, 256));
            kq::image::reference::Yuv420_2_rgb32(&h, want.data(), luma.data(), v.data(), u.data(), 512, 256,
                                                 256);
            ASSERT_EQ(want, got) << w << "x" << hh;
        }
}
