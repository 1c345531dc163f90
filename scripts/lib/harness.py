#!/usr/bin/env python3
"""What the drivers of long tests share: simulated servers, the daemon in a folder of its own, requests to it, what it
has open and holds in memory. All on 127.0.0.0/8; what is started ends with its scope, by its id.
  import harness, behind sys.path.insert(0, ".../scripts/lib")"""
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


class Build:
    """The programs of a preset; `needed` are further files."""

    def __init__(self, preset="release", *needed):
        self.folder = ROOT / "build" / preset
        self.daemon = self.folder / "nimbolsp"
        self.control = self.folder / "tools/nimbolspctl"
        for program in (self.daemon, self.control, *map(self.folder.joinpath, needed)):
            if not program.exists():
                raise SystemExit(f"{program} is not built: scripts/test {preset}")


class Ended(Exception):
    """A process has ended, or not done what it should, in time."""


def resident_kib(process):
    """The memory of a process that is in use; 0 when it has ended."""
    try:
        found = re.search(r"VmRSS:\s+(\d+)", pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="ascii"))
    except OSError:
        found = None
    return int(found[1]) if found else 0


def until(condition, seconds, pause=0.002):
    """Whether the condition came to hold within so many seconds."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(pause)
    return True


class Scope:
    """A process that ends with its scope."""

    process = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        for stream in (self.process.stdin, self.process.stdout):
            if stream:
                stream.close()

    def descriptors(self):
        """How many are open; 0 when it has ended."""
        try:
            return len(os.listdir(f"/proc/{self.process.pid}/fd"))
        except OSError:  # of one that ends nobody but root may look
            return 0

    def memory(self):
        return resident_kib(self.process)


class Simulation(Scope):
    """Servers that answer polls, one for each description, on free ports: `addresses` in the same order."""

    def __init__(self, build, descriptions):
        words = [word for keys in descriptions for word in ("--server", "0," + keys)]
        # Of its standard input it notices the end of whoever holds the other end, however that comes.
        self.process = subprocess.Popen([build.control, "simulate", "--until-stdin-closes", *words],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        lines = [self.process.stdout.readline() for _ in range(len(descriptions) + 1)]
        if lines[-1] != "ready\n":
            raise Ended("the simulated servers did not start")
        self.addresses = [line.split()[0] for line in lines[:-1]]

    def end(self):
        """All servers go at once."""
        self.process.kill()
        self.process.wait()


class Port:
    """A port of this machine that is ours while this lives, and that the daemon alone can listen on."""

    def __init__(self):
        self.reservation = socket.socket()
        self.reservation.bind(("127.0.0.1", 0))
        self.reservation.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.number = self.reservation.getsockname()[1]

    def close(self):
        self.reservation.close()


def profile(port, pools, setup="", poll_timer=1):
    """The text of a profile. pools: name to its servers; setup: further entries, with blanks between them."""
    lines = ["[Setup]", f"Port={port}"] + [f"Pool{i}={name}" for i, name in enumerate(pools, 1)] + setup.split()
    for name, servers in pools.items():
        lines += ["", f"[{name}]", f"PollTimer={poll_timer}"] + [f"Server{i}={text}" for i, text in enumerate(servers, 1)]
    return "\r\n".join(lines) + "\r\n"


def exchange(port, message, seconds=10):
    """What comes back until the daemon closes. Raises OSError."""
    with socket.create_connection(("127.0.0.1", port), seconds) as peer:
        peer.sendall(message)
        answer = b""
        while part := peer.recv(1024):
            answer += part
        return answer


def ask(port, pool):
    """The server's text that is handed out of a pool, "" for none; None without a whole answer."""
    try:
        answer = exchange(port, bytes([0, len(pool)]) + pool.encode())
    except TimeoutError as silence:
        raise Ended("no answer to a request") from silence
    except OSError:
        return None
    return answer[2:].decode() if answer[:1] == b"\1" and len(answer) == 2 + answer[1] else None


class Daemon(Scope):
    """The daemon in its folder, which holds its profile already."""

    def __init__(self, build, folder, port, command="-RUN", **options):
        self.folder, self.port = pathlib.Path(folder), port
        program = self.folder / "nimbolsp"
        if not program.exists():
            program.symlink_to(build.daemon)
        self.log_path = self.folder / f"nimbolsp{command}.log"
        self.output = open(self.folder / "output", "wb")  # closed below
        with self.output:
            self.process = subprocess.Popen(options.pop("wrapper", []) + [program, command], cwd=folder,
                                            stdin=subprocess.DEVNULL, stdout=self.output, stderr=self.output,
                                            **options)

    def serves(self):
        """Waits until it takes connections. False when it ends instead."""
        def listens():
            try:
                socket.create_connection(("127.0.0.1", self.port), 5).close()
                return True
            except OSError:
                return self.process.poll() is not None
        if not until(listens, 20):
            raise Ended("neither serves nor ends")
        return self.process.poll() is None

    def log(self):
        """Its bytes; empty when there is none."""
        return self.log_path.read_bytes() if self.log_path.exists() else b""

    def stop(self):
        """Sends the stop message. Whether it was answered."""
        try:
            return exchange(self.port, b"\2\0") == b"\0"
        except TimeoutError as silence:
            raise Ended("no answer to the stop") from silence
        except OSError:
            return False

    def wait(self, seconds=20):
        """Its exit status, negative for a signal."""
        try:
            return self.process.wait(seconds)
        except subprocess.TimeoutExpired as late:
            raise Ended("does not end") from late


def folder():
    """A folder that goes with its scope."""
    return tempfile.TemporaryDirectory(prefix="nimbolsp-test-")


def in_namespace():
    """Goes on in a mount namespace of its own, so that what is mounted goes with this process. False without right."""
    if os.environ.get("NIMBOLSP_IN_NAMESPACE"):
        return True
    if os.geteuid() != 0 or subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL, check=False).returncode:
        return False
    os.environ["NIMBOLSP_IN_NAMESPACE"] = "1"
    return os.execvp("unshare", ["unshare", "--mount", *sys.orig_argv])


def end_in_order():
    """Lets scopes end also when this process is told to."""
    def leave(number, _):
        raise SystemExit(128 + number)
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, leave)
