"""Tone curves and look-up tables."""

import numpy as np

from . import _kestrova
from ._arguments import one_of
from ._documentation import documented


class Spline:
    """A not-a-knot cubic spline through a few points: the shape behind every tone curve.

    Parameters
    ----------
    points : sequence of (float, float)
        Pairs (x, y) with ascending x. Below four points the curve is the polynomial through them.

    Raises
    ------
    ValueError
        For points that are not finite or do not ascend.

    Notes
    -----
    Computed in single precision. Beyond either end the end segment goes on, unclamped.

    References
    ----------
    C. de Boor, *A Practical Guide to Splines*, Springer, 1978.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> lifted = kestrova.Spline([(0, 0), (0.25, 0.4), (0.5, 0.6), (0.75, 0.8), (1, 1)])
    >>> round(float(lifted(0.25)), 3)
    0.4
    >>> lifted(np.linspace(0, 1, 5)).shape
    (5,)
    """

    __slots__ = ("_core", "_points")

    def __init__(self, points):
        self._points = tuple((float(x), float(y)) for x, y in points)
        self._core = _kestrova.Spline(self._points)

    @property
    def points(self):
        """tuple of (float, float) : the points."""
        return self._points

    def __call__(self, at):
        """The values at `at`, a number or an array of numbers, as float32 of the same shape."""
        return self._core.values(at)[()]

    def __repr__(self):
        return f"Spline({list(self._points)})"


def detail_table(
    strength=0.0,
    threshold=0.0,
    *,
    bits=16,
    base_strength=0.0,
    base_threshold=0.0,
    k_min=0.0,
    k_max=6.0,
    half_width=None,
    blur=0.35,
):
    """A table for signed detail planes: a line through the middle, with a step or a dead zone there.

    Parameters
    ----------
    strength : float
        -1.5 to 1.5 of 16 bits, -1 to 1 of 8: the slope is 1 at 0, about `k_max` at 1 and `k_min` at -1.
    threshold : float
        In the same range. Above 0 small detail gets the size of the threshold, below 0 it becomes zero.
    bits : {16, 8}
        Detail planes have their zero at 32768 or 128. The formulas of the two differ on purpose: of 16 bits a range of
        1.5 and dead zones damped by 0.4.
    base_strength, base_threshold : float
        What `strength` and `threshold` start from, in the same ranges.
    k_min, k_max : float
        Slopes at a strength of -1 and 1.
    half_width : int, optional
        Of the step or dead zone at a threshold of 1, in levels: 8191 or 32 by default.
    blur : float
        Sigma of the smoothing of the table, per level of half width.

    Returns
    -------
    ndarray, shape (65536,) or (256,)
        dtype uint16 or uint8, for `apply_table`.

    Raises
    ------
    ValueError
        For another number of bits.

    References
    ----------
    L. Alvarez, L. Mazorra, "Signal and Image Restoration Using Shock Filters and Anisotropic Diffusion", SIAM Journal
    on Numerical Analysis 31, 1994: the recursive Gaussian that smooths tables.

    Examples
    --------
    >>> import kestrova
    >>> table = kestrova.detail_table(-1.0, bits=8)
    >>> int(table[0]), int(table[128]), int(table[255])
    (128, 128, 128)
    """
    one_of("bits", bits, (8, 16))
    if half_width is None:
        half_width = 32 if bits == 8 else 8191
    build = _kestrova.detail_table_8 if bits == 8 else _kestrova.detail_table_16
    return build(strength, threshold, base_strength, base_threshold, k_min, k_max, half_width, blur)


def light_table(*, brightness=0.0, contrast=0.0, shadows=0.0, highlights=0.0, k_min=0.0, k_max=6.0):
    """A table of light: a line that is raised and turned, through a tone curve.

    Parameters
    ----------
    brightness : float, -1 to 1
        Raises the line by 0.4 of half the scale times as much.
    contrast : float, -1 to 1
        The line's slope: 1 at 0, `k_max` at 1 and `k_min` at -1.
    shadows, highlights : float, -1 to 1
        Move the tone curve at a quarter and at three quarters of the scale, upwards above 0.
    k_min, k_max : float
        See `contrast`.

    Returns
    -------
    ndarray, shape (65536,)
        dtype uint16, for `apply_table`.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> lighter = kestrova.light_table(shadows=0.5)
    >>> bool(lighter[16384] > 16384), int(lighter[0]), int(lighter[65535])
    (True, 0, 65535)
    """
    return _kestrova.light_table(brightness, contrast, shadows, highlights, k_min, k_max)


def rule_table(rule):
    """A table of a rule for luminance, sampled at every sixteenth level and linear in between.

    Parameters
    ----------
    rule : callable
        Gets the 4096 levels 0, 16, ..., 65520 as an array of uint16 and answers with as many values, 0 to 65535,
        which are rounded to nearest.

    Returns
    -------
    ndarray, shape (65536,)
        dtype uint16, for `apply_table`. Level ``16 * i + 8 + k`` lies ``(2 * k + 1) / 32`` of the way from sample i to
        the next, and the ends repeat the end samples: an identity gives nearly the identity.

    Raises
    ------
    ValueError
        For another number of values, and for values that are not finite.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> gamma = kestrova.rule_table(lambda y: 65535 * (y / 65535) ** (1 / 2.2))
    >>> abs(int(gamma[32768]) - 47825) < 10
    True
    """
    levels = np.arange(0, 65536, 16, dtype=np.uint16)
    values = np.asarray(rule(levels))
    if values.shape != levels.shape:
        raise ValueError(f"rule: expected an answer of shape {levels.shape}, got {values.shape}")
    if not np.isfinite(values).all():
        raise ValueError("rule: expected finite values")
    return _kestrova.rule_table(np.rint(values).clip(0, 65535).astype(np.uint16)[np.newaxis])


@documented
def apply_table(src, table, *, out=None, threads=None):
    """Replace each pixel by the entry of a table.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint8 or uint16.
    table : ndarray
        Of shape (256,) and dtype uint8 or uint16 for bytes, (65536,) and uint16 for words.
    out : ndarray, optional
        Gets the result: height and width of `src`, dtype of `table`. It may be `src`.
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        Of the dtype of `table`.

    $raises

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> negative = np.arange(255, -1, -1, dtype=np.uint8)
    >>> kestrova.apply_table(np.array([[0, 100, 255]], np.uint8), negative).tolist()
    [[255, 155, 0]]
    """
    if isinstance(table, np.ndarray) and table.ndim == 1:
        table = table[np.newaxis]
    return _kestrova.apply_table(src, table, out, threads)
