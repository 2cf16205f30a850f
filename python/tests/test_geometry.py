"""Hulls, Delaunay, octrees and the restoration analysis, checked by exact NumPy arithmetic."""
import pickle

import numpy as np
import pytest
from conftest import cross2, dome, star

import qssse


def cube(lo, hi):
    """A closed box mesh: (vertices, faces), faces counter-clockwise seen from outside."""
    v = np.array([[x, y, z] for z in (lo[2], hi[2]) for y in (lo[1], hi[1]) for x in (lo[0], hi[0])], np.float32)
    quads = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
    return v, np.array([t for a, b, c, d in quads for t in ((a, b, c), (a, c, d))])


class TestHull3D:
    def test_every_point_lies_behind_every_face(self, rng):
        pts = rng.integers(0, 10, (80, 3)).astype(np.float32)
        hull = qssse.ConvexHull3D(pts)
        v, f = hull.to_arrays()
        assert hull.num_vertices - hull.num_edges + hull.num_faces == 2 and 2 * hull.num_edges == 3 * hull.num_faces
        assert {tuple(p) for p in v.tolist()} <= {tuple(p) for p in pts.tolist()}
        a, b, c = (v[f[:, k]].astype(np.int64) for k in range(3))
        normal = np.cross(b - a, c - a)  # outward: faces run counter-clockwise seen from outside
        side = np.einsum("fk,pfk->pf", normal, pts.astype(np.int64)[:, None, :] - a[None])
        assert (side <= 0).all()
        np.testing.assert_array_equal(hull.faces(), v[f])
        np.testing.assert_array_equal(qssse.Mesh.from_hull(hull).triangles(), v[f])

    def test_scale_rounds_the_points_and_comes_back(self):
        pts = np.array([[0, 0, 0], [1.04, 0, 0], [0, 1, 0], [0, 0, 1]], np.float32)
        v, _ = qssse.ConvexHull3D(pts, scale=10.0).to_arrays()
        assert {tuple(p) for p in v.round(4).tolist()} == {(0, 0, 0), (1.0, 0, 0), (0, 1, 0), (0, 0, 1)}

    @pytest.mark.parametrize("pts,cause", [([[0, 0, 0], [1, 1, 1], [2, 2, 2], [5, 5, 5]], "collinear"),
                                           ([[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0]], "coplanar")])
    def test_degenerate_input_raises_hull_error(self, pts, cause):
        with pytest.raises(qssse.HullError) as e:
            qssse.ConvexHull3D(pts)
        assert e.value.cause == cause and isinstance(e.value, qssse.Error) and isinstance(e.value, RuntimeError)


class TestDelaunay:
    def test_no_point_lies_inside_a_circumcircle(self, rng):
        pts = rng.integers(0, 12, (60, 2)).astype(np.float32)
        d = qssse.Delaunay2D(pts)
        tri = d.triangles()
        P = (pts.astype(np.int64) * 10)[tri]  # the library's own integers
        assert (cross2(P[:, 0], P[:, 1], P[:, 2]) < 0).all()  # clockwise in x-y
        q = np.unique(pts.astype(np.int64) * 10, axis=0)
        # The in-circle determinant in exact integers, rows (dx, dy, dx^2 + dy^2) of the corners seen from q.
        a, b, c = (P[:, k][:, None, :] - q[None] for k in range(3))
        la, lb, lc = ((r ** 2).sum(-1) for r in (a, b, c))
        incircle = (a[..., 0] * (b[..., 1] * lc - lb * c[..., 1]) - a[..., 1] * (b[..., 0] * lc - lb * c[..., 0])
                    + la * (b[..., 0] * c[..., 1] - b[..., 1] * c[..., 0]))
        assert (incircle >= 0).all()  # clockwise triangles: a point strictly inside would make it negative
        # Every distinct point is a vertex: 2n - 2 - b triangles, b the points on the hull's boundary.
        n = len(q)
        hull = qssse.ConvexHull2D(q.astype(np.float32)).to_numpy()[:, :2].astype(np.int64)
        a, b = hull, np.roll(hull, -1, axis=0)
        on_edge = (cross2(a[None], b[None], q[:, None]) == 0) & (
            np.minimum(a[:, 0], b[:, 0]) <= q[:, None, 0]) & (q[:, None, 0] <= np.maximum(a[:, 0], b[:, 0])) & (
            np.minimum(a[:, 1], b[:, 1]) <= q[:, None, 1]) & (q[:, None, 1] <= np.maximum(a[:, 1], b[:, 1]))
        assert len(tri) == 2 * n - 2 - on_edge.any(axis=1).sum()

    def test_mesh_of_the_triangulation_and_cocircular_points_refused(self, rng):
        pts = rng.uniform(0, 20, (30, 2)).astype(np.float32)
        d = qssse.Delaunay2D(pts)
        flat = qssse.Mesh.from_delaunay(d, flatten=True)
        assert flat.num_triangles == d.num_faces and (flat.marks == 14).all()
        np.testing.assert_allclose(flat.triangles()[:, :, :2], np.round(pts * 10)[d.triangles()] / 10, atol=1e-5)
        with pytest.raises(qssse.HullError) as e:  # points on one circle are refused
            # Positive coordinates: the scaling truncates toward zero, which would move negative ones.
            qssse.Delaunay2D([[30, 20], [28, 26], [26, 28], [20, 30], [14, 28], [10, 20], [20, 10], [26, 12]])
        assert e.value.cause == "coplanar"


