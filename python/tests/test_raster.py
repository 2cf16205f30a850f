"""Matrix and CharMatrix: the layout conversion, and whole-image operations against NumPy oracles."""
import copy
import pickle

import numpy as np
import pytest
from conftest import box, windows

import qssse


def disc_filter(a, radius, op, neutral):
    """Minimum or maximum over the disc clipped to the image, the plain way."""
    r = int(np.floor(radius))
    disc = [(dx, dy) for dx, dy in box(r, r) if dx * dx + dy * dy <= radius * radius]
    return op.reduce(windows(a, disc, constant_values=neutral))


class TestLayout:
    @pytest.mark.parametrize("shape", [(1, 1), (3, 5), (4, 4), (5, 7), (130, 3), (257, 9)])
    def test_round_trip_keeps_every_pixel(self, shape, rng):
        a = rng.uniform(-5, 5, shape).astype(np.float32)
        m = qssse.Matrix(a)
        assert m.shape == shape and (m.size_x, m.size_y) == (shape[1], shape[0])
        assert m.sse_size_y == (shape[0] >> 2) + 1
        np.testing.assert_array_equal(m.to_numpy(), a)
        np.testing.assert_array_equal(np.asarray(m), a)
        y, x = shape[0] - 1, shape[1] - 1
        assert m.get_point(x, y) == a[y, x]

    def test_strided_and_fortran_arrays_are_read_as_numpy_sees_them(self, rng):
        a = rng.uniform(0, 1, (21, 17)).astype(np.float32)
        for view in (a[::2, ::-1], a.T, np.asfortranarray(a), a[3:, 5:12]):
            np.testing.assert_array_equal(qssse.Matrix(view).to_numpy(), view)

    def test_reads_and_writes_are_clamped_to_the_border(self):
        a = np.arange(12, dtype=np.float32).reshape(3, 4)
        m = qssse.Matrix(a)
        assert m.get_point(-5, 100) == a[-1, 0]
        m.set_point(99, -3, 7.0)
        assert m.to_numpy()[0, 3] == 7.0

    def test_copies_are_independent(self, rng):
        a = rng.uniform(0, 1, (6, 5)).astype(np.float32)
        m = qssse.Matrix(a)
        for c in (m.copy(), copy.copy(m), copy.deepcopy(m), pickle.loads(pickle.dumps(m))):
            c.fill(3.0)
            np.testing.assert_array_equal(m.to_numpy(), a)
        out = m.to_numpy()
        out[:] = 0
        np.testing.assert_array_equal(m.to_numpy(), a)

    def test_sizes_freed_matrices_and_assignment(self):
        assert qssse.Matrix(3, 2).to_numpy().tolist() == [[0, 0, 0], [0, 0, 0]]
        m = qssse.Matrix(3, 2)
        m.free()
        assert not m.has_pixels and m.to_numpy().shape == (2, 3) and m.get_point(1, 1) == 0
        assert qssse.Matrix(np.zeros((0, 4), np.float32)).to_numpy().shape == (0, 4)
        m.assign(np.ones((5, 3), np.float32))  # recreated at the array's size
        assert m.shape == (5, 3) and m.integrate_matrix() == 15.0


class TestArgumentErrors:
    @pytest.mark.parametrize("bad,error,match", [
        (np.zeros((3, 3)), TypeError, None), (np.zeros((3, 3), np.int32), TypeError, None),
        (np.zeros((3, 3), ">f4"), TypeError, None), ([[1.0, 2.0]], TypeError, None), ("text", TypeError, None),
        (np.zeros(5, np.float32), ValueError, "2-D"), (np.zeros((2, 3, 4), np.float32), ValueError, "2-D"),
        (np.zeros((), np.float32), ValueError, "2-D")])
    def test_wrong_dtype_raises_type_error_and_wrong_dimensions_value_error(self, bad, error, match):
        with pytest.raises(error, match=match):
            qssse.Matrix(bad)

    def test_library_limits_arrive_as_value_error_and_char_matrices_take_bytes_only(self):
        with pytest.raises(ValueError, match="31999"):
            qssse.Matrix(np.zeros((32000, 1), np.float32))
        with pytest.raises(ValueError):
            qssse.Matrix(-1, 4)
        with pytest.raises(TypeError):  # the byte matrix takes bytes only
            qssse.CharMatrix(np.zeros((2, 2), np.float32))
        with pytest.raises(ValueError):
            qssse.CharMatrix(np.zeros(4, np.uint8))


