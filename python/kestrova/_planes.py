"""Enlarging along a guide, box means, blending and sharpening."""

from . import _kestrova
from ._documentation import documented
from ._resampling import INTERPOLATIONS, code_of


@documented
def guided_upsize(guide, low, *, factor=2, radius=2, eps=1e-4, interpolation="cubic", out=None, threads=None):
    """Enlarge a plane to the size of a guide so that its edges follow the guide's.

    The model of a guided filter is fitted at the small size, to the reduced guide, and applied at the large one.

    Parameters
    ----------
    guide : ndarray, shape (height, width) or (height, width, 3)
        dtype uint8 or uint16.
    low : ndarray, shape (ceil(height / factor), ceil(width / factor))
        The plane to enlarge, uint8 or uint16; its full scale becomes that of the guide.
    factor : int, 2 or more
    radius : int, 0 to 32767
        Of the window, in pixels of `low`; 1 to 16 as a rule.
    eps : float, above 0
        The variance of the guide, on the scale 0..1, below which the result is smoothed rather than made to follow
        it: 1e-6 to 1e-2 as a rule.
    interpolation : {"cubic", "linear", "nearest"}
        How a guide of three planes is reduced; a guide of one plane is always reduced cubically.
    out : ndarray, optional
        Gets the result: the guide's height, width and dtype.
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        Of the guide's dtype.

    $raises

    References
    ----------
    K. He, J. Sun, "Fast Guided Filter", arXiv:1505.00996, 2015. J. Kopf, M. F. Cohen, D. Lischinski, M. Uyttendaele,
    "Joint Bilateral Upsampling", SIGGRAPH 2007.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> guide = np.full((41, 60), 7000, np.uint16)
    >>> low = np.full((21, 30), 200, np.uint8)
    >>> large = kestrova.guided_upsize(guide, low)
    >>> large.shape, int(large[20, 30])
    ((41, 60), 51400)
    """
    codes = {name: code for name, code in INTERPOLATIONS.items() if name != "pyramid"}
    return _kestrova.guided_upsize(guide, low, factor, radius, eps, code_of(interpolation, codes), out, threads)


@documented
def chroma_upsize(guide, low, *, out=None, threads=None):
    """Enlarge a plane by 2 along the edges of a guide by copying pixels.

    Each new pixel is the copy of that neighbour whose guide value is nearest its own, so that edges of colour follow
    edges of luminance, and no new values come up.

    Parameters
    ----------
    guide : ndarray, shape (height, width)
        dtype uint16, any values.
    low : ndarray, shape (ceil(height / 2), ceil(width / 2))
        dtype uint16, any values.
    out : ndarray, optional
        Gets the result: the guide's height, width and dtype.
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        dtype uint16.

    $raises

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> guide = np.full((6, 8), 100, np.uint16)
    >>> low = np.full((3, 4), 32768, np.uint16)
    >>> np.unique(kestrova.chroma_upsize(guide, low)).tolist()
    [32768]
    """
    return _kestrova.chroma_upsize(guide, low, out, threads)


@documented
def box_filter(src, *, radius, iterations=1, out=None, progress=None, threads=None):
    """Blur a plane by repeated means over a square window.

    Above a radius of 53 the passes work on a copy reduced by ``1 + radius // 54``, so that the cost does not grow
    with the radius.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint8 or uint16.
    radius : int, 0 or more
        In pixels; the window has ``2 * radius + 1`` pixels a side, with mirrored edges. 0 copies.
    iterations : int, 0 or more
        3 come close to a Gaussian. 0 copies.
    $out
    $progress
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        Of the dtype of `src`; means are rounded to nearest, halves up.

    $raises

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> spot = np.zeros((5, 5), np.uint8)
    >>> spot[2, 2] = 90
    >>> kestrova.box_filter(spot, radius=1)[2].tolist()
    [0, 10, 10, 10, 0]
    """
    return _kestrova.box_filter(src, radius, iterations, out, progress, threads)


@documented
def blend(first, second, alpha, *, strength=1.0, out=None, threads=None):
    """Mix two planes under a mask: ``first * (1 - w) + second * w`` with ``w = strength * alpha / 255``.

    Parameters
    ----------
    first, second : ndarray, shape (height, width)
        Of one dtype, uint8, uint16 or float32.
    alpha : ndarray, shape (height, width)
        dtype uint8: 0 gives `first`, 255 `second`.
    strength : float, 0 to 1
    out : ndarray, optional
        Gets the result: height, width and dtype of `first`. It may be one of the inputs.
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        Of the dtype of `first`; integers are truncated.

    $raises

    References
    ----------
    T. Porter, T. Duff, "Compositing Digital Images", SIGGRAPH 1984.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> black, white = np.zeros((1, 3), np.float32), np.ones((1, 3), np.float32)
    >>> kestrova.blend(black, white, np.array([[0, 255, 0]], np.uint8)).tolist()
    [[0.0, 1.0, 0.0]]
    """
    return _kestrova.blend(first, second, alpha, strength, out, threads)


@documented
def extreme_sharpen(src, *, out=None, threads=None):
    """Sharpen a plane: each pixel becomes the nearer of the extremes of its 3 by 3 neighbourhood.

    On a tie it is the minimum. The outermost rows and columns stay.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint16.
    $out
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        dtype uint16.

    $raises

    References
    ----------
    H. P. Kramer, J. B. Bruckner, "Iterations of a Non-linear Transformation for Enhancement of Digital Images", 1975.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> soft = np.tile(np.array([0, 0, 30, 70, 100, 100], np.uint16), (5, 1))
    >>> kestrova.extreme_sharpen(soft)[2].tolist()
    [0, 0, 0, 100, 100, 100]
    """
    return _kestrova.extreme_sharpen(src, out, threads)