class TestOctree:
    def test_triangles_go_to_the_deepest_element_holding_their_box(self):
        mesh = qssse.Mesh.from_height_field(dome(40, 16, 6.0), scale=(0.25, 0.25, 1.0))
        lo, hi = mesh.min_point, mesh.max_point
        tree = qssse.Octree(hi, lo, max(np.subtract(hi, lo)) / 16)
        assert tree.num_levels == 4 and tree.num_bricks == (8 ** 4 - 1) // 7
        tree.calculate_octree_entries(mesh, 0)
        tri = mesh.triangles()
        tmin, tmax = tri.min(axis=1), tri.max(axis=1)

        def fits(level, index, t):
            c, half = tree.element(level, index)
            return (np.subtract(c, half) <= tmin[t]).all() and (tmax[t] <= np.add(c, half)).all()

        seen = np.zeros(len(tri), int)
        marks = mesh.marks
        for level in range(tree.num_levels):
            for index in range(8 ** level):
                for t in tree.entries(level, index, 0):
                    seen[t] += 1
                    assert fits(level, index, t)
                    if level + 1 < tree.num_levels:
                        assert not any(fits(level + 1, 8 * index + k, t) for k in range(8))
                    assert marks[t] == {1: 4, 2: 2, 3: 3}.get(level, level + 1 if 4 <= level <= 10 else 1)
        assert (seen == 1).all()

    def test_restoration_angle_from_the_two_layers(self):
        n, rings = 48, 15  # no ring of vertices on the root's centre plane z = 5
        a = np.linspace(0, 2 * np.pi, n, endpoint=False)
        z = np.linspace(0, 10, rings + 1)
        r = 6.0 - 0.3 * z
        v = np.array([[ri * np.cos(t), ri * np.sin(t), zi] for zi, ri in zip(z, r) for t in a], np.float32)
        f = [(i * n + j, i * n + (j + 1) % n, (i + 1) * n + j) for i in range(rings) for j in range(n)]
        f += [(i * n + (j + 1) % n, (i + 1) * n + (j + 1) % n, (i + 1) * n + j) for i in range(rings) for j in range(n)]
        mesh = qssse.Mesh.from_arrays(v, f)
        tree = qssse.RestorationOctree(mesh.max_point, mesh.min_point, 1.0)
        tree.calculate_octree_entries(mesh, 1)
        angle = tree.calc_approximate_max_restoration_angle(mesh, 1)
        assert tree.z_bottom < 5.0 < tree.z_top  # half an octant below and above the centre plane
        assert 3.0 < tree.r_top < tree.r_bottom < 6.0 * np.sqrt(2)
        quotient = np.float32(tree.r_bottom - tree.r_top) / np.float32(tree.z_bottom - tree.z_top) + np.float32(0.0001)
        assert angle == pytest.approx(np.arctan(quotient) + 0.0875, abs=1e-6)
        # Nothing filed in list 0: both layers keep their start values of +-1e6.
        empty = tree.calc_approximate_max_restoration_angle(mesh, 0)
        assert abs(tree.z_top) == 1e6 and empty != angle


