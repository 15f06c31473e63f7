"""Mesh.slice gives the tool's layers: the same extents, polygons (outer contour and holes, point
for point) and open contours, oriented about the direction, and the tool's warnings."""
import warnings

import numpy as np
import pytest

import orvane
from conftest import box, real_mesh, tool_json


def area_about(ring, direction):
    """Signed area of a closed ring (first point not repeated) about a unit direction."""
    return 0.5 * np.dot(np.cross(ring, np.roll(ring, -1, axis=0)).sum(axis=0), direction)


def assert_same_as_tool(layers, doc, mesh):
    # The JSON is rounded to 11 digits below the model's size.
    atol = 1e-9 * np.ptp(mesh.vertices, axis=0).max()
    close = lambda got, want: got.shape == np.shape(want) and np.allclose(got, want, rtol=0, atol=atol)
    assert len(layers) == doc["layer_count"] == len(doc["layers"])
    direction = np.array(doc["direction"])
    for layer, want in zip(layers, doc["layers"]):
        assert layer.index == want["layer"]
        for key in ("height", "bottom", "top"):
            assert getattr(layer, key) == pytest.approx(want[key], rel=0, abs=atol)
        assert len(layer.polygons) == len(want["polygons"])
        for polygon, expected in zip(layer.polygons, want["polygons"]):
            assert polygon.outer.dtype == np.float64 and close(polygon.outer, expected["outer"])
            assert len(polygon.holes) == len(expected["holes"])
            assert all(close(h, e) for h, e in zip(polygon.holes, expected["holes"]))
            # Counter-clockwise outer contours and clockwise holes, each corner listed once.
            assert area_about(polygon.outer, direction) > 0
            assert all(area_about(h, direction) < 0 for h in polygon.holes)
            for ring in [polygon.outer, *polygon.holes]:
                assert np.abs(ring[0] - ring[-1]).max() > atol
                assert np.allclose(ring @ direction, layer.height)
        assert len(layer.open_contours) == len(want["open"])
        assert all(close(c, e) for c, e in zip(layer.open_contours, want["open"]))


@pytest.mark.parametrize("name, args, kwargs", [
    ("nested", ["-n", "7"], dict(layers=7)),
    ("nested", ["--layer-height", "0.75"], dict(layer_height=0.75)),   # a thin last layer
    ("nested", ["-n", "5", "-d", "1,0.5,-2"], dict(layers=5, direction=(1, 0.5, -2))),
    (None, [], {}),   # the built-in part, the defaults
    ("bunny00.off", ["-n", "200"], dict(layers=200)),
    ("fandisk.off", ["-n", "40", "-d", "1,1,1"], dict(layers=40, direction=(1, 1, 1))),
    ("mech-holes-shark.off", ["--layer-height", "0.5"], dict(layer_height=0.5)),
    ("elephant-with-holes.off", ["-n", "30", "-d", "0,1,0"], dict(layers=30, direction=(0, 1, 0))),
])
def test_equals_tool(tmp_path, nested_model, name, args, kwargs):
    path = nested_model if name == "nested" else name and real_mesh(name)
    mesh = orvane.Mesh.load(path) if path else orvane.builtin_part()
    model = [path] if path else []
    assert_same_as_tool(mesh.slice(**kwargs), tool_json(tmp_path, "slice", *model, *args), mesh)


def test_exact_extents_and_thin_last_layer(nested_model):
    mesh = orvane.Mesh.load(nested_model)
    layers = mesh.slice(layer_height=1)
    # Exact layer heights from the bottom, half a layer up.
    assert [(l.bottom, l.height, l.top) for l in layers] == [(k, k + 0.5, k + 1) for k in range(10)]
    # 10 / 0.3: 33 layers of 0.3 and a last one of 0.1, cut in its middle.
    thin = mesh.slice(layer_height=0.3)
    assert len(thin) == 34 and (thin[-1].bottom, thin[-1].height, thin[-1].top) == (9.9, 9.95, 10.0)
    assert thin[1].height == 0.45   # rounded to the decimal it stands for
    assert len(thin[-1].polygons) == 1 and np.all(thin[-1].polygons[0].outer[:, 2] == 9.95)


def test_planes_that_cannot_clear_the_vertices_warn():
    # A last layer 5e-9 thick: its plane, which stays inside it, cannot keep off the top face.
    v, t = box((0, 0, 0), (1, 1, 1 + 5e-9))
    with pytest.warns(RuntimeWarning, match="no position of the planes keeps every layer off"):
        layers = orvane.Mesh(v, t).slice(layer_height=0.5)
    assert [(l.bottom, l.top) for l in layers] == [(0, 0.5), (0.5, 1), (1, 1 + 5e-9)]
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        with pytest.raises(RuntimeWarning):
            orvane.Mesh(v, t).slice(layer_height=0.5)
