"""Photographs: files, and what is made of them."""

from typing import NamedTuple

from . import _kestrova
from ._arguments import at_least, instance_of, one_of, path_of
from ._settings import Settings


def _member(name, value, enumeration):
    return enumeration.__members__[one_of(name, value, enumeration.__members__)]


class Profile:
    """An ICC colour profile. Without arguments sRGB.

    Parameters
    ----------
    source : str or os.PathLike or bytes, optional
        The path of an .icc file, or its bytes.

    Raises
    ------
    kestrova.Error
        Of kind "file" or "input".

    Examples
    --------
    >>> import kestrova
    >>> kestrova.Profile() == kestrova.Profile.srgb()
    True
    >>> kestrova.Profile.display_p3().channels
    3
    """

    __slots__ = ("_core",)

    def __init__(self, source=None):
        if source is None:
            self._core = _kestrova.Profile.srgb()
        elif isinstance(source, bytes):
            self._core = _kestrova.Profile.from_bytes(source)
        else:
            self._core = _kestrova.Profile.from_file(path_of(source))

    @classmethod
    def _of(cls, core):
        profile = object.__new__(cls)
        profile._core = core
        return profile

    @classmethod
    def srgb(cls):
        """sRGB, what a file without a profile is taken to be."""
        return cls._of(_kestrova.Profile.srgb())

    @classmethod
    def display_p3(cls):
        """Display P3."""
        return cls._of(_kestrova.Profile.display_p3())

    @classmethod
    def adobe_rgb(cls):
        """Compatible with Adobe RGB (1998)."""
        return cls._of(_kestrova.Profile.adobe_rgb())

    @property
    def name(self):
        """str : its description."""
        return self._core.name

    @property
    def channels(self):
        """int : 1 grey, 3 RGB, 4 CMYK."""
        return self._core.channels

    @property
    def data(self):
        """bytes : what a file embeds."""
        return self._core.bytes

    def __eq__(self, other):
        return isinstance(other, Profile) and self._core.equals(other._core)

    def __hash__(self):
        return hash(self.channels)  # profiles of different bytes may describe one space

    def __reduce__(self):
        return Profile, (self.data,)

    def __repr__(self):
        return f"<kestrova.Profile {self.name!r}>"


def _rgb(bgra):
    return bgra[..., 2::-1]


class Photograph:
    """A photograph in memory: upright pixels, and what the file carried besides. It is never changed.

    Made by `kestrova.open`, by `develop`, or of pixels.

    Parameters
    ----------
    pixels : ndarray, shape (height, width, 4)
        B, G, R, A of dtype uint8 or uint16, not premultiplied.
    profile : Profile, optional
        Of the pixels; sRGB by default.
    has_alpha : bool
        Whether A counts.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> grey = kestrova.Photograph(np.full((20, 30, 4), 128, np.uint8))
    >>> grey.shape, grey.rgb.shape, int(grey.rgb[0, 0, 0])
    ((20, 30), (20, 30, 3), 32896)
    """

    __slots__ = ("_core",)

    def __init__(self, pixels, *, profile=None, has_alpha=False):
        profile = Profile() if profile is None else instance_of(Profile, "profile", profile)
        self._core = _kestrova.Photograph(pixels, profile._core, has_alpha)

    @classmethod
    def _of(cls, core):
        photograph = object.__new__(cls)
        photograph._core = core
        return photograph

    @property
    def pixels(self):
        """ndarray, shape (height, width, 4) : B, G, R, A, read-only.

        dtype uint16, where a byte v of the file is 257 v; uint8 of a photograph that was developed in 8 bits.
        """
        return self._core.pixels

    @property
    def rgb(self):
        """ndarray, shape (height, width, 3) : R, G, B of `pixels`, a view."""
        return _rgb(self.pixels)

    @property
    def shape(self):
        """(int, int) : height and width."""
        return self.pixels.shape[:2]

    @property
    def has_alpha(self):
        """bool : whether A is the file's; otherwise it is opaque throughout."""
        return self._core.has_alpha

    @property
    def source_bits(self):
        """int : bits a channel of the file, 8, 16, or 32 for float."""
        return self._core.source_bits

    @property
    def grey(self):
        """bool : whether the file had one colour channel."""
        return self._core.grey

    @property
    def profile(self):
        """Profile : of the pixels."""
        return Profile._of(self._core.profile)

    @property
    def output_profile(self):
        """Profile : what `save` converts to."""
        return Profile._of(self._core.output_profile)

    @property
    def metadata(self):
        """dict of str to str : EXIF, IPTC and XMP by Exiv2's names, such as "Exif.Image.Model"."""
        return self._core.metadata

    @property
    def notes(self):
        """list of str : what of the file is not here, such as further pages."""
        return self._core.notes

    def __repr__(self):
        height, width = self.shape
        return f"<kestrova.Photograph, height {height}, width {width}, {self.profile.name!r}>"


