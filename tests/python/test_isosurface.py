"""orvane.marching_cubes: a welded, closed, consistently outward surface where the samples
say, at the spacing and origin given."""
import numpy as np
import pytest

import orvane
from test_voxels import repeated_directed_edges, signed_volume


def ball_field(n, radius, spacing, origin):
    axes = [origin[a] + spacing[a] * np.arange(n) for a in range(3)]
    x, y, z = np.meshgrid(*axes, indexing="ij")
    return np.sqrt(x * x + y * y + z * z) - radius


@pytest.mark.parametrize("spacing, origin", [(0.1, (-2, -2, -2)), ((0.1, 0.125, 0.08), (-2.2, -2.5, -1.6))])
def test_sphere(spacing, origin):
    s = np.broadcast_to(np.asarray(spacing, float), 3)
    ball = orvane.marching_cubes(ball_field(41, 1.5, s, origin), spacing=spacing, origin=origin)
    assert ball.is_closed and repeated_directed_edges(ball) == 0
    radii = np.linalg.norm(ball.vertices, axis=1)
    assert np.all(np.abs(radii - 1.5) < 0.01)
    assert signed_volume(ball) == pytest.approx(4 / 3 * np.pi * 1.5 ** 3, rel=0.02)   # outward
    assert ball.contains([[0, 0, 0], [0, 0, 1.8]]).tolist() == [1, -1]


def test_negated_field_turns_the_surface_inward():
    field = ball_field(21, 0.7, (0.1,) * 3, (-1,) * 3)
    assert signed_volume(orvane.marching_cubes(-field, 0.1, (-1, -1, -1))) < 0


def test_gyroid_and_zero_samples():
    x, y, z = np.mgrid[0:2 * np.pi:33j, 0:2 * np.pi:33j, 0:2 * np.pi:33j]
    gyroid = orvane.marching_cubes(np.sin(x) * np.cos(y) + np.sin(y) * np.cos(z) + np.sin(z) * np.cos(x),
                                   spacing=2 * np.pi / 32)
    assert len(gyroid.triangles) > 1000 and repeated_directed_edges(gyroid) == 0
    assert len(gyroid.nonmanifold_edges) == 0 and len(gyroid.border_edges) > 0   # cut by the block
    # Samples of exactly 0 collapse triangles; none is kept.
    steps = np.round(ball_field(9, 2, (1, 1, 1), (-4, -4, -4)))
    t = orvane.marching_cubes(steps).triangles
    assert len(t) and not np.any((t[:, 0] == t[:, 1]) | (t[:, 1] == t[:, 2]) | (t[:, 0] == t[:, 2]))


def test_field_without_crossing_is_an_empty_mesh():
    empty = orvane.marching_cubes(np.ones((3, 4, 5)))
    assert empty.vertices.shape == (0, 3) and empty.triangles.shape == (0, 3)
