#!/usr/bin/env python3
"""End-to-end checks of the orvane tool, one group per CTest test:
run_cli_tests.py --tool ORVANE --helper HELPER --work DIR CASE"""
import argparse
import json
import math
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

SVG = "{http://www.w3.org/2000/svg}"
FORMATS = ["boxes-ascii.stl", "boxes-binary.stl", "boxes.obj", "boxes.ply", "boxes.off", "boxes.3mf"]
failures = []


def check(condition, what):
    if not condition:
        failures.append(what)
        print("FAIL:", what)


def run(*args, code=0):
    p = subprocess.run([TOOL, *args], capture_output=True, text=True, cwd=WORK)
    check(p.returncode == code,
          f"orvane {' '.join(args)}: exit {p.returncode}, expected {code}; stderr: {p.stderr.strip()}")
    return p


def out(name):
    return os.path.join(WORK, "out", name)


def layer_groups(svg_path):
    root = ET.parse(svg_path).getroot()   # raises on malformed XML
    return [g for g in root.iter(SVG + "g") if g.get("class") == "layer"]


def info(model):
    return json.loads(run("info", "--json", model).stdout)


def slice_json(model, *args):
    path = out("slice.json")
    p = run("slice", model, *args, "-o", path)
    with open(path) as f:
        return json.load(f), p


# --- meshes as written by the tool ------------------------------------------------------------

def weld(points, triangles):
    """The same mesh with corners at exactly the same position made one vertex, as a mesh
    checker sees a file."""
    index, welded, renumber = {}, [], []
    for p in points:
        renumber.append(index.setdefault(p, len(welded)))
        if renumber[-1] == len(welded):
            welded.append(p)
    return welded, [tuple(renumber[v] for v in t) for t in triangles]


def read_mesh(path):
    """Points and triangles of a binary STL, OBJ or binary PLY, corners welded by position."""
    with open(path, "rb") as f:
        data = f.read()
    if path.endswith(".stl"):
        count = struct.unpack("<I", data[80:84])[0]
        rows = [struct.unpack("<12f", data[84 + 50 * t:84 + 50 * t + 48]) for t in range(count)]
        points = [r[3 + 3 * c:6 + 3 * c] for r in rows for c in range(3)]
        return (*weld(points, [(3 * t, 3 * t + 1, 3 * t + 2) for t in range(count)]), [r[0:3] for r in rows])
    if path.endswith(".obj"):
        points, triangles = [], []
        for line in data.decode().splitlines():
            w = line.split()
            if w and w[0] == "v":
                points.append(tuple(float(x) for x in w[1:4]))
            elif w and w[0] == "f":
                triangles.append(tuple(int(x.split("/")[0]) - 1 for x in w[1:4]))
        return (*weld(points, triangles), None)
    header, body = data.split(b"end_header\n", 1)
    lines = header.decode().splitlines()
    nv = int(next(l for l in lines if l.startswith("element vertex")).split()[2])
    nf = int(next(l for l in lines if l.startswith("element face")).split()[2])
    stride = 12 + (4 if "property uchar red" in lines else 0)
    points = [struct.unpack("<3f", body[i * stride:i * stride + 12]) for i in range(nv)]
    at, triangles = nv * stride, []
    for _ in range(nf):
        n = body[at]
        triangles.append(struct.unpack(f"<{n}i", body[at + 1:at + 1 + 4 * n]))
        at += 1 + 4 * n
    return (*weld(points, triangles), None)


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def sub(a, b):
    return (a[0] - b[0], a[1] - b[1], a[2] - b[2])


def dot(a, b):
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def surface_facts(points, triangles):
    """Signed volume, and whether every edge is run exactly once each way (closed, 2-manifold,
    consistently wound)."""
    volume, directed = 0.0, {}
    for a, b, c in triangles:
        volume += dot(points[a], cross(points[b], points[c])) / 6
        for e in ((a, b), (b, c), (c, a)):
            directed[e] = directed.get(e, 0) + 1
    paired = all(n == 1 and directed.get((e[1], e[0])) == 1 for e, n in directed.items())
    return volume, paired


def check_printable(path, what, closed=True):
    points, triangles, normals = read_mesh(path)
    volume, paired = surface_facts(points, triangles)
    if closed:
        check(paired, f"{what}: every edge used twice, once each way")
        check(volume > 0, f"{what}: outward (signed volume {volume})")
    if normals is not None:
        bad = 0
        for (a, b, c), n in zip(triangles, normals):
            m = cross(sub(points[b], points[a]), sub(points[c], points[a]))
            length = math.sqrt(dot(m, m))
            bad += length > 0 and dot(m, n) / length < 0.999
        check(bad == 0, f"{what}: {bad} facet normals disagree with their triangle's winding")
    return points, triangles, volume


