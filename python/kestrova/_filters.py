"""Edge-aware filters."""

from . import _kestrova
from ._arguments import one_of
from ._documentation import documented

#: Kernels of `convolution_pyramid` that recover a plane, but for a constant, from its negative Laplacian.
POISSON_KERNELS = ((0.15, 0.5, 0.7, 0.5, 0.15), (0.15, 0.5, 0.7, 0.5, 0.15), (0.175, 0.547, 0.175))

#: Kernels of `convolution_pyramid` that spread scattered values smoothly: the result for the values is divided by the
#: result for the plane that is 1 where there is a value.
SCATTERED_KERNELS = (
    (0.1507, 0.6836, 1.0334, 0.6836, 0.1507),
    tuple(0.0269 * k for k in (0.1507, 0.6836, 1.0334, 0.6836, 0.1507)),
    (0.0312, 0.7753, 0.0312),
)


@documented
def guided_filter(guide, src=None, *, radius=8, eps=0.001, out=None, threads=None):
    """Smooth a plane so that it follows the edges of a guide.

    In the window around each pixel the plane is fitted as a linear function of the guide; the result is the mean of
    these functions. With the plane as its own guide, edges stay and texture goes.

    Parameters
    ----------
    guide : ndarray, shape (height, width) or (height, width, 3)
        dtype uint8, uint16 or float32. A colour guide tells edges apart that luminance alone does not show.
    src : ndarray, shape (height, width), optional
        The plane to filter, of the guide's dtype. By default the guide itself, which then has one plane.
    radius : int, 0 to 32767
        In pixels; the window has ``2 * radius + 1`` pixels a side, with the outermost pixels repeated beyond the
        edge. 2 to 16 suits noise and small detail, up to some 1/30 of the longer side large structure.
    eps : float, above 0
        The variance of the guide below which the plane is smoothed rather than followed, on the scale 0..1: values
        are divided by 255 or 65535 first, those of float32 are taken as they are. 1e-4 (only faint texture goes) to
        0.1 (close to a box mean).
    out : ndarray, optional
        Gets the result: the guide's height, width and dtype. It may be one of the inputs.
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        Of the guide's dtype; integers are rounded to nearest, ties to even, and clamped to their range. The same
        bits with any number of threads.

    $raises

    See Also
    --------
    GuidedFilter : the two halves, fit and application, at sizes of their own.
    guided_upsize : enlarging along a guide.

    Notes
    -----
    The cost grows slowly with the radius: from 64 on it is 1.5 to 2 times that at 8. Colour guides take about three
    times as long.

    References
    ----------
    K. He, J. Sun, X. Tang, "Guided Image Filtering", ECCV 2010; IEEE TPAMI 35(6), 2013.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> y = np.full((40, 60), 20000, np.uint16)
    >>> y[:, 30:] = 50000
    >>> smooth = kestrova.guided_filter(y, radius=4, eps=1e-4)
    >>> int(smooth[20, 5]), int(smooth[20, 55])
    (20000, 50000)
    """
    return _kestrova.guided_filter(guide, src, radius, eps, out, threads)


