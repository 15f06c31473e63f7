"""`cmake --install` puts the module into the platform's package folder under the prefix, where
it imports and finds the installed kernel library, not the build tree's."""
import os
import subprocess
import sys

import pytest


def test_installed_module_imports_from_the_prefix(tmp_path):
    build, folder = os.environ.get("ORVANE_BUILD"), os.environ.get("ORVANE_PYTHON_INSTALL_DIR")
    if not build or not folder:
        pytest.skip("ORVANE_BUILD and ORVANE_PYTHON_INSTALL_DIR name no build tree")
    plain = {k: v for k, v in os.environ.items() if k not in ("LD_PRELOAD", "PYTHONPATH")}
    subprocess.run([os.environ.get("ORVANE_CMAKE", "cmake"), "--install", build, "--prefix", str(tmp_path)],
                   check=True, capture_output=True, env=plain)
    site = tmp_path / folder
    assert [p.name.split(".")[0] for p in site.iterdir()] == ["orvane"]
    script = ("import orvane\n"
              "print(orvane.__file__)\n"
              "assert len(orvane.builtin_part().slice(layers=3)) == 3\n"
              "print(*[l.split()[-1] for l in open('/proc/self/maps') if 'libOrvaneDatabase' in l])\n")
    env = dict(os.environ, PYTHONPATH=str(site))
    run = subprocess.run([sys.executable, "-c", script], env=env, capture_output=True, text=True, cwd=tmp_path)
    assert run.returncode == 0, run.stderr
    module, libraries = run.stdout.splitlines()
    assert module.startswith(str(site))
    assert {os.path.dirname(p) for p in libraries.split()} == {os.path.realpath(tmp_path / "lib")}
