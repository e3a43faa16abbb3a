import kestrova
import numpy as np
import pytest
from reference import F, saturated

ZERO = 32768
MOST = {"small": (5.0, 9830), "medium": (4.0, 8191), "large": (3.5, 7372)}


def make_picture(rng, shape=(48, 64)):
    rows = np.linspace(3000, 62000, shape[0])[:, None, None]
    noise = rng.integers(-3000, 3000, (*shape, 3))
    return kestrova.Picture.from_rgb(np.clip(rows + noise, 0, 65535).astype(np.uint16))


def make_details(rng, shape=(48, 64), size=1500):
    return [rng.integers(ZERO - size, ZERO + size, shape).astype(np.uint16) for _ in range(3)]


def rendered(engine, **options):
    return engine.render(0, 0, engine.shape[1], engine.shape[0], **options)


def zone_weights(y):
    i = np.arange(256)
    shadows = np.where(i < 8, 256 - 3 * i, np.where(i < 85, 255 - 3 * i, 0))
    midtones = np.where(i < 78, 3 * i, np.where(i < 85, 3 * i + 1, 256))
    midtones[171:] = midtones[84::-1]
    at = y >> 8
    return shadows[at], midtones[at], shadows[::-1][at]


def mixed(y, detail, scale, parameters):
    """One scale after its three curves, blended by tonal zone."""
    k_max, half_width = MOST[scale]
    base = parameters.get("highlights", (0, 0))

    def curve(k, t, base_k, base_t):
        table = kestrova.detail_table(
            k, t, base_strength=base_k, base_threshold=base_t, k_max=k_max, half_width=half_width
        )
        return table[detail].astype(int) - ZERO

    s, m, h = zone_weights(y)
    total = curve(*parameters.get("shadows", (0, 0)), *base) * s
    total = total + curve(*parameters.get("midtones", (0, 0)), *base) * m + curve(*base, 0, 0) * h
    return np.clip(np.trunc(total / 256).astype(int) + ZERO, 0, 65535)


def added(y, *details):
    return np.clip(y.astype(int) + 2 * (sum(d.astype(int) for d in details) - 3 * ZERO), 0, 65535)


@pytest.fixture
def flat():
    return [np.full((48, 64), ZERO, np.uint16)] * 3


def test_neutral_parameters_add_the_details_to_the_base(rng, flat):
    picture, details = make_picture(rng), make_details(rng)
    base = added(picture.y, *(2 * ZERO - d.astype(int) for d in details)).astype(np.uint16)
    engine = kestrova.DetailEngine(picture, *details)
    light = rendered(kestrova.DetailEngine(picture, *flat, base=base))
    np.testing.assert_array_equal(rendered(engine), added(light, *details))
    assert np.abs(light.astype(int) - base).max() < 16  # the light curve's rounding
    assert engine.shape == (48, 64) and engine.max_plain_step == 1


@pytest.mark.parametrize("scale", MOST)
@pytest.mark.parametrize(
    "parameters",
    [
        {"midtones": (0.8, 0)},
        {"highlights": (-1, 0)},
        {"highlights": (0.3, 0.1), "shadows": (-0.5, 0), "midtones": (0, -0.4)},
        {"shadows": (0.5, 0.2)},
    ],
)
def test_a_scale_is_changed_by_tonal_zone(rng, flat, scale, parameters):
    picture, details = make_picture(rng), make_details(rng)
    engine = kestrova.DetailEngine(picture, *details, base=picture.y)
    y = rendered(kestrova.DetailEngine(picture, *flat, base=picture.y))
    rendered(engine)  # so that what follows is a change
    for zone, (strength, threshold) in parameters.items():
        engine.set_detail(scale, zone, strength=strength, threshold=threshold)
        assert engine.detail(scale, zone) == (F(strength), F(threshold))
    changed = [mixed(y, d, s, parameters) if s == scale else d for s, d in zip(MOST, details)]
    np.testing.assert_array_equal(rendered(engine), added(y, *changed))


def test_an_extra_plane_joins_the_small_scale(rng, flat):
    picture, details = make_picture(rng), make_details(rng)
    extra = make_details(rng)[0]
    engine = kestrova.DetailEngine(picture, *details, base=picture.y)
    y = rendered(kestrova.DetailEngine(picture, *flat, base=picture.y))
    wanted = added(y, details[0].astype(int) + extra - ZERO, *details[1:])
    np.testing.assert_array_equal(rendered(engine, extra=extra), wanted)