class TestImageOperations:
    @pytest.mark.parametrize("radius", [1.0, 2.5, 4.0])
    def test_disc_filters_match_the_plain_disc(self, radius, rng):
        a = rng.uniform(1, 100, (23, 37)).astype(np.float32)
        lo, hi = qssse.Matrix(a), qssse.Matrix(a)
        lo.minimum_filter_disc(radius)
        hi.maximum_filter_disc(radius)
        np.testing.assert_array_equal(lo.to_numpy(), disc_filter(a, radius, np.minimum, np.inf))
        np.testing.assert_array_equal(hi.to_numpy(), disc_filter(a, radius, np.maximum, -np.inf))

    def test_errode_clears_every_pixel_near_the_background(self, rng):
        mask = (rng.uniform(0, 1, (19, 24)) > 0.1).astype(np.float32)
        m = qssse.Matrix(mask)
        m.errode(2.0, 0.0, 1.0)
        near_bg = disc_filter(mask, 2.0, np.minimum, 1.0) == 0  # a 0 within the disc, inside the image
        np.testing.assert_array_equal(m.to_numpy(), np.where(near_bg, 0.0, 1.0))

    def test_box_filter_is_the_mean_of_the_clipped_window(self, rng):
        a = rng.uniform(0, 10, (11, 14)).astype(np.float32)
        m = qssse.Matrix(a)
        m.box_filter(2, 1)
        mean = np.nanmean(windows(a.astype(np.float64), box(2, 1), constant_values=np.nan), axis=0)
        np.testing.assert_allclose(m.to_numpy(), mean, rtol=1e-6)

    def test_median_3x3_repeats_the_border(self, rng):
        a = rng.uniform(0, 1, (9, 12)).astype(np.float32)
        median = np.median(windows(a, box(1, 1), mode="edge"), axis=0)
        np.testing.assert_array_equal(qssse.median_3x3(qssse.Matrix(a)).to_numpy(), median)

    def test_counts_sums_and_extremes(self, rng):
        a = rng.uniform(-1, 1, (13, 6)).astype(np.float32)
        m = qssse.Matrix(a)
        assert m.num_values_above(0.25) == np.count_nonzero(a > 0.25)
        assert m.num_values_below(qssse.Matrix(np.zeros_like(a))) == np.count_nonzero(a < 0)
        assert m.integrate_matrix() == pytest.approx(a.astype(np.float64).sum(), rel=1e-12)
        assert m.calc_min_max_values() == (a.max(), a.min())  # small: scanned pixel by pixel, maximum first
        assert m.calc_max_value_of_patch(1, 3, 2, 5) == a[2:6, 1:4].max()
        assert m.remove_top(0.5, 0.5) == np.count_nonzero(a > 0.5)
        np.testing.assert_array_equal(m.to_numpy(), np.minimum(a, np.float32(0.5)))

    def test_stamps_near_the_border_move_inward_as_a_whole(self):
        m = qssse.Matrix(4, 4)
        m.set_cross_max(0, 0, 5.0)
        expected = np.zeros((4, 4), np.float32)
        expected[1, 0:3] = 5.0
        expected[0:3, 1] = 5.0
        np.testing.assert_array_equal(m.to_numpy(), expected)
        assert m.get_point_max_3x3(1, 1) == 5.0

    def test_fill_holes_and_search(self):
        ring = np.zeros((7, 7), np.float32)
        ring[1:6, 1:6] = 1.0
        ring[3, 3] = 0.0
        m = qssse.Matrix(ring)
        assert m.fill_holes(0.5, 2.0) == 1 and m.get_point(3, 3) == 2.0
        assert m.find_first_point_above(0, 3, 1, 0, 0.5) == (1, 3)
        assert m.find_first_point_above(0, 0, 1, 0, 0.5) is None

    def test_mask_from_threshold_and_stencil(self, rng):
        a = rng.uniform(0, 1, (10, 9)).astype(np.float32)
        mask = qssse.CharMatrix()
        mask.copy_and_treshold_above(qssse.Matrix(a), 0.5, 7)
        np.testing.assert_array_equal(mask.to_numpy(), np.where(a > 0.5, 7, 0))
        m = qssse.Matrix(a)
        m.stencil(mask)
        np.testing.assert_array_equal(m.to_numpy(), np.where(a > 0.5, a, 0))
        np.testing.assert_array_equal(qssse.CharMatrix(a > 0.5).to_numpy(), (a > 0.5).astype(np.uint8))

    def test_trace_chains_walks_the_outer_boundary(self):
        a = np.zeros((8, 9), np.float32)
        a[2:5, 3:7] = 1.0  # 4 x 3 block: 10 boundary pixels
        (chain,) = qssse.trace_chains(qssse.Matrix(a), 0.5)
        ys, xs = np.nonzero(a)
        boundary = {(x, y) for x, y in zip(xs, ys) if x in (3, 6) or y in (2, 4)}
        assert len(chain) == 10 and set(map(tuple, chain.tolist())) == boundary


def test_files_round_trip(tmp_path, rng):
    a = rng.uniform(-2, 2, (5, 7)).astype(np.float32)
    path = str(tmp_path / "a.qsm")
    qssse.Matrix(a).store(path)
    m = qssse.Matrix()
    m.load(path)
    np.testing.assert_array_equal(m.to_numpy(), a)
    with pytest.raises(qssse.IoError):
        m.load(str(tmp_path / "missing.qsm"))
