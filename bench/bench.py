"""Measures tsub against what people use today, and prints one row a workload.

For each workload every contender gets a fresh copy of the same text before each run, the contenders
take turns (A B A B), their results are compared byte for byte with tsub's, and the median of the wall
times decides. A peer whose result differs is named and left out of the comparison.
"""
import argparse
import hashlib
import math
import multiprocessing
import os
import platform
import random
import resource
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

import lists
import plot
import texts
from workloads import MB, WORKLOADS

HUGE = 5 << 30
HUGE_MEMORY = 64 << 20
OVER = "over the limit"  # in place of a result's digest


class Runner:
    """Runs one command at a time in a folder of its own and measures it."""

    def __init__(self, folder, tsub, idle):
        self.folder = folder
        self.tsub = tsub
        self.idle = idle
        self.work = os.path.join(folder, "work")

    def prepare(self, workload, source):
        if os.path.islink(self.work):
            os.unlink(self.work)
        shutil.rmtree(self.work, ignore_errors=True)
        if workload.mode == "many":
            os.symlink(source, self.work)
        elif workload.mode == "tree":
            subprocess.run(["cp", "-r", source, self.work], check=True)
        else:
            os.mkdir(self.work)
            text = os.path.join(self.work, "text")
            shutil.copyfile(source, text)
            if workload.mode == "huge":
                with open(text, "r+b") as file:
                    end = file.read()
                    file.truncate(0)
                    file.seek(HUGE)
                    file.write(end)
        os.sync()
        time.sleep(self.idle)

    def command(self, workload, contender):
        out = os.path.join(self.folder, "out")
        rules = os.path.join(self.folder, f"{workload.rules[0].__name__}-{workload.rules[1]}") if workload.rules else ""
        if contender == "tsub":
            arguments = [argument.replace("{r}", rules) for argument in workload.tsub]
            if workload.mode in ("file", "stdout", "huge", "start"):
                arguments.insert(0, "text")
            if workload.names:
                names = sorted(os.path.relpath(os.path.join(folder, name), self.work) for folder, _, files in os.walk(self.work) for name in files)
                arguments = names[:workload.names] + arguments
            if workload.mode == "stdout":
                arguments.append("-stdout")
            return [self.tsub, *arguments], out
        shell = workload.peers[contender].format(f="text", o=out, r=rules)
        return ["bash", "-c", shell], out

    def run(self, workload, contender, source, counts_memory=False):
        """(wall seconds, CPU seconds, peak bytes or 0, digest of the result)."""
        self.prepare(workload, source)
        command, out = self.command(workload, contender)
        peak = os.path.join(self.folder, "peak")
        if counts_memory:
            # A program's peak counts from what its parent held: so a small one starts it.
            command = ["/usr/bin/time", "-q", "-f", "%M", "-o", peak, *command]
        stdin = subprocess.DEVNULL
        to_file = workload.mode == "pipe" or (workload.mode == "stdout" and contender == "tsub")
        if os.path.exists(out):
            os.unlink(out)
        sink = open(out, "wb") if to_file else open(os.devnull, "wb")
        feeder = None
        if workload.mode == "pipe":
            feeder = subprocess.Popen(["cat", source], stdout=subprocess.PIPE)
            stdin = feeder.stdout
        environment = dict(os.environ, LC_ALL="C.UTF-8")
        begin = time.perf_counter()
        limit = (lambda: resource.setrlimit(resource.RLIMIT_AS, (HUGE_MEMORY, HUGE_MEMORY))) if workload.mode == "huge" else None
        process = subprocess.Popen(command, cwd=self.work, stdin=stdin, stdout=sink,
                                   stderr=subprocess.DEVNULL, env=environment, preexec_fn=limit, process_group=0)
        stop = threading.Timer(workload.limit, os.killpg, (process.pid, signal.SIGKILL))
        stop.start()
        _, _, usage = os.wait4(process.pid, 0)
        stop.cancel()
        wall = time.perf_counter() - begin
        process.returncode = 0
        sink.close()
        if feeder is not None:
            feeder.stdout.close()
            feeder.wait()
        if wall >= workload.limit:
            return wall, 0, 0, OVER
        memory = int(open(peak, encoding="ascii").read()) * 1024 if counts_memory else 0
        return wall, usage.ru_utime + usage.ru_stime, memory, self.digest(workload, contender, out)

    def digest(self, workload, contender, out):
        result = hashlib.sha256()
        if workload.mode == "many":
            return ""
        if workload.mode == "tree":
            for folder, _, names in sorted(os.walk(self.work)):
                for name in sorted(names):
                    with open(os.path.join(folder, name), "rb") as file:
                        result.update(name.encode() + file.read())
            return result.hexdigest()
        wrote = os.path.exists(out) and (workload.mode != "file" or contender != "tsub")
        path = out if wrote else os.path.join(self.work, "text")
        size = os.path.getsize(path)
        with open(path, "rb") as file:
            if workload.mode == "huge":
                file.seek(HUGE)
                size -= HUGE
            if workload.mode == "pipe" and contender == "tsub":
                # A pipe's end is one more element: "?" in UTF-8.
                file.seek(-1, os.SEEK_END)
                size -= file.read(1) == b"?"
                file.seek(0)
            while size > 0:
                part = file.read(min(size, MB))
                result.update(part)
                size -= len(part)
        return result.hexdigest()


