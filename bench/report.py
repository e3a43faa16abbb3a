#!/usr/bin/env python3
"""Measures operations beside their peers in one run, and writes the tables and plots of docs/performance.

report.py --bench PROGRAM [--out DIRECTORY] [--min-time SECONDS] [--repetitions N] [--only REGEX]   measure and write
report.py --bench PROGRAM --check        only see that every row of the tables below is one of the benches
report.py --from RESULTS.json [--out DIRECTORY]   write the page of a run made before
"""

import argparse
import json
import pathlib
import platform
import re
import subprocess
import sys
import tempfile
import time

import svg

LARGE = "6000x4000"

# What is measured beside what: the operation, its bench, the peer, its bench. {} is the picture's size.
PEERS = [
    ("Guided filter, radius 8", "TGuidedFilter::setup + proc/guides:1/r:8/{}",
     "ximgproc::guidedFilter", "ximgproc::guidedFilter/guides:1/r:8/{}"),
    ("Guided filter, radius 64", "TGuidedFilter::setup + proc/guides:1/r:64/{}",
     "ximgproc::guidedFilter", "ximgproc::guidedFilter/guides:1/r:64/{}"),
    ("Guided by three planes, radius 8", "TGuidedFilter::setup + proc/guides:3/r:8/{}",
     "ximgproc::guidedFilter", "ximgproc::guidedFilter/guides:3/r:8/{}"),
    ("Bilateral grid, sampling 16, 8-bit", "bilateral/proc/sampling16/8u/{}",
     "ximgproc::jointBilateralFilter", "bilateral/ximgproc_jointBilateralFilter/8u/{}"),
    ("Local Laplacian, 10 references", "local_laplacian/proc10K/{}",
     "cv::pyrDown, cv::pyrUp of 10 channels", "local_laplacian/opencvPyramid10/{}"),
    ("Convolution pyramid", "ConvPyr::proc float/{}",
     "the same by cv::sepFilter2D", "the same with cv::sepFilter2D/{}"),
    ("Weighted least squares, 1 megapixel", "wls/proc/1024x1024",
     "Eigen's SimplicialLLT, solution alone", "wls/eigenSimplicialLLT/1024x1024"),
    ("Weighted least squares, 1 megapixel", "wls/proc/1024x1024",
     "CHOLMOD, supernodal, solution alone", "wls/cholmodSupernodal/1024x1024"),
    ("Domain transform, 1 megapixel x 2", "DomainTransformFilter::filterRF/1024x1024x2",
     "ximgproc::dtFilter", "ximgproc::dtFilter RF/1024x1024x2"),
    ("Chroma smoothed by blocks", "chroma smoothed by blocks/{}",
     "ximgproc::dtFilter", "ximgproc::dtFilter RF on the whole/{}"),
    ("Colour adjustment by a 3-D table", "TColorAdjVL::proc/{}",
     "OpenColorIO, trilinear", "OpenColorIO Lut3D trilinear/{}"),
    ("Colour adjustment by a 3-D table", "TColorAdjVL::proc/{}",
     "OpenColorIO, tetrahedral", "OpenColorIO Lut3D tetrahedral/{}"),
    ("Enlarging by 2, guided by luminance", "upSize2XGuidedByY/{}",
     "cv::resize, ximgproc::guidedFilter", "cv::resize by 2, ximgproc::guidedFilter, guides 1/{}"),
    ("Enlarging by 2, guided by colour", "upSizeNXGuidedByRGB by 2/{}",
     "cv::resize, ximgproc::guidedFilter", "cv::resize by 2, ximgproc::guidedFilter, guides 3/{}"),
    ("Enlarging chroma by 2, guided", "upSize2XGuidedByYSimple/{}",
     "cv::resize, linear, unguided", "cv::resize linear by 2/{}"),
    ("Enlarging by 2, cubic, 16-bit", "upSize2X cubic/16u/{}",
     "cv::resize", "cv::resize by 2 cubic/16u/{}"),
    ("Enlarging by 2, linear, 16-bit", "upSize2X linear/16u/{}",
     "cv::resize", "cv::resize by 2 linear/16u/{}"),
    ("Reducing by 2, 16-bit", "downSize2X/16u/{}",
     "cv::resize, nearest", "cv::resize by 1/2 nearest/16u/{}"),
    ("Box means, radius 10, 16-bit", "tFilterBox Y radius 10 x 1/{}",
     "cv::blur", "cv::blur 16u radius 10/{}"),
    ("Box means, radius 500, 16-bit", "tFilterBox Y radius 500 x 1/{}",
     "cv::blur", "cv::blur 16u radius 500/{}"),
    ("Blending under a mask, 8-bit", "blendAlpha 8u/{}",
     "cv::addWeighted, without a mask", "cv::addWeighted 8u/{}"),
    ("Sharpening by extremes, 16-bit", "extremeSharpen/{}",
     "cv::erode and cv::dilate", "cv::erode and cv::dilate 16u/{}"),
    ("Edge map to luminance", "edgeToFull gain 1/{}",
     "cv::pyrUp and cv::add", "cv::pyrUp and add 16/{}"),
    ("Tone curve, 8-bit", "TLut1D::apply 8 to 8/{}",
     "cv::LUT", "cv::LUT 8 to 8/{}"),
    ("Luminance of planes, 16-bit", "PRGB2Y/{}",
     "cv::cvtColor to grey", "cv::cvtColor BGR to grey 16/{}"),
    ("Pixels in, packed 8-bit", "convertFrom packed 8/{}",
     "cv::cvtColor to 8-bit YUV 4:2:0", "cv::cvtColor BGRA to YUV 4:2:0 8/{}"),
    ("Pixels out, packed 8-bit", "convertTo/{}",
     "cv::cvtColor from 8-bit YUV 4:2:0", "cv::cvtColor YUV 4:2:0 8 to BGRA/{}"),
]

