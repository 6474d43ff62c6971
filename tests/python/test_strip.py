"""The stemstrip module against the SDK (through its C API, not the module)
and the command-line renderer, bit for bit; streaming; errors; threads."""
import ctypes
import os
import re
import subprocess
import sys
import threading

import numpy as np
import pytest
import soundfile

import stemstrip

RATE = 48000
LATENCY = 15


def programme(channels, frames, seed):
    """Noise in level steps from -60 to 0 dBFS, so the gate and the compressor
    both move."""
    rng = np.random.default_rng(seed)
    steps = 10 ** (rng.uniform(-3, 0, size=(channels, frames // 2000 + 1)))
    return (rng.standard_normal((channels, frames)) * np.repeat(steps, 2000, axis=1)[:, :frames]).astype(np.float32)


def delayed(process, audio, **kw):
    """The strip's output lined up with its input (zeros fed after it)."""
    pad = lambda a: np.concatenate([a, np.zeros(a.shape[:-1] + (LATENCY,), np.float32)], axis=-1)
    return process(pad(audio), **{k: pad(v) for k, v in kw.items()})[..., LATENCY:]


def bits(a):
    return np.ascontiguousarray(a).view(np.uint32)


def sdk_process(fmt, assignments, audio, key):
    """The SDK's C API over ctypes: the same Instance, reached without the module."""
    lib = ctypes.CDLL(os.environ["STEMSTRIP_SDK_C"])
    lib.stemstrip_sdk_create.restype, lib.stemstrip_sdk_last_error.restype = ctypes.c_void_p, ctypes.c_char_p
    handle = ctypes.c_void_p(lib.stemstrip_sdk_create(fmt.encode(), ctypes.c_double(RATE), 0))
    assert lib.stemstrip_sdk_set(handle, assignments.encode()) == 0, lib.stemstrip_sdk_last_error()
    out, floats = np.zeros_like(audio), ctypes.POINTER(ctypes.c_float)
    rows = lambda a: (floats * len(a))(*(r.ctypes.data_as(floats) for r in a))
    assert lib.stemstrip_sdk_process(handle, rows(audio), rows(out), audio.shape[1], key.ctypes.data_as(floats)) == 0
    return out


# One setting of each kind (number, enum, bool, band entry, inf), as a
# nested dict, as dotted names, and as the C API's text.
NESTED = {"compressor": {"thresholdDb": -30, "ratio": float("inf"), "kneeDb": 6},
          "bands": [{}, {"enabled": True, "type": "HighShelf", "frequencyHz": 6000, "gainDb": -4.5}]}
DOTTED = {"expander.gate": True, "expander.gateThresholdDb": -45, "detector.mode": "Average", "detector.externalKey": True}
TEXT = ("compressor.thresholdDb=-30; compressor.ratio=inf; compressor.kneeDb=6; bands[1].enabled=on;"
        "bands[1].type=HighShelf; bands[1].frequencyHz=6000; bands[1].gainDb=-4.5; expander.gate=1;"
        "expander.gateThresholdDb=-45; detector.mode=Average; detector.externalKey=true")


def test_output_equals_the_sdk_and_the_command_line(tmp_path):
    audio, key = programme(6, 30011, seed=1), programme(1, 30011, seed=2)[0]
    strip = stemstrip.Strip("5.1", RATE)  # as the C API does: defaults, then a glide to the settings
    strip.set(**NESTED, **DOTTED)
    assert np.array_equal(bits(strip.process(audio, key)), bits(sdk_process("5.1", TEXT, audio, key)))

    soundfile.write(tmp_path / "in.wav", audio.T, RATE, subtype="FLOAT")
    soundfile.write(tmp_path / "key.wav", key, RATE, subtype="FLOAT")
    sets = [a for line in TEXT.split(";") for a in ("--set", line.strip())]
    subprocess.run([os.environ["STEMSTRIP_CLI"], "render", tmp_path / "in.wav", tmp_path / "cli.wav", "--preset",
                    "film-stem-5.1", "--key", tmp_path / "key.wav", "--block", "777", *sets], check=True,
                   capture_output=True)
    stemstrip.render_file(tmp_path / "in.wav", tmp_path / "py.wav", preset="film-stem-5.1", key=tmp_path / "key.wav",
                          **NESTED, **DOTTED)
    cli, _ = soundfile.read(tmp_path / "cli.wav", dtype="float32")
    from_file, _ = soundfile.read(tmp_path / "py.wav", dtype="float32")
    preset_strip = stemstrip.Strip("5.1", RATE, preset="film-stem-5.1", **NESTED, **DOTTED)
    assert np.array_equal(bits(delayed(preset_strip.process, audio, key=key)), bits(cli.T))
    assert np.array_equal(bits(from_file), bits(cli))


def test_streaming_in_chunks_equals_one_call():
    audio = programme(2, 20000, seed=3)
    whole, chunked = (stemstrip.Strip("stereo", RATE, preset="vocal") for _ in range(2))
    expected, trace = whole.process(audio, meter_block=20000)
    cuts = np.cumsum([0, 1, 15, 16, 17, 0, 1000, 4999])
    parts = [chunked.process(audio[:, a:b], meter_block=7) for a, b in zip(cuts, list(cuts[1:]) + [20000])]
    assert np.array_equal(bits(np.concatenate([p for p, _ in parts], axis=1)), bits(expected))
    # The trace's reads are folded back into read_meters(): the same maxima either way.
    assert max(t["comp_reduction_db"].max(initial=0) for _, t in parts) == trace["comp_reduction_db"][0] > 1
    assert chunked.read_meters() == whole.read_meters()
    chunked.reset()
    assert np.array_equal(bits(chunked(audio)), bits(expected))


# Each source of errors once: the audio checks, the settings parser, the
# validator, the file renderer's own errors.
@pytest.mark.parametrize("mistake, named", [
    (lambda s, x: s.process(x.astype(np.float64)), "dtype float64"),
    (lambda s, x: s.process(x[0]), "shape (1000,)"),
    (lambda s, x: s.process(x, sample_rate=44100), "sample_rate"),
    (lambda s, x: s.set(compressor={"ratoi": 2}), "compressor.ratoi"),
    (lambda s, x: s.set(compressor={"ratio": 0.5}), "compressor.ratio"),
    (lambda s, x: s.set(**{"detector.externalKey": True}) or s.process(x), "key"),
    (lambda s, x: stemstrip.render_file("missing.wav", "out.wav"), "missing.wav: no such file"),
    (lambda s, x: stemstrip.StripBank("stereo", 2)(np.zeros((2, 2, 1000), np.float32)), "multiple of 16"),
    (lambda s, x: stemstrip.StripBank("stereo", 2)(x), "shape (2, 1000)"),
])
def test_mistakes_raise_value_error_naming_the_field(mistake, named):
    strip = stemstrip.Strip("stereo", RATE)
    with pytest.raises(ValueError, match=re.escape(named)):
        mistake(strip, np.zeros((2, 1000), np.float32))


def test_another_thread_runs_while_one_processes():
    # With a switch interval this long the interpreter never takes the GIL
    # away by itself: the waiting thread can only run if process() lets go.
    strip, audio = stemstrip.Strip("7.1", RATE), programme(8, 8192, seed=5)
    go, ran, interval = threading.Event(), threading.Event(), sys.getswitchinterval()
    other = threading.Thread(target=lambda: go.wait() and ran.set())
    other.start()
    sys.setswitchinterval(1000)
    try:
        go.set()
        # Processing until the other thread has run, at most 200 times.
        assert any(strip.process(audio) is not None and ran.is_set() for _ in range(200))
    finally:
        sys.setswitchinterval(interval)
        other.join()


# A NaN in one member renders as in its strip alone, and its neighbours in
# the same core call are untouched by it.
@pytest.mark.parametrize("fmt, channels, count", [("mono", 1, 3), ("stereo", 2, 5)])
def test_bank_equals_its_strips_one_by_one(fmt, channels, count):
    audio = programme(count * channels, 4096, seed=6).reshape(count, channels, 4096)
    audio[1, -1, 300] = np.nan
    bank = stemstrip.StripBank(fmt, count, RATE, preset="drum-bus")
    strips = [stemstrip.Strip(fmt, RATE, preset="drum-bus") for _ in range(count)]
    for member in range(1, count, 2):  # members with settings of their own
        for one in (bank.set, lambda _, **s: strips[member].set(**s)):
            one(member, compressor={"ratio": 1 + member}, **{"bands[2].gainDb": -member})
    first, second = bank(audio[..., :2048]), bank(audio[..., 2048:])
    for member, strip in enumerate(strips):
        alone = delayed(strip.process, audio[member])
        assert np.array_equal(bits(np.concatenate([first[member], second[member]], axis=-1)), bits(alone))
    assert [bank.read_meters(member) for member in range(count)] == [strip.read_meters() for strip in strips]


def test_plot_data_at_worked_points():
    # 4:1 above -20 dB, hard knee, no makeup: 12 dB over comes out 3 dB over.
    curve = stemstrip.transfer_curve({"compressor": {"thresholdDb": -20, "ratio": 4}}, [-40, -20, -8])
    assert np.allclose(curve["total_db"], [0, 0, -9], atol=1e-6)
    # A +6 dB bell gives +6 dB at its centre; a post-dynamics cut adds to the total.
    bands = [{"enabled": True, "gainDb": 6}, {"enabled": True, "placement": "PostDynamics", "frequencyHz": 1000, "gainDb": -2}]
    eq = stemstrip.eq_response({"bands": bands}, [1000.0], RATE)
    responses = [eq["bands"][0], eq["bands"][1], eq["pre_dynamics_db"], eq["post_dynamics_db"], eq["total_db"]]
    assert np.allclose(np.concatenate(responses), [6, -2, 6, -2, 4], atol=1e-3)