# --- generated CAD-style models ---------------------------------------------------------------

def write_grid_solid(path, xs, ys, zs, filled):
    """A binary STL of the union of the grid cells [xs[i], xs[i+1]] x ... for which
    filled(i, j, k) holds: a closed surface (cells touching only along an edge aside), outward,
    split at every grid line so that neighbouring faces share whole edges."""
    n = (len(xs) - 1, len(ys) - 1, len(zs) - 1)
    grid = (xs, ys, zs)

    def full(c):
        return all(0 <= c[a] < n[a] for a in range(3)) and filled(*c)

    triangles = []
    for i in range(n[0]):
        for j in range(n[1]):
            for k in range(n[2]):
                if not filled(i, j, k):
                    continue
                for axis in range(3):
                    for side in (0, 1):
                        nb = [i, j, k]
                        nb[axis] += 1 if side else -1
                        if full(nb):
                            continue
                        a, b = (axis + 1) % 3, (axis + 2) % 3
                        cell = (i, j, k)

                        def corner(da, db):
                            p = [0.0, 0.0, 0.0]
                            p[axis] = grid[axis][cell[axis] + side]
                            p[a] = grid[a][cell[a] + da]
                            p[b] = grid[b][cell[b] + db]
                            return p
                        quad = [corner(0, 0), corner(1, 0), corner(1, 1), corner(0, 1)]
                        if not side:
                            quad.reverse()
                        triangles += [(quad[0], quad[1], quad[2]), (quad[0], quad[2], quad[3])]
    with open(path, "wb") as f:
        f.write(b"\0" * 80 + struct.pack("<I", len(triangles)))
        for t in triangles:
            f.write(struct.pack("<3f", 0, 0, 0))
            for p in t:
                f.write(struct.pack("<3f", *p))
            f.write(b"\0\0")


def cells_where(xs, ys, zs, inside):
    """filled(i, j, k) for write_grid_solid from a test on the cell's centre."""
    return lambda i, j, k: inside((xs[i] + xs[i + 1]) / 2, (ys[j] + ys[j + 1]) / 2, (zs[k] + zs[k + 1]) / 2)


def write_sign(path):
    """A 60 x 30 plate, 2 thick, with a rim up to 4 around a recess (x 5..55, y 5..25) in which
    raised letters I, O (with its counter) and L stand up to 5, apart from the rim."""
    xs = [0, 5, 10, 13, 20, 23, 29, 32, 38, 41, 48, 55, 60]
    ys = [0, 5, 9, 12, 18, 21, 25, 30]
    zs = [0, 2, 4, 5]

    def letter(x, y):
        i = 10 < x < 13 and 9 < y < 21
        o = 20 < x < 32 and 9 < y < 21 and not (23 < x < 29 and 12 < y < 18)
        l = (38 < x < 41 and 9 < y < 21) or (41 < x < 48 and 9 < y < 12)
        return i or o or l

    def inside(x, y, z):
        rim = not (5 < x < 55 and 5 < y < 25)
        return z < 2 or (z < 4 and rim) or letter(x, y)
    write_grid_solid(path, xs, ys, zs, cells_where(xs, ys, zs, inside))


def write_ring_with_holder(path):
    """A square ring (30 wide, walls of 5, 10 high) with a block (10 x 10, 6 high) standing
    free in its opening."""
    xs = ys = [0, 5, 10, 20, 25, 30]
    zs = [0, 6, 10]

    def inside(x, y, z):
        ring = not (5 < x < 25 and 5 < y < 25)
        holder = 10 < x < 20 and 10 < y < 20 and z < 6
        return ring or holder
    write_grid_solid(path, xs, ys, zs, cells_where(xs, ys, zs, inside))


def newell(ring):
    """The area vector of a closed ring of 3-D points (first point not repeated)."""
    n = [0.0, 0.0, 0.0]
    for p, q in zip(ring, ring[1:] + ring[:1]):
        c = cross(p, q)
        n = [n[i] + c[i] / 2 for i in range(3)]
    return n


def check_orientation(doc, what):
    d = doc["direction"]
    for layer in doc["layers"]:
        for poly in layer["polygons"]:
            check(dot(newell(poly["outer"]), d) > 0, f"{what}: layer {layer['layer']}: outer contour counter-clockwise")
            for hole in poly["holes"]:
                check(dot(newell(hole), d) < 0, f"{what}: layer {layer['layer']}: hole clockwise")
            for ring in [poly["outer"]] + poly["holes"]:
                check(ring[0] != ring[-1], f"{what}: rings do not repeat their first point")