class GuidedFilter:
    """The guided filter in two halves, which may run at different sizes.

    `fit` finds, at one size, the plane as a linear function of a guide; `apply` computes it from a guide that may be
    larger: a model that is fitted at a quarter of the size costs a sixteenth.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> y = np.full((40, 60), 20000, np.uint16)
    >>> small = kestrova.downsize(y)
    >>> model = kestrova.GuidedFilter()
    >>> model.fit(small, radius=4, eps=1e-4)
    >>> model.apply(y).shape
    (40, 60)

    References
    ----------
    K. He, J. Sun, "Fast Guided Filter", arXiv:1505.00996, 2015.
    """

    __slots__ = ("_core",)

    def __init__(self):
        self._core = _kestrova.GuidedFilter()

    @property
    def fitted(self):
        """bool : whether there is a model."""
        return self._core.fitted

    @documented
    def fit(self, guide, src=None, *, radius=8, eps=0.001, threads=None):
        """Fit the model, which replaces the one before.

        Parameters
        ----------
        guide, src, radius, eps
            As of `kestrova.guided_filter`.
        $threads

        $raises
        """
        self._core.fit(guide, src, radius, eps, threads)

    @documented
    def apply(self, guide, *, out=None, threads=None):
        """Compute the plane from a guide.

        Parameters
        ----------
        guide : ndarray, shape (height, width) or (height, width, 3)
            As many planes as the model was fitted with, of any size. A coefficient of the model serves a block of
            pixels where uint8 and uint16 are filtered; of float32 the coefficients are enlarged, cubically with one
            plane, to the nearest with three.
        out : ndarray, optional
            Gets the result: the guide's height, width and dtype.
        $threads

        Returns
        -------
        ndarray, shape (height, width)
            Of the guide's dtype.

        $raises
        """
        return self._core.apply(guide, out, threads)


@documented
def bilateral_grid(
    src, guide=None, *, space_sampling=16, range_sampling=None, out=None, progress=None, threads=None
):
    """Smooth a plane by a cross-bilateral filter on a coarse grid over x, y and the guide's value.

    Pixels are summed up in the grid's cells, the grid is blurred along its three axes, and each pixel is read back by
    trilinear interpolation, half a cell lower along the guide's axis than it was put in.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint8 or uint16.
    guide : ndarray, shape (height, width), optional
        dtype uint8, uint16 or float32, with values within +-2**31. By default `src`.
    space_sampling : int, 2 or more
        Pixels per cell in x and y; the spatial sigma is 0.85 of it. 8 to 64 is usual; the more, the faster.
    range_sampling : int, 1 or more, optional
        Levels of the guide per cell; the sigma among values is 0.85 of it. Some 5 to 20 percent of the guide's span
        is usual. By default a tenth of the full scale of the guide's dtype, of float32 a tenth of its span, at least 1.
        Where the span takes more than 248 cells, a 248th of the span is taken instead.
    $out
    $progress
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        Of the dtype of `src`.

    $raises

    References
    ----------
    J. Chen, S. Paris, F. Durand, "Real-time Edge-Aware Image Processing with the Bilateral Grid", SIGGRAPH 2007.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> y = np.full((40, 60), 100, np.uint8)
    >>> bool((kestrova.bilateral_grid(y, space_sampling=8, range_sampling=20) == 100).all())
    True
    """
    if range_sampling is None:
        range_sampling = _tenth_of_scale(src if guide is None else guide)
    return _kestrova.bilateral_grid(src, guide, space_sampling, range_sampling, out, progress, threads)


