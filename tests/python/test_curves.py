import kestrova
import numpy as np
import pytest
from reference import F, half_up, saturated


def not_a_knot(points, at):
    """The spline as the solution of all its conditions, in double precision."""
    x, y = np.array(points, float).T
    n = len(x) - 1  # segments, of four coefficients each
    rows, right = [], []

    def condition(terms, value):
        row = np.zeros(4 * n)
        for segment, u, derivative, sign in terms:
            powers = [[1, u, u**2, u**3], [0, 1, 2 * u, 3 * u**2], [0, 0, 2, 6 * u], [0, 0, 0, 6]][derivative]
            row[4 * segment : 4 * segment + 4] += sign * np.array(powers, float)
        rows.append(row)
        right.append(value)

    h = np.diff(x)
    for i in range(n):
        condition([(i, 0, 0, 1)], y[i])
        condition([(i, h[i], 0, 1)], y[i + 1])
    for i in range(n - 1):
        for derivative in (1, 2):
            condition([(i, h[i], derivative, 1), (i + 1, 0, derivative, -1)], 0)
    for i in (0, n - 2):
        condition([(i, h[i], 3, 1), (i + 1, 0, 3, -1)], 0)
    c = np.linalg.lstsq(np.array(rows), np.array(right), rcond=None)[0].reshape(n, 4)
    segment = np.clip(np.searchsorted(x, at, side="right") - 1, 0, n - 1)
    u = at - x[segment]
    return c[segment, 0] + u * (c[segment, 1] + u * (c[segment, 2] + u * c[segment, 3]))


@pytest.mark.parametrize(
    "points",
    [
        [(0, 0), (0.25, 0.4), (0.5, 0.5), (0.75, 0.6), (1, 1)],
        [(0, 0), (0.3, 0.2), (0.8, 0.9), (1, 1)],
        [(-1, 2), (0, 1), (1, 3), (2, 0), (4, 1), (5, 5), (7, 2)],
    ],
)
def test_spline(points):
    at = np.linspace(points[0][0] - 0.5, points[-1][0] + 0.5, 200)
    values = kestrova.Spline(points)(at)
    assert values.dtype == F
    np.testing.assert_allclose(values, not_a_knot(points, at), rtol=2e-4, atol=1e-5)  # single precision


@pytest.mark.parametrize("points", [[(0, 3)], [(0, 1), (2, 5)], [(0, 1), (1, 0), (3, 4)]])
def test_a_spline_of_few_points_is_their_polynomial(points):
    at = np.linspace(-1, 4, 50)
    x, y = np.array(points, float).T
    wanted = np.polyval(np.polyfit(x, y, len(points) - 1), at)
    np.testing.assert_allclose(kestrova.Spline(points)(at), wanted, rtol=1e-4, atol=1e-5)


def test_a_spline_keeps_the_shape_of_its_argument():
    spline = kestrova.Spline([(0, 0), (1, 1)])
    assert spline(np.zeros((2, 3, 4))).shape == (2, 3, 4)
    assert np.ndim(spline(0.5)) == 0
    assert spline.points == ((0.0, 0.0), (1.0, 1.0))


@pytest.mark.parametrize("points", [[], [(0, 0), (0, 1)], [(1, 0), (0, 1)], [(0, 0), (1, float("nan"))]])
def test_points_that_do_not_ascend_are_refused(points):
    with pytest.raises(ValueError, match="points: expected"):
        kestrova.Spline(points)


def smoothed(table, sigma):
    data = table.astype(F)
    lam = float(F(F(sigma) * F(sigma))) / 4
    dnu = (2 * lam + 1 - np.sqrt(4 * lam + 1)) / (2 * lam)
    nu, boundary, post = F(dnu), F(1 / (1 - dnu)), F((dnu / lam) ** 2)
    for _ in range(2):
        for line in (data, data[::-1]):
            line[0] *= boundary
            for i in range(1, len(line)):
                line[i] += nu * line[i - 1]
    return saturated(data * post, table.dtype)


def detail_table_8(k, t, base_k, base_t, k_max=6.0, half_width=32, blur=0.35):
    strength = (1 - base_k if k >= 0 else 1 + base_k) * k + base_k
    threshold = (1 - base_t if t >= 0 else 1 + base_t) * t + base_t
    slope = (k_max - 1 if strength >= 0 else 1) * strength + 1
    n = int(half_width * threshold)
    if slope > 1:
        n = int(half_width * threshold / slope)
    table = saturated(np.arange(256) * slope + (1 - slope) * 128, np.uint8)
    if n > 0:
        table[128 : 128 + n], table[128 - n : 128] = table[128 + n], table[128 - n]
    elif n < 0:
        table[128 + n : 128 - n + 1] = 128
    return smoothed(table, abs(n) * blur) if abs(n) * blur > 1 else table


