"""Shared helpers of the pytest suite of the qssse module (run by ctest with PYTHONPATH at the build)."""
import numpy as np
import pytest


@pytest.fixture
def rng():
    return np.random.default_rng(42)


def dome(size, radius, height, centre=None):
    """A spherical-cap height field: float32 (size, size), 0 outside the cap."""
    c = (size - 1) / 2.0 if centre is None else centre
    y, x = np.mgrid[0:size, 0:size].astype(np.float64)
    r2 = (x - c) ** 2 + (y - c) ** 2
    h = np.where(r2 < radius * radius, height * (1.0 - r2 / (radius * radius)), 0.0)
    return h.astype(np.float32)
