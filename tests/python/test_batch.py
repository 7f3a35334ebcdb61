"""quorvel.batch: a folder of generated meshes with broken files among them,
run on local processes and on a two-worker Dask LocalCluster with a worker
killed mid-batch. The tool is $QUORVEL_TOOL (ctest sets it to the built one)."""

import csv
import glob
import json
import os
import signal
import stat
import subprocess
import threading
import time

import numpy as np
import pytest
from conftest import grid, icosphere

from quorvel import batch

TOOL = batch.find_tool()
PYTHON = "/usr/bin/python3"


# ------------------------------------------------------------ mesh files

def write(path, mesh):
    """The mesh as OFF text, converted by the tool for other extensions (STL binary)."""
    vertices, faces = (np.asarray(a).tolist() for a in mesh)
    off = path if path.lower().endswith(".off") else path + ".off"
    with open(off, "w") as f:
        f.write("\n".join(["OFF", f"{len(vertices)} {len(faces)} 0"] + [f"{x!r} {y!r} {z!r}" for x, y, z in vertices]
                          + [f"3 {a} {b} {c}" for a, b, c in faces]) + "\n")
    if off != path:
        subprocess.run([TOOL, "smooth", off, "-o", path, "--iterations", "0", "--quiet"], check=True)
        os.unlink(off)


# What each file of the data set is; broken ones name a part of their error.
GOOD = {
    "sphere.off": 320,
    "parts/grid.PLY": 200,
    "parts/ball.stl": 80,
    "parts/deep/sheet.obj": 128,
}
BROKEN = {
    "broken/malformed.off": "malformed vertex coordinate",
    "broken/empty.ply": "",
    "broken/truncated.stl": "",
    "broken/gone.obj": "No such file",
}


def make_dataset(root):
    os.makedirs(os.path.join(root, "parts", "deep"))
    os.makedirs(os.path.join(root, "broken"))
    for name, mesh in [("sphere.off", icosphere(2)), ("parts/grid.PLY", grid(10)), ("parts/ball.stl", icosphere(1)),
                       ("parts/deep/sheet.obj", grid(8)), ("broken/truncated.stl", icosphere(1))]:
        write(os.path.join(root, name), mesh)
    with open(os.path.join(root, "broken", "truncated.stl"), "r+b") as f:
        f.truncate(84 + 50 * 30)
    for name, text in [("broken/malformed.off", "OFF\n3 1 0\n0 0 0\n1 zero 0\n0 1 0\n3 0 1 2\n"),
                       ("broken/empty.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\n"
                        "property float y\nproperty float z\nelement face 0\n"
                        "property list uchar int vertex_indices\nend_header\n0 0 0\n"),
                       ("readme.txt", "not a mesh: left out of folder searches\n")]:
        with open(os.path.join(root, name), "w") as f:
            f.write(text)
    os.symlink(os.path.join(root, "nowhere.obj"), os.path.join(root, "broken", "gone.obj"))
    return root


@pytest.fixture(scope="module")
def dataset(tmp_path_factory):
    return make_dataset(str(tmp_path_factory.mktemp("meshes")))


def make_tool_wrapper(folder, marker=None):
    """A stand-in for the tool that misbehaves for some inputs by name: *crash*
    leaves a temporary output and kills itself, *slow* sleeps, *pause* says
    it started (INPUT.started) and sleeps, *stall* (once:
    while `marker` does not exist) records its parent, the worker, in `marker`
    and sleeps, *killer* kills its parent. Everything else goes to the real tool."""
    path = os.path.join(folder, "quorvel-wrapper")
    with open(path, "w") as f:
        f.write(f"""#!/bin/sh
case "$(basename "$2")" in
  *crash*) : > "$(dirname "$4")/.$(basename "$4").partial-Xdead1"; kill -KILL $$ ;;
  *slow*) exec sleep 30 ;;
  *pause*) : > "$2.started"; exec sleep 30 ;;
  *killer*) kill -KILL $PPID; exec sleep 30 ;;
  *stall*) if [ ! -e "{marker}" ]; then echo $PPID > "{marker}.tmp"; mv "{marker}.tmp" "{marker}"; exec sleep 60; fi ;;
esac
exec "{TOOL}" "$@"
""")
    os.chmod(path, os.stat(path).st_mode | stat.S_IXUSR)
    return path


