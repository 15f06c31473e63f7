"""Mesh from arrays and files: welding exactly as the tool's reader welds, the arrays' shapes,
dtypes and ownership, and the figures `orvane info` reports."""
import json
import subprocess
import sys

import numpy as np
import pytest

import orvane
from conftest import box, obj_parts, real_mesh, run_tool


def test_arrays_are_read_only_views_with_fixed_dtypes():
    v, t = box((0, 0, 0), (1, 2, 3))
    mesh = orvane.Mesh(v.astype(np.float32), t.astype(np.int16))
    assert mesh.vertices.dtype == np.float64 and mesh.triangles.dtype == np.uint32
    assert np.array_equal(mesh.vertices, v) and np.array_equal(mesh.triangles, t)
    for a in (mesh.vertices, mesh.triangles):
        assert not a.flags.writeable and not a.flags.owndata
    assert not mesh.border_edges.flags.writeable
    # A view keeps its mesh alive.
    assert np.array_equal(orvane.Mesh(v, t).vertices, v)


def test_weld_equals_the_tools_reader(tmp_path):
    v, t = box((0, 0, 0), (1, 2, 3))
    # Every triangle with corners of its own, as a binary STL stores them.
    corners, soup = (v + [0.1, 0.2, 0.3])[t].reshape(-1, 3), np.arange(3 * len(t)).reshape(-1, 3)
    orvane.Mesh(corners, soup).save(tmp_path / "box.stl")
    loaded = orvane.Mesh.load(tmp_path / "box.stl")
    welded = orvane.Mesh(corners.astype(np.float32), soup, weld=True)
    assert np.array_equal(loaded.vertices, welded.vertices)
    assert np.array_equal(loaded.triangles, welded.triangles)
    assert welded.vertices.shape == (8, 3) and welded.is_closed
    assert not orvane.Mesh(corners, soup).is_closed


def test_weld_tolerance_and_unused_vertices():
    v = np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [1e-10, 0, 0], [1, 1e-8, 0], [5, 5, 5]])
    mesh = orvane.Mesh(v, [[0, 1, 2], [3, 4, 2]], weld=True)
    # 1e-10 apart merges, 1e-8 apart does not; the unused vertex goes.
    assert mesh.triangles.tolist() == [[0, 1, 2], [0, 3, 2]]
    assert len(mesh.vertices) == 4
    assert len(orvane.Mesh(v, [[0, 1, 2]]).vertices) == 6


@pytest.mark.parametrize("name", ["elephant-with-holes.off", "mesh_with_border.off", "pinion.off"])
def test_figures_equal_tool_info(name):
    path = real_mesh(name)
    facts = json.loads(run_tool("info", "--json", path))
    mesh = orvane.Mesh.load(path)
    assert (len(mesh.triangles), len(mesh.vertices)) == (facts["triangles"], facts["vertices"])
    assert len(mesh.border_edges) == facts["border_edges"]
    assert len(mesh.nonmanifold_edges) == facts["non_manifold_edges"]
    assert mesh.is_closed == facts["closed"]
    assert mesh.bounds.tolist() == facts["box"]


def test_edges_of_an_open_and_a_non_manifold_mesh():
    v, t = box((0, 0, 0), (1, 1, 1))
    open_box = orvane.Mesh(v, t[2:])
    assert open_box.border_edges.tolist() == [[0, 1], [0, 2], [1, 3], [2, 3]]
    fin = orvane.Mesh(np.vstack([v, [[2, 0, 0]]]), np.vstack([t, [[0, 1, 8]]]))
    assert fin.nonmanifold_edges.tolist() == [[0, 1]] and not fin.is_closed


def test_saved_files_keep_the_winding(tmp_path):
    # Every other triangle reversed: each is written as given, an OBJ with the coordinates in
    # full, STL and PLY in single precision (renumbered on reading).
    part = orvane.builtin_part()
    t = np.array(part.triangles)
    t[::2] = t[::2, ::-1]
    mesh = orvane.Mesh(part.vertices, t)
    mesh.save(tmp_path / "m.obj")
    [(vertices, triangles)] = obj_parts(tmp_path / "m.obj")
    assert np.array_equal(vertices, mesh.vertices) and np.array_equal(triangles, t)
    for name in ("m.stl", "m.ply"):
        mesh.save(tmp_path / name)
        again = orvane.Mesh.load(tmp_path / name)
        assert np.allclose(again.vertices[again.triangles], mesh.vertices[t], atol=1e-5)
    # A binary STL facet carries the normal of its own corner order.
    records = np.frombuffer((tmp_path / "m.stl").read_bytes(), offset=84,
                            dtype=[("normal", "<f4", 3), ("corners", "<f4", (3, 3)), ("attribute", "<u2")])
    c = records["corners"].astype(float)
    normals = np.cross(c[:, 1] - c[:, 0], c[:, 2] - c[:, 0])
    assert np.allclose(records["normal"], normals / np.linalg.norm(normals, axis=1)[:, None], atol=1e-6)


SAVE_THEN_INTERRUPT = """
import os, signal, sys, time, orvane
orvane.builtin_part().save(sys.argv[1])
try:
    os.kill(os.getpid(), signal.SIGINT)
    time.sleep(5)
except KeyboardInterrupt:
    print("interrupted")
"""


def test_ctrl_c_after_save_stays_a_keyboard_interrupt(tmp_path):
    run = subprocess.run([sys.executable, "-c", SAVE_THEN_INTERRUPT, str(tmp_path / "part.stl")],
                         capture_output=True, text=True, timeout=60)
    assert run.returncode == 0 and run.stdout == "interrupted\n", run.stderr
