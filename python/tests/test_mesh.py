"""Mesh: builders, arrays and views, edits, and the round trip back into a height field."""
import pickle

import numpy as np
import pytest
from conftest import box, dome, windows

import qssse


def max_5x5(a):
    return windows(a, box(2, 2), constant_values=-np.inf).max(axis=0)


def rotation(ax, ay, az):
    cx, sx, cy, sy, cz, sz = np.cos(ax), np.sin(ax), np.cos(ay), np.sin(ay), np.cos(az), np.sin(az)
    rx = np.array([[1, 0, 0], [0, cx, -sx], [0, sx, cx]])
    ry = np.array([[cy, 0, sy], [0, 1, 0], [-sy, 0, cy]])
    rz = np.array([[cz, -sz, 0], [sz, cz, 0], [0, 0, 1]])
    return rz @ ry @ rx


class TestBuild:
    def test_cells_give_two_triangles_with_four_corners_and_one_with_three(self, rng):
        h = rng.uniform(0.5, 2.0, (9, 12)).astype(np.float32)
        h[rng.uniform(0, 1, h.shape) < 0.2] = 0.0
        valid = (h > 0).astype(int)
        corners = valid[:-1, :-1] + valid[1:, :-1] + valid[:-1, 1:] + valid[1:, 1:]
        mesh = qssse.Mesh.from_height_field(h, threshold=0.0, scale=(0.5, 0.25, 2.0))
        assert mesh.num_triangles == 2 * np.count_nonzero(corners == 4) + np.count_nonzero(corners == 3)
        c = mesh.triangles().reshape(-1, 3)
        x, y = c[:, 0] / 0.5, c[:, 1] / 0.25
        np.testing.assert_array_equal(x, np.round(x))
        np.testing.assert_array_equal(c[:, 2], h[y.astype(int), x.astype(int)])  # heights are raw
        assert (h[y.astype(int), x.astype(int)] > 0).all()

    def test_outline_keeps_the_corners_inside(self):
        h = np.ones((30, 30), np.float32)
        outline = qssse.Polygon3d([[5, 5], [25, 7], [20, 24], [8, 20]])
        outline.re_parametrize(0.5)  # the builder tests every fourth point: outlines are dense
        mesh = qssse.Mesh.from_height_field(h, outline=outline)
        c = mesh.triangles().reshape(-1, 3)
        assert len(c) > 300 and outline.contains(c, step=4).all()

    def test_bad_arguments(self):
        h = np.ones((4, 4), np.float32)
        with pytest.raises(ValueError):
            qssse.Mesh.from_height_field(h, step=(0, 1))
        with pytest.raises(TypeError):
            qssse.Mesh.from_height_field(h.astype(np.float64))
        with pytest.raises(ValueError, match="not both"):
            qssse.Mesh.from_height_field(h, outline=[[0, 0], [3, 0], [3, 3]], area=(0, 3, 0, 3))


