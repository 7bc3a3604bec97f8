#!/usr/bin/env python3
"""terminal.py TSUB [--check]: draws docs/terminal.svg, README's picture, from what the command really shows.

The commands below run on a terminal of their own, in a fresh folder; what appears there, colours and all,
is drawn. With --check nothing is written, and the picture must be as it would be drawn now.
"""
import html
import os
import pty
import re
import subprocess
import sys
import tempfile
import unicodedata

PICTURE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "terminal.svg")
FILES = {
    "src/table.c": "/* 颜色表 */\nint colour_of(int index)\n{\n    return table[index].colour; // 颜色\n}\n",
}
CHARSET = "gbk"
COMMANDS = [
    "tsub '*.c' -s --from-code=gbk -f:颜色 -t:色彩 --preview",
    "tsub '*.c' -s --from-code=gbk -f:颜色 -t:色彩 --careful -trc",
    "iconv -f gbk src/table.c | head -n 1",
]
COLUMN, LINE, MARGIN = 8.4, 19, 18
COLORS = {"31": "#ff8f8f", "32": "#8fe08f", "36": "#7fd5e8"}
PAPER, INK, PROMPT = "#16191d", "#d7dce2", "#8b95a1"


def show(tool, command, folder):
    """What the command shows on a terminal."""
    environment = {"PATH": os.path.dirname(tool) + ":" + os.environ["PATH"], "HOME": folder + "/home",
                   "LC_ALL": "C.UTF-8", "TERM": "xterm"}
    terminal, end = pty.openpty()
    with subprocess.Popen(["sh", "-c", command], cwd=folder + "/texts", env=environment, stdin=end,
                          stdout=end, stderr=end) as process:
        os.close(end)
        shown = b""
        while True:
            try:
                block = os.read(terminal, 4096)
            except OSError:
                break
            if not block:
                break
            shown += block
        process.wait()
    os.close(terminal)
    return shown.decode().replace("\r\n", "\n").strip("\n").split("\n")


def columns(text):
    return sum(2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in text)


def draw_line(line, y, out):
    """A line with its colours, each stretch of one look at its own column."""
    column, color, bold, reverse = 0, INK, False, False
    for part in re.split(r"(\x1b\[\d*m)", line):
        look = re.fullmatch(r"\x1b\[(\d*)m", part)
        if look:
            code = look[1]
            color = COLORS.get(code, INK if code == "" else color)
            bold = code == "1" or (bold and code != "")
            reverse = code == "7" or (reverse and code not in ("27", ""))
        elif part:
            x, width = MARGIN + column * COLUMN, columns(part) * COLUMN
            if reverse:
                out.append(f'<rect x="{x:.1f}" y="{y - LINE + 5}" width="{width:.1f}" height="{LINE}" fill="{color}"/>')
            weight = ' font-weight="bold"' if bold else ""
            out.append(f'<text x="{x:.1f}" y="{y}" fill="{PAPER if reverse else color}"{weight} '
                       f'textLength="{width:.1f}" lengthAdjust="spacingAndGlyphs">{html.escape(part)}</text>')
            column += columns(part)


def draw(tool):
    lines = []
    with tempfile.TemporaryDirectory() as folder:
        for name, text in FILES.items():
            os.makedirs(os.path.dirname(f"{folder}/texts/{name}"), exist_ok=True)
            with open(f"{folder}/texts/{name}", "wb") as file:
                file.write(text.encode(CHARSET))
        for command in COMMANDS:
            lines.append((PROMPT, f"$ \x1b[1m{command}\x1b[m"))
            lines += [(INK, line) for line in show(tool, command, folder)]
    width = max(columns(re.sub(r"\x1b\[\d*m", "", line)) for _, line in lines) * COLUMN + 2 * MARGIN
    height = len(lines) * LINE + 2 * MARGIN
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:.0f}" height="{height}" '
           f'font-family="ui-monospace, Menlo, Consolas, \'DejaVu Sans Mono\', monospace" font-size="14" '
           f'xml:space="preserve">', "<!-- made by docs/terminal.py -->",
           f'<rect width="100%" height="100%" rx="8" fill="{PAPER}"/>']
    for number, (_, line) in enumerate(lines):
        draw_line(line, MARGIN + (number + 1) * LINE - 5, out)
    return "\n".join(out + ["</svg>", ""])


def main():
    picture = draw(os.path.realpath(sys.argv[1]))
    if "--check" in sys.argv:
        with open(PICTURE, encoding="utf-8") as file:
            sys.exit(0 if file.read() == picture else "docs/terminal.svg isn't what the command shows")
    with open(PICTURE, "w", encoding="utf-8") as file:
        file.write(picture)


main()
