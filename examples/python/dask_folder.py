#!/usr/bin/env python3
"""Develop a folder on the workers of a Dask cluster, by default some on this machine, and survive a lost worker.

A photograph whose worker is lost is developed again on another one: targets are whole or not there, so that nothing is
left half done. The workers read and write the same file system.

    ./dask_folder.py FOLDER -d TARGET [--workers N | --scheduler ADDRESS] [--preset NAME] [--kill-one]
"""

import argparse
import os
import pathlib
import signal
import sys

import kestrova
from dask.distributed import Client, LocalCluster, as_completed


def develop(source, target, settings):
    """Runs on a worker: says who has done it, and what went wrong, if anything."""
    import kestrova

    try:
        photograph = kestrova.open(source, threads=1)
        developed = kestrova.develop(photograph, kestrova.Settings.from_json(settings), threads=1)
        kestrova.save(developed, target, threads=1)
        return os.getpid(), None
    except kestrova.Error as error:  # a damaged file, say: no reason to try again elsewhere
        return os.getpid(), str(error)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("-d", "--directory", type=pathlib.Path, required=True)
    parser.add_argument("--workers", type=int, default=os.cpu_count(), help="processes on this machine")
    parser.add_argument("--scheduler", help="the address of a cluster that is running, such as tcp://host:8786")
    parser.add_argument("--preset", default="natural", choices=kestrova.presets())
    parser.add_argument("--kill-one", action="store_true", help="kill a worker on the way, to see what happens")
    options = parser.parse_args()

    sources = sorted(path for path in options.folder.iterdir() if kestrova.has_photograph_name(path))
    options.directory.mkdir(exist_ok=True)
    settings = kestrova.preset(options.preset).to_json()

    cluster = None
    if not options.scheduler:
        # Processes, each with one thread: a worker that is lost takes one photograph along.
        cluster = LocalCluster(n_workers=options.workers, threads_per_worker=1, dashboard_address=None)
    failures = 0
    with Client(options.scheduler or cluster) as client:
        futures = {
            client.submit(
                develop,
                str(path.resolve()),
                str(options.directory.resolve() / f"{path.stem}.jpg"),
                settings,
                key=f"develop-{path.name}",
                retries=2,
                pure=False,
            ): path
            for path in sources
        }
        for future in as_completed(futures):
            worker, failure = future.result()
            failures += failure is not None
            print(f"{futures[future].name}: {failure or 'done'} (process {worker})", flush=True)
            if options.kill_one and cluster:
                options.kill_one = False
                victim = next(iter(client.run(os.getpid).values()))
                os.kill(victim, signal.SIGKILL)
                print(f"killed process {victim}", flush=True)
    if cluster:
        cluster.close()
    print(f"{len(sources) - failures} of {len(sources)} photographs: {options.directory}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
