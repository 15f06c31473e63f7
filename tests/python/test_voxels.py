"""Mesh.voxelize: the kernel's marked cells as an occupancy array, and their outer surface
closed, outward and of exactly the cells' volume."""
import numpy as np
import pytest

import orvane
from conftest import box, run_tool


def signed_volume(mesh):
    c = mesh.vertices[mesh.triangles]
    return np.einsum("ij,ij->i", c[:, 0], np.cross(c[:, 1], c[:, 2])).sum() / 6


def repeated_directed_edges(mesh):
    t = mesh.triangles.astype(np.int64)
    directed = np.concatenate([t[:, [0, 1]], t[:, [1, 2]], t[:, [2, 0]]])
    return len(directed) - len(np.unique(directed, axis=0))


def test_unit_cube_marks_its_shell():
    v, t = box((0, 0, 0), (1, 1, 1))
    occupancy, surface = orvane.Mesh(v, t).voxelize(3)
    assert occupancy.shape == (3, 3, 3) and occupancy.dtype == np.bool_
    assert occupancy.sum() == 26 and not occupancy[1, 1, 1]
    # The cavity's surface is wound outward from the cells, into the hollow.
    assert surface.is_closed and repeated_directed_edges(surface) == 0
    assert signed_volume(surface) == pytest.approx(26 / 27)


@pytest.mark.parametrize("grid", [8, (16, 9, 5), (40, 40, 12)])
def test_surface_is_outward_and_holds_the_cells(tmp_path, grid):
    part = orvane.builtin_part()
    occupancy, surface = part.voxelize(grid)
    cell = np.prod((part.bounds[1] - part.bounds[0]) / occupancy.shape)
    assert surface.is_closed and repeated_directed_edges(surface) == 0
    assert signed_volume(surface) == pytest.approx(occupancy.sum() * cell)
    # The tool writes the same faces (as STL triangles).
    counts = [str(n) for n in np.broadcast_to(grid, 3)]
    run_tool("voxelize", "--grid", *counts, "-o", tmp_path / "v.stl")
    assert len(orvane.Mesh.load(tmp_path / "v.stl").triangles) == len(surface.triangles)


def test_occupancy_matches_cell_positions():
    # One small triangle near a known cell of a grid over a larger box.
    v = np.array([[0, 0, 0], [10, 10, 10], [6.2, 3.1, 1.1], [6.4, 3.1, 1.1], [6.2, 3.3, 1.4]])
    occupancy, _ = orvane.Mesh(v, [[2, 3, 4], [0, 0, 1]]).voxelize((10, 10, 10))
    assert occupancy[6, 3, 1]


def test_progress_messages_and_callback_errors():
    messages = []
    orvane.builtin_part().voxelize(4, progress=messages.append)
    assert messages == ["Marking Voxels...", "Marking Voxels done.", "Creating Quads...", "Creating Quads done."]

    def fail(message):
        raise KeyError(message)

    with pytest.raises(KeyError, match="Marking Voxels"):
        orvane.builtin_part().voxelize(4, progress=fail)


def test_flat_mesh_drops_collapsed_faces():
    v = np.array([[0, 0, 0], [4, 0, 0], [0, 4, 0]], float)
    occupancy, surface = orvane.Mesh(v, [[0, 1, 2]]).voxelize((4, 4, 3))
    assert occupancy[:, :, 1:].sum() == 0 and occupancy.sum() > 0
    t = surface.triangles
    assert not np.any((t[:, 0] == t[:, 1]) | (t[:, 1] == t[:, 2]) | (t[:, 0] == t[:, 2]))


def test_callback_cannot_start_kernel_work():
    part = orvane.builtin_part()
    with pytest.raises(RuntimeError, match="cannot be called from a progress callback"):
        part.voxelize(4, progress=lambda message: part.slice(layers=2))
    assert len(part.slice(layers=2)) == 2   # the lock was given back