def open(path, *, preview=None, max_megapixels=400.0, max_memory=0, threads=None):
    """Read a photograph.

    Reads JPEG, PNG, TIFF, WebP, HEIF, AVIF, JPEG 2000, OpenEXR and RAW. An interrupt from the keyboard cancels.

    Parameters
    ----------
    path : str or os.PathLike
    preview : int, optional
        Reads a smaller picture whose longer side has at least so many pixels, and less than twice as many. JPEG is
        decoded at a fraction of its size.
    max_megapixels : float
        Refuses larger ones.
    max_memory : int
        Refuses what would take more bytes while it is read; 0 for no limit.
    threads : int, optional
        At most so many threads; by default one a processor.

    Returns
    -------
    Photograph

    Raises
    ------
    kestrova.Error
        Of kind "file" if it cannot be opened or read, of kind "input" if it is no photograph, damaged, cut short or
        too large, `kestrova.OutOfMemory` if memory or its limit does not suffice.

    Examples
    --------
    >>> import kestrova, numpy as np, os, tempfile
    >>> path = os.path.join(tempfile.mkdtemp(), "grey.png")
    >>> _ = kestrova.save(kestrova.Photograph(np.full((20, 30, 4), 128, np.uint8)), path)
    >>> kestrova.open(path).shape
    (20, 30)
    """
    if preview is not None:
        at_least(1, "preview", preview)
    return Photograph._of(_kestrova.read(path_of(path), preview or 0, max_megapixels, max_memory, threads))


def has_photograph_name(path):
    """Whether a name ends like that of a photograph that `open` reads: for walks through folders.

    Parameters
    ----------
    path : str or os.PathLike

    Returns
    -------
    bool

    Examples
    --------
    >>> import kestrova
    >>> kestrova.has_photograph_name("DSC_0001.NEF"), kestrova.has_photograph_name("notes.txt")
    (True, False)
    """
    return _kestrova.has_photograph_name(path_of(path))


class SavedFile(NamedTuple):
    """What `save` has written: the file's size in bytes, and notes of what of the photograph it does not hold."""

    bytes: int
    notes: list


def save(
    photograph, path, *, format=None, bits=None, quality=92, chroma="auto", metadata="all", threads=None
):
    """Write a photograph in its `Photograph.output_profile`.

    The file is whole or not there: it is made beside the target and replaces it in one step. An interrupt from the
    keyboard cancels.

    Parameters
    ----------
    photograph : Photograph
    path : str or os.PathLike
    format : {"jpeg", "png", "tiff", "webp"}, optional
        By default what the name ends in.
    bits : {8, 16}, optional
        A channel; by default those of the source as far as the format holds them.
    quality : int, 1 to 100
        Of JPEG and WebP; WebP at 100 is lossless.
    chroma : {"auto", "full", "half"}
        How finely JPEG stores colour; fully from quality 90 on by default.
    metadata : {"all", "copyright", "none"}
        What is carried along of EXIF, IPTC and XMP.
    threads : int, optional
        At most so many threads; by default one a processor.

    Returns
    -------
    SavedFile
        ``bytes`` and ``notes``.

    Raises
    ------
    ValueError
        For another format, chroma or metadata than these.
    kestrova.Error
        Of kind "input" for values out of range, of kind "file" for a target that cannot be written; the target is
        then as it was.

    Examples
    --------
    >>> import kestrova, numpy as np, os, tempfile
    >>> path = os.path.join(tempfile.mkdtemp(), "grey.png")
    >>> written = kestrova.save(kestrova.Photograph(np.full((20, 30, 4), 128, np.uint8)), path)
    >>> written.bytes == os.path.getsize(path)
    True
    """
    kind = None if format is None else _member("format", format, _kestrova.FileFormat)
    sampling = _member("chroma", chroma, _kestrova.ChromaSampling)
    carried = _member("metadata", metadata, _kestrova.MetadataChoice)
    core = instance_of(Photograph, "photograph", photograph)._core
    return SavedFile(*_kestrova.write(core, path_of(path), kind, bits or 0, quality, sampling, carried, threads))


def develop(photograph, settings=None, *, bits=None, profile=None, progress=None, threads=None):
    """Develop a photograph.

    Parameters
    ----------
    photograph : Photograph or str or os.PathLike
        A path is read first.
    settings : Settings, optional
        By default those that ask for nothing, which give the photograph's own pixel values.
    bits : {8, 16}, optional
        Of the result; by default 8 of a file of 8 bits, else 16.
    profile : Profile, optional
        Of the result; by default the photograph's `Photograph.output_profile`.
    progress : callable, optional
        Called with the share that is done, 0 to 1; a `False` answer cancels. An interrupt from the keyboard cancels
        too.
    threads : int, optional
        At most so many threads; by default one a processor.

    Returns
    -------
    Photograph
        With the metadata of the one that was given.

    Raises
    ------
    kestrova.Error
        Of kind "input" for settings out of range; `kestrova.Cancelled` and `kestrova.OutOfMemory`; and those of
        `kestrova.open`.

    See Also
    --------
    Development : for views and settings that change.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> grey = kestrova.Photograph(np.full((60, 90, 4), 60, np.uint8))
    >>> lighter = kestrova.develop(grey, kestrova.Settings(shadows=0.5))
    >>> lighter.pixels.dtype.name, bool(lighter.rgb[30, 45, 0] > 60)
    ('uint8', True)
    """
    if not isinstance(photograph, Photograph):
        photograph = open(photograph, threads=threads)
    if bits is None:
        bits = 8 if photograph.source_bits == 8 else 16
    one_of("bits", bits, (8, 16))
    text = (Settings() if settings is None else instance_of(Settings, "settings", settings)).to_json()
    target = None if profile is None else instance_of(Profile, "profile", profile)._core
    return Photograph._of(_kestrova.develop(photograph._core, text, bits, target, threads, progress))


