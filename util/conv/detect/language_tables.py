#!/usr/bin/env python3
"""Makes language_tables.cpp: how often the characters of languages follow each other.

    util/conv/detect/language_tables.py FOLDER [--fetch]

FOLDER is where the texts are: Debian's packages of translated programs, manuals and dictionaries,
which --fetch gets and unpacks there (about 900 MB). They are counted, never kept: what comes of
them is a table of figures. A figure is the negative logarithm of a probability in sixths of a nat,
written as one printable character.
"""
import glob
import gzip
import gettext
import html
import math
import os
import re
import subprocess
import sys
import unicodedata
from collections import Counter, defaultdict

LATIN = 'de fr es pt it sv da nl fi nb pl cs hu ro sk sl hr lt lv et tr vi'.split()
OTHERS = 'ru uk bg el he ar th'.split()  # alphabets
IDEOGRAPHS = 'zh_CN zh_TW ja ko'.split()  # and syllables: thousands of characters
ALL = IDEOGRAPHS + OTHERS + LATIN

PACKAGES = (['libreoffice-l10n-' + name.lower().replace('_', '-') for name in ALL] +
            ['libreoffice-help-' + name for name in
             'zh-cn zh-tw ja ko ru vi el tr de fr es pt it sv da nl fi pl cs hu sk sl et'.split()] +
            'gnome-user-docs gimp-help-ja gimp-help-ko gimp-help-ru manpages-ru manpages-ja '
            'manpages-zh manpages-fr manpages-de manpages-tr fortunes-ru fortunes-de fortunes-it '
            'fortunes-es fortunes-pl fortunes-cs fortunes-bg fortunes-zh rime-essay '
            'mecab-ipadic opencc libopencc-data'.split())

FIGURES = ''.join(chr(c) for c in range(35, 127) if chr(c) not in '\\?')
A_NAT = 6
LONGEST_TEXT = 6_000_000


def fetch(folder):
    subprocess.run(['apt-get', 'download', *PACKAGES], cwd=folder, check=True)
    for package in glob.glob(folder + '/*.deb'):
        subprocess.run(['dpkg-deb', '-x', package, folder], check=True)


# --- The texts ------------------------------------------------------------------------------------

def lines_of(text):
    """The lines that have anything beyond ASCII."""
    for line in text.split('\n'):
        line = re.sub(r'[ \t\xa0]+', ' ', line).strip()
        if any(ord(c) > 127 for c in line):
            yield line


def read(path, opened=open):
    try:
        with opened(path, 'rt', encoding='utf-8') as file:
            return file.read()
    except (OSError, UnicodeError):
        return ''


def pages(pattern):
    for path in sorted(glob.glob(pattern, recursive=True))[:4000]:
        text = read(path)
        body = re.search(r'<body.*', text, re.S)
        text = re.sub(r'<(script|style).*?</\1>|<[^>]*>', ' ', body.group(0) if body else text, flags=re.S)
        yield from lines_of(html.unescape(text))


def messages(folder, name):
    for path in sorted(glob.glob(f'{folder}/usr/lib/libreoffice/program/resource/{name}/LC_MESSAGES/*.mo')):
        with open(path, 'rb') as file:
            for text in gettext.GNUTranslations(file)._catalog.values():
                if isinstance(text, str):
                    yield from lines_of(text.replace('~', '').replace('_', ''))


def manuals(folder, name):
    for path in sorted(glob.glob(f'{folder}/usr/share/man/{name}/man*/*.gz'))[:400]:
        yield from lines_of(re.sub(r'\\f.|\\-|\\&|^\..\S* ?', ' ', read(path, gzip.open), flags=re.M))


def fortunes(folder, name):
    pattern = '*.u8' if name == 'zh_TW' else name + '/*'
    for path in sorted(glob.glob(f'{folder}/usr/share/games/fortunes/{pattern}')):
        if not path.endswith('.dat'):
            yield from lines_of(read(path))


