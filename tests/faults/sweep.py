#!/usr/bin/env python3
"""sweep.py BUILD [--full] [KIND…]: whatever fails in a run, no file is lost without a word.

Runs the command in each of the ways that it is used in, lets the n-th call of each kind to the system fail, for
every n and in each way that such a call can fail, and looks at what is left: each file has to be the old one or
the new one, whole, or the message and the exit status have to say what it is. A run that says nothing has to
have done its work. Prints a table. Without --full only some of the very many allocations are tried.
"""
import collections
import errno
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile

IO = {"EIO": errno.EIO, "EINTR": errno.EINTR, "EAGAIN": errno.EAGAIN}
ROOM = IO | {"ENOSPC": errno.ENOSPC, "short": 0}
KILL = {"SIGKILL": -signal.SIGKILL}
CALLS = {
    "read": IO | {"short": 0} | KILL, "write": ROOM | KILL, "pwrite": ROOM | KILL,
    "open": {"EIO": errno.EIO, "EMFILE": errno.EMFILE, "EINTR": errno.EINTR},
    "openat": {"EIO": errno.EIO, "EMFILE": errno.EMFILE, "EINTR": errno.EINTR},
    "fstat": {"EIO": errno.EIO}, "close": {"EIO": errno.EIO, "EINTR": errno.EINTR}, "fsync": {"EIO": errno.EIO},
    "fallocate": {"ENOSPC": errno.ENOSPC, "EOPNOTSUPP": errno.EOPNOTSUPP, "EINTR": errno.EINTR} | KILL,
    "ftruncate": {"EIO": errno.EIO, "EINTR": errno.EINTR} | KILL, "copy_file_range": {"EIO": errno.EIO},
    "rename": {"EIO": errno.EIO} | KILL, "mkdir": {"ENOSPC": errno.ENOSPC}, "unlink": {"EIO": errno.EIO} | KILL,
    "mmap": {"ENOMEM": errno.ENOMEM}, "malloc": {"ENOMEM": errno.ENOMEM}, "iconv_open": {"ENOMEM": errno.ENOMEM},
}
TEXT = "".join(f"line {n} has {'a needle' if n % 7 == 0 else 'nothing'} in it\n" for n in range(9000)).encode()
FILES = {"1.txt": TEXT, "2.txt": b"a needle", "3.txt": b"nothing\n" * 50}
GBK = {name: text.replace(b"it", "针线".encode("gbk")) for name, text in FILES.items()}
NAMES = sorted(FILES)
GOOD = ("done", "told", "not found", "killed")


class Kind:
    """A way in which the command is used: its files and arguments, and what is on its standard input."""

    def __init__(self, *arguments, files=FILES, stdin=b"", backup=False):
        self.arguments, self.files, self.stdin, self.backup = [*arguments], files, stdin, backup

    def has_expression(self):
        return self.arguments[0].startswith("-r")


KINDS = {
    "longer": Kind("-f:needle", "-t:long needle", *NAMES),
    "shorter": Kind("-f:needle", "-t:pin", *NAMES),
    "as long": Kind("-f:needle", "-t:NEEDLE", *NAMES),
    "dense": Kind("-f:n", "-t:nn", *NAMES),
    "expression": Kind("-r:[a-z]+ in", "-t:<\\0>", *NAMES),
    "whole text": Kind("-r:in it\nline 5", "-t:x", *NAMES),
    "converted": Kind("-any", "-encin:gbk", "-encout:utf-8", *NAMES, files=GBK),
    "GBK": Kind("-f:needle", "-t:long needle", "-encin:gbk", "-encout:gbk", *NAMES, files=GBK),
    "backup": Kind("-f:needle", "-t:long needle", "--backup", *NAMES, backup=True),
    "careful": Kind("-f:needle", "-t:pin", "--careful", *NAMES, backup=True),
    "jobs": Kind("-f:needle", "-t:long needle", "--jobs=2", *NAMES),
    "preview": Kind("-f:needle", "-t:pin", "--preview", *NAMES),
    "-stdout": Kind("-f:needle", "-t:pin", "-stdout", *NAMES),
    "filter": Kind("-f:needle", "-t:pin", "--filter", stdin=TEXT),
}


class Sandbox:
    """A folder with a kind's files, in which the command runs."""

    def __init__(self, build, folder):
        self.tsub, self.shim, self.folder = f"{build}/tsub", f"{build}/tests/libfaults.so", folder
        self.home, self.hit = f"{folder}/home", f"{folder}/hit"

    def fill(self, files):
        shutil.rmtree(self.folder, ignore_errors=True)
        os.makedirs(f"{self.folder}/in")
        for name, text in files.items():
            with open(f"{self.folder}/in/{name}", "wb") as file:
                file.write(text)

    def run(self, arguments, stdin=b"", fault=None):
        environment = {"LC_ALL": "C.UTF-8", "HOME": self.home, "XDG_STATE_HOME": self.home}
        if fault is not None:
            environment |= {"LD_PRELOAD": self.shim, "TSUB_TEST_FAULT": fault, "TSUB_TEST_FAULT_HIT": self.hit,
                            "ASAN_OPTIONS": "verify_asan_link_order=0"}
        return subprocess.run([self.tsub, *arguments], cwd=f"{self.folder}/in", env=environment, input=stdin,
                              capture_output=True, check=False, timeout=60)

    def was_hit(self):
        return os.path.exists(self.hit)

    def contents(self):
        found = {}
        for name in os.listdir(f"{self.folder}/in"):
            with open(f"{self.folder}/in/{name}", "rb") as file:
                found[name] = file.read()
        return found


