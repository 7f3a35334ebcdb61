"""Many meshes at once: a quorvel subcommand over files, folders and lists.

Every file is processed by the quorvel command-line tool in a child process,
so a crash, a memory guard or a malformed file ends that one process and the
batch goes on, and every file gets exactly what a single ``quorvel remesh``
would give. Locally the children run N at a time (one per core by default);
with a ``dask.distributed.Client`` or a scheduler address they run on the
Dask workers, which read and write the files themselves through a path they
share with the caller: only paths and options cross the scheduler.

    import quorvel.batch
    rows = quorvel.batch.remesh(["scans/"], "remeshed/", relative=1.5, results="results.csv")

    python3 -m quorvel.batch remesh scans/ -o remeshed/ --relative 1.5 --results results.csv
    quorvel batch remesh scans/ -o remeshed/ --scheduler tcp://head:8786

Inputs are mesh files, folders (searched recursively for .off, .obj, .ply
and .stl, in any letter case) and ``@list.txt`` files naming one path a line
(relative paths are relative to the list). Outputs keep the inputs' paths
relative to the folder that holds all inputs, under the output folder, and
their extension unless ``format`` says otherwise.

The tool is the first of: the ``tool`` argument, ``$QUORVEL_TOOL``,
``bin/quorvel`` inside this package, ``bin/quorvel`` of the prefix this
package is installed under, ``quorvel`` on ``PATH``, and
``build/release/tools/quorvel`` of the source tree holding this package.
A Dask worker uses the caller's tool path when it exists on the worker and
otherwise looks for one the same way.

Guarantees: one result per input, in input order, with status ``ok``,
``failed`` (and the error), ``skipped`` (the output exists and is newer than
the input; ``force`` redoes it), ``interrupted`` (in flight at Ctrl-C) or
``not run``. Outputs appear only complete: the tool writes a hidden
temporary file beside the output and renames it, and temporary files left by
a killed child are removed. A child of a worker that dies is killed with it;
Dask retries a task whose worker died on another worker and, after the
scheduler's ``allowed-failures``, records it as failed.
"""

from __future__ import annotations

import argparse
import csv
import glob
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time
import uuid
from concurrent.futures import FIRST_COMPLETED, ThreadPoolExecutor, wait

__all__ = [
    "BatchError",
    "COLUMNS",
    "COMMANDS",
    "collect_inputs",
    "find_tool",
    "info",
    "main",
    "remesh",
    "run",
    "smooth",
    "subdivide",
    "thicken",
    "write_results",
]

MESH_EXTENSIONS = (".off", ".obj", ".ply", ".stl")
COMMANDS = ("remesh", "smooth", "subdivide", "thicken", "info")

# The results table. Figures without a suffix describe the output (for info:
# the input); shares and changes are fractions, hausdorff is the sampled
# Hausdorff distance over the input's bounding-box diagonal, smallest_angle
# is in degrees, wall_time is the seconds the whole tool run took.
COLUMNS = (
    "input", "output", "status", "error", "faces_in", "faces_out", "edge_cv", "smallest_angle",
    "valence6_share", "volume_change", "hausdorff", "wall_time", "worker",
    "edge_cv_in", "smallest_angle_in", "valence6_share_in",
)

# Options the batch gives the tool itself for every file.
_RESERVED_OPTIONS = ("--output", "--json", "--quiet", "--report", "--help")

# How often the results file is rewritten while the batch runs, in seconds.
_RESULTS_INTERVAL = 2.0


class BatchError(Exception):
    """The batch cannot start: no tool, a bad option, no inputs, an unreadable list."""


# ----------------------------------------------------------------- the tool

def _is_program(path):
    return bool(path) and os.path.isfile(path) and os.access(path, os.X_OK)