def structure(layer):
    """A layer's polygons as a sorted list of hole counts."""
    return sorted(len(p["holes"]) for p in layer["polygons"])


# --- cases ------------------------------------------------------------------------------------

def case_formats():
    # Every format reads as the same welded, closed mesh: two boxes, two polygons a layer.
    for name in FORMATS:
        facts = info(name)
        check((facts["triangles"], facts["vertices"], facts["closed"], facts["parts"]) == (24, 16, True, 2),
              f"{name}: info {facts}")
        check(abs(facts["volume"] - 16) < 1e-9 and abs(facts["area"] - 48) < 1e-9, f"{name}: volume and area {facts}")
        svg, js = out(name + ".svg"), out(name + ".json")
        p = run("slice", name, "--layers", "3", "-o", svg, "-o", js)
        check(" 3 layers of 0.6667, 6 contours, 0 open;" in p.stdout, f"{name}: summary '{p.stdout.strip()}'")
        check(len(layer_groups(svg)) == 3, f"{name}: SVG layer groups")
        with open(js) as f:
            doc = json.load(f)
        check([structure(l) for l in doc["layers"]] == [[0, 0]] * 3, f"{name}: two polygons a layer")
        heights = [l["height"] for l in doc["layers"]]
        check(all(abs(h - k * 2 / 3) < 1e-10 for h, k in zip(heights, (-1, 0, 1))), f"{name}: layer heights {heights}")
        # Contours are moved back onto the model: x within the boxes' extent.
        xs = [p[0] for l in doc["layers"] for poly in l["polygons"] for p in poly["outer"]]
        check(min(xs) > -3.001 and max(xs) < 3.001, f"{name}: contour x range {min(xs)}..{max(xs)}")
    # --layer-height gives the count from the extent along the direction (6 units in x).
    p = run("slice", "boxes.obj", "--layer-height", "0.5", "-d", "1,0,0", "-o", out("x.svg"))
    check(" 12 layers of 0.5," in p.stdout and len(layer_groups(out("x.svg"))) == 12,
          f"layer height 0.5 over 6 units along x: '{p.stdout.strip()}'")


def case_default_model():
    facts = json.loads(run("info", "--json").stdout)
    check(facts["closed"] and facts["border_edges"] == 0 and facts["misoriented_edges"] == 0 and facts["volume"] > 0,
          f"built-in part closed and outward: {facts}")
    p = run("slice", "-o", out("part.svg"), "-o", out("part.json"))
    check(" 20 layers of 1.25," in p.stdout and " 0 open;" in p.stdout, f"built-in slice: '{p.stdout.strip()}'")
    with open(out("part.json")) as f:
        doc = json.load(f)
    # Plate layers: the outline with five holes; boss layers: the boss with its bore.
    check(structure(doc["layers"][0]) == [5] and structure(doc["layers"][19]) == [1],
          f"plate and boss layers: {structure(doc['layers'][0])}, {structure(doc['layers'][19])}")
    check_orientation(doc, "built-in part")
    check(layer_groups(out("part.svg"))[0].get("data-holes") == "5", "SVG counts of layer 1")


