#!/usr/bin/env python3
"""check.py TSUB COMPLETIONS: types into the real shells, each on a terminal of its own, and looks at what
the command gets after the tabs.

In the shell's PATH the command is a script that notes its words in a file (and runs the real one for the
lists that completions ask for); so nothing has to be read off the screen but the prompt.
"""
import os
import pty
import select
import shutil
import sys
import tempfile
import time

TSUB, COMPLETIONS = (os.path.realpath(path) for path in sys.argv[1:3])
PROMPT = b"READY>"
LONGEST_WAIT = 60  # seconds; for a machine that is very busy

# What is typed behind the command, and the words that it gets.
CASES = [
    ("--prev\tx", ["--preview", "x"]),
    ("-enci\tgbk", ["-encin:gbk"]),
    ("-encin:gb23\t x", ["-encin:GB2312", "x"]),
    ("-encout=gb180\t", ["-encout=GB18030"]),
    ("--from-code=euc-k\t", ["--from-code=euc-kr"]),
    ("--color=al\t x", ["--color=always", "x"]),
    ("--bo\tke\t", ["--bom=keep"]),
    ("--jo\t=2", ["--jobs=2"]),
    ("--undo=al\t", ["--undo=all"]),
    ("--undo=2026\t", ["--undo=20261126-101112-77"]),
    ("--files-from=li\t x", ["--files-from=list.txt", "x"]),
    ("--backup=fo\tx", ["--backup=folder/x"]),
    ("-f:a no\t -s", ["-f:a", "note two.txt", "-s"]),
    ("folder/in\t", ["folder/inner.txt"]),
]

COMMAND = f"""#!/bin/sh
case $1 in
-listenc | --list-charsets) exec '{TSUB}' "$1" ;;
--undo=list) echo '20261126-101112-77  2026-11-26 10:11:12  1 file  /home  tsub'; exit ;;
esac
printf '%s\\n' "$@" >"$NOTED.new"
mv "$NOTED.new" "$NOTED"
"""


def shells(folder):
    """How each is started: without the user's files, with the completions and a prompt that is known."""
    rc = f"{folder}/bashrc"
    with open(rc, "w") as file:
        file.write(f"PS1='{PROMPT.decode()}'\nbind 'set enable-bracketed-paste off'\n. '{COMPLETIONS}/tsub.bash'\n")
    os.mkdir(f"{folder}/zsh")
    with open(f"{folder}/zsh/.zshrc", "w") as file:
        file.write(f"PS1='{PROMPT.decode()}'\nunset zle_bracketed_paste\nfpath=('{COMPLETIONS}' $fpath)\n"
                   "autoload -Uz compinit\ncompinit -u -D\n")
    start = f"function fish_prompt; echo -n '{PROMPT.decode()}'; end; source '{COMPLETIONS}/tsub.fish'"
    return {
        "bash": ["bash", "--noprofile", "--rcfile", rc, "-i"],
        "zsh": ["zsh", "-i", "-d"],
        "fish": ["fish", "-i", "-C", start],
    }


def await_that(terminal, is_done, what):
    """Reads what the shell shows until something holds of it."""
    shown = b""
    end = time.monotonic() + LONGEST_WAIT
    while not is_done(shown):
        if time.monotonic() > end:
            raise TimeoutError(f"{what}; the terminal shows {shown!r}")
        if select.select([terminal], [], [], 0.02)[0]:
            shown += os.read(terminal, 4096)


def type_case(terminal, noted, typed):
    os.write(terminal, b"tsub " + typed.encode() + b"\r")
    await_that(terminal, lambda shown: os.path.exists(noted) and shown.count(PROMPT) > 0, typed)
    with open(noted) as file:
        words = file.read().split("\n")[:-1]
    os.remove(noted)
    return words


def check_shell(name, argv, folder):
    noted = f"{folder}/noted"
    child, terminal = pty.fork()
    if child == 0:
        os.chdir(f"{folder}/here")
        os.execvpe(argv[0], argv, {"PATH": f"{folder}/bin:" + os.environ["PATH"], "NOTED": noted, "TERM": "dumb",
                                   "HOME": folder, "ZDOTDIR": f"{folder}/zsh", "LC_ALL": "C.UTF-8",
                                   "XDG_CONFIG_HOME": f"{folder}/config", "XDG_DATA_HOME": f"{folder}/data"})
    failures = 0
    try:
        await_that(terminal, lambda shown: PROMPT in shown, "the first prompt")
        for typed, expected in CASES:
            words = type_case(terminal, noted, typed)
            if words != expected:
                print(f"FAILED: {name}: tsub {typed!r}: got {words}, not {expected}")
                failures += 1
    finally:
        os.close(terminal)
        os.kill(child, 9)
        os.waitpid(child, 0)
    return failures


def main():
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        os.makedirs(f"{folder}/here/folder")
        os.mkdir(f"{folder}/bin")
        for file in ("list.txt", "note two.txt", "folder/inner.txt"):
            open(f"{folder}/here/{file}", "w").close()
        with open(f"{folder}/bin/tsub", "w") as file:
            file.write(COMMAND)
        os.chmod(f"{folder}/bin/tsub", 0o755)
        for name, argv in shells(folder).items():
            if not shutil.which(name):
                sys.exit(f"{name} isn't here; scripts/test installs it")
            failures += check_shell(name, argv, folder)
    print(f"{3 * len(CASES)} completions, {failures} wrong")
    sys.exit(failures != 0)


main()
