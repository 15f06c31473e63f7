"""Mesh.segment and Mesh.boundaries give the tool's faces (in its order) and border contours,
and every triangle is mapped to the face that holds it."""
import numpy as np
import pytest

import orvane
from conftest import box, obj_parts, real_mesh, run_tool, tool_json


def assert_faces_partition(mesh, faces, face_of):
    assert face_of.dtype == np.int64 and face_of.shape == (len(mesh.triangles),)
    assert sorted(np.bincount(face_of, minlength=len(faces))) == sorted(len(f.triangles) for f in faces)
    for f, face in enumerate(faces):
        # The face's triangles are the source's triangles of that face, in the source's order.
        assert np.array_equal(face.vertices[face.triangles], mesh.vertices[mesh.triangles[face_of == f]])


@pytest.mark.parametrize("name, angle", [("fandisk.off", 30), ("mech-holes-shark.off", 20), ("joint.off", 5)])
def test_faces_equal_tool(tmp_path, name, angle):
    path = real_mesh(name)
    run_tool("segment", path, "--angle", angle, "-o", tmp_path / "faces.obj")
    mesh = orvane.Mesh.load(path)
    faces, face_of = mesh.segment(angle)
    expected = obj_parts(tmp_path / "faces.obj")
    assert len(faces) == len(expected)
    for face, (vertices, triangles) in zip(faces, expected):
        assert np.array_equal(face.vertices, vertices) and np.array_equal(face.triangles, triangles)
    assert_faces_partition(mesh, faces, face_of)


def test_cube_and_repeated_triangles():
    v, t = box((0, 0, 0), (1, 1, 1))
    cube = orvane.Mesh(v, t)
    faces, face_of = cube.segment(30)
    assert len(faces) == 6 and face_of.tolist() == [0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5]
    assert all(f.border_edges.shape == (4, 2) for f in faces)
    assert len(cube.segment(90)[0]) == 1   # no edge sharper than 90 degrees: one face
    # A triangle given twice: each copy is claimed by one face.
    twice = orvane.Mesh(v, np.vstack([t, t[:1]]))
    assert_faces_partition(twice, *twice.segment(30))


def test_boundaries_equal_tool(tmp_path):
    v, t = box((0, 0, 0), (1, 1, 1))
    open_box = orvane.Mesh(v, t[2:])
    [border] = open_box.boundaries()
    assert border.shape == (5, 3) and np.array_equal(border[0], border[-1])
    assert orvane.Mesh(v, t).boundaries() == []
    path = real_mesh("elephant-with-holes.off")
    doc = tool_json(tmp_path, "boundaries", path)
    got = orvane.Mesh.load(path).boundaries()
    assert len(got) == len(doc["contours"]) > 1
    for contour, expected in zip(got, doc["contours"]):
        assert np.array_equal(contour, np.array(expected["points"]))
