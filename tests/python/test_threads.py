import _thread
import concurrent.futures
import os
import signal
import subprocess
import sys
import threading
import time

import kestrova
import numpy as np
import pytest

from test_arrays import CALLS, arrays_for
from test_detail import make_details, make_picture

F = np.float32


def test_eight_threads_at_once(rng):
    src = rng.integers(0, 65536, (200, 240), np.uint16)
    floats = rng.random((60, 80), F)
    works = [
        lambda: kestrova.guided_filter(src, radius=5),
        lambda: kestrova.bilateral_grid(src),
        lambda: kestrova.local_laplacian(src, alpha=0.2),
        lambda: kestrova.convolution_pyramid(src, *kestrova.POISSON_KERNELS),
        lambda: kestrova.weighted_least_squares(floats),
        lambda: kestrova.domain_transform(floats, sigma_space=5, sigma_range=0.3),
        lambda: kestrova.box_filter(src, radius=9, iterations=2),
        lambda: kestrova.Picture.from_rgb(np.dstack([src] * 3)).to_rgb(),
    ]
    wanted = [work() for work in works]
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        for _ in range(3):
            for actual, expected in zip(pool.map(lambda work: work(), works), wanted):
                np.testing.assert_array_equal(actual, expected)


def test_python_runs_while_the_library_works(rng):
    src = rng.integers(0, 65536, (1500, 1500), np.uint16)
    count, stop = [0], threading.Event()

    def count_up():
        while not stop.is_set():
            count[0] += 1
            time.sleep(0)

    thread = threading.Thread(target=count_up)
    thread.start()
    try:
        time.sleep(0.01)
        interval = sys.getswitchinterval()
        sys.setswitchinterval(60)  # so that only a released lock lets the other thread run
        before = count[0]
        kestrova.local_laplacian(src, alpha=0.2)
        after = count[0]
    finally:
        sys.setswitchinterval(interval)
        stop.set()
        thread.join()
    assert after - before > 20


