#!/usr/bin/env python3
"""Run time against size and radius, beside OpenCV where it has a like operation.

Each figure is the best of several runs. Both libraries get the same number of threads.

    ./run_time.py [-o FIGURE] [--threads N] [--quick]
"""

import argparse
import os
import platform
import time

import cv2
import kestrova
import matplotlib.pyplot as plt
import numpy as np

OURS, PEER = "kestrova", f"OpenCV {cv2.__version__}"


def photograph(megapixels):
    """Luminance of smooth shapes with noise on them, as bytes and as words: width 1.5 times the height."""
    height = round((megapixels * 1e6 / 1.5) ** 0.5)
    y, x = np.mgrid[:height, : round(1.5 * height)].astype(np.float32) / height
    shapes = 0.5 + 0.3 * np.sin(9 * x) * np.cos(7 * y) + 0.15 * (np.hypot(x - 0.7, y - 0.5) < 0.3)
    noisy = shapes + np.random.default_rng(1).normal(0, 0.02, shapes.shape)
    words = (noisy.clip(0, 1) * 65535).astype(np.uint16)
    return (words >> 8).astype(np.uint8), words


# An operation on bytes and words with a radius; kestrova's beside OpenCV's.
OPERATIONS = {
    "Guided filter, 8 bits": (
        lambda b, w, r, n: kestrova.guided_filter(b, radius=r, eps=1e-3, threads=n),
        lambda b, w, r: cv2.ximgproc.guidedFilter(b, b, r, 1e-3 * 255**2),
    ),
    "Bilateral filter, 8 bits": (
        lambda b, w, r, n: kestrova.bilateral_grid(b, space_sampling=max(2, r), range_sampling=25, threads=n),
        lambda b, w, r: cv2.bilateralFilter(b, 2 * r + 1, 20, r),
    ),
    "Box mean, 16 bits": (
        lambda b, w, r, n: kestrova.box_filter(w, radius=r, threads=n),
        lambda b, w, r: cv2.blur(w, (2 * r + 1, 2 * r + 1)),
    ),
    "Domain transform, floats": (
        lambda b, w, r, n: kestrova.domain_transform(w.astype(np.float32), sigma_space=r, sigma_range=6500, threads=n),
        lambda b, w, r: cv2.ximgproc.dtFilter(
            w.astype(np.float32), w.astype(np.float32), r, 6500, mode=cv2.ximgproc.DTF_RF
        ),
    ),
}


def milliseconds(work, seconds):
    """The best run within a time, at least five of them, after one to warm up."""
    work()
    best, end, runs = float("inf"), time.perf_counter() + seconds, 0
    while runs < 5 or time.perf_counter() < end:
        begin = time.perf_counter()
        work()
        best = min(best, time.perf_counter() - begin)
        runs += 1
    return 1e3 * best


def measure(ours, peer, planes, radius, options):
    seconds = 0.02 if options.quick else 0.5
    return (
        milliseconds(lambda: ours(*planes, radius, options.threads), seconds),
        milliseconds(lambda: peer(*planes, radius), seconds),
    )


def draw(axes, xs, times, xlabel, title):
    for times_of, label, style in zip(zip(*times), (OURS, PEER), ("o-", "s--")):
        axes.loglog(xs, times_of, style, label=label, markersize=4, linewidth=1.5)
    axes.set_xticks(xs, [f"{x:g}" for x in xs])
    axes.minorticks_off()
    axes.grid(True, alpha=0.3)
    axes.set_xlabel(xlabel)
    axes.set_title(title, fontsize=10, loc="left")


def processor():
    try:
        with open("/proc/cpuinfo") as info:
            return next(line.split(":")[1].strip() for line in info if line.startswith("model name"))
    except (OSError, StopIteration):
        return platform.processor() or platform.machine()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("-o", "--output", default="run_time.png")
    parser.add_argument("--threads", type=int, default=os.cpu_count())
    parser.add_argument("--quick", action="store_true", help="small planes and few runs: to see that it works")
    options = parser.parse_args()
    cv2.setNumThreads(options.threads)
    sizes = [0.05, 0.1, 0.2] if options.quick else [0.5, 1, 2, 4, 8]
    radii = [4, 8, 16] if options.quick else [2, 4, 8, 16, 32, 64]
    fixed = sizes[-1] if options.quick else 2

    figure, axes = plt.subplots(2, len(OPERATIONS), figsize=(3.4 * len(OPERATIONS), 6.6), layout="constrained")
    at_fixed_size = photograph(fixed)
    by_size = [photograph(size) for size in sizes]
    for column, (name, (ours, peer)) in enumerate(OPERATIONS.items()):
        times = [measure(ours, peer, planes, 8, options) for planes in by_size]
        draw(axes[0, column], sizes, times, "megapixels, at radius 8", name)
        times = [measure(ours, peer, at_fixed_size, radius, options) for radius in radii]
        draw(axes[1, column], radii, times, f"radius, at {fixed:g} megapixels", name)
    for row in axes:
        row[0].set_ylabel("milliseconds")
    axes[0, 0].legend(fontsize=8)
    figure.suptitle(f"{processor()}, {options.threads} threads, {time.strftime('%Y-%m-%d')}", fontsize=9)
    figure.savefig(options.output, dpi=130)
    print(options.output)


if __name__ == "__main__":
    main()
