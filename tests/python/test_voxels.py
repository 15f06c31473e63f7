"""Mesh.voxelize: the kernel's marked cells as an occupancy array, and the surface the tool
writes for them: closed, outward, 2-manifold, of the cells' volume plus the cells it adds."""
import numpy as np
import pytest

import orvane
from conftest import box, joined, obj_parts, repeated_directed_edges, run_tool, signed_volume, write_off


def voxelize_like_tool(tmp_path, mesh, grid, model=(), cell=None):
    """mesh.voxelize(grid) with its surface checked: closed, consistently wound, outward (a
    whole number of cells, at least the marked ones) and the very surface `orvane voxelize`
    (not --raw) writes for `model`. Returns occupancy, surface and the count of cells added."""
    occupancy, surface = mesh.voxelize(grid)
    assert surface.is_closed and repeated_directed_edges(surface) == 0
    cells = signed_volume(surface) / (cell or np.prod(np.ptp(mesh.bounds, axis=0) / occupancy.shape))
    assert cells == pytest.approx(round(cells)) and round(cells) >= occupancy.sum()
    run_tool("voxelize", *model, "--grid", *occupancy.shape, "-o", tmp_path / "v.obj")
    [(vertices, triangles)] = obj_parts(tmp_path / "v.obj")
    assert np.array_equal(triangles, surface.triangles) and np.array_equal(vertices, surface.vertices)
    return occupancy, surface, round(cells) - occupancy.sum()


def test_unit_cube_marks_its_shell(tmp_path):
    # The cavity's surface is wound outward from the cells, into the hollow: 26 cells' volume.
    path = write_off(tmp_path / "cube.off", *box((0, 0, 0), (1, 1, 1)))
    occupancy, _, added = voxelize_like_tool(tmp_path, orvane.Mesh.load(path), 3, [path])
    assert occupancy.dtype == np.bool_ and occupancy.sum() == 26 and not occupancy[1, 1, 1] and added == 0


@pytest.mark.parametrize("grid", [8, (16, 9, 5), (40, 40, 12)])
def test_builtin_part_equals_tool(tmp_path, grid):
    voxelize_like_tool(tmp_path, orvane.builtin_part(), grid)


def test_cells_meeting_along_an_edge_are_joined(tmp_path):
    # Two blocks in diagonal cells of a 2 x 2 x 1 grid touch along its middle line; the
    # surface adds one cell there, as the tool does, and occupancy keeps the kernel's two.
    v, t = joined(box((0.1, 0.1, 0.1), (0.4, 0.4, 0.9)), box((1.6, 1.6, 0.1), (1.9, 1.9, 0.9)))
    path = write_off(tmp_path / "diagonal.off", v, t)
    occupancy, _, added = voxelize_like_tool(tmp_path, orvane.Mesh.load(path), (2, 2, 1), [path])
    assert occupancy[:, :, 0].tolist() == [[True, False], [False, True]] and added == 1


def test_progress_messages_and_callback_errors():
    messages = []
    orvane.builtin_part().voxelize(4, progress=messages.append)
    assert messages == ["Marking Voxels...", "Marking Voxels done.", "Creating Quads...", "Creating Quads done."]

    def fail(message):
        raise KeyError(message)

    part = orvane.builtin_part()
    with pytest.raises(KeyError, match="Marking Voxels"):
        part.voxelize(4, progress=fail)
    with pytest.raises(RuntimeError, match="cannot be called from a progress callback"):
        part.voxelize(4, progress=lambda message: part.slice(layers=2))
    assert len(part.slice(layers=2)) == 2   # the lock was given back


def test_flat_mesh_becomes_a_slab(tmp_path):
    # Flat along z: the grid's box is widened there to cells as tall as the others are wide
    # (1 x 1 x 1), centred on the plate, so the plate's cells form the middle layer of three.
    path = write_off(tmp_path / "flat.off", np.array([[0, 0, 0], [4, 0, 0], [0, 4, 0]], float), [[0, 1, 2]])
    occupancy, surface, _ = voxelize_like_tool(tmp_path, orvane.Mesh.load(path), (4, 4, 3), [path], cell=1)
    assert occupancy[:, :, [0, 2]].sum() == 0 and occupancy[:, :, 1].sum() > 0
    assert surface.bounds[:, 2].tolist() == [-0.5, 0.5]
