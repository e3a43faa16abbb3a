#!/usr/bin/env python3
"""Edge-aware filters side by side: what each leaves of a photograph, and the detail that it takes away.

    ./edge_aware_filters.py [PHOTOGRAPH] [-o FIGURE]
"""

import argparse
import pathlib

import kestrova
import matplotlib.pyplot as plt
import numpy as np

PHOTOGRAPH = pathlib.Path(__file__).resolve().parents[1] / "photos" / "dandelion_768x512_16bit.png"


def luminance_of(path):
    """uint16, 0..65535."""
    return kestrova.luminance(np.ascontiguousarray(kestrova.open(path).rgb))


def with_headroom(y, alpha):
    """Detail that is boosted must not leave the range."""
    low = (0.875 * y + 4096).astype(np.uint16)
    filtered = kestrova.local_laplacian(low, alpha=0.875 * alpha, references=16)
    return ((filtered.astype(np.float32) - 4096) / 0.875).clip(0, 65535).astype(np.uint16)


def weighted_least_squares(y, lam, alpha):
    scaled = y / np.float32(65535)
    smooth = kestrova.weighted_least_squares(scaled, lam=lam, alpha=alpha, log_guide=True)
    return (smooth * 65535).clip(0, 65535).astype(np.uint16)


def domain_transform(y, sigma_space, sigma_range):
    smooth = kestrova.domain_transform(y.astype(np.float32), sigma_space=sigma_space, sigma_range=sigma_range)
    return smooth.clip(0, 65535).astype(np.uint16)


FILTERS = {
    "Guided filter\nradius 12, eps 0.004": lambda y: kestrova.guided_filter(y, radius=12, eps=0.004),
    "Bilateral grid\n16 pixels, 6500 levels a cell": lambda y: kestrova.bilateral_grid(
        y, space_sampling=16, range_sampling=6500
    ),
    "Local Laplacian\nalpha 0.2": lambda y: with_headroom(y, 0.2),
    "Weighted least squares\nlambda 0.4, alpha 1.2": lambda y: weighted_least_squares(y, 0.4, 1.2),
    "Domain transform\n12 pixels, 13000 levels": lambda y: domain_transform(y, 12, 13000),
    "Box mean, for comparison\nradius 6, twice": lambda y: kestrova.box_filter(y, radius=6, iterations=2),
}


def show(axes, image, title, **options):
    axes.set_title(title, fontsize=9, loc="left")
    axes.set_axis_off()
    return axes.imshow(image, interpolation="lanczos", **options)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("photograph", nargs="?", default=PHOTOGRAPH)
    parser.add_argument("-o", "--output", default="edge_aware_filters.png")
    options = parser.parse_args()

    y = luminance_of(options.photograph)
    side = min(*y.shape, 340)
    top, left = (y.shape[0] - side) // 2, (y.shape[1] - side) // 2
    part = np.s_[top : top + side, left : left + side]
    grey = {"cmap": "gray", "vmin": 0, "vmax": 65535}
    signed = {"cmap": "RdBu_r", "vmin": -20, "vmax": 20}

    figure, axes = plt.subplots(2, 1 + len(FILTERS), figsize=(17, 5.6))
    figure.subplots_adjust(left=0.01, right=0.99, top=0.92, bottom=0.01, wspace=0.05, hspace=0.2)
    show(axes[0, 0], y[part], "Luminance of\nthe photograph", **grey)
    for column, (name, smooth_of) in enumerate(FILTERS.items(), start=1):
        smooth = smooth_of(y)
        detail = (y.astype(np.float32) - smooth) * (100 / 65535)
        show(axes[0, column], smooth[part], name, **grey)
        image = show(axes[1, column], detail[part], f"What it takes away,\nroot mean square {(detail**2).mean() ** 0.5:.1f} %", **signed)
    axes[1, 0].set_axis_off()
    bar = figure.colorbar(image, cax=axes[1, 0].inset_axes([0, 0.55, 0.9, 0.06]), orientation="horizontal", extend="both")
    bar.set_label("percent of full scale", fontsize=9)
    figure.savefig(options.output, dpi=120)
    print(options.output)


if __name__ == "__main__":
    main()
