"""The README's example runs and draws the middle layer, outer contours blue and holes red."""
import os
import subprocess
import sys

import matplotlib.image
import numpy as np

EXAMPLE = os.path.join(os.environ.get("ORVANE_SOURCE", "../.."), "python", "examples", "slice_layer.py")


def test_example_writes_the_layer_picture(tmp_path, nested_model):
    picture = tmp_path / "layer.png"
    run = subprocess.run([sys.executable, EXAMPLE, str(nested_model), str(picture)], cwd=tmp_path,
                         capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    assert picture.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
    rgb = matplotlib.image.imread(picture)[:, :, :3]
    blue = np.all(np.abs(rgb - [0.12, 0.47, 0.71]) < 0.05, axis=2).sum()
    red = np.all(np.abs(rgb - [0.84, 0.15, 0.16]) < 0.05, axis=2).sum()
    assert blue > 100 and red > 100