class TestRestoration:
    def test_footprint_is_the_x_z_hull_carrying_the_y_range(self):
        v, f = cube((0, 1, 0), (2, 3, 4))
        hull = qssse.FootprintHull((v, f))
        p = hull.to_numpy()
        assert isinstance(hull, qssse.Polygon3d) and len(p) == 4
        assert {(x, z) for x, z in zip(p[:, 0].tolist(), p[:, 2].tolist())} <= {(0, 1), (2, 1), (0, 3), (2, 3)}
        np.testing.assert_array_equal(p[:, 2], [1, 1, 3, 3])  # the mesh's y range, not the vertices' z
        back = pickle.loads(pickle.dumps(hull))  # as the polygon it is
        assert type(back) is qssse.Polygon3d and (back.to_numpy() == p).all()

    def test_inside_decision(self):
        block = cube((0, 0, 0), (1, 1, 1))
        assert qssse.InsideDecision(cube((0.25,) * 3, (0.75,) * 3), block).decision == "inside"
        assert qssse.InsideDecision(cube((0.5,) * 3, (1.5,) * 3), block).decision == "surfaces_meet"
        assert qssse.InsideDecision(cube((2,) * 3, (3,) * 3), block).decision == "outside"
        decision = qssse.InsideDecision(qssse.Mesh.from_arrays(*cube((0.25,) * 3, (0.75,) * 3)), (block[0], block[1][1:]))
        assert decision.decision == "block_not_closed"
        inside = qssse.InsideDecision(cube((0.25,) * 3, (0.75,) * 3), block)
        assert inside.is_restoration_inside_block and inside.lowest_block_point[2] == 0
        assert inside.highest_restauration_point[2] == 0.75


def area2(t):
    """Twice the signed areas of (m, 3, >=2) triangles, in float64."""
    t = t.astype(np.float64)
    return cross2(t[:, 0], t[:, 1], t[:, 2])


class TestEarClipping:
    @pytest.fixture
    def ring(self, rng):
        return star(rng, 30, (20.0, 20.0), (6.0, 12.0), z=2.0)

    def test_a_simple_ring_becomes_n_minus_2_triangles_covering_it(self, ring):
        poly = qssse.Polygon3d(ring)
        ears = qssse.PolygonTriangulator(poly)
        tri = ears.triangles()
        assert ears.num_triangles == len(ring) - 2 and sorted(set(tri.ravel())) == list(range(len(ring)))
        corners = ring[tri]
        assert (area2(corners) > 0).all()
        assert area2(corners).sum() == pytest.approx(poly.calc_xy_area(), rel=1e-5)
        np.testing.assert_array_equal(ears.triangles_3d(), corners)
        del poly  # the triangulator keeps its polygon alive for later reads
        np.testing.assert_array_equal(ears.triangles_3d(), corners)

    def test_clockwise_rings_stop_early(self, ring):
        assert qssse.PolygonTriangulator(ring[::-1]).num_triangles < len(ring) - 2

    def test_refinement_keeps_the_area_and_splits_long_sides(self, ring):
        ears = qssse.PolygonTriangulator(ring)
        fine = qssse.TriangulationRefinement(ears, 0.5, 4)
        t2 = fine.triangles_2d()
        assert fine.num_triangles > ears.num_triangles
        assert area2(t2).sum() == pytest.approx(area2(ring[ears.triangles()]).sum(), rel=1e-5)
        np.testing.assert_allclose(fine.triangles_3d()[:, :, 2], 2.0, rtol=1e-6)  # heights from the flat outline
        assert len(fine.border_line()) >= len(ring)

    def test_meshes_of_outlines(self, ring):
        mesh = qssse.Mesh.from_polygon(ring, length=1.0, scale=(0.5, 0.5, 1.0))
        tri = mesh.triangles()
        assert area2(tri).sum() == pytest.approx(qssse.Polygon3d(ring).calc_xy_area() * 0.25, rel=1e-4)
        np.testing.assert_allclose(tri[:, :, 2], 2.0, rtol=1e-6)
        fan = qssse.Mesh.from_polygon(ring, fan=True)
        assert fan.num_triangles == len(ring)
        field = np.full((40, 40), 5.0, np.float32)
        raised = qssse.Mesh.from_polygon(ring, field=field, above=True)
        np.testing.assert_allclose(raised.triangles()[:, :, 2], 5.0)