def tool_info(path):
    """Faces and volume of a file, from `quorvel info`: a view independent of the batch."""
    done = subprocess.run([TOOL, "info", path, "--json", "-"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          check=True, text=True)
    return json.loads(done.stdout)


def wait_for(path):
    deadline = time.monotonic() + 60
    while not os.path.exists(path) and time.monotonic() < deadline:
        time.sleep(0.05)


def partial_files(folder):
    return glob.glob(os.path.join(folder, "**", ".*partial*"), recursive=True)


def by_name(rows, root):
    return {os.path.relpath(row["input"], root): row for row in rows}


def check_rows(rows, root, out):
    """Every input has its row, good ones an output that matches it, broken ones an error and no output."""
    assert [os.path.relpath(r["input"], root) for r in rows] == sorted(
        list(GOOD) + list(BROKEN)), "one row per input, in sorted order"
    named = by_name(rows, root)
    for name, faces in GOOD.items():
        row = named[name]
        assert (row["status"], row["error"], row["output"], row["faces_in"]) == ("ok", "", os.path.join(out, name),
                                                                                 faces), name
        # Edges 1.5 times longer than the input's: fewer faces.
        assert row["faces_out"] == tool_info(row["output"])["faces_in"] < faces
        assert 0 < row["smallest_angle"] < 60 and 0 <= row["valence6_share"] <= 1 and 0 <= row["edge_cv"] < 1
        assert 0 <= row["hausdorff"] < 0.2 and row["wall_time"] > 0
    # The corners of a coarse convex polyhedron are cut off.
    for sphere in ("sphere.off", "parts/ball.stl"):
        assert -0.3 < named[sphere]["volume_change"] < 0
    for name, message in BROKEN.items():
        row = named[name]
        assert row["status"] == "failed" and message in row["error"] and row["error"], (name, row["error"])
        assert row["faces_out"] is None and not os.path.exists(row["output"])
    assert partial_files(out) == []


def read_table(path):
    with open(path, newline="") as f:
        return list(csv.DictReader(f))


# --------------------------------------------------------------- locally

class TestLocalBatch:
    @pytest.fixture(scope="class")
    def first_run(self, dataset, tmp_path_factory):
        out = str(tmp_path_factory.mktemp("remeshed"))
        table = os.path.join(out, "results.csv")
        # A temporary file a killed run left: check_rows sees it cleaned.
        open(os.path.join(out, ".sphere.off.partial-Ab12Cd"), "w").close()
        rows = batch.remesh([dataset], out, jobs=2, results=table, relative=1.5)
        return out, table, rows

    def test_every_input_gets_an_output_or_its_error_in_rows_and_on_disk(self, dataset, first_run):
        out, table, rows = first_run
        check_rows(rows, dataset, out)
        written = read_table(table)
        assert list(written[0]) == list(batch.COLUMNS)
        for column in ("input", "status", "faces_out", "error"):
            assert [w[column] for w in written] == [str(r[column] or "") for r in rows], column

    def test_rerun_skips_done_files_and_redoes_touched_ones(self, dataset, first_run):
        out, table, rows = first_run
        before = by_name(rows, dataset)
        touched = os.path.join(dataset, "parts", "ball.stl")
        original = os.stat(touched)
        later = os.stat(os.path.join(out, "parts", "ball.stl")).st_mtime + 10
        os.utime(touched, (later, later))
        try:
            again = by_name(batch.remesh([dataset], out, jobs=2, results=table, relative=1.5), dataset)
        finally:
            # The data set is shared: an input dated in the future would make
            # later tests redo it.
            os.utime(touched, ns=(original.st_atime_ns, original.st_mtime_ns))
        for name in GOOD:
            assert again[name]["status"] == ("ok" if name == "parts/ball.stl" else "skipped"), name
            # Skipped files keep the figures of the run that made them.
            assert again[name]["faces_out"] == before[name]["faces_out"]
        assert all(again[name]["status"] == "failed" for name in BROKEN)
        forced = by_name(batch.remesh([dataset], out, jobs=2, results=table, force=True, relative=1.5), dataset)
        assert all(forced[name]["status"] == "ok" for name in GOOD)

    def test_folder_list_and_file_inputs_name_outputs_from_their_common_folder(self, dataset, tmp_path):
        listing = tmp_path / "list.txt"
        listing.write_text(f"# two of them\n{os.path.join(dataset, 'sphere.off')}\n\n"
                           f"{os.path.relpath(os.path.join(dataset, 'parts', 'grid.PLY'), tmp_path)}\n")
        out = str(tmp_path / "out")
        rows = batch.smooth([f"@{listing}", os.path.join(dataset, "parts", "deep")], out, jobs=1, iterations=2,
                            format="obj")
        assert [r["output"] for r in rows] == [os.path.join(out, "sphere.obj"), os.path.join(out, "parts", "grid.obj"),
                                               os.path.join(out, "parts", "deep", "sheet.obj")]
        assert all(r["status"] == "ok" and r["faces_out"] == r["faces_in"] for r in rows)

    def test_colliding_outputs_and_crashed_or_slow_tools_become_failed_rows(self, tmp_path):
        for name in ("a.off", "a.obj", "crash.off", "slow.off", "fine.off"):
            write(str(tmp_path / name), icosphere(1))
        out = str(tmp_path / "out")
        rows = {os.path.basename(r["input"]): r for r in batch.subdivide(
            [str(tmp_path)], out, format="stl", relative=0.9, jobs=3, tool=make_tool_wrapper(str(tmp_path)), timeout=3)}
        assert rows["a.obj"]["status"] == "ok" and rows["fine.off"]["status"] == "ok"
        assert rows["a.off"]["status"] == "failed" and "would overwrite" in rows["a.off"]["error"]
        assert rows["crash.off"]["status"] == "failed" and "SIGKILL" in rows["crash.off"]["error"]
        assert rows["slow.off"]["status"] == "failed" and "timed out" in rows["slow.off"]["error"]
        assert partial_files(out) == []

    def test_info_measures_without_writing(self, dataset):
        rows = batch.info([dataset], jobs=2)
        named = by_name(rows, dataset)
        assert named["sphere.off"]["faces_in"] == 320 and named["sphere.off"]["output"] == ""
        assert named["sphere.off"]["edge_cv"] == named["sphere.off"]["edge_cv_in"]
        assert named["broken/malformed.off"]["status"] == "failed"

    def test_unknown_options_stop_the_batch_before_it_starts(self, dataset, tmp_path):
        with pytest.raises(batch.BatchError, match="no option 'relativ'"):
            batch.remesh([dataset], str(tmp_path), relativ=2)
        with pytest.raises(batch.BatchError, match="no mesh files"):
            batch.remesh([str(tmp_path)], str(tmp_path / "out"))


# ------------------------------------------------------------ command line

def run_cli(arguments, **environment):
    env = dict(os.environ, **environment)
    return subprocess.run(arguments, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=env, timeout=120)


class TestCommandLine:
    def test_python_module_writes_the_table_and_reports_failures(self, dataset, tmp_path):
        table = str(tmp_path / "r.csv")
        done = run_cli([PYTHON, "-m", "quorvel.batch", "remesh", dataset, "-o", str(tmp_path / "out"), "--jobs", "2",
                        "--relative", "1.5", "--method", "preserve", "--results", table])
        assert done.returncode == 1, done.stderr
        assert "4 done, 0 skipped (already up to date), 4 failed of 8 files" in done.stderr
        rows = read_table(table)
        assert sorted(r["status"] for r in rows) == ["failed"] * 4 + ["ok"] * 4

    def test_tool_batch_subcommand_runs_the_python_package(self, dataset, tmp_path):
        listing = tmp_path / "list.txt"
        listing.write_text("\n".join(os.path.join(dataset, name) for name in GOOD) + "\n")
        table = str(tmp_path / "info.csv")
        # Without PYTHONPATH: the tool finds the package in its source tree.
        env = {k: v for k, v in os.environ.items() if k not in ("PYTHONPATH", "QUORVEL_TOOL")}
        done = subprocess.run([TOOL, "batch", "info", f"@{listing}", "--results", table], env=env, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
        assert done.returncode == 0, done.stderr
        rows = read_table(table)
        assert [int(r["faces_in"]) for r in rows] == list(GOOD.values())

    def test_ctrl_c_loses_only_the_file_in_flight(self, tmp_path):
        folder = tmp_path / "in"
        folder.mkdir()
        for name in ("a.off", "b.off", "c-pause.off", "d.off"):
            write(str(folder / name), icosphere(1))
        out, table = tmp_path / "out", str(tmp_path / "r.csv")
        wrapper = make_tool_wrapper(str(tmp_path))
        child = subprocess.Popen([PYTHON, "-m", "quorvel.batch", "subdivide", str(folder), "-o", str(out), "--jobs",
                                  "1", "--results", table], env=dict(os.environ, QUORVEL_TOOL=wrapper),
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True)
        wait_for(str(folder / "c-pause.off.started"))
        # What a terminal does on Ctrl-C: SIGINT to the whole foreground group.
        os.killpg(child.pid, signal.SIGINT)
        _, stderr = child.communicate(timeout=30)
        assert child.returncode == 130, stderr
        statuses = {os.path.basename(r["input"]): r["status"] for r in read_table(table)}
        assert statuses == {"a.off": "ok", "b.off": "ok", "c-pause.off": "interrupted", "d.off": "not run"}
        assert sorted(os.listdir(out)) == ["a.off", "b.off"]

    def test_missing_python_or_tool_is_a_clear_error(self, dataset, tmp_path):
        done = run_cli([TOOL, "batch", "info", dataset], QUORVEL_PYTHON="/nonexistent/python3")
        assert done.returncode == 2 and "batch needs Python 3 at /nonexistent/python3" in done.stderr
        done = run_cli([PYTHON, "-m", "quorvel.batch", "info", dataset], QUORVEL_TOOL=str(tmp_path / "none"))
        assert done.returncode == 2 and "does not exist" in done.stderr

    def test_json_figures_match_the_table_and_are_written_only_for_a_run_that_succeeds(self, dataset, tmp_path):
        done = run_cli([TOOL, "remesh", os.path.join(dataset, "sphere.off"), "-o", str(tmp_path / "s.ply"),
                        "--json", "-"])
        figures = json.loads(done.stdout)
        assert figures["faces_in"] == 320 and figures["faces"] == tool_info(str(tmp_path / "s.ply"))["faces_in"]
        assert f"{figures['smallest_angle']:.2f} deg" in done.stderr
        path = str(tmp_path / "figures.json")
        done = run_cli([TOOL, "smooth", os.path.join(dataset, "parts", "grid.PLY"), "-o", str(tmp_path / "g.obj"),
                        "--json", path])
        assert done.returncode == 0, done.stderr
        written = json.load(open(path))
        assert written["command"] == "smooth" and written["faces_in"] == written["faces"] == 200
        assert written["open_edges"] == tool_info(str(tmp_path / "g.obj"))["open_edges_in"] == 40
        os.unlink(path)
        done = run_cli([TOOL, "smooth", os.path.join(dataset, "broken", "malformed.off"), "-o",
                        str(tmp_path / "m.obj"), "--json", path])
        assert done.returncode == 2 and not os.path.exists(path)


# ------------------------------------------------------------------ Dask

distributed = pytest.importorskip("distributed")


@pytest.fixture(scope="module")
def dask_client():
    import dask
    # One death is retried elsewhere; a task whose worker dies twice fails.
    with dask.config.set({"distributed.scheduler.allowed-failures": 1}):
        cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                           dashboard_address=None, silence_logs=50)
        client = distributed.Client(cluster)
        yield client
        client.close()
        cluster.close()


class TestDaskBatch:
    def test_killed_worker_loses_nothing(self, dask_client, dataset, tmp_path):
        root = str(tmp_path / "in")
        make_dataset(root)
        write(os.path.join(root, "stall.off"), icosphere(2))
        marker = str(tmp_path / "worker.pid")
        wrapper = make_tool_wrapper(str(tmp_path), marker)
        out = str(tmp_path / "out")
        outcome = {}

        def run():
            outcome["rows"] = batch.remesh([root], out, client=dask_client, tool=wrapper, relative=1.5)

        thread = threading.Thread(target=run)
        thread.start()
        wait_for(marker)
        pid = int(open(marker).read())
        assert pid in set(dask_client.run(os.getpid).values()), "the stalled tool runs under a Dask worker"
        os.kill(pid, signal.SIGKILL)
        thread.join(120)
        assert not thread.is_alive(), "the batch ends after losing a worker"

        rows = outcome["rows"]
        stalled = [r for r in rows if r["input"].endswith("stall.off")]
        assert len(stalled) == 1 and stalled[0]["status"] == "ok" and stalled[0]["faces_in"] == 320
        # Workers are Dask addresses, and the killed worker's replacement
        # may have taken some of the files.
        check_rows([r for r in rows if r is not stalled[0]], root, out)
        assert all(r["worker"].startswith("tcp://") for r in rows if r["status"] == "ok")

    def test_task_that_keeps_killing_workers_is_a_failed_row(self, dask_client, tmp_path):
        write(str(tmp_path / "killer.off"), icosphere(1))
        wrapper = make_tool_wrapper(str(tmp_path))
        rows = batch.remesh([str(tmp_path / "killer.off")], str(tmp_path / "out"), client=dask_client, tool=wrapper)
        assert rows[0]["status"] == "failed"
        assert "Dask workers died while running it" in rows[0]["error"]
        assert partial_files(str(tmp_path / "out")) == []

    def test_no_workers_fails_the_rest_instead_of_hanging(self, dataset, tmp_path):
        with distributed.LocalCluster(n_workers=0, processes=False, dashboard_address=None) as empty, \
                distributed.Client(empty) as client:
            rows = batch.info([os.path.join(dataset, "sphere.off")], client=client, worker_wait=1)
        assert rows[0]["status"] == "failed" and "no Dask worker" in rows[0]["error"]
