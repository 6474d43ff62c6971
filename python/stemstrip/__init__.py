"""The stemstrip channel strip on numpy arrays.

Audio is float32, channels first: shape (channels, frames), each row one
channel in the strip's own order (``Strip.channel_labels``; WAV order except
that 7.1 puts the side pair before the back pair). A mono strip also takes a
1-D array. Mistakes in shape, dtype, sample rate or settings raise ValueError
naming the argument or settings field.

Settings are keyword arguments, either nested dicts or the dotted names the
command line's ``--set`` takes, applied in order on top of the preset::

    strip = stemstrip.Strip("stereo", 48000, preset="vocal",
                            compressor={"ratio": 4, "thresholdDb": -18},
                            **{"bands[0].gainDb": -3})
"""

import os
from collections.abc import Mapping

import numpy as np

from . import _stemstrip

__all__ = ["Strip", "StripBank", "render_file", "eq_response", "transfer_curve"]


def _join(path, key):
    if isinstance(key, int):
        return f"{path}[{key}]"
    if isinstance(key, str):
        return f"{path}.{key}" if path else key
    raise ValueError(f"{path or 'settings'}: key {key!r} is neither a field name nor an index")


def _text(value):
    if isinstance(value, (bool, np.bool_)):
        return "true" if value else "false"
    if value is None:
        return "null"
    if isinstance(value, str):
        return value
    if isinstance(value, (list, tuple, np.ndarray)):
        return ",".join(_text(v) for v in value)
    if isinstance(value, (int, np.integer)):
        return str(int(value))
    return repr(float(value))  # shortest text that reads back as the same double


def _path(p):
    return None if p is None else os.fspath(p)


def _assignments(settings, path=""):
    """Nested dicts and lists of dicts as "PATH=VALUE" lines for the SDK's parser."""
    lines = []
    items = enumerate(settings) if isinstance(settings, (list, tuple)) else settings.items()
    for key, value in items:
        where = _join(path, key)
        if isinstance(value, Mapping) or (
            isinstance(value, (list, tuple)) and any(isinstance(v, Mapping) for v in value)
        ):
            lines += _assignments(value, where)
        else:
            lines.append(f"{where}={_text(value)}")
    return lines


class Strip(_stemstrip.Strip):
    """One channel strip of a stem format ("mono", "stereo", "lcr", "quad",
    "lcrs", "5.0", "5.1", "6.0", "6.1", "7.0", "7.1").

    ``preset`` is a built-in preset name or a preset JSON file; settings
    keywords change it. ``process(audio, key=None, *, sample_rate=None,
    meter_block=None)`` (or calling the strip) returns a new float32 array of
    the audio's shape, ``latency`` frames behind the input; state carries on
    across calls, so chunks give the same result as one call. ``key`` is a
    1-D float32 side-chain (with ``detector.externalKey`` on). With
    ``sample_rate`` the audio's rate is checked against the strip's. With
    ``meter_block=N`` it returns ``(audio, trace)``, where trace holds the
    deepest compressor and expander gain reduction (dB) of every N frames.
    The GIL is released while processing.
    """

    def __init__(self, format="stereo", sample_rate=48000, preset=None, **settings):
        super().__init__(format, sample_rate, _path(preset), _assignments(settings))

    def set(self, **settings):
        """Change settings; the strip glides there from the next process()."""
        self._set(_assignments(settings))

    def __repr__(self):
        return f"Strip({self.format!r}, {self.sample_rate:g})"


class StripBank(_stemstrip.StripBank):
    """``count`` strips of one format processed together in one call per
    block (mono and stereo strips then run side by side in vector lanes).

    Audio is shaped (count, channels, frames), frames a multiple of 16;
    there is no delay and no side-chain key. ``set(member, **settings)``
    changes one member; ``read_meters(member)`` reads one.
    """

    def __init__(self, format="stereo", count=1, sample_rate=48000, preset=None, **settings):
        super().__init__(format, count, sample_rate, _path(preset), _assignments(settings))

    def set(self, member, **settings):
        self._set(member, _assignments(settings))


def render_file(src, dst, preset=None, *, key=None, format=None, report=None, **settings):
    """Render a WAV, FLAC or AIFF file exactly as ``stemstrip render`` does:
    the format from the channel mask (or ``format``), the delay removed, the
    output written whole or not at all. Returns the render summary."""
    return _stemstrip._render_file(os.fspath(src), os.fspath(dst), _path(preset), _assignments(settings),
                                   _path(key), format, _path(report))


def eq_response(settings, freqs, sample_rate, format="stereo"):
    """EQ magnitude in dB at ``freqs`` (Hz): ``bands`` (each enabled band on
    its own, by index), ``pre_dynamics_db``, ``post_dynamics_db`` and
    ``total_db``, from the coefficients the strip runs with."""
    return _stemstrip._eq_response(_assignments(settings), freqs, sample_rate, format)


def transfer_curve(settings, levels_db, sample_rate=48000, format="stereo"):
    """Static gain in dB at constant detector levels: ``compressor_db``,
    ``expander_db`` and ``total_db`` (with the makeup); the output level is
    ``levels_db + total_db``."""
    return _stemstrip._transfer_curve(_assignments(settings), levels_db, sample_rate, format)
