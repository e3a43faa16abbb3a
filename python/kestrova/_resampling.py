"""Planes between scales."""

from . import _kestrova
from ._arguments import at_least, one_of
from ._documentation import documented

INTERPOLATIONS = {"nearest": 1, "linear": 2, "cubic": 4, "pyramid": _kestrova.PYRAMID}


def code_of(interpolation, codes=INTERPOLATIONS):
    """The library's code of an interpolation; ValueError for a name that is none of `codes`."""
    return codes[one_of("interpolation", interpolation, codes)]


@documented
def downsize(src, factor=2, *, interpolation="cubic", shape=None, out=None, threads=None):
    """Reduce a plane by a whole factor.

    With pixel centres counted from 0, pixel x of the result takes the plane at ``factor * x + factor / 2 - 1``, so
    that an even factor copies single pixels. For a mean over the pixels that are left out, blur first, or use
    ``interpolation="pyramid"``.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint8, uint16 or float32.
    factor : int, 1 or more
    interpolation : {"cubic", "linear", "nearest", "pyramid"}
        Keys' cubic with a = -1/2 over four by four pixels, two by two pixels, the pixel that holds the position, or,
        for a factor of 2, a step of the Gaussian pyramid.
    shape : (int, int), optional
        Height and width of the result, of which the top left is then computed. By default, and at most,
        ``ceil(height / factor)`` and ``ceil(width / factor)``. The pyramid takes that size or half of it rounded down.
    out : ndarray, optional
        Gets the result: `shape` and the dtype of `src`.
    $threads

    Returns
    -------
    ndarray
        Of the dtype of `src`; integers are rounded to nearest, halves up. Of a width that the factor does not divide,
        the last column repeats the one before it.

    $raises

    References
    ----------
    R. G. Keys, "Cubic Convolution Interpolation for Digital Image Processing", IEEE Transactions on Acoustics, Speech,
    and Signal Processing 29, 1981.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> plane = np.arange(64, dtype=np.uint16).reshape(8, 8)
    >>> kestrova.downsize(plane).tolist()[0]
    [0, 2, 4, 6]
    """
    return _kestrova.downsize(src, factor, code_of(interpolation), shape, out, threads)


@documented
def upsize(src, factor=2, *, interpolation="cubic", shape=None, out=None, threads=None):
    """Enlarge a plane by a whole factor.

    With pixel centres counted from 0, pixel x of the result takes the plane at
    ``(x + 1 / 2 + 1 / factor) / factor - 1 / 2``: at ``x / 2`` for a factor of 2, the way back from `downsize`.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint8, uint16 or float32.
    factor : int, 1 or more
    interpolation : {"cubic", "linear", "nearest", "pyramid"}
        As in `downsize`.
    shape : (int, int), optional
        Height and width of the result, of which the top left is then computed: for a plane that came of an odd size.
        By default, and at most, ``factor`` times the height and width of `src`. The pyramid takes that or one less.
    out : ndarray, optional
        Gets the result: `shape` and the dtype of `src`.
    $threads

    Returns
    -------
    ndarray
        Of the dtype of `src`; integers are rounded to nearest, halves up.

    $raises

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> kestrova.upsize(np.array([[0, 100]], np.uint8), interpolation="linear").tolist()[0]
    [0, 50, 100, 100]
    """
    return _kestrova.upsize(src, factor, code_of(interpolation), shape, out, threads)


@documented
def gaussian_pyramid(src, levels, *, threads=None):
    """A plane, blurred and reduced by 2 again and again.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint8, uint16 or float32.
    levels : int, 1 or more
        With that of `src` itself.
    $threads

    Returns
    -------
    list of ndarray
        The finest first, which is `src`; each of half the height and width of the one before, rounded up, and of the
        dtype of `src`.

    $raises

    References
    ----------
    P. J. Burt, E. H. Adelson, "The Laplacian Pyramid as a Compact Image Code", IEEE Transactions on Communications 31,
    1983.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> [level.shape for level in kestrova.gaussian_pyramid(np.zeros((20, 33), np.float32), 3)]
    [(20, 33), (10, 17), (5, 9)]
    """
    at_least(1, "levels", levels)
    pyramid = [src]
    for _ in range(levels - 1):
        pyramid.append(downsize(pyramid[-1], interpolation="pyramid", threads=threads))
    return pyramid


