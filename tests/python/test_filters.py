"""Each filter against its formula, on small arrays."""

import kestrova
import numpy as np
import pytest
import reference

SIZES = [(1, 1), (1, 9), (9, 1), (7, 12), (16, 16)]
F = np.float32


def plane(rng, shape, dtype):
    if dtype == F:
        return rng.random(shape, F)
    return rng.integers(0, np.iinfo(dtype).max + 1, shape, dtype)


def assert_close(actual, wanted, levels):
    assert actual.dtype == wanted.dtype and actual.shape == wanted.shape
    worst = np.abs(actual.astype(np.float64) - wanted.astype(np.float64)).max()
    assert worst <= levels, f"off by up to {worst}:\n{actual}\n{wanted}"


# The library adds up floats where the reference is exact: some 1e-5 of full scale.
LEVELS = {np.uint8: 1, np.uint16: 2, F: 3e-5}


@pytest.mark.parametrize("dtype", LEVELS)
@pytest.mark.parametrize("shape", SIZES)
@pytest.mark.parametrize("radius", [0, 1, 3])
def test_guided_filter_by_one_plane(rng, shape, dtype, radius):
    guide, src = plane(rng, shape, dtype), plane(rng, shape, dtype)
    wanted = reference.guided_filter(guide, src, radius, 0.01)
    assert_close(kestrova.guided_filter(guide, src, radius=radius, eps=0.01), wanted, LEVELS[dtype])


@pytest.mark.parametrize("dtype", LEVELS)
@pytest.mark.parametrize("shape", SIZES)
def test_guided_filter_by_three_planes(rng, shape, dtype):
    guide, src = plane(rng, (*shape, 3), dtype), plane(rng, shape, dtype)
    wanted = reference.guided_filter(guide, src, 2, 0.01)
    assert_close(kestrova.guided_filter(guide, src, radius=2, eps=0.01), wanted, LEVELS[dtype])


def test_guided_filter_takes_the_guide_for_the_plane(rng):
    guide = plane(rng, (9, 14), np.uint16)
    np.testing.assert_array_equal(kestrova.guided_filter(guide), kestrova.guided_filter(guide, guide))


def test_a_guided_filter_of_three_planes_needs_a_plane(rng):
    with pytest.raises(ValueError, match="src: expected a plane"):
        kestrova.guided_filter(plane(rng, (9, 14, 3), np.uint16))


@pytest.mark.parametrize("planes", [(), (3,)])
def test_guided_model_fitted_at_a_reduced_size(rng, planes):
    guide, src = plane(rng, (10, 8, *planes), np.uint16), plane(rng, (10, 8), np.uint16)
    large = plane(rng, (19, 32, *planes), np.uint16)
    model = kestrova.GuidedFilter()
    assert not model.fitted
    model.fit(guide, src, radius=2, eps=0.02)
    assert model.fitted
    wanted = reference.apply_model(*reference.guided_model(guide, src, 2, 0.02), large)
    assert_close(model.apply(large), wanted, 2)


def test_a_guided_model_is_replaced_by_one_with_fewer_planes(rng):
    src, colour = plane(rng, (10, 8), np.uint16), plane(rng, (10, 8, 3), np.uint16)
    model = kestrova.GuidedFilter()
    model.fit(colour, src)
    model.fit(src)
    np.testing.assert_array_equal(model.apply(src), kestrova.guided_filter(src))
    with pytest.raises(ValueError, match="guide: expected one plane"):
        model.apply(colour)


def test_a_guided_filter_without_a_model_fails(rng):
    with pytest.raises(kestrova.Error, match="there is no model"):
        kestrova.GuidedFilter().apply(plane(rng, (4, 4), np.uint8))


@pytest.mark.parametrize("dtype, level", [(np.uint8, 25), (np.uint8, 2), (np.uint16, 6553), (np.uint16, 100)])
@pytest.mark.parametrize("shape", [(1, 1), (1, 9), (9, 1), (13, 18)])
def test_bilateral_grid(rng, shape, dtype, level):
    src = plane(rng, shape, dtype)
    wanted = reference.bilateral_grid(src, src, 4, level)
    # Single precision in another order moves a value across a half.
    assert_close(kestrova.bilateral_grid(src, space_sampling=4, range_sampling=level), wanted, 1)