def case_bad_input():
    os.makedirs(out(""), exist_ok=True)
    with open(os.path.join(WORK, "text.stl"), "w") as f:
        f.write("This is a note about a part, saved with the wrong name; it has no triangles at all.\n" * 3)
    with open(os.path.join(WORK, "boxes.off")) as f, open(os.path.join(WORK, "off-content.obj"), "w") as g:
        g.write(f.read())
    bad = [
        (["info", "missing.stl"], 1, "no such file"),
        (["info", "model.xyz"], 1, "unknown model format"),
        (["info", "truncated.stl"], 1, "truncated"),
        (["info", "text.stl"], 1, "is not an STL file"),
        (["info", "off-content.obj"], 1, "looks like an OFF file, not an OBJ file"),
        (["info", "corrupt.obj"], 1, "corrupt.obj"),
        (["info", "corrupt.3mf"], 1, "corrupt.3mf"),
        (["info", "empty-mesh.obj"], 1, "no triangles"),
        (["info", "empty-file.stl"], 1, "empty"),
        (["info", "nan.stl"], 1, "non-finite"),
        (["slice", "boxes.obj", "--layers", "0", "-o", "OUT.svg"], 2, "--layers"),
        (["slice", "boxes.obj", "--layers", "many", "-o", "OUT.svg"], 2, "--layers"),
        (["slice", "boxes.obj", "--layer-height", "0", "-o", "OUT.svg"], 2, "--layer-height"),
        (["slice", "boxes.obj", "--layer-height", "nan", "-o", "OUT.svg"], 2, "--layer-height"),
        (["slice", "boxes.obj", "--layer-height", "1e-9", "-o", "OUT.svg"], 2, "at most"),
        (["slice", "boxes.obj", "-d", "0,0,0", "-o", "OUT.svg"], 2, "--direction"),
        (["slice", "boxes.obj", "-d", "1,inf,0", "-o", "OUT.svg"], 2, "--direction"),
        (["slice", "boxes.obj", "-o", "OUT.png"], 2, ".svg or .json"),
        (["slice", "boxes.obj", "--layers-range", "5:2", "-o", "OUT.svg"], 2, "--layers-range"),
        # Every output is checked before any work: the good one is not written either.
        (["slice", "boxes.obj", "-o", "OUT.svg", "-o", "/nonexistent/x.json"], 2, "does not exist"),
        (["slice", "boxes.obj", "-o", "OUT.svg", "-o", "OUT.svg"], 2, "given twice"),
        (["slice", "boxes.obj", "-o", "-", "-o", "-"], 2, "given twice"),
        (["segment", "boxes.obj", "--angle", "200", "-o", "OUT.obj"], 2, "--angle"),
        (["voxelize", "boxes.obj", "--grid", "4", "-2", "4", "-o", "OUT.stl"], 2, "--grid"),
        (["voxelize", "boxes.obj", "--grid", "4096", "-o", "OUT.stl"], 2, "cells"),
        (["voxelize", "boxes.obj", "--voxel-size", "-1", "-o", "OUT.stl"], 2, "--voxel-size"),
        (["voxelize", "boxes.obj", "-o", "OUT.stl"], 2, "--grid"),
        (["voxelize", "boxes.obj", "--grid", "4", "-o", "-"], 2, "writes .stl, .obj or .ply"),
        (["isosurface", "--sphere", "0", "-o", "OUT.stl"], 2, "--sphere"),
        (["isosurface", "--sphere", "2", "--grid", "0", "-o", "OUT.stl"], 2, "--grid"),
        (["isosurface", "--sphere", "2", "--gyroid", "3", "-o", "OUT.stl"], 2, "gyroid"),
        (["inside", "boxes.obj", "1", "nan", "0"], 2, "Y"),
        (["inside", "boxes.obj", "1", "2"], 2, "a point needs three numbers X Y Z (got 2 values after the model"),
        (["frobnicate"], 2, "frobnicate"),
    ]
    for args, code, words in bad:
        args = [out("result." + a[4:]) if a.startswith("OUT.") else a for a in args]
        p = run(*args, code=code)
        lines = p.stderr.strip().splitlines()
        check(len(lines) == 1 and words in lines[0], f"orvane {' '.join(args)}: stderr {lines}")
        check(os.listdir(out("")) == [], f"orvane {' '.join(args)}: left {os.listdir(out(''))}")
        check(p.stdout == "", f"orvane {' '.join(args)}: stdout '{p.stdout}'")

    # The input is never overwritten.
    shutil.copy(os.path.join(WORK, "boxes-binary.stl"), out("ball2.stl"))
    before = os.path.getmtime(out("ball2.stl")), os.path.getsize(out("ball2.stl"))
    for args in (["voxelize", out("ball2.stl"), "--grid", "4", "-o", out("ball2.stl")],
                 ["voxelize", out("ball2.stl"), "--grid", "4", "-o", os.path.join(WORK, "out", ".", "ball2.stl")],
                 ["segment", "boxes.obj", "-o", os.path.join(WORK, "boxes.obj")]):
        p = run(*args, code=2)
        check("is the input model" in p.stderr, f"{args}: '{p.stderr.strip()}'")
    check((os.path.getmtime(out("ball2.stl")), os.path.getsize(out("ball2.stl"))) == before, "the model is untouched")
    check(sorted(os.listdir(out(""))) == ["ball2.stl"], f"nothing else written: {os.listdir(out(''))}")

    # A full standard output is an error, not a silent success.
    with open("/dev/full", "w") as full:
        p = subprocess.run([TOOL, "info", "--json", "boxes.obj"], stdout=full, stderr=subprocess.PIPE, text=True, cwd=WORK)
    check(p.returncode == 1 and "standard output" in p.stderr, f"info > /dev/full: exit {p.returncode}, '{p.stderr.strip()}'")


