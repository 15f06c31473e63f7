"""Mesh.contains answers as the tool's `inside` does, from one BSP tree per mesh."""
import numpy as np

import orvane
from conftest import box, real_mesh, run_tool

ANSWER = {"inside": 1, "on": 0, "outside": -1}


def tool_answers(tmp_path, model, points):
    probes = tmp_path / "probes.txt"
    np.savetxt(probes, points, fmt="%.17g")
    model = [model] if model else []   # none: the tool's built-in part
    return [ANSWER[line.split()[-1]] for line in run_tool("inside", *model, "--points", probes).splitlines()]


def test_known_answers():
    v, t = box((0, 0, 0), (2, 2, 2))
    cube = orvane.Mesh(v, t)
    got = cube.contains([[1, 1, 1], [1, 1, 2], [3, 1, 1], [1, -1e-3, 1]])
    assert got.dtype == np.int8 and got.tolist() == [1, 0, -1, -1]
    assert cube.contains(np.empty((0, 3))).shape == (0,)
    assert orvane.Mesh(v, t[:0]).contains([[1, 1, 1]]).tolist() == [-1]


def test_equals_tool_on_random_points(tmp_path):
    rng = np.random.default_rng(7)
    part = orvane.builtin_part()
    lo, hi = part.bounds
    points = rng.uniform(lo - 5, hi + 5, size=(300, 3))
    # Points on the plate's faces and in its holes too.
    points[:40, 2] = rng.choice([0.0, 8.0, 25.0], size=40)
    got = part.contains(points)
    assert set(got.tolist()) == {-1, 0, 1}
    assert got.tolist() == tool_answers(tmp_path, None, points)


def test_real_mesh_equals_tool(tmp_path):
    path = real_mesh("bunny00.off")
    mesh = orvane.Mesh.load(path)
    lo, hi = mesh.bounds
    points = np.random.default_rng(3).uniform(lo, hi, size=(200, 3))
    got = mesh.contains(points)
    assert set(got.tolist()) == {-1, 1}
    assert got.tolist() == tool_answers(tmp_path, path, points)
    assert np.array_equal(mesh.contains(points), got)   # the kept tree answers alike
