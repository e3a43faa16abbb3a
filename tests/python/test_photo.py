import os
import pickle
import subprocess
import sys

import kestrova
import numpy as np
import pytest
from conftest import PHOTOS

SETTINGS = {"shadows": 0.4, "medium_midtones": 0.5, "vibrance": 0.3}


@pytest.fixture
def noise(rng):
    pixels = rng.integers(0, 256, (90, 120, 4), np.uint8)
    pixels[..., 3] = 255
    return kestrova.Photograph(pixels)


def test_open_reads_the_bundled_photograph(photograph):
    picture = kestrova.open(photograph)
    assert picture.shape == (512, 768) and picture.pixels.dtype == np.uint16 and picture.source_bits == 8
    assert not picture.has_alpha and not picture.grey and picture.notes == []
    assert (picture.pixels % 257 == 0).all() and (picture.pixels[..., 3] == 65535).all()
    assert "sRGB" in picture.profile.name
    np.testing.assert_array_equal(picture.rgb[..., 0], picture.pixels[..., 2])
    assert np.shares_memory(picture.pixels, picture.pixels) and not picture.pixels.flags.writeable


def test_open_reads_the_pixels_that_opencv_reads(photograph):
    cv2 = pytest.importorskip("cv2")
    np.testing.assert_array_equal(kestrova.open(photograph).pixels[..., :3] // 257, cv2.imread(str(photograph)))


def test_a_path_does_not_end_at_a_null_byte(noise, tmp_path):
    kestrova.save(noise, tmp_path / "a.png")
    before = (tmp_path / "a.png").read_bytes()
    path = f"{tmp_path}/a.png\0.jpg"
    for call in (
        lambda: kestrova.open(path),
        lambda: kestrova.save(noise, path),
        lambda: kestrova.Settings().save(path),
        lambda: kestrova.Settings.load(path),
        lambda: kestrova.Profile(path),
    ):
        with pytest.raises(ValueError, match="null byte"):
            call()
    assert (tmp_path / "a.png").read_bytes() == before


def test_a_preview_is_smaller():
    preview = kestrova.open(PHOTOS / "dandelion_5312x2988.jpg", preview=400)
    assert 400 <= max(preview.shape) < 800
    with pytest.raises(ValueError, match="preview: expected 1 or more"):
        kestrova.open("x.jpg", preview=0)


def test_metadata_are_texts_by_exiv2_s_names(noise, tmp_path):
    kestrova.save(noise, tmp_path / "a.jpg")
    plain = (tmp_path / "a.jpg").read_bytes()
    camera = b"II*\0\x08\0\0\0\x01\0\x10\x01\x02\0\x04\0\0\0Box\0\0\0\0\0"  # one tag: Model
    exif = b"Exif\0\0" + camera
    (tmp_path / "b.jpg").write_bytes(plain[:2] + b"\xff\xe1" + (len(exif) + 2).to_bytes(2, "big") + exif + plain[2:])
    photograph = kestrova.open(tmp_path / "b.jpg")
    assert photograph.metadata["Exif.Image.Model"] == "Box"
    kestrova.save(kestrova.develop(photograph, kestrova.Settings(shadows=0.2)), tmp_path / "c.jpg")
    assert kestrova.open(tmp_path / "c.jpg").metadata["Exif.Image.Model"] == "Box"
    kestrova.save(photograph, tmp_path / "d.jpg", metadata="none")
    assert "Exif.Image.Model" not in kestrova.open(tmp_path / "d.jpg").metadata


@pytest.mark.parametrize("name, dtype", [("a.png", np.uint8), ("a.png", np.uint16), ("a.tiff", np.uint16)])
def test_what_is_saved_without_loss_is_read_again(rng, tmp_path, name, dtype):
    pixels = rng.integers(0, np.iinfo(dtype).max + 1, (30, 40, 4), dtype)
    saved = kestrova.save(kestrova.Photograph(pixels, has_alpha=True), tmp_path / name)
    assert saved.bytes == os.path.getsize(tmp_path / name) and saved.notes == []
    again = kestrova.open(str(tmp_path / name))
    assert again.has_alpha and again.source_bits == 8 * np.dtype(dtype).itemsize
    np.testing.assert_array_equal(again.pixels, pixels.astype(np.uint16) * (257 if dtype == np.uint8 else 1))


def test_formats_and_options_of_saving(noise, tmp_path):
    sizes = {}
    for name, options in {
        "a.jpg": {},
        "b.jpg": {"quality": 40, "chroma": "half", "metadata": "none"},
        "c.webp": {},
        "d": {"format": "png", "bits": 16, "metadata": "copyright", "threads": 1},
    }.items():
        sizes[name] = kestrova.save(noise, tmp_path / name, **options).bytes
    assert sizes["b.jpg"] < sizes["a.jpg"]
    assert kestrova.open(tmp_path / "d").source_bits == 16
    for option in ({"format": "gif"}, {"chroma": "none"}, {"metadata": "some"}):
        with pytest.raises(ValueError, match="expected one of"):
            kestrova.save(noise, tmp_path / "e.jpg", **option)


@pytest.mark.parametrize("bits, dtype", [(None, np.uint8), (8, np.uint8), (16, np.uint16)])
def test_settings_that_ask_for_nothing_give_the_own_pixels(noise, bits, dtype):
    developed = kestrova.develop(noise, bits=bits)
    assert developed.pixels.dtype == dtype
    np.testing.assert_array_equal(developed.pixels.astype(int) * (257 if dtype == np.uint8 else 1), noise.pixels)


def test_a_developed_photograph_can_be_developed_again(noise):
    once = kestrova.develop(noise, kestrova.Settings(**SETTINGS), bits=8)
    np.testing.assert_array_equal(kestrova.develop(once).pixels, once.pixels)


def test_develop_is_the_same_as_the_command_line(photograph, tmp_path):
    program = os.environ.get("KESTROVA_DEVELOP")
    if not program:
        pytest.skip("KESTROVA_DEVELOP names no program")
    command = [program, photograph, "-o", tmp_path / "a.png", "--shadows", "0.4", "--medium-midtones", "0.5"]
    subprocess.run([*command, "--vibrance", "0.3"], check=True, capture_output=True)
    kestrova.save(kestrova.develop(photograph, kestrova.Settings(**SETTINGS)), tmp_path / "b.png")
    np.testing.assert_array_equal(
        kestrova.open(tmp_path / "a.png").pixels, kestrova.open(tmp_path / "b.png").pixels
    )


def test_any_view_is_the_cut_out_of_the_whole(noise):
    development = kestrova.Development(noise, kestrova.Settings(**SETTINGS))
    whole = development.render(bits=16)
    assert whole.pixels.shape == (90, 120, 4) and whole.pixels.dtype == np.uint16 and whole.mask is None
    part = development.render((30, 20, 50, 40), bits=16)
    np.testing.assert_array_equal(part.pixels, whole.pixels[20:60, 30:80])
    np.testing.assert_array_equal(part.rgb, part.pixels[..., [2, 1, 0]])


def test_a_view_at_a_step_is_made_of_means():
    y, x = np.mgrid[:90, :120]
    checks = 20000 + 200 * x + 100 * y + 1000 * ((x + y) % 2)
    pixels = np.dstack([checks] * 3 + [np.full_like(checks, 65535)]).astype(np.uint16)
    view = kestrova.Development(kestrova.Photograph(pixels)).render((20, 8, 60, 40), step=4, bits=16)
    means = pixels[8:48, 20:80].reshape(10, 4, 15, 4, 4).mean(axis=(1, 3))
    assert view.pixels.shape == (10, 15, 4)
    assert np.abs(view.pixels - means).max() < 40  # they are taken in the space that settings act in


def test_the_number_of_threads_changes_no_bit(noise):
    settings = kestrova.Settings(**SETTINGS, noise_colour=0.5)
    wanted = kestrova.develop(noise, settings, threads=1).pixels
    for threads in (None, 2, 4):
        np.testing.assert_array_equal(kestrova.develop(noise, settings, threads=threads).pixels, wanted)


def test_settings_of_a_development_are_copies(noise):
    development = kestrova.Development(noise)
    settings = development.settings
    settings.rotate = 90
    assert development.shape == (90, 120)
    development.settings = settings
    assert development.shape == (120, 90) and development.settings == settings


def test_a_layer_acts_where_its_strokes_are():
    grey = kestrova.Photograph(np.full((100, 150, 4), 100, np.uint8))
    layer = kestrova.Layer(
        name="left", brightness=0.6, strokes=[kestrova.Stroke(points=[(0.25, 0.5)], radius=0.1, hardness=1.0)]
    )
    development = kestrova.Development(grey, kestrova.Settings(layers=[layer]))
    rendering = development.render(mask_of_layer=0)
    assert rendering.mask.shape == (100, 150) and rendering.mask.dtype == np.uint8
    assert rendering.mask[50, 37] == 255 and rendering.mask[50, 110] == 0
    assert rendering.rgb[50, 37, 0] > 100 and rendering.rgb[50, 110, 0] == 100
    layer.inverted = True
    development.settings = kestrova.Settings(layers=[layer])
    inverted = development.render()
    assert inverted.rgb[50, 37, 0] == 100 and inverted.rgb[50, 110, 0] > 100


def test_progress_grows_and_cancels(noise):
    shares = []
    large = kestrova.Photograph(np.tile(noise.pixels, (12, 12, 1)))
    settings = kestrova.Settings(**SETTINGS)
    kestrova.develop(large, settings, progress=shares.append)
    assert shares and shares == sorted(shares) and 0 < shares[0] and shares[-1] <= 1
    with pytest.raises(kestrova.Cancelled):
        kestrova.develop(large, settings, progress=lambda share: False)
    with pytest.raises(ZeroDivisionError):
        kestrova.develop(large, settings, progress=lambda share: 1 / 0)
    development = kestrova.Development(large, settings)
    with pytest.raises(kestrova.Cancelled):
        development.render(progress=lambda share: False)
    np.testing.assert_array_equal(development.render(bits=16).pixels, kestrova.develop(large, settings).pixels)


def test_failures_have_a_kind(noise, tmp_path):
    (tmp_path / "text.jpg").write_text("this is no picture")
    (tmp_path / "cut.png").write_bytes((PHOTOS / "dandelion_768x512.png").read_bytes()[:5000])
    for kind, call in [
        ("file", lambda: kestrova.open(tmp_path / "none.jpg")),
        ("input", lambda: kestrova.open(tmp_path / "text.jpg")),
        ("input", lambda: kestrova.open(tmp_path / "cut.png")),
        ("input", lambda: kestrova.open(PHOTOS / "dandelion_768x512.png", max_megapixels=0.1)),
        ("file", lambda: kestrova.save(noise, tmp_path / "no" / "folder.png")),
        ("input", lambda: kestrova.save(noise, tmp_path / "a.png", quality=0)),
        ("input", lambda: kestrova.Profile(b"no profile")),
        ("file", lambda: kestrova.Profile(tmp_path / "none.icc")),
        ("input", lambda: kestrova.develop(noise, kestrova.Settings(straighten=50))),
    ]:
        with pytest.raises(kestrova.Error) as failure:
            call()
        assert failure.value.kind == kind and str(failure.value), failure.value
    assert sorted(os.listdir(tmp_path)) == ["cut.png", "text.jpg"]
    with pytest.raises(MemoryError):
        kestrova.open(PHOTOS / "dandelion_768x512.png", max_memory=1000)
    with pytest.raises(kestrova.OutOfMemory):
        kestrova.Development(noise, max_memory=1).render()


def test_errors_can_be_pickled():
    for error in (kestrova.Error("text", "file"), kestrova.Cancelled(), kestrova.OutOfMemory("text")):
        again = pickle.loads(pickle.dumps(error))
        assert type(again) is type(error) and str(again) == str(error) and again.kind == error.kind


def test_profiles(noise, tmp_path):
    p3 = kestrova.Profile.display_p3()
    assert p3 != kestrova.Profile() and p3 == kestrova.Profile(p3.data) and hash(p3) == hash(kestrova.Profile(p3.data))
    (tmp_path / "p3.icc").write_bytes(p3.data)
    assert kestrova.Profile(tmp_path / "p3.icc") == p3 == pickle.loads(pickle.dumps(p3))
    assert kestrova.Profile.adobe_rgb().channels == 3
    developed = kestrova.develop(noise, profile=p3)
    assert developed.profile == developed.output_profile == p3
    assert kestrova.Development(noise).render(profile=p3).profile == p3
    assert kestrova.Photograph(noise.pixels, profile=p3).profile == p3


def test_a_photograph_has_pixels_of_its_own():
    pixels = np.full((4, 4, 4), 9, np.uint16)
    picture = kestrova.Photograph(pixels)
    pixels[:] = 1
    assert (picture.pixels == 9).all()


def test_bits_are_8_or_16(noise):
    for call in (lambda: kestrova.develop(noise, bits=12), lambda: kestrova.Development(noise).render(bits=12)):
        with pytest.raises(ValueError, match="bits: expected one of 8, 16, got 12"):
            call()


# Settings


def test_each_slider_of_the_library_is_a_field():
    names = [name.replace("-", "_") for name, *_ in kestrova._kestrova.sliders()]
    fields = [f for f in kestrova.Adjustments.__dataclass_fields__]
    assert names == fields
    for name in names:
        assert name in kestrova.Adjustments.__doc__
        assert kestrova.Settings(**{name: 0.5}) == kestrova.Settings.from_json(kestrova.Settings(**{name: 0.5}).to_json())


def test_what_is_no_photograph_profile_or_settings_is_named(tmp_path):
    grey = kestrova.Photograph(np.full((4, 5, 4), 9, np.uint8))
    development = kestrova.Development(grey)
    with pytest.raises(TypeError, match="photograph: expected Photograph, got ndarray"):
        kestrova.save(grey.pixels, tmp_path / "a.png")
    for give_profile in (
        lambda profile: kestrova.Photograph(grey.pixels, profile=profile),
        lambda profile: kestrova.develop(grey, profile=profile),
        lambda profile: development.render(profile=profile),
    ):
        with pytest.raises(TypeError, match="profile: expected Profile, got str"):
            give_profile("srgb.icc")
    with pytest.raises(TypeError, match="settings: expected Settings, got dict"):
        kestrova.develop(grey, {"shadows": 0.1})
    with pytest.raises(TypeError, match="settings: expected Settings, got dict"):
        development.settings = {"shadows": 0.1}
    assert not list(tmp_path.iterdir())


def test_settings_go_to_json_and_back(tmp_path):
    stroke = kestrova.Stroke(points=[(0.1, 0.2), (0.3, 0.4)], radius=0.1, hardness=0.2, opacity=0.3, tolerance=4.0, erase=True)
    settings = kestrova.Settings(
        **SETTINGS,
        filter="laplacian",
        rotate=90,
        straighten=1.5,
        crop=(0.1, 0.2, 0.5, 0.6),
        size=800,
        layers=[kestrova.Layer(name="sky", highlights=-0.5, strokes=[stroke], inverted=True)],
    )
    assert kestrova.Settings.from_json(settings.to_json()) == settings
    settings.save(tmp_path / "a.json")
    assert kestrova.Settings.load(tmp_path / "a.json") == settings != kestrova.Settings()
    assert eval(repr(settings), vars(kestrova)) == settings


def test_settings_refuse_what_there_is_no_slider_for_and_what_is_out_of_range():
    settings = kestrova.Settings()
    with pytest.raises(AttributeError, match="Settings has no 'shadow'"):
        settings.shadow = 0.1
    with pytest.raises(TypeError):
        kestrova.Settings(shadow=0.1)
    for value in (1.5, float("nan"), float("inf")):
        with pytest.raises(ValueError, match="shadows: expected -1 to 1, got"):
            settings.shadows = value
    with pytest.raises(ValueError, match="noise_colour: expected 0 to 1, got -0.1"):
        kestrova.Layer(noise_colour=-0.1)
    assert settings == kestrova.Settings()


@pytest.mark.parametrize(
    "change, text",
    [
        ({"filter": "magic"}, "filter"),
        ({"rotate": 45}, "rotate"),
        ({"straighten": 90.0}, "straighten"),
        ({"crop": (0.5, 0.5, 0.6, 0.6)}, "crop"),
        ({"size": -1}, "size"),
        ({"layers": [kestrova.Layer()] * 17}, "layers"),
        ({"layers": [kestrova.Layer(strokes=[kestrova.Stroke(points=[(0, 0)], radius=2.0)])]}, "radius"),
    ],
)
def test_the_library_checks_all_else_by_name(change, text):
    with pytest.raises(kestrova.Error, match=text) as failure:
        kestrova.Settings(**change).to_json()
    assert failure.value.kind == "input"


@pytest.mark.parametrize("text", ["", "{}", '{"version": 2}', '{"version": 1, "shadow": 1}', '{"version": 1, "size": "x"}'])
def test_json_that_is_no_settings_is_refused(text):
    with pytest.raises(kestrova.Error) as failure:
        kestrova.Settings.from_json(text)
    assert failure.value.kind == "input"


def test_presets():
    assert kestrova.presets()
    for name, tip in kestrova.presets().items():
        assert tip and kestrova.preset(name) != kestrova.Settings()
    with pytest.raises(ValueError, match="name: expected one of natural"):
        kestrova.preset("none")


def test_names_that_are_no_text_are_names_all_the_same(noise, tmp_path):
    path = os.path.join(os.fsencode(tmp_path), b"caf\xe9 \xff.png")
    kestrova.save(noise, path)
    assert kestrova.open(path).shape == noise.shape
    assert kestrova.open(os.fsdecode(path)).shape == noise.shape


@pytest.mark.parametrize("method", ["spawn", "fork"])
def test_other_processes_use_the_library(noise, tmp_path, method):
    for i in range(3):
        kestrova.save(noise, tmp_path / f"{i}.png")
    script = f"""
import concurrent.futures, kestrova, multiprocessing, numpy, pathlib

def work(path):
    kestrova.guided_filter(numpy.zeros((300, 400), numpy.uint16))
    return kestrova.develop(path, kestrova.Settings(medium_midtones=0.5)).shape

if __name__ == "__main__":
    kestrova.guided_filter(numpy.zeros((300, 400), numpy.uint16))  # starts a team of threads
    context = multiprocessing.get_context("{method}")
    with concurrent.futures.ProcessPoolExecutor(2, mp_context=context) as pool:
        print(list(pool.map(work, sorted(pathlib.Path({str(tmp_path)!r}).glob("*.png")))))
"""
    (tmp_path / "script.py").write_text(script)
    run = subprocess.run([sys.executable, tmp_path / "script.py"], capture_output=True, text=True, timeout=120)
    assert run.stdout.strip() == str([(90, 120)] * 3), run.stderr
