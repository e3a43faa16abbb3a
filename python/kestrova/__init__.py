"""The image-processing core of a photo editor, for numpy.

Edge-aware filters, resampling, tone curves, a planar working picture, a three-scale detail engine, a mask brush, and
the development of whole photographs. Results are those of the C++ library, the same bits with any number of threads.

Arrays
------
Planes are arrays of shape (height, width), colour is (height, width, 3) in the order R, G, B, packed pixels are
(height, width, 4) in the order B, G, R, A. Each function takes the dtypes that it names: uint8, uint16 or float32,
and no others: nothing is converted in silence. Sub-arrays and read-only arrays are read without a copy as long as the
elements of a row lie side by side; others, such as every second column, are copied first. ``out=`` takes an array of
the result's shape and dtype. An array of another dtype raises TypeError, one of another shape ValueError, and the text
says what was expected.

Ranges
------
Luminance, red, green and blue of dtype uint16 take 0..65535. Colour differences (Dr, Db) and detail planes hold half
of a difference, with zero at 32768. The 15-bit scale, where full is 32768, is that of ``bits=15``. Masks are uint8,
0 outside to 255 inside. Where a filter takes float32, values are on any scale, 0..1 as a rule.

Threads and interruption
------------------------
The interpreter's lock is released while the library works. Functions may be called from several threads at once;
an object serves one thread at a time, and a second call on it meanwhile raises `Error`. A call uses OpenMP's threads,
as many as ``OMP_NUM_THREADS`` says or as there are processors; ``threads=`` bounds them for the call. A ``progress=``
callable gets the share that is done and cancels by answering ``False`` (`Cancelled`) or by raising an exception. An
interrupt from the keyboard (KeyboardInterrupt) cancels `open`, `develop`, `save` and `Development.render` within some
50 ms, and whatever takes ``progress=`` at its next report; other functions end first.

After ``fork()`` OpenMP's threads are missing in the child: let multiprocessing and concurrent.futures start processes
by "spawn" or "forkserver".

Failures
--------
`Error` and its subclasses `Cancelled` and `OutOfMemory`. Outputs and objects are then as they were.
"""

from ._curves import Spline, apply_table, detail_table, light_table, rule_table
from ._detail import ColorAdjustment, DetailEngine
from ._errors import Cancelled, Error, OutOfMemory
from ._filters import (
    POISSON_KERNELS,
    SCATTERED_KERNELS,
    GuidedFilter,
    bilateral_grid,
    convolution_pyramid,
    domain_transform,
    gradient_guide,
    guided_filter,
    local_laplacian,
    weighted_least_squares,
)
from ._kestrova import __version__
from ._mask import Mask
from ._photo import Development, Photograph, Profile, Rendering, SavedFile, develop, open, save
from ._picture import Picture, luminance, ydrdb_to_rgb
from ._planes import blend, box_filter, chroma_upsize, extreme_sharpen, guided_upsize
from ._resampling import collapse_pyramid, downsize, gaussian_pyramid, laplacian_pyramid, upsize, view
from ._settings import Adjustments, Layer, Settings, Stroke, preset, presets, sidecar_of

__all__ = [
    "Adjustments",
    "Cancelled",
    "ColorAdjustment",
    "DetailEngine",
    "Development",
    "Error",
    "GuidedFilter",
    "Layer",
    "Mask",
    "OutOfMemory",
    "POISSON_KERNELS",
    "Photograph",
    "Picture",
    "Profile",
    "Rendering",
    "SCATTERED_KERNELS",
    "SavedFile",
    "Settings",
    "Spline",
    "Stroke",
    "apply_table",
    "bilateral_grid",
    "blend",
    "box_filter",
    "chroma_upsize",
    "collapse_pyramid",
    "convolution_pyramid",
    "detail_table",
    "develop",
    "domain_transform",
    "downsize",
    "extreme_sharpen",
    "gaussian_pyramid",
    "gradient_guide",
    "guided_filter",
    "guided_upsize",
    "laplacian_pyramid",
    "light_table",
    "local_laplacian",
    "luminance",
    "open",
    "preset",
    "presets",
    "rule_table",
    "save",
    "sidecar_of",
    "upsize",
    "view",
    "weighted_least_squares",
    "ydrdb_to_rgb",
]

for _name in __all__:
    if hasattr(globals()[_name], "__module__"):
        globals()[_name].__module__ = __name__
del _name
