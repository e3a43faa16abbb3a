"""The three-scale detail engine and its colours."""

from . import _kestrova
from ._arguments import one_of
from ._documentation import documented

SCALES = ("small", "medium", "large")
#: Highlights are the library's base zone, which the other two start from.
ZONES = ("highlights", "shadows", "midtones")
LIGHT = ("brightness", "contrast", "highlights", "shadows", "whites", "blacks")
MIX = ("red", "green", "blue")


def _index(name, value, names):
    return names.index(one_of(name, value, names))


def _changed(values, names, changes):
    return [old if changes[name] is None else changes[name] for name, old in zip(names, values)]


@documented
class DetailEngine:
    """Renders views of a picture with its detail boosted or softened by scale and tonal zone.

    The engine is made once per picture and keeps, by reference, what it is given. It then renders any rectangle at any
    sampling step, and computes again only what a change of the view or of a parameter has made stale.

    Parameters
    ----------
    picture : Picture
    small, medium, large : ndarray, shape (height, width)
        Detail of growing scale, dtype uint16: half of the luminance difference that it stands for, zero at 32768.
        Edge-aware filters make them; see the example.
    base : ndarray, shape (height, width), optional
        Luminance that is left without the details, dtype uint16. By default
        ``picture.y - 2 * (small + medium + large - 3 * 32768)``, clamped to 0..65535.
    $progress
    threads : int, optional
        At most so many threads for the preparation, which uses one a processor otherwise.

    $raises

    Notes
    -----
    An engine serves one thread at a time: a second call meanwhile raises `kestrova.Error`. Do not write into the
    arrays that it has been given.

    Chroma is enlarged along luminance and smoothed by a domain transform: E. S. L. Gastal, M. M. Oliveira, "Domain
    Transform for Edge-Aware Image and Video Processing", SIGGRAPH 2011.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> rgb = np.random.default_rng(1).integers(20000, 40000, (64, 96, 3), np.uint16)
    >>> picture = kestrova.Picture.from_rgb(rgb)
    >>> base, scales = picture.y, []
    >>> for radius in 4, 16, 32:
    ...     smooth = kestrova.guided_filter(base, radius=radius, eps=1e-3)
    ...     scales.append(((base.astype(int) - smooth) // 2 + 32768).astype(np.uint16))
    ...     base = smooth
    >>> engine = kestrova.DetailEngine(picture, *scales, base=base)
    >>> engine.set_detail("small", "midtones", strength=0.8)
    >>> engine.set_light(shadows=0.4)
    >>> engine.render(0, 0, 32, 21, step=3).shape
    (21, 32)
    """

    __slots__ = ("_core",)

    def __init__(self, picture, small, medium, large, *, base=None, progress=None, threads=None):
        self._core = _kestrova.DetailEngine(
            picture.y, picture.dr, picture.db, small, medium, large, base, progress, threads
        )

    @property
    def shape(self):
        """(int, int) : height and width of the picture."""
        return self._core.height, self._core.width

    @property
    def max_plain_step(self):
        """int : the largest step at which details are sampled without a low-pass, 1 to 4 by the picture's size."""
        return self._core.max_plain_step

    def detail(self, scale, zone):
        """Strength and threshold of a scale in a zone, as `set_detail` has set them.

        Parameters
        ----------
        scale : {"small", "medium", "large"}
        zone : {"highlights", "shadows", "midtones"}

        Returns
        -------
        (float, float)
        """
        at = _index("scale", scale, SCALES), _index("zone", zone, ZONES)
        return self._core.strength(*at), self._core.threshold(*at)

    def set_detail(self, scale, zone, *, strength=None, threshold=None):
        """Change a scale in a tonal zone.

        The zones fade into each other: shadows end at a third of full luminance, highlights begin at two thirds.

        Parameters
        ----------
        scale : {"small", "medium", "large"}
        zone : {"highlights", "shadows", "midtones"}
            The library takes strengths and thresholds of shadows and midtones relative to those of highlights.
        strength : float, about -1 to 1, optional
            Above 0 detail times up to 5, 4 and 3.5 (small, medium, large); below 0 less detail, none at -1.
        threshold : float, about -1 to 1, optional
            Above 0 lifts faint detail to a clear size, below 0 takes it away.
        """
        old = self.detail(scale, zone)
        self._core.set_detail(
            SCALES.index(scale),
            ZONES.index(zone),
            old[0] if strength is None else strength,
            old[1] if threshold is None else threshold,
        )

    @property
    def light(self):
        """dict : brightness, contrast, highlights, shadows, whites and blacks, as `set_light` has set them."""
        return dict(zip(LIGHT, self._core.light))

    def set_light(
        self, *, brightness=None, contrast=None, highlights=None, shadows=None, whites=None, blacks=None
    ):
        """Change the light curve, all of it from about -1 to 1, 0 for no change.

        Parameters
        ----------
        brightness : float, optional
            Brighter above 0.
        contrast : float, optional
            Stronger above 0.
        highlights, shadows : float, optional
            Brighter above 0.
        whites : float, optional
            Above 0 more becomes white.
        blacks : float, optional
            Above 0 black is lifted, below 0 more becomes black.
        """
        changes = dict(zip(LIGHT, (brightness, contrast, highlights, shadows, whites, blacks)))
        self._core.set_light(_changed(self._core.light, LIGHT, changes))

    @property
    def mix(self):
        """dict : red, green and blue, as `set_mix` has set them."""
        return dict(zip(MIX, self._core.mix))

    def set_mix(self, *, red=None, green=None, blue=None):
        """Change how colour is turned into luminance; equal weights change nothing.

        Parameters
        ----------
        red, green, blue : float, about -1 to 1, optional
        """
        self._core.set_mix(_changed(self._core.mix, MIX, {"red": red, "green": green, "blue": blue}))

    @documented
    def render(self, x, y, width, height, *, step=1, extra=None, threads=None):
        """Render the luminance of a view.

        Parameters
        ----------
        x, y : int
            The view's first pixel in the picture.
        width, height : int
            Of the result: it covers ``step`` times as many pixels of the picture, and ends within it.
        step : int, 1 or more
            Every `step`-th pixel is rendered.
        extra : ndarray, shape (height, width), optional
            Another detail plane of the view, dtype uint16, zero at 32768, which joins the small scale.
        $threads

        Returns
        -------
        ndarray, shape (height, width)
            dtype uint16, 0..65535.

        $raises
        """
        return self._core.render(x, y, width, height, step, extra, threads)

    @documented
    def chroma(self, x, y, width, height, *, step=1, threads=None):
        """The smoothed colour differences of a view, for `ColorAdjustment.apply`.

        Parameters
        ----------
        x, y, width, height, step, threads
            As in `render`.

        Returns
        -------
        dr, db : ndarray, shape (height, width)
            dtype uint16, zero at 32768.

        $raises
        """
        return self._core.chroma(x, y, width, height, step, threads)

    def __repr__(self):
        height, width = self.shape
        return f"<kestrova.DetailEngine, height {height}, width {width}>"


