"""The planar working picture and its colour space."""

import numpy as np

from . import _kestrova
from ._arguments import one_of
from ._documentation import documented


class Picture:
    """Luminance at full size, two colour differences and a mask at half size.

    Made by `from_bgra` or `from_rgb`. With R, G, B on the 16-bit scale 0..65535::

        Y  = 0.299 R + 0.587 G + 0.114 B
        Dr = (R - Y) / 2 + 32768
        Db = (B - Y) / 2 + 32768

    Half size is rounded up. The planes are arrays on the picture's own pixels: writing into them changes the picture.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> rgb = np.full((5, 6, 3), 40000, np.uint16)
    >>> picture = kestrova.Picture.from_rgb(rgb)
    >>> picture.y.shape, picture.dr.shape, int(picture.dr[0, 0])
    ((5, 6), (3, 3), 32768)
    """

    __slots__ = ("_core",)

    def __init__(self):
        raise TypeError("Picture: made by Picture.from_bgra and Picture.from_rgb")

    @classmethod
    def _of(cls, core):
        picture = object.__new__(cls)
        picture._core = core
        return picture

    @classmethod
    @documented
    def from_bgra(cls, pixels, *, threads=None):
        """Take packed pixels apart.

        Parameters
        ----------
        pixels : ndarray, shape (height, width, 4)
            B, G, R, A of dtype uint8 or uint16. A byte c enters as 256 c, so that white is 65280. Alpha is not read.
            Chroma is formed from every other pixel of every other row.
        $threads

        Returns
        -------
        Picture

        $raises

        Examples
        --------
        >>> import kestrova, numpy as np
        >>> white = kestrova.Picture.from_bgra(np.full((4, 4, 4), 255, np.uint8))
        >>> int(white.y[0, 0])
        65280
        """
        return cls._of(_kestrova.Picture.from_bgra(pixels, threads))

    @classmethod
    @documented
    def from_rgb(cls, rgb, *, bits=16, threads=None):
        """Take R, G, B apart.

        Parameters
        ----------
        rgb : ndarray, shape (height, width, 3)
            dtype uint16. Planes that lie one after the other (``numpy.moveaxis(planes, 0, -1)``) are read without a
            copy.
        bits : {16, 15}
            Full is 65535, or 32768 on the 15-bit scale.
        $threads

        Returns
        -------
        Picture

        $raises

        Examples
        --------
        >>> import kestrova, numpy as np
        >>> red = np.zeros((4, 4, 3), np.uint16)
        >>> red[..., 0] = 65535
        >>> picture = kestrova.Picture.from_rgb(red)
        >>> int(picture.y[0, 0]), bool(picture.dr[0, 0] > 32768), bool(picture.db[0, 0] < 32768)
        (19595, True, True)
        """
        one_of("bits", bits, (16, 15))
        return cls._of(_kestrova.Picture.from_rgb(rgb, bits == 15, threads))

    @property
    def y(self):
        """ndarray, shape (height, width), uint16 : luminance, 0..65535."""
        return self._core.y

    @property
    def dr(self):
        """ndarray of half size, uint16 : half of red minus luminance, zero at 32768."""
        return self._core.dr

    @property
    def db(self):
        """ndarray of half size, uint16 : half of blue minus luminance, zero at 32768."""
        return self._core.db

    @property
    def mask(self):
        """ndarray of half size, uint8 : 255 from the start; `Mask` begins with it, no conversion reads it."""
        return self._core.mask

    @property
    def shape(self):
        """(int, int) : height and width."""
        return self.y.shape

    @documented
    def to_bgra(self, *, out=None, threads=None):
        """Put packed 8-bit pixels together, chroma enlarged along the edges of luminance.

        Parameters
        ----------
        out : ndarray, optional
            Gets the result.
        $threads

        Returns
        -------
        ndarray, shape (height, width, 4)
            B, G, R, A of dtype uint8, with alpha 255; values are divided by 256, with rounding.

        $raises

        Examples
        --------
        >>> import kestrova, numpy as np
        >>> grey = kestrova.Picture.from_bgra(np.full((4, 4, 4), 100, np.uint8))
        >>> grey.to_bgra()[0, 0].tolist()
        [100, 100, 100, 255]
        """
        return self._core.to_bgra(out, threads)

    @documented
    def to_rgb(self, *, bits=16, threads=None):
        """Put R, G, B together, chroma enlarged along the edges of luminance.

        Parameters
        ----------
        bits : {16, 15}
            As in `from_rgb`; on the 15-bit scale the results are not limited to 32767.
        $threads

        Returns
        -------
        ndarray, shape (height, width, 3)
            dtype uint16: three planes that lie one after the other in memory.

        $raises

        Examples
        --------
        >>> import kestrova, numpy as np
        >>> picture = kestrova.Picture.from_rgb(np.full((4, 4, 3), 20000, np.uint16))
        >>> picture.to_rgb().shape, int(picture.to_rgb()[0, 0, 0])
        ((4, 4, 3), 20000)
        """
        one_of("bits", bits, (16, 15))
        return np.moveaxis(self._core.to_rgb(bits == 15, threads), 0, -1)

    @documented
    def to_half_rgb(self, *, threads=None):
        """The cheap preview: luminance reduced instead of chroma enlarged.

        Parameters
        ----------
        $threads

        Returns
        -------
        ndarray, shape (ceil(height / 2), ceil(width / 2), 3)
            dtype uint8.

        $raises

        Examples
        --------
        >>> import kestrova, numpy as np
        >>> kestrova.Picture.from_rgb(np.full((4, 6, 3), 20000, np.uint16)).to_half_rgb().shape
        (2, 3, 3)
        """
        return np.moveaxis(self._core.to_half_rgb(threads), 0, -1)

    def copy(self):
        """A picture with pixels of its own."""
        return self._of(self._core.copy())

    def __repr__(self):
        height, width = self.shape
        return f"<kestrova.Picture, height {height}, width {width}>"


@documented
def luminance(rgb, *, bits=16, out=None, threads=None):
    """Luminance of R, G, B: ``0.299 R + 0.587 G + 0.114 B``.

    Parameters
    ----------
    rgb : ndarray, shape (height, width, 3)
        dtype uint16.
    bits : {16, 15}
        Full is 65535, or 32768 on the 15-bit scale.
    out : ndarray, optional
        Gets the result: uint16, of the height and width of `rgb`.
    $threads

    Returns
    -------
    ndarray, shape (height, width)
        dtype uint16, on the 16-bit scale.

    $raises

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> kestrova.luminance(np.full((1, 2, 3), 1000, np.uint16)).tolist()
    [[1000, 1000]]
    """
    one_of("bits", bits, (16, 15))
    return _kestrova.luminance(rgb, bits == 15, out, threads)


@documented
def ydrdb_to_rgb(y, dr, db, *, bits=16, threads=None):
    """R, G, B of luminance and colour differences of one size.

    Parameters
    ----------
    y, dr, db : ndarray, shape (height, width)
        dtype uint16, as in `Picture`; `chroma_upsize` enlarges the half-size planes of a picture.
    bits : {16, 15, 8}
        Of the result.
    $threads

    Returns
    -------
    ndarray, shape (height, width, 3)
        dtype uint16, or uint8 with 8 bits: three planes that lie one after the other in memory.

    $raises

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> grey = np.full((1, 2), 32768, np.uint16)
    >>> kestrova.ydrdb_to_rgb(grey, grey, grey, bits=8).tolist()
    [[[128, 128, 128], [128, 128, 128]]]
    """
    return np.moveaxis(_kestrova.ydrdb_to_rgb(y, dr, db, bits, threads), 0, -1)
