"""Polygon3d: points in and out, and the fill rule, areas and hulls against NumPy oracles."""
import pickle

import numpy as np
import pytest
from conftest import star

import qssse


def even_odd(ring, pts):
    """The even-odd rule, casting a ray along y (the parity does not depend on the direction)."""
    x0, y0 = ring[:, 0].astype(np.float64), ring[:, 1].astype(np.float64)
    x1, y1 = np.roll(x0, -1), np.roll(y0, -1)
    x, y = pts[:, :1].astype(np.float64), pts[:, 1:2].astype(np.float64)
    crosses = (x0 < x) != (x1 < x)
    with np.errstate(divide="ignore", invalid="ignore"):
        ye = y0 + (x - x0) * (y1 - y0) / (x1 - x0)
    return (crosses & (ye > y)).sum(axis=1) % 2 == 1


def monotone_chain(points):
    """Strict convex hull (collinear points dropped), counter-clockwise from the lowest point."""
    p = sorted(set(map(tuple, points)))
    cross = lambda o, a, b: (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0])
    lower, upper = [], []
    for q in p:
        while len(lower) >= 2 and cross(lower[-2], lower[-1], q) <= 0:
            lower.pop()
        lower.append(q)
    for q in reversed(p):
        while len(upper) >= 2 and cross(upper[-2], upper[-1], q) <= 0:
            upper.pop()
        upper.append(q)
    hull = lower[:-1] + upper[:-1]
    start = min(range(len(hull)), key=lambda i: (hull[i][1], hull[i][0]))
    return hull[start:] + hull[:start]


class TestPoints:
    def test_round_trip_rounding_and_planar_points(self, rng):
        pts = rng.uniform(-100, 100, (13, 3))  # float64: rounded to float32 on the way in
        p = qssse.Polygon3d(pts)
        assert len(p) == p.num_points == 13
        np.testing.assert_array_equal(p.to_numpy(), pts.astype(np.float32))
        assert p.get_point(4) == tuple(pts[4].astype(np.float32))
        np.testing.assert_array_equal(pickle.loads(pickle.dumps(p)).to_numpy(), p.to_numpy())
        planar = qssse.Polygon3d([[0, 0], [4, 0], [4, 3]])  # integers, and z 0 for planar points
        np.testing.assert_array_equal(planar.to_numpy(), [[0, 0, 0], [4, 0, 0], [4, 3, 0]])

    @pytest.mark.parametrize("bad,error", [(np.zeros((3, 4)), ValueError), (np.zeros(6), ValueError),
                                           (np.zeros((3, 3), complex), TypeError), ([["a", "b"]], TypeError),
                                           (np.zeros((3, 2), bool), TypeError)])
    def test_bad_arrays(self, bad, error):
        with pytest.raises(error):
            qssse.Polygon3d(bad)

    def test_index_errors_and_ignored_writes(self):
        p = qssse.Polygon3d([[0, 0, 0], [1, 0, 0], [0, 1, 0]])
        with pytest.raises(IndexError):
            p.get_point(3)
        p.set_point(7, 5, 5, 5)  # ignored, as the library does
        assert p.to_numpy().max() == 1


class TestQueries:
    @pytest.fixture
    def ring(self, rng):
        return star(rng)

    def test_contains_is_the_even_odd_rule(self, ring, rng):
        pts = rng.uniform([5, 0], [55, 50], (3000, 2)).astype(np.float32)
        inside = qssse.Polygon3d(ring).contains(pts)
        np.testing.assert_array_equal(inside, even_odd(ring, pts))
        assert 0 < inside.sum() < len(pts)

    def test_fine_fill_writes_exactly_the_cells_the_rule_puts_inside(self, ring):
        p = qssse.Polygon3d(ring)
        m = qssse.Matrix(60, 50)
        p.draw_in_matrix_and_fill_fine(2.0, m)
        # The fill tests each cell against a copy without points near earlier ones.
        reduced = p.copy()
        reduced.remove_equal_points_xy()
        assert len(reduced) < len(p)
        y, x = np.mgrid[0:50, 0:60]
        cells = np.stack([x.ravel(), y.ravel()], axis=1).astype(np.float32)
        expected = reduced.contains(cells).reshape(50, 60)
        np.testing.assert_array_equal(m.to_numpy(), np.where(expected, 2.0, 0.0))

    def test_area_and_circumference(self, ring):
        p = qssse.Polygon3d(ring)
        x, y = ring[:, 0].astype(np.float64), ring[:, 1].astype(np.float64)
        twice_area = np.sum(x * np.roll(y, -1) - np.roll(x, -1) * y)
        assert p.calc_xy_area() == pytest.approx(twice_area, rel=1e-5)
        assert p.calc_circumference() == pytest.approx(np.linalg.norm(ring - np.roll(ring, -1, 0), axis=1).sum(), rel=1e-5)
        p.invert_polygon_direction()
        assert p.calc_xy_area() == pytest.approx(-twice_area, rel=1e-5)

    def test_box_centre_shift_and_rotation(self, ring):
        p = qssse.Polygon3d(ring)
        p.calc_bounding_box()
        lo, hi = p.get_bounding_box_3d()
        np.testing.assert_array_equal(lo, ring.min(axis=0))
        np.testing.assert_array_equal(hi, ring.max(axis=0))
        np.testing.assert_allclose(p.calc_geometric_center(), ring.astype(np.float64).mean(axis=0), rtol=1e-5)
        p.shift_line(1.5, -2.0, 0.25)
        np.testing.assert_array_equal(p.to_numpy(), ring + np.float32([1.5, -2.0, 0.25]))
        p.rotate_z(np.pi / 2)  # clockwise seen from +z: (x, y) -> (y, -x)
        np.testing.assert_allclose(p.to_numpy()[:, :2], np.stack([ring[:, 1] - 2.0, -(ring[:, 0] + 1.5)], 1),
                                   atol=1e-4)

    def test_convex_hull_matches_the_monotone_chain(self, rng):
        pts = rng.integers(0, 10, (60, 2)).astype(np.float32)
        expected = monotone_chain(pts.tolist())
        p = qssse.Polygon3d(pts)
        p.replace_by_convex_hull_xy()
        assert [tuple(q) for q in p.to_numpy()[:, :2].tolist()] == expected
        assert [tuple(q) for q in qssse.ConvexHull2D(pts).to_numpy()[:, :2].tolist()] == expected


