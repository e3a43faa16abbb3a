import os
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import Any, Literal, NamedTuple

import numpy as np
from numpy.typing import ArrayLike, NDArray

_Bytes = NDArray[np.uint8]
_Words = NDArray[np.uint16]
_Floats = NDArray[np.float32]
_Integers = _Bytes | _Words
_Plane = _Bytes | _Words | _Floats
_Path = str | os.PathLike[str]
_Progress = Callable[[float], object]
_Interpolation = Literal["cubic", "linear", "nearest", "pyramid"]
_Scale = Literal["small", "medium", "large"]
_Zone = Literal["highlights", "shadows", "midtones"]
_Kernels = tuple[tuple[float, ...], tuple[float, ...], tuple[float, ...]]

__version__: str
POISSON_KERNELS: _Kernels
SCATTERED_KERNELS: _Kernels

class Error(RuntimeError):
    kind: str
    def __init__(self, text: str = "", kind: str = "core") -> None: ...

class Cancelled(Error):
    def __init__(self, text: str = "cancelled", kind: str = "cancelled") -> None: ...

class OutOfMemory(Error, MemoryError):
    def __init__(self, text: str = "", kind: str = "memory") -> None: ...

def guided_filter(
    guide: _Plane,
    src: _Plane | None = None,
    *,
    radius: int = 8,
    eps: float = 0.001,
    out: _Plane | None = None,
    threads: int | None = None,
) -> _Plane: ...

class GuidedFilter:
    def __init__(self) -> None: ...
    @property
    def fitted(self) -> bool: ...
    def fit(
        self,
        guide: _Plane,
        src: _Plane | None = None,
        *,
        radius: int = 8,
        eps: float = 0.001,
        threads: int | None = None,
    ) -> None: ...
    def apply(self, guide: _Plane, *, out: _Plane | None = None, threads: int | None = None) -> _Plane: ...

def bilateral_grid(
    src: _Integers,
    guide: _Plane | None = None,
    *,
    space_sampling: int = 16,
    range_sampling: int | None = None,
    out: _Integers | None = None,
    progress: _Progress | None = None,
    threads: int | None = None,
) -> _Integers: ...
def gradient_guide(
    src: _Integers,
    guide: _Integers,
    *,
    radius: int = 2,
    out: _Integers | None = None,
    threads: int | None = None,
) -> _Integers: ...
def local_laplacian(
    src: _Words,
    *,
    alpha: float,
    blur: float = 0.3,
    levels: int | None = None,
    references: Literal[10, 16, 24] = 10,
    out: _Words | None = None,
    threads: int | None = None,
) -> _Words: ...
def convolution_pyramid(
    src: _Plane,
    k1: Sequence[float],
    k2: Sequence[float],
    k3: Sequence[float],
    *,
    out: _Floats | None = None,
    threads: int | None = None,
) -> _Floats: ...
def weighted_least_squares(
    src: _Floats,
    guide: _Floats | None = None,
    *,
    lam: float = 1.0,
    alpha: float = 1.2,
    log_guide: bool = False,
    out: _Floats | None = None,
    threads: int | None = None,
) -> _Floats: ...
def domain_transform(
    src: _Floats,
    *,
    sigma_space: float,
    sigma_range: float,
    mode: Literal["recursive", "normalized"] = "recursive",
    out: _Floats | None = None,
    threads: int | None = None,
) -> _Floats: ...
def guided_upsize(
    guide: _Integers,
    low: _Integers,
    *,
    factor: int = 2,
    radius: int = 2,
    eps: float = 0.0001,
    interpolation: Literal["cubic", "linear", "nearest"] = "cubic",
    out: _Integers | None = None,
    threads: int | None = None,
) -> _Integers: ...
def chroma_upsize(
    guide: _Words, low: _Words, *, out: _Words | None = None, threads: int | None = None
) -> _Words: ...
def box_filter(
    src: _Integers,
    *,
    radius: int,
    iterations: int = 1,
    out: _Integers | None = None,
    progress: _Progress | None = None,
    threads: int | None = None,
) -> _Integers: ...
def blend(
    first: _Plane,
    second: _Plane,
    alpha: _Bytes,
    *,
    strength: float = 1.0,
    out: _Plane | None = None,
    threads: int | None = None,
) -> _Plane: ...
def extreme_sharpen(src: _Words, *, out: _Words | None = None, threads: int | None = None) -> _Words: ...
def downsize(
    src: _Plane,
    factor: int = 2,
    *,
    interpolation: _Interpolation = "cubic",
    shape: tuple[int, int] | None = None,
    out: _Plane | None = None,
    threads: int | None = None,
) -> _Plane: ...
def upsize(
    src: _Plane,
    factor: int = 2,
    *,
    interpolation: _Interpolation = "cubic",
    shape: tuple[int, int] | None = None,
    out: _Plane | None = None,
    threads: int | None = None,
) -> _Plane: ...
def gaussian_pyramid(src: _Plane, levels: int, *, threads: int | None = None) -> list[_Plane]: ...
def laplacian_pyramid(src: _Floats, levels: int, *, threads: int | None = None) -> list[_Floats]: ...
def collapse_pyramid(bands: Sequence[_Floats], *, threads: int | None = None) -> _Floats: ...
def view(
    src: _Plane,
    x: int,
    y: int,
    width: int,
    height: int,
    *,
    step: int = 1,
    half: bool = False,
    smooth: bool = False,
    threads: int | None = None,
) -> _Plane: ...

