#!/usr/bin/env python3
"""failures.py programs folder tarnrun_failing: whatever one operation of the platform fails, at one
call or from one on, a program neither crashes inside the library nor hangs, lines whose writing was
confirmed are in their file, and the terminal gets its mode back.

A first run of a scenario counts the calls of each operation; then one fails: at its first call, its
second, one in the middle and its last, and from each of them on. A run may end as usual, or with an
error that is reported. TARN_EVERY_FAILURE in the environment: at and from every call."""
import fcntl
import os
import pty
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import termios
import time

SLOTS = 256
LIMIT = 20  # seconds a run; one takes a few milliseconds
ALWAYS = 0xFFFFFFFF
EVERY = "TARN_EVERY_FAILURE" in os.environ
# Program, arguments, whether it is on a terminal.
SCENARIOS = [
    ("journal", [], False), ("streams", [], False), ("storage", [], False),
    ("settings", [], False), ("files", ["name"], False),
    ("redirected", [], False), ("console_tour", [], True), ("answers", [], True),
    ("blocks_and_resources", [], False),
    ("regions", [], False), ("script_start", [], False), ("script_blocks", [], False),
    ("gallery", ["read_null"], False), ("gallery", ["read_null"], True), ("gallery", ["text"], False),
    ("primes", [], False), ("pack", ["pack", "input", "packed"], False),
]
if EVERY:  # it takes its time
    SCENARIOS.append(("progress", [], True))
# Operations whose failure may end in a real fault: no page for what was reserved, no handler of
# exceptions.
MAY_FAULT = ("VirtualAlloc", "VirtualProtect", "AddVectoredExceptionHandler")

programs, folder, tarnrun = sys.argv[1:]
counts_file = folder + "/counts"


def attend(command, environment, on_terminal):
    """The run's status (None: it hangs), its output, and whether the terminal has its mode back."""
    terminal, side = pty.openpty() if on_terminal else (None, None)
    if on_terminal:
        termios.tcsetwinsize(side, (24, 80))
        before = termios.tcgetattr(side)
    with open(folder + "/keys") as keys:
        child = subprocess.Popen(
            command, cwd=folder + "/run", env=environment, stdin=side or keys,
            stdout=side or subprocess.PIPE, stderr=side or subprocess.STDOUT,
            start_new_session=True,
            preexec_fn=(lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0)) if on_terminal else None)
    source = terminal or child.stdout.fileno()
    output, end, open_still = b"", time.monotonic() + LIMIT, True
    while time.monotonic() < end:
        if open_still and select.select([source], [], [], 0.004)[0]:
            part = os.read(source, 4096)
            output += part
            open_still = part != b""
            # The user presses the space bar at a pause, and Enter whenever nothing happens.
            typed = b"\x1b[5;1R" * part.count(b"\x1b[6n") + b" " * (b"PAUSED" in part)
        else:
            typed = b"\r"
            if not open_still:
                time.sleep(0.002)
            if child.poll() is not None:
                break
        if on_terminal and typed:
            os.write(terminal, typed)
    hangs = child.poll() is None
    if hangs:
        os.killpg(child.pid, signal.SIGKILL)
        child.wait()
    kept = not on_terminal or termios.tcgetattr(side)[:4] == before[:4]
    for handle in (terminal, side) if on_terminal else ():
        os.close(handle)
    if child.stdout:
        child.stdout.close()
    return None if hangs else child.returncode, output, kept


def in_library(output, operation):
    """Whether the report is of a fault in the library's own code. In a routine that the program
    called, the program may have passed the null that it got for want of storage."""
    found = re.search(rb"\(c00000\w\w\) at address ([0-9a-f]+)", output)
    if found is None or not 0x10000 < int(found[1], 16) < 0x140000000:
        return False
    address = int(found[1], 16)
    instruction = subprocess.run(
        ["objdump", "-s", f"--start-address={address}", f"--stop-address={address + 2}", tarnrun],
        capture_output=True, text=True, check=True).stdout
    if re.search(r"\bcd ?09\b", instruction):  # a run-time error whose instruction could not be read
        return operation != "ReadProcessMemory"
    frames = re.search(rb"Within file TARNLIBC64.DLL((?:\s+in [^\n]*)*)\s+Within", output)
    return operation != "AllocateBlock" or frames is None or frames[1].count(b"in ") != 1


def run(program, arguments, on_terminal, operation="", failing=None):
    shutil.rmtree(folder + "/run", ignore_errors=True)
    os.mkdir(folder + "/run")
    shutil.copy(folder + "/keys", folder + "/run/input")
    with open(counts_file, "wb") as file:
        file.write(bytes(4 * (SLOTS + 1)))
    environment = dict(os.environ, TERM="xterm", TARN_FAILURES=counts_file)
    if failing:
        environment["TARN_FAIL"] = "%d %d %d" % failing
    status, output, mode_kept = attend([tarnrun, f"{programs}/{program}.exe", *arguments],
                                       environment, on_terminal)
    with open(counts_file, "rb") as file:
        calls = struct.unpack(f"{SLOTS + 1}I", file.read())
    wrong = ""
    if status is None:
        wrong = "it hangs"
    elif status < 0 and operation != "AddVectoredExceptionHandler":
        wrong = "it ended by signal %d" % -status
    elif in_library(output, operation) and operation not in MAY_FAULT:
        wrong = "a fault in the library"
    elif not mode_kept and status >= 0:
        wrong = "the terminal's mode was left changed"
    elif status and status > 1 and program == "journal" and status < 100:
        lines = "".join(f"line {i} of the journal\r\n" for i in range(status - 1)).encode()
        path = folder + "/run/journal"
        kept = open(path, "rb").read() if os.path.exists(path) else b""
        if not kept.startswith(lines):
            wrong = "confirmed lines are not in the file"
    if wrong:
        wrong += "\n" + output[-600:].decode(errors="replace")
    return calls, wrong


def calls_to_fail(calls):
    return sorted(set(range(1, calls + 1)) if EVERY else {1, min(calls, 2), (calls + 1) // 2, calls})


shutil.rmtree(folder, ignore_errors=True)
os.makedirs(folder)
with open(folder + "/keys", "w") as keys:
    keys.write("a line to read\n" * 40)
names = subprocess.run([tarnrun], env=dict(os.environ, TARN_FAIL="names"), check=True, text=True,
                       capture_output=True).stdout.split()
cases, reached, faults = 0, set(), 0
for program, arguments, on_terminal in SCENARIOS:
    where = " ".join([program, *arguments]) + (" on a terminal" if on_terminal else "")
    began, before = time.monotonic(), cases
    counted, wrong = run(program, arguments, on_terminal)
    if wrong:
        sys.exit(f"{where}, nothing fails: {wrong}")
    for number, name in enumerate(names):
        reached |= {name} if counted[number] else set()
        for first in calls_to_fail(counted[number]) if counted[number] else ():
            for last in (first, ALWAYS):
                cases += 1
                wrong = run(program, arguments, on_terminal, name, (number, first, last))[1]
                if wrong:
                    faults += 1
                    print(f"{where}: {name} fails {'at' if last == first else 'from'} call {first} "
                          f"of {counted[number]}: {wrong}")
    print(f"{where}: {cases - before} cases, {time.monotonic() - began:.1f} s", flush=True)
print(f"{cases} cases; never called: {' '.join(sorted(set(names) - reached))}")
sys.exit(1 if faults or cases < 1000 else 0)
