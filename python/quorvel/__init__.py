"""quorvel: triangle meshes from Python.

quorvel.batch (pure Python) runs the quorvel tool over many files; it works
whether or not the compiled extension has been built.
"""

try:
    from ._quorvel import *  # noqa: F401,F403  (the compiled extension, once built)
except ImportError:
    pass
