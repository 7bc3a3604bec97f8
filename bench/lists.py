"""Lists of replacements and the texts that they are tried on.

The words are English ones, from Debian's word lists; in the texts a few are frequent and most are rare,
as in prose. Of a rare list something stands in every ten kilobytes of a text; of a dense one it is every second
word of a text, and with ten thousand nearly every word.
"""
import itertools
import random
from collections import Counter

import texts

SEED = texts.SEED + 10
DICTIONARY = "/usr/share/dict/american-english-"
VOCABULARY = 20_000
BLOCK = 2_000_000  # bytes of a text, which then repeats them


def _words(name):
    with open(DICTIONARY + name, encoding="utf-8") as file:
        words = (line.strip() for line in file)
        return [word for word in words if word.isascii() and word.isalpha() and word.islower()]


def _vocabulary(rng):
    return rng.sample([word for word in _words("small") if len(word) > 2], VOCABULARY)


def prose(size):
    """English prose: a third of it the usual small words."""
    rng = random.Random(SEED)
    words = _vocabulary(rng)
    shares = list(itertools.accumulate(1 / (rank + 3) for rank in range(len(words))))
    draw = iter(())

    def word():
        nonlocal draw
        if rng.random() < 0.4:
            return rng.choice(texts.FREQUENT)
        chosen = next(draw, None)
        if chosen is None:
            draw = iter(rng.choices(words, cum_weights=shares, k=10_000))
            chosen = next(draw)
        return chosen

    return texts._lines(rng, size, word)


def rare(count):
    """Half phrases of two words, half words of seven letters and more. Five phrases stand in each text, so that
    there is a match in every ten kilobytes; the others are none of its words or parts of them."""
    words = _vocabulary(random.Random(SEED))
    parts = {word[begin:end] for word in words for begin in range(len(word)) for end in range(begin + 7, len(word) + 1)}
    block = prose(BLOCK).decode()
    pairs = Counter(pair for line in block.splitlines() for pair in zip(line.split(), line.split()[1:]))
    wanted = len(block) / 10_000 / 5
    found = {" ".join(pair) for pair in sorted(pairs, key=lambda pair: (abs(pairs[pair] - wanted), pair))[:5]}
    rng = random.Random(SEED + count)
    found |= set(rng.sample([word for word in _words("huge") if len(word) > 6 and word not in parts], count // 2))
    while len(found) < count:
        pair = rng.choice(words), rng.choice(words)
        if pair not in pairs:
            found.add(" ".join(pair))
    return sorted(found)


def dense(count):
    """The usual small words, then words of the texts, then any."""
    words = _vocabulary(random.Random(SEED))
    rng = random.Random(SEED + count)
    found = set(texts.FREQUENT[:count])
    found |= set(rng.sample(words, min(count - len(found), len(words))))
    others = _words("huge")
    while len(found) < count:
        found.add(rng.choice(others))
    return sorted(found)


def chinese(count):
    """Words of two to five characters, half of them of those that texts.chinese likes best."""
    rng = random.Random(SEED + count)
    han = texts.HAN + "".join(chr(rng.randint(0x4E00, 0x9FA5)) for _ in range(2500))
    found = set()
    while len(found) < count:
        top = len(texts.HAN) if rng.random() < 0.5 else len(han)
        found.add("".join(han[rng.randint(0, top - 1)] for _ in range(rng.randint(2, 5))))
    return sorted(found)


def write(path, words):
    """The list at `path`, and what peers want beside it: the longest first, as `s` commands of sed, as one
    alternation, and the texts alone."""
    pairs = [(word, word[::-1] + "x") for word in words]
    with open(path, "w", encoding="utf-8") as file:
        file.writelines(f"{find}\t{put}\n" for find, put in pairs)
    longest = sorted(pairs, key=lambda pair: (-len(pair[0]), pair[0]))
    with open(path + ".sed", "w", encoding="utf-8") as file:
        file.writelines(f"s/{find}/{put}/g\n" for find, put in longest)
    with open(path + ".one", "w", encoding="utf-8") as file:
        file.write("s/" + "|".join(find for find, _ in longest) + "/x/g\n")
    with open(path + ".texts", "w", encoding="utf-8") as file:
        file.writelines(find + "\n" for find, _ in pairs)
