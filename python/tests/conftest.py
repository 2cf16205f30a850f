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


def star(rng, n=40, centre=(30.0, 25.0), r=(8.0, 20.0), z=None):
    """A star-shaped ring of n points, counter-clockwise, float32; heights random in [0, 3) unless given."""
    a = np.sort(rng.uniform(0, 2 * np.pi, n))
    radius = rng.uniform(*r, n)
    heights = rng.uniform(0, 3, n) if z is None else np.full(n, z)
    return np.stack([centre[0] + radius * np.cos(a), centre[1] + radius * np.sin(a), heights], axis=1).astype(np.float32)


def cross2(o, a, b):
    """Twice the signed area of (o, a, b) over the last axis (x, y, ...)."""
    return (a[..., 0] - o[..., 0]) * (b[..., 1] - o[..., 1]) - (a[..., 1] - o[..., 1]) * (b[..., 0] - o[..., 0])


def windows(a, offsets, **pad):
    """The image shifted by each (dx, dy) of offsets, stacked on axis 0 (the border padded as np.pad does)."""
    r = max(max(abs(dx), abs(dy)) for dx, dy in offsets)
    p = np.pad(a, r, **pad)
    h, w = a.shape
    return np.stack([p[r + dy : r + dy + h, r + dx : r + dx + w] for dx, dy in offsets])


def box(rx, ry):
    return [(dx, dy) for dy in range(-ry, ry + 1) for dx in range(-rx, rx + 1)]
