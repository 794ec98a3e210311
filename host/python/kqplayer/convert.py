"""The library's exact conversions of pictures and sound, on NumPy arrays.

Pictures are top-down. Planar 4:2:0 is three arrays of uint8: luma of shape (rows, columns), Cb and Cr of
((rows + 1) // 2, (columns + 1) // 2). 24-bit pixels have the shape (rows, columns, 3) in the order blue, green,
red; 32-bit ones (rows, columns, 4); packed 4:2:2 (rows, columns, 2). Rows may lie apart in memory, the samples
of one lie side by side. All is BT.601 in limited range. ValueError says what is wrong with an array.

>>> y, u, v = kqplayer.convert.bgr_to_yuv420(numpy.zeros((4, 6, 3), numpy.uint8))
>>> y[0, 0], u[0, 0], y.shape, u.shape
(16, 128, (4, 6), (2, 3))
>>> kqplayer.convert.yuv420_to_bgr(y, u, u[:1])
Traceback (most recent call last):
    ...
ValueError: u and v of a picture of 6x4 have to be of shape (2, 3), not (1, 3)
"""
from . import _kqplayer

__all__ = ["yuv420_to_bgr", "yuv420_to_bgra", "bgr_to_yuv420", "bgra_to_yuv420", "yuv420_to_packed",
           "packed_to_yuv420", "packed_to_bgr", "bgr_to_packed", "yuv420_to_rgb565", "yuv420_to_rgb555", "sound"]


def yuv420_to_bgr(y, u, v):
    """Planes to 24-bit pixels, in 13-bit fixed point without rounding. Rows of the result begin every four bytes."""
    return _kqplayer.yuv420_to_bgr(y, u, v)


def yuv420_to_bgra(y, u, v):
    """The same to 32-bit pixels, 255 as fourth byte."""
    return _kqplayer.yuv420_to_bgra(y, u, v)


def bgr_to_yuv420(pixels):
    """24-bit pixels to planes (y, u, v), in 14-bit fixed point. Rows are paired from the bottom; with both sides
    odd, one luma sample and one chroma pair in a corner stay 0."""
    return _kqplayer.bgr_to_yuv420(pixels)


def bgra_to_yuv420(pixels):
    """The same from 32-bit pixels, whose fourth byte is not read. Rows are paired from the top."""
    return _kqplayer.bgra_to_yuv420(pixels)


def yuv420_to_packed(y, u, v, order="yuy2"):
    """Planes with even sides to packed 4:2:2; order: 'yuy2' (Y0 U Y1 V) or 'uyvy' (U Y0 V Y1)."""
    return _kqplayer.yuv420_to_packed(y, u, v, _is_yuy2(order))


def packed_to_yuv420(packed, order="yuy2"):
    """Packed 4:2:2 with even sides to planes (y, u, v); chroma is the mean of two rows, rounded down."""
    return _kqplayer.packed_to_yuv420(packed, _is_yuy2(order))


def packed_to_bgr(packed, order="yuy2"):
    """Packed 4:2:2 to 24-bit pixels, with the arithmetic of yuv420_to_bgr()."""
    return _kqplayer.packed_to_bgr(packed, _is_yuy2(order))


def bgr_to_packed(pixels, order="yuy2"):
    """24-bit pixels with an even number of columns to packed 4:2:2."""
    return _kqplayer.bgr_to_packed(pixels, _is_yuy2(order))


def yuv420_to_rgb565(y, u, v):
    """Planes to words of uint16: red in bits 0 to 4, green in 5 to 10, blue in 11 to 15."""
    return _kqplayer.yuv420_to_rgb565(y, v, u)


def yuv420_to_rgb555(y, u, v):
    """Planes to words of uint16: red in bits 0 to 4, green in 5 to 9, blue in 10 to 14."""
    return _kqplayer.yuv420_to_rgb555(y, v, u)


def sound(samples, rate, to_rate, channels=None):
    """Sound of int16 and shape (samples, channels) at another rate (linear interpolation), or in another
    number of channels: 1, 2 or 6.

    >>> kqplayer.convert.sound(numpy.zeros((44100, 2), numpy.int16), 44100, 48000, channels=1).shape
    (48000, 1)
    """
    if channels is None:
        channels = samples.shape[1] if getattr(samples, "ndim", 0) == 2 else 2
    return _kqplayer.convert_sound(samples, rate, to_rate, channels)


def _is_yuy2(order):
    if order not in ("yuy2", "uyvy"):
        raise ValueError(f"order is 'yuy2' or 'uyvy', not {order!r}")
    return order == "yuy2"