# Operations that no library has: their time beside a plain copy of the same bytes.
ALONE = [
    ("Bilateral grid, sampling 16, 16-bit", "bilateral/proc/sampling16/16u/{}"),
    ("Pixels in, packed 16-bit", "convertFrom packed 16/{}"),
    ("Pixels out, planar 16-bit", "convertTopRGB/{}"),
    ("Y, Dr, Db to red, green, blue", "YDRDB2RGB/{}"),
    ("Luminance to an edge map", "fullToEdge/{}"),
    ("Tone curve, 16-bit", "TLut1D::apply 16 to 16/{}"),
    ("Detail engine: preparation, always all threads", "TVelline::setup/{}"),
    ("Detail engine: whole picture, cold", "TVelline::proc/cold/{}"),
    ("Detail engine: one scale's slider", "TVelline::proc/one scale's slider/{}"),
    ("Detail engine: light slider", "TVelline::proc/light slider/{}"),
    ("View of 2 megapixels, cold", "TVelline::proc/cold/1920x1080"),
    ("View of 2 megapixels, one scale's slider", "TVelline::proc/one scale's slider/1920x1080"),
    ("View of 2 megapixels, light slider", "TVelline::proc/light slider/1920x1080"),
]

# The lines of the plots of growth: how the legend names a bench, its colour, and whether it is a peer, which has the
# colour of the operation that it stands beside.
GROWTH = {
    "guided": ("guided filter", 0, False),
    "ximgproc guidedFilter": ("ximgproc guidedFilter", 0, True),
    "bilateral": ("bilateral grid", 1, False),
    "ximgproc jointBilateralFilter": ("ximgproc jointBilateralFilter", 1, True),
    "laplacian": ("local Laplacian", 2, False),
    "pyramid": ("convolution pyramid", 3, False),
    "box": ("box means", 4, False),
    "cv blur": ("cv::blur", 4, True),
}


def rows():
    """The names of all benches that the page shows, but for those of growth."""
    names = [name for _, ours, _, peer in PEERS for name in (ours, peer)] + [name for _, name in ALONE]
    return list(dict.fromkeys(name.format(LARGE) for name in names))


def regex_of(names):
    return "|".join(re.sub(r"([.\[\]{}()*+?^$|\\])", r"\\\1", name) for name in names)


def check(bench):
    listed = subprocess.run([bench, "--benchmark_list_tests"], check=True, capture_output=True, text=True).stdout
    benches = {line.split("/threads:")[0] for line in listed.splitlines()}
    missing = [name for name in rows() if name not in benches]
    grown = {re.split("[:/]", name.split("/", 2)[2])[0] for name in benches if name.startswith("growth/")}
    missing += [f"growth of {name}" for name in GROWTH.keys() ^ grown]
    for name in missing:
        print(f"report.py: no bench is named {name}", file=sys.stderr)
    return not missing


def filter_of(only):
    """What kestrova_bench is to run: the rows that `only` finds, and those of growth if it finds "growth/"."""
    names = [name for name in rows() if re.search(only, name)]
    chosen = [f"^({regex_of(names)})/threads:"] if names else []
    if re.search(only, "growth/"):
        chosen.append("^growth/")
    if not chosen:
        sys.exit(f'report.py: --only: no row is found by "{only}", nor "growth/"')
    return "|".join(chosen)


def measure(bench, min_time, repetitions, only):
    benches = filter_of(only)
    with tempfile.NamedTemporaryFile(suffix=".json") as results:
        subprocess.run([bench, f"--benchmark_filter={benches}", f"--benchmark_min_time={min_time}",
                        f"--benchmark_repetitions={repetitions}",
                        f"--benchmark_out={results.name}", "--benchmark_out_format=json"], check=True)
        return json.loads(pathlib.Path(results.name).read_text(encoding="utf-8"))