def text_of(folder, name):
    """All lines of a language, each once."""
    share = folder + '/usr/share'
    lines = [*pages(f'{share}/libreoffice/help/{name.replace("_", "-")}/**/*.html'),
             *messages(folder, name), *pages(f'{share}/help/{name}/**/*.page'),
             *pages(f'{share}/help/{name}/**/*.docbook'),
             *pages(f'{share}/gimp/2.0/help/{name}/**/*.html'), *fortunes(folder, name),
             *manuals(folder, name)]
    return list(dict.fromkeys(lines))


def words_of(folder, name):
    """How often characters are in general texts, by a dictionary, where there is one."""
    counts = Counter()
    if name == 'ja':
        for path in glob.glob(folder + '/usr/share/mecab/dic/ipadic/*.csv'):
            weight = 0.3 if re.search('name|place|org|proper', path) else 1
            with open(path, encoding='euc-jp', errors='ignore') as file:
                for fields in (line.split(',') for line in file):
                    for character in fields[0]:
                        counts[character] += weight * math.exp(-int(fields[3]) / 1500)
    elif name != 'ko':
        for line in read(folder + '/usr/share/rime-data/essay.txt').split('\n'):
            word, _, count = line.partition('\t')
            for character in word:
                counts[character] += int(count or 0)
    if name == 'zh_CN':
        traditional = [c for c in counts if 127 < ord(c) < 0x10000]
        simplified = subprocess.run(
            ['opencc', '-c', folder + '/usr/share/opencc/t2s.json'], input='\n'.join(traditional),
            text=True, capture_output=True, check=True).stdout.split('\n')
        merged = Counter()
        for old, new in zip(traditional, simplified):
            merged[new] += counts[old]
        counts = merged
    return counts


# --- The tables -----------------------------------------------------------------------------------

def figure(probability):
    return max(0, min(len(FIGURES) - 1, round(-math.log(probability) * A_NAT)))


def literal(text):
    return ''.join(c if unicodedata.category(c)[0] in 'LNPS' and c not in '"\\' else f'\\u{ord(c):04X}'
                   for c in text)


def symbols_of(text, name):
    """The characters beyond ASCII that deserve a symbol of their own; letters in both cases."""
    counts = Counter(c for c in text if 127 < ord(c) < 0x10000)
    total = sum(counts.values())
    most = {'vi': 150, 'th': 90, 'ar': 80, 'he': 60, 'ru': 80, 'el': 80}.get(name, 56)
    symbols = [c for c, count in counts.most_common(most) if count >= max(3, total * 1e-5)]
    for c in list(symbols):
        for other in (c.upper(), c.lower()):
            if len(other) == 1 and ord(other) > 127 and other not in symbols:
                symbols.append(other)
    return sorted(symbols)


def kind_of(c, is_latin):
    if c.isalpha():
        return c if is_latin else '<letter>'
    return '<digit>' if c.isdigit() else '<space>' if ord(c) <= 32 or ord(c) == 127 else '<sign>'


def alphabet(lines, name):
    """The symbols, and for each of them, and of ASCII, the figures of what comes behind it. Behind
    ASCII only what is beyond it counts, as what comes of that."""
    is_latin = name in LATIN
    text = '\n'.join(lines)[:LONGEST_TEXT]
    lines = text.split('\n')
    text = '\n'.join(lines + [line.upper() for line in lines[::16]])  # headings
    symbols = symbols_of(text, name)
    own = len(symbols) + 1  # the first stands for all others
    letters = [chr(c) for c in (*range(65, 91), *range(97, 123))] if is_latin else ['<letter>']
    names = ['<other>', *symbols, '<space>', '<digit>', '<sign>', *letters]
    index = {c: i for i, c in enumerate(names)}
    sequence = [index.get(c if ord(c) > 127 else kind_of(c, is_latin), 0) for c in text]
    pairs = defaultdict(Counter)
    for a, b in zip(sequence, sequence[1:]):
        pairs[a][b] += 1
    singles = Counter(sequence)
    everything = sum(singles.values())
    beyond = sum(singles[b] for b in range(own))
    rows = []
    for a, before in enumerate(names):
        of_other_script = before == '<letter>'  # seldom has letters of the language behind it
        columns = range(own) if a >= own else range(len(names))
        counted = columns if not of_other_script else range(len(names))
        total = sum(pairs[a][b] for b in counted)
        base = beyond if a >= own and not of_other_script else everything
        kinds = sum(1 for b in columns if pairs[a][b])
        weight = total / (total + 2 * kinds + 4)
        row = ''
        for b in columns:
            single = (singles[b] + 0.02) / (base + 0.02 * len(names))
            if of_other_script:
                single *= 0.05
            if len(before) == 1 and before.islower() and len(names[b]) == 1 and names[b].isupper():
                single *= 0.02
            pair = pairs[a][b] / total if total else 0
            row += FIGURES[figure(max(weight * pair + (1 - weight) * single, 3e-7))]
        rows.append(row)
    return symbols, rows


