"""What all functions have in common: strides, dtypes, shapes, ``out=``, and who owns which memory."""

import gc
import sys
import tracemalloc

import kestrova
import numpy as np
import pytest

F = np.float32
SHAPE = (24, 32)
HALF = (12, 16)
NEGATIVE = np.arange(255, -1, -1, dtype=np.uint16)

# Each function on planes of one shape: the dtypes of its arrays, and the call.
CALLS = {
    "guided_filter of bytes": ([np.uint8, np.uint8], lambda a, b, **o: kestrova.guided_filter(a, b, radius=2, **o)),
    "guided_filter of words": ([np.uint16, np.uint16], lambda a, b, **o: kestrova.guided_filter(a, b, radius=2, **o)),
    "guided_filter of floats": ([F, F], lambda a, b, **o: kestrova.guided_filter(a, b, radius=2, **o)),
    "bilateral_grid": ([np.uint16, F], lambda a, b, **o: kestrova.bilateral_grid(a, b, range_sampling=1, **o)),
    "gradient_guide": ([np.uint8, np.uint8], lambda a, b, **o: kestrova.gradient_guide(a, b, radius=1, **o)),
    "local_laplacian": ([np.uint16], lambda a, **o: kestrova.local_laplacian(a, alpha=0.2, **o)),
    "convolution_pyramid": ([F], lambda a, **o: kestrova.convolution_pyramid(a, *kestrova.POISSON_KERNELS, **o)),
    "weighted_least_squares": ([F, F], lambda a, b, **o: kestrova.weighted_least_squares(a, b, **o)),
    "domain_transform": ([F], lambda a, **o: kestrova.domain_transform(a, sigma_space=3, sigma_range=0.3, **o)),
    "box_filter of bytes": ([np.uint8], lambda a, **o: kestrova.box_filter(a, radius=2, **o)),
    "box_filter of words": ([np.uint16], lambda a, **o: kestrova.box_filter(a, radius=2, **o)),
    "blend": ([np.uint16, np.uint16, np.uint8], lambda a, b, c, **o: kestrova.blend(a, b, c, **o)),
    "extreme_sharpen": ([np.uint16], lambda a, **o: kestrova.extreme_sharpen(a, **o)),
    "downsize": ([np.uint16], lambda a, **o: kestrova.downsize(a, **o)),
    "upsize": ([F], lambda a, **o: kestrova.upsize(a, **o)),
    "apply_table": ([np.uint8], lambda a, **o: kestrova.apply_table(a, NEGATIVE, **o)),
}


def arrays_for(rng, types, shape=SHAPE):
    return [rng.random(shape, t) if t == F else rng.integers(0, np.iinfo(t).max, shape, t) for t in types]


def layouts(array):
    """The same values in other places of memory."""
    wide = np.zeros((array.shape[0], array.shape[1] + 7), array.dtype)
    wide[:, 3:-4] = array
    spaced = np.zeros((array.shape[0], 2 * array.shape[1]), array.dtype)
    spaced[:, ::2] = array
    odd = np.frombuffer(b"." + array.tobytes(), np.uint8)[1:].view(array.dtype).reshape(array.shape)
    read_only = array.copy()
    read_only.flags.writeable = False
    return {
        "sub-array": wide[:, 3:-4],
        "every second column": spaced[:, ::2],
        "upside down": array[::-1].copy()[::-1],
        "back to front": array[:, ::-1].copy()[:, ::-1],
        "columns first": np.asfortranarray(array),
        "not aligned": odd,
        "read-only": read_only,
    }


@pytest.mark.parametrize("name", CALLS)
def test_strides_do_not_matter(rng, name):
    types, call = CALLS[name]
    arrays = arrays_for(rng, types)
    wanted = call(*arrays)
    for i, array in enumerate(arrays):
        for layout, other in layouts(array).items():
            np.testing.assert_array_equal(other, array)
            actual = call(*arrays[:i], other, *arrays[i + 1 :])
            np.testing.assert_array_equal(actual, wanted, err_msg=f"argument {i}, {layout}")
            np.testing.assert_array_equal(other, array, err_msg="an input has changed")