def test_the_mix_turns_colour_into_luminance(rng, flat):
    picture = make_picture(rng)
    engine = kestrova.DetailEngine(picture, *flat, base=picture.y)
    before = rendered(engine).astype(int)
    engine.set_mix(red=0.4)
    assert engine.mix == {"red": F(0.4), "green": 0, "blue": 0}
    dr, _ = engine.chroma(0, 0, 64, 48)
    wanted = np.clip(before + 2.5 * 0.4 * (dr.astype(int) - ZERO), 0, 65535)
    assert np.abs(rendered(engine) - wanted).max() < 32  # the light curve's rounding, twice


@pytest.mark.parametrize(
    "slider, least, most",
    [
        ("brightness", 5000, 60000),
        ("shadows", 6000, 20000),
        ("highlights", 45000, 58000),
        ("whites", 50000, 60000),
        ("blacks", 1000, 10000),
    ],
)
def test_light_sliders_lighten_their_tones(rng, flat, slider, least, most):
    picture = make_picture(rng)
    engine = kestrova.DetailEngine(picture, *flat, base=picture.y)
    before = rendered(engine).astype(int)
    engine.set_light(**{slider: 0.5})
    assert engine.light[slider] == 0.5 and sum(engine.light.values()) == 0.5
    change = rendered(engine) - before
    assert change[(least < before) & (before < most)].min() > 0
    engine.set_light(**{slider: 0})
    np.testing.assert_array_equal(rendered(engine), before)


@pytest.mark.parametrize("step", [2, 3])
def test_a_view_at_a_step(rng, flat, step):
    picture = make_picture(rng)
    engine = kestrova.DetailEngine(picture, *flat, base=picture.y)
    whole = rendered(engine)
    part = engine.render(6, 9, 10, 8, step=step)
    np.testing.assert_array_equal(part, kestrova.view(whole, 6, 9, 10, 8, step=step))
    dr, db = engine.chroma(6, 9, 10, 8, step=step)
    full = engine.chroma(0, 0, 64, 48)
    np.testing.assert_array_equal(dr, kestrova.view(full[0], 6, 9, 10, 8, step=step, smooth=step > 1))
    assert db.shape == part.shape


def test_a_result_stays_when_another_is_rendered(rng, flat):
    engine = kestrova.DetailEngine(make_picture(rng), *flat)
    first = rendered(engine)
    kept = first.copy()
    engine.set_light(brightness=0.5)
    rendered(engine)
    np.testing.assert_array_equal(first, kept)


def test_an_engine_keeps_what_it_was_given_alive(rng):
    engine = kestrova.DetailEngine(make_picture(rng), *make_details(rng))
    before = rendered(engine)
    waste = [np.full((48, 64), 7, np.uint16) for _ in range(50)]
    engine.set_light(brightness=0.0)
    np.testing.assert_array_equal(rendered(engine), before)
    del waste


def test_preparation_reports_and_can_be_cancelled(rng, flat):
    shares = []
    kestrova.DetailEngine(make_picture(rng), *flat, progress=shares.append)
    assert shares and shares == sorted(shares) and 0 < shares[0] and shares[-1] <= 1
    with pytest.raises(kestrova.Cancelled):
        kestrova.DetailEngine(make_picture(rng), *flat, progress=lambda share: False)


@pytest.mark.parametrize(
    "change, text",
    [
        ({"small": np.zeros((48, 63), np.uint16)}, r"small: expected an array of shape \(48, 64\)"),
        ({"large": np.zeros((48, 64), np.uint16)[:0]}, "large: expected"),
        ({"base": np.zeros((4, 4), np.uint16)}, r"base: expected an array of shape \(48, 64\)"),
    ],
)
def test_planes_that_do_not_fit_are_refused(rng, flat, change, text):
    arguments = dict(zip(("small", "medium", "large"), flat)) | change
    with pytest.raises(ValueError, match=text):
        kestrova.DetailEngine(make_picture(rng), **arguments)


@pytest.mark.parametrize(
    "view, text",
    [
        ((0, 0, 65, 48, 1), "width, height"),
        ((64, 0, 1, 1, 1), "x, y: expected a pixel of the picture"),
        ((-1, 0, 1, 1, 1), "x, y"),
        ((0, 0, 1, 1, 0), "step: expected 1 or more"),
        ((0, 0, 33, 24, 2), "width, height"),
    ],
)
def test_views_beyond_the_picture_are_refused(rng, flat, view, text):
    engine = kestrova.DetailEngine(make_picture(rng), *flat)
    for ask in (engine.render, engine.chroma):
        with pytest.raises(ValueError, match=text):
            ask(*view[:4], step=view[4])


def test_names_of_scales_and_zones_are_checked(rng, flat):
    engine = kestrova.DetailEngine(make_picture(rng), *flat)
    with pytest.raises(ValueError, match="scale: expected one of small, medium, large, got 'tiny'"):
        engine.set_detail("tiny", "shadows", strength=1)
    with pytest.raises(ValueError, match="zone: expected one of highlights, shadows, midtones"):
        engine.set_detail("small", "dusk", strength=1)


