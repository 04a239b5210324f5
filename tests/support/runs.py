"""Runs of the scripts that start the example programs."""

import concurrent.futures
import contextlib
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time


def check(condition, what):
    if not condition:
        raise AssertionError(what)


class Script:
    """One run on the programs of a folder, in a session and with temporary files of
    its own. Programs that are named do first as the shell says: there run is the
    program, and real its file."""

    def __init__(self, script, programs, *options, **actions):
        self.folder, self.stand_ins = tempfile.TemporaryDirectory(), tempfile.TemporaryDirectory()
        for real in pathlib.Path(programs).iterdir() if actions else ():
            if real.is_file() and os.access(real, os.X_OK):
                path = pathlib.Path(self.stand_ins.name, real.name)
                path.write_text(f"""#!/usr/bin/env bash
real='{real}'
run() {{ exec -a "$0" "$real" "$@"; }}
{actions.get(real.name, "")}
run "$@"
""")
                path.chmod(0o755)
        self.process = subprocess.Popen(
            [script, self.stand_ins.name if actions else programs, *options], text=True,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            start_new_session=True, env={**os.environ, "TMPDIR": self.folder.name})

    def interrupt(self, number, after=0, line=None):
        """Sends the signal after seconds, or once a line has come: to all, if it is
        that of a keyboard."""
        # A shell may forget an interrupt that comes before its first line, or while it
        # waits for the program that makes its folder.
        while not os.listdir(self.folder.name):
            time.sleep(0.005)
        time.sleep(max(after, 0.05))
        while line and line not in self.process.stdout.readline():
            check(self.process.poll() is None, f"never says {line}")
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
        """Waits, and returns status and output. Nothing may be left. Killed, it cannot
        remove its files, but the processes end."""
        try:
            story, faults = self.process.communicate(timeout=120)
            files, tries = os.listdir(self.folder.name), 1
            if self.process.returncode == -signal.SIGKILL:
                files, tries = [], 100
            while (left := list(self.left())) and (tries := tries - 1):
                time.sleep(0.1)
            check(not left and not files, f"left behind: {left} {files}")
        finally:
            for process, _ in self.left():
                with contextlib.suppress(ProcessLookupError):
                    os.kill(int(process), signal.SIGKILL)
            self.folder.cleanup()
            self.stand_ins.cleanup()
        return self.process.returncode, story, faults


def says(command, status, line):
    """Refuses with one line on standard error, or explains itself on the other one."""
    run = subprocess.run(command, capture_output=True, text=True, timeout=60)
    told = run.stderr if status else run.stdout
    check(run.returncode == status and line in told, f"{command}: {run}")
    check(told.count("\n") == 1 if status else not run.stderr, f"{command}: {run}")


def run_all(checks):
    """Runs functions with their arguments, several at once, and ends the program."""
    for status, line in (3, "no"), (2, "yes"):
        with contextlib.suppress(AssertionError):
            says(["sh", "-c", "echo yes >&2; exit 3"], status, line)
            sys.exit(f"status 3 and yes are taken for status {status} and {line}")
    for left in "sleep 9 >/dev/null 2>&1 &", "touch $TMPDIR/left":
        with contextlib.suppress(AssertionError):
            Script("/bin/sh", "-c", left).end()
            sys.exit(f"what a script leaves behind is not found: {left}")
    # As on a terminal, also when this runs in the background.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        results = [(row, pool.submit(*row)) for row in checks]
    failures = [(row, error) for row, result in results if (error := result.exception())]
    for (function, *row), error in failures:
        print(f"{getattr(function, 'func', function).__name__} {row}: {error or type(error)}")
    sys.exit(1 if failures else 0)
