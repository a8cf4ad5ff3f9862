import json
import os
import subprocess
from pathlib import Path

import numpy as np
import pytest

import zelkov

ROOT = Path(__file__).resolve().parents[2]
MESHES = Path(os.environ.get("ZELKOV_SHARED_MESHES", ROOT.parent / "shared" / "meshes"))
PROGRAM = os.environ.get("ZELKOV_PROGRAM", "")


def torus(nu, nv, r_major=1.0, r_minor=0.35):
    """A closed, outward torus of 2 nu nv triangles."""
    u, v = np.meshgrid(np.arange(nu) * 2 * np.pi / nu, np.arange(nv) * 2 * np.pi / nv, indexing="ij")
    ring = r_major + r_minor * np.cos(v)
    points = np.stack([ring * np.cos(u), ring * np.sin(u), r_minor * np.sin(v)], axis=-1).reshape(-1, 3)
    i, j = np.meshgrid(np.arange(nu), np.arange(nv), indexing="ij")
    a, b = i * nv + j, ((i + 1) % nu) * nv + j
    c, d = ((i + 1) % nu) * nv + (j + 1) % nv, i * nv + (j + 1) % nv
    tris = np.concatenate([np.stack([a, b, c], -1).reshape(-1, 3), np.stack([a, c, d], -1).reshape(-1, 3)])
    return points, tris


def cube():
    points = np.array([[x, y, z] for x in (0, 1) for y in (0, 1) for z in (0, 1)], dtype=float)
    tris = np.array([[0, 1, 3], [0, 3, 2], [4, 6, 7], [4, 7, 5], [0, 4, 5], [0, 5, 1],
                     [2, 3, 7], [2, 7, 6], [0, 2, 6], [0, 6, 4], [1, 5, 7], [1, 7, 3]])
    return points, tris


def shared_mesh(name):
    path = MESHES / name
    if not path.is_file():
        pytest.skip(f"{path} is absent: the shared meshes are needed for this test")
    return path


def program(*args):
    """The JSON report of the zelkov program."""
    if not PROGRAM or not Path(PROGRAM).is_file():
        pytest.skip("ZELKOV_PROGRAM does not name the built zelkov program (ctest sets it)")
    out = subprocess.run([PROGRAM, *map(str, args), "--json"], check=True, capture_output=True, text=True)
    return json.loads(out.stdout)


@pytest.fixture
def torus_mesh():
    return zelkov.Mesh(*torus(40, 24))
