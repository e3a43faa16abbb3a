import pathlib
import sys

import numpy as np
import pytest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
sys.dont_write_bytecode = True

PHOTOS = pathlib.Path(__file__).resolve().parents[2] / "examples" / "photos"


def pytest_configure(config):
    config.addinivalue_line("markers", "slow_sanitized: takes too long, or means nothing, under a sanitizer")


@pytest.fixture
def rng():
    return np.random.default_rng(20)


@pytest.fixture
def photograph():
    return PHOTOS / "dandelion_768x512.png"
