"""Progress callbacks, exceptions from them, and Ctrl-C: the call stops and the
mesh is left exactly as it was."""

import os
import signal
import threading
import time

import numpy as np
import pytest

import quorvel
from conftest import grid, icosphere, same_mesh


@pytest.mark.parametrize("pair, call, stop, error", [
    (icosphere(4), lambda m, p: m.remesh(relative=0.5, iterations=50, progress=p), 2, KeyboardInterrupt),
    (icosphere(4), lambda m, p: m.remesh(relative=0.5, iterations=50, progress=p), 2, RuntimeError),
    (icosphere(2), lambda m, p: m.remesh(method="exact", progress=p), 0, KeyboardInterrupt),
    (grid(10), lambda m, p: m.smooth(iterations=100, progress=p), 3, ValueError),
], ids=["remesh-interrupt", "remesh-error", "exact", "smooth"])
def test_an_exception_from_the_callback_stops_the_call(pair, call, stop, error):
    mesh, seen = quorvel.Mesh(*pair), []

    def progress(done, total):
        seen.append(done)
        if done == stop:
            raise error("stop")

    with pytest.raises(error, match="stop"):
        call(mesh, progress)
    assert seen == list(range(stop + 1))
    same_mesh(mesh, quorvel.Mesh(*pair))
    mesh.remesh(iterations=1)  # still usable


@pytest.mark.parametrize("call", [
    lambda mesh: mesh.remesh(relative=0.4, iterations=100),
    lambda mesh: mesh.smooth(iterations=1_000_000),
    # The exact winding number sums every face for every point: seconds
    # of work, where the indexed queries would end too soon.
    lambda mesh: mesh.winding_number(np.random.default_rng(3).uniform(-0.5, 0.5, size=(200_000, 3)), exact=True),
], ids=["remesh", "smooth", "winding-number"])
def test_sigint_stops_a_long_call_and_leaves_the_mesh(call):
    # Test runners may start Python with SIGINT ignored or left to the system
    # (ctest does); Ctrl-C in an interactive interpreter meets this handler.
    previous = signal.signal(signal.SIGINT, signal.default_int_handler)
    mesh = quorvel.Mesh(*icosphere(4))  # far from the target, many rounds: seconds of work
    before, start = mesh.vertices, time.monotonic()
    timer = threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT))
    timer.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            call(mesh)
    finally:
        timer.cancel()
        signal.signal(signal.SIGINT, previous)
    assert time.monotonic() - start < 20
    np.testing.assert_array_equal(mesh.vertices, before)
    assert mesh.face_count == 5120


def test_callback_may_read_the_mesh_but_not_change_it():
    mesh, areas = quorvel.Mesh(*icosphere(2)), []

    def progress(done, total):
        areas.append(mesh.area)
        if done == 1:
            mesh.smooth()

    with pytest.raises(RuntimeError, match="being changed by the call whose progress callback is running"):
        mesh.remesh(progress=progress)
    assert mesh.face_count == 320 and len(set(areas)) == 1
    mesh.smooth()  # the lock was released