def case_segment_boundaries():
    p = run("segment", "boxes.obj", "-o", out("faces.obj"))
    check(" 12 faces at 30 degrees, the largest of 2 triangles;" in p.stdout, f"segment summary '{p.stdout.strip()}'")
    with open(out("faces.obj")) as f:
        groups = [l for l in f if l.startswith(("g ", "o "))]
    check(len({g.split()[1] for g in groups}) == 12, f"two boxes give 12 face groups: {groups}")
    check_printable(out("faces.obj"), "segmented boxes")
    run("segment", "boxes.ply", "-o", out("faces.ply"))
    with open(out("faces.ply"), "rb") as f:
        header = f.read(400).split(b"end_header")[0].decode()
    check("element face 24" in header and "red" in header, f"PLY with colours: {header}")
    check(info(out("faces.ply"))["triangles"] == 24, "the PLY reads back")
    p = run("boundaries", "square.obj", "-o", out("b.json"))
    with open(out("b.json")) as f:
        doc = json.load(f)
    check(len(doc["contours"]) == 1 and doc["contours"][0]["closed"]
          and len(doc["contours"][0]["points"]) == 5, f"square border: {doc}")
    run("boundaries", "square.obj", "-o", out("b.svg"))
    root = ET.parse(out("b.svg")).getroot()
    texts = " ".join(t.text or "" for t in root.iter(SVG + "text"))
    borders = [p for p in root.iter(SVG + "path") if "border" in (p.get("class") or "")]
    check(len(borders) == 1 and "Layer" not in texts and "border contours" in texts,
          f"boundaries SVG: one border line and a legend, no layer labels: {texts}")
    check("fill: none" in root.find(SVG + "style").text, "borders drawn as lines")
    p = run("boundaries", "boxes.obj", "-o", out("none.json"))
    check("no border" in p.stdout, f"closed model: '{p.stdout.strip()}'")
    p = run("boundaries", "square.obj", "-o", "-")
    check(json.loads(p.stdout)["contours"][0]["closed"], "boundaries JSON on standard output")


def case_voxelize():
    p = run("voxelize", "boxes.obj", "--grid", "3", "1", "1", "-o", out("v.stl"), "--progress")
    check("Marking Voxels" in p.stderr and "Creating Quads done." in p.stderr,
          f"voxelizer progress on stderr: {p.stderr}")
    # A 3 x 1 x 1 grid over the two boxes: the middle cell is marked too (the boxes' inner
    # faces lie on its borders), so the outer surface is a 3 x 1 x 1 block of 14 squares.
    points, triangles, volume = check_printable(out("v.stl"), "voxel block")
    check(len(triangles) == 28 and abs(volume - 6 * 2 * 2) < 1e-6, f"outer voxel surface: {len(triangles)}, {volume}")
    run("voxelize", "boxes.obj", "--grid", "3", "1", "1", "--raw", "-o", out("raw.stl"))
    points, triangles, _ = read_mesh(out("raw.stl"))
    check(len(triangles) == 36, "raw voxel surface: 12 triangles per cell")
    check(all(surface_facts(points, triangles[12 * c:12 * c + 12])[0] > 0 for c in range(3)), "raw cells wound outward")
    # The built-in part at 32 cells: marked cells meeting only along an edge are joined.
    for ext in ("stl", "obj", "ply"):
        p = run("voxelize", "--grid", "32", "-o", out("part." + ext))
        check_printable(out("part." + ext), "voxelized built-in part ." + ext)
    check(re.search(r"\d+ added where cells met only along an edge or at a corner", p.stdout), p.stdout)
    # Cubic cells of a given size, centred on the model: 6 x 2 x 2 units in cells of 0.5.
    p = run("voxelize", "boxes.obj", "--voxel-size", "0.5", "-o", out("cubes.obj"))
    check(" 12 x 4 x 4 grid of 0.5 x 0.5 x 0.5 cells," in p.stdout, f"voxel size: '{p.stdout.strip()}'")
    check_printable(out("cubes.obj"), "cubic cells")
    # The grid's counts do not swallow the model named after them.
    p = run("voxelize", "-g", "4", "boxes.obj", "-o", out("after.stl"))
    check(p.stdout.startswith("boxes.obj: 4 x 4 x 4 grid"), f"model after --grid: '{p.stdout.strip()}'")
    p = run("voxelize", "--grid", "8", "-o", out("part.obj"), "--quiet")
    check(p.stderr == "" and p.stdout == "", "--quiet keeps stdout and stderr empty")


