"""The brush that paints a mask."""

from . import _kestrova
from ._documentation import documented


class Mask:
    """A brush that paints an 8-bit mask of half the size of a picture, 0 outside to 255 inside.

    Every call records a command; what is pending is painted when the mask is looked at, and `undo` takes commands
    back. Within a stroke coverage does not add up beyond the stroke's opacity.

    Parameters
    ----------
    picture : Picture
        Its mask is what painting begins with, its colours are what a tolerance looks at.

    Notes
    -----
    Coordinates and radii are in pixels of the picture, and are halved, with truncation. A mask serves one thread at a
    time: a second call meanwhile raises `kestrova.Error`.

    References
    ----------
    T. Porter, T. Duff, "Compositing Digital Images", SIGGRAPH 1984: blending by coverage.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> picture = kestrova.Picture.from_rgb(np.full((200, 300, 3), 30000, np.uint16))
    >>> mask = kestrova.Mask(picture)
    >>> mask.fill(0)
    >>> mask.stroke([(60, 100), (240, 100)], radius=40, inner_radius=20, opacity=0.8)
    >>> mask.pixels().shape, int(mask.pixels()[50, 75]), int(mask.pixels()[0, 0])
    ((100, 150), 204, 0)
    >>> mask.undo()
    >>> int(mask.pixels().max())
    0
    """

    __slots__ = ("_core",)

    def __init__(self, picture):
        self._core = _kestrova.Mask(picture._core)

    @classmethod
    def from_planes(cls, y, dr=None, db=None):
        """A mask for planes of its own size, 255 everywhere.

        Parameters
        ----------
        y : ndarray, shape (height, width)
            Luminance, dtype uint8.
        dr, db : ndarray, shape (height, width), optional
            Colour differences, dtype uint16, zero at 32768. Only dots with a tolerance need them.

        Returns
        -------
        Mask
        """
        mask = object.__new__(cls)
        mask._core = _kestrova.Mask(y, dr, db)
        return mask

    def fill(self, value):
        """Fill the mask with `value`, 0 to 255."""
        self._core.fill(value)

    def invert(self):
        """Invert the mask."""
        self._core.invert()

    def begin_stroke(self):
        """Begin a stroke, which `end_stroke` ends."""
        self._core.begin_stroke()

    @documented
    def dot(self, x, y, radius, *, inner_radius=None, value=255, opacity=1.0, tolerance=0.0):
        """Add a dot to the stroke that has been begun.

        Parameters
        ----------
        x, y : int
            The centre, in pixels of the picture.
        radius : int, 0 to 15999
        inner_radius : int, 0 to `radius`, optional
            Up to which the dot has full strength; it falls off like a Gaussian from there. By default `radius`: a hard
            dot.
        value : int, 0 to 255
            What is painted: 0 erases, 255 paints full.
        opacity : float, 0 to 1
        tolerance : float, 0 or more
            Keeps the dot to colours near the one under its centre, the more strictly the larger it is; values around 1
            stop at visible edges. 0 covers all colours.

        $raises
        """
        self._core.dot(x, y, radius, radius if inner_radius is None else inner_radius, value, opacity, tolerance)

    def end_stroke(self):
        """End the stroke: `undo` removes it as a whole."""
        self._core.end_stroke()

    @documented
    def stroke(self, points, radius, *, inner_radius=None, value=255, opacity=1.0, tolerance=0.0):
        """Paint a whole stroke: dots at `points`, and between them every third of the radius.

        Parameters
        ----------
        points : sequence of (int, int)
            x and y, in pixels of the picture.
        radius, inner_radius, value, opacity, tolerance
            As of `dot`.

        $raises
        """
        dots = list(_dots_along(points, max(1, radius // 3)))
        self.begin_stroke()
        try:
            for x, y in dots:
                self.dot(
                    x, y, radius, inner_radius=inner_radius, value=value, opacity=opacity, tolerance=tolerance
                )
        except BaseException:
            self.end_stroke()
            self.undo()
            raise
        self.end_stroke()

    def undo(self):
        """Remove the last fill, inversion or stroke. Raises `kestrova.Error` where there is none."""
        self._core.undo()

    def reset(self):
        """Drop all commands: back to the picture's own mask."""
        self._core.reset()

    @documented
    def pixels(self, *, threads=None):
        """The mask.

        Parameters
        ----------
        $threads

        Returns
        -------
        ndarray, shape (ceil(height / 2), ceil(width / 2))
            A copy, dtype uint8.

        $raises
        """
        return self._core.pixels(threads)

    @documented
    def view(self, x, y, width, height, *, step=1, threads=None):
        """The mask for a view as `DetailEngine.render` renders it.

        Parameters
        ----------
        x, y, width, height, step, threads
            As in `DetailEngine.render`.

        Returns
        -------
        ndarray, shape (ceil(height / 2), ceil(width / 2))
            dtype uint8; at step 1 it is cut off at the edge of the mask.

        $raises
        """
        return self._core.view(x, y, width, height, step, threads)

    @property
    def changed(self):
        """bool : whether the mask has changed since `pixels` or `view` last fetched it."""
        return self._core.changed


def _dots_along(points, spacing):
    before = None
    for x, y in points:
        if before is not None:
            dots = int(max(abs(x - before[0]), abs(y - before[1])) // spacing)
            for i in range(1, dots):
                share = i / dots
                yield round(before[0] + share * (x - before[0])), round(before[1] + share * (y - before[1]))
        yield int(x), int(y)
        before = x, y
