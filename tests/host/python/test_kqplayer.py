"""Tests of the package kqplayer. KQ_CLIPS names the folder of the tests' clips."""
import ast
import doctest
import gc
import inspect
import logging
import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import numpy as np

import kqplayer

CLIPS = pathlib.Path(os.environ["KQ_CLIPS"])
CLIP = str(CLIPS / "bframes.mp4")


def raw_pictures(path, pixel_format):
    """What the ffmpeg program decodes, as bytes."""
    command = ["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-f", "rawvideo", "-pix_fmt", pixel_format,
               "-vsync", "passthrough", "-"]
    return subprocess.run(command, check=True, capture_output=True).stdout


def resident():
    """Bytes of memory that this process takes."""
    return int(pathlib.Path("/proc/self/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def run(script, **environment):
    """Runs a script in a process of its own, which has to end by itself."""
    script = f"import kqplayer, os, sys, threading, time\nclip = {CLIP!r}\n" + inspect.cleandoc(script)
    return subprocess.run([sys.executable, "-X", "faulthandler", "-c", script], capture_output=True, text=True,
                          timeout=100, env={**os.environ, **environment})


class Frames(unittest.TestCase):
    def test_samples_are_those_of_the_file(self):
        cases = [("bframes.mp4", "yuv420p", "yuv420p"), ("opengop.ts", "yuv420p", "yuv420p"),
                 ("h264-422-10.mkv", "yuv422p10", "yuv422p10le"), ("h264-444-full.mp4", "yuv444p", "yuvj444p"),
                 ("nv12.nut", "nv12", "nv12"), ("hevc.mp4", "yuv420p", "yuv420p")]
        for name, kind, pixel_format in cases:
            with self.subTest(name):
                path = str(CLIPS / name)
                wanted = raw_pictures(path, pixel_format)
                frames = list(kqplayer.open(path))
                self.assertEqual(b"".join(p.tobytes() for f in frames for p in f.planes), wanted)
                self.assertEqual({frame.kind for frame in frames}, {kind})
                self.assertEqual([frame.number for frame in frames], list(range(len(frames))))

    def test_any_picture_is_the_one_that_the_loop_gives(self):
        rng = random.Random(4)
        for name in ("bframes.mp4", "vfr.mkv", "opengop.ts", "hevc.mp4"):
            with self.subTest(name), kqplayer.open(CLIPS / name) as file:
                known = [(frame.bgr(), frame.time) for frame in file]
                self.assertEqual(len(known), len(file))
                for number in (rng.randrange(-len(known), len(known)) for _ in range(150)):
                    frame = file[number]
                    self.assertEqual(frame.number, number % len(known))
                    self.assertEqual(frame.time, known[number][1])
                    self.assertTrue((frame.bgr() == known[number][0]).all())
                    self.assertEqual(file.at(frame.time + frame.duration / 2).number, frame.number)
                for part in (slice(3, 9), slice(None, None, 7), slice(20, 5, -4), slice(-3, None)):
                    numbers = [frame.number for frame in file[part]]
                    self.assertEqual(numbers, list(range(len(known)))[part])

    def test_loops_do_not_hinder_each_other(self):
        file = kqplayer.open(CLIP)
        pairs = [(one.number, other.number, file[99 - one.number].number) for one, other in zip(file, file[50:])]
        self.assertEqual(pairs, [(n, n + 50, 99 - n) for n in range(50)])

    def test_rgb_is_the_standards_formula(self):
        frame = kqplayer.open(CLIPS / "bt709.mkv")[0]
        self.assertEqual(frame.colour[:3], ("bt709", "limited", "sdr"))
        y, u, v = (plane.astype(float) for plane in frame.planes)
        rows, columns = np.arange(frame.height) // 2, np.arange(frame.width) // 2
        u, v = (plane[rows][:, columns] - 128 for plane in (u, v))
        luma = (y - 16) * 255 / 219
        red, blue = 1.5748 * 255 / 224 * v, 1.8556 * 255 / 224 * u
        green = -(0.2126 * red + 0.0722 * blue) / 0.7152
        real = np.stack([luma + red, luma + green, luma + blue], axis=2).clip(0, 255)
        self.assertLess(np.abs(frame.rgb() - real).max(), 0.56)
        self.assertTrue((frame.bgra()[..., 2::-1] == frame.rgb()).all() and (frame.bgra()[..., 3] == 255).all())
        self.assertTrue((frame.bgr()[..., ::-1] == frame.rgb()).all())

    def test_arrays_keep_what_they_show(self):
        file = kqplayer.open(CLIP)
        planes = file[40].planes
        before = [plane.copy() for plane in planes]
        pixels = np.asarray(file[40])
        copy = pixels.copy()
        for frame in file:
            frame.rgb()
        file.close()
        del file, frame
        gc.collect()
        self.assertTrue(all((a == b).all() for a, b in zip(planes, before)) and (pixels == copy).all())
        with self.assertRaises(ValueError):
            planes[0][0, 0] = 0

    def test_out_is_checked_and_filled(self):
        frame = kqplayer.open(CLIP)[0]
        sheet = np.zeros((130, 400, 3), np.uint8)
        room = sheet[5:125, 20:180]
        self.assertIs(frame.rgb(out=room), room)
        self.assertTrue((room == frame.rgb()).all())
        self.assertEqual(sheet.sum(), room.sum(dtype=int))
        readonly = np.zeros((120, 160, 3), np.uint8)
        readonly.flags.writeable = False
        for wrong in (np.zeros((120, 160, 4), np.uint8), np.zeros((120, 160, 3)), sheet[:120, :320:2], readonly, 7):
            with self.assertRaises(ValueError):
                frame.rgb(out=wrong)

    def test_sound_is_exact(self):
        path = str(CLIPS / "shortsound.mkv")
        command = ["ffmpeg", "-v", "error", "-i", path, "-f", "s16le", "-c:a", "pcm_s16le", "-"]
        whole = np.frombuffer(subprocess.run(command, check=True, capture_output=True).stdout, np.int16)
        file = kqplayer.open(path)
        self.assertTrue((file.sound()[:len(whole), 0] == whole).all())
        self.assertTrue((file.sound(0.5, 0.75)[:, 0] == whole[24000:36000]).all())
        self.assertEqual(kqplayer.open(CLIPS / "twosounds.mkv", sound_track=2).sound(0, 0.5).shape[1], 1)

    def test_bad_input_says_what_is_wrong(self):
        file = kqplayer.open(CLIP)
        for wrong, error in ((lambda: file[100], IndexError), (lambda: file[-101], IndexError),
                             (lambda: file.at(-1), ValueError), (lambda: file.at(float("nan")), ValueError),
                             (lambda: file.sound(2, 1), ValueError), (lambda: file["a"], TypeError),
                             (lambda: kqplayer.open("/"), kqplayer.Error),
                             (lambda: kqplayer.open(CLIP, sound_track=9).sound(), kqplayer.Error),
                             (lambda: file[0].save("picture.txt"), kqplayer.Error),
                             (lambda: file[0].save("/nowhere/a.png"), kqplayer.Error),
                             (lambda: len(kqplayer.open(CLIPS / "twosounds.mkv")), kqplayer.Error)):
            with self.assertRaises(error):
                wrong()
        loop = iter(file)
        next(loop)
        file.close()
        for use in (lambda: file[0], lambda: next(loop), lambda: iter(file), file.sound):
            with self.assertRaisesRegex(ValueError, "closed"):
                use()


class Lifetime(unittest.TestCase):
    def test_memory_does_not_grow(self):
        sizes = []
        for turn in range(1100):
            file = kqplayer.open(CLIP)
            file[turn % 100].rgb()
            if turn % 2:
                file.close()  # the others are forgotten
            if turn % 500 == 99:
                gc.collect()
                sizes.append(resident())
        self.assertEqual(len(sizes), 3)
        self.assertLess(sizes[2] - sizes[1], 4 << 20)

    def test_the_end_of_the_interpreter(self):
        done = run("""
            player = kqplayer.Player(clip, window=kqplayer.OFF_SCREEN, on_position=lambda position: time.sleep(0.01))
            player.play()
            loop = iter(kqplayer.open(clip))
            next(loop)
            threading.Thread(target=lambda: [next(loop) for _ in range(99)], daemon=True).start()
            deadline = time.monotonic() + 60
            while player.position <= 0 and time.monotonic() < deadline:
                time.sleep(0.01)
            print("told", player.position > 0)
        """)
        self.assertEqual((done.returncode, "Traceback" in done.stderr, "Fatal" in done.stderr), (0, False, False), done)
        self.assertEqual(done.stdout, "told True\n", "the component prints")

    def test_a_copy_of_the_process(self):
        done = run("""
            file = kqplayer.open(clip)
            player = kqplayer.Player(clip, window=kqplayer.OFF_SCREEN, sound=False)
            player.loop()
            player.play()
            loop = iter(file)
            frame = next(loop)
            for turn in range(8):
                child = os.fork()
                if child == 0:
                    for use in (lambda: file[3], lambda: next(loop), player.pause, lambda: player.position, file.close):
                        try:
                            use()
                            os._exit(3)
                        except kqplayer.Error as error:
                            assert "fork" in str(error)
                    assert frame.rgb().shape == (120, 160, 3)
                    assert kqplayer.open(clip)[42].number == 42
                    del file, player, loop
                    sys.exit(7)
                code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
                assert code == 7, code
            assert file[3].number == 3 and player.state == "playing"
            print("all right")
        """)
        self.assertIn("all right", done.stdout, done)

    def test_players_that_nobody_holds_go(self):
        before = threading.active_count(), len(os.listdir("/proc/self/task"))
        for _ in range(5):
            player = kqplayer.Player(CLIP, window=kqplayer.OFF_SCREEN, sound=False)
            player.on_position = lambda position, player=player: None  # a cycle
            player.play()
        del player
        gc.collect()
        deadline = time.monotonic() + 10
        while len(os.listdir("/proc/self/task")) > before[1] + 1 and time.monotonic() < deadline:
            time.sleep(0.05)
        self.assertLessEqual(len(os.listdir("/proc/self/task")), before[1] + 1)


class Playing(unittest.TestCase):
    def setUp(self):
        self.positions = []
        self.ended = threading.Event()

    def player(self, **options):
        player = kqplayer.Player(CLIP, window=kqplayer.OFF_SCREEN, **{"sound": False, **options})
        player.on_position = self.positions.append
        player.on_end = self.ended.set
        self.addCleanup(player.close)
        return player

    def test_every_picture_is_told(self):
        player = self.player()
        begin = time.monotonic()
        player.play()
        self.assertTrue(player.wait(30))
        elapsed = time.monotonic() - begin
        self.assertTrue(self.ended.wait(5))
        self.assertEqual(player.state, "ended")
        self.assertEqual([round(p * 25) for p in sorted(set(self.positions))], list(range(100)))
        self.assertTrue(3.8 < elapsed < 8, elapsed)

    def test_moves_are_exact(self):
        player = self.player()
        wanted = [frame.rgb() for frame in kqplayer.open(CLIP)]
        for number in (30, 0, 99, 57):
            player.seek_frame(number)
            self.assertEqual((player.frame_number, player.state), (number, "paused"))
            self.assertTrue((player.frame().rgb() == wanted[number]).all())
        self.assertEqual([player.step(count) for count in (1, -1, -3, 40, 100)], [58, 57, 54, 94, 99])
        player.seek(2.0)
        self.assertEqual((player.frame_number, player.position), (50, 2.0))
        self.assertTrue((player.views[0].rgb() == wanted[50]).all())
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "picture.png"
            player.capture(path)
            rgb = np.frombuffer(raw_pictures(str(path), "rgb24"), np.uint8)
            self.assertTrue((rgb == wanted[50].ravel()).all())
        for wrong, error in ((lambda: player.seek_frame(100), IndexError), (lambda: player.seek(-1), ValueError),
                             (lambda: player.loop(9, 10), kqplayer.Error),
                             (lambda: player.add_view("window"), ValueError)):
            with self.assertRaises(error):
                wrong()

    def test_speed_and_loops(self):
        player = self.player()
        player.speed = 4
        begin = time.monotonic()
        player.play()
        self.assertTrue(player.wait(20))
        self.assertTrue(0.8 < time.monotonic() - begin < 3.5)
        self.assertTrue(self.ended.wait(5))
        player.speed = 1
        player.loop(1.0, 1.4, rounds=3)
        self.positions.clear()
        self.ended.clear()
        player.play()
        self.assertTrue(player.wait(20))
        self.assertTrue(self.ended.wait(5))
        self.assertEqual([round(position * 25) for position in self.positions], 3 * list(range(25, 35)))
        player.loop(rounds=1)
        player.speed = -2
        self.positions.clear()
        self.ended.clear()
        player.play()
        self.assertTrue(player.wait(20))
        self.assertTrue(self.ended.wait(5))
        self.assertEqual(self.positions, sorted(self.positions, reverse=True))
        self.assertLess(self.positions[-1], 0.1)

    def test_callbacks_may_do_anything(self):
        reported = []
        self.addCleanup(setattr, sys, "unraisablehook", sys.unraisablehook)
        sys.unraisablehook = reported.append
        player = self.player()
        runs = []

        def on_end():
            runs.append(player.state)
            if len(runs) < 3:
                player.play()
            else:
                self.ended.set()
            raise RuntimeError("in the callback")

        def on_position(position):
            if position >= 0.2:
                player.stop()
                raise KeyError(position)
            player.pause()
            player.play()

        player.on_end, player.on_position = on_end, on_position
        player.play()
        while not self.ended.wait(0.01):
            sum(range(20000))  # holds the interpreter's lock meanwhile
        deadline = time.monotonic() + 5
        while sum(r.exc_type is RuntimeError for r in reported) < 3 and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(sum(r.exc_type is RuntimeError for r in reported), 3)
        self.assertGreaterEqual(sum(r.exc_type is KeyError for r in reported), 3)

    def test_a_callback_may_close_its_player(self):
        player = self.player(sound=True)
        closed = threading.Event()
        player.on_position = lambda position: (player.close(), closed.set())
        player.play()
        self.assertTrue(closed.wait(20))
        with self.assertRaisesRegex(ValueError, "closed"):
            player.play()

    def test_two_pictures_in_step(self):
        player = self.player()
        mirrored = player.add_view(kqplayer.OFF_SCREEN, filter="hflip")
        player.play()
        self.assertTrue(player.wait(30))
        self.assertAlmostEqual(player.position, 3.96)
        self.assertEqual(len(player.views), 2)
        self.assertIsNone(player.views[0].window)
        player.seek_frame(40)
        self.assertTrue((mirrored.rgb()[:, ::-1] == player.views[0].rgb()).all())
        player.close()
        with self.assertRaisesRegex(ValueError, "closed"):
            mirrored.rgb()

    def test_the_sound_can_be_turned_down(self):
        player = self.player(sound=True)
        player.volume, player.muted = 0.25, True
        self.assertEqual((player.volume, player.muted), (0.25, True))
        for wrong in (-0.1, 1.5, float("nan")):
            with self.assertRaises(kqplayer.Error):
                player.volume = wrong
        self.assertEqual(player.volume, 0.25)

    def test_signals_interrupt_a_wait(self):
        player = self.player()
        player.loop()
        player.play()
        previous = signal.signal(signal.SIGALRM, lambda *_: (_ for _ in ()).throw(InterruptedError()))
        self.addCleanup(signal.signal, signal.SIGALRM, previous)
        signal.setitimer(signal.ITIMER_REAL, 0.3)
        begin = time.monotonic()
        with self.assertRaises(InterruptedError):
            player.wait()
        self.assertTrue(0.25 < time.monotonic() - begin < 5)

    def test_what_is_logged_comes_to_logging(self):
        with self.assertLogs("kqplayer", logging.DEBUG) as logged:
            player = self.player()
            player.play()
            player.stop()
            deadline = time.monotonic() + 5
            while not any("Stop" in line for line in logged.output) and time.monotonic() < deadline:
                time.sleep(0.01)
        self.assertTrue(any("Stop" in line for line in logged.output))


class Conversions(unittest.TestCase):
    def test_pixels_survive_both_ways(self):
        picture = kqplayer.open(CLIP)[50].bgr()
        for size in ((120, 160), (119, 160), (120, 157), (7, 6)):
            part = picture[:size[0], :size[1]]
            y, u, v = kqplayer.convert.bgr_to_yuv420(part)
            back = kqplayer.convert.yuv420_to_bgr(y, u, v)
            with self.subTest(size):
                self.assertEqual(back.shape, part.shape)
                plain = kqplayer.convert.yuv420_to_bgra(y, u, v)
                self.assertTrue((plain[..., :3] == back).all() and (plain[..., 3] == 255).all())
                self.assertLess(np.abs(back.astype(int) - part)[:-1, :-1].mean(), 6)

    def test_every_order_of_a_colour(self):
        flat = np.empty((4, 6, 3), np.uint8)
        flat[:] = 40, 120, 200
        planes = kqplayer.convert.bgr_to_yuv420(flat)
        wide = np.dstack([flat, np.full((4, 6), 9, np.uint8)])
        for other in (kqplayer.convert.bgra_to_yuv420(wide), kqplayer.convert.bgra_to_yuv420(wide[::-1])):
            self.assertTrue(all((a == b).all() for a, b in zip(planes, other)))
        for order in ("yuy2", "uyvy"):
            packed = kqplayer.convert.yuv420_to_packed(*planes, order=order)
            self.assertTrue((packed == kqplayer.convert.bgr_to_packed(flat, order)).all())
            back = kqplayer.convert.packed_to_yuv420(packed, order)
            self.assertTrue(all((a == b).all() for a, b in zip(planes, back)))
            self.assertTrue((kqplayer.convert.packed_to_bgr(packed, order) ==
                             kqplayer.convert.yuv420_to_bgr(*planes)).all())
        b, g, r = kqplayer.convert.yuv420_to_bgr(*planes)[0, 0].astype(int)
        word = int(kqplayer.convert.yuv420_to_rgb565(*planes)[0, 0])
        self.assertLess(max(abs((word & 31) * 8 - r), abs((word >> 5 & 63) * 4 - g), abs((word >> 11) * 8 - b)), 12)
        word = int(kqplayer.convert.yuv420_to_rgb555(*planes)[0, 0])
        self.assertLess(max(abs((word & 31) * 8 - r), abs((word >> 5 & 31) * 8 - g), abs((word >> 10) * 8 - b)), 12)

    def test_rows_of_the_right_way_up(self):
        picture = np.zeros((8, 8, 3), np.uint8)
        picture[:4] = 255
        packed = kqplayer.convert.bgr_to_packed(picture)
        for up in (kqplayer.convert.bgr_to_yuv420(picture)[0], packed[..., 0],
                   kqplayer.convert.packed_to_bgr(packed)[..., 0]):
            self.assertGreater(up[0, 0], 200)
            self.assertLess(up[7, 7], 60)

    def test_wrong_arrays_are_refused(self):
        plane, chroma = np.zeros((6, 6), np.uint8), np.zeros((3, 3), np.uint8)
        pixels = np.zeros((6, 6, 3), np.uint8)
        c = kqplayer.convert
        for wrong in (lambda: c.yuv420_to_bgr(plane, chroma, chroma[:2]), lambda: c.yuv420_to_bgr(plane, plane, plane),
                      lambda: c.yuv420_to_bgr(plane.astype(np.int32), chroma, chroma),
                      lambda: c.yuv420_to_bgr(plane[:, ::2], chroma, chroma), lambda: c.bgr_to_yuv420(plane),
                      lambda: c.bgr_to_yuv420(pixels[:0]), lambda: c.bgra_to_yuv420(pixels),
                      lambda: c.bgr_to_yuv420(np.asfortranarray(pixels)), lambda: c.bgr_to_packed(pixels[:, :5]),
                      lambda: c.packed_to_yuv420(pixels[:5, :, :2]), lambda: c.bgr_to_packed(pixels, "rgb"),
                      lambda: c.sound(plane, 1, 1), lambda: c.sound(np.zeros((9, 3), np.int16), 8000, 8000, 5),
                      lambda: c.sound(np.zeros((9, 2), np.int16), 0, 8000), lambda: c.yuv420_to_bgr(None, 1, 2)):
            with self.assertRaises(ValueError):
                wrong()

    def test_sound(self):
        tone = (10000 * np.sin(np.arange(8000) / 5)).astype(np.int16)
        stereo = np.stack([tone, tone], axis=1)
        mono = kqplayer.convert.sound(stereo, 8000, 8000, 1)
        self.assertLessEqual(np.abs(mono[:, 0] - tone).max(), 1)
        double = kqplayer.convert.sound(stereo, 8000, 16000)
        self.assertLess(np.abs(double[1::2][:7000].astype(int) - stereo[:7000]).min(), 5)
        self.assertLess(abs(len(double) - 16000), 4)


class Measuring(unittest.TestCase):
    def test_figures(self):
        same = kqplayer.measure(CLIP, str(CLIPS / "matroska.mkv"))
        self.assertEqual((len(same.frame), np.isinf(same.psnr).all(), same.mse.sum()), (100, True, 0))
        frames = list(kqplayer.open(CLIP))
        own = kqplayer.measure(CLIP, begin=1.0, end=2.0)
        for i, number in enumerate(own.frame):
            a, b = frames[number].planes[0].astype(float), frames[own.other_frame[i]].planes[0]
            self.assertAlmostEqual(own.mse[i, 0], ((a - b) ** 2).mean(), places=4)
        self.assertIn("PSNR", own.text)
        with self.assertRaises(kqplayer.Error):
            kqplayer.measure(CLIP, "missing.mp4")


class Documents(unittest.TestCase):
    """Examples in the docstrings and in the document do what they say; the stubs say what is there."""

    def globals(self):
        return {"kqplayer": kqplayer, "numpy": np, "np": np, "clip": CLIP, "other": str(CLIPS / "vp9.webm")}

    def test_docstrings(self):
        runner = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS)
        parser = doctest.DocTestParser()
        count = 0
        for owner in (kqplayer, kqplayer.convert):
            names = [owner.__name__] + [name for name in owner.__all__ if name != "convert"]
            for name in names:
                item = owner if name == owner.__name__ else getattr(owner, name)
                members = vars(item).items() if inspect.isclass(item) else ()
                for label, thing in [(name, item)] + [(f"{name}.{key}", value) for key, value in members]:
                    if not label.rsplit(".", 1)[-1].startswith("_"):
                        self.assertTrue(getattr(thing, "__doc__", None) or label == "kqplayer.OFF_SCREEN", label)
                    test = parser.get_doctest(getattr(thing, "__doc__", None) or "", self.globals(), label, None, 0)
                    count += len(test.examples)
                    runner.run(test)
        self.assertEqual(runner.failures, 0)
        self.assertGreaterEqual(count, 20)

    def recipes(self):
        text = pathlib.Path(os.environ["KQ_PYTHON_DOCUMENT"]).read_text()
        return re.findall(r"^```python\n(.*?)^```", text, re.M | re.S)

    def test_a_window_of_tkinter(self):
        read, write = os.pipe()
        server = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-screen", "0", "800x600x24", "-nolisten", "tcp"],
                                  pass_fds=[write], stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        os.close(write)
        with os.fdopen(read) as display:
            screen = f":{display.readline().strip()}"
        done = run(next(recipe for recipe in self.recipes() if "def tk_player" in recipe) + inspect.cleandoc("""
            root, player = tk_player(clip)
            player.pause()
            player.seek_frame(30)
            root.event_generate("<Left>")
            deadline = time.monotonic() + 30
            while player.frame_number != 29 and time.monotonic() < deadline:
                root.update()
            import subprocess, numpy as np
            room = root.winfo_children()[0]
            grab = ["ffmpeg", "-v", "error", "-f", "x11grab", "-video_size", "480x360", "-i",
                    f"{os.environ['DISPLAY']}+{room.winfo_rootx() + 80},{room.winfo_rooty()}", "-frames:v", "1",
                    "-f", "rawvideo", "-pix_fmt", "rgb24", "-"]
            pictures = [frame.rgb() for frame in kqplayer.open(clip)[25:35]]
            shown = None
            while shown != (29, True) and time.monotonic() < deadline:  # the server draws in its own time
                root.update()
                seen = np.frombuffer(subprocess.run(grab, capture_output=True, check=True).stdout, np.uint8)
                seen = seen.reshape(120, 3, 160, 3, 3).mean(axis=(1, 3))
                near = [np.abs(seen - picture).mean() for picture in pictures]
                shown = 25 + int(np.argmin(near)), bool(min(near) < 8)
            print("shown", *shown)
            player.close()
            root.destroy()
        """), DISPLAY=screen)
        self.assertEqual(done.stdout, "shown 29 True\n", done)

    def test_recipes(self):
        recipes = self.recipes()
        self.assertGreaterEqual(len(recipes), 10)
        self.addCleanup(os.chdir, os.getcwd())
        with tempfile.TemporaryDirectory() as folder:
            os.chdir(folder)
            for recipe in recipes:
                with self.subTest(recipe.splitlines()[0]):
                    exec(compile(recipe, "docs/python.md", "exec"), self.globals())
            os.chdir("/")

    def test_stubs(self):
        folder = pathlib.Path(kqplayer.__file__).parent
        self.assertTrue((folder / "py.typed").exists())
        told = {}
        for node in ast.parse((folder / "__init__.pyi").read_text()).body:
            if isinstance(node, (ast.ClassDef, ast.FunctionDef)):
                told[node.name] = {item.name for item in getattr(node, "body", []) if isinstance(item, ast.FunctionDef)}
        for name in kqplayer.__all__:
            item = getattr(kqplayer, name)
            if inspect.isclass(item) and item.__module__.startswith("kqplayer") and not hasattr(item, "_fields"):
                there = {key for key in vars(item) if not key.startswith("_") or key in ("__len__", "__iter__")}
                self.assertEqual({key for key in told[name] if not key.startswith("__") or key in ("__len__", "__iter__")},
                                 there, name)
            elif callable(item) and not inspect.isclass(item):
                self.assertIn(name, told)


if __name__ == "__main__":
    logging.getLogger("kqplayer").setLevel(logging.CRITICAL)
    unittest.main()
