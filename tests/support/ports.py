"""Ports for programs that take theirs by number."""

import contextlib
import itertools
import os
import socket

_numbers = itertools.count(os.getpid())


@contextlib.contextmanager
def port():
    """A port that no other test has meanwhile: it is held under TCP, and is none of
    those that the system gives out."""
    for number in itertools.islice(_numbers, 10000):
        with socket.socket() as holder:
            try:
                holder.bind(("127.0.0.1", 20000 + number % 10000))
            except OSError:
                continue
            yield holder.getsockname()[1]
            return
    raise OSError("no port is free")