@pytest.mark.parametrize("name", CALLS)
def test_out_gets_the_result_and_is_returned(rng, name):
    types, call = CALLS[name]
    arrays = arrays_for(rng, types)
    wanted = call(*arrays)
    out = np.empty_like(wanted)
    assert call(*arrays, out=out) is out
    np.testing.assert_array_equal(out, wanted)
    for other in (
        np.empty((wanted.shape[0], 2 * wanted.shape[1]), wanted.dtype)[:, ::2],
        np.empty(wanted.shape, wanted.dtype)[::-1],
        np.empty((wanted.shape[0], wanted.shape[1] + 3), wanted.dtype)[:, 2:-1],
    ):
        assert call(*arrays, out=other) is other
        np.testing.assert_array_equal(other, wanted)


@pytest.mark.parametrize("name", CALLS)
def test_out_may_overlap_an_input(rng, name):
    types, call = CALLS[name]
    arrays = arrays_for(rng, types)
    wanted = call(*arrays)
    for i, array in enumerate(arrays):
        if array.dtype != wanted.dtype:
            continue
        memory = np.zeros((2 * array.shape[0] + wanted.shape[0], max(array.shape[1], wanted.shape[1])), array.dtype)
        for offset in (0, 3):
            view = memory[: array.shape[0], : array.shape[1]]
            view[:] = array
            out = memory[offset : offset + wanted.shape[0], : wanted.shape[1]]
            call(*arrays[:i], view, *arrays[i + 1 :], out=out)
            np.testing.assert_array_equal(out, wanted, err_msg=f"argument {i}, {offset} rows apart")


@pytest.mark.parametrize("name", CALLS)
def test_the_number_of_threads_changes_no_bit(rng, name):
    types, call = CALLS[name]
    arrays = arrays_for(rng, types, (300, 280))
    if name == "weighted_least_squares":
        arrays = arrays_for(rng, types, (60, 70))
    wanted = call(*arrays, threads=1)
    for threads in (None, 2, 4):
        np.testing.assert_array_equal(call(*arrays, threads=threads), wanted)


@pytest.mark.parametrize("name", CALLS)
def test_other_dtypes_are_refused(rng, name):
    types, call = CALLS[name]
    arrays = arrays_for(rng, types)
    for i, array in enumerate(arrays):
        for dtype in (np.float64, np.int16, np.int32, bool, complex, array.dtype.newbyteorder()):
            if np.dtype(dtype) == array.dtype or array.dtype.itemsize == 1 and dtype == array.dtype.newbyteorder():
                continue
            with pytest.raises(TypeError, match=r"expected (an array of shape .* and )?dtype .*, got "):
                call(*arrays[:i], array.astype(dtype), *arrays[i + 1 :])
        for wrong in (array.tolist(), None if i == 0 else 3, "text"):
            with pytest.raises(TypeError, match="expected an array of shape .* and dtype .*, got (list|NoneType|int|str)"):
                call(*arrays[:i], wrong, *arrays[i + 1 :])


@pytest.mark.parametrize("name", CALLS)
def test_other_shapes_are_refused(rng, name):
    types, call = CALLS[name]
    arrays = arrays_for(rng, types)
    for i, array in enumerate(arrays):
        wrong = [array[0], array[:0], array[:, :0], array[None, None], array[0, 0]]
        wrong += [array[:-1]] if len(arrays) > 1 else []
        for other in wrong:
            with pytest.raises((ValueError, TypeError), match="expected .*(got|with pixels)"):
                call(*arrays[:i], other, *arrays[i + 1 :])


@pytest.mark.parametrize("name", CALLS)
def test_an_out_that_does_not_fit_is_refused(rng, name):
    types, call = CALLS[name]
    arrays = arrays_for(rng, types)
    wanted = call(*arrays)
    read_only = wanted.copy()
    read_only.flags.writeable = False
    for out, error in (
        (wanted[:-1], ValueError),
        (wanted.astype(np.float64), TypeError),
        (read_only, ValueError),
        ([1, 2], TypeError),
    ):
        before = np.array(out)
        with pytest.raises(error, match="out: expected a writeable array of shape .* and dtype .*, got"):
            call(*arrays, out=out)
        np.testing.assert_array_equal(out, before)