def square(x0, y0, side, n_per_side=1):
    """A counter-clockwise square (n points per side)."""
    t = np.arange(n_per_side) / n_per_side
    sides = [np.c_[x0 + side * t, np.full_like(t, y0)], np.c_[np.full_like(t, x0 + side), y0 + side * t],
             np.c_[x0 + side * (1 - t), np.full_like(t, y0 + side)], np.c_[np.full_like(t, x0), y0 + side * (1 - t)]]
    return np.vstack(sides).astype(np.float32)


class TestOffsetsAndCuts:
    @pytest.mark.parametrize("join,corner_area", [(qssse.Polygon3d.kJoinRound, np.pi * 4), (qssse.Polygon3d.kJoinMiter, 16.0)])
    def test_dilation_of_a_square(self, join, corner_area):
        p = qssse.Polygon3d(square(0, 0, 10))
        assert p.dilate_exact(2.0, join=join, miter_limit=4.0)
        # sides pushed out by 2, corners rounded (pi r^2 in all) or square (4 r^2)
        assert p.calc_xy_area() / 2 == pytest.approx(100 + 4 * 10 * 2 + corner_area, rel=2e-3)
        assert p.calc_xy_area() > 0  # the orientation stays

    def test_erosion_keeps_the_square_and_ends_empty(self):
        p = qssse.Polygon3d(square(0, 0, 10))
        assert p.erode_exact(2.0)
        np.testing.assert_allclose(sorted({tuple(q) for q in p.to_numpy()[:, :2].round(4).tolist()}),
                                   [(2, 2), (2, 8), (8, 2), (8, 8)])
        assert not p.erode_exact(3.5) and len(p) == 0
        with pytest.raises(ValueError):
            qssse.Polygon3d(square(0, 0, 10)).dilate_exact(float("inf"))

    def test_cut_and_merge_of_two_squares(self):
        a, b = qssse.Polygon3d(square(0, 0, 10)), qssse.Polygon3d(square(5, 5, 10))
        cut, merged, outside = qssse.Polygon3d(), qssse.Polygon3d(), qssse.Polygon3d()
        assert cut.create_from_cut_polygones(a, b, True)
        assert outside.create_from_cut_polygones(a, b, False)
        assert merged.create_merge_polygon(a, b)
        assert cut.calc_xy_area() / 2 == pytest.approx(25) and outside.calc_xy_area() / 2 == pytest.approx(75)
        assert merged.calc_xy_area() / 2 == pytest.approx(175)
        assert not qssse.Polygon3d().create_from_cut_polygones(a, qssse.Polygon3d(square(20, 0, 5)), True)

    def test_loop_removal_keeps_the_larger_lobe(self):
        figure_eight = np.array([[0, 0], [10, 10], [10, 0], [0, 10]], np.float32)  # crossing at (5, 5)
        p = qssse.Polygon3d(np.vstack([figure_eight, [[-10, 10], [-10, 0]]]))
        assert p.remove_loop_in_xy_plane()
        x, y = p.to_numpy()[:, 0].astype(float), p.to_numpy()[:, 1].astype(float)
        assert abs(np.sum(x * np.roll(y, -1) - np.roll(x, -1) * y)) > 0
        assert not qssse.Polygon3d(square(0, 0, 4)).remove_loop_in_xy_plane()
