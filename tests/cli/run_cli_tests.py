#!/usr/bin/env python3
"""End-to-end checks of the orvane tool, one group per CTest test:
run_cli_tests.py --tool ORVANE --helper HELPER --work DIR CASE"""
import argparse
import json
import os
import shutil
import struct
import subprocess
import sys
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


def stl_triangles(path):
    with open(path, "rb") as f:
        data = f.read()
    return struct.unpack("<I", data[80:84])[0]


def info(model):
    return json.loads(run("info", "--json", model).stdout)


def case_formats():
    # Every format reads as the same welded, closed mesh: two boxes, two contours a layer.
    expected = 6
    for name in FORMATS:
        facts = info(name)
        check((facts["triangles"], facts["vertices"], facts["closed"]) == (24, 16, True),
              f"{name}: info {facts}")
        svg, js = out(name + ".svg"), out(name + ".json")
        p = run("slice", name, "--layers", "3", "-o", svg, "-o", js)
        check(" 3 layers of 0.6667, 6 contours, 0 open" in p.stdout, f"{name}: summary '{p.stdout.strip()}'")
        check(len(layer_groups(svg)) == 3, f"{name}: SVG layer groups")
        with open(js) as f:
            doc = json.load(f)
        check(len(doc["contours"]) == expected, f"{name}: JSON contours {len(doc['contours'])}")
        check(all(c["closed"] and c["kind"] == "outer" and len(c["points"]) >= 5 for c in doc["contours"]),
              f"{name}: contours closed outer loops")
        # Contours are moved back onto the model: x within the boxes' extent, z on the layers.
        xs = [p[0] for c in doc["contours"] for p in c["points"]]
        zs = sorted({round(c["height"], 9) for c in doc["contours"]})
        check(min(xs) > -3.001 and max(xs) < 3.001, f"{name}: contour x range {min(xs)}..{max(xs)}")
        check(zs == [round(-2 / 3, 9), 0.0, round(2 / 3, 9)], f"{name}: layer heights {zs}")
    # --layer-height gives the count from the extent along the direction (2 units in z, 6 in x).
    p = run("slice", "boxes.obj", "--layer-height", "0.5", "-o", out("h.json"))
    check(" 4 layers of 0.5," in p.stdout, f"layer height 0.5 over 2 units: '{p.stdout.strip()}'")
    p = run("slice", "boxes.obj", "--layer-height", "0.5", "-d", "1,0,0", "-o", out("x.svg"))
    check(" 12 layers of 0.5," in p.stdout and len(layer_groups(out("x.svg"))) == 12,
          f"layer height 0.5 over 6 units along x: '{p.stdout.strip()}'")


def case_default_model():
    facts = json.loads(run("info", "--json").stdout)
    check(facts["closed"] and facts["border_edges"] == 0 and facts["non_manifold_edges"] == 0,
          f"built-in part closed: {facts}")
    p = run("slice", "-o", out("part.svg"), "-o", out("part.json"))
    check(" 20 layers of 1.25," in p.stdout and " 0 open" in p.stdout, f"built-in slice: '{p.stdout.strip()}'")
    layer_groups(out("part.svg"))   # parses
    with open(out("part.json")) as f:
        doc = json.load(f)
    # Plate layers: the outline and five holes; boss layers: boss outline and bore.
    by_layer = {}
    for c in doc["contours"]:
        by_layer.setdefault(c["layer"], []).append(c["kind"])
    check(sorted(by_layer[1]) == ["hole"] * 5 + ["outer"], f"plate layer kinds {by_layer[1]}")
    check(sorted(by_layer[20]) == ["hole", "outer"], f"boss layer kinds {by_layer[20]}")


