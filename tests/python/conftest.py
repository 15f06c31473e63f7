"""What the orvane module's tests share: the built tool to compare with, the real meshes
(skipped when absent), and small closed models made here."""
import json
import os
import subprocess

import numpy as np
import pytest

TOOL = os.environ.get("ORVANE_TOOL")
MESHES = os.environ.get("ORVANE_MESHES", os.path.expanduser("~/.cache/orvane-meshes"))


def run_tool(*args):
    if not TOOL:
        pytest.skip("ORVANE_TOOL names no orvane tool to compare with")
    p = subprocess.run([TOOL, *map(str, args), "--quiet"], capture_output=True, text=True)
    assert p.returncode == 0, f"orvane {' '.join(map(str, args))}: {p.stderr}"
    return p.stdout


def tool_json(tmp_path, *args):
    out = tmp_path / "tool.json"
    run_tool(*args, "-o", out)
    return json.loads(out.read_text())


def obj_parts(path):
    """The tool's OBJ: an object per part, corners as 1-based indices into one vertex list
    written in full precision. Returns (vertices, triangles) per object, indices local."""
    vertices, parts = [], []
    for line in open(path):
        fields = line.split()
        if fields[:1] == ["v"]:
            vertices.append([float(x) for x in fields[1:4]])
        elif fields[:1] == ["o"]:
            parts.append([])
        elif fields[:1] == ["f"]:
            parts[-1].append([int(c.split("/")[0]) - 1 for c in fields[1:]])
    vertices = np.array(vertices).reshape(-1, 3)
    out = []
    for part in parts:
        t = np.array(part, dtype=np.int64).reshape(-1, 3)
        used = np.unique(t)
        out.append((vertices[used], np.searchsorted(used, t)))
    return out


def signed_volume(mesh):
    c = mesh.vertices[mesh.triangles]
    return np.einsum("ij,ij->i", c[:, 0], np.cross(c[:, 1], c[:, 2])).sum() / 6


def repeated_directed_edges(mesh):
    t = mesh.triangles.astype(np.int64)
    directed = np.concatenate([t[:, [0, 1]], t[:, [1, 2]], t[:, [2, 0]]])
    return len(directed) - len(np.unique(directed, axis=0))


def real_mesh(name):
    path = os.path.join(MESHES, name)
    if not os.path.exists(path):
        pytest.skip(f"{name} not in {MESHES} (scripts/fetch-meshes.sh fetches the meshes)")
    return path


def box(lo, hi, inward=False):
    """A closed box of 12 triangles, counter-clockwise seen from outside (or inside)."""
    (x0, y0, z0), (x1, y1, z1) = lo, hi
    v = np.array([[x, y, z] for x in (x0, x1) for y in (y0, y1) for z in (z0, z1)], dtype=float)
    quads = [(0, 1, 3, 2), (4, 6, 7, 5), (0, 4, 5, 1), (2, 3, 7, 6), (0, 2, 6, 4), (1, 5, 7, 3)]
    t = np.array([tri for a, b, c, d in quads for tri in ((a, b, c), (a, c, d))])
    return v, (t[:, ::-1] if inward else t)


def joined(*parts):
    """Several meshes' (vertices, triangles) as the arrays of one."""
    offsets = np.cumsum([0] + [len(v) for v, _ in parts])
    return np.vstack([v for v, _ in parts]), np.vstack([t + o for (_, t), o in zip(parts, offsets)])


def write_off(path, v, t):
    with open(path, "w") as f:
        f.write(f"OFF\n{len(v)} {len(t)} 0\n")
        f.writelines(f"{x!r} {y!r} {z!r}\n" for x, y, z in v)
        f.writelines(f"3 {a} {b} {c}\n" for a, b, c in t)
    return path


@pytest.fixture
def nested_model(tmp_path):
    """A block with a cavity holding an island, and a second block beside it, as an OFF file."""
    v, t = joined(box((0, 0, 0), (10, 10, 10)), box((2, 2, 1), (8, 8, 9), inward=True),
                  box((4, 4, 2), (6, 6, 8)), box((12, 0, 0), (14, 3, 7)))
    return write_off(tmp_path / "nested.off", v, t)
