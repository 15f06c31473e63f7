"""orvane.marching_cubes: a welded surface at the spacing and origin given, wound as the tool
winds its isosurfaces: closed pieces outward (cavity walls inward), open pieces towards
growing values."""
import numpy as np
import pytest

import orvane
from conftest import obj_parts, repeated_directed_edges, run_tool, signed_volume


def ball_field(n, radius, spacing, origin):
    axes = [origin[a] + spacing[a] * np.arange(n) for a in range(3)]
    x, y, z = np.meshgrid(*axes, indexing="ij")
    return np.sqrt(x * x + y * y + z * z) - radius


def oriented_triangles(vertices, triangles):
    """Each triangle as its corners (rounded), rotated to start at the smallest: equal for two
    meshes exactly when they hold the same triangles wound the same way."""
    corners = np.round(vertices, 9)[triangles].tolist()
    return sorted(min(tuple(map(tuple, c[k:] + c[:k])) for k in range(3)) for c in corners)


@pytest.mark.parametrize("spacing, origin", [(0.1, (-2, -2, -2)), ((0.1, 0.125, 0.08), (-2.2, -2.5, -1.6))])
def test_sphere(spacing, origin):
    s = np.broadcast_to(np.asarray(spacing, float), 3)
    ball = orvane.marching_cubes(ball_field(41, 1.5, s, origin), spacing=spacing, origin=origin)
    assert ball.is_closed and repeated_directed_edges(ball) == 0
    radii = np.linalg.norm(ball.vertices, axis=1)
    assert np.all(np.abs(radii - 1.5) < 0.01)
    assert signed_volume(ball) == pytest.approx(4 / 3 * np.pi * 1.5 ** 3, rel=0.02)   # outward
    assert ball.contains([[0, 0, 0], [0, 0, 1.8]]).tolist() == [1, -1]


def test_closed_pieces_by_volume_open_ones_by_the_field():
    # A hollow ball: the outer sphere outward, the cavity's wall into the cavity.
    field = ball_field(33, 1.2, (0.1,) * 3, (-1.6,) * 3)
    shell = orvane.marching_cubes(np.abs(field + 0.35) - 0.3, 0.1, (-1.6, -1.6, -1.6))
    assert shell.is_closed and repeated_directed_edges(shell) == 0
    assert signed_volume(shell) == pytest.approx(4 / 3 * np.pi * (1.15 ** 3 - 0.55 ** 3), rel=0.03)
    # A closed surface does not turn with the field; an open one does.
    inverted = orvane.marching_cubes(-field, 0.1, (-1.6, -1.6, -1.6))
    assert signed_volume(inverted) == pytest.approx(4 / 3 * np.pi * 1.2 ** 3, rel=0.02)
    z = np.broadcast_to(np.linspace(-1, 1, 5), (5, 5, 5))
    for sign in (1, -1):
        plane = orvane.marching_cubes(sign * (z - 0.1))
        c = plane.vertices[plane.triangles]
        normals = np.cross(c[:, 1] - c[:, 0], c[:, 2] - c[:, 0])
        assert np.all(np.sign(normals[:, 2]) == sign) and len(plane.border_edges) > 0


def test_gyroid_equals_tool(tmp_path):
    # The tool's `isosurface --gyroid 8 --size 12 --grid 20` samples this field at these points.
    n, size, period = 20, 12.0, 8.0
    k, step = 2 * np.pi / period, size / n
    x, y, z = np.meshgrid(*[-size / 2 + step * np.arange(n + 1)] * 3, indexing="ij")
    values = np.sin(k * x) * np.cos(k * y) + np.sin(k * y) * np.cos(k * z) + np.sin(k * z) * np.cos(k * x)
    gyroid = orvane.marching_cubes(values, spacing=step, origin=(-size / 2,) * 3)
    assert len(gyroid.triangles) > 1000 and repeated_directed_edges(gyroid) == 0
    assert len(gyroid.nonmanifold_edges) == 0 and len(gyroid.border_edges) > 0   # cut by the block
    run_tool("isosurface", "--gyroid", period, "--size", size, "--grid", n, "-o", tmp_path / "gyroid.obj")
    [(vertices, triangles)] = obj_parts(tmp_path / "gyroid.obj")
    assert oriented_triangles(gyroid.vertices, gyroid.triangles) == oriented_triangles(vertices, triangles)


def test_zero_samples_and_no_crossing():
    # Samples of exactly 0 collapse triangles; none is kept.
    steps = np.round(ball_field(9, 2, (1, 1, 1), (-4, -4, -4)))
    t = orvane.marching_cubes(steps).triangles
    assert len(t) and not np.any((t[:, 0] == t[:, 1]) | (t[:, 1] == t[:, 2]) | (t[:, 0] == t[:, 2]))
    empty = orvane.marching_cubes(np.ones((3, 4, 5)))
    assert empty.vertices.shape == (0, 3) and empty.triangles.shape == (0, 3)