class Spline:
    def __init__(self, points: Sequence[tuple[float, float]]) -> None: ...
    @property
    def points(self) -> tuple[tuple[float, float], ...]: ...
    def __call__(self, at: ArrayLike) -> Any: ...

def detail_table(
    strength: float = 0.0,
    threshold: float = 0.0,
    *,
    bits: Literal[8, 16] = 16,
    base_strength: float = 0.0,
    base_threshold: float = 0.0,
    k_min: float = 0.0,
    k_max: float = 6.0,
    half_width: int | None = None,
    blur: float = 0.35,
) -> _Integers: ...
def light_table(
    *,
    brightness: float = 0.0,
    contrast: float = 0.0,
    shadows: float = 0.0,
    highlights: float = 0.0,
    k_min: float = 0.0,
    k_max: float = 6.0,
) -> _Words: ...
def rule_table(rule: Callable[[_Words], ArrayLike]) -> _Words: ...
def apply_table(
    src: _Integers, table: _Integers, *, out: _Integers | None = None, threads: int | None = None
) -> _Integers: ...

class Picture:
    def __init__(self) -> None: ...
    @classmethod
    def from_bgra(cls, pixels: _Integers, *, threads: int | None = None) -> Picture: ...
    @classmethod
    def from_rgb(cls, rgb: _Words, *, bits: Literal[16, 15] = 16, threads: int | None = None) -> Picture: ...
    @property
    def y(self) -> _Words: ...
    @property
    def dr(self) -> _Words: ...
    @property
    def db(self) -> _Words: ...
    @property
    def mask(self) -> _Bytes: ...
    @property
    def shape(self) -> tuple[int, int]: ...
    def to_bgra(self, *, out: _Bytes | None = None, threads: int | None = None) -> _Bytes: ...
    def to_rgb(self, *, bits: Literal[16, 15] = 16, threads: int | None = None) -> _Words: ...
    def to_half_rgb(self, *, threads: int | None = None) -> _Bytes: ...
    def copy(self) -> Picture: ...

def luminance(
    rgb: _Words, *, bits: Literal[16, 15] = 16, out: _Words | None = None, threads: int | None = None
) -> _Words: ...
def ydrdb_to_rgb(
    y: _Words, dr: _Words, db: _Words, *, bits: Literal[16, 15, 8] = 16, threads: int | None = None
) -> _Integers: ...

class DetailEngine:
    def __init__(
        self,
        picture: Picture,
        small: _Words,
        medium: _Words,
        large: _Words,
        *,
        base: _Words | None = None,
        progress: _Progress | None = None,
        threads: int | None = None,
    ) -> None: ...
    @property
    def shape(self) -> tuple[int, int]: ...
    @property
    def max_plain_step(self) -> int: ...
    def detail(self, scale: _Scale, zone: _Zone) -> tuple[float, float]: ...
    def set_detail(
        self,
        scale: _Scale,
        zone: _Zone,
        *,
        strength: float | None = None,
        threshold: float | None = None,
    ) -> None: ...
    @property
    def light(self) -> dict[str, float]: ...
    def set_light(
        self,
        *,
        brightness: float | None = None,
        contrast: float | None = None,
        highlights: float | None = None,
        shadows: float | None = None,
        whites: float | None = None,
        blacks: float | None = None,
    ) -> None: ...
    @property
    def mix(self) -> dict[str, float]: ...
    def set_mix(
        self, *, red: float | None = None, green: float | None = None, blue: float | None = None
    ) -> None: ...
    def render(
        self,
        x: int,
        y: int,
        width: int,
        height: int,
        *,
        step: int = 1,
        extra: _Words | None = None,
        threads: int | None = None,
    ) -> _Words: ...
    def chroma(
        self, x: int, y: int, width: int, height: int, *, step: int = 1, threads: int | None = None
    ) -> tuple[_Words, _Words]: ...

class ColorAdjustment:
    temperature: float
    tint: float
    saturation: float
    vibrance: float
    def __init__(
        self,
        *,
        temperature: float = 0.0,
        tint: float = 0.0,
        saturation: float = 0.0,
        vibrance: float = 0.0,
        warm_scale: float = 0.25,
        cool_scale: float = 0.6,
        magenta_scale: float = 0.2,
        green_scale: float = 0.9,
        max_saturation: float = 4.0,
        vibrance_scale: float = 0.9,
    ) -> None: ...
    def apply(
        self, before: _Words, after: _Words, dr: _Words, db: _Words, *, threads: int | None = None
    ) -> tuple[_Words, _Words]: ...