def test_an_object_serves_one_thread_at_a_time(rng):
    picture, details = make_picture(rng), make_details(rng)
    engine = kestrova.DetailEngine(picture, *details)
    refused = []

    def render():
        for _ in range(200):
            try:
                engine.render(0, 0, 64, 48, threads=1)
                engine.set_light(brightness=0.1)
            except kestrova.Error as error:
                assert error.kind == "programming" and "in use by another call" in str(error)
                refused.append(error)

    threads = [threading.Thread(target=render) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert engine.render(0, 0, 64, 48).shape == (48, 64)


def test_a_callback_that_uses_a_working_object_is_refused():
    development = kestrova.Development(kestrova.Photograph(np.full((400, 600, 4), 90, np.uint8)))
    development.settings = kestrova.Settings(medium_midtones=0.5)
    texts = []

    def again(share):
        with pytest.raises(kestrova.Error) as failure:
            development.render()
        texts.append(str(failure.value))

    development.render(progress=again)
    assert set(texts) <= {"Development: in use by another call"}


REPORTING = {
    "bilateral_grid": lambda src, progress, **o: kestrova.bilateral_grid(src, progress=progress, **o),
    "box_filter": lambda src, progress, **o: kestrova.box_filter(src, radius=2, iterations=3, progress=progress, **o),
}


@pytest.mark.parametrize("name", REPORTING)
def test_progress_is_reported(rng, name):
    src = rng.integers(0, 65536, (50, 60), np.uint16)
    shares = []
    result = REPORTING[name](src, shares.append)
    assert shares and shares == sorted(shares) and 0 <= shares[0] and shares[-1] <= 1
    np.testing.assert_array_equal(REPORTING[name](src, None), result)


@pytest.mark.parametrize("name", REPORTING)
def test_a_false_answer_cancels(rng, name):
    src = rng.integers(0, 65536, (50, 60), np.uint16)
    with pytest.raises(kestrova.Cancelled) as failure:
        REPORTING[name](src, lambda share: False)
    assert failure.value.kind == "cancelled"


@pytest.mark.parametrize("name", REPORTING)
def test_what_a_progress_callable_raises_comes_through(rng, name):
    src = rng.integers(0, 65536, (50, 60), np.uint16)
    with pytest.raises(ZeroDivisionError):
        REPORTING[name](src, lambda share: 1 / 0)


@pytest.mark.parametrize("name", REPORTING)
def test_an_interrupt_from_the_keyboard_cancels_at_the_next_report(rng, name):
    src = rng.integers(0, 65536, (50, 60), np.uint16)

    def interrupt(share):
        _thread.interrupt_main()

    with pytest.raises(KeyboardInterrupt):
        REPORTING[name](src, interrupt)


@pytest.mark.parametrize("name", REPORTING)
@pytest.mark.parametrize("in_place", [False, True])
def test_what_is_cancelled_leaves_its_output_as_it_was(rng, name, in_place):
    src = rng.integers(0, 65536, (50, 60), np.uint16)
    out = src if in_place else rng.integers(0, 65536, src.shape, np.uint16)
    before = out.copy()
    with pytest.raises(kestrova.Cancelled):
        REPORTING[name](src, lambda share: False, out=out)
    np.testing.assert_array_equal(out, before)


def interrupt_while_the_lock_is_released(work):
    """Calls `work` again and again until an interrupt comes.

    The interrupt is sent by a thread that can run only while a call has released the interpreter's lock.
    """
    gate, ready, too_late = threading.Lock(), threading.Event(), threading.Event()
    gate.acquire()

    def interrupt():
        ready.set()
        gate.acquire()
        if not too_late.is_set():
            _thread.interrupt_main()

    thread = threading.Thread(target=interrupt)
    interval = sys.getswitchinterval()
    sys.setswitchinterval(600)  # seconds: no thread has to give the lock up before it waits
    try:
        thread.start()
        ready.wait()
        gate.release()
        end = time.monotonic() + 60  # the thread has to find a processor, too
        while time.monotonic() < end:
            work()
        too_late.set()
        pytest.fail("the lock was not released, or no interrupt was raised")
    except KeyboardInterrupt:
        pass
    finally:
        sys.setswitchinterval(interval)
        thread.join()


@pytest.mark.parametrize("name", [name for name in CALLS if name.split()[0] not in REPORTING])
def test_an_interrupt_is_raised_once_a_filter_has_done_its_work(rng, name):
    types, call = CALLS[name]
    arrays = arrays_for(rng, types, (60, 70) if name == "weighted_least_squares" else (480, 640))
    wanted = call(*arrays)
    outs = [None]

    def work():
        zeros = bytearray(wanted.nbytes)  # numpy.zeros would release the lock
        outs[0] = np.frombuffer(zeros, wanted.dtype).reshape(wanted.shape)
        call(*arrays, out=outs[0])

    interrupt_while_the_lock_is_released(work)
    np.testing.assert_array_equal(outs[0], wanted)


def test_objects_release_the_lock_while_they_work(rng):
    picture, details = make_picture(rng, (480, 640)), make_details(rng, (480, 640))
    engine = kestrova.DetailEngine(picture, *details)
    height, width = picture.shape
    y = picture.y
    dr, db = engine.chroma(0, 0, width, height)
    colour = kestrova.ColorAdjustment(vibrance=0.3)
    model = kestrova.GuidedFilter()
    model.fit(y)
    bgra, rgb = picture.to_bgra(), np.ascontiguousarray(picture.to_rgb())
    points = np.linspace(0, 1, 100000, dtype=F)
    spline = kestrova.Spline([(0, 0), (1, 1)])
    photograph = kestrova.Photograph(bgra)
    for work in (
        lambda: kestrova.Picture.from_bgra(bgra),
        lambda: kestrova.Picture.from_rgb(rgb),
        lambda: picture.to_bgra(),
        lambda: picture.to_rgb(),
        lambda: picture.to_half_rgb(),
        lambda: picture.copy(),
        lambda: kestrova.luminance(rgb),
        lambda: kestrova.ydrdb_to_rgb(y, dr, db),
        lambda: kestrova.DetailEngine(picture, *details),
        lambda: engine.render(0, 0, width, height),
        lambda: engine.chroma(0, 0, width, height),
        lambda: colour.apply(y, y, dr, db),
        lambda: model.fit(y),
        lambda: model.apply(y),
        lambda: kestrova.guided_upsize(y, picture.dr),
        lambda: kestrova.chroma_upsize(y, picture.dr),
        lambda: kestrova.view(y, 0, 0, width, height),
        lambda: kestrova.Mask(picture).pixels(),
        lambda: kestrova.detail_table(0.3),
        lambda: kestrova.light_table(contrast=0.3),
        lambda: spline(points),
        lambda: kestrova.develop(photograph),
    ):
        interrupt_while_the_lock_is_released(work)


@pytest.mark.slow_sanitized
@pytest.mark.parametrize("signals", ["render", "open"])
def test_an_interrupt_from_the_keyboard_ends_long_work_soon(rng, signals, tmp_path):
    noise = rng.integers(0, 256, (2400, 3600, 4), np.uint8)
    photograph = kestrova.Photograph(noise)
    settings = kestrova.Settings(medium_midtones=0.5, noise_luminance=0.5, filter="wls")
    path = tmp_path / "noise.png"
    if signals == "open":
        kestrova.save(photograph, path)
    sent = []

    def interrupt():
        sent.append(time.monotonic())
        os.kill(os.getpid(), signal.SIGINT)

    timer = threading.Timer(0.15, interrupt)
    timer.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            while True:
                kestrova.develop(photograph, settings) if signals == "render" else kestrova.open(path)
        ended = time.monotonic()
    finally:
        timer.cancel()
        timer.join()
    assert ended - sent[0] < 5  # a tenth of a second on a machine that has nothing else to do


def test_nothing_is_printed_and_the_settings_of_openmp_stay():
    script = """
import ctypes, kestrova, numpy as np
gomp = ctypes.CDLL("libgomp.so.1")
gomp.omp_set_num_threads(3)
rgb = np.full((64, 64, 3), 20000, np.uint16)
picture = kestrova.Picture.from_rgb(rgb)
flat = np.full((64, 64), 32768, np.uint16)
for threads in None, 1, 2:
    engine = kestrova.DetailEngine(picture, flat, flat, flat, threads=threads)
    y = engine.render(0, 0, 64, 64, threads=threads)
    dr, db = engine.chroma(0, 0, 64, 64)
    kestrova.ColorAdjustment(vibrance=0.1).apply(y, y, dr, db, threads=threads)
    kestrova.guided_upsize(rgb, flat[:32, :32], threads=threads)
    kestrova.domain_transform(rgb.astype(np.float32), sigma_space=2, sigma_range=9, threads=threads)
    assert gomp.omp_get_max_threads() == 3 and gomp.omp_get_dynamic() == 0, threads
"""
    run = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=60)
    assert (run.returncode, run.stdout, run.stderr) == (0, "", "")


def test_threads_bounds_even_the_preparation_that_sets_its_own(rng):
    script = """
import kestrova, numpy as np, os
rgb = np.full((600, 900, 3), 20000, np.uint16)
picture = kestrova.Picture.from_rgb(rgb, threads=1)
flat = np.full((600, 900), 32768, np.uint16)
before = len(os.listdir("/proc/self/task"))
engine = kestrova.DetailEngine(picture, flat, flat, flat, threads=1)
engine.render(0, 0, 900, 600, threads=1)
kestrova.domain_transform(rgb.astype(np.float32), sigma_space=2, sigma_range=9, threads=1)
print(len(os.listdir("/proc/self/task")) - before)
"""
    run = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=60)
    assert (run.returncode, run.stdout.strip()) == (0, "0"), run.stderr