@documented
def laplacian_pyramid(src, levels, *, threads=None):
    """A plane taken apart into bands of detail, each an octave wide.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype float32.
    levels : int, 1 or more
    $threads

    Returns
    -------
    list of ndarray
        dtype float32, the finest detail first; the last is what is left, the coarsest level of `gaussian_pyramid`.

    $raises

    See Also
    --------
    collapse_pyramid : the way back.

    References
    ----------
    P. J. Burt, E. H. Adelson, "The Laplacian Pyramid as a Compact Image Code", IEEE Transactions on Communications 31,
    1983.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> plane = np.random.default_rng(1).random((20, 33), np.float32)
    >>> bands = kestrova.laplacian_pyramid(plane, 3)
    >>> bool(np.allclose(kestrova.collapse_pyramid(bands), plane, atol=1e-6))
    True
    """
    if str(getattr(src, "dtype", "")) != "float32":
        raise TypeError(
            "src: expected an array of shape (height, width) and dtype float32, got "
            + f"{getattr(src, 'dtype', type(src).__name__)}"
        )
    gaussian = gaussian_pyramid(src, levels, threads=threads)
    bands = []
    for fine, coarse in zip(gaussian, gaussian[1:]):
        bands.append(fine - upsize(coarse, interpolation="pyramid", shape=fine.shape, threads=threads))
    return bands + gaussian[-1:]


@documented
def collapse_pyramid(bands, *, threads=None):
    """A plane put together again from the bands of `laplacian_pyramid`, changed or not.

    Parameters
    ----------
    bands : sequence of ndarray
        dtype float32, with the shapes that `laplacian_pyramid` gives them.
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        dtype float32.

    $raises

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> plane = np.random.default_rng(1).random((20, 33), np.float32)
    >>> fine, medium, rest = kestrova.laplacian_pyramid(plane, 3)
    >>> crisp = kestrova.collapse_pyramid([2 * fine, medium, rest])
    >>> crisp.shape
    (20, 33)
    """
    bands = list(bands)
    if not bands:
        raise ValueError("bands: expected at least one array")
    plane = bands[-1]
    for band in reversed(bands[:-1]):
        plane = band + upsize(plane, interpolation="pyramid", shape=band.shape, threads=threads)
    return plane


@documented
def view(src, x, y, width, height, *, step=1, half=False, smooth=False, threads=None):
    """A rectangle of a plane at every `step`-th pixel, as the detail engine samples it.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint8, uint16 or float32.
    x, y : int
        The first pixel, in pixels of the full-size picture.
    width, height : int, above 0
        Of the result, in its own pixels: it covers ``step`` times as many of `src`.
    step : int, 1 or more
    half : bool
        Says that `src` is a half-size plane of the picture: `x` and `y`, `width` and `height` are those of the view of
        the full-size planes, and are halved first, the latter two rounded up.
    smooth : bool
        Takes box means over some two thirds of `step` first, as the engine does with details beyond
        `DetailEngine.max_plain_step`.
    $threads

    Returns
    -------
    ndarray
        Of the dtype of `src`. At step 1 a rectangle that reaches beyond the right or bottom edge is cut there; one
        that begins outside fails.

    $raises

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> plane = np.arange(48, dtype=np.uint16).reshape(6, 8)
    >>> kestrova.view(plane, 2, 1, 3, 2).tolist()
    [[10, 11, 12], [18, 19, 20]]
    """
    return _kestrova.view(src, x, y, width, height, step, half, smooth, threads)