def is_told(old, new, found, name, message):
    """Whether the message says what is in a file: new bytes, saved ones that belong behind them, and old ones."""
    state = message.partition("file state = ")[2]
    if state.startswith("the new content, and behind it the end of the old"):
        return found[name] == new + old[len(new):]
    parts = re.match(r"new up to byte (\d+)(?:, old from (there|byte (\d+)) to byte (\d+))?", state)
    if parts is None:
        return False
    fresh = found[name][:int(parts[1])]
    for rest in sorted(other for other in found if other.startswith(name + ".rest-")):
        fresh += found[rest]
    begin, end = int(parts[3] or parts[1]), int(parts[4] or parts[1])
    return new.startswith(fresh) and found[name][begin:end] == old[begin:end]


def judge(kind, sandbox, expected, outcome, call):
    """What a run with a fault has come to: "done", "told", or what is wrong."""
    found = sandbox.contents()
    message = outcome.stderr.decode(errors="replace")
    torn = [name for name, old in kind.files.items()
            if found.get(name) not in (old, expected.files[name]) and
            not (name in found and is_told(old, expected.files[name], found, name, message))]
    killed = outcome.returncode == -signal.SIGKILL
    if killed and kind.backup:
        sandbox.run(["--undo"])
        left = sandbox.contents()
        return "told" if all(left.get(name) == old for name, old in kind.files.items()) else "not given back"
    if killed:
        return "killed" if torn else "told"
    if torn:
        return "torn: " + ", ".join(torn)
    is_old = all(found[name] == old for name, old in kind.files.items())
    is_done = all(found[name] == expected.files[name] for name in kind.files) and outcome.stdout == expected.stdout
    if is_done and outcome.returncode == expected.status:
        return "done"
    if outcome.returncode == 1 and call == "malloc" and kind.has_expression() and is_old:
        return "not found" # as an expression that doesn't compile
    if message or outcome.returncode not in (0, 1):
        return "told" if outcome.returncode >= 0 else "crashed"
    return "silent"


class Expected:
    """What a run comes to when nothing fails."""

    def __init__(self, sandbox, kind):
        sandbox.fill(kind.files)
        outcome = sandbox.run(kind.arguments, kind.stdin)
        self.files, self.stdout, self.status = sandbox.contents(), outcome.stdout, outcome.returncode


def sweep(name, sandbox, full, tally):
    kind = KINDS[name]
    expected = Expected(sandbox, kind)
    for call, failures in CALLS.items():
        for what, value in failures.items():
            step = 1 if full or call != "malloc" else 37
            for n in range(1, 1_000_000, step):
                sandbox.fill(kind.files)
                try:
                    outcome = sandbox.run(kind.arguments, kind.stdin, f"{call} {n} {value}")
                except subprocess.TimeoutExpired:
                    tally[call]["hung"] += 1
                    print(f"{name}: {call} {n} {what}: hung")
                    continue
                if not sandbox.was_hit():
                    break
                verdict = judge(kind, sandbox, expected, outcome, call)
                tally[call][verdict.split(":")[0]] += 1
                if verdict not in GOOD:
                    print(f"{name}: {call} {n} {what}: {verdict} (exit {outcome.returncode})\n"
                          f"    {outcome.stderr.decode(errors='replace').strip()[:300]}")


def main():
    build = os.path.realpath(sys.argv[1])
    full = "--full" in sys.argv
    kinds = [kind for kind in sys.argv[2:] if kind != "--full"] or list(KINDS)
    tally = collections.defaultdict(collections.Counter)
    with tempfile.TemporaryDirectory() as folder:
        sandbox = Sandbox(build, f"{folder}/sandbox")
        for kind in kinds:
            sweep(kind, sandbox, full, tally)
    wrong = 0
    print(f"{'call':16}{'tries':>8}{'done':>8}{'told':>8}{'not found':>12}{'killed':>8}{'lost':>8}")
    for call, verdicts in tally.items():
        good = [verdicts[verdict] for verdict in GOOD]
        lost = sum(verdicts.values()) - sum(good)
        wrong += lost
        print(f"{call:16}{sum(verdicts.values()):8}" + f"{good[0]:8}{good[1]:8}{good[2]:12}{good[3]:8}" + f"{lost:8}")
    sys.exit(wrong != 0)


main()