def _value(index, text):
    """The property that is the value at `index` of a `ColorAdjustment`."""

    def get(self):
        return self._core.values()[index]

    def assign(self, value):
        values = self._core.values()
        values[index] = value
        self._core.set_values(values)

    return property(get, assign, doc=text)


class ColorAdjustment:
    """Lets chroma follow a change of luminance, and adjusts temperature, tint, saturation and vibrance.

    Chroma is multiplied by the ratio of the luminances, within 0.5 to 1.2, and looked up in a table over
    (Y, Dr, Db) of 33 nodes an axis.

    Parameters
    ----------
    temperature : float, about -1 to 1
        Above 0 warmer, below 0 cooler.
    tint : float, about -1 to 1
        Above 0 towards magenta, below 0 towards green.
    saturation : float, -1 to 1
        -1 is grey, 1 makes chroma `max_saturation` times as strong.
    vibrance : float, about -1 to 1
        Above 0 lifts weak colours, below 0 removes them.
    warm_scale, cool_scale, magenta_scale, green_scale, vibrance_scale : float
        Scales of the parameters above and below 0.
    max_saturation : float
        Gain of chroma at saturation 1.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> y = np.full((4, 4), 30000, np.uint16)
    >>> dr, db = np.full((2, 4, 4), 36000, np.uint16)
    >>> grey = kestrova.ColorAdjustment(saturation=-1)
    >>> red, blue = grey.apply(y, y, dr, db)
    >>> bool(abs(int(red[0, 0]) - 32768) < 300)
    True
    """

    __slots__ = ("_core",)

    def __init__(
        self,
        *,
        temperature=0.0,
        tint=0.0,
        saturation=0.0,
        vibrance=0.0,
        warm_scale=0.25,
        cool_scale=0.6,
        magenta_scale=0.2,
        green_scale=0.9,
        max_saturation=4.0,
        vibrance_scale=0.9,
    ):
        self._core = _kestrova.ColorAdjustment(
            warm_scale, cool_scale, magenta_scale, green_scale, max_saturation, vibrance_scale
        )
        if temperature or tint or saturation or vibrance:
            self._core.set_values([temperature, tint, saturation, vibrance])

    temperature = _value(0, "float : above 0 warmer, below 0 cooler.")
    tint = _value(1, "float : above 0 towards magenta, below 0 towards green.")
    saturation = _value(2, "float : from grey at -1 to strong colours at 1.")
    vibrance = _value(3, "float : above 0 lifts weak colours, below 0 removes them.")

    @documented
    def apply(self, before, after, dr, db, *, threads=None):
        """Adjust the chroma of a picture whose luminance went from `before` to `after`.

        Parameters
        ----------
        before, after, dr, db : ndarray, shape (height, width)
            dtype uint16. Luminance takes 0..65535, chroma has its zero at 32768.
        $threads

        Returns
        -------
        dr, db : ndarray, shape (height, width)
            dtype uint16.

        $raises
        """
        return self._core.apply(before, after, dr, db, threads)

    def __repr__(self):
        names = ("temperature", "tint", "saturation", "vibrance")
        return f"ColorAdjustment({', '.join(f'{n}={v:g}' for n, v in zip(names, self._core.values()))})"
