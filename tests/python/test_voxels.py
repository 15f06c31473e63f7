"""Mesh.voxelize: the kernel's marked cells as an occupancy array, and the surface the tool
writes for them: closed, outward, 2-manifold, of the cells' volume plus the cells it adds."""
import numpy as np
import pytest

import orvane
from conftest import box, obj_parts, repeated_directed_edges, run_tool, signed_volume, write_off


def cell_volume(occupancy, lower, upper):
    return np.prod((np.asarray(upper, float) - lower) / occupancy.shape)


def assert_tool_writes(tmp_path, surface, counts, *model):
    """`orvane voxelize` (not --raw) writes this very surface."""
    run_tool("voxelize", *model, "--grid", *counts, "-o", tmp_path / "v.obj")
    [(vertices, triangles)] = obj_parts(tmp_path / "v.obj")
    assert np.array_equal(triangles, surface.triangles)
    assert np.array_equal(vertices, surface.vertices)


def test_unit_cube_marks_its_shell():
    v, t = box((0, 0, 0), (1, 1, 1))
    occupancy, surface = orvane.Mesh(v, t).voxelize(3)
    assert occupancy.shape == (3, 3, 3) and occupancy.dtype == np.bool_
    assert occupancy.sum() == 26 and not occupancy[1, 1, 1]
    # The cavity's surface is wound outward from the cells, into the hollow.
    assert surface.is_closed and repeated_directed_edges(surface) == 0
    assert signed_volume(surface) == pytest.approx(26 / 27)


@pytest.mark.parametrize("grid", [8, (16, 9, 5), (40, 40, 12)])
def test_builtin_part_equals_tool(tmp_path, grid):
    part = orvane.builtin_part()
    occupancy, surface = part.voxelize(grid)
    assert surface.is_closed and repeated_directed_edges(surface) == 0
    cells = signed_volume(surface) / cell_volume(occupancy, *part.bounds)
    assert cells == pytest.approx(round(cells)) and round(cells) >= occupancy.sum()
    assert_tool_writes(tmp_path, surface, [str(n) for n in np.broadcast_to(grid, 3)])


def test_cells_meeting_along_an_edge_are_joined(tmp_path):
    # Two blocks in diagonal cells of a 2 x 2 x 1 grid touch along its middle line; the
    # surface adds one cell there, as the tool does, and occupancy keeps the kernel's two.
    v, t = box((0.1, 0.1, 0.1), (0.4, 0.4, 0.9))
    v2, t2 = box((1.6, 1.6, 0.1), (1.9, 1.9, 0.9))
    path = write_off(tmp_path / "diagonal.off", np.vstack([v, v2]), np.vstack([t, t2 + len(v)]))
    mesh = orvane.Mesh.load(path)
    occupancy, surface = mesh.voxelize((2, 2, 1))
    assert occupancy[:, :, 0].tolist() == [[True, False], [False, True]]
    assert surface.is_closed and repeated_directed_edges(surface) == 0
    filled = signed_volume(surface) / cell_volume(occupancy, *mesh.bounds) - occupancy.sum()
    assert filled == pytest.approx(1)
    assert_tool_writes(tmp_path, surface, ["2", "2", "1"], path)


def test_progress_messages_and_callback_errors():
    messages = []
    orvane.builtin_part().voxelize(4, progress=messages.append)
    assert messages == ["Marking Voxels...", "Marking Voxels done.", "Creating Quads...", "Creating Quads done."]

    def fail(message):
        raise KeyError(message)

    with pytest.raises(KeyError, match="Marking Voxels"):
        orvane.builtin_part().voxelize(4, progress=fail)


def test_flat_mesh_becomes_a_slab(tmp_path):
    # Flat along z: the grid's box is widened there to cells as tall as the others are wide,
    # centred on the plate, so the plate's cells form the middle layer of three.
    v = np.array([[0, 0, 0], [4, 0, 0], [0, 4, 0]], float)
    flat = orvane.Mesh(v, [[0, 1, 2]])
    occupancy, surface = flat.voxelize((4, 4, 3))
    assert occupancy[:, :, [0, 2]].sum() == 0 and occupancy[:, :, 1].sum() > 0
    assert surface.is_closed and surface.bounds[:, 2].tolist() == [-0.5, 0.5]
    cells = signed_volume(surface)   # cells of 1 x 1 x 1
    assert cells == pytest.approx(round(cells)) and round(cells) >= occupancy.sum()
    path = write_off(tmp_path / "flat.off", v, [[0, 1, 2]])
    assert_tool_writes(tmp_path, surface, ["4", "4", "3"], path)


def test_callback_cannot_start_kernel_work():
    part = orvane.builtin_part()
    with pytest.raises(RuntimeError, match="cannot be called from a progress callback"):
        part.voxelize(4, progress=lambda message: part.slice(layers=2))
    assert len(part.slice(layers=2)) == 2   # the lock was given back