def test_texts_say_what_was_expected():
    with pytest.raises(TypeError) as failure:
        kestrova.guided_filter(np.zeros((4, 4)))
    assert str(failure.value) == (
        "guide: expected an array of shape (height, width) or (height, width, 3) and dtype uint8, uint16 or float32, "
        "got dtype float64"
    )
    with pytest.raises(ValueError) as failure:
        kestrova.extreme_sharpen(np.zeros((4, 4, 2), np.uint16))
    assert str(failure.value) == (
        "src: expected an array of shape (height, width) and dtype uint16, got shape (4, 4, 2) and dtype uint16"
    )


def test_planes_of_colour_that_lie_one_after_the_other_are_read_as_they_are(rng):
    planes = rng.integers(0, 65536, (3, *SHAPE), np.uint16)
    colour = np.moveaxis(planes, 0, -1)
    packed = np.ascontiguousarray(colour)
    np.testing.assert_array_equal(kestrova.luminance(colour), kestrova.luminance(packed))
    np.testing.assert_array_equal(kestrova.guided_filter(colour, planes[0]), kestrova.guided_filter(packed, planes[0]))


@pytest.mark.parametrize("layout", ["sub-array", "read-only", "every second column", "upside down"])
def test_arrays_with_plain_rows_are_read_and_written_where_they_are(rng, layout):
    src = layouts(rng.integers(0, 65536, (600, 500), np.uint16))[layout]
    out = np.empty((600, 520), np.uint16)[:, 7:507]
    tracemalloc.start()
    try:
        kestrova.extreme_sharpen(src, out=out)
        _, most = tracemalloc.get_traced_memory()
    finally:
        tracemalloc.stop()
    if layout in ("sub-array", "read-only"):
        assert most < src.nbytes / 10
    else:
        assert most >= src.nbytes  # numpy's copy, so that this test sees one


@pytest.mark.parametrize("name", CALLS)
def test_references_are_given_back(rng, name):
    types, call = CALLS[name]
    arrays = arrays_for(rng, types)
    out = np.empty_like(call(*arrays))
    counts = [sys.getrefcount(a) for a in (*arrays, out)]
    for _ in range(20):
        call(*arrays)
        call(*arrays, out=out)
        with pytest.raises(TypeError):
            call(*arrays[:-1], arrays[-1].astype(np.int64), out=out)
    assert [sys.getrefcount(a) for a in (*arrays, out)] == counts


def test_objects_give_their_arrays_back(rng):
    picture = kestrova.Picture.from_rgb(rng.integers(0, 65536, (*SHAPE, 3), np.uint16))
    details = arrays_for(rng, [np.uint16] * 3)
    counts = [sys.getrefcount(d) for d in details]
    engine = kestrova.DetailEngine(picture, *details)
    engine.render(0, 0, 8, 8)
    assert [sys.getrefcount(d) for d in details] == [n + 1 for n in counts]
    del engine
    gc.collect()
    assert [sys.getrefcount(d) for d in details] == counts


def resident():
    with open("/proc/self/statm") as statm:
        return int(statm.read().split()[1]) * 4096


@pytest.mark.slow_sanitized
def test_memory_is_stable_over_10000_calls(rng):
    colour = rng.integers(0, 65536, (24, 32, 3), np.uint16)
    calls = [(call, arrays_for(rng, types)) for types, call in CALLS.values()]

    def work():
        for call, arrays in calls:
            call(*arrays)
        kestrova.luminance(colour).sum()
        kestrova.Picture.from_rgb(colour).to_bgra().sum()
        with pytest.raises(TypeError):
            kestrova.extreme_sharpen(colour.astype(float))
        return len(calls) + 4

    for _ in range(50):
        work()
    gc.collect()
    before = resident()
    done = 0
    while done < 10000:
        done += work()
    gc.collect()
    assert resident() - before < 4 << 20


def test_parameters_of_another_type_are_named_in_the_text():
    src = np.zeros((4, 4), np.uint16)
    for call in (
        lambda: kestrova.guided_filter(src, radius=1.5),
        lambda: kestrova.guided_filter(src, radius="1"),
        lambda: kestrova.guided_filter(src, radius=2**40),
        lambda: kestrova.guided_filter(src, threads=1.5),
    ):
        with pytest.raises(TypeError, match="(?s)guided_filter.*radius: int, eps: float"):
            call()
    np.testing.assert_array_equal(kestrova.guided_filter(src, radius=np.int64(2), eps=np.float32(0.1)), src)