class TestRoundTrip:
    def test_scan_conversion_lies_between_the_field_and_its_5x5_maximum_and_refinement_gives_it_back(self):
        h = dome(64, 26, 12.0)
        mesh = qssse.Mesh.from_height_field(h, scale=(0.5, 0.5, 1.0))
        lo = mesh.min_point
        scan = mesh.scan_convert_triangulation_max(z_offset=lo[2]).to_numpy()
        x0, y0 = int(round(lo[0] / 0.5)), int(round(lo[1] / 0.5))
        field = h[y0 : y0 + scan.shape[0], x0 : x0 + scan.shape[1]]
        valid = max_5x5(-np.where(field > 0, 0.0, 1.0)) == 0  # the whole 5x5 neighbourhood carries heights
        interior = np.zeros_like(valid)
        interior[2:-2, 2:-2] = valid[2:-2, 2:-2]
        assert interior.sum() > 1000
        assert (scan[interior] >= field[interior] - 1e-5).all()
        assert (scan[interior] <= max_5x5(field)[interior] + 1e-5).all()
        assert (scan[interior] > field[interior] + 1e-3).any()  # the crosses do dilate
        # The refinement gives the heights back wherever triangles cover the pixel.
        refined = mesh.scan_convert_triangulation_max(z_offset=lo[2])
        mesh.refine_scan_conv_image_top(refined, z_offset=lo[2])
        inner = field > 0.2  # well inside the cap: every pixel covered by triangles
        np.testing.assert_allclose(refined.to_numpy()[inner], field[inner], atol=1e-5)

    def test_threaded_conversion_and_matrix_argument(self):
        mesh = qssse.Mesh.from_height_field(dome(48, 20, 5.0))
        target = qssse.Matrix()
        assert mesh.scan_convert_triangulation_max(matrix=target) is target
        with pytest.raises(TypeError):
            mesh.scan_convert_triangulation_max(matrix=np.zeros((4, 4), np.float32))
        threaded = mesh.fast_scan_convert_triangulation(keep_max=True)
        np.testing.assert_array_equal(threaded.to_numpy(), target.to_numpy())
        low = mesh.scan_convert_triangulation_min().to_numpy()
        assert (low <= target.to_numpy()).all()

    def test_z_buffer_gives_the_field_back_exactly_with_nan_outside(self):
        h = dome(40, 15, 6.0)
        mesh = qssse.Mesh.from_height_field(h)
        seen = []
        back = mesh.scan_convert_triangulation_z_buffer(
            no_data=np.nan, progress=lambda done, total: seen.append((done, total))
        ).to_numpy()
        x0, y0 = (int(v) for v in mesh.min_point[:2])
        field = h[y0 : y0 + back.shape[0], x0 : x0 + back.shape[1]]
        covered = ~np.isnan(back)
        assert covered.sum() > 500 and (field[covered] > 0).all()
        np.testing.assert_array_equal(back[covered], field[covered])
        assert seen and seen[-1][0] == seen[-1][1]

    def test_work_budget_is_set_and_restored(self):
        before = qssse.get_work_budget()
        qssse.set_work_budget(10)
        try:
            assert qssse.get_work_budget() == 10
        finally:
            qssse.set_work_budget(0)  # the default again
        assert qssse.get_work_budget() == before and issubclass(qssse.WorkBudgetError, qssse.Error)


class TestArrays:
    def grid_mesh(self):
        vertices = np.array([[x, y, x * y] for y in range(3) for x in range(3)], np.float32)
        faces = []
        for y in range(2):
            for x in range(2):
                i = 3 * y + x
                faces += [[i, i + 1, i + 4], [i, i + 4, i + 3]]
        return vertices, np.array(faces)

    def test_arrays_round_trip_through_the_triangle_soup(self):
        v, f = self.grid_mesh()
        mesh = qssse.Mesh.from_arrays(v, f)
        np.testing.assert_array_equal(mesh.triangles(), v[f])
        v2, f2 = mesh.to_arrays()
        assert len(v2) == 9 and f2.dtype == np.int32
        np.testing.assert_array_equal(v2[f2], v[f])

    def test_corner_view_is_read_only_and_guards_the_storage(self):
        v, f = self.grid_mesh()
        mesh = qssse.Mesh.from_arrays(v, f)
        view = mesh.corners
        np.testing.assert_array_equal(view, mesh.triangles())
        assert not view.flags.writeable and view.base is not None
        derived = view[:, 0]
        del view
        with pytest.raises(BufferError):
            mesh.remove_triangles_below_z(0.5)
        del derived
        mesh.remove_triangles_below_z(0.5)
        assert mesh.num_triangles == np.count_nonzero((v[f][:, :, 2] > 0.5).any(axis=1))
        mesh.shift_triangulation(0, 0, 1)  # no view alive: nothing to guard

    def test_neighbours_and_border_marks(self):
        # Coordinates differ in every lane: the library matches corners lane by lane.
        v = np.array([[0, 0, 0], [3, 1, 0.5], [1, 4, 0.25], [5, 6, 1], [7, 2, 2]], np.float32)
        mesh = qssse.Mesh.from_arrays(v, [[0, 1, 2], [2, 1, 3], [1, 4, 3]])
        assert (mesh.neighbours == -1).all() and (mesh.marks == -1).all()
        mesh.calc_neighbours()
        # Sides P0-P1, P1-P2, P2-P0: the middle triangle meets the first across its P0-P1, the last across P1-P2.
        np.testing.assert_array_equal(mesh.neighbours, [[-1, 1, -1], [0, 2, -1], [-1, -1, 1]])
        np.testing.assert_array_equal(mesh.marks, [13, 13, 13])

    def test_copy_and_pickle_are_complete_and_independent_and_cut_bytes_refused(self):
        v, f = self.grid_mesh()
        mesh = qssse.Mesh.from_arrays(v, f)
        mesh.calc_neighbours()
        mesh.re_scale_triangulation(1.0, 1.0, 1.0)
        for other in (mesh.copy(), pickle.loads(pickle.dumps(mesh)), qssse.Mesh.from_bytes(mesh.to_bytes())):
            np.testing.assert_array_equal(other.neighbours, mesh.neighbours)
            np.testing.assert_array_equal(other.marks, mesh.marks)
            assert other.scale == mesh.scale
            other.shift_triangulation(1, 2, 3)
            np.testing.assert_array_equal(mesh.triangles(), v[f])
        data = mesh.to_bytes()  # every cut of the bytes is refused
        for k in range(0, len(data), 7):
            with pytest.raises(qssse.Error):
                qssse.Mesh.from_bytes(data[:k])

    def test_transforms_match_numpy(self, rng):
        v, f = self.grid_mesh()
        mesh = qssse.Mesh.from_arrays(v, f)
        r = rotation(0.3, -0.2, 0.7)
        mesh.transform_vertices(0.3, -0.2, 0.7)
        np.testing.assert_allclose(mesh.triangles(), v[f] @ r.T, atol=1e-5)
        m = np.hstack([r.T, [[1.0], [2.0], [3.0]]])  # back, then translated
        mesh.transform_vertices(m)
        np.testing.assert_allclose(mesh.triangles(), v[f] + [1, 2, 3], atol=1e-5)
        with pytest.raises(ValueError):
            mesh.transform_vertices(np.eye(3))

    @pytest.mark.parametrize("faces,error", [([[0, 1, 9]], ValueError), ([[0, 1, -1]], ValueError),
                                             (np.zeros((1, 3)), TypeError), ([[0, 1]], ValueError)])
    def test_bad_faces(self, faces, error):
        with pytest.raises(error):
            qssse.Mesh.from_arrays(np.zeros((3, 3), np.float32), faces)

    @pytest.mark.parametrize("name", ["m.ply", "m.stl", "m.obj", "m.off"])
    def test_files_round_trip(self, tmp_path, name):
        v, f = self.grid_mesh()
        mesh = qssse.Mesh.from_arrays(v, f)
        mesh.write(str(tmp_path / name))
        np.testing.assert_array_equal(qssse.Mesh.read(str(tmp_path / name)).triangles(), v[f])


