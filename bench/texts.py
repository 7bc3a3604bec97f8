"""The texts that the benchmark works on: made from a seed, so that every machine has the same ones.

Each maker answers the bytes of a text of about `size` bytes. Lines have some eighty characters, and
words are drawn so that a few are frequent and most are rare, as in prose.
"""
import random

SEED = 20261124

SYLLABLES = "ba ce di fo gu la me ni po ru sa te vi wo xy zen ter ing tion able str qua ou ea th".split()
FREQUENT = "the of and to in is that it was for on are as with his they at be this from".split()
HAN = "的一是不了人我在有他这为之大来以个中上们到说国和地也子时道出而要于就下得可你年生"


def _vocabulary(rng):
    made = {"".join(rng.choice(SYLLABLES) for _ in range(rng.randint(2, 4))) for _ in range(4000)}
    return sorted(made)


def _lines(rng, size, word, glue=" ", per_line=13):
    """Repeats a block of about 2 MB of lines of `per_line` words up to `size` bytes."""
    block = []
    length = 0
    while length < min(size, 2_000_000):
        line = glue.join(word() for _ in range(per_line)) + "\n"
        block.append(line)
        length += len(line.encode())
    data = "".join(block).encode()
    whole = data * (size // len(data) + 1)
    return whole[: whole.rfind(b"\n", 0, size) + 1]


def english(size):
    """Lower-case prose with numbers; "wheelbarrow" and "Needle" stand in it now and then."""
    rng = random.Random(SEED)
    words = _vocabulary(rng)

    def word():
        dice = rng.random()
        if dice < 0.4:
            return rng.choice(FREQUENT)
        if dice < 0.42:
            return str(rng.randint(0, 9999))
        if dice < 0.4203:
            return "wheelbarrow"
        if dice < 0.4206:
            return rng.choice(["Needle", "NEEDLE", "needle"])
        return rng.choice(words)

    return _lines(rng, size, word)


def mixed(size):
    """Prose in Latin, Greek and Cyrillic letters in UTF-8."""
    rng = random.Random(SEED + 1)
    words = _vocabulary(rng)
    other = ["größe", "été", "naïve", "λόγος", "καὶ", "слово", "человек", "señor", "façade", "œuvre"]
    return _lines(rng, size, lambda: rng.choice(other if rng.random() < 0.3 else words))


def chinese(size):
    """Chinese text in UTF-8 with some ASCII words."""
    rng = random.Random(SEED + 2)
    han = HAN + "".join(chr(rng.randint(0x4E00, 0x9FA5)) for _ in range(2500))
    common = len(HAN)

    def word():
        if rng.random() < 0.06:
            return rng.choice(["code", "GBK", "2026", "tree"])
        top = common if rng.random() < 0.5 else len(han) - 1
        return "".join(han[rng.randint(0, top - 1)] for _ in range(rng.randint(2, 5)))

    return _lines(rng, size, word, glue="，", per_line=9)


def japanese(size):
    """Japanese text in UTF-8."""
    rng = random.Random(SEED + 3)
    kana = "".join(chr(c) for c in range(0x3041, 0x3094)) + "日本語文字検索置換山川東京大学漢字"
    return _lines(rng, size, lambda: "".join(rng.choice(kana) for _ in range(4)), glue="、", per_line=9)


def log(size):
    """Lines of a log; one in some hundred is a warning, in letters of either case."""
    rng = random.Random(SEED + 4)
    words = _vocabulary(rng)

    def word():
        if rng.random() < 0.0005:
            return rng.choice(["Warning", "warn", "WARNING", "timed out", "Timed Out"])
        return rng.choice(words)

    return _lines(rng, size, word)


def one_line(size):
    """English prose with its line feeds made blanks."""
    return english(size).replace(b"\n", b" ")[:-1] + b"\n"


def run_of_a(size):
    """One line of only "a"."""
    return b"a" * (size - 1) + b"\n"


def c_file(rng, with_match):
    """A small C source; one in ten of a tree carries the text that is looked for."""
    lines = ["#include <stdio.h>", ""]
    for number in range(rng.randint(20, 60)):
        lines.append(f"static int function_{number}(int value) {{")
        lines.append(f"    return value * {rng.randint(1, 99)} + count_{rng.randint(0, 9)};")
        lines.append("}")
    if with_match:
        lines.insert(len(lines) // 2, "/* obsolete_name is kept for old callers */")
    return ("\n".join(lines) + "\n").encode()
