import kestrova
import numpy as np
import pytest


@pytest.fixture
def picture():
    return kestrova.Picture.from_rgb(np.full((120, 160, 3), 30000, np.uint16))


@pytest.fixture
def mask(picture):
    mask = kestrova.Mask(picture)
    mask.fill(0)
    return mask


def disc(radius, profile):
    """Strengths around a dot in a mask of 60 by 80 pixels, its centre at (40, 30)."""
    y, x = np.mgrid[:60, :80]
    return profile(np.hypot(y - 30, x - 40))


def test_a_mask_begins_with_that_of_the_picture(picture):
    picture.mask[10:20] = 7
    mask = kestrova.Mask(picture)
    np.testing.assert_array_equal(mask.pixels(), picture.mask)
    mask.fill(3)
    mask.reset()
    np.testing.assert_array_equal(mask.pixels(), picture.mask)


def test_fill_invert_and_undo(mask):
    mask.fill(40)
    assert set(mask.pixels().ravel()) == {40}
    mask.invert()
    assert set(mask.pixels().ravel()) == {215}
    mask.undo()
    assert set(mask.pixels().ravel()) == {40}
    mask.undo()
    mask.undo()
    assert set(mask.pixels().ravel()) == {255}
    with pytest.raises(kestrova.Error, match="cmd stack is empty"):
        mask.undo()


def test_a_hard_dot_is_a_disc(mask):
    mask.begin_stroke()
    mask.dot(80, 60, 20)
    mask.end_stroke()
    inside = disc(10, lambda distance: distance < 10)
    pixels = mask.pixels()
    # The dot's last row and column wait for a later dot of the stroke; the rim is the library's own choice.
    distance = disc(10, lambda d: d)
    sure = np.abs(distance - 10) > 1
    np.testing.assert_array_equal(pixels[sure] == 255, inside[sure])
    assert set(np.unique(pixels)) == {0, 255}


def test_a_soft_dot_falls_off_like_a_gaussian(mask):
    mask.begin_stroke()
    mask.dot(80, 60, 40, inner_radius=10, opacity=0.5, value=200)
    mask.end_stroke()

    def profile(distance):
        t = (np.trunc(distance + 0.5) - 5) / 15
        falling = (np.exp(-2 * t * t) - np.exp(-2)) / (1 - np.exp(-2))
        return np.where(t < 0, 1, np.where(t < 1, falling, 0))

    wanted = 200 * 0.5 * disc(20, profile)
    assert np.abs(mask.pixels().astype(int) - wanted).max() <= 2  # coverage is kept in bytes


def test_the_dots_of_a_stroke_do_not_pass_its_opacity(mask):
    mask.stroke([(40, 60), (120, 60)], 20, opacity=0.4)
    assert mask.pixels().max() == 102
    assert mask.pixels()[30, 40] == 102
    mask.stroke([(40, 60), (120, 60)], 20, opacity=0.4)
    assert mask.pixels()[30, 40] > 102
    mask.undo()
    assert mask.pixels().max() == 102


def test_a_tolerance_stops_at_an_edge():
    y = np.full((60, 80), 60, np.uint8)
    y[:, 40:] = 200
    chroma = np.full((60, 80), 32768, np.uint16)
    mask = kestrova.Mask.from_planes(y, chroma, chroma)
    mask.fill(0)
    mask.stroke([(70, 60)], 40, inner_radius=20, tolerance=3)
    assert mask.pixels()[30, 37] > 200 and mask.pixels()[30, 44] == 0
    plain = kestrova.Mask.from_planes(y)
    plain.fill(0)
    plain.stroke([(70, 60)], 40, inner_radius=20)
    assert plain.pixels()[30, 44] > 200


def test_erasing(mask):
    mask.fill(255)
    mask.stroke([(80, 60)], 20, value=0)
    assert mask.pixels()[30, 40] == 0 and mask.pixels()[0, 0] == 255


def test_views_have_half_the_size_of_the_picture_s(mask):
    mask.stroke([(80, 60)], 20)
    whole = mask.pixels()
    np.testing.assert_array_equal(mask.view(40, 20, 80, 60), whole[10:40, 20:60])
    assert mask.view(0, 0, 40, 30, step=4).shape == (15, 20)


def test_changed_says_whether_there_is_something_new_to_fetch(mask):
    mask.pixels()
    assert not mask.changed
    mask.invert()
    assert mask.changed
    mask.view(0, 0, 10, 10)
    assert not mask.changed


def test_pixels_are_a_copy(mask):
    pixels = mask.pixels()
    pixels[:] = 9
    assert mask.pixels().max() == 0


@pytest.mark.parametrize(
    "options, text",
    [
        ({"radius": -1}, "radius: expected 0 to 15999, got -1"),
        ({"radius": 16000}, "radius: expected 0 to 15999"),
        ({"radius": 5, "inner_radius": 6}, "inner_radius: expected 0 to the radius"),
        ({"radius": 5, "value": 256}, "value: expected 0 to 255, got 256"),
        ({"radius": 5, "opacity": 1.5}, "opacity: expected 0 to 1"),
        ({"radius": 5, "tolerance": -1}, "tolerance: expected 0 or more"),
    ],
)
def test_a_stroke_that_is_refused_leaves_nothing_behind(mask, options, text):
    with pytest.raises(ValueError, match=text):
        mask.stroke([(10, 10)], **options)
    assert mask.pixels().max() == 0
    mask.undo()  # the fill
    assert mask.pixels().min() == 255


def test_strokes_are_begun_and_ended(mask):
    with pytest.raises(kestrova.Error, match="no stroke has been begun"):
        mask.dot(1, 1, 2)
    with pytest.raises(kestrova.Error, match="no stroke has been begun"):
        mask.end_stroke()
    mask.begin_stroke()
    for command in (mask.begin_stroke, mask.invert, mask.undo, lambda: mask.fill(1)):
        with pytest.raises(kestrova.Error, match="a stroke has not been ended"):
            command()


def test_planes_of_a_mask_fit_each_other():
    y = np.zeros((6, 8), np.uint8)
    with pytest.raises(ValueError, match=r"dr: expected an array of shape \(6, 8\)"):
        kestrova.Mask.from_planes(y, np.zeros((6, 7), np.uint16), np.zeros((6, 7), np.uint16))
    with pytest.raises(ValueError, match="dr, db: expected both or neither"):
        kestrova.Mask.from_planes(y, np.zeros((6, 8), np.uint16))
