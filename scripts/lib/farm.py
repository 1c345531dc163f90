#!/usr/bin/env python3
"""A daemon, its simulated servers and what asks it, for programs that measure. A Farm has a folder and a range of ports
of its own; all of it stays on 127.0.0.0/8 and ends with the Farm."""
import os
import pathlib
import random
import resource
import shutil
import socket
import subprocess
import sys
import tempfile
import time

import harness  # beside this file, which is on the path of whoever imports it
from harness import resident_kib  # noqa: F401  also for those who import this

root = pathlib.Path(__file__).resolve().parent.parent.parent
SERVER_CORE, OTHER_CORE = 0, 1  # one for what is measured and what asks it, one for the servers it polls


def free_port():
    while True:
        port = random.randint(20000, 31999)
        with socket.socket() as probe:
            try:
                probe.bind(("", port))
                return port
            except OSError:
                pass


class Farm:
    """Start nothing in a `with` of another Farm: both would use both cores."""

    def __init__(self, preset="release"):
        self.build = root / "build" / preset
        for program in ("nimbolsp", "tools/nimbolspctl", "bench/load_generator", "bench/bare_loop"):
            if not (self.build / program).exists():
                sys.exit(f"{self.build / program} is missing: cmake --preset {preset} -DNIMBOLSP_BENCH=ON, then build")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbolsp-farm."))
        self.server_port = free_port()
        self.processes = []
        hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
        resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))

    def __enter__(self):
        harness.end_in_order()
        return self

    def __exit__(self, *_):
        for process in self.processes:
            if process.poll() is None:
                process.kill()
            process.wait()
        shutil.rmtree(self.folder)

    def addresses(self, pools, servers=256):
        """Of pools (their numbers), each with so many servers."""
        return [f"127.{pool}.{server % 256}.1:{self.server_port}" for pool in pools for server in range(1, servers + 1)]

    def profile(self, sizes, poll_timer, port, **setup):
        """The text of a profile of pools Web1, Web2... with so many servers each."""
        pools = {f"Web{pool}": self.addresses([pool], servers) for pool, servers in enumerate(sizes, 1)}
        return harness.profile(port, pools, " ".join(f"{key}={value}" for key, value in setup.items()), poll_timer)

    def start(self, command, ready="", core=None, folder=None, **options):
        """Starts a program and returns when it has printed a line with `ready`, for 60 s at most. Its `took` is the time
        from the start to there, in seconds."""
        if not shutil.which(command[0]):
            sys.exit(f"{command[0]} is missing: scripts/install-dependencies bench")
        folder = folder or self.folder
        out = pathlib.Path(tempfile.mkstemp(prefix="out.", dir=folder)[1])
        pin = ["taskset", "-c", str(core)] if core is not None else []
        begin = time.monotonic()
        with open(out, "wb") as file:
            process = subprocess.Popen(pin + [str(word) for word in command], cwd=folder, stdout=file, **options)
        self.processes.append(process)
        process.out = out
        while ready not in out.read_text("latin-1"):
            if process.poll() is not None or time.monotonic() > begin + 60:
                sys.exit(f"{command[0]} did not start: {out.read_text('latin-1')[-500:]}")
            time.sleep(0.001)
        process.took = time.monotonic() - begin
        return process

    def simulate(self, sizes, core=OTHER_CORE):
        """Simulated servers for all pools of these sizes, each without load and with room for all requests."""
        profile = self.folder / "simulated.ini"
        profile.write_text(self.profile(sizes, 1, 1))
        return self.start([self.build / "tools/nimbolspctl", "simulate", "--profile", profile, "--each",
                           "used=0,limit=2000000000"], "\nready\n", core)

    def daemon(self, sizes, poll_timer, core=SERVER_CORE, wrapper=(), environment=None, **setup):
        """The daemon, in a folder of its own; its `port` and `folder` are told."""
        folder = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        port = free_port()
        shutil.copy(self.build / "nimbolsp", folder)
        (folder / "nimbolsp.ini").write_text(self.profile(sizes, poll_timer, port, **setup))
        process = self.start([*wrapper, folder / "nimbolsp", "-RUN"], "Process started", core, folder,
                             env={**os.environ, **(environment or {})}, stderr=subprocess.DEVNULL)
        process.port, process.folder = port, folder
        return process

    def loop(self, polled=(), poll_timer=1, core=SERVER_CORE, wrapper=()):
        """The bare loop; with addresses, bare threads that poll them."""
        port = free_port()
        text = self.folder / "polled"
        text.write_text("\n".join(polled) + "\n")
        with open(text) as file:
            process = self.start([*wrapper, self.build / "bench/bare_loop", port, self.addresses([1])[0]] +
                                 ([poll_timer] if polled else []), "started", core, stdin=file, stderr=subprocess.DEVNULL)
        process.port = port
        return process

    def ask(self, port, pool, allowed, clients=1, core=SERVER_CORE, options=(), **limits):
        """Lets clients ask, count=N times or for seconds=S; what the generator prints, as numbers. Ends the program when
        an answer was wrong or missing."""
        pin = ["taskset", "-c", str(core)] if core is not None else []
        command = pin + [str(self.build / "bench/load_generator"), "-p", str(port), "-c", str(clients), *options]
        for name, option in (("count", "-n"), ("seconds", "-t")):
            command += [option, str(limits[name])] if name in limits else []
        ran = subprocess.run(command + [pool], input="\n".join(allowed) + "\n", capture_output=True, text=True)
        if ran.returncode != 0:
            sys.exit(f"the generator: {ran.stdout}{ran.stderr}")
        return {key: float(value) for key, _, value in (word.partition("=") for word in ran.stdout.split())}

    def stop(self, process):
        """By the protocol; the seconds until the process is gone."""
        begin = time.monotonic()
        with socket.create_connection(("127.0.0.1", process.port)) as connection:
            connection.sendall(b"\2\0")
            connection.recv(1)
        process.wait(60)
        return time.monotonic() - begin


def main_thread_time(process):
    """The processor's time that a program's first thread has taken, in seconds."""
    return int(pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/schedstat").read_text().split()[0]) / 1e9


def processor_time(process):
    """The same of all threads."""
    return time.clock_gettime((~process.pid << 3) | 2)
