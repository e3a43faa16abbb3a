"""What a person wants of a photograph, as plain values."""

import json
import os
from dataclasses import dataclass, field, fields

from . import _kestrova
from ._arguments import one_of, path_of

_RANGES = {name.replace("-", "_"): (least, most) for name, _, least, most, _ in _kestrova.sliders()}


class _Checked:
    """Refuses names that there are no fields for, and sliders out of range; shows what is not at its default."""

    def __setattr__(self, name, value):
        if name not in self.__dataclass_fields__:
            raise AttributeError(f"{type(self).__name__} has no {name!r}")
        if name in _RANGES:
            least, most = _RANGES[name]
            value = float(value)
            if not least <= value <= most:
                raise ValueError(f"{name}: expected {least:g} to {most:g}, got {value:g}")
        super().__setattr__(name, value)

    def __repr__(self):
        default = type(self)()
        changed = (f for f in fields(self) if getattr(self, f.name) != getattr(default, f.name))
        return f"{type(self).__name__}({', '.join(f'{f.name}={getattr(self, f.name)!r}' for f in changed)})"


@dataclass(kw_only=True, repr=False, match_args=False)
class Adjustments(_Checked):
    """Sliders, from -1 to 1 with 0 for no change; those of noise from 0 to 1.

    `Settings` has them for the whole of a photograph, `Layer` for a part of it. A value out of range raises
    `ValueError`.

    Attributes
    ----------
    brightness, contrast : float
        Lighter or darker; an S-shaped curve. Black stays black and white stays white.
    highlights, shadows : float
        Lighten or darken the bright quarter and the dark quarter.
    whites, blacks : float
        Where white begins: above 0 the brightest tones become white. Where black ends: below 0 the darkest tones
        become black.
    small_shadows, small_midtones, small_highlights : float
        Boost or soften hair and grain, detail of some 1/1000 of the photograph's mean side, in a tonal zone.
    medium_shadows, medium_midtones, medium_highlights : float
        Boost or soften leaves, folds and faces, four times as large.
    large_shadows, large_midtones, large_highlights : float
        Boost or soften broad light and shade, sixteen times as large.
    small_shadows_threshold, small_midtones_threshold, small_highlights_threshold : float
        Above 0 lift faint detail to a clear size, below 0 clear it.
    medium_shadows_threshold, medium_midtones_threshold, medium_highlights_threshold : float
        The same of the medium scale.
    large_shadows_threshold, large_midtones_threshold, large_highlights_threshold : float
        The same of the large scale.
    mix_red, mix_green, mix_blue : float
        Lighten or darken what is red, what is neither red nor blue, and what is blue.
    temperature, tint : float
        Warmer or cooler; towards magenta or towards green. Black and white stay.
    saturation, vibrance : float
        Stronger or weaker colours, grey at -1; lifts muted colours and spares vivid ones and greys.
    noise_luminance, noise_colour : float
        Take grain and speckles of colour away, as far as they are below the noise that is measured.
    """

    brightness: float = 0.0
    contrast: float = 0.0
    highlights: float = 0.0
    shadows: float = 0.0
    whites: float = 0.0
    blacks: float = 0.0
    small_shadows: float = 0.0
    small_shadows_threshold: float = 0.0
    small_midtones: float = 0.0
    small_midtones_threshold: float = 0.0
    small_highlights: float = 0.0
    small_highlights_threshold: float = 0.0
    medium_shadows: float = 0.0
    medium_shadows_threshold: float = 0.0
    medium_midtones: float = 0.0
    medium_midtones_threshold: float = 0.0
    medium_highlights: float = 0.0
    medium_highlights_threshold: float = 0.0
    large_shadows: float = 0.0
    large_shadows_threshold: float = 0.0
    large_midtones: float = 0.0
    large_midtones_threshold: float = 0.0
    large_highlights: float = 0.0
    large_highlights_threshold: float = 0.0
    mix_red: float = 0.0
    mix_green: float = 0.0
    mix_blue: float = 0.0
    temperature: float = 0.0
    tint: float = 0.0
    saturation: float = 0.0
    vibrance: float = 0.0
    noise_luminance: float = 0.0
    noise_colour: float = 0.0

    def _sliders(self):
        return {name.replace("_", "-"): getattr(self, name) for name in _RANGES if getattr(self, name) != 0}


@dataclass(kw_only=True, repr=False, match_args=False)
class Stroke(_Checked):
    """What a brush does along some points.

    Attributes
    ----------
    points : list of (float, float)
        Joined by straight lines. (0, 0) is the photograph's upper left corner and (1, 1) its lower right one, upright
        and before it is rotated, straightened and cropped.
    radius : float, above 0 to 0.5
        Part of the photograph's longer side.
    hardness : float, 0 to 1
        Part of the radius with full strength.
    opacity : float, 0 to 1
    tolerance : float, 0 to 100
        0 paints over everything; the higher, the sooner a stroke stops at edges.
    erase : bool
        Takes away instead.
    """

    points: list = field(default_factory=list)
    radius: float = 0.05
    hardness: float = 0.5
    opacity: float = 1.0
    tolerance: float = 0.0
    erase: bool = False

    def _json(self):
        values = {f.name: getattr(self, f.name) for f in fields(self)}
        return {**values, "points": [[float(x), float(y)] for x, y in self.points]}