def make_source(workload, folder, scale):
    """The path of the workload's text (or tree), made once."""
    if workload.mode in ("tree", "many"):
        count = workload.files // (scale if workload.files > 5000 else 1)
        path = os.path.join(folder, f"tree-{count}")
        if not os.path.exists(path):
            rng = random.Random(texts.SEED)
            small = texts.english(1000)
            for number in range(count if workload.files > 5000 else 0):
                sub = os.path.join(path, f"d{number % 500}")
                os.makedirs(sub, exist_ok=True)
                with open(os.path.join(sub, f"f{number}.txt"), "wb") as file:
                    file.write(small)
            for number in range(count if workload.files <= 5000 else 0):
                sub = os.path.join(path, f"d{number % 50}")
                os.makedirs(sub, exist_ok=True)
                with open(os.path.join(sub, f"f{number}.c"), "wb") as file:
                    file.write(texts.c_file(rng, number % 10 == 0))
        return path
    size = workload.size // scale if workload.size >= MB else workload.size
    if workload.rules:
        maker, count = workload.rules
        lists.write(os.path.join(folder, f"{maker.__name__}-{count}"), maker(count))
    path = os.path.join(folder, f"{workload.text.__name__}-{workload.charset}-{size}")
    if not os.path.exists(path):
        maker = multiprocessing.Process(target=write_text, args=(workload, size, path))
        maker.start()
        maker.join()
    return path


def write_text(workload, size, path):
    data = workload.text(size)
    if workload.charset != "utf-8":
        data = data.decode().encode(workload.charset, "ignore")
    with open(path, "wb") as file:
        file.write(data)


def measure(workload, runner, source, rounds):
    contenders = ["tsub", *workload.peers]
    samples = {name: [] for name in contenders}
    first = {name: runner.run(workload, name, source, counts_memory=True) for name in contenders}
    for number in range(rounds):
        for name in contenders:
            if first[name][0] > 8:  # one run of a contender that takes very long is enough
                samples[name] = [first[name]]
                continue
            samples[name].append(runner.run(workload, name, source))
    row = {"workload": workload}
    medians = {n: [statistics.median(s[k] for s in samples[n]) for k in range(2)] + [first[n][2]] for n in contenders}
    row["over"] = [n for n in contenders if first[n][3] == OVER]
    row["told"] = {n: m[0] for n, m in medians.items() if n.startswith("~") and n not in row["over"]}
    row["differs"] = {n: medians[n][0] for n in contenders
                      if n not in row["over"] and n not in row["told"] and samples[n][0][3] != samples["tsub"][0][3]}
    row["medians"] = {n: m for n, m in medians.items() if n not in row["differs"] and n not in row["told"] and not (n in row["over"] and n.startswith("~"))}
    return row


