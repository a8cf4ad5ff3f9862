"""Operations on indexed triangle meshes, from numpy.

A `Mesh` holds the library's own record of a surface: (n, 3) float64 positions
and (m, 3) uint64 triangles, viewed read-only by `Mesh.vertices` and
`Mesh.triangles`. Results come back as numpy arrays that own the library's
buffers. Every call that does real work releases the GIL; `threads=` (or a
`with zelkov.threads(n):` block) runs it on at most n threads, with the same
result for every n.
"""

from __future__ import annotations

import contextlib
from typing import Iterator

from ._core import *  # noqa: F401,F403
from ._core import _set_threads
from ._results import *  # noqa: F401,F403

__version__ = "0.1.0"


@contextlib.contextmanager
def threads(n: int) -> Iterator[None]:
    """Runs the calls of this thread inside the block on at most `n` threads."""
    if n < 1:
        raise ValueError("threads must be at least 1")
    previous = _set_threads(n)
    try:
        yield
    finally:
        _set_threads(previous)
