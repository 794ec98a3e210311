"""Pictures of a file as arrays, beside OpenCV: bench_python.py [FILE] [--rounds=N]. Without a file one is made, of 1920x1080
at 25 Hz, H.264, with key frames every 250 pictures. A ratio above 1 says how many times as fast kqplayer was."""
import argparse
import gc
import os
import pathlib
import random
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

import kqplayer

try:
    import cv2
except ImportError:
    sys.exit("bench_python: OpenCV is missing, which it compares with: apt-get install python3-opencv")

PICTURES = 500


def make_clip():
    path = os.path.join(tempfile.gettempdir(), "kq-bench-python.mp4")
    if not os.path.exists(path):
        source = "testsrc2=size=1920x1080:rate=25:duration=40,noise=alls=4:allf=t"
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", source, "-c:v", "libx264", "-preset",
                        "veryfast", "-g", "250", "-keyint_min", "250", "-sc_threshold", "0", "-pix_fmt", "yuv420p",
                        "-f", "mp4", path + ".part"], check=True)
        os.rename(path + ".part", path)
    return path


def ours_in_order(path, convert):
    count = 0
    for frame in kqplayer.open(path):
        convert(frame)
        count += 1
    return count


def theirs_in_order(path, convert):
    capture, count = cv2.VideoCapture(path), 0  # it gives BGR
    while True:
        there, picture = capture.read()
        if not there:
            return count
        convert(picture)
        count += 1


def fingerprint(planes_or_pixels):
    """Tells pictures apart: a few thousand of their samples."""
    return planes_or_pixels[7::41, 11::37].astype(np.int16)


def nearest(known, picture):
    """The picture of the loop that this one is."""
    return min(range(len(known)), key=lambda number: int(np.abs(known[number] - picture).sum(dtype=np.int64)))


def timed(call, *arguments):
    begin = time.perf_counter()
    result = call(*arguments)
    return time.perf_counter() - begin, result


def ours_by_number(path, numbers):
    file = kqplayer.open(path)
    return [fingerprint(file[number].bgr()) for number in numbers]


def theirs_by_number(path, numbers):
    capture, pictures = cv2.VideoCapture(path), []
    for number in numbers:
        capture.set(cv2.CAP_PROP_POS_FRAMES, number)
        there, picture = capture.read()
        pictures.append(fingerprint(picture) if there else None)
    return pictures


def resident():
    return int(pathlib.Path("/proc/self/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE") / (1 << 20)


def memory(path):
    """Resident memory in MiB after 100 rounds of open, seek and close, and after 1100."""
    rng, sizes = random.Random(3), []
    with kqplayer.open(path) as file:
        last = min(len(file), 60)
    for turn in range(1100):
        with kqplayer.open(path) as file:
            file[rng.randrange(last)].rgb()
        if turn in (99, 1099):
            gc.collect()
            sizes.append(resident())
    return sizes


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("file", nargs="?")
    options.add_argument("--rounds", type=int, default=3)
    options.add_argument("--pictures", type=int, default=PICTURES)
    chosen = options.parse_args()
    path = chosen.file or make_clip()

    table = {"in order, to RGB": (kqplayer.Frame.rgb, lambda picture: cv2.cvtColor(picture, cv2.COLOR_BGR2RGB)),
             "in order, to BGR": (kqplayer.Frame.bgr, lambda picture: picture)}
    for name, (ours, theirs) in table.items():
        ratios = []
        for _ in range(chosen.rounds):
            own, count = timed(ours_in_order, path, ours)
            other, other_count = timed(theirs_in_order, path, theirs)
            ratios.append(other / own)
            print(f"{name}: kqplayer {count / own:.1f} pictures/s of {count}, OpenCV {other_count / other:.1f} of "
                  f"{other_count}, ratio {other / own:.2f}", flush=True)
        print(f"{name}: median ratio {statistics.median(ratios):.2f}")

    known = [fingerprint(frame.bgr()) for frame in kqplayer.open(path)]
    capture = cv2.VideoCapture(path)
    known_by_them = [fingerprint(capture.read()[1]) for _ in known]
    rng = random.Random(1)
    numbers = [rng.randrange(len(known)) for _ in range(chosen.pictures)]
    own, pictures = timed(ours_by_number, path, numbers)
    right = sum((picture == known[number]).all() for picture, number in zip(pictures, numbers))
    other, pictures = timed(theirs_by_number, path, numbers)
    other_right = sum(picture is not None and nearest(known_by_them, picture) == number
                      for picture, number in zip(pictures, numbers))
    print(f"{len(numbers)} at random: kqplayer {own:.1f} s, {right} right; OpenCV {other:.1f} s, {other_right} right; "
          f"ratio {other / own:.2f}")
    before, after = memory(path)
    print(f"1000 rounds of open, seek, close: {before:.1f} MiB before, {after:.1f} MiB after")


if __name__ == "__main__":
    main()
