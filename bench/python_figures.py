#!/usr/bin/python3
"""Figures for the Python module (printed, never asserted):
  1. two strips processed by two threads against the same two by one thread;
  2. 60 s of 5.1 through a Strip against the SDK's own Instance (reached
     through the C API, one call over preallocated buffers), same audio and
     settings.
Medians of interleaved repetitions: wall time for the threads (and the CPU
time the process used meanwhile), thread CPU time for Python against C++.

Usage: bench/python_figures.py [BUILD_DIR]   (default build/release; needs
the targets _stemstrip and stemstrip_sdk_c)
"""
import ctypes
import os
import pathlib
import statistics
import sys
import threading
import time

BUILD = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/release").resolve()
sys.path.insert(0, str(BUILD / "python"))
import numpy as np  # noqa: E402
import stemstrip  # noqa: E402

RATE = 48000
REPEATS = 7
SETTINGS = {  # a full strip: two EQ bands, a 2:1 compressor, a gate
    "bands[0].enabled": "on", "bands[0].type": "HighPass2", "bands[0].frequencyHz": "25",
    "bands[1].enabled": "on", "bands[1].type": "HighShelf", "bands[1].gainDb": "-1", "bands[1].frequencyHz": "12000",
    "compressor.thresholdDb": "-20", "compressor.ratio": "2", "compressor.kneeDb": "8",
    "expander.gate": "on", "expander.gateThresholdDb": "-50", "detector.mode": "Average",
}


def programme(channels, seconds, seed):
    rng = np.random.default_rng(seed)
    return (rng.standard_normal((channels, int(seconds * RATE))) * 0.1).astype(np.float32)


def median_seconds(runs, clock):
    """Each callable's median time on `clock` and the median ratio of process
    CPU time to wall time (cores busy) in the same runs, interleaved."""
    times, busy = [[] for _ in runs], [[] for _ in runs]
    for _ in range(REPEATS):
        for i, run in enumerate(runs):
            start, wall, cpu = clock(), time.perf_counter(), time.process_time()
            run()
            times[i].append(clock() - start)
            busy[i].append((time.process_time() - cpu) / (time.perf_counter() - wall))
    return [(statistics.median(t), statistics.median(b)) for t, b in zip(times, busy)]


def threads_figure():
    audio = [programme(2, 20, seed) for seed in (1, 2)]
    strips = [stemstrip.Strip("stereo", RATE, **SETTINGS) for _ in range(2)]

    def one_thread():
        for strip, a in zip(strips, audio):
            strip.process(a)

    def two_threads():
        workers = [threading.Thread(target=s.process, args=(a,)) for s, a in zip(strips, audio)]
        for w in workers:
            w.start()
        for w in workers:
            w.join()

    (one, _), (two, cores) = median_seconds([one_thread, two_threads], time.perf_counter)
    print(f"two stereo strips, 20 s each: one thread {one * 1e3:.1f} ms, two threads {two * 1e3:.1f} ms "
          f"({one / two:.2f}x; {cores:.2f} cores busy during the two-thread run)")


class SdkStrip:
    def __init__(self, fmt, frames):
        lib = self.lib = ctypes.CDLL(str(BUILD / "sdk/runtime/libstemstrip_sdk_c.so"))
        lib.stemstrip_sdk_create.restype = ctypes.c_void_p
        self.handle = ctypes.c_void_p(lib.stemstrip_sdk_create(fmt.encode(), ctypes.c_double(RATE), 0))
        assert lib.stemstrip_sdk_set(self.handle, ";".join(f"{k}={v}" for k, v in SETTINGS.items()).encode()) == 0
        self.frames = frames

    def bind(self, audio):
        self.out = np.zeros_like(audio)
        rows = lambda a: (ctypes.POINTER(ctypes.c_float) * len(a))(
            *(r.ctypes.data_as(ctypes.POINTER(ctypes.c_float)) for r in a))
        self.rows = rows(audio), rows(self.out)

    def process(self):
        assert self.lib.stemstrip_sdk_process(self.handle, *self.rows, self.frames, None) == 0


def sdk_figure():
    audio = programme(6, 60, 3)
    strip = stemstrip.Strip("5.1", RATE, **SETTINGS)
    sdk = SdkStrip("5.1", audio.shape[1])
    sdk.bind(audio)
    (python, _), (cpp, _) = median_seconds([lambda: strip.process(audio), sdk.process], time.thread_time)
    print(f"60 s of 5.1 at 48 kHz, thread CPU time: Python Strip.process {python * 1e3:.1f} ms, "
          f"C++ SDK {cpp * 1e3:.1f} ms "
          f"({python / cpp:.3f}x; {60 / python:.0f}x real time from Python)")


if __name__ == "__main__":
    print("load average %.1f %.1f %.1f on %d cores" % (*os.getloadavg(), os.cpu_count()))
    threads_figure()
    sdk_figure()