def colour_table(temperature=0.0, tint=0.0, saturation=0.0):
    """The nodes over (Y, Dr, Db), without vibrance: (33, 33, 33, 2)."""
    steps = np.trunc(np.arange(33) * F(2047.96875))
    y, dr, db = np.meshgrid(steps, steps, steps, indexing="ij")
    r, b = (dr - ZERO) * 2 + y, (db - ZERO) * 2 + y
    g = (y - r * 0.299 - b * 0.114) * 1.7036
    r, g, b = (np.clip(np.rint(c), 0, 65535) / 65535 for c in (r, g, b))

    def towards(weight, targets):
        return [(1 - weight) * c + weight * t for c, t in zip((r, g, b), targets)]

    w = temperature * (0.25 if temperature > 0 else 0.6) * 0.5
    warm = w >= 0
    targets = (1.5 * r + 0.4, 1.35 * g + 0.28, b) if warm else (r, 1.15 * g + 0.12, 1.6 * b + 0.48)
    r, g, b = towards(abs(w), targets)
    a = tint * 0.2 * 0.5 if tint > 0 else tint * 0.9 * 0.4
    targets = (1.25 * r + 0.2, g, 1.5 * b + 0.4) if a >= 0 else (r, 1.5 * g + 0.4, b)
    r, g, b = towards(abs(a), targets)
    light = 0.299 * r + 0.587 * g + 0.114 * b
    u, v = (np.clip(np.rint(65535 * (c - light) * 0.5 + ZERO), 0, 65535) - ZERO for c in (r, b))
    gain = 3 * saturation + 1 if saturation >= 0 else saturation + 1
    m = np.minimum(np.trunc(np.sqrt(2 * (u * u + v * v)) / 256), 255)
    t = np.clip(np.rint(np.arange(256) * gain), 0, 255)[m.astype(int)]
    f = np.where(t == 0, 0, np.minimum((t + 4) / (m + 4), 4))
    return np.stack([np.clip(np.rint(f * c + ZERO), 0, 65535) for c in (u, v)], axis=-1)


def looked_up(table, y, dr, db):
    nodes, shares = zip(*((c >> 11, (c & 2047) / 2048) for c in (y, dr, db)))
    total = 0
    for corner in np.ndindex(2, 2, 2):
        weight = np.prod([s if bit else 1 - s for s, bit in zip(shares, corner)], axis=0)
        total = total + weight[..., None] * table[tuple(n + bit for n, bit in zip(nodes, corner))]
    return total


@pytest.mark.parametrize(
    "parameters", [{"temperature": 0.6}, {"temperature": -0.6}, {"tint": 0.5}, {"tint": -0.5}, {"saturation": -0.4}, {"saturation": 0.3}]
)
def test_colour_follows_luminance_through_a_table(rng, parameters):
    y0, y1 = rng.integers(0, 65536, (2, 9, 14), np.uint16)
    dr, db = rng.integers(20000, 45000, (2, 9, 14), np.uint16)
    ratio = np.clip((y1.astype(F) + 1024) / (y0.astype(F) + 1025), 0.5, 1.2)
    moved = [saturated((c.astype(F) - ZERO) * ratio + ZERO, np.uint16).astype(int) for c in (dr, db)]
    wanted = looked_up(colour_table(**parameters), y1.astype(int), *moved)
    adjustment = kestrova.ColorAdjustment(**parameters)
    for channel, plane in enumerate(adjustment.apply(y0, y1, dr, db)):
        assert np.abs(plane - wanted[..., channel]).max() <= 130  # a node's magnitude may be truncated to another row


def test_colour_parameters_take_effect_when_they_are_set(rng):
    y, dr, db = rng.integers(20000, 45000, (3, 9, 14), np.uint16)
    adjustment = kestrova.ColorAdjustment()
    plain = adjustment.apply(y, y, dr, db)
    for plane, source in zip(plain, (dr, db)):
        assert np.abs(plane.astype(int) - source).max() <= 2
    adjustment.saturation = -1
    assert (adjustment.saturation, adjustment.vibrance) == (-1, 0)
    grey = adjustment.apply(y, y, dr, db)
    assert np.abs(grey[0].astype(int) - ZERO).max() < 300
    adjustment.saturation, adjustment.vibrance = 0, 0.5
    lifted = adjustment.apply(y, y, dr, db)
    assert np.abs(lifted[0].astype(int) - ZERO).mean() > np.abs(plain[0].astype(int) - ZERO).mean()
    assert repr(adjustment) == "ColorAdjustment(temperature=0, tint=0, saturation=0, vibrance=0.5)"
