#!/usr/bin/env python3
"""check.py BUILD [--update] [PAGE…]: the pages of README.md and docs/ say what is true.

What stands in a console block is run, and has to print what stands there. A page's section has a folder of
its own, in which its blocks follow each other in one shell. Pages write:

    ```console            commands behind "$ " ("> " continues one), each with what it prints
    <!-- setup … -->      commands that are run and not shown
    ```cpp                a program, behind <!-- from FILE -->: it stands in that file word for word
    <!-- not run: why --> in front of a block, which then isn't looked at

A line "..." stands for any lines. Folders are shown as /home/ann, and names of backup runs are all alike.
The page of switches tells of every option, and that of promises names tests that there are. Links inside
the project lead to files and headings that are there. With --update what commands print is written into
the pages, to be read before it is committed.
"""
import difflib
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
HOME = "/home/ann"
MARK = "\x01"
RUN_NAME = re.compile(r"\b\d{8}-\d{6}-\d+\b( +\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)?")


class Block:
    """A block of a page: its kind, the comment in front of it, and its lines with the first one's number."""

    def __init__(self, kind, note, line, lines):
        self.kind, self.note, self.line, self.lines = kind, note, line, lines


def read_blocks(page):
    """The blocks and set-ups of a page, section by section."""
    sections, note, block = [[]], "", None
    for number, line in enumerate(page, 1):
        if block is not None:
            if line == ("-->" if block.kind == "setup" else "```"):
                sections[-1].append(block)
                block = None
            else:
                block.lines.append(line)
        elif line.startswith("#"):
            sections.append([])
        elif line == "<!-- setup":
            block = Block("setup", "", number + 1, [])
        elif re.fullmatch(r"<!-- .* -->", line):
            note = line[5:-4]
        elif line.startswith("```"):
            block, note = Block(line[3:], note, number + 1, []), ""
    if block is not None:
        raise SystemExit(f"a block that begins at line {block.line} has no end")
    return sections


def commands_of(block):
    """(command, expected lines, number of the line behind the command) for each command of a block."""
    found = []
    for number, line in enumerate(block.lines, block.line):
        if block.kind == "setup":
            found.append((line, None, number + 1))
        elif line.startswith("$ "):
            found.append((line[2:], [], number + 1))
        elif line.startswith("> ") and found and not found[-1][1]:
            found[-1] = (found[-1][0] + "\n" + line[2:], [], number + 1)
        elif found:
            found[-1][1].append(line)
        else:
            raise SystemExit(f"line {number}: a console block begins with a command")
    return found