@pytest.mark.parametrize("guide_type", [np.uint8, np.uint16, F])
def test_bilateral_grid_by_another_plane(rng, guide_type):
    src, guide = plane(rng, (12, 17), np.uint16), plane(rng, (12, 17), guide_type)
    if guide_type == F:
        guide = (1000 * guide).astype(F)
    level = max(1, int((float(guide.max()) - float(guide.min())) // 10))
    wanted = reference.bilateral_grid(src, guide, 5, level)
    assert_close(kestrova.bilateral_grid(src, guide, space_sampling=5, range_sampling=level), wanted, 1)


def test_bilateral_grid_takes_a_tenth_of_the_scale(rng):
    src = plane(rng, (12, 17), np.uint16)
    np.testing.assert_array_equal(kestrova.bilateral_grid(src), kestrova.bilateral_grid(src, range_sampling=6553))


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
@pytest.mark.parametrize("radius", [0, 1, 3])
def test_gradient_guide(rng, dtype, radius):
    src, guide = plane(rng, (11, 14), dtype), plane(rng, (11, 14), dtype)
    wanted = reference.gradient_guide(src, guide, radius)
    np.testing.assert_array_equal(kestrova.gradient_guide(src, guide, radius=radius), wanted)


@pytest.mark.parametrize("alpha", [0.25, -0.25])
@pytest.mark.parametrize("references, step", [(10, 6553), (16, 4095), (24, 2730)])
def test_local_laplacian(rng, alpha, references, step):
    src = rng.integers(5000, 50000, (16, 24), np.uint16)
    wanted = reference.local_laplacian(src, alpha, 3, references, step)
    actual = kestrova.local_laplacian(src, alpha=alpha, blur=0, levels=3, references=references)
    np.testing.assert_array_equal(actual, wanted)


def test_local_laplacian_takes_a_pyramid_down_to_a_pixel_or_two(rng):
    src = rng.integers(5000, 50000, (32, 48), np.uint16)
    wanted = kestrova.local_laplacian(src, alpha=0.2, levels=6)
    np.testing.assert_array_equal(kestrova.local_laplacian(src, alpha=0.2), wanted)


@pytest.mark.parametrize("kernels", [kestrova.POISSON_KERNELS, kestrova.SCATTERED_KERNELS])
@pytest.mark.parametrize("dtype", LEVELS)
@pytest.mark.parametrize("shape", [*SIZES, (3, 40)])
def test_convolution_pyramid(rng, shape, dtype, kernels):
    src = plane(rng, shape, dtype)
    np.testing.assert_array_equal(
        kestrova.convolution_pyramid(src, *kernels), reference.convolution_pyramid(src, *kernels)
    )


def test_convolution_pyramid_recovers_a_plane_from_its_laplacian():
    y, x = np.mgrid[:96, :96]
    src = np.zeros((96, 96), F)
    src[24:72, 24:72] = (np.sin(x / 5) * np.cos(y / 7))[24:72, 24:72]
    laplacian = 4 * src
    for axis in 0, 1:
        for shift in 1, -1:
            laplacian -= np.roll(src, shift, axis)
    again = kestrova.convolution_pyramid(laplacian, *kestrova.POISSON_KERNELS)
    assert np.corrcoef(again.ravel(), src.ravel())[0, 1] > 0.98


@pytest.mark.parametrize("log_guide", [False, True])
@pytest.mark.parametrize("shape", [(1, 1), (1, 9), (9, 1), (7, 12)])
def test_weighted_least_squares(rng, shape, log_guide):
    src, guide = plane(rng, shape, F), plane(rng, shape, F)
    wanted = reference.weighted_least_squares(src, guide, 0.5, 1.2, log_guide)
    actual = kestrova.weighted_least_squares(src, guide, lam=0.5, alpha=1.2, log_guide=log_guide)
    np.testing.assert_allclose(actual, wanted, rtol=1e-3)  # single precision, weights up to 5000
    assert actual.dtype == F


def test_weighted_least_squares_leaves_its_guide_alone(rng):
    src = plane(rng, (6, 7), F)
    before = src.copy()
    kestrova.weighted_least_squares(src, log_guide=True)
    np.testing.assert_array_equal(src, before)


@pytest.mark.parametrize("channels", [(), (2,), (3,), (7,)])
@pytest.mark.parametrize("shape", SIZES)
def test_domain_transform_recursive(rng, shape, channels):
    src = plane(rng, (*shape, *channels), F)
    wanted = reference.domain_transform(src, 5, 0.4, "recursive")
    assert_close(kestrova.domain_transform(src, sigma_space=5, sigma_range=0.4), wanted.astype(F), 1e-5)


@pytest.mark.parametrize("channels", [(), (2,), (3,), (4,)])
def test_domain_transform_normalized(rng, channels):
    src = plane(rng, (8, 13, *channels), F)
    wanted = reference.domain_transform(src, 4, 0.4, "normalized")
    actual = kestrova.domain_transform(src, sigma_space=4, sigma_range=0.4, mode="normalized")
    assert_close(actual, wanted.astype(F), 1e-5)


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
@pytest.mark.parametrize("planes", [(), (3,)])
@pytest.mark.parametrize("factor, shape", [(2, (12, 16)), (2, (11, 15)), (4, (16, 24))])
def test_guided_upsize(rng, shape, factor, planes, dtype):
    guide = plane(rng, (*shape, *planes), np.uint16)
    low = plane(rng, [-(-side // factor) for side in shape], dtype)
    small = np.stack([reference.downsize(c, factor, "cubic") for c in np.moveaxis(np.atleast_3d(guide), -1, 0)], -1)
    model = reference.guided_model(small if planes else small[..., 0], low, 1, 0.01)
    assert_close(
        kestrova.guided_upsize(guide, low, factor=factor, radius=1, eps=0.01),
        reference.apply_model(*model, guide),
        3,
    )


@pytest.mark.parametrize("shape", [(1, 1), (2, 5), (3, 3), (8, 9), (9, 8)])
def test_chroma_upsize(rng, shape):
    guide, low = plane(rng, shape, np.uint16), plane(rng, [-(-side // 2) for side in shape], np.uint16)
    if min(shape) > 2:
        np.testing.assert_array_equal(kestrova.chroma_upsize(guide, low), reference.chroma_upsize(guide, low))
    else:  # too few rows to choose among
        wanted = np.tile(low[-1].repeat(2)[: shape[1]], (shape[0], 1))
        np.testing.assert_array_equal(kestrova.chroma_upsize(guide, low), wanted)


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
@pytest.mark.parametrize("radius, iterations", [(1, 1), (2, 3), (5, 2), (0, 1), (3, 0)])
def test_box_filter(rng, dtype, radius, iterations):
    src = plane(rng, (9, 14), dtype)
    wanted = reference.box_filter(src, radius, iterations if radius else 0)
    np.testing.assert_array_equal(kestrova.box_filter(src, radius=radius, iterations=iterations), wanted)


def test_box_filter_of_a_large_radius_works_on_a_reduced_copy():
    src = np.full((200, 300), 1234, np.uint16)
    np.testing.assert_array_equal(kestrova.box_filter(src, radius=120, iterations=2), src)
    with pytest.raises(ValueError, match="at least 1 [+] radius // 54, which is 3"):
        kestrova.box_filter(src[:2], radius=120)


@pytest.mark.parametrize("dtype", LEVELS)
@pytest.mark.parametrize("strength", [0, 0.3, 1])
def test_blend(rng, dtype, strength):
    first, second = plane(rng, (2, 9, 14), dtype)
    alpha = plane(rng, (9, 14), np.uint8)
    wanted = reference.blend(first, second, alpha, strength)
    assert_close(kestrova.blend(first, second, alpha, strength=strength), wanted, 1 if dtype != F else 1e-6)


@pytest.mark.parametrize("shape", SIZES)
def test_extreme_sharpen(rng, shape):
    src = plane(rng, shape, np.uint16)
    np.testing.assert_array_equal(kestrova.extreme_sharpen(src), reference.extreme_sharpen(src))


@pytest.mark.parametrize(
    "call, text",
    [
        (lambda y: kestrova.guided_filter(y, radius=-1), "radius: expected 0 to 32767, got -1"),
        (lambda y: kestrova.guided_filter(y, radius=32768), "radius: expected 0 to 32767"),
        (lambda y: kestrova.guided_filter(y, eps=0), "eps: expected a number above 0"),
        (lambda y: kestrova.guided_filter(y, eps=float("nan")), "eps: expected a number above 0"),
        (lambda y: kestrova.guided_filter(y, threads=0), "threads: expected None or a number above 0, got 0"),
        (lambda y: kestrova.bilateral_grid(y, space_sampling=1), "space_sampling: expected 2 or more, got 1"),
        (lambda y: kestrova.bilateral_grid(y, range_sampling=0), "range_sampling: expected 1 or more, got 0"),
        (lambda y: kestrova.gradient_guide(y, y, radius=-1), "radius: expected 0 or more"),
        (lambda y: kestrova.local_laplacian(y, alpha=1), "alpha: expected a number between -1 and 1"),
        (lambda y: kestrova.local_laplacian(y, alpha=0.2, blur=-1), "blur: expected a number from 0 to 1"),
        (lambda y: kestrova.local_laplacian(y, alpha=0.2, levels=0), "levels: expected 1 or more"),
        (lambda y: kestrova.local_laplacian(y, alpha=0.2, references=12), "references: expected 10, 16 or 24, got 12"),
        (lambda y: kestrova.convolution_pyramid(y, [], [1], [1]), "k1: expected at least one coefficient"),
        (lambda y: kestrova.weighted_least_squares(y.astype(F), lam=-1), "lam: expected a number from 0 on"),
        (lambda y: kestrova.weighted_least_squares(y.astype(F), alpha=-1), "alpha: expected a number from 0 on"),
        (
            lambda y: kestrova.weighted_least_squares(y.astype(F), -y.astype(F), log_guide=True),
            "guide: expected values from 0 on",
        ),
        (
            lambda y: kestrova.domain_transform(y.astype(F), sigma_space=0, sigma_range=1),
            "sigma_space: expected a number above 0",
        ),
        (
            lambda y: kestrova.domain_transform(y.astype(F), sigma_space=1, sigma_range=0),
            "sigma_range: expected a number above 0",
        ),
        (
            lambda y: kestrova.domain_transform(y.astype(F), sigma_space=1, sigma_range=1, mode="other"),
            'mode: expected one of recursive, normalized',
        ),
        (
            lambda y: kestrova.domain_transform(
                np.zeros((4, 4, 5), F), sigma_space=1, sigma_range=1, mode="normalized"
            ),
            "takes up to four channels, got 5",
        ),
        (lambda y: kestrova.guided_upsize(y, y), r"low: expected the guide's .* rounded up, \(4, 5\), got \(8, 10\)"),
        (lambda y: kestrova.guided_upsize(y, y, factor=1), "factor: expected 2 or more"),
        (lambda y: kestrova.guided_upsize(y, y, interpolation="pyramid"), "interpolation: expected one of"),
        (lambda y: kestrova.chroma_upsize(y, y), "low: expected the guide's"),
        (lambda y: kestrova.box_filter(y, radius=-1), "radius: expected 0 or more"),
        (lambda y: kestrova.box_filter(y, radius=1, iterations=-1), "iterations: expected 0 or more"),
        (
            lambda y: kestrova.blend(y, y, np.zeros((8, 10), np.uint8), strength=2),
            "strength: expected a number from 0 to 1",
        ),
    ],
)
def test_parameters_out_of_range_are_refused_with_the_range(call, text):
    with pytest.raises(ValueError, match=text):
        call(np.full((8, 10), 7, np.uint16))


def test_failures_of_the_library_carry_its_text():
    with pytest.raises(kestrova.Error, match="pardisoSolverIC") as failure:
        kestrova.weighted_least_squares(np.full((4, 4), np.nan, F))
    assert failure.value.kind == "core"
    with pytest.raises(kestrova.Error, match="BilateralFilter"):
        kestrova.bilateral_grid(np.zeros((4, 4), np.uint8), np.full((4, 4), np.nan, F), range_sampling=1)