def case_bad_input():
    bad = [
        (["info", "missing.stl"], 1, "no such file"),
        (["info", "model.xyz"], 1, "unknown model format"),
        (["info", "truncated.stl"], 1, "truncated"),
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
        (["segment", "boxes.obj", "--angle", "200", "-o", "OUT.obj"], 2, "--angle"),
        (["voxelize", "boxes.obj", "--grid", "4", "-2", "4", "-o", "OUT.stl"], 2, "--grid"),
        (["voxelize", "boxes.obj", "--grid", "4096", "-o", "OUT.stl"], 2, "cells"),
        (["isosurface", "--sphere", "0", "-o", "OUT.stl"], 2, "--sphere"),
        (["isosurface", "--sphere", "2", "--grid", "0", "-o", "OUT.stl"], 2, "--grid"),
        (["isosurface", "--sphere", "2", "--gyroid", "3", "-o", "OUT.stl"], 2, "gyroid"),
        (["inside", "boxes.obj", "1", "nan", "0"], 2, "Y"),
        (["frobnicate"], 2, "frobnicate"),
    ]
    for args, code, words in bad:
        os.makedirs(out(""), exist_ok=True)
        args = [out("result." + a[4:]) if a.startswith("OUT.") else a for a in args]
        p = run(*args, code=code)
        lines = p.stderr.strip().splitlines()
        check(len(lines) == 1 and words in lines[0], f"orvane {' '.join(args)}: stderr {lines}")
        check(os.listdir(out("")) == [], f"orvane {' '.join(args)}: left {os.listdir(out(''))}")


def case_segment_boundaries():
    run("segment", "boxes.obj", "-o", out("faces.obj"))
    with open(out("faces.obj")) as f:
        groups = [l for l in f if l.startswith(("g ", "o "))]
    check(len({g.split()[1] for g in groups}) == 12, f"two boxes give 12 face groups: {groups}")
    run("segment", "boxes.ply", "-o", out("faces.ply"))
    with open(out("faces.ply"), "rb") as f:
        header = f.read(400).split(b"end_header")[0].decode()
    check("element face 24" in header and "red" in header, f"PLY with colours: {header}")
    p = run("boundaries", "square.obj", "-o", out("b.json"))
    with open(out("b.json")) as f:
        doc = json.load(f)
    check(len(doc["contours"]) == 1 and doc["contours"][0]["closed"]
          and len(doc["contours"][0]["points"]) == 5, f"square border: {doc}")
    run("boundaries", "square.obj", "-o", out("b.svg"))
    check(len(layer_groups(out("b.svg"))) == 1, "boundaries SVG parses")
    p = run("boundaries", "boxes.obj", "-o", out("none.json"))
    check("no border" in p.stdout, f"closed model: '{p.stdout.strip()}'")


def case_voxelize():
    p = run("voxelize", "boxes.obj", "--grid", "3", "1", "1", "-o", out("v.stl"), "--progress")
    check("Marking Voxels" in p.stderr and "Creating Quads done." in p.stderr,
          f"voxelizer progress on stderr: {p.stderr}")
    # A 3 x 1 x 1 grid over the two boxes: the middle cell is marked too (the boxes' inner
    # faces lie on its borders), so the outer surface is a 3 x 1 x 1 block of 14 squares.
    check(stl_triangles(out("v.stl")) == 28, f"outer voxel surface: {stl_triangles(out('v.stl'))}")
    run("voxelize", "boxes.obj", "--grid", "3", "1", "1", "--raw", "-o", out("raw.stl"))
    check(stl_triangles(out("raw.stl")) == 36, "raw voxel surface: 12 triangles per cell")
    facts = info(out("v.stl"))
    check(facts["closed"], f"voxel surface closed: {facts}")
    p = run("voxelize", "--grid", "8", "-o", out("part.obj"), "--quiet")
    check(p.stderr == "", "--quiet keeps stderr empty")


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


def case_isosurface():
    p = run("isosurface", "--sphere", "5", "--grid", "16", "-o", out("ball.stl"))
    facts = info(out("ball.stl"))
    check(facts["closed"] and facts["degenerate_triangles"] == 0, f"welded closed sphere: {facts}")
    check(all(abs(abs(c) - 5) < 0.2 for c in facts["box"][0] + facts["box"][1]), f"box {facts['box']}")
    p = run("inside", out("ball.stl"), "0", "0", "0")
    check(p.stdout.split()[-1] == "inside", f"outward sphere: centre is {p.stdout}")
    run("isosurface", "--gyroid", "4", "--grid", "12", "-o", out("g.ply"))
    check(info(out("g.ply"))["triangles"] > 100, "gyroid written")