class TestOutlineMeshes:
    def test_loft_joins_two_circles_with_outward_normals(self):
        t = np.linspace(0, 2 * np.pi, 40, endpoint=False)
        lower = qssse.Polygon3d(np.c_[10 * np.cos(t), 10 * np.sin(t), np.zeros_like(t)])
        upper = qssse.Polygon3d(np.c_[6 * np.cos(t), 6 * np.sin(t), np.full_like(t, 5)])
        band = qssse.Mesh.loft(lower, upper, points=32)
        tri = band.triangles().astype(np.float64)
        assert band.num_triangles == 64
        normal = np.cross(tri[:, 1] - tri[:, 0], tri[:, 2] - tri[:, 0])
        radial = tri.mean(axis=1) * [1, 1, 0]
        assert ((normal * radial).sum(axis=1) > 0).all()
        np.testing.assert_allclose(np.hypot(tri[..., 0], tri[..., 1])[tri[..., 2] == 0], 10, rtol=0.02)

    def test_flat_tops_are_removed_by_orientation(self):
        h = np.zeros((20, 20), np.float32)
        h[2:18, 2:18] = 1.0
        h[6:14, 6:14] = 3.0
        mesh = qssse.Mesh.from_height_field(h)
        tri = mesh.triangles().astype(np.float64)
        n = np.cross(tri[:, 1] - tri[:, 0], tri[:, 2] - tri[:, 0])
        flat = n[:, 2] / np.linalg.norm(n, axis=1) >= 0.99
        mesh.remove_triangles_with_same_orientation((0, 0, 1), 0.99)
        assert flat.sum() > 100 and 0 < mesh.num_triangles == np.count_nonzero(~flat)


def test_border_loops_of_a_field_with_a_hole():
    h = np.zeros((12, 12), np.float32)
    h[1:11, 1:11] = 1.0
    h[5:7, 5:7] = 0.0  # no corner there: a hole of one cell... and the cells around it
    mesh = qssse.Mesh.from_height_field(h, threshold=0.5)
    mesh.calc_neighbours()
    loops, unclosed = mesh.find_border_lines()
    assert unclosed == 0 and len(loops) == 2
    areas = sorted(loop.calc_xy_area() / 2 for loop in loops)
    assert areas[0] < 0 < areas[1]  # the hole clockwise, the outer border counter-clockwise
    assert areas[1] == pytest.approx(81.0)  # corners 1..10: a 9 x 9 square