def case_inside():
    p = run("inside", "boxes.obj", "2", "0", "0")
    check(p.stdout.split()[-1] == "inside", f"centre of a box: {p.stdout}")
    probes = os.path.join(WORK, "probes.txt")
    with open(probes, "w") as f:
        f.write("# x y z\n0 0 0\n-2, 0, 1\n10 10 10\n")
    p = run("inside", "boxes.obj", "--points", probes)
    check([l.split()[-1] for l in p.stdout.splitlines()] == ["outside", "on", "outside"],
          f"probes: {p.stdout}")
    # The built-in part: in the plate, in the bore, above the boss.
    p = run("inside", "--", "20", "0", "4")
    check(p.stdout.split()[-1] == "inside", f"plate material: {p.stdout}")
    p = run("inside", "--", "0", "0", "4")
    check(p.stdout.split()[-1] == "outside", f"bore: {p.stdout}")
    # Negative coordinates after "--", as the help recommends, and without it.
    for args in (["boxes.obj", "--", "-2", "-0.5", "-0.5"], ["boxes.obj", "-2", "-0.5", "-0.5"]):
        p = run("inside", *args)
        check(p.stdout.split() == ["-2", "-0.5", "-0.5", "inside"], f"inside {args}: '{p.stdout.strip()}'")


def gyroid(x, y, z, period):
    k = 2 * math.pi / period
    return (math.sin(k * x) * math.cos(k * y) + math.sin(k * y) * math.cos(k * z) +
            math.sin(k * z) * math.cos(k * x))


def case_isosurface():
    run("isosurface", "--sphere", "5", "--grid", "16", "-o", out("ball.stl"))
    facts = info(out("ball.stl"))
    check(facts["degenerate_triangles"] == 0, f"no slivers on the sphere: {facts}")
    check(all(abs(abs(c) - 5) < 0.2 for c in facts["box"][0] + facts["box"][1]), f"box {facts['box']}")
    _, _, volume = check_printable(out("ball.stl"), "sphere")
    check(abs(volume - 4 / 3 * math.pi * 125) < 0.05 * 4 / 3 * math.pi * 125, f"sphere volume {volume}")
    p = run("inside", out("ball.stl"), "0", "0", "0")
    check(p.stdout.split()[-1] == "inside", f"outward sphere: centre is {p.stdout}")
    for ext in ("ply", "obj"):
        run("isosurface", "--gyroid", "4", "--grid", "12", "-o", out("g." + ext))
        points, triangles, _ = check_printable(out("g." + ext), "gyroid", closed=False)
        # Open where the block cuts it, but wound consistently, every triangle facing the
        # side where the field grows (the outside).
        directed = {e for a, b, c in triangles for e in ((a, b), (b, c), (c, a))}
        check(len(directed) == 3 * len(triangles), f"gyroid .{ext}: no edge run twice the same way")
        facing = 0
        for a, b, c in triangles:
            n = cross(sub(points[b], points[a]), sub(points[c], points[a]))
            m = [(points[a][i] + points[b][i] + points[c][i]) / 3 for i in range(3)]
            e = 1e-4 / max(1e-12, math.sqrt(dot(n, n)))
            facing += gyroid(*[m[i] + e * n[i] for i in range(3)], 4) > gyroid(*[m[i] - e * n[i] for i in range(3)], 4)
        check(facing >= 0.99 * len(triangles), f"gyroid .{ext}: {facing} of {len(triangles)} triangles face outward")