def measure_start(workload, runner, source):
    """From spawn to exit, without a shell, in turns: the medians of some hundred runs."""
    runner.prepare(workload, source)
    commands = {"tsub": runner.command(workload, "tsub")[0], **{n: p.split() for n, p in workload.peers.items()}}
    environment = dict(os.environ, LC_ALL="C.UTF-8")
    silent = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)]
    times = {name: [] for name in commands}
    usages = {}
    folder = os.getcwd()
    os.chdir(runner.work)
    for _ in range(500):
        for name, command in commands.items():
            begin = time.perf_counter()
            process = os.posix_spawnp(command[0], command, environment, file_actions=silent)
            usages[name] = os.wait4(process, 0)[2]
            times[name].append(time.perf_counter() - begin)
    os.chdir(folder)
    return {"workload": workload, "differs": {},
            "medians": {n: [statistics.median(t), usages[n].ru_utime + usages[n].ru_stime, 0] for n, t in times.items()}}


def judge(row):
    """(best peer's name, ratio of tsub's rate to its)."""
    peers = {n: m[0] for n, m in row["medians"].items() if n != "tsub"}
    if not peers:
        return None, math.nan
    best = min(peers, key=peers.get)
    return best, peers[best] / row["medians"]["tsub"][0]


def print_row(row):
    workload = row["workload"]
    best, ratio = judge(row)
    wall, cpu, peak = row["medians"]["tsub"]
    peer = f"{best} {row['medians'][best][0] * 1000:.{0 if wall > 0.01 else 1}f} | {row['medians'][best][2] / MB:.0f}" if best else "none | "
    note = "".join(f" (differs: {n}, {wall * 1000:.0f} ms)" for n, wall in row["differs"].items())
    note += f" (over {workload.limit} s: {', '.join(n.lstrip('~') for n in row['over'])})" if row.get("over") else ""
    note += "".join(f" ({n[1:]}: {wall * 1000:.0f} ms)" for n, wall in row.get("told", {}).items())
    print(f"| {workload.name} | {wall * 1000:.1f} | {cpu * 1000:.1f} | {peak / MB:.0f} | {peer} | "
          f"{ratio:.2f} | {workload.must} |{note}", flush=True)


def machine():
    """One line on what the figures were measured on."""
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = next((line.split(":", 1)[1].strip() for line in file if line.startswith("model name")), "?")
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return f"{model}, {os.cpu_count()} cores, {memory:.0f} GB, {platform.system()} {platform.release()}"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--tsub", required=True)
    parser.add_argument("--quick", action="store_true", help="texts of a tenth of the size, fewer rounds")
    parser.add_argument("--plot", metavar="FILE", help="write the ratios as an SVG")
    parser.add_argument("--only", default="", help="workloads whose name contains this")
    parser.add_argument("--rounds", type=int)
    parser.add_argument("--idle", type=float, default=0, metavar="SECONDS",
                        help="rest before each run: a virtual machine's host may take back idle memory meanwhile")
    options = parser.parse_args()

    rounds = options.rounds or (3 if options.quick else 5)
    rows = []
    with tempfile.TemporaryDirectory(prefix="tsub-bench-") as folder:
        runner = Runner(folder, os.path.abspath(options.tsub), options.idle)
        print(f"{machine()}\n")
        print("| workload | tsub ms | CPU ms | peak MB | best peer ms | its peak MB | ratio | must |")
        print("|---|---|---|---|---|---|---|---|")
        for workload in WORKLOADS:
            if options.only not in workload.name or (options.quick and workload.mode == "huge"):
                continue
            source = make_source(workload, folder, 10 if options.quick else 1)
            row = measure_start(workload, runner, source) if workload.mode == "start" else measure(workload, runner, source, rounds)
            rows.append(row)
            print_row(rows[-1])
    for name, chosen, must in (("geometric mean", [r for r in rows if r["workload"].must], 2.5), ("… of rewriting with few matches", [r for r in rows if r["workload"].rare], 3.0)):
        ratios = [r for r in (judge(row)[1] for row in chosen) if not math.isnan(r)]
        if ratios:
            mean = math.exp(sum(map(math.log, ratios)) / len(ratios))
            print(f"| {name} | | | | | | {mean:.2f} | {must} |")
    print("\nBelow 1.0: " + (", ".join(row["workload"].name for row in rows if row["workload"].must and judge(row)[1] < 1) or "none"))
    if options.plot:
        plot.write(options.plot, [(row["workload"].name, judge(row)[1]) for row in rows if row["workload"].must])
    return 0


if __name__ == "__main__":
    sys.exit(main())
