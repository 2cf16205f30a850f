"""The module as a whole: names, errors, documentation and the GIL."""
import inspect
import os
import re
import threading
import time
from pathlib import Path

import numpy as np
import pytest

import qssse


def test_interface_names_stand_beside_the_pythonic_ones():
    pairs = {"CSSEMatrix": "Matrix", "CSSEcharMatrix": "CharMatrix", "CSSE3dPolygon": "Polygon3d",
             "CSSE2dPolygon": "Polygon2d", "CHTriangulation": "Mesh", "CHConvexHull2D": "ConvexHull2D",
             "CHConvexHull3D": "ConvexHull3D", "CH2DDelaunay": "Delaunay2D", "CHOctree": "Octree",
             "CRestorationOctree": "RestorationOctree", "QsDmTriangulationTo2DHull": "FootprintHull",
             "CHDecideDmTriInDmTri": "InsideDecision"}
    for interface, pythonic in pairs.items():
        assert getattr(qssse, interface) is getattr(qssse, pythonic)
    assert issubclass(qssse.RestorationOctree, qssse.Octree) and issubclass(qssse.FootprintHull, qssse.Polygon3d)


def test_library_exceptions_map_to_python_ones():
    with pytest.raises(MemoryError):  # a zero cell size asks for 99 levels: refused before allocating
        qssse.Octree((1, 1, 1), (0, 0, 0), 0.0)
    with pytest.raises(ValueError, match="CSSEMatrix"):
        qssse.Matrix(-1, 1)
    assert issubclass(qssse.IoError, OSError) and issubclass(qssse.HullError, qssse.Error)
    assert issubclass(qssse.Error, RuntimeError)


def _documented(doc):
    """True when every overload in a pybind11 docstring carries text besides its signature."""
    if not doc:
        return False
    parts = re.split(r"^\d+\. ", doc, flags=re.M)[1:] if "Overloaded function." in doc else [doc]
    for part in parts:
        text = [line for line in part.strip().splitlines()[1:] if line.strip()]
        if not text:
            return False
    return True


def test_every_function_and_property_has_a_docstring():
    missing = []
    for name, obj in vars(qssse).items():
        if name.startswith("_"):
            continue
        if inspect.isbuiltin(obj) and not _documented(obj.__doc__):
            missing.append(name)
        if inspect.isclass(obj) and obj.__module__ == "qssse" and not issubclass(obj, BaseException):
            if not obj.__doc__ or isinstance(obj, type(qssse.FileKind)) and obj is qssse.FileKind:
                continue
            for attr, member in vars(obj).items():
                if attr.startswith("_"):
                    continue
                if isinstance(member, property):
                    if not member.__doc__:
                        missing.append(f"{name}.{attr}")
                elif callable(member) or isinstance(member, staticmethod):
                    target = member.__func__ if isinstance(member, staticmethod) else member
                    if not _documented(target.__doc__):
                        missing.append(f"{name}.{attr}")
    assert missing == []


def test_long_calls_let_other_threads_run():
    field = qssse.Matrix(np.random.default_rng(1).uniform(0, 1, (1200, 1200)).astype(np.float32))

    def interleaved():
        span, stamps, done = [], [], threading.Event()

        def work():
            t0 = time.perf_counter()
            field.minimum_filter_disc(16.0)
            span.extend([t0, time.perf_counter()])
            done.set()

        worker = threading.Thread(target=work)
        worker.start()
        while not done.is_set():
            stamps.append(time.perf_counter())
        worker.join()
        t0, t1 = span
        quarter = (t1 - t0) / 4
        return any(t0 + quarter < s < t1 - quarter for s in stamps)

    # Holding the GIL for the whole call, the worker would leave this thread no turn in between, every
    # time; a loaded machine may take the turns away now and then, hence a few tries.
    assert any(interleaved() for _ in range(5))


def test_readme_tutorial_runs_and_gives_the_heights_back(capsys):
    root = Path(os.environ.get("QSSSE_SOURCE_DIR", Path(__file__).resolve().parents[2]))
    text = (root / "README.md").read_text()
    code = re.search(r"## From Python.*?```python\n(.*?)```", text, re.S).group(1)
    assert len([line for line in code.splitlines() if line.strip()]) <= 15
    exec(compile(code, "README.md", "exec"), {})
    triangles, difference = re.search(r"(\d+) triangles, max \|difference\|: (\S+)", capsys.readouterr().out).groups()
    assert int(triangles) > 90000 and float(difference) < 1e-4
