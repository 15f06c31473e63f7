"""Every bad argument raises TypeError or ValueError with a message naming it, before any
kernel work; unreadable files raise FileNotFoundError or ValueError."""
import numpy as np
import pytest

import orvane
from conftest import box

V, T = box((0, 0, 0), (1, 1, 1))
CUBE = orvane.Mesh(V, T)
NAN = np.array(V)
NAN[3, 1] = np.nan


@pytest.mark.parametrize("call, error, words", [
    # Mesh(vertices, triangles)
    (lambda: orvane.Mesh(V[:, :2], T), ValueError, r"vertices must have shape \(N, 3\), got \(8, 2\)"),
    (lambda: orvane.Mesh(NAN, T), ValueError, r"vertices\[3, 1\] is nan"),
    (lambda: orvane.Mesh(V.astype(complex), T), TypeError, "vertices must hold real numbers"),
    (lambda: orvane.Mesh([[0, 0], [1]], T), ValueError, "vertices cannot be read as an array"),
    (lambda: orvane.Mesh(V, T.astype(float)), TypeError, "triangles must hold integer vertex indices"),
    (lambda: orvane.Mesh(V, T[:, :2]), ValueError, r"triangles must have shape \(M, 3\)"),
    (lambda: orvane.Mesh(V, T + 1), ValueError, r"triangles\[\d+, \d\] is 8: vertex indices must lie in \[0, 8\)"),
    (lambda: orvane.Mesh(V, -T), ValueError, r"is -\d"),
    (lambda: orvane.Mesh(V, T.astype(np.uint64) + 2 ** 63), ValueError, "vertex indices must lie in"),
    # slice
    (lambda: CUBE.slice(direction=(0, 0, 0)), ValueError, "direction must not be the zero vector"),
    (lambda: CUBE.slice(direction=(0, np.nan, 1)), ValueError, "direction must be finite"),
    (lambda: CUBE.slice(direction=(0, 1)), ValueError, "direction must be three numbers"),
    (lambda: CUBE.slice(layers=0), ValueError, "layers must lie between 1 and 100000, got 0"),
    (lambda: CUBE.slice(layers=10 ** 30), ValueError, "layers must lie between"),
    (lambda: CUBE.slice(layers=True), TypeError, "layers must be an integer, got bool"),
    (lambda: CUBE.slice(layer_height=0), ValueError, "layer_height must be greater than 0"),
    (lambda: CUBE.slice(layer_height=float("nan")), ValueError, "layer_height must be finite"),
    (lambda: CUBE.slice(layer_height="1"), TypeError, "layer_height must be a number, got str"),
    (lambda: CUBE.slice(layer_height=1e-9), ValueError, r"^layer_height 1e-09 gives 1e\+09 layers .* at most 100000"),
    (lambda: CUBE.slice(layers=3, layer_height=1), ValueError, "layers or layer_height, not both"),
    (lambda: orvane.Mesh(V, T[:0]).slice(), ValueError, "no triangles"),
    # segment, voxelize
    (lambda: CUBE.segment(200), ValueError, "angle must lie between 0 and 180"),
    (lambda: CUBE.voxelize(0), ValueError, "grid must lie between 1 and"),
    (lambda: CUBE.voxelize((4, 4)), ValueError, "grid must be three integers"),
    (lambda: CUBE.voxelize(2.5), TypeError, "grid must be an integer N or three integers"),
    (lambda: CUBE.voxelize((4096, 4096, 4096)), ValueError, "has more than 536870912 cells"),
    (lambda: CUBE.voxelize(4, progress=3), TypeError, "progress must be a callable"),
    # marching_cubes
    (lambda: orvane.marching_cubes(np.ones((4, 4))), ValueError, "values must be a 3-D array"),
    (lambda: orvane.marching_cubes(np.ones((4, 1, 4))), ValueError, "at least 2 samples along each axis"),
    (lambda: orvane.marching_cubes(np.ones((2, 2, 2)), spacing=0), ValueError, "spacing must be greater than 0"),
    (lambda: orvane.marching_cubes(np.ones((2, 2, 2)), spacing=(1, -1, 1)), ValueError, "every axis"),
    (lambda: orvane.marching_cubes(np.array([[[-1, 1], [1, 1]], [[1, 1], [1, 1]]]), spacing=1e308, origin=(1.7e308, 0, 0)),
     ValueError, "beyond the range of float64"),
])
def test_bad_arguments(call, error, words):
    with pytest.raises(error, match=words):
        call()


def test_bad_files(tmp_path):
    with pytest.raises(FileNotFoundError):
        orvane.Mesh.load(tmp_path / "missing.stl")
    (tmp_path / "model.xyz").write_text("1 2 3\n")
    with pytest.raises(ValueError, match="unknown model format"):
        orvane.Mesh.load(tmp_path / "model.xyz")
    (tmp_path / "truncated.stl").write_bytes(b"\0" * 80 + (1000).to_bytes(4, "little") + b"\0" * 120)
    with pytest.raises(ValueError, match="truncated"):
        orvane.Mesh.load(tmp_path / "truncated.stl")
    with pytest.raises(ValueError, match="unknown mesh type"):
        CUBE.save(tmp_path / "cube.off")
    with pytest.raises(ValueError, match="does not exist"):
        CUBE.save(tmp_path / "no" / "cube.stl")
    # A refused save leaves no file behind.
    assert sorted(p.name for p in tmp_path.iterdir()) == ["model.xyz", "truncated.stl"]