def case_slice_placement():
    # A block with a step exactly on a layer plane (z = -7.5 with layers of 0.2 from -20: the
    # 63rd plane) and a square bore through it: every layer is one outer contour and one hole.
    model = out("stepped.stl")
    write_grid_solid(model, [0, 3, 6, 10, 20], [0, 3, 6, 10], [-20, -7.5, 0],
                     lambda i, j, k: not (i == 1 and j == 1) and (k == 0 or i < 3))
    check(info(model)["closed"], "stepped block is closed")
    doc, p = slice_json(model, "--layer-height", "0.2")
    check(" 100 layers of 0.2, 200 contours, 0 open;" in p.stdout, f"stepped block: '{p.stdout.strip()}'")
    heights = [l["height"] for l in doc["layers"]]
    # Clean decimals: exactly the double nearest -19.9 + 0.2 k, as a user would write it.
    check(heights == [float(f"{-19.9 + 0.2 * k:.6f}") for k in range(100)],
          f"layer heights are -19.9 + 0.2 k: {heights[:3]} ... {heights[-3:]}")
    check([structure(l) for l in doc["layers"]] == [[1]] * 100, "every layer: one polygon with one hole")
    check(all(p[2] == l["height"] for l in doc["layers"] for poly in l["polygons"] for ring in [poly["outer"]] + poly["holes"]
              for p in ring), "contour points lie at their layer's height")
    check_orientation(doc, "stepped block")
    with open(out("slice.json")) as f:
        text = f.read()
    written = re.findall(r'"(?:height|bottom|top)":(-?[\d.]+)', text)
    check(len(written) == 302 and all(re.fullmatch(r"-?\d+(\.\d)?", h) for h in written),
          f"heights written as the decimals they are: {written[:6]}")

    # Exact layer height, the last layer thinner and cut in its middle: 20 units in layers of
    # 0.3 are 66 layers and one of 0.2, whose plane lies at -0.1.
    doc, p = slice_json(model, "--layer-height", "0.3")
    check(" 67 layers of 0.3 (the last thinner)," in p.stdout, f"layers of 0.3: '{p.stdout.strip()}'")
    first, last = doc["layers"][0], doc["layers"][-1]
    check((first["height"], first["bottom"], first["top"]) == (-19.85, -20, -19.7), f"first layer {first['height']}")
    check((last["height"], last["bottom"], last["top"]) == (-0.1, -0.2, 0), f"last layer {last['height']}")
    check(structure(last) == [1], f"the thin last layer is cut: {structure(last)}")

    # A tilted direction: the layers span the model's own extent along it, none is empty.
    doc, _ = slice_json(model, "-n", "12", "-d", "1,1,1")
    check(all(l["polygons"] for l in doc["layers"]), "tilted slicing: every layer has contours")
    check_orientation(doc, "tilted")

    # A model far below and far above the slicer's tolerances and reach.
    for size in (0.001, 5000):
        small = out(f"cube-{size}.stl")
        write_grid_solid(small, [0, size / 3, size], [0, size / 3, size], [0, size / 3, size],
                         lambda i, j, k: not (i == 0 and j == 0))
        p = run("slice", small, "-n", "10", "-o", out(f"cube-{size}.json"))
        check(" 10 layers of " in p.stdout and ", 10 contours, 0 open;" in p.stdout,
              f"cube of {size}: '{p.stdout.strip()}'")

    # An open model: its open contours are counted and their layers named in the summary.
    open_box = out("open-box.stl")
    write_grid_solid(open_box, [0, 1], [0, 1], [0, 1], lambda i, j, k: True)
    with open(open_box, "rb") as f:
        data = f.read()
    count = struct.unpack("<I", data[80:84])[0]
    with open(open_box, "wb") as f:   # without its first face (x low, two triangles)
        f.write(data[:80] + struct.pack("<I", count - 2) + data[84 + 100:])
    p = run("slice", open_box, "-n", "2", "-o", out("open.json"))
    check("2 open (the model has border or non-manifold edges) in layers 1, 2;" in p.stdout,
          f"open model: '{p.stdout.strip()}'")
    check("warning" not in p.stderr, f"no warning for an open model: '{p.stderr.strip()}'")


def case_nesting():
    # Raised letters in a recess: the plate's outline holds the recess as a hole, the letters
    # stand in it as polygons of their own (the O with its counter as a hole).
    sign = out("sign.stl")
    write_sign(sign)
    doc, p = slice_json(sign, "--layer-height", "0.25")
    check(" 0 open;" in p.stdout, f"sign: '{p.stdout.strip()}'")
    expected = [[0]] * 8 + [[0, 0, 1, 1]] * 8 + [[0, 0, 1]] * 4
    check([structure(l) for l in doc["layers"]] == expected, f"sign layers: {[structure(l) for l in doc['layers']]}")
    check_orientation(doc, "sign")
    run("slice", sign, "--layer-height", "0.25", "-o", out("sign.svg"))
    for g, layer in zip(layer_groups(out("sign.svg")), doc["layers"]):
        rings = sum(1 + len(poly["holes"]) for poly in layer["polygons"])
        material = [p for p in g.iter(SVG + "path") if p.get("class") == "material"]
        check(len(material) == 1 and material[0].get("d").count("M") == rings,
              f"sign layer {layer['layer']}: one even-odd path of {rings} rings")
        check(g.get("data-polygons") == str(len(layer["polygons"])), f"sign layer {layer['layer']}: polygon count")
    root = ET.parse(out("sign.svg")).getroot()
    check("fill-rule: evenodd" in root.find(SVG + "style").text, "material filled by the even-odd rule")
    # A plane exactly on the recess floor (z = 2 with layers of 0.8 from 0) still gives
    # closed, nested contours, from just one side of the floor.
    doc, p = slice_json(sign, "--layer-height", "0.8")
    check(" 0 open;" in p.stdout and structure(doc["layers"][2]) in ([0], [0, 0, 1, 1]),
          f"plane on the floor: '{p.stdout.strip()}', {structure(doc['layers'][2])}")

    # A holder standing free inside a ring: three rings a layer where both stand.
    ring = out("ring.stl")
    write_ring_with_holder(ring)
    doc, _ = slice_json(ring, "-n", "10")
    check([structure(l) for l in doc["layers"]] == [[0, 1]] * 6 + [[1]] * 4,
          f"ring and holder: {[structure(l) for l in doc['layers']]}")


