"""Runs of the scripts that start the example programs."""

import concurrent.futures
import os
import pathlib
import signal
import subprocess
import sys
import tempfile


def check(condition, what):
    if not condition:
        raise AssertionError(what)


class Script:
    """One run, in a session and with temporary files of its own."""

    def __init__(self, *command):
        self.folder = tempfile.TemporaryDirectory()
        self.process = subprocess.Popen(
            command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            start_new_session=True, env={**os.environ, "TMPDIR": self.folder.name})

    def interrupt(self, number):
        """The signal, which goes to all if it is that of a keyboard."""
        (os.killpg if number == signal.SIGINT else os.kill)(self.process.pid, number)

    def left(self):
        """The processes that it has started, by the folder in their environment."""
        mark = f"TMPDIR={self.folder.name}".encode()
        for path in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if mark in (path / "environ").read_bytes().split(b"\0"):
                    yield path.name, (path / "cmdline").read_text()
            except OSError:
                pass  # It has ended, or is somebody else's.

    def end(self):
        """Waits, and returns status and output. Nothing may be left."""
        try:
            story, faults = self.process.communicate(timeout=120)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            raise
        left, files = list(self.left()), os.listdir(self.folder.name)
        self.folder.cleanup()
        check(not left and not files, f"left behind: {left} {files}")
        return self.process.returncode, story, faults


def stand_ins(programs, folder, **actions):
    """A folder like that of the programs, of which some do as the shell says: there
    run is the program, and real its file."""
    for real in pathlib.Path(programs).iterdir():
        if real.is_file() and os.access(real, os.X_OK):
            path = pathlib.Path(folder, real.name)
            path.write_text(f"""#!/usr/bin/env bash
real='{real}'
run() {{ exec -a "$0" "$real" "$@"; }}
{actions.get(real.name, "")}
run "$@"
""")
            path.chmod(0o755)
    return folder


def says(command, status, line):
    """Refuses with one line on standard error, or explains itself on the other one."""
    run = subprocess.run(command, capture_output=True, text=True, timeout=60)
    told = run.stderr if status else run.stdout
    check(run.returncode == status and line in told, f"{command}: {run}")
    check(told.count("\n") == 1 if status else not run.stderr, f"{command}: {run}")


def run_all(checks):
    """Runs functions with their arguments, several at once, and ends the program."""
    # As on a terminal, also when this runs in the background.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        results = [(row, pool.submit(*row)) for row in checks]
    failures = [(row, error) for row, result in results if (error := result.exception())]
    for (function, *row), error in failures:
        print(f"{function.__name__} {row}: {error or type(error)}")
    sys.exit(1 if failures else 0)
