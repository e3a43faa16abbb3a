#!/usr/bin/env python3
"""Develop a folder of photographs with a few threads, and show them before and after.

The library releases the interpreter's lock, so plain threads keep all processors busy; each develops one photograph at
a time with one thread of its own.

    ./batch.py [FOLDER] [-d TARGET] [--preset NAME] [--jobs N]
"""

import argparse
import concurrent.futures
import os
import pathlib
import time

import kestrova
import matplotlib.pyplot as plt

PHOTOGRAPHS = pathlib.Path(__file__).resolve().parents[1] / "photos"


def develop(source, target, settings):
    """The photograph before and after, small, or what went wrong."""
    begin = time.perf_counter()
    try:
        photograph = kestrova.open(source, threads=1)
        developed = kestrova.develop(photograph, settings, threads=1)
        kestrova.save(developed, target, threads=1)
    except kestrova.Error as error:
        return f"{source.name}: {error}"
    preview = kestrova.Settings(size=480)
    before, after = (kestrova.develop(p, preview, bits=8, threads=1).rgb for p in (photograph, developed))
    megapixels = photograph.shape[0] * photograph.shape[1] / 1e6
    return before, after, megapixels, time.perf_counter() - begin


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", nargs="?", type=pathlib.Path, default=PHOTOGRAPHS)
    parser.add_argument("-d", "--directory", type=pathlib.Path, default=pathlib.Path("developed"))
    parser.add_argument("--preset", default="landscape", choices=kestrova.presets())
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()

    sources = sorted(path for path in options.folder.iterdir() if kestrova.has_photograph_name(path))
    if not sources:
        parser.error(f"{options.folder}: there are no photographs")
    options.directory.mkdir(exist_ok=True)
    settings = kestrova.preset(options.preset)

    begin = time.perf_counter()
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        targets = [options.directory / f"{path.stem}.jpg" for path in sources]
        outcomes = list(pool.map(develop, sources, targets, [settings] * len(sources)))
    elapsed = time.perf_counter() - begin

    done = [(path, outcome) for path, outcome in zip(sources, outcomes) if not isinstance(outcome, str)]
    for outcome in outcomes:
        if isinstance(outcome, str):
            print(outcome)
    print(f"{len(done)} photographs in {elapsed:.1f} s with {options.jobs} threads: {options.directory}")
    if not done:
        return

    columns = min(len(done), 6)
    shown = done[:columns]
    figure, axes = plt.subplots(
        2, columns, figsize=(3 * columns, 4.6), squeeze=False, layout="constrained"
    )
    for column, (path, (before, after, megapixels, seconds)) in enumerate(shown):
        axes[0, column].set_title(f"{path.name}\n{megapixels:.1f} megapixels in {seconds:.1f} s", fontsize=8, loc="left")
        for row, image in enumerate((before, after)):
            axes[row, column].imshow(image)
            axes[row, column].set_xticks([])
            axes[row, column].set_yticks([])
    axes[0, 0].set_ylabel("before")
    axes[1, 0].set_ylabel(f'after, preset "{options.preset}"')
    figure.savefig(options.directory / "before_and_after.png", dpi=130)
    print(options.directory / "before_and_after.png")


if __name__ == "__main__":
    main()
