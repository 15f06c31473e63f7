"""Mesh.slice gives the tool's layers: the same heights, contours (point for point) and kinds,
with holes nested in the outer contour that encloses them."""
import numpy as np
import pytest

import orvane
from conftest import real_mesh, tool_json


def contours_of(layer):
    out = [("outer", p.outer) for p in layer.polygons]
    out += [("hole", h) for p in layer.polygons for h in p.holes]
    out += [("open", c) for c in layer.open_contours]
    return out


def assert_same_as_tool(layers, doc):
    assert len(layers) == doc["layers"]
    expected = {}
    for c in doc["contours"]:
        expected.setdefault(c["layer"], []).append(c)
    total = 0
    for layer in layers:
        want = expected.get(layer.index, [])
        assert all(c["height"] == layer.height for c in want)
        got = contours_of(layer)
        key = lambda kind_points: (kind_points[0], kind_points[1].tobytes())
        assert sorted(map(key, got)) == sorted(key((c["kind"], np.array(c["points"], dtype=float))) for c in want)
        for kind, points in got:
            assert points.shape[1] == 3 and points.dtype == np.float64
            assert kind == "open" or np.abs(points[0] - points[-1]).max() < 1e-6
        total += len(got)
    assert total == len(doc["contours"])


def enclosed(point, ring):
    """Even-odd test in the xy plane."""
    x, y = point[:2]
    inside = False
    for (ax, ay), (bx, by) in zip(ring[:, :2], np.roll(ring[:, :2], 1, axis=0)):
        if (ay > y) != (by > y) and x < (bx - ax) * (y - ay) / (by - ay) + ax:
            inside = not inside
    return inside


@pytest.mark.parametrize("args, kwargs", [
    (["-n", "7"], dict(layers=7)),
    (["--layer-height", "0.75"], dict(layer_height=0.75)),
    (["-n", "5", "-d", "1,0.5,-2"], dict(layers=5, direction=(1, 0.5, -2))),
])
def test_generated_model_equals_tool(tmp_path, nested_model, args, kwargs):
    mesh = orvane.Mesh.load(nested_model)
    assert_same_as_tool(mesh.slice(**kwargs), tool_json(tmp_path, "slice", nested_model, *args))


def test_nesting_and_heights(nested_model):
    layers = orvane.Mesh.load(nested_model).slice(layer_height=1)
    # Exact layer heights from the bottom, half a layer up.
    assert [l.height for l in layers] == [k + 0.5 for k in range(10)]
    middle = layers[5]
    shapes = sorted((len(p.holes), p.outer[:, 0].min()) for p in middle.polygons)
    # The block with its cavity, the island inside the cavity, the block beside.
    assert shapes == [(0, 4.0), (0, 12.0), (1, 0.0)]
    for p in middle.polygons:
        for hole in p.holes:
            assert enclosed(hole[0], p.outer)
    assert [len(l.polygons) for l in layers] == [2, 2, 3, 3, 3, 3, 3, 2, 1, 1]


def test_defaults_and_builtin_part(tmp_path):
    layers = orvane.builtin_part().slice()
    assert_same_as_tool(layers, tool_json(tmp_path, "slice"))
    assert len(layers) == 20 and [len(p.holes) for p in layers[0].polygons] == [5]


def test_open_mesh_gives_open_contours():
    v = np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], float)
    layers = orvane.Mesh(v, [[0, 1, 3], [1, 2, 3]]).slice(layers=3)
    assert all(not l.polygons and len(l.open_contours) == 1 for l in layers)


@pytest.mark.parametrize("name, args, kwargs", [
    ("bunny00.off", ["-n", "200"], dict(layers=200)),
    ("fandisk.off", ["-n", "40", "-d", "1,1,1"], dict(layers=40, direction=(1, 1, 1))),
    ("mech-holes-shark.off", ["--layer-height", "0.5"], dict(layer_height=0.5)),
    ("elephant-with-holes.off", ["-n", "30", "-d", "0,1,0"], dict(layers=30, direction=(0, 1, 0))),
])
def test_real_meshes_equal_tool(tmp_path, name, args, kwargs):
    path = real_mesh(name)
    assert_same_as_tool(orvane.Mesh.load(path).slice(**kwargs), tool_json(tmp_path, "slice", path, *args))
