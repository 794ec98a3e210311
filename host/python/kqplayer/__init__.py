"""Media files picture by picture, and a frame-accurate player, in Python.

>>> for frame in kqplayer.open(clip):
...     picture = frame.rgb()       # a NumPy array, (height, width, 3)
>>> picture.dtype, frame.number
(dtype('uint8'), 99)
"""
import collections as _collections

from ._kqplayer import Error, Frame, FrameIterator, MediaFile, __version__, open

Colour = _collections.namedtuple("Colour", "matrix range transfer mastering_peak content_peak")
Colour.__doc__ = """What the samples of a picture mean.

matrix: 'bt601', 'bt709', 'bt2020' or 'smpte240m'
range: 'limited' or 'full'
transfer: 'sdr', 'pq' or 'hlg'
mastering_peak, content_peak: of HDR, in cd/m2; 0 for unknown
"""
