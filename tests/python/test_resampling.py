import kestrova
import numpy as np
import pytest
import reference

TYPES = [np.uint8, np.uint16, np.float32]


def plane(rng, shape, dtype):
    return rng.random(shape, dtype) if dtype == np.float32 else rng.integers(0, 250, shape, dtype)


def assert_same(actual, wanted):
    assert actual.dtype == wanted.dtype and actual.shape == wanted.shape
    if actual.dtype == np.float32:
        np.testing.assert_allclose(actual, wanted, atol=1e-6)  # the reference sums in another order
    else:
        np.testing.assert_array_equal(actual, wanted)


@pytest.mark.parametrize("dtype", TYPES)
@pytest.mark.parametrize("interpolation", ["nearest", "linear", "cubic"])
@pytest.mark.parametrize("factor", [2, 3, 4])
@pytest.mark.parametrize("shape", [(12, 12), (13, 17), (4, 9)])
def test_downsize(rng, shape, factor, interpolation, dtype):
    src = plane(rng, shape, dtype)
    assert_same(
        kestrova.downsize(src, factor, interpolation=interpolation), reference.downsize(src, factor, interpolation)
    )


@pytest.mark.parametrize("dtype", TYPES)
@pytest.mark.parametrize("interpolation", ["nearest", "linear", "cubic"])
@pytest.mark.parametrize("factor", [2, 3, 4])
@pytest.mark.parametrize("shape", [(1, 1), (1, 7), (5, 8)])
def test_upsize(rng, shape, factor, interpolation, dtype):
    src = plane(rng, shape, dtype)
    assert_same(
        kestrova.upsize(src, factor, interpolation=interpolation), reference.upsize(src, factor, interpolation)
    )


@pytest.mark.parametrize("resize", [kestrova.downsize, kestrova.upsize])
def test_a_factor_of_1_copies(rng, resize):
    src = plane(rng, (5, 8), np.uint16)
    copy = resize(src, 1)
    assert_same(copy, src)
    assert not np.shares_memory(copy, src)


def test_a_shape_takes_the_top_left(rng):
    src = plane(rng, (7, 9), np.uint8)
    assert_same(kestrova.upsize(src, shape=(13, 17)), kestrova.upsize(src)[:13, :17])
    assert_same(kestrova.downsize(src, 3, shape=(2, 2)), kestrova.downsize(src, 3)[:2, :2])


@pytest.mark.parametrize("dtype", TYPES)
def test_gaussian_pyramid(rng, dtype):
    src = plane(rng, (32, 24), dtype)
    levels = kestrova.gaussian_pyramid(src, 3)
    assert levels[0] is src
    assert_same(levels[1], reference.pyramid_down(src))
    assert_same(levels[2], reference.pyramid_down(reference.pyramid_down(src)))


@pytest.mark.parametrize("dtype", TYPES)
def test_a_pyramid_step_up(rng, dtype):
    src = plane(rng, (7, 5), dtype)
    assert_same(kestrova.upsize(src, interpolation="pyramid"), reference.pyramid_up(src, (14, 10)))


def test_a_laplacian_pyramid_and_back(rng):
    src = plane(rng, (32, 24), np.float32)
    bands = kestrova.laplacian_pyramid(src, 3)
    half = reference.pyramid_down(src)
    assert_same(bands[0], src - reference.pyramid_up(half, src.shape))
    assert_same(bands[2], reference.pyramid_down(half))
    assert_same(kestrova.collapse_pyramid(bands), src)


@pytest.mark.parametrize("dtype", TYPES)
def test_view_at_step_1_is_a_copy_of_a_part(rng, dtype):
    src = plane(rng, (20, 30), dtype)
    part = kestrova.view(src, 4, 3, 10, 8)
    assert_same(part, src[3:11, 4:14])
    assert not np.shares_memory(part, src)
    assert_same(kestrova.view(src, 25, 3, 10, 8), src[3:11, 25:])


@pytest.mark.parametrize("step", [2, 4])
def test_view_takes_a_pixel_of_each_step(rng, step):
    src = plane(rng, (40, 60), np.uint16)
    wanted = src[4 + step // 2 - 1 :: step, 8 + step // 2 - 1 :: step][:5, :7]
    assert_same(kestrova.view(src, 8, 4, 7, 5, step=step), wanted)
    assert_same(kestrova.view(src, 16, 8, 13, 10, step=step, half=True), wanted)


def test_a_smooth_view_takes_means_first():
    checks = np.indices((64, 64)).sum(axis=0) % 2 * np.uint16(1000)
    assert set(np.unique(kestrova.view(checks.astype(np.uint16), 0, 0, 8, 8, step=8))) <= {0, 1000}
    smooth = kestrova.view(checks.astype(np.uint16), 0, 0, 8, 8, step=8, smooth=True)
    assert 400 < smooth.min() and smooth.max() < 600


@pytest.mark.parametrize(
    "call, error, text",
    [
        (lambda y: kestrova.downsize(y, 0), ValueError, "factor: expected 1 or more, got 0"),
        (lambda y: kestrova.upsize(y, -2), ValueError, "factor: expected 1 or more, got -2"),
        (lambda y: kestrova.upsize(y, 2**30), ValueError, r"factor: .* 2\*\*31"),
        (lambda y: kestrova.downsize(y, 3, interpolation="pyramid"), ValueError, "a factor of 2 only"),
        (lambda y: kestrova.downsize(y, interpolation="lanczos"), ValueError, "interpolation: expected one of"),
        (lambda y: kestrova.downsize(y, shape=(5, 3)), ValueError, r"shape: expected \(1, 1\) to \(4, 5\), got \(5, 3\)"),
        (lambda y: kestrova.upsize(y, shape=(0, 3)), ValueError, "shape: expected"),
        (lambda y: kestrova.gaussian_pyramid(y, 0), ValueError, "levels: expected 1 or more"),
        (lambda y: kestrova.laplacian_pyramid(y, 2), TypeError, "dtype float32, got uint16"),
        (lambda y: kestrova.collapse_pyramid([]), ValueError, "at least one array"),
        (lambda y: kestrova.view(y, 0, 0, 4, 4, step=0), ValueError, "step: expected 1 or more"),
        (lambda y: kestrova.view(y, 0, 0, 0, 4), ValueError, "width, height: expected"),
        (lambda y: kestrova.view(y, 11, 0, 4, 4), kestrova.Error, "MatRoi"),
        (lambda y: kestrova.view(y, -1, 0, 4, 4), kestrova.Error, "MatRoi"),
    ],
)
def test_what_does_not_fit_is_refused(call, error, text):
    with pytest.raises(error, match=text):
        call(np.full((8, 10), 7, np.uint16))
