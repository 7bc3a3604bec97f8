"""Draws the ratios of a benchmark as horizontal bars in an SVG, on a logarithmic scale around 1."""
import math
from xml.sax.saxutils import escape

ROW = 18
LABEL = 240
WIDTH = 420
LEAST, MOST = 0.25, 16.0


def _x(ratio):
    share = math.log(min(max(ratio, LEAST), MOST) / LEAST) / math.log(MOST / LEAST)
    return LABEL + share * WIDTH


def write(path, rows):
    """`rows` are (name, ratio); a ratio that isn't a number draws no bar."""
    height = ROW * (len(rows) + 3)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{LABEL + WIDTH + 60}" height="{height}" '
             f'font-family="sans-serif" font-size="11">',
             f'<rect width="100%" height="100%" fill="white"/>',
             f'<text x="8" y="{ROW}">rate of tsub over the best peer (1 = equal, longer is faster)</text>']
    tick = LEAST
    while tick <= MOST:
        x = _x(tick)
        parts.append(f'<line x1="{x:.1f}" y1="{ROW * 1.6:.1f}" x2="{x:.1f}" y2="{height - ROW}" '
                     f'stroke="{"#444" if tick == 1 else "#ccc"}"/>')
        parts.append(f'<text x="{x:.1f}" y="{height - 5}" text-anchor="middle">{tick:g}</text>')
        tick *= 2
    for number, (name, ratio) in enumerate(rows):
        y = ROW * (number + 2)
        parts.append(f'<text x="{LABEL - 6}" y="{y + 11}" text-anchor="end">{escape(name)}</text>')
        if math.isnan(ratio):
            continue
        left, right = sorted((_x(1), _x(ratio)))
        colour = "#2a7" if ratio >= 1 else "#c63"
        parts.append(f'<rect x="{left:.1f}" y="{y + 2}" width="{max(right - left, 1):.1f}" height="{ROW - 5}" fill="{colour}"/>')
        parts.append(f'<text x="{right + 4:.1f}" y="{y + 11}">{ratio:.2f}</text>')
    parts.append("</svg>\n")
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(parts))