def run(commands, build):
    """What each command prints, in one shell and a folder of their own."""
    with tempfile.TemporaryDirectory() as folder:
        home = os.path.realpath(folder) + HOME
        os.makedirs(home)
        script = "".join(f"(exit $status); {command}\nstatus=$?; echo; echo '{MARK}'\n" for command in commands)
        environment = {"PATH": f"{build}:{build}/examples:{os.environ['PATH']}", "HOME": home, "LC_ALL": "C.UTF-8",
                       "PWD": home, "USER": "ann"}
        result = subprocess.run(["bash", "-c", "status=0\n" + script], cwd=home, env=environment, check=False,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        shown = result.stdout.decode(errors="replace").replace(home, HOME)
    outputs = shown.split(f"\n{MARK}\n")
    return [output.rstrip("\n").split("\n") if output.strip("\n") else [] for output in outputs[:len(commands)]]


def alike(lines):
    return [RUN_NAME.sub("RUN", line.rstrip()) for line in lines]


def matches(expected, actual):
    """Whether it is what was expected; "..." stands for any lines."""
    pattern = "\n".join(r"(?:.*\n)*.*" if line == "..." else re.escape(line) for line in alike(expected))
    return re.fullmatch(pattern, "\n".join(alike(actual))) is not None


def check_console(name, blocks, build, page, update):
    commands = [command for block in blocks if block.kind in ("setup", "console") for command in commands_of(block)]
    outputs = run([command for command, _, _ in commands], build) if commands else []
    failures, insertions = 0, []
    for (command, expected, line), actual in zip(commands, outputs):
        if expected is None or matches(expected, actual):
            continue
        if update:
            insertions.append((line, len(expected), actual))
            continue
        failures += 1
        print(f"{name}:{line - 1}: $ {command}")
        print("\n".join(difflib.unified_diff(expected, actual, "the page", "the command", lineterm="", n=1)))
    for line, count, actual in reversed(insertions):
        page[line - 1:line - 1 + count] = actual
    return failures + (len(outputs) != len(commands))


def check_program(name, block):
    source = block.note.removeprefix("from ")
    with open(os.path.join(ROOT, source), encoding="utf-8") as file:
        if "\n".join(block.lines) in file.read():
            return 0
    print(f"{name}:{block.line}: isn't as in {source}")
    return 1


def anchors(path):
    """The names by which a page's headings can be linked."""
    with open(path, encoding="utf-8") as file:
        headings = re.findall(r"^#+ (.*)$", file.read(), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links(name, page):
    failures = 0
    text = re.sub(r"^```.*?^```", "", "\n".join(page), flags=re.MULTILINE | re.DOTALL)
    for target in re.findall(r"\]\(([^)\s]+)\)", text):
        if re.match(r"[a-z]+:", target):
            continue
        path, _, anchor = target.partition("#")
        path = os.path.normpath(os.path.join(ROOT, os.path.dirname(name), path)) if path else os.path.join(ROOT, name)
        if not os.path.exists(path) or (anchor and anchor not in anchors(path)):
            print(f"{name}: leads nowhere: {target}")
            failures += 1
    return failures


def check_options(build, name):
    """Whether a page tells of each option that --help lists."""
    listed = subprocess.run([f"{build}/tsub", "--help"], check=True, capture_output=True, text=True).stdout
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        told = set(re.findall(r"(?<![\w-])--?[a-z?][\w-]*", file.read()))
    missing = set(re.findall(r"^  (--?[a-z][\w-]*)", listed, re.MULTILINE)) - told
    for option in sorted(missing):
        print(f"{name}: doesn't tell of {option}")
    return len(missing)


def check_tests(name):
    """Whether the tests that a page names are there."""
    sources = ""
    for folder, _, files in os.walk(os.path.join(ROOT, "tests")):
        for file in (file for file in files if file.endswith(".cpp")):
            with open(os.path.join(folder, file), encoding="utf-8") as source:
                sources += source.read()
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        named = set(re.findall(r"\b[A-Z]+[a-z]+(?:[A-Z]+[a-z]+){2,}\b", file.read()))
    missing = sorted(test for test in named if test not in sources)
    for test in missing:
        print(f"{name}: there is no test {test}")
    return len(missing)


def check_page(name, build, update):
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        page = file.read().split("\n")
    failures = check_links(name, page)
    for blocks in reversed(read_blocks(page)):
        run_blocks = []
        for block in blocks:
            if block.note.startswith("not run: ") or block.kind in ("layers", "exceptions"):
                continue
            if block.kind == "cpp" and block.note.startswith("from "):
                failures += check_program(name, block)
            elif block.kind in ("setup", "console"):
                run_blocks.append(block)
            else:
                print(f"{name}:{block.line}: a block of kind '{block.kind}' that nothing checks")
                failures += 1
        failures += check_console(name, run_blocks, build, page, update)
    if update:
        with open(os.path.join(ROOT, name), "w", encoding="utf-8") as file:
            file.write("\n".join(page))
    return failures


def main():
    build = os.path.realpath(sys.argv[1])
    update = "--update" in sys.argv
    pages = [page for page in sys.argv[2:] if page != "--update"]
    if not pages:
        pages = ["README.md", "CONTRIBUTING.md"] + sorted(
            "docs/" + page for page in os.listdir(os.path.join(ROOT, "docs")) if page.endswith(".md"))
    failures = sum(check_page(page, build, update) for page in pages) + check_options(build, "docs/switches.md")
    failures += check_tests("docs/trust.md")
    print(f"{len(pages)} pages, {failures} things wrong")
    sys.exit(failures != 0)


main()
