"""Media files picture by picture, and a frame-accurate player, in Python.

>>> for frame in kqplayer.open(clip):
...     picture = frame.rgb()       # a NumPy array, (height, width, 3)
>>> picture.dtype, frame.number
(dtype('uint8'), 99)
"""
import collections as _collections
import weakref as _weakref

from . import _kqplayer, convert
from ._kqplayer import _Player, Error, Frame, FrameIterator, MediaFile, __version__, open

__all__ = ["Colour", "Error", "Frame", "FrameIterator", "MediaFile", "Measurement", "OFF_SCREEN", "Player", "View",
           "convert", "measure", "open"]

for _item in (Error, Frame, FrameIterator, MediaFile):
    _item.__module__ = __name__

Colour = _collections.namedtuple("Colour", "matrix range transfer mastering_peak content_peak")
Colour.__doc__ = """What the samples of a picture mean.

matrix: 'bt601', 'bt709', 'bt2020' or 'smpte240m'
range: 'limited' or 'full'
transfer: 'sdr', 'pq' or 'hlg'
mastering_peak, content_peak: of HDR, in cd/m2; 0 for unknown
"""

OFF_SCREEN = "off-screen"
"""What stands for the window of a view without a window."""

_STATES = ("stopped", "playing", "paused", "ended")
_SCALINGS = {"default": 0, "bilinear": 1, "nearest": 2}
_PLACEMENTS = {"fit": 0, "stretch": 1, "fill": 2, "original": 3}


def _choice(name, choices, value):
    try:
        return choices[value]
    except KeyError:
        raise ValueError(f"{name} is one of {', '.join(choices)}, not {value!r}") from None


class View:
    """Where a player shows pictures. Made by Player.add_view(); goes with its player."""

    def __init__(self, core):
        self._core = core

    @property
    def window(self):
        """The X11 id of the view's own window, which a host moves and resizes; None off-screen."""
        return self._core.window or None

    def show(self, part=None, *, scaling="default", placement="fit"):
        """Shows a part of the pictures, magnified or not.

        part: (left, top, width, height) in picture pixels, fractions allowed; None for the whole.
        scaling: 'default', 'bilinear' or 'nearest'.
        placement: 'fit', 'stretch', 'fill' or 'original'.
        """
        self._core.show(part, _choice("scaling", _SCALINGS, scaling), _choice("placement", _PLACEMENTS, placement))

    def rgb(self):
        """The whole picture of this view, in its own size, as a new array of uint8, (height, width, 3).

        While paused or without a run that is the one on show, during play the next one. Raises kqplayer.Error
        without a picture.
        """
        return self._core.rgb()

    def to_picture(self, x, y):
        """The place in the picture of one in the window, both in pixels; None before the first picture."""
        return self._core.to_picture(x, y)

    def to_window(self, x, y):
        """The other way round."""
        return self._core.to_window(x, y)


