"""The example programs run, and write what they say."""

import os
import pathlib
import shutil
import subprocess
import sys

import kestrova
import pytest
from conftest import PHOTOS

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples" / "python"
pytestmark = pytest.mark.slow_sanitized


def run(example, *arguments, cwd):
    command = [sys.executable, EXAMPLES / example, *arguments]
    environment = {**os.environ, "PYTHONPATH": str(pathlib.Path(kestrova.__file__).parents[1]), "MPLBACKEND": "Agg"}
    done = subprocess.run(command, cwd=cwd, env=environment, capture_output=True, text=True, timeout=120)
    return done.returncode, done.stdout, done.stderr


def is_figure(path):
    return path.read_bytes()[:4] == b"\x89PNG" and path.stat().st_size > 20000


def test_edge_aware_filters(tmp_path):
    pytest.importorskip("matplotlib")
    code, output, errors = run("edge_aware_filters.py", "-o", "figure.png", cwd=tmp_path)
    assert code == 0, errors
    assert is_figure(tmp_path / "figure.png")


def test_run_time(tmp_path):
    pytest.importorskip("matplotlib")
    if not hasattr(pytest.importorskip("cv2"), "ximgproc"):
        pytest.skip("OpenCV without its extra modules")
    code, output, errors = run("run_time.py", "--quick", "-o", "figure.png", cwd=tmp_path)
    assert code == 0, errors
    assert is_figure(tmp_path / "figure.png")


def folder_of_photographs(path, count):
    path.mkdir()
    for i in range(count):
        shutil.copy(PHOTOS / "dandelion_768x512.png", path / f"{i}.png")
    (path / "broken.png").write_text("no picture")
    return path


def test_batch(tmp_path):
    pytest.importorskip("matplotlib")
    folder_of_photographs(tmp_path / "in", 3)
    code, output, errors = run("batch.py", "in", "-d", "out", cwd=tmp_path)
    assert code == 0, errors
    assert "broken.png:" in output and "3 photographs" in output
    assert sorted(p.name for p in (tmp_path / "out").iterdir()) == ["0.jpg", "1.jpg", "2.jpg", "before_and_after.png"]
    assert is_figure(tmp_path / "out" / "before_and_after.png")


def test_a_dask_cluster_survives_a_killed_worker(tmp_path):
    pytest.importorskip("distributed")
    folder_of_photographs(tmp_path / "in", 8)
    code, output, errors = run("dask_folder.py", "in", "-d", "out", "--workers", "2", "--kill-one", cwd=tmp_path)
    assert code == 1 and "8 of 9 photographs" in output, errors  # one is broken
    killed = output.split("killed process ")[1].split()[0]
    assert output.rstrip().splitlines()[-1].startswith("8 of 9")
    later = output.split(f"killed process {killed}")[1]
    assert f"(process {killed})" not in later and later.count(": done") >= 5
    assert sorted(p.name for p in (tmp_path / "out").iterdir()) == [f"{i}.jpg" for i in range(8)]