class Mask:
    def __init__(self, picture: Picture) -> None: ...
    @classmethod
    def from_planes(cls, y: _Bytes, dr: _Words | None = None, db: _Words | None = None) -> Mask: ...
    def fill(self, value: int) -> None: ...
    def invert(self) -> None: ...
    def begin_stroke(self) -> None: ...
    def dot(
        self,
        x: int,
        y: int,
        radius: int,
        *,
        inner_radius: int | None = None,
        value: int = 255,
        opacity: float = 1.0,
        tolerance: float = 0.0,
    ) -> None: ...
    def end_stroke(self) -> None: ...
    def stroke(
        self,
        points: Sequence[tuple[int, int]],
        radius: int,
        *,
        inner_radius: int | None = None,
        value: int = 255,
        opacity: float = 1.0,
        tolerance: float = 0.0,
    ) -> None: ...
    def undo(self) -> None: ...
    def reset(self) -> None: ...
    def pixels(self, *, threads: int | None = None) -> _Bytes: ...
    def view(
        self, x: int, y: int, width: int, height: int, *, step: int = 1, threads: int | None = None
    ) -> _Bytes: ...
    @property
    def changed(self) -> bool: ...

@dataclass(kw_only=True, repr=False, match_args=False)
class Adjustments:
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

@dataclass(kw_only=True, repr=False, match_args=False)
class Stroke:
    points: list[tuple[float, float]] = ...
    radius: float = 0.05
    hardness: float = 0.5
    opacity: float = 1.0
    tolerance: float = 0.0
    erase: bool = False

@dataclass(kw_only=True, repr=False, match_args=False)
class Layer(Adjustments):
    name: str = ""
    strokes: list[Stroke] = ...
    inverted: bool = False

@dataclass(kw_only=True, repr=False, match_args=False)
class Settings(Adjustments):
    filter: str = "guided"
    layers: list[Layer] = ...
    rotate: int = 0
    straighten: float = 0.0
    crop: tuple[float, float, float, float] = (0.0, 0.0, 1.0, 1.0)
    size: int = 0
    def to_json(self) -> str: ...
    @classmethod
    def from_json(cls, text: str) -> Settings: ...
    @classmethod
    def load(cls, path: _Path) -> Settings: ...
    def save(self, path: _Path) -> None: ...

def presets() -> dict[str, str]: ...
def preset(name: str) -> Settings: ...
def sidecar_of(path: _Path) -> str: ...

class Profile:
    def __init__(self, source: _Path | bytes | None = None) -> None: ...
    @classmethod
    def srgb(cls) -> Profile: ...
    @classmethod
    def display_p3(cls) -> Profile: ...
    @classmethod
    def adobe_rgb(cls) -> Profile: ...
    @property
    def name(self) -> str: ...
    @property
    def channels(self) -> int: ...
    @property
    def data(self) -> bytes: ...

class Photograph:
    def __init__(
        self, pixels: _Integers, *, profile: Profile | None = None, has_alpha: bool = False
    ) -> None: ...
    @property
    def pixels(self) -> _Integers: ...
    @property
    def rgb(self) -> _Integers: ...
    @property
    def shape(self) -> tuple[int, int]: ...
    @property
    def has_alpha(self) -> bool: ...
    @property
    def source_bits(self) -> int: ...
    @property
    def grey(self) -> bool: ...
    @property
    def profile(self) -> Profile: ...
    @property
    def output_profile(self) -> Profile: ...
    @property
    def metadata(self) -> dict[str, str]: ...
    @property
    def notes(self) -> list[str]: ...

def open(
    path: _Path,
    *,
    preview: int | None = None,
    max_megapixels: float = 400.0,
    max_memory: int = 0,
    threads: int | None = None,
) -> Photograph: ...

def has_photograph_name(path: _Path) -> bool: ...

class SavedFile(NamedTuple):
    bytes: int
    notes: list[str]

def save(
    photograph: Photograph,
    path: _Path,
    *,
    format: Literal["jpeg", "png", "tiff", "webp"] | None = None,
    bits: Literal[8, 16] | None = None,
    quality: int = 92,
    chroma: Literal["auto", "full", "half"] = "auto",
    metadata: Literal["all", "copyright", "none"] = "all",
    threads: int | None = None,
) -> SavedFile: ...
def develop(
    photograph: Photograph | _Path,
    settings: Settings | None = None,
    *,
    bits: Literal[8, 16] | None = None,
    profile: Profile | None = None,
    progress: _Progress | None = None,
    threads: int | None = None,
) -> Photograph: ...

class Rendering(NamedTuple):
    pixels: _Integers
    mask: _Bytes | None
    profile: Profile
    @property
    def rgb(self) -> _Integers: ...

class Development:
    settings: Settings
    def __init__(
        self,
        photograph: Photograph | _Path,
        settings: Settings | None = None,
        *,
        kept_for_view: int = 536870912,
        max_memory: int = 0,
        threads: int | None = None,
    ) -> None: ...
    @property
    def shape(self) -> tuple[int, int]: ...
    def render(
        self,
        view: Sequence[int] | None = None,
        *,
        step: int = 1,
        bits: Literal[8, 16] = 8,
        profile: Profile | None = None,
        mask_of_layer: int | None = None,
        progress: _Progress | None = None,
    ) -> Rendering: ...