def find_tool(tool=None):
    """The path of the quorvel executable (see the module help for the order searched)."""
    if tool:
        if not _is_program(tool):
            raise BatchError(f"the quorvel tool {tool} does not exist or is not executable")
        return os.path.abspath(tool)
    chosen = os.environ.get("QUORVEL_TOOL")
    if chosen:
        if not _is_program(chosen):
            raise BatchError(f"QUORVEL_TOOL={chosen} does not exist or is not executable")
        return os.path.abspath(chosen)
    here = os.path.dirname(os.path.abspath(__file__))
    candidates = [
        os.path.join(here, "bin", "quorvel"),
        os.path.join(here, "..", "..", "..", "..", "bin", "quorvel"),
        shutil.which("quorvel"),
        os.path.join(here, "..", "..", "build", "release", "tools", "quorvel"),
    ]
    for candidate in candidates:
        if candidate and _is_program(candidate):
            return os.path.abspath(candidate)
    raise BatchError("the quorvel tool was not found: set QUORVEL_TOOL to its path "
                     "(after a build it is build/release/tools/quorvel) or put it on PATH")


_option_cache = {}
_option_help = {}


def tool_options(tool, command):
    """The options of `quorvel COMMAND`, read from its --help: {"--name": takes_value}."""
    key = (tool, command)
    if key not in _option_cache:
        try:
            text = subprocess.run([tool, command, "--help"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                  stdin=subprocess.DEVNULL, text=True, timeout=60, check=True).stdout
        except (OSError, subprocess.SubprocessError) as error:
            raise BatchError(f"cannot ask {tool} for the options of {command}: {error}") from error
        options, descriptions = {}, {}
        listing = text.split("\noptions:\n", 1)[1] if "\noptions:\n" in text else ""
        for line in listing.splitlines():
            names, _, description = line.strip().partition("  ")
            names = names.split()
            if not names or not names[0].startswith("-"):
                continue
            takes_value = not names[-1].startswith("-")
            for name in names:
                name = name.rstrip(",")
                if name.startswith("--"):
                    options[name] = takes_value
                    descriptions[name] = (names[-1] if takes_value else None, description.strip())
        _option_cache[key] = options
        _option_help[key] = descriptions
    return _option_cache[key]


def _tool_arguments(tool, command, options):
    """Keyword options (relative=1.5, free_boundary=True) as the tool's arguments."""
    known = tool_options(tool, command)
    arguments = []
    for key, value in options.items():
        if value is None or value is False:
            continue
        name = "--" + key.replace("_", "-")
        if name in _RESERVED_OPTIONS or name not in known:
            usable = ", ".join(n[2:].replace("-", "_") for n in known if n not in _RESERVED_OPTIONS)
            raise BatchError(f"{command} has no option {key!r} (it takes: {usable or 'none'})")
        if known[name]:
            if value is True:
                raise BatchError(f"option {key!r} of {command} needs a value")
            arguments += [name, repr(value) if isinstance(value, float) else str(value)]
        else:
            if value is not True:
                raise BatchError(f"option {key!r} of {command} is a flag: give True")
            arguments.append(name)
    return arguments


# ------------------------------------------------------------------- inputs

def _is_mesh(name):
    return name.lower().endswith(MESH_EXTENSIONS)


def _inside(path, folder):
    return folder is not None and (path == folder or path.startswith(folder.rstrip(os.sep) + os.sep))


def collect_inputs(paths, exclude=None):
    """The input files of `paths` in order, and the folders they are relative to.

    A folder contributes its mesh files, searched recursively and sorted; a
    file is taken as it is, whatever its extension (the tool will say if it
    cannot read it); ``@list.txt`` contributes the lines of the list. Files
    under `exclude` (the output folder) are left out.
    """
    if isinstance(paths, (str, os.PathLike)):
        paths = [paths]
    files, roots, seen = [], [], set()
    exclude = os.path.abspath(exclude) if exclude else None

    def add(path, root):
        path = os.path.abspath(path)
        if path not in seen and not _inside(path, exclude):
            seen.add(path)
            files.append(path)
            roots.append(root)

    def visit(path, base):
        path = os.path.join(base, os.path.expanduser(str(path)))
        if os.path.isdir(path):
            folder = os.path.abspath(path)
            found = []
            for directory, subdirectories, names in os.walk(folder, followlinks=True):
                subdirectories[:] = sorted(d for d in subdirectories if not _inside(os.path.join(directory, d), exclude))
                found += [os.path.join(directory, n) for n in names if _is_mesh(n) and not n.startswith(".")]
            for file in sorted(found):
                add(file, folder)
        else:
            add(path, os.path.dirname(os.path.abspath(path)))

    for entry in paths:
        entry = os.fspath(entry)
        if entry.startswith("@"):
            listing = entry[1:]
            try:
                with open(listing, encoding="utf-8") as stream:
                    lines = [line.strip() for line in stream]
            except OSError as error:
                raise BatchError(f"cannot read the list {listing}: {error.strerror}") from error
            base = os.path.dirname(os.path.abspath(listing))
            for line in lines:
                if line.startswith("@"):
                    raise BatchError(f"{listing}: lists cannot name lists ({line})")
                if line and not line.startswith("#"):
                    visit(line, base)
        else:
            visit(entry, "")
    return files, roots


def _plan_outputs(files, roots, out_dir, extension):
    """The output of every input, None where two inputs would write one file."""
    if out_dir is None:
        return [None] * len(files), {}
    base = os.path.commonpath(roots) if roots else out_dir
    outputs, owners, collisions = [], {}, {}
    for file in files:
        relative = os.path.relpath(file, base)
        if extension:
            relative = os.path.splitext(relative)[0] + "." + extension.lstrip(".").lower()
        output = os.path.join(out_dir, relative)
        if output in owners:
            collisions[file] = owners[output]
            outputs.append(None)
        else:
            owners[output] = file
            outputs.append(output)
    return outputs, collisions


def _is_done(input_path, output):
    """The output exists (complete, since outputs only appear by renaming) and is newer than the input."""
    try:
        return os.stat(output).st_mtime_ns >= os.stat(input_path).st_mtime_ns
    except OSError:
        return False


# ----------------------------------------------------------------- one file
# Everything a Dask worker runs is below, in plain functions: they travel to
# the workers by value, so a worker needs the tool but not this package.

def _partial_files(output):
    folder, name = os.path.split(output)
    return glob.glob(os.path.join(glob.escape(folder or "."), "." + glob.escape(name) + ".partial-*"))


def _remove_partials(output):
    """Removes the temporary files the tool leaves for `output` when it is killed outright."""
    for partial in _partial_files(output):
        try:
            os.unlink(partial)
        except OSError:
            pass


def _usable_tool(tool):
    if tool and os.path.isfile(tool) and os.access(tool, os.X_OK):
        return tool
    return find_tool()


def _worker_name():
    try:
        from distributed import get_worker
        return get_worker().address
    except Exception:
        return f"{socket.gethostname()}/{threading.current_thread().name}"


def _tool_failure(status, stderr):
    lines = [line.strip() for line in stderr.splitlines() if line.strip()]
    told = [line for line in lines if line.startswith("quorvel:")]
    message = (told or lines or [""])[-1]
    if status < 0:
        try:
            name = signal.Signals(-status).name
        except ValueError:
            name = f"signal {-status}"
        return f"the tool was killed by {name}" + (f" ({message})" if message else "")
    if message.startswith("quorvel: "):
        message = message[len("quorvel: "):]
    if status == 2 and message:
        return message
    return f"the tool exited with status {status}" + (f": {message}" if message else "")


def _copy_figures(row, figures):
    faces_out = figures.get("faces")
    row["faces_in"] = figures.get("faces_in")
    row["faces_out"] = faces_out
    # info measures its input only; its figures fill the plain columns.
    suffix = "" if faces_out is not None else "_in"
    for column in ("edge_cv", "smallest_angle", "valence6_share"):
        row[column] = figures.get(column + suffix)
        row[column + "_in"] = figures.get(column + "_in")
    row["volume_change"] = figures.get("volume_change")
    row["hausdorff"] = figures.get("hausdorff")


def _run_task(task, children=None):
    """Runs the tool on one file and returns its row. Never raises.

    `children` is the local pool's register of running children, which
    Ctrl-C stops; Dask workers pass none.
    """
    start = time.monotonic()
    output = task["output"]
    row = {column: None for column in COLUMNS}
    row.update(input=task["input"], output=output or "", status="failed", error="",
               worker=task.get("worker") or _worker_name())
    try:
        tool = _usable_tool(task["tool"])
        argv = [tool, task["command"], task["input"]]
        if output:
            os.makedirs(os.path.dirname(output), exist_ok=True)
            _remove_partials(output)
            argv += ["-o", output]
        argv += list(task["arguments"]) + ["--json", "-", "--quiet"]
        # The child dies with the thread that started it, so a worker that
        # is killed leaves no tool running on behind it.
        setpriv = "/usr/bin/setpriv"
        if sys.platform.startswith("linux") and os.access(setpriv, os.X_OK):
            argv = [setpriv, "--pdeathsig", "KILL", "--"] + argv
        environment = dict(os.environ)
        if task.get("single_thread") and "OMP_NUM_THREADS" not in environment:
            environment["OMP_NUM_THREADS"] = "1"
        process = subprocess.Popen(argv, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=environment)
        if children is not None:
            children.add(process)
        try:
            try:
                out, err = process.communicate(timeout=task.get("timeout"))
            except subprocess.TimeoutExpired:
                process.kill()
                out, err = process.communicate()
                row["error"] = f"timed out after {task['timeout']} s"
                return row
        finally:
            if children is not None:
                children.discard(process)
        out = out.decode("utf-8", "replace")
        err = err.decode("utf-8", "replace")
        if process.returncode != 0:
            row["error"] = _tool_failure(process.returncode, err)
            # Ctrl-C reaches the tool as soon as this pool, which takes a
            # moment to cancel the files not started: until it has, this
            # thread must not take the next file and have it counted in
            # flight.
            if children is not None and _interrupted(dict(row))["status"] == "interrupted":
                children.stopped.wait(1.0)
            return row
        try:
            figures = json.loads(out.strip().splitlines()[-1])
        except (ValueError, IndexError):
            row["error"] = "the tool gave no figures (is it a quorvel without --json?)"
            return row
        _copy_figures(row, figures)
        if output and not os.path.isfile(output):
            row["error"] = "the tool reported success but wrote no output"
            return row
        row["status"] = "ok"
        return row
    except Exception as error:  # a batch goes on whatever one file does
        row["error"] = f"{type(error).__name__}: {error}"
        return row
    finally:
        if output and row["status"] != "ok":
            _remove_partials(output)
        row["wall_time"] = round(time.monotonic() - start, 3)


# ------------------------------------------------------------------ running

class _Children:
    """The local pool's running tool processes, so that Ctrl-C can stop them."""

    def __init__(self):
        self._lock = threading.Lock()
        self._processes = set()
        self.stopping = False
        self.stopped = threading.Event()

    def add(self, process):
        with self._lock:
            self._processes.add(process)
            stopping = self.stopping
        if stopping:
            process.terminate()

    def discard(self, process):
        with self._lock:
            self._processes.discard(process)

    def stop(self):
        """SIGTERM (the tool then removes its temporary file), SIGKILL after two seconds."""
        with self._lock:
            self.stopping = True
            processes = list(self._processes)
        for process in processes:
            try:
                process.terminate()
            except OSError:
                pass
        deadline = time.monotonic() + 2
        for process in processes:
            try:
                process.wait(max(0.0, deadline - time.monotonic()))
            except subprocess.TimeoutExpired:
                process.kill()
        self.stopped.set()


class _Progress:
    """One line on stderr, redrawn in place: files done, failed, elapsed, rate."""

    def __init__(self, command, total, enabled, already=0):
        # Files already up to date count as done but not towards the rate.
        self.command, self.total, self.enabled, self.already = command, total, enabled, already
        self.start = time.monotonic()
        self.last = 0.0
        self.shown = False

    def update(self, finished, failed, force=False):
        now = time.monotonic()
        if not self.enabled or (not force and now - self.last < 0.25):
            return
        self.last = now
        elapsed = now - self.start
        width = 24
        filled = int(width * finished / self.total) if self.total else width
        rate = (finished - self.already) / elapsed * 60 if elapsed > 0 else 0.0
        minutes, seconds = divmod(int(elapsed), 60)
        sys.stderr.write(f"\rquorvel batch {self.command}: [{'#' * filled}{'.' * (width - filled)}] "
                         f"{finished}/{self.total} done, {failed} failed, {minutes}:{seconds:02d} elapsed, "
                         f"{rate:.1f} files/min ")
        sys.stderr.flush()
        self.shown = True

    def close(self):
        if self.shown:
            sys.stderr.write("\n")
            sys.stderr.flush()


def _format_cell(value):
    if value is None:
        return ""
    if isinstance(value, float):
        return f"{value:.6g}"
    return str(value)


def write_results(path, rows):
    """Writes the rows as CSV, to a temporary name first, so the table is never half written."""
    folder = os.path.dirname(os.path.abspath(path))
    os.makedirs(folder, exist_ok=True)
    temporary = os.path.join(folder, f".{os.path.basename(path)}.partial-{uuid.uuid4().hex[:8]}")
    try:
        with open(temporary, "w", newline="", encoding="utf-8") as stream:
            writer = csv.DictWriter(stream, fieldnames=list(COLUMNS), extrasaction="ignore")
            writer.writeheader()
            for row in rows:
                writer.writerow({column: _format_cell(row.get(column)) for column in COLUMNS})
        os.replace(temporary, path)
    finally:
        if os.path.exists(temporary):
            os.unlink(temporary)


def _read_previous(path):
    """The rows of an earlier results table, by input; empty when there is none."""
    if not path or not os.path.isfile(path):
        return {}
    try:
        with open(path, newline="", encoding="utf-8") as stream:
            return {row.get("input"): row for row in csv.DictReader(stream)}
    except (OSError, csv.Error, UnicodeDecodeError):
        return {}


def _number(text):
    if text in (None, ""):
        return None
    try:
        number = float(text)
    except ValueError:
        return text
    return int(number) if number.is_integer() and "." not in text and "e" not in text.lower() else number


def _skipped_row(input_path, output, previous):
    row = {column: None for column in COLUMNS}
    row.update(input=input_path, output=output, status="skipped", error="")
    earlier = previous.get(input_path)
    if earlier and earlier.get("output") == output and earlier.get("status") in ("ok", "skipped"):
        for column in ("faces_in", "faces_out", "edge_cv", "smallest_angle", "valence6_share", "volume_change",
                       "hausdorff", "edge_cv_in", "smallest_angle_in", "valence6_share_in"):
            row[column] = _number(earlier.get(column))
    return row


def _interrupted(row):
    # Ctrl-C reaches the tools too, being in the same process group.
    if row["status"] == "failed" and row["error"].startswith(("the tool was killed by SIGINT",
                                                                "the tool was killed by SIGTERM")):
        row["status"], row["error"] = "interrupted", "interrupted while in flight"
    return row


def _run_local(tasks, jobs, finish, tick):
    children = _Children()
    pool = ThreadPoolExecutor(max_workers=jobs, thread_name_prefix="local")
    try:
        futures = {pool.submit(_run_task, task, children): index for index, task in tasks}
        pending = set(futures)
        try:
            while pending:
                done, pending = wait(pending, timeout=0.25, return_when=FIRST_COMPLETED)
                for future in done:
                    finish(futures[future], _interrupted(future.result()))
                tick()
        except KeyboardInterrupt:
            for future in pending:
                future.cancel()
            children.stop()
            for future in pending:
                if not future.cancelled():
                    row = future.result()
                    if row["status"] != "ok":
                        row["status"], row["error"] = "interrupted", "interrupted while in flight"
                    finish(futures[future], row)
            raise
    finally:
        pool.shutdown(wait=True, cancel_futures=True)


def _ship_by_value():
    """Lets workers without this package run its task function."""
    try:
        import cloudpickle
        module = sys.modules.get(_run_task.__module__)
        if module is not None and module.__name__ != "__main__":
            cloudpickle.register_pickle_by_value(module)
    except Exception:
        pass


def _worker_count(client):
    try:
        return len(client.scheduler_info().get("workers", {}))
    except Exception:
        return 0


def _run_dask(tasks, client, finish, tick, worker_wait):
    _ship_by_value()
    run_id = uuid.uuid4().hex[:8]
    futures = {}
    for index, task in tasks:
        future = client.submit(_run_task, task, key=f"quorvel-{task['command']}-{run_id}-{index}", pure=False)
        futures[future] = index
    pending = set(futures)
    idle_since = None
    last_check = 0.0
    task_of = dict(tasks)
    try:
        while pending:
            for future in [f for f in pending if f.done()]:
                status = future.status
                # A result held by a worker that dies is lost and computed
                # again: the future was done a moment ago and is pending now.
                if status not in ("finished", "error", "cancelled"):
                    continue
                pending.discard(future)
                index = futures[future]
                task = task_of[index]
                if status == "finished":
                    try:
                        row = future.result()
                    except Exception as error:
                        row = _lost_row(task, f"{type(error).__name__}: {error}")
                else:
                    row = _lost_row(task, _dask_failure(future))
                finish(index, row)
            now = time.monotonic()
            if pending and now - last_check >= 2:
                last_check = now
                if _worker_count(client) > 0:
                    idle_since = None
                elif idle_since is None:
                    idle_since = now
                elif now - idle_since >= worker_wait:
                    client.cancel(list(pending))
                    for future in list(pending):
                        finish(futures[future], _lost_row(task_of[futures[future]],
                                                          f"no Dask worker for {worker_wait:g} s"))
                    pending.clear()
            tick()
            if pending:
                time.sleep(0.1)
    except KeyboardInterrupt:
        client.cancel(list(pending))
        for future in pending:
            row = _lost_row(task_of[futures[future]], "interrupted before it finished")
            row["status"] = "interrupted"
            finish(futures[future], row)
        raise


def _lost_row(task, error):
    # A task that never reported back may have left a temporary file on
    # the shared path; this side can see it too.
    if task["output"]:
        _remove_partials(task["output"])
    row = {column: None for column in COLUMNS}
    row.update(input=task["input"], output=task["output"] or "", status="failed", error=error, worker="")
    return row


def _dask_failure(future):
    try:
        error = future.exception(timeout=5)
    except Exception as lookup:
        return f"the Dask task was lost ({type(lookup).__name__}: {lookup})"
    if error is None:
        return f"the Dask task ended as {future.status}"
    if type(error).__name__ == "KilledWorker":
        return f"Dask workers died while running it, too often to retry ({error})"
    return f"{type(error).__name__}: {error}"


def run(command, paths, out_dir=None, client=None, jobs=None, results=None, force=False, progress=None,
        timeout=None, scheduler=None, tool=None, format=None, worker_wait=120.0, **options):
    """Runs `quorvel COMMAND` on every input; returns one result dict per input, in order.

    paths: files, folders and "@list.txt" (one path or list of them).
    out_dir: where outputs go (not for info).
    client: a dask.distributed.Client; scheduler: its address instead
    ("tcp://host:8786"); neither: local processes, `jobs` at a time (one
    per core by default).
    results: also write the table as CSV there (rows of an earlier table
    fill in the figures of skipped files).
    force: redo files whose output is already newer than the input.
    progress: a progress line on stderr (default: when stderr is a terminal).
    timeout: seconds a file may take before its tool is killed.
    format: output extension (off, obj, ply, stl) instead of the input's.
    worker_wait: seconds without any Dask worker before the rest fails.
    options: the tool's options, as keywords (relative=1.5, method="exact",
    free_boundary=True).

    Raises BatchError when the batch cannot start, KeyboardInterrupt after
    writing the table when interrupted.
    """
    if command not in COMMANDS:
        raise BatchError(f"unknown command {command!r}: one of {', '.join(COMMANDS)}")
    if command != "info" and out_dir is None:
        raise BatchError(f"{command} needs an output folder")
    if command == "info":
        out_dir = None
    if format is not None and "." + str(format).lower().lstrip(".") not in MESH_EXTENSIONS:
        raise BatchError(f"format must be one of off, obj, ply, stl, not {format!r}")
    if jobs is not None and int(jobs) < 1:
        raise BatchError("jobs must be at least 1")
    tool = find_tool(tool)
    arguments = _tool_arguments(tool, command, options)
    out_dir = os.path.abspath(os.fspath(out_dir)) if out_dir is not None else None
    files, roots = collect_inputs(paths, exclude=out_dir)
    if not files:
        raise BatchError("no mesh files among the inputs")
    if out_dir is not None:
        os.makedirs(out_dir, exist_ok=True)
    outputs, collisions = _plan_outputs(files, roots, out_dir, format)
    if results is not None:
        results = os.fspath(results)
    previous = _read_previous(results) if results and not force else {}

    own_client = None
    if client is None and scheduler:
        try:
            from distributed import Client
        except ImportError as error:
            raise BatchError("--scheduler needs Dask (Debian: apt-get install python3-distributed)") from error
        try:
            client = own_client = Client(scheduler, timeout="30s")
        except Exception as error:
            raise BatchError(f"cannot reach the Dask scheduler at {scheduler}: {error}") from error
    if jobs is None:
        jobs = len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else (os.cpu_count() or 1)
    jobs = int(jobs)

    rows = [None] * len(files)
    tasks = []
    for index, (file, output) in enumerate(zip(files, outputs)):
        if file in collisions:
            row = {column: None for column in COLUMNS}
            row.update(input=file, output="", status="failed",
                       error=f"its output would overwrite that of {collisions[file]}")
            rows[index] = row
        elif output is not None and not force and _is_done(file, output):
            rows[index] = _skipped_row(file, output, previous)
        else:
            tasks.append((index, {
                "command": command, "input": file, "output": output, "arguments": arguments, "tool": tool,
                "timeout": timeout,
                # Files run side by side, so each tool keeps to one thread
                # unless OMP_NUM_THREADS says otherwise.
                "single_thread": client is not None or jobs > 1,
            }))

    if progress is None:
        progress = sys.stderr.isatty()
    counts = {"finished": sum(r is not None for r in rows),
              "failed": sum(r is not None and r["status"] == "failed" for r in rows)}
    bar = _Progress(command, len(files), progress, counts["finished"])
    written = [time.monotonic()]

    def save(force_write=False):
        if results and (force_write or time.monotonic() - written[0] >= _RESULTS_INTERVAL):
            written[0] = time.monotonic()
            write_results(results, [r for r in rows if r is not None])

    def finish(index, row):
        rows[index] = row
        counts["finished"] += 1
        counts["failed"] += row["status"] == "failed"
        bar.update(counts["finished"], counts["failed"])

    def tick():
        bar.update(counts["finished"], counts["failed"])
        save()

    try:
        if client is not None:
            _run_dask(tasks, client, finish, tick, worker_wait)
        else:
            _run_local(tasks, jobs, finish, tick)
    except KeyboardInterrupt:
        for index, row in enumerate(rows):
            if row is None:
                rows[index] = {column: None for column in COLUMNS}
                rows[index].update(input=files[index], output=outputs[index] or "", status="not run", error="")
        raise
    finally:
        bar.update(counts["finished"], counts["failed"], force=True)
        bar.close()
        if all(r is not None for r in rows):
            save(force_write=True)
        if own_client is not None:
            own_client.close()
    return rows


def remesh(paths, out_dir, client=None, jobs=None, results=None, force=False, **options):
    """quorvel remesh over many files; see run() for the arguments and the result dicts."""
    return run("remesh", paths, out_dir, client=client, jobs=jobs, results=results, force=force, **options)


def smooth(paths, out_dir, client=None, jobs=None, results=None, force=False, **options):
    """quorvel smooth over many files; see run()."""
    return run("smooth", paths, out_dir, client=client, jobs=jobs, results=results, force=force, **options)


def subdivide(paths, out_dir, client=None, jobs=None, results=None, force=False, **options):
    """quorvel subdivide over many files; see run()."""
    return run("subdivide", paths, out_dir, client=client, jobs=jobs, results=results, force=force, **options)


def thicken(paths, out_dir, client=None, jobs=None, results=None, force=False, **options):
    """quorvel thicken over many files; see run()."""
    return run("thicken", paths, out_dir, client=client, jobs=jobs, results=results, force=force, **options)


def info(paths, client=None, jobs=None, results=None, **options):
    """quorvel info over many files: their figures, no outputs; see run()."""
    return run("info", paths, None, client=client, jobs=jobs, results=results, **options)


# ------------------------------------------------------------ command line

def _parser(prog, command, tool):
    parser = argparse.ArgumentParser(
        prog=prog,
        description="Run a quorvel subcommand over many mesh files, on local processes or a Dask cluster, "
                    "with a results table.",
        epilog="INPUTS are mesh files, folders (searched recursively for .off .obj .ply .stl) and @list.txt "
               "files. Every option of the quorvel subcommand is accepted too, except --output, --json, "
               "--report and --quiet (see quorvel COMMAND --help). The tool is taken from $QUORVEL_TOOL, "
               "else beside the package, on PATH or in the source tree's build/release.")
    subparsers = parser.add_subparsers(dest="command", metavar="COMMAND", required=True)
    for name in COMMANDS:
        sub = subparsers.add_parser(name, help=f"quorvel {name} on every input")
        sub.add_argument("inputs", nargs="+", metavar="INPUT", help="mesh file, folder or @list.txt")
        if name != "info":
            sub.add_argument("-o", "--output", dest="out_dir", required=True, metavar="OUTDIR",
                             help="folder for the outputs (the inputs' relative paths are kept)")
            sub.add_argument("--format", choices=("off", "obj", "ply", "stl"),
                             help="output format (default: the input's)")
            sub.add_argument("--force", action="store_true", help="redo files whose output is newer than the input")
        where = sub.add_mutually_exclusive_group()
        where.add_argument("-j", "--jobs", type=int, metavar="N", help="local worker processes (default: one per core)")
        where.add_argument("--scheduler", metavar="ADDRESS", help="run on this Dask scheduler (tcp://host:8786)")
        sub.add_argument("--results", metavar="FILE.csv", help="write the results table here")
        sub.add_argument("--timeout", type=float, metavar="SECONDS", help="kill a file's tool after this long")
        sub.add_argument("--worker-wait", type=float, default=120.0, metavar="SECONDS",
                         help="with --scheduler: give up on the rest after this long without workers (120)")
        sub.add_argument("--no-progress", action="store_true", help="no progress line on stderr")
        if name == command and tool is not None:
            group = sub.add_argument_group(f"options of quorvel {name}")
            for option, takes_value in tool_options(tool, name).items():
                if option in _RESERVED_OPTIONS:
                    continue
                dest = "tool_" + option[2:].replace("-", "_")
                metavar, description = _option_help[(tool, name)][option]
                description = description.replace("%", "%%")
                try:
                    if takes_value:
                        group.add_argument(option, dest=dest, metavar=metavar, help=description)
                    else:
                        group.add_argument(option, dest=dest, action="store_true", help=description)
                except argparse.ArgumentError:
                    pass  # the batch's own option of that name wins
    return parser


def main(argv=None, prog="python3 -m quorvel.batch"):
    """The command line; returns the exit status: 0 all done, 1 some files failed, 2 the batch could not
    start, 130 interrupted."""
    argv = list(sys.argv[1:] if argv is None else argv)
    command = argv[0] if argv and argv[0] in COMMANDS else None
    tool = None
    if command is not None:
        try:
            tool = find_tool()
        except BatchError as error:
            if "-h" not in argv and "--help" not in argv:
                print(f"{prog}: {error}", file=sys.stderr)
                return 2
    args = _parser(prog, command, tool).parse_args(argv)
    options = {key[5:]: value for key, value in vars(args).items() if key.startswith("tool_")}
    start = time.monotonic()
    try:
        rows = run(args.command, args.inputs, getattr(args, "out_dir", None), jobs=args.jobs, results=args.results,
                   force=getattr(args, "force", False), progress=False if args.no_progress else None,
                   timeout=args.timeout, scheduler=args.scheduler, tool=tool, format=getattr(args, "format", None),
                   worker_wait=args.worker_wait, **options)
    except BatchError as error:
        print(f"{prog}: {error}", file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        print(f"{prog}: interrupted" + (f"; the table so far is in {args.results}" if args.results else ""),
              file=sys.stderr)
        return 130
    failed = [row for row in rows if row["status"] == "failed"]
    for row in failed[:20]:
        # The tool's messages name the file already.
        named = row["error"].startswith(row["input"])
        print(f"failed: {row['error']}" if named else f"failed: {row['input']}: {row['error']}", file=sys.stderr)
    if len(failed) > 20:
        print(f"... and {len(failed) - 20} more failures (see the results table)", file=sys.stderr)
    done = sum(row["status"] == "ok" for row in rows)
    skipped = sum(row["status"] == "skipped" for row in rows)
    print(f"quorvel batch {args.command}: {done} done, {skipped} skipped (already up to date), {len(failed)} failed "
          f"of {len(rows)} files in {time.monotonic() - start:.1f} s"
          + (f"; results in {args.results}" if args.results else ""), file=sys.stderr)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