@pytest.mark.parametrize("k, t", [(0, 0), (0.5, 0), (-0.5, 0), (-1, 0), (0, 0.5), (0, -0.5), (0.4, 0.25), (-0.4, -0.75)])
@pytest.mark.parametrize("base", [(0, 0), (0.25, 0.5), (-0.25, -0.25)])
def test_detail_table_of_8_bits(k, t, base):
    table = kestrova.detail_table(k, t, bits=8, base_strength=base[0], base_threshold=base[1])
    assert table.dtype == np.uint8 and table.shape == (256,)
    # Single precision moves an entry across a half.
    assert np.abs(table.astype(int) - detail_table_8(k, t, *base)).max() <= 1


def test_detail_table_of_16_bits_is_a_line_with_a_step_or_a_dead_zone():
    identity = np.arange(65536, dtype=np.uint16)
    np.testing.assert_array_equal(kestrova.detail_table(), identity)
    slope = (3 - 1) * 0.5 + 1  # a strength of 0.5 on the range of 1.5
    line = saturated(np.arange(65536) * slope + (1 - slope) * 32768, np.uint16)
    assert np.abs(kestrova.detail_table(0.5, k_max=3.0).astype(int) - line).max() <= 1
    step = kestrova.detail_table(0, 1.0, half_width=1000, blur=0).astype(int)
    assert set(step[32768:33768]) == {33768} and set(step[31768:32768]) == {31768}
    dead = kestrova.detail_table(0, -1.0, half_width=1000, blur=0).astype(int)
    assert set(dead[32368:33169]) == {32768} and dead[32367] == 32367 and dead[33169] == 33169


def test_detail_table_takes_8_or_16_bits():
    with pytest.raises(ValueError, match="bits: expected one of 8, 16, got 12"):
        kestrova.detail_table(bits=12)


@pytest.mark.parametrize("light", [(0, 0, 0, 0), (0.2, 0, 0, 0), (0, 0.3, 0, 0), (0, -0.5, 0, 0), (-0.1, 0.1, 0.6, -0.4)])
def test_light_table(light):
    brightness, contrast, shadows, highlights = light
    points = [
        (0, 0),
        (0.25, (shadows * 0.35 + 0.5) * 0.5),
        (0.5, 0.5),
        (0.75, 1 - (0.5 - highlights * 0.35) * 0.5),
        (1, 1),
    ]
    curve = np.clip(not_a_knot(points, np.arange(64) / 63), 0, 1)
    slope = (6 - 1 if contrast >= 0 else 1) * contrast + 1
    line = saturated(np.arange(65536) * slope + (1 - slope) * 32768 + brightness * 32767 * 0.4, np.uint16)
    wanted = saturated(np.interp(line / 65535 * 63, np.arange(64), curve) * 65535, np.uint16)
    table = kestrova.light_table(brightness=brightness, contrast=contrast, shadows=shadows, highlights=highlights)
    assert table.dtype == np.uint16
    assert np.abs(table.astype(int) - wanted).max() <= 2  # single precision


def test_rule_table_is_linear_between_samples():
    samples = []

    def rule(levels):
        samples.append(levels)
        return 65535 * np.sqrt(levels / 65535)

    table = kestrova.rule_table(rule)
    np.testing.assert_array_equal(samples, [np.arange(0, 65536, 16)])
    at = (np.arange(65536) + 0.5) / 16 - 0.5
    nodes = np.rint(65535 * np.sqrt(np.arange(0, 65536, 16) / 65535))
    np.testing.assert_array_equal(table, half_up(np.interp(at, np.arange(4096), nodes)).astype(np.uint16))


@pytest.mark.parametrize("rule, text", [(lambda y: y[1:], "shape"), (lambda y: y * np.nan, "finite")])
def test_a_rule_answers_with_a_finite_value_for_each_level(rule, text):
    with pytest.raises(ValueError, match=f"rule: expected.*{text}"):
        kestrova.rule_table(rule)


def test_what_a_rule_raises_comes_through():
    with pytest.raises(ZeroDivisionError):
        kestrova.rule_table(lambda y: 1 / 0)


@pytest.mark.parametrize("types", [(np.uint8, np.uint8), (np.uint8, np.uint16), (np.uint16, np.uint16)])
def test_apply_table(rng, types):
    src = rng.integers(0, np.iinfo(types[0]).max + 1, (11, 13), types[0])
    table = rng.integers(0, np.iinfo(types[1]).max + 1, np.iinfo(types[0]).max + 1, types[1])
    actual = kestrova.apply_table(src, table)
    assert actual.dtype == types[1]
    np.testing.assert_array_equal(actual, table[src])


def test_a_table_of_another_size_or_type_is_refused():
    words = np.zeros((2, 2), np.uint16)
    with pytest.raises(TypeError, match="table: expected an array .* dtype uint16, got dtype uint8"):
        kestrova.apply_table(words, np.zeros(65536, np.uint8))
    with pytest.raises(ValueError, match="table"):
        kestrova.apply_table(words, np.zeros(256, np.uint16))
