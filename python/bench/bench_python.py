#!/usr/bin/env python3
"""What the Python module costs on top of the kernel and the tool (best of several runs):
  1. a mesh of about a million triangles from NumPy arrays, against building the kernel's
     Triangulation from it;
  2. Mesh.slice against the tool's own slicing, on a real mesh with many layers: both run
     sliceModel; the tool's stages that do the same work (building the placed mesh, slicing,
     nesting the contours; reading and writing files aside) against the whole call, which
     also hands the layers to Python as arrays. Runs of the two alternate so that both see
     the same load, and are compared run by run (the median ratio). Mesh.slice returns once
     its layers are ready; the slicer's structures are released afterwards on a background
     thread (the tool leaves them to process exit), timed separately.
Run from a release build:
  PYTHONPATH=build/release/python python3 python/bench/bench_python.py \
      [--tool build/release/apps/orvane/orvane] [--mesh ~/.cache/orvane-meshes/bunny00.off] [--layers 1000]"""
import argparse
import os
import re
import subprocess
import tempfile
import time

import numpy as np

import orvane


def best(runs, work):
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        work()
        times.append(time.perf_counter() - start)
    return min(times)


def torus(rings, segments):
    """A closed torus of 2 * rings * segments triangles."""
    u, v = np.meshgrid(np.linspace(0, 2 * np.pi, rings, endpoint=False),
                       np.linspace(0, 2 * np.pi, segments, endpoint=False), indexing="ij")
    r = 10 + 3 * np.cos(v)
    vertices = np.stack([r * np.cos(u), r * np.sin(u), 3 * np.sin(v)], axis=-1).reshape(-1, 3)
    i, j = np.meshgrid(np.arange(rings), np.arange(segments), indexing="ij")
    a, b = i * segments + j, ((i + 1) % rings) * segments + j
    c, d = ((i + 1) % rings) * segments + (j + 1) % segments, i * segments + (j + 1) % segments
    triangles = np.concatenate([np.stack([a, b, c], -1), np.stack([a, c, d], -1)], axis=1).reshape(-1, 3)
    return vertices, triangles


def tool_stage_seconds(tool, mesh, layers):
    """The tool's stage times for building the placed mesh, slicing and nesting, from --progress."""
    with tempfile.TemporaryDirectory() as work:
        run = subprocess.run([tool, "slice", mesh, "-n", str(layers), "-o", os.path.join(work, "out.json"),
                              "--progress"], capture_output=True, text=True, check=True)
    stages = dict(re.findall(r"^(\w+)[^\n]*: done, ([\d.]+) s$", run.stderr, re.M))
    return float(stages["Building"]), float(stages["Slicing"]), float(stages["Nesting"])


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tool", default=os.path.join(here, "..", "..", "build", "release", "apps", "orvane", "orvane"))
    parser.add_argument("--mesh", default=os.path.expanduser("~/.cache/orvane-meshes/bunny00.off"))
    parser.add_argument("--layers", type=int, default=1000)
    parser.add_argument("--runs", type=int, default=5)
    o = parser.parse_args()

    vertices, triangles = torus(500, 1000)
    convert = best(o.runs, lambda: orvane.Mesh(vertices, triangles))
    convert32 = best(o.runs, lambda: orvane.Mesh(vertices.astype(np.float32), triangles.astype(np.int32)))
    weld = best(o.runs, lambda: orvane.Mesh(vertices, triangles, weld=True))
    builds = []
    for _ in range(o.runs):
        mesh = orvane.Mesh(vertices, triangles)
        orvane._heap_bytes()   # waits for earlier releases
        start = time.perf_counter()
        mesh.prepare()
        builds.append(time.perf_counter() - start)
        del mesh
    build = min(builds)
    print(f"{len(triangles):,} triangles, {len(vertices):,} vertices:")
    print(f"  Mesh(vertices, triangles)              {convert * 1e3:8.1f} ms  (float32/int32 input: {convert32 * 1e3:.1f} ms)")
    print(f"  Mesh(..., weld=True)                   {weld * 1e3:8.1f} ms")
    print(f"  building the kernel's Triangulation    {build * 1e3:8.1f} ms  (conversion: {convert / build:.1%} of it)")

    if not os.path.exists(o.mesh) or not os.path.exists(o.tool):
        print(f"slicing: skipped ({o.mesh} or {o.tool} missing)")
        return
    mesh = orvane.Mesh.load(o.mesh)
    python, release, tool = [], [], []
    for _ in range(o.runs):
        orvane._heap_bytes()   # waits for earlier releases
        start = time.perf_counter()
        mesh.slice(layers=o.layers)
        python.append(time.perf_counter() - start)
        orvane._heap_bytes()
        release.append(time.perf_counter() - start - python[-1])
        tool.append(tool_stage_seconds(o.tool, o.mesh, o.layers))
    ratios = sorted(p / sum(t) for p, t in zip(python, tool))
    print(f"{os.path.basename(o.mesh)}, {len(mesh.triangles):,} triangles, {o.layers} layers (best of {o.runs}):")
    print(f"  tool: building the placed mesh         {min(t[0] for t in tool) * 1e3:8.0f} ms")
    print(f"  tool: slicing                          {min(t[1] for t in tool) * 1e3:8.0f} ms")
    print(f"  tool: nesting                          {min(t[2] for t in tool) * 1e3:8.0f} ms")
    print(f"  tool: the three (one run)              {min(sum(t) for t in tool) * 1e3:8.0f} ms")
    print(f"  Mesh.slice                             {min(python) * 1e3:8.0f} ms  (median of the runs' ratios to the "
          f"tool: {ratios[len(ratios) // 2] - 1:+.0%})")
    print(f"  then releasing the slicer's structures {min(release) * 1e3:8.0f} ms  (background)")


if __name__ == "__main__":
    main()