# Of each language with thousands of characters: a set that all of its texts may use, and how
# likely any character of it is at least; less for its rarer half.
SETS = {'zh_CN': ('gb2312', 2e-6, lambda b, c: 0.3 if b >= 0xD8 else 1),
        'zh_TW': ('big5', 1.5e-6, lambda b, c: 0.15 if b >= 0xC9 else 1),
        'ja': ('shift_jis', 1.5e-6, lambda b, c: 0.3 if b >= 0x98 else 1),
        'ko': ('euc_kr', 1.5e-6, lambda b, c: 1 if 0xAC00 <= c <= 0xD7A3 else 0.2)}


def characters(lines, words, name):
    """Characters by their figures."""
    counts = Counter(c for line in lines for c in line if 127 < ord(c) < 0x10000)
    words = Counter({c: n for c, n in words.items() if 127 < ord(c) < 0x10000})
    share = 0.45 if words else 0
    likely = defaultdict(float)
    for part, source in ((1 - share, counts), (share, words)):
        total = sum(source.values())
        for c, count in source.items():
            likely[c] += part * count / total
    charset, least, rarity = SETS[name]
    for code in (*range(0x80, 0xD800), *range(0xE000, 0x10000)):
        encoded = chr(code).encode(charset, 'ignore')
        if len(encoded) == 2:
            is_letter = 0x3000 <= code < 0x3100 or 0x4E00 <= code < 0xA000 or 0xAC00 <= code < 0xD7A4
            likely[chr(code)] += least * rarity(encoded[0], code) * (1 if is_letter else 0.3)
    total = sum(likely.values())
    groups = defaultdict(list)
    for c, value in likely.items():
        if value / total >= 1.2e-6:
            groups[figure(value / total)].append(c)
    return groups


def main():
    folder = sys.argv[1]
    if '--fetch' in sys.argv[2:]:
        fetch(folder)
    rows = []
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), 'language_tables.cpp'), 'w',
              encoding='utf-8') as out:
        out.write('// Made by util/conv/detect/language_tables.py.\n'
                  '#include "util/conv/detect/language_tables.h"\n\n'
                  'namespace Quil::IMPL {\n\nnamespace {\n\n')
        for name in OTHERS + LATIN:
            symbols, costs = alphabet(text_of(folder, name), name)
            out.write(f'constexpr char16_t {name.upper()}_SYMBOLS[] = u"{literal(symbols)}";\n')
            out.write(f'constexpr char {name.upper()}_COSTS[] =\n')
            out.write('\n'.join(f'    "{row}"' for row in costs) + ';\n\n')
            rows.append(f'{{"{name}", {str(name in LATIN).lower()}, {name.upper()}_SYMBOLS, '
                        f'{name.upper()}_COSTS, {{}}}}')
        for name in IDEOGRAPHS:
            groups = characters(text_of(folder, name), words_of(folder, name), name)
            out.write(f'constexpr COST_GROUP {name.upper()}_GROUPS[] = {{\n')
            for cost in sorted(groups):
                out.write(f'    {{{cost}, u"{literal(sorted(groups[cost]))}"}},\n')
            out.write('};\n\n')
            rows.append(f'{{"{name}", false, u"", "", {name.upper()}_GROUPS}}')
        out.write('constexpr LANGUAGE_TABLE LANGUAGES[] = {\n' +
                  ''.join(f'    {row},\n' for row in rows) + '};\n\n} // namespace\n\n'
                  'std::span<const LANGUAGE_TABLE> GetLanguageTables() {\n    return LANGUAGES;\n}\n\n'
                  '} // namespace Quil::IMPL\n')


if __name__ == '__main__':
    main()
