#!/usr/bin/env python3
"""corpus.py TSUB [--peers]: how often the charset of a text is found out.

The texts are thirty passages in each of twelve languages, written for this. Each passage, and what follows
it in its file, is encoded into the charsets in which the language is written, and cut to some lengths, at the
end of a character and so that there is something beyond ASCII. An answer is right if the text decodes to what
it was, whatever the name. It fails unless enough of the answers are right. With --peers it prints the tables
of README.md instead, with other programs beside it.
"""
import collections
import ctypes
import json
import os
import subprocess
import sys
import tempfile

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "texts")
LENGTHS = (20, 100, 1000, 10000)
WIDE = ["UTF-8", "UTF-16LE", "UTF-16BE"]
WESTERN = ["CP1252", "ISO-8859-15", "CP850", "MACINTOSH"]
CHARSETS = {
    "zh_CN": ["GB18030", "HZ", "ISO-2022-CN"], "zh_TW": ["BIG5", "EUC-TW", "GB18030"],
    "ja": ["CP932", "EUC-JP", "ISO-2022-JP"], "ko": ["EUC-KR", "JOHAB", "ISO-2022-KR"],
    "ru": ["CP1251", "KOI8-R", "CP866", "ISO-8859-5", "MAC-CYRILLIC", "CP855"],
    "de": WESTERN, "fr": WESTERN, "el": ["CP1253", "ISO-8859-7", "CP737", "CP869"],
    "he": ["CP1255", "ISO-8859-8", "CP862"], "ar": ["CP1256", "ISO-8859-6"], "th": ["TIS-620"],
    "vi": ["CP1258", "TCVN", "VISCII"]}
CJK = ("zh_CN", "zh_TW", "ja", "ko")
# What is written where a charset lacks a sign.
INSTEAD = {"—": "-", "–": "-", "«": '"', "»": '"', "״": '"', "“": '"', "”": '"', "œ": "oe", "€": "EUR", "ΐ": "ϊ", "ΰ": "ϋ",
           **{chr(0x660 + digit): str(digit) for digit in range(10)}}

LIBC = ctypes.CDLL(None)
LIBC.iconv_open.restype = ctypes.c_void_p
LIBC.iconv.argtypes = [ctypes.c_void_p] + [ctypes.c_void_p] * 4
LIBC.iconv.restype = ctypes.c_size_t


def convert(data, source, target):
    """The bytes in another charset, or None."""
    if "HZ" in (source, target):  # which the C library hasn't
        try:
            return data.decode(source).encode(target)
        except UnicodeError:
            return None
    descriptor = LIBC.iconv_open(target.encode(), source.encode())
    if descriptor in (None, ctypes.c_void_p(-1).value):
        return None
    block, room = ctypes.create_string_buffer(data, len(data) + 1), 8 * len(data) + 64
    result = ctypes.create_string_buffer(room)
    at, left = ctypes.c_char_p(ctypes.addressof(block)), ctypes.c_size_t(len(data))
    to, free = ctypes.c_char_p(ctypes.addressof(result)), ctypes.c_size_t(room)
    done = LIBC.iconv(descriptor, ctypes.byref(at), ctypes.byref(left), ctypes.byref(to), ctypes.byref(free))
    LIBC.iconv(descriptor, None, None, ctypes.byref(to), ctypes.byref(free))
    LIBC.iconv_close(ctypes.c_void_p(descriptor))
    return result.raw[:room - free.value] if done == 0 else None


def encode(text, charset):
    return convert(text.encode(), "UTF-8", charset)


def written(text, charset):
    """The text as it would be written in that charset."""
    if encode(text, charset) is None:
        text = "".join(c if encode(c, charset) is not None else INSTEAD[c] for c in text)
    return text


def cut(text, charset, length):
    """The longest beginning that has at most so many bytes, and these."""
    low, high = 1, len(text)
    while low < high:
        middle = (low + high + 1) // 2
        if len(encode(text[:middle], charset)) <= length:
            low = middle
        else:
            high = middle - 1
    return text[:low], encode(text[:low], charset)


def beginning(text, length):
    """From a word on so that something beyond ASCII is in the first half."""
    first = next(i for i, c in enumerate(text) if ord(c) > 127)
    return text if first < length // 2 else text[text.rfind(" ", 0, first - length // 4) + 1:]


Case = collections.namedtuple("Case", "language charset length path text")


def make(folder):
    cases = []
    for language, charsets in CHARSETS.items():
        with open(os.path.join(FOLDER, language + ".txt"), encoding="utf-8") as file:
            passages = file.read().splitlines()
        for charset in WIDE + charsets:
            ready = [written(passage, charset) for passage in passages]
            for number in range(len(ready)):
                text = "\n".join(ready[number:] + ready[:number]) + "\n"
                for length in LENGTHS:
                    part, data = cut(beginning(text, length), charset, length)
                    path = os.path.join(folder, f"{language}-{charset}-{length}-{number}")
                    with open(path, "wb") as file:
                        file.write(data)
                    cases.append(Case(language, charset, length, path, part))
    return cases


# --- The programs, each with its answers: path -> (name, confidence) -------------------------------

def lines_of(command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=False, **options).stdout.splitlines()