class Rendering(NamedTuple):
    """A rendered view.

    `pixels` are B, G, R, A of shape (height, width, 4) and dtype uint8 or uint16, `mask` is of shape (height, width)
    and dtype uint8 or None, `profile` is that of the pixels.
    """

    pixels: object
    mask: object
    profile: Profile

    @property
    def rgb(self):
        """ndarray, shape (height, width, 3) : R, G, B of `pixels`, a view."""
        return _rgb(self.pixels)


class Development:
    """A photograph that is being developed: opened once, then rendered with settings and views that change.

    It finds out itself what a change makes stale, and computes that.

    Parameters
    ----------
    photograph : Photograph or str or os.PathLike
        A path is read first, which an interrupt from the keyboard cancels.
    settings : Settings, optional
    kept_for_view : int
        Bytes that may be kept of a view, so that the next change of a slider computes little.
    max_memory : int
        Refuses what would need more bytes beyond the photograph's own pixels; 0 for no limit.
    threads : int, optional
        At most so many threads; by default one a processor.

    Raises
    ------
    kestrova.Error
        Of kind "input" for settings out of range; those of `kestrova.open`.

    Notes
    -----
    The same settings give the same bits with any number of threads, and any rectangle is the cut-out of the whole. A
    development serves one thread at a time: a second call meanwhile raises `kestrova.Error`.

    Examples
    --------
    >>> import kestrova, numpy as np
    >>> grey = kestrova.Photograph(np.full((60, 90, 4), 60, np.uint8))
    >>> development = kestrova.Development(grey)
    >>> development.settings = kestrova.Settings(shadows=0.5, rotate=90)
    >>> development.shape
    (90, 60)
    >>> development.render((0, 0, 30, 40), step=2).rgb.shape
    (20, 15, 3)
    """

    __slots__ = ("_core", "_settings")

    def __init__(self, photograph, settings=None, *, kept_for_view=512 << 20, max_memory=0, threads=None):
        if not isinstance(photograph, Photograph):
            photograph = open(photograph, threads=threads)
        self._core = _kestrova.Development(photograph._core, kept_for_view, max_memory, threads)
        if settings is not None:
            self.settings = settings

    @property
    def settings(self):
        """Settings : what is rendered, a copy; a change counts once it is assigned."""
        return Settings.from_json(self._core.settings)

    @settings.setter
    def settings(self, value):
        self._core.set(instance_of(Settings, "settings", value).to_json())

    @property
    def shape(self):
        """(int, int) : height and width of the whole rendering: turned, straightened, cropped and resized."""
        return self._core.shape

    def render(self, view=None, *, step=1, bits=8, profile=None, mask_of_layer=None, progress=None):
        """Render a view.

        Parameters
        ----------
        view : (int, int, int, int), optional
            x, y, width and height in pixels of the whole; the whole by default. It is cut at the edges of the whole,
            and its corner moved to a multiple of `step`.
        step : int, 1 or more
            Each pixel of the result is the mean of ``step`` by ``step`` ones.
        bits : {8, 16}
            Of the result.
        profile : Profile, optional
            Of the result; by default that of the photograph.
        mask_of_layer : int, optional
            Renders the mask of this layer, too.
        progress : callable, optional
            Called with the share that is done, 0 to 1; a `False` answer cancels. An interrupt from the keyboard
            cancels too. What has been prepared is kept, the next rendering goes on from there.

        Returns
        -------
        Rendering
            With ``pixels``, ``rgb``, ``mask`` and ``profile``.

        Raises
        ------
        ValueError
            For another number of bits.
        kestrova.Error
            Of kind "input" for values out of range; `kestrova.Cancelled` and `kestrova.OutOfMemory`.
        """
        one_of("bits", bits, (8, 16))
        target = None if profile is None else instance_of(Profile, "profile", profile)._core
        layer = -1 if mask_of_layer is None else mask_of_layer
        part = None if view is None else [int(number) for number in view]
        pixels, mask, used = self._core.render(part, step, bits, target, layer, progress)
        return Rendering(pixels, mask, Profile._of(used))

    def __repr__(self):
        height, width = self.shape
        return f"<kestrova.Development, height {height}, width {width}>"