class Results:
    """Milliseconds and ratios to a copy of each bench, by number of threads: those of its fastest repetition."""

    def __init__(self, document):
        self.benches = {}
        for row in document["benchmarks"]:
            if row.get("run_type", "iteration") != "iteration":
                continue
            name, tail = row["name"].split("/threads:")
            runs, threads = self.benches.setdefault(name, {}), int(tail.split("/")[0])
            if threads not in runs or row["real_time"] < runs[threads]["real_time"]:
                runs[threads] = row
        self.threads = max((n for runs in self.benches.values() for n in runs), default=1)

    def milliseconds(self, name, threads):
        row = self.benches.get(name.format(LARGE), {}).get(threads)
        return row and row["real_time"]

    def copies(self, name):
        row = self.benches.get(name.format(LARGE), {}).get(1)
        return row and row.get("copies")

    def ratio(self, above, below, threads):
        """How many times the first takes of the second's time; a peer of one thread alone counts for all."""
        a = self.milliseconds(above, threads) or self.milliseconds(above, 1)
        b = self.milliseconds(below, threads) or self.milliseconds(below, 1)
        return a / b if a and b else None

    def speed_up(self, name):
        one, all_threads = self.milliseconds(name, 1), self.milliseconds(name, self.threads)
        return one / all_threads if one and all_threads else None

    def growth(self, kind):
        """For each line of a plot its points, x and milliseconds."""
        lines = {}
        for name, runs in self.benches.items():
            if not name.startswith(f"growth/{kind}/"):
                continue
            which, _, amount = name.split("/", 2)[2].partition(":")
            which = which.split("/")[0]
            for threads, row in runs.items():
                width, _, height = amount.partition("x")
                x = {"pixels": lambda: int(width) * int(height) / 1e6, "radius": lambda: int(amount),
                     "threads": lambda: threads}[kind]()
                lines.setdefault(which, []).append((x, row["real_time"]))
        return {which: sorted(points) for which, points in lines.items()}


def number(value):
    """Three digits that count."""
    if value is None:
        return ""
    return f"{value:.{0 if value >= 100 else 1 if value >= 10 else 2}f}"


def pair(one, several):
    """A figure with one thread and with all; the first alone where there is no second."""
    return number(one) + (f" / {number(several)}" if several is not None else "")


def table(head, lines):
    aligned = ["---" if title in ("operation", "peer") else "---:" for title in head]
    return "\n".join("| " + " | ".join(cells) + " |" for cells in [head, aligned, *lines])


def peers_table(results):
    n = results.threads

    def milliseconds(name):
        return pair(results.milliseconds(name, 1), results.milliseconds(name, n))

    lines = [[title, milliseconds(ours), peer_title, milliseconds(peer),
              pair(results.ratio(peer, ours, 1), results.ratio(peer, ours, n)),
              number(results.copies(ours)), number(results.speed_up(ours))]
             for title, ours, peer_title, peer in PEERS
             if results.milliseconds(ours, 1) is not None and results.milliseconds(peer, 1) is not None]
    return table(["operation", f"ms, 1 / {n} threads", "peer", f"ms, 1 / {n} threads", "times as fast", "copies",
                  f"{n} threads to 1"], lines)


def alone_table(results):
    n = results.threads
    return table(["operation", f"ms, 1 / {n} threads", "copies", f"{n} threads to 1"],
                 [[title, pair(results.milliseconds(name, 1), results.milliseconds(name, n)),
                   number(results.copies(name)), number(results.speed_up(name))]
                  for title, name in ALONE if results.milliseconds(name, 1) is not None])


def first_line(path, key):
    for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
        if line.startswith(key):
            return re.split("[:=]", line, maxsplit=1)[1].strip().strip('"')
    return "unknown"


def versions():
    packages = ["libopencv-core-dev", "libopencv-contrib-dev", "libopencolorio-dev", "libeigen3-dev",
                "libsuitesparse-dev", "g++"]
    shown = []
    for package in packages:
        query = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], capture_output=True, text=True,
                               check=False)
        shown.append(f"{package} {query.stdout}" if query.returncode == 0 else f"{package} not installed")
    return shown


def described(document):
    """What the machine was, to be kept with the figures."""
    context = document["context"]
    return {
        "date": context["date"][:10],
        "processor": first_line("/proc/cpuinfo", "model name"),
        "processors": context["num_cpus"],
        "caches": ", ".join(f"L{c['level']} {c['type'].lower()} {c['size'] // 1024} KiB" for c in context["caches"]),
        "system": first_line("/etc/os-release", "PRETTY_NAME") + ", Linux " + platform.release(),
        "load": context["load_avg"][0] if context["load_avg"] else None,
        "versions": versions(),
    }