def _tenth_of_scale(guide):
    scale = {"uint8": 255, "uint16": 65535}.get(str(getattr(guide, "dtype", "")))
    if scale is None:
        span = float(guide.max()) - float(guide.min()) if getattr(guide, "size", 0) else 0.0
        scale = span if span == span and span < 2**32 else 10
    return max(1, int(scale // 10))


@documented
def gradient_guide(src, guide, *, radius=2, out=None, threads=None):
    """Move pixels of a plane to the values of a guide, within the values around them.

    A pixel that is nearer its local maximum, or as near to both, goes down to the guide's value at its place if that
    lies between the pixel and its local minimum; one nearer its local minimum goes up to it if it lies between the
    pixel and its local maximum; others stay, and so do those nearer than `radius` to the edge of the plane.

    Parameters
    ----------
    src, guide : ndarray, shape (height, width)
        Both uint8 or both uint16.
    radius : int
        Of the disc that the extremes are taken over, in pixels. 0 changes nothing.
    $out
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        Of the dtype of `src`.

    $raises

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> ramp = np.tile(np.arange(0, 90, 10, dtype=np.uint8), (9, 1))
    >>> kestrova.gradient_guide(ramp, ramp + 3, radius=1)[4, 3:6].tolist()
    [30, 40, 50]
    >>> kestrova.gradient_guide(ramp, ramp - 3, radius=1)[4, 3:6].tolist()
    [27, 37, 47]
    """
    return _kestrova.gradient_guide(src, guide, radius, out, threads)


@documented
def local_laplacian(src, *, alpha, blur=0.3, levels=None, references=10, out=None, threads=None):
    """Soften or boost detail by a local Laplacian pyramid, in its fast form.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint16, 0..65535.
    alpha : float, between -1 and 1
        The size of the detail that is changed, in parts of 32768: differences of up to ``abs(alpha) * 32768`` from
        the surroundings are flattened if it is positive and doubled if it is negative; from there to twice that size
        the effect fades, and larger steps, the edges, stay. 0.05 to 0.4 is usual.
    blur : float, 0 to 1
        Smooths the bends of the remap curve: sigma per unit of its size.
    levels : int, 1 or more, optional
        Of the pyramid; detail up to about ``2**levels`` pixels is reached. By default as many as make the coarsest
        level a pixel or two wide.
    references : {10, 16, 24}
        Levels of grey that the picture is remapped around: 10 serve ``abs(alpha)`` from 0.2 up, 24 from 0.08. Time
        and memory, some ``references / 6 + 3`` bytes a pixel, grow with them.
    $out
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        dtype uint16.

    $raises

    Notes
    -----
    Values above the top reference (58977 of 10, 61425 of 16, 62790 of 24) are extrapolated, and cut to their low 16
    bits: with a negative `alpha` near-white wraps to black. Leave headroom where detail is boosted: filter
    ``0.875 * y + 4096`` with ``0.875 * alpha``, and map the result back.

    References
    ----------
    S. Paris, S. W. Hasinoff, J. Kautz, "Local Laplacian Filters: Edge-aware Image Processing with a Laplacian
    Pyramid", SIGGRAPH 2011. M. Aubry, S. Paris, S. W. Hasinoff, J. Kautz, F. Durand, "Fast Local Laplacian Filters:
    Theory and Applications", ACM TOG 33, 2014.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> y = np.tile(np.array([[30000, 31000]], np.uint16), (32, 16))
    >>> soft = kestrova.local_laplacian(y, alpha=0.2)
    >>> bool(np.ptp(soft[8:24, 8:24]) < 500)
    True
    """
    if levels is None:
        height, width = getattr(src, "shape", (2, 2))[:2] if getattr(src, "ndim", 0) >= 2 else (2, 2)
        levels = _kestrova.local_laplacian_levels(max(1, height), max(1, width), 1.0)
    return _kestrova.local_laplacian(src, alpha, blur, levels, references, out, threads)


@documented
def convolution_pyramid(src, k1, k2, k3, *, out=None, threads=None):
    """Filter with a large support by three small kernels and a pyramid.

    The plane is analysed with `k1` down to a cell or two; on the way up each level adds the coarser result, enlarged
    by zeros and filtered with `k2`, and its own signal, filtered with `k3`. Each kernel is used on both axes. Beyond
    the edge the signal is 0 at every level. The cost is linear in the pixels, whatever the support.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype uint8, uint16 or float32, on any scale.
    k1, k2, k3 : sequence of float
        Kernels, correlated about the middle tap. `POISSON_KERNELS` and `SCATTERED_KERNELS` are two sets of them.
    out : ndarray, optional
        Gets the result: float32, of the height and width of `src`.
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        dtype float32, on the scale of `src`.

    $raises

    References
    ----------
    Z. Farbman, R. Fattal, D. Lischinski, "Convolution Pyramids", SIGGRAPH Asia 2011.

    Examples
    --------
    Spread three values over a plane.

    >>> import kestrova, numpy as np
    >>> values, known = np.zeros((2, 64, 64), np.float32)
    >>> values[10, 10], values[50, 12], values[30, 50] = 1, 1, 1
    >>> known[values > 0] = 1
    >>> spread = kestrova.convolution_pyramid(values, *kestrova.SCATTERED_KERNELS)
    >>> weight = kestrova.convolution_pyramid(known, *kestrova.SCATTERED_KERNELS)
    >>> bool(np.allclose(spread / weight, 1))
    True
    """
    return _kestrova.convolution_pyramid(src, list(k1), list(k2), list(k3), out, threads)


@documented
def weighted_least_squares(src, guide=None, *, lam=1.0, alpha=1.2, log_guide=False, out=None, threads=None):
    """Smooth a plane by weighted least squares, with a direct solver.

    The result u of the plane b minimises, over all pixels and all pairs of neighbours,
    ``sum (u - b)**2 + sum lam / (abs(difference of the guide)**alpha + 0.0001) * (difference of u)**2``.

    Parameters
    ----------
    src : ndarray, shape (height, width)
        dtype float32, on any scale.
    guide : ndarray, shape (height, width), optional
        dtype float32. By default `src`.
    lam : float, 0 or more
        How strongly the plane is smoothed: 0.1 to 10 as a rule, well below 100; 0 leaves it as it is.
    alpha : float, 0 or more
        How sharply the smoothing stops at edges of the guide: 1.2 to 2 as a rule; 0 smooths evenly.
    log_guide : bool
        Takes the natural logarithm of the guide plus 0.0001 instead of the guide, as the paper does with luminance
        0..1. The guide then has no negative values.
    out : ndarray, optional
        Gets the result: float32, of the height and width of `src`. It may be one of the inputs.
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        dtype float32, on the scale of `src`.

    $raises

    Notes
    -----
    Values that are not finite and weights beyond single precision fail. The solver takes some 300 bytes a pixel.

    References
    ----------
    Z. Farbman, R. Fattal, D. Lischinski, R. Szeliski, "Edge-Preserving Decompositions for Multi-Scale Tone and Detail
    Manipulation", SIGGRAPH 2008.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> b = np.zeros((20, 20), np.float32)
    >>> b[:, 10:] = 1
    >>> u = kestrova.weighted_least_squares(b, lam=0.01)
    >>> bool(abs(u - b).max() < 0.1)
    True
    """
    return _kestrova.weighted_least_squares(src, guide, lam, alpha, log_guide, out, threads)


@documented
def domain_transform(src, *, sigma_space, sigma_range, mode="recursive", out=None, threads=None):
    """Smooth an image by one-dimensional filters along rows and columns, stretched at its edges.

    Distances along rows and columns grow with the local differences, summed over the channels; three rounds of a
    one-dimensional filter, with shrinking width, run along rows, then along columns.

    Parameters
    ----------
    src : ndarray, shape (height, width) or (height, width, channels)
        dtype float32. Its own edges guide it.
    sigma_space : float, above 0
        Spatial standard deviation, in pixels.
    sigma_range : float, above 0
        Standard deviation among values, in units of `src`.
    mode : {"recursive", "normalized"}
        A recursive filter, of any number of channels up to 512, or normalized convolution, of up to four.
    out : ndarray, optional
        Gets the result: shape and dtype of `src`.
    $threads

    Returns
    -------
    ndarray
        Shape and dtype of `src`.

    $raises

    Notes
    -----
    The library's filter differs from the paper in three ways, which are kept: a pass reads the distance of the step
    from x to x + 1 one pixel later, the last row and column count as flat, and the recursive filter's width of a
    round is multiplied by that of the round before.

    References
    ----------
    E. S. L. Gastal, M. M. Oliveira, "Domain Transform for Edge-Aware Image and Video Processing", SIGGRAPH 2011.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> image = np.full((20, 30, 3), 0.5, np.float32)
    >>> bool(np.allclose(kestrova.domain_transform(image, sigma_space=8, sigma_range=0.1), 0.5))
    True
    """
    one_of("mode", mode, ("recursive", "normalized"))
    return _kestrova.domain_transform(src, sigma_space, sigma_range, mode == "normalized", out, threads)
