"""The I/O library from Python, with NumPy's own NPY reader and writer as the independent side."""
import numpy as np
import pytest

import qssse


class TestHeightFields:
    def test_npy_agrees_with_numpy_both_ways(self, tmp_path, rng):
        a = rng.uniform(-3, 3, (7, 11)).astype(np.float32)
        ours, theirs = str(tmp_path / "ours.npy"), str(tmp_path / "theirs.npy")
        qssse.write_height_field(ours, a)
        np.testing.assert_array_equal(np.load(ours), a)
        np.save(theirs, a.astype(np.float64).T)  # another dtype and Fortran order: converted by the reader
        np.testing.assert_array_equal(qssse.read_height_field(theirs), a.T)

    def test_no_data_becomes_no_value_and_zero_is_written_as_nan(self, tmp_path):
        a = np.array([[1.0, -9999.0], [np.nan, 2.0]], np.float32)
        path = str(tmp_path / "a.npy")
        np.save(path, a)
        np.testing.assert_array_equal(qssse.read_height_field(path, no_data=-9999.0), [[1, 0], [0, 2]])
        back = qssse.read_height_field(path, no_data=-9999.0, no_value=np.nan)
        np.testing.assert_array_equal(np.isnan(back), [[False, True], [True, False]])
        qssse.write_height_field(path, qssse.Matrix(np.array([[0, 1]], np.float32)), zero_as_nan=True)
        assert np.isnan(np.load(path)[0, 0]) and np.load(path)[0, 1] == 1

    @pytest.mark.parametrize("name", ["a.pfm", "a.qsm", "a.png"])
    def test_formats_round_trip(self, tmp_path, name, rng):
        a = rng.uniform(0, 5, (9, 6)).astype(np.float32)
        path = str(tmp_path / name)
        qssse.Matrix(a).write(path)
        back = qssse.Matrix.read(path).to_numpy()
        if name.endswith(".png"):  # 16-bit levels spread over the range
            np.testing.assert_allclose(back, a, atol=(a.max() - a.min()) / 65535 * 0.51 + 1e-6)
        else:
            np.testing.assert_array_equal(back, a)
        assert qssse.detect_file_kind(path) == {"pfm": qssse.FileKind.Pfm, "qsm": qssse.FileKind.Matrix,
                                                "png": qssse.FileKind.Png}[name[-3:]]

    def test_errors_name_the_file(self, tmp_path):
        path = tmp_path / "short.npy"
        path.write_bytes(b"\x93NUMPY\x01\x00")
        with pytest.raises(qssse.IoError) as e:
            qssse.read_height_field(str(path))
        assert isinstance(e.value, OSError) and isinstance(e.value, qssse.Error)
        assert str(e.value).startswith(str(path) + ": ") and e.value.file == str(path) and e.value.problem
        with pytest.raises(qssse.IoError, match="extension|name"):
            qssse.write_height_field(str(tmp_path / "a.xyz"), np.zeros((2, 2), np.float32))
        with pytest.raises(TypeError):
            qssse.write_height_field(str(tmp_path / "a.npy"), np.zeros((2, 2)))


class TestMeshesAndOutlines:
    def test_mesh_files_and_welding(self, tmp_path):
        v = np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0.5]], np.float32)
        f = np.array([[0, 1, 2], [2, 1, 3]])
        path = str(tmp_path / "m.stl")
        qssse.write_mesh(path, v, f)
        soup_v, soup_f = qssse.read_mesh(path)
        assert len(soup_v) == 6  # STL holds a triangle soup
        welded_v, welded_f = qssse.weld_vertices(soup_v, soup_f)
        np.testing.assert_array_equal(welded_v[welded_f], v[f])
        assert len(welded_v) == 4 and qssse.detect_file_kind(path) == qssse.FileKind.BinaryStl

    def test_outline_text_round_trips_exactly_and_rings_draw_as_svg(self, tmp_path, rng):
        pts = rng.uniform(-1, 1, (5, 3)).astype(np.float32)
        path = str(tmp_path / "o.txt")
        qssse.write_outline(path, pts)
        np.testing.assert_array_equal(qssse.read_outline(path), pts)
        (tmp_path / "closed.txt").write_text("0 0\n4 0\n4 3\n0 0\n")
        np.testing.assert_array_equal(qssse.Polygon3d.read(str(tmp_path / "closed.txt")).to_numpy(),
                                      [[0, 0, 0], [4, 0, 0], [4, 3, 0]])
        svg = qssse.encode_svg([qssse.Polygon3d([[0, 0], [4, 0], [4, 3]])], 10, 10)
        assert svg.lstrip().startswith("<") and "svg" in svg