def page(results, machine, seconds):
    lost = sorted({peer_title for _, _, peer_title, peer in PEERS if results.milliseconds(peer, 1) is None})
    absent = f"\nNot in this run: {'; '.join(lost)}.\n" if lost else ""
    return f"""# Performance {{#performance}}

Written by `make bench-report` on {machine['date']}: all figures are of one process and one run of
{seconds / 60:.0f} minutes.

- processor: {machine['processor']}, {machine['processors']} of its processors; {machine['caches']}
- system: {machine['system']}; load when the run began: {machine['load']:.1f}
- built with and against {', '.join(machine['versions'])}

Milliseconds depend on the machine and on what else it does. The ratios are what counts: *times as fast* compares with a
peer; *copies* is the time with one thread in units of a plain copy of as many bytes as the operation must read and
write, which is about the least that a picture which no cache holds can take.

## Beside peers, 24 megapixels

![How many times as fast as its peer each operation is](peers.svg)

{peers_table(results)}

Peers are the nearest that well-known libraries have, not the same: those of the local Laplacian and of least squares
are parts of the work, OpenCV's bilateral filter has 8 bits and a window, its YUV has 8 bits. Solvers that have no
threads are compared with all of ours.
{absent}
## Beside a plain copy

![Time in units of a plain copy of the same bytes](copies.svg)

{alone_table(results)}

## Growth with pixels

![Milliseconds by megapixels](pixels.svg)

## Growth with the radius

At 2.5 megapixels. The radius of the bilateral grid is its sampling.

![Milliseconds by radius](radius.svg)

## Growth with threads

![Speed-up by number of threads](threads.svg)
"""


def write(results, machine, seconds, out):
    n = results.threads
    pairs = [((title, peer_title), [results.ratio(peer, ours, 1), results.ratio(peer, ours, n)])
             for title, ours, peer_title, peer in PEERS]
    benches = dict([(title, ours) for title, ours, _, _ in PEERS] + ALONE)
    copies = [((title,), [results.copies(name)]) for title, name in benches.items()]

    def present(rows_of_bars):
        return sorted(((title, values) for title, values in rows_of_bars if None not in values),
                      key=lambda row: -row[1][-1])

    plots = {
        "peers": svg.bars(present(pairs), ["1 thread", f"{n} threads"], "times as fast as the peer (logarithmic)", 1),
        "copies": svg.bars(present(copies), ["1 thread"], "times a plain copy of the same bytes (logarithmic)", 1),
    }
    for kind, title in (("pixels", "megapixels"), ("radius", "radius in pixels"), ("threads", "threads")):
        lines = []
        for which, points in results.growth(kind).items():
            if kind == "threads":
                points = [(x, points[0][1] / y) for x, y in points]
            lines.append((*GROWTH[which], points))
        if lines:  # a run with --only may have none
            plots[kind] = svg.lines(lines, title,
                                    "times as fast as with 1 thread" if kind == "threads" else "milliseconds",
                                    logarithmic=kind != "threads")
    out.mkdir(parents=True, exist_ok=True)
    for name, plot in plots.items():
        (out / f"{name}.svg").write_text(plot, encoding="utf-8")
    (out / "README.md").write_text(page(results, machine, seconds), encoding="utf-8")


def main():
    arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    arguments.add_argument("--bench")
    arguments.add_argument("--from", dest="results")
    arguments.add_argument("--out", type=pathlib.Path, default=pathlib.Path("docs/performance"))
    arguments.add_argument("--min-time", default="0.3")
    arguments.add_argument("--repetitions", type=int, default=1)
    arguments.add_argument("--only", default="")
    arguments.add_argument("--check", action="store_true")
    given = arguments.parse_args()
    if given.check:
        sys.exit(0 if check(given.bench) else 1)
    if given.results:
        document = json.loads(pathlib.Path(given.results).read_text(encoding="utf-8"))
    else:
        began = time.monotonic()
        run = measure(given.bench, given.min_time, given.repetitions, given.only)
        kept = ("name", "run_type", "iterations", "real_time", "copies", "bytes/pixel")
        rows_kept = [{key: row[key] for key in kept if key in row} for row in run["benchmarks"]]
        document = {"machine": described(run), "seconds": time.monotonic() - began, "benchmarks": rows_kept}
        given.out.mkdir(parents=True, exist_ok=True)
        (given.out / "results.json").write_text(json.dumps(document, indent=1) + "\n", encoding="utf-8")
    write(Results(document), document["machine"], document["seconds"], given.out)
    print(f"{given.out}/README.md is written; the run took {document['seconds'] / 60:.1f} minutes")


if __name__ == "__main__":
    main()