def case_interface():
    for command in ["info", "slice", "segment", "boundaries", "voxelize", "inside", "isosurface"]:
        p = run(command, "--help")
        check("Example" in p.stdout, f"{command} --help has an example")
    check("model units" in run("slice", "--help").stdout, "slice --help states the units")
    p = subprocess.run([TOOL], capture_output=True, text=True, cwd=WORK)
    check(p.returncode == 2 and "slice" in p.stderr, "no arguments: usage on stderr, exit 2")
    p = run("--version")
    check(re.fullmatch(r"orvane \d+\.\d+\.\d+\n", p.stdout) is not None, f"--version: '{p.stdout}'")
    run("slice", "boxes.obj", "-n", "2")
    check(os.path.exists(os.path.join(WORK, "boxes-slices.svg")), "default output name")
    p = run("slice", "boxes.obj", "-n", "1", "-o", out("one.json"))
    check(" 1 layer of 2, 2 contours," in p.stdout and "2 polygons with 0 holes" in p.stdout,
          f"singular and plural: '{p.stdout.strip()}'")
    # JSON on standard output; the summary moves to stderr.
    p = run("slice", "boxes.obj", "-n", "2", "-o", "-", "-o", out("both.svg"))
    check(json.loads(p.stdout)["layer_count"] == 2 and "wrote -" in p.stderr, "slice -o -")
    p = run("--quiet", "slice", "boxes.obj", "-n", "2", "-o", out("quiet.json"))
    check(p.stdout == "" and p.stderr == "", "--quiet: nothing but errors")

    # Many layers: the picture keeps to 100 panels unless told otherwise, and a range with a
    # step draws just those.
    p = run("slice", "-n", "1400", "-o", out("many.svg"))
    groups = layer_groups(out("many.svg"))
    check(len(groups) == 100 and groups[1].get("data-layer") == "15" and "every 14th" in p.stderr,
          f"1400 layers: {len(groups)} panels; '{p.stderr.strip()}'")
    root = ET.parse(out("many.svg")).getroot()
    check(float(root.get("width")) <= 1300, f"page width {root.get('width')}")
    for g in groups:
        text, frame = g.find(SVG + "text"), g.find(SVG + "rect")
        size = float(re.search(r"font-size:([\d.]+)px", text.get("style")).group(1))
        check(0.6 * size * len(text.text) <= float(frame.get("width")) - 12 and text.text.endswith(g.get("data-height")),
              f"label '{text.text}' at {size}px fits its panel")
    run("slice", "-n", "1400", "--layers-range", "10:40", "--every", "15", "-o", out("range.svg"))
    check([g.get("data-layer") for g in layer_groups(out("range.svg"))] == ["10", "25", "40"], "range and step")
    check(any(g.get("class") == "scale-bar" and g.get("data-length") for g in root.iter(SVG + "g")), "a scale bar")

    # Ended by a signal while working: no temporary file stays behind.
    folder = out("interrupted")
    os.makedirs(folder)
    for sig in (signal.SIGINT, signal.SIGTERM):
        proc = subprocess.Popen([TOOL, "isosurface", "--gyroid", "4", "--grid", "400", "-o",
                                 os.path.join(folder, "big.stl")], cwd=WORK,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        time.sleep(0.5)
        proc.send_signal(sig)
        proc.wait()
        check(proc.returncode == -sig, f"ended by signal {sig}: exit {proc.returncode}")
        check(os.listdir(folder) == [], f"signal {sig} left {os.listdir(folder)}")


def main():
    global TOOL, HELPER, WORK
    parser = argparse.ArgumentParser()
    parser.add_argument("--tool", required=True)
    parser.add_argument("--helper", required=True)
    parser.add_argument("--work", required=True)
    parser.add_argument("case")
    a = parser.parse_args()
    TOOL, HELPER, WORK = os.path.abspath(a.tool), os.path.abspath(a.helper), os.path.abspath(a.work)
    shutil.rmtree(WORK, ignore_errors=True)
    os.makedirs(os.path.join(WORK, "out"))
    subprocess.run([HELPER, "models", WORK], check=True)
    globals()["case_" + a.case]()
    print(f"{a.case}: {len(failures)} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