class Player:
    """Plays a media file in views, with its sound, to the very picture.

    path: as for kqplayer.open().
    window: of the first view: the X11 id of a toolkit's window, None for a window of its own, or
        kqplayer.OFF_SCREEN. Without a display every view is off-screen.
    size: width and height of that view, in pixels; None for those of 640 x 360.
    sound: False plays none. sound_track: which one, from 1; 0 for the best.
    filter: an FFmpeg filter graph that the pictures pass ('hflip').
    on_position, on_end: the callbacks, see there.

    Any thread may call it, also inside the callbacks; the interpreter goes on with others while a call
    waits. A context manager; one that is forgotten closes itself, also when the interpreter ends.

    >>> with kqplayer.Player(clip, window=kqplayer.OFF_SCREEN, sound=False) as player:
    ...     player.seek_frame(30)
    ...     player.step(-2), player.state
    (28, 'paused')
    """

    def __init__(self, path, *, window=None, size=None, sound=True, sound_track=0, filter="", on_position=None,
                 on_end=None):
        self.on_position = on_position
        """Called with the position after each picture; later ones may take the place of some that wait when it
        is slow. It runs on a thread of its own: playback does not wait for it."""
        self.on_end = on_end
        """Called without arguments when a run has ended, by itself or by stop(). play() is allowed in it. What
        either raises goes to sys.unraisablehook."""
        self._views = []
        self._core = _Player(path, sound, sound_track, filter)
        self._core.listen(_weakref.ref(self))
        if self._core.picture_rate() > 0:
            width, height = size or (640, 360)
            self.add_view(window, rect=(0, 0, width, height))

    def _tell_position(self, position):
        callback = self.on_position
        if callback is not None:
            callback(position)

    def _tell_end(self):
        callback = self.on_end
        if callback is not None:
            callback()

    def __enter__(self):
        return self

    def __exit__(self, *details):
        self.close()

    def __repr__(self):
        return f"<kqplayer.Player, {'closed' if self._core.is_closed() else self.state}>"

    def add_view(self, window=None, *, rect=(0, 0, 640, 360), path=None, filter=""):
        """Adds a view while nothing is played, and returns it.

        rect: (left, top, width, height) in its parent window, or on the screen.
        path, filter: another file, or this one through a filter graph, that the view shows in step.
        Raises kqplayer.Error for what is no window.
        """
        if isinstance(window, str) and window != OFF_SCREEN:
            raise ValueError("window is the id of an X11 window, None or kqplayer.OFF_SCREEN")
        view = View(self._core.add_view(window, rect, path, filter))
        self._views.append(view)
        return view

    @property
    def views(self):
        """The views, a tuple."""
        return tuple(self._views)

    def play(self):
        """Plays from where it stands, or on after a pause. Returns at once."""
        self._core.play()

    def pause(self):
        """Pauses; the picture stays. play() goes on."""
        self._core.pause()

    resume = play

    def stop(self):
        """Ends the run and waits for that; the views are black, and play() begins anew."""
        self._core.stop()

    def close(self):
        """Ends everything and gives it back; waits for a callback that is running, unless called by it."""
        self._core.close()

    def seek(self, seconds, *, exact=True):
        """Moves to the picture on show at a time of the file and returns when it is there.

        exact: False goes to the key frame before it, which is faster. Without a run the picture is shown,
        paused.
        """
        if not seconds >= 0:
            raise ValueError("times count from 0 on")
        self._ready()
        self._core.seek(float(seconds), exact)

    def seek_frame(self, number):
        """Moves to the picture with a number, paused unless it plays. IndexError for one that is not there."""
        if not 0 <= number < self._core.count():
            raise IndexError(f"the file has no picture {number}")
        self._ready()
        self._core.seek_picture(number)

    def step(self, count=1):
        """Pauses, moves by so many pictures, back if negative, and returns the number of the picture."""
        self._ready()
        return self._core.step(count)

    def _ready(self):
        if self.state in ("stopped", "ended") and self._views:
            self._core.load()

    @property
    def speed(self):
        """1.0 for normal speed; 0.1 to 8, and -0.1 to -4 backwards. Others become the nearest of these."""
        return self._core.rate()

    @speed.setter
    def speed(self, value):
        self._core.set_rate(value)

    @property
    def volume(self):
        """From 0.0 (silent) to 1.0 (unchanged), heard at once; kqplayer.Error for another number."""
        return self._core.volume()

    @volume.setter
    def volume(self, value):
        self._core.set_volume(value)

    @property
    def muted(self):
        """Whether the sound is silenced; the volume stays as it is."""
        return self._core.is_muted()

    @muted.setter
    def muted(self, value):
        self._core.set_muted(bool(value))

    def loop(self, begin=0.0, end=None, *, rounds=0):
        """Plays a part of the file again and again without a seam; rounds: so often, 0 for ever.

        Times are seconds of the file; None is its end. loop(rounds=1) plays the file once again.
        """
        self._core.set_range(begin, float("inf") if end is None else end, rounds)

    @property
    def state(self):
        """'stopped', 'playing', 'paused' or 'ended'."""
        return _STATES[self._core.activity()]

    @property
    def position(self):
        """Where it stands, in seconds of the file: the picture on show or what is heard, also after the end."""
        return self._core.position()

    @property
    def frame_number(self):
        """Number of the picture on show; None where nobody can tell."""
        return self._core.number()

    @property
    def duration(self):
        """Seconds, as the file tells; 0.0 for unknown."""
        return self._core.length()

    def frame(self):
        """The current picture as a Frame; None without pictures. While it plays, that is the next one to be shown."""
        return self._core.picture()

    def capture(self, path):
        """Writes the current picture to a file, as Frame.save() does."""
        frame = self.frame()
        if frame is None:
            raise Error("there is no picture to capture")
        frame.save(path)

    def wait(self, timeout=None):
        """Waits for the end of play, or so many seconds. Returns whether it has ended. Ctrl-C interrupts it."""
        return self._core.wait(timeout)


Measurement = _collections.namedtuple(
    "Measurement", "frame time other_frame other_time mse psnr ssim alone remarks text")
Measurement.__doc__ = """How near the pictures of two files are to each other, pair by pair.

frame, time, other_frame, other_time: arrays, which pictures, and where they begin, in seconds of their files
mse, psnr, ssim: arrays of shape (pairs, 3), luma, Cb and Cr; psnr in dB, infinite for equal planes; what is not
    defined (the SSIM of planes of less than 8 samples, chroma of grey pictures) is not a number
alone: a list of (is the other file's, number, time), pictures without a counterpart
remarks: what was done to the pictures first, and how they were paired, a line each
text: a summary, as `kqplay --measure` prints it
"""


def measure(file, other=None, *, offset=0, begin=0.0, end=None):
    """Measures a file against another, as `kqplay --measure` does, or each picture against the one before.

    offset: the file's picture n belongs to the other one's picture n + offset.
    begin, end: of what is measured, seconds of the file; None is its end.
    Returns a Measurement. Raises kqplayer.Error when a file cannot be opened. Ctrl-C ends it.

    >>> result = kqplayer.measure(clip, clip, end=1.0)
    >>> len(result.frame), result.psnr.min(), result.ssim.mean()
    (25, inf, 1.0)
    """
    figures = _kqplayer.measure(file, other, offset, begin, float("inf") if end is None else end)
    return Measurement(**figures)