@dataclass(kw_only=True, repr=False, match_args=False)
class Layer(Adjustments):
    """Adjustments for a part of the photograph, on top of those for the whole.

    It has the sliders of `Adjustments`, too.

    Attributes
    ----------
    name : str
    strokes : list of Stroke
        Where the layer acts: nowhere but there.
    inverted : bool
        The layer acts everywhere but there.

    Examples
    --------
    >>> import kestrova
    >>> sky = kestrova.Layer(name="sky", highlights=-0.6, inverted=True)
    >>> kestrova.Settings(layers=[sky]).layers[0].highlights
    -0.6
    """

    name: str = ""
    strokes: list = field(default_factory=list)
    inverted: bool = False

    def _json(self):
        mask = {"strokes": [stroke._json() for stroke in self.strokes], "inverted": self.inverted}
        return {"name": self.name, **self._sliders(), "mask": mask}

    @classmethod
    def _of(cls, values):
        sliders = {name.replace("-", "_"): value for name, value in values.items() if name not in ("name", "mask")}
        mask = values.get("mask", {})
        strokes = [
            Stroke(**{**stroke, "points": [tuple(point) for point in stroke["points"]]})
            for stroke in mask.get("strokes", [])
        ]
        return cls(name=values.get("name", ""), strokes=strokes, inverted=mask.get("inverted", False), **sliders)


@dataclass(kw_only=True, repr=False, match_args=False)
class Settings(Adjustments):
    """What is to be done to a photograph. Everything at its default asks for nothing.

    It has the sliders of `Adjustments`, too. Settings are plain values: change them, compare them with ``==``, store
    them with `save`, and give them to `develop` or `Development`, which look at every value.

    Attributes
    ----------
    filter : {"guided", "bilateral", "laplacian", "wls"}
        The edge-aware filters that take detail apart.
    layers : list of Layer
        In the order in which they are blended, at most 16.
    rotate : {0, 90, 180, 270}
        Degrees clockwise.
    straighten : float, -45 to 45
        Degrees clockwise; the corners that this lays bare are cut off.
    crop : (float, float, float, float)
        x, y, width and height in parts of the photograph's width and height, after it is rotated and straightened.
    size : int
        Of the result's longer side in pixels, never enlarged; 0 for as many as there are.

    Examples
    --------
    >>> import kestrova
    >>> settings = kestrova.Settings(shadows=0.4, vibrance=0.3, size=1024)
    >>> settings.medium_midtones = 0.5
    >>> settings
    Settings(shadows=0.4, medium_midtones=0.5, vibrance=0.3, size=1024)
    >>> kestrova.Settings.from_json(settings.to_json()) == settings
    True
    """

    filter: str = "guided"
    layers: list = field(default_factory=list)
    rotate: int = 0
    straighten: float = 0.0
    crop: tuple = (0.0, 0.0, 1.0, 1.0)
    size: int = 0

    def to_json(self):
        """The settings as a file of them has it: JSON with a version and whatever differs from the default.

        Returns
        -------
        str

        Raises
        ------
        kestrova.Error
            Of kind "input", by its name, for a value that is out of range.
        """
        x, y, width, height = self.crop
        values = {
            "version": 1,
            **self._sliders(),
            "filter": self.filter,
            "layers": [layer._json() for layer in self.layers],
            "rotate": self.rotate,
            "straighten": self.straighten,
            "crop": {"x": x, "y": y, "width": width, "height": height},
            "size": self.size,
        }
        return _kestrova.checked_settings(json.dumps(values, allow_nan=False))

    @classmethod
    def from_json(cls, text):
        """Settings from JSON.

        Parameters
        ----------
        text : str

        Returns
        -------
        Settings

        Raises
        ------
        kestrova.Error
            Of kind "input", for what is no JSON, an unknown key, a value out of range or of another kind, each by its
            name, a later version, and more values than settings have.
        """
        values = json.loads(_kestrova.checked_settings(text))
        del values["version"]
        layers = [Layer._of(layer) for layer in values.pop("layers", [])]
        crop = values.pop("crop", None)
        settings = cls(layers=layers, **{name.replace("-", "_"): value for name, value in values.items()})
        if crop:
            settings.crop = crop["x"], crop["y"], crop["width"], crop["height"]
        return settings

    @classmethod
    def load(cls, path):
        """Settings from a file.

        Parameters
        ----------
        path : str or os.PathLike

        Returns
        -------
        Settings

        Raises
        ------
        kestrova.Error
            Of kind "file", and as `from_json`.
        """
        return cls.from_json(_kestrova.load_settings(path_of(path)))

    def save(self, path):
        """Write the settings to a file, which is replaced in one step.

        Parameters
        ----------
        path : str or os.PathLike

        Raises
        ------
        kestrova.Error
            Of kind "file", and as `to_json`.
        """
        _kestrova.save_settings(self.to_json(), path_of(path))


for _class in (Adjustments, Stroke, Layer, Settings):  # help() repeats the types otherwise, a screen full of "float"
    _class.__init__.__annotations__ = {}


def presets():
    """The names of the starting points that `preset` knows, with a sentence about each.

    Returns
    -------
    dict of str to str

    Examples
    --------
    >>> import kestrova
    >>> "natural" in kestrova.presets()
    True
    """
    return {name: tip for name, tip, _ in _kestrova.presets()}


def preset(name):
    """A starting point.

    Parameters
    ----------
    name : str
        One of `presets`.

    Returns
    -------
    Settings

    Raises
    ------
    ValueError
        For an unknown name.

    Examples
    --------
    >>> import kestrova
    >>> settings = kestrova.preset("natural")
    >>> settings.size = 1024
    """
    texts = {known: text for known, _, text in _kestrova.presets()}
    return Settings.from_json(texts[one_of("name", name, texts)])


def sidecar_of(path):
    """Where the settings of a photograph are kept: ``photo.jpg.kestrova.json`` for ``photo.jpg``.

    Parameters
    ----------
    path : str or os.PathLike

    Returns
    -------
    str

    Examples
    --------
    >>> import kestrova
    >>> kestrova.sidecar_of("photo.jpg")
    'photo.jpg.kestrova.json'
    """
    return _kestrova.sidecar_of(os.fspath(path))