def report(tsub, cases, locale):
    names = "\0".join(case.path for case in cases).encode()
    environment = {**os.environ, "LANG": locale, "LC_ALL": "C.UTF-8"}
    lines = subprocess.run([tsub, "--files-from=-", "--null", "--report", "--json"], input=names, check=True,
                           capture_output=True, env=environment).stdout.decode().splitlines()
    found = [json.loads(line) for line in lines]
    return {case.path: (row["charset"], row["confidence"]) for case, row in zip(cases, found, strict=True)}


def with_hint(tsub, cases):
    answers = {}
    for language in CHARSETS:
        answers |= report(tsub, [case for case in cases if case.language == language], language)
    return answers


def in_groups(cases, command, take):
    answers = {}
    for begin in range(0, len(cases), 500):
        paths = [case.path for case in cases[begin:begin + 500]]
        for line in lines_of(command + paths):
            path, _, name = line.partition(": ")
            answers[path] = (take(name.strip()), 100)
    return answers


def by_uchardet(cases):
    return in_groups(cases, ["uchardet"], lambda name: "" if name == "unknown" else name)


def by_file(cases):
    return in_groups(cases, ["file", "-i"], lambda text: text.partition("charset=")[2])


def by_enca(cases):
    answers = {}
    for language in CHARSETS:
        code = {"zh_CN": "zh", "zh_TW": "zh", "ru": "ru"}.get(language, "none")
        answers |= in_groups([case for case in cases if case.language == language], ["enca", "-L", code, "-i"],
                             lambda name: "" if name == "???" else name)
    return answers


# --- What comes of it ------------------------------------------------------------------------------

PEER_NAMES = {"ascii": "ASCII", "binary": "", "unknown": "", "empty": "", "unknown-8bit": "", "hz": "HZ",
              "windows-949": "UHC", "hz-gb-2312": "HZ", "us-ascii": "ASCII", "shift_jis": "CP932",
              "x-mac-cyrillic": "MAC-CYRILLIC", "tis-620": "TIS-620", "MAC-CENTRALEUROPE": "MAC-CENTRALEUROPE"}


def is_right(case, name):
    name = PEER_NAMES.get(name.lower(), name)
    with open(case.path, "rb") as file:
        return name != "" and convert(file.read(), name, "UTF-8") == case.text.encode()


class Score:
    """Shares of right answers, in percent."""

    def __init__(self, cases, answers):
        self.right = {case.path: is_right(case, answers.get(case.path, ("", 0))[0]) for case in cases}
        self.sure = [case for case in cases if answers.get(case.path, ("", 0))[1] > 90]
        self.cases, self.answers = cases, answers

    def share(self, wants=lambda case: True):
        cases = [case for case in self.cases if wants(case)]
        return 100 * sum(self.right[case.path] for case in cases) / len(cases)

    def wrong_though_sure(self):
        return 100 * sum(not self.right[case.path] for case in self.sure) / len(self.sure)


def test(tsub, cases):
    hint = Score(cases, with_hint(tsub, cases))
    none = Score(cases, report(tsub, cases, "C"))
    of_cjk = lambda case: case.language in CJK and case.length == 1000
    floors = [("with the locale's candidates, of CJK at 1000 bytes", hint.share(of_cjk), 99),
              ("without a hint, of CJK at 1000 bytes", none.share(of_cjk), 97),
              ("sure answers, with the locale's candidates", 100 - hint.wrong_though_sure(), 99.5),
              ("sure answers, without a hint", 100 - none.wrong_though_sure(), 99.5)]
    for score, least, what in ((hint, (95, 99, 99, 99), "with the locale's candidates"),
                               (none, (85, 97, 99, 99), "without a hint")):
        for length, floor in zip(LENGTHS, least):
            share = score.share(lambda case, length=length: case.length == length)
            floors.append((f"{what}, at {length} bytes", share, floor))
    for what, share, floor in floors:
        print(f"{'ok  ' if share >= floor else 'FAIL'} {share:6.2f} % right, {floor} wanted: {what}")
    return all(share >= floor for _, share, floor in floors)


def compare(tsub, cases):
    scores = {"tsub, by locale": Score(cases, with_hint(tsub, cases)),
              "tsub": Score(cases, report(tsub, cases, "C")), "uchardet": Score(cases, by_uchardet(cases)),
              "enca": Score(cases, by_enca(cases)), "`file -i`": Score(cases, by_file(cases))}

    def table(head, rows):
        print(f"| {head} | " + " | ".join(scores) + " |\n|---|" + "---:|" * len(scores))
        for name, wants in rows:
            print(f"| {name} | " + " | ".join(f"{score.share(wants):.1f}" for score in scores.values()) + " |")
        print()

    table("bytes", [(length, lambda case, length=length: case.length == length) for length in LENGTHS] +
          [("all", lambda case: True)])
    table("charset", [(charset, lambda case, charset=charset: case.charset == charset)
                      for charset in dict.fromkeys(case.charset for case in cases)])
    for name in list(scores)[:2]:
        score = scores[name]
        print(f"{name}: wrong above 90: {score.wrong_though_sure():.2f} % of {len(score.sure)}")
    return True


def main():
    tsub = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder:
        cases = make(folder)
        print(len(cases), "texts")
        return (compare if "--peers" in sys.argv else test)(tsub, cases)


if __name__ == "__main__":
    sys.exit(0 if main() else 1)
