"""Slice a model and draw its middle layer: python3 slice_layer.py [MODEL] [PICTURE.png]"""
import sys
import matplotlib.pyplot as plt
import orvane

mesh = orvane.Mesh.load(sys.argv[1]) if len(sys.argv) > 1 else orvane.builtin_part()
layer = mesh.slice(layers=50)[25]
for polygon in layer.polygons:
    for ring, colour in [(polygon.outer, "tab:blue")] + [(hole, "tab:red") for hole in polygon.holes]:
        plt.fill(ring[:, 0], ring[:, 1], facecolor="none", edgecolor=colour)
plt.gca().set_aspect("equal")
plt.title(f"layer {layer.index} at z = {layer.height:g}")
plt.savefig(sys.argv[2] if len(sys.argv) > 2 else "layer.png")
