"""Mesh.contains answers as the tool's `inside` does, from one BSP tree per mesh."""
import numpy as np
import pytest

import orvane
from conftest import box, real_mesh, run_tool

ANSWER = {"inside": 1, "on": 0, "outside": -1}


def tool_answers(tmp_path, model, points):
    probes = tmp_path / "probes.txt"
    np.savetxt(probes, points, fmt="%.17g")
    model = [model] if model else []   # none: the tool's built-in part
    return [ANSWER[line.split()[-1]] for line in run_tool("inside", *model, "--points", probes).splitlines()]


def test_cube_and_empty_input():
    v, t = box((0, 0, 0), (2, 2, 2))
    got = orvane.Mesh(v, t).contains([[1, 1, 1], [1, 1, 2], [3, 1, 1], [1, -1e-3, 1]])
    assert got.dtype == np.int8 and got.tolist() == [1, 0, -1, -1]
    assert orvane.Mesh(v, t).contains(np.empty((0, 3))).shape == (0,)
    assert orvane.Mesh(v, t[:0]).contains([[1, 1, 1]]).tolist() == [-1]


@pytest.mark.parametrize("name, answers", [(None, {-1, 0, 1}), ("bunny00.off", {-1, 1})])
def test_equals_tool_on_random_points(tmp_path, name, answers):
    path = name and real_mesh(name)
    mesh = orvane.Mesh.load(path) if path else orvane.builtin_part()
    rng = np.random.default_rng(7)
    pad = 0 if path else 5
    points = rng.uniform(mesh.bounds[0] - pad, mesh.bounds[1] + pad, size=(300, 3))
    if not path:   # points on the plate's faces and in its holes too
        points[:40, 2] = rng.choice([0.0, 8.0, 25.0], size=40)
    got = mesh.contains(points)
    assert set(got.tolist()) == answers
    assert got.tolist() == tool_answers(tmp_path, path, points)
    assert np.array_equal(mesh.contains(points), got)   # the kept tree answers alike