def case_interface():
    for command in ["info", "slice", "segment", "boundaries", "voxelize", "inside", "isosurface"]:
        p = run(command, "--help")
        check("Example" in p.stdout, f"{command} --help has an example")
    p = subprocess.run([TOOL], capture_output=True, text=True, cwd=WORK)
    check(p.returncode == 2 and "slice" in p.stderr, "no arguments: usage on stderr, exit 2")
    p = run("slice", "boxes.obj", "-n", "2")
    check(os.path.exists(os.path.join(WORK, "boxes-slices.svg")), "default output name")


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


def case_slice_placement():
    # A block with a step exactly on a layer plane (z = -7.5 with layers of 0.2 from -20: the
    # 63rd plane) and a square bore through it: every layer is one outer contour and one hole.
    model = out("stepped.stl")
    write_grid_solid(model, [0, 3, 6, 10, 20], [0, 3, 6, 10], [-20, -7.5, 0],
                     lambda i, j, k: not (i == 1 and j == 1) and (k == 0 or i < 3))
    facts = info(model)
    check(facts["closed"], f"stepped block is closed: {facts}")
    p = run("slice", model, "--layer-height", "0.2", "-o", out("stepped.json"))
    check(" 100 layers of 0.2, 200 contours, 0 open" in p.stdout, f"stepped block: '{p.stdout.strip()}'")
    with open(out("stepped.json")) as f:
        doc = json.load(f)
    heights = sorted({c["height"] for c in doc["contours"]})
    check(len(heights) == 100 and all(abs(h - (-19.9 + 0.2 * k)) < 1e-9 for k, h in enumerate(heights)),
          f"layer heights are -19.9 + 0.2 k: {heights[:3]} ... {heights[-3:]}")
    check(all(c["closed"] for c in doc["contours"]), "every contour of the stepped block is closed")
    # Every point of a contour lies on its layer's plane.
    check(all(abs(p[2] - c["height"]) < 1e-9 for c in doc["contours"] for p in c["points"]),
          "contour points lie at their layer's height")

    # Exact layer height, the last layer thinner: 20 units in layers of 0.3 are 67 layers.
    p = run("slice", model, "--layer-height", "0.3", "-o", out("thirds.json"))
    check(" 67 layers of 0.3," in p.stdout, f"layers of 0.3: '{p.stdout.strip()}'")
    with open(out("thirds.json")) as f:
        heights = sorted({c["height"] for c in json.load(f)["contours"]})
    check(abs(heights[0] + 19.85) < 1e-9 and abs(heights[-1] + 0.05) < 1e-9,
          f"first and last plane at -19.85 and -0.05: {heights[0]}, {heights[-1]}")

    # A tilted direction: the layers span the model's own extent along it, none is empty.
    p = run("slice", model, "-n", "12", "-d", "1,1,1", "-o", out("tilted.json"))
    with open(out("tilted.json")) as f:
        layers = {c["layer"] for c in json.load(f)["contours"]}
    check(layers == set(range(1, 13)), f"tilted slicing: layers with contours {sorted(layers)}")

    # A model far below and far above the slicer's tolerances and reach.
    for size in (0.001, 5000):
        small = out(f"cube-{size}.stl")
        write_grid_solid(small, [0, size / 3, size], [0, size / 3, size], [0, size / 3, size],
                         lambda i, j, k: not (i == 0 and j == 0))
        p = run("slice", small, "-n", "10", "-o", out(f"cube-{size}.json"))
        check(" 10 layers of " in p.stdout and ", 10 contours, 0 open" in p.stdout,
              f"cube of {size}: '{p.stdout.strip()}'")


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
