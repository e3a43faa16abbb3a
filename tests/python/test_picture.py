import kestrova
import numpy as np
import pytest
import reference
from reference import F, saturated


def luminance(rgb, scale=1):
    r, g, b = (rgb[..., c].astype(F) for c in range(3))
    return saturated((r * F(0.299) + g * F(0.587) + b * F(0.114)) * F(scale), np.uint16)


def rgb_of(y, dr, db):
    r = np.clip(y.astype(int) + 2 * (dr.astype(int) - 32768), 0, 65535)
    b = np.clip(y.astype(int) + 2 * (db.astype(int) - 32768), 0, 65535)
    t = y.astype(F) - r.astype(F) * F(0.299) - b.astype(F) * F(0.114)
    return np.stack([r, saturated(t.astype(float) * 1.7036, np.uint16), b], axis=-1).astype(np.uint16)


def halved(plane):
    return reference.downsize(plane, 2, "cubic")


SIZES = [(2, 2), (3, 5), (8, 8), (7, 12)]


@pytest.mark.parametrize("shape", SIZES)
def test_from_rgb(rng, shape):
    rgb = rng.integers(0, 65536, (*shape, 3), np.uint16)
    picture = kestrova.Picture.from_rgb(rgb)
    y = luminance(rgb)
    half = halved(y).astype(int)
    np.testing.assert_array_equal(picture.y, y)
    for plane, channel in ((picture.dr, 0), (picture.db, 2)):
        difference = np.trunc((halved(rgb[..., channel]).astype(int) - half) / 2).astype(int)
        np.testing.assert_array_equal(plane, np.clip(difference + 32768, 0, 65535))
    assert picture.mask.dtype == np.uint8 and (picture.mask == 255).all() and picture.mask.shape == picture.dr.shape
    assert picture.shape == shape


def test_from_rgb_of_15_bits_doubles_luminance(rng):
    rgb = rng.integers(0, 32769, (6, 8, 3), np.uint16)
    np.testing.assert_array_equal(kestrova.Picture.from_rgb(rgb, bits=15).y, luminance(rgb, 2))
    np.testing.assert_array_equal(kestrova.luminance(rgb, bits=15), luminance(rgb, 2))


@pytest.mark.parametrize("dtype, factor", [(np.uint8, 256), (np.uint16, 1)])
@pytest.mark.parametrize("shape", SIZES)
def test_from_bgra(rng, shape, dtype, factor):
    bgra = rng.integers(0, np.iinfo(dtype).max + 1, (*shape, 4), dtype)
    picture = kestrova.Picture.from_bgra(bgra)
    same = kestrova.Picture.from_rgb((bgra[..., 2::-1].astype(int) * factor).astype(np.uint16))
    for name in ("y", "dr", "db"):
        np.testing.assert_array_equal(getattr(picture, name), getattr(same, name))


@pytest.mark.parametrize("shape", [(3, 5), (8, 8), (7, 12)])
def test_to_rgb(rng, shape):
    picture = kestrova.Picture.from_rgb(rng.integers(0, 65536, (*shape, 3), np.uint16))
    dr, db = (reference.chroma_upsize(picture.y, plane) for plane in (picture.dr, picture.db))
    np.testing.assert_array_equal(picture.to_rgb(), rgb_of(picture.y, dr, db))
    np.testing.assert_array_equal(kestrova.ydrdb_to_rgb(picture.y, dr, db), picture.to_rgb())


def test_to_rgb_of_15_bits(rng):
    picture = kestrova.Picture.from_rgb(rng.integers(0, 65536, (6, 8, 3), np.uint16))
    dr, db = (kestrova.chroma_upsize(picture.y, plane) for plane in (picture.dr, picture.db))
    y = picture.y.astype(int) >> 1
    r, b = (np.clip(d.astype(int) - 32768 + y, 0, 65535) for d in (dr, db))
    t = y.astype(F) - r.astype(F) * F(0.299) - b.astype(F) * F(0.114)
    wanted = np.stack([r, saturated(t.astype(float) * 1.7036, np.uint16), b], axis=-1)
    np.testing.assert_array_equal(picture.to_rgb(bits=15), wanted)
    np.testing.assert_array_equal(kestrova.ydrdb_to_rgb(picture.y, dr, db, bits=15), wanted)


def eight_bits(y, dr, db):
    half = y.astype(int) >> 1
    rf, bf = ((half - 32768 + d.astype(int)).astype(F) * F(2) for d in (dr, db))
    t = y.astype(F) - rf * F(0.299) - bf * F(0.114)
    green = saturated(t.astype(float) * 1.7036, np.uint16)
    return np.stack([saturated(rf, np.uint16) >> 8, green >> 8, saturated(bf, np.uint16) >> 8], axis=-1)


def test_ydrdb_to_rgb_of_8_bits(rng):
    y, dr, db = rng.integers(0, 65536, (3, 7, 9), np.uint16)
    rgb = kestrova.ydrdb_to_rgb(y, dr, db, bits=8)
    assert rgb.dtype == np.uint8
    np.testing.assert_array_equal(rgb, eight_bits(y, dr, db))


def test_to_half_rgb(rng):
    picture = kestrova.Picture.from_rgb(rng.integers(0, 65536, (7, 12, 3), np.uint16))
    np.testing.assert_array_equal(picture.to_half_rgb(), eight_bits(halved(picture.y), picture.dr, picture.db))


def test_to_bgra(rng):
    picture = kestrova.Picture.from_bgra(rng.integers(0, 256, (8, 10, 4), np.uint8))
    y = picture.y.astype(F)
    rf, bf = (
        (kestrova.chroma_upsize(picture.y, plane).astype(F) - F(32768)) * F(2) + y for plane in (picture.dr, picture.db)
    )
    t = ((y - rf * F(0.299)) - bf * F(0.114)) * F(1.7036)
    wanted = np.stack([saturated(v * F(1 / 256), np.uint8) for v in (bf, t, rf)] + [np.full(y.shape, 255)], axis=-1)
    np.testing.assert_array_equal(picture.to_bgra(), wanted)


def test_planes_are_those_of_the_picture(rng):
    picture = kestrova.Picture.from_rgb(rng.integers(0, 65536, (6, 8, 3), np.uint16))
    copy = picture.copy()
    picture.y[2, 3] = 4711
    assert picture.y[2, 3] == 4711
    assert copy.y[2, 3] != 4711
    y = picture.y
    del picture
    assert y[2, 3] == 4711


def test_a_picture_is_made_of_pixels():
    with pytest.raises(TypeError, match="from_bgra"):
        kestrova.Picture()
    with pytest.raises(ValueError, match=r"rgb: expected an array of shape \(height, width, 3\)"):
        kestrova.Picture.from_rgb(np.zeros((4, 4), np.uint16))
    with pytest.raises(ValueError, match="bits: expected one of 16, 15, got 8"):
        kestrova.Picture.from_rgb(np.zeros((4, 4, 3), np.uint16), bits=8)
    with pytest.raises(ValueError, match="bits: expected 8, 15 or 16, got 10"):
        kestrova.ydrdb_to_rgb(*np.zeros((3, 4, 4), np.uint16), bits=10)
