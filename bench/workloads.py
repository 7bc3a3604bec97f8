"""What is measured: each workload names its text, tsub's arguments and what its peers do for the same
bytes.

A peer is a shell command (one whose name begins with "~" does less, and is only told of); `{f}` is the file that it works on (a fresh copy for every run), `{o}` a
file that it may write, which then is its result. A peer without `{o}` changes `{f}` in place.
"""
from dataclasses import dataclass, field

import os

import lists
import texts

MB = 1_000_000


@dataclass
class Workload:
    name: str
    text: object  # a maker of texts.py
    tsub: list
    peers: dict
    size: int = 100 * MB
    charset: str = "utf-8"  # of the file; the makers give UTF-8
    mode: str = "file"  # file, stdout, pipe, tree, many (small files, only read), start or huge
    must: float = 1.0  # tsub's rate over the best peer's; 0: they don't do the same, and no mean counts it
    goal: float = 1.0
    rare: bool = False  # a file is rewritten for a few matches
    names: int = 0  # files of the tree that are named one by one
    files: int = 5000  # of a tree or of many
    rules: tuple = ()  # a maker of lists.py and how many it is to make; {r} is the list's path
    limit: float = 600  # seconds after which a peer is stopped


def sed(script, flags=""):
    return {"sed": f"LC_ALL=C sed -i -E {flags} '{script}' {{f}}"}


def perl(code, flags=""):
    return {"perl": f"perl {flags} -i -pe '{code}' {{f}}"}


def sd(find, replace, flags=""):
    return {"sd": f"sd {flags} '{find}' '{replace}' {{f}}"}


def rg(find, replace, flags=""):
    return {"rg": f"rg {flags} --no-config --passthru -N -r '{replace}' '{find}' {{f}} > {{o}}"}


def mawk(find, replace):
    return {"mawk": f"mawk '{{{{gsub(/{find}/, \"{replace}\"); print}}}}' {{f}} > {{o}}"}


def literal(find, replace):
    return {**sed(f"s/{find}/{replace}/g"), **perl(f"s/{find}/{replace}/g"), **sd(find, replace, "-s"),
            **rg(find, replace, "-F"), **mawk(find, replace)}


def utf8_perl(code):
    return {"perl": f"perl -CSD -Mutf8 -i -pe '{code}' {{f}}"}


def through(charset, script):
    """What one does today for a file in another charset: to UTF-8, replace there, and back."""
    to, back = f"iconv -f {charset} -t utf-8 {{f}}", f"iconv -f utf-8 -t {charset} > {{o}}"
    return {"iconv+sed+iconv": f"{to} | LC_ALL=C sed '{script}' | {back}",
            "iconv+perl+iconv": f"{to} | perl -pe '{script}' | {back}"}


def convert(source, target):
    recode = {"recode": f"recode {source}..{target} < {{f}} > {{o}}"}
    return {"iconv": f"iconv -f {source} -t {target} {{f}} > {{o}}",
            "uconv": f"uconv -f {source} -t {target} {{f}} > {{o}}", **recode}


UCHARDET = {"uchardet": "uchardet {f} > /dev/null"}
TEN = "wheelbarrow|needle|banana|quagmire|zenith|oubliette|tesseract|vivid|dithering|poxy"
TREE = "find . -name '*.c' -print0 | xargs -0"
NAMES = "find . -name '*.c' | sort | head -3000 | xargs"


def expression(find, replace, flags="", peers="sed perl sd rg"):
    back = replace.replace("\\", "$")
    table = {"sed": sed(f"s/{find}/{replace}/g"), "perl": perl(f"s/{find}/{back}/g"),
             "sd": sd(find, back), "rg": rg(find, back)}
    chosen = {}
    for name in peers.split():
        chosen.update(table[name])
    return chosen


PERL_RULES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "rules.pl")


def rules(count, kind, text=lists.prose, must=10.0):
    """A list of replacements over a text. A list of commands for sed rewrites what it has made, and one
    alternation of sed's puts the same in every place: so neither gives the same bytes, and a list's own
    commands do only where nothing is met twice."""
    perl = f"LIST={{r}} perl -i -p {PERL_RULES} {{f}}"
    peers = {"perl": perl, "perl with a larger trie": f"TRIE=1 {perl}", "perl, place by place": f"AHEAD=1 {perl}",
             "~sed, one s each": "LC_ALL=C sed -i -f {r}.sed {f}", "~sed, one alternation": "LC_ALL=C sed -i -E -f {r}.one {f}",
             "~rg -f, only finds": "rg --no-config -c -F -f {r}.texts {f} > {o}"}
    name = f"{count} rules, {'Chinese' if kind is lists.chinese else kind.__name__}"
    return Workload(name, text, ["--rules={r}"], peers, rules=(kind, count), limit=30, must=must if count >= 1000 else 1.0)


WORKLOADS = [
    Workload("literal, few matches", texts.english, ["-f:wheelbarrow", "-t:pushcart"], literal("wheelbarrow", "pushcart"), must=3.0, goal=3.5, rare=True),
    Workload("literal, few matches, longer", texts.english, ["-f:wheelbarrow", "-t:wheelbarrows"], literal("wheelbarrow", "wheelbarrows"), must=3.0, goal=3.5, rare=True),
    Workload("literal, few matches, as long", texts.english, ["-f:wheelbarrow", "-t:WHEELBARROW"], literal("wheelbarrow", "WHEELBARROW"), must=3.0, goal=3.5, rare=True),
    Workload("literal, many matches", texts.english, ["-f:e", "-t:EE"], literal("e", "EE"), must=1.0, goal=1.3),
    Workload("literal, common first character", texts.english, ["-f:ean", "-t:EAN"], literal("ean", "EAN"), must=1.1, goal=1.5),
    Workload("literal that isn't there", texts.english, ["-f:Quetzalcoatl", "-t:x"], literal("Quetzalcoatl", "x"), must=1.5, goal=3.0),
    Workload("literal, no case", texts.english, ["-fic:needle", "-t:pin"],
             {**sed("s/needle/pin/Ig"), **perl("s/needle/pin/gi"), **sd("needle", "pin", "-f i"), **rg("needle", "pin", "-i")}, must=3.0, goal=3.5, rare=True),
    Workload("literal, mixed UTF-8", texts.mixed, ["-f:слово", "-t:дело"], literal("слово", "дело"), must=1.0, goal=1.3),
    Workload("literal, Chinese UTF-8", texts.chinese, ["-f:中国", "-t:中華"], literal("中国", "中華"), must=1.0, goal=1.3),
    Workload("literal in GBK", texts.chinese, ["-f:中国", "-t:中华", "-encin:gbk"], through("gbk", "s/中国/中华/g"), charset="gbk"),
    Workload("literal in Shift_JIS", texts.japanese, ["-f:東京", "-t:京都", "-encin:shift_jis", "-force"], through("shift_jis", "s/東京/京都/g"), charset="shift_jis"),
    Workload("[0-9]+", texts.english, ["-r:[0-9]+", "-t:#"], expression("[0-9]+", "#"), must=1.2, goal=2.0),
    Workload("[a-z]+", texts.english, ["-r:[a-z]+", "-t:w"], expression("[a-z]+", "w"), must=1.5, goal=3.0),
    Workload("literal with a class", texts.english, ["-r:wheel[a-z]+", "-t:cart"], expression("wheel[a-z]+", "cart"), must=3.0, goal=3.5, rare=True),
    Workload("capture swap", texts.english, [r"-r:([a-z]+) ([0-9]+)", r"-t:\2 \1"],
             {**sed(r"s/([a-z]+) ([0-9]+)/\2 \1/g"), **perl(r"s/([a-z]+) ([0-9]+)/$2 $1/g"), **sd("([a-z]+) ([0-9]+)", "$2 $1"), **rg("([a-z]+) ([0-9]+)", "$2 $1")}, must=0.8, goal=1.3),
    Workload("lazy between literals", texts.english, [r"-r:***:(?n)the .*? of", "-t:X"],
             {**perl("s/the .*? of/X/g"), **sd("the .*? of", "X"), **rg("the .*? of", "X")}, must=0.8, goal=1.5),
    Workload("back reference", texts.english, [r"-r:***:([a-z][a-z])\1", r"-t:<\1>"],
             {**sed(r"s/([a-z][a-z])\1/<\1>/g"), **perl(r"s/([a-z][a-z])\1/<$1>/g")}, must=0.7, goal=2.0),
    Workload("word with itself behind it", texts.english, [r"-r:***:(?n)\m([a-z]+) \1\M", r"-t:\1"],
             {**perl(r"s/\b([a-z]+) \1\b/$1/g"), **rg(r"\b([a-z]+) \1\b", "$1", "-P")}),
    Workload("two words without case", texts.log, ["-ric:warn(ing)?|timed out", "-t:alert"],
             {**sed("s/warn(ing)?|timed out/alert/Ig"), **perl("s/warn(ing)?|timed out/alert/gi"),
              **sd("warn(ing)?|timed out", "alert", "-f i"), **rg("warn(ing)?|timed out", "alert", "-i")}, must=3.0, goal=3.5, rare=True),
    Workload("line anchor", texts.english, ["-r:^the", "-t:THE"], {**expression("^the", "THE", peers="sed perl rg"), **sd("(?m)^the", "THE")}, must=0.7, goal=1.1),
    Workload("whole line around a literal", texts.english, ["-r:^.*wheelbarrow.*$", "-t:-"],
             {**expression("^.*wheelbarrow.*$", "-", peers="sed perl rg"), **sd("(?m)^.*wheelbarrow.*$", "-")}, must=0.7, goal=1.1),
    Workload("expression that isn't there", texts.english, ["-r:[A-Z][a-z]+Quetzal[0-9]", "-t:x"], expression("[A-Z][a-z]+Quetzal[0-9]", "x"), must=0.7, goal=1.1),
    Workload("ten words", texts.english, [f"-r:({TEN})", "-t:x"], expression(f"({TEN})", "x"), must=0.6, goal=1.0),
    Workload("word without case", texts.english, ["-ric:needle", "-t:pin"],
             {**sed("s/needle/pin/Ig"), **perl("s/needle/pin/gi"), **sd("needle", "pin", "-f i"), **rg("needle", "pin", "-i")}, must=0.6, goal=1.0),
    Workload("(a*)*b on one line", texts.run_of_a, ["-r:(a*)*b", "-t:x"], expression("(a*)*b", "x", peers="sd rg"), size=10 * MB, must=0.7, goal=1.0),
    Workload("Chinese class", texts.chinese, ["-r:[一-龥]+", "-t:x"],
             {**utf8_perl("s/[一-龥]+/x/g"), **sd("[一-龥]+", "x"), **rg("[一-龥]+", "x")}, must=1.3, goal=2.0),
    Workload("set of Chinese characters", texts.chinese, ["-r:[你我他她它]们", "-t:朋友们"],
             {**utf8_perl("s/[你我他她它]们/朋友们/g"), **sd("[你我他她它]们", "朋友们"), **rg("[你我他她它]们", "朋友们")}, must=0.8, goal=1.2),
    Workload("GBK to UTF-8", texts.chinese, ["-any", "-encin:gbk", "-encout:utf-8"], convert("gbk", "utf-8"), charset="gbk", must=1.2, goal=2.0),
    Workload("UTF-8 to GB18030", texts.chinese, ["-any", "-encin:utf-8", "-encout:gb18030"], convert("utf-8", "gb18030"), must=0.7, goal=1.0),
    Workload("GB18030 to UTF-8", texts.chinese, ["-any", "-encin:gb18030", "-encout:utf-8"], convert("gb18030", "utf-8"), charset="gb18030", must=0.7, goal=1.0),
    Workload("Shift_JIS to UTF-8", texts.japanese, ["-any", "-encin:shift_jis", "-encout:utf-8"], convert("shift_jis", "utf-8"), charset="shift_jis", must=1.0, goal=1.5),
    Workload("Latin 1 to UTF-8", texts.english, ["-any", "-encin:iso-8859-1", "-encout:utf-8"], convert("iso-8859-1", "utf-8"), must=1.0, goal=1.5),
    Workload("UTF-8 to UTF-16", texts.english, ["-any", "-encin:utf-8", "-encout:utf16le", "-force"], convert("utf-8", "utf-16le"), must=1.0, goal=1.5),
    Workload("tree: convert all", None, ["*.c", "-s", "-any", "-encin:iso-8859-1", "-encout:utf-8"],
             {"iconv": "for f in $(find . -name '*.c'); do iconv -f iso-8859-1 -t utf-8 $f > {o} && cat {o} > $f; done",
              "recode": f"{TREE} recode iso-8859-1..utf-8"}, mode="tree", must=1.5, goal=3.0),
    Workload("tree: replace in all", None, ["*.c", "-s", "-f:return", "-t:give back"],
             {"sed": f"{TREE} sed -i s/return/give\\ back/g", "perl": f"{TREE} perl -i -pe 's/return/give back/g'",
              "sd": f"{TREE} sd -s return 'give back'"}, mode="tree", must=1.3, goal=2.0),
    Workload("tree: 3000 files by name", None, ["-f:obsolete_name", "-t:new_name"],
             {"sed": f"{NAMES} sed -i s/obsolete_name/new_name/g", "perl": f"{NAMES} perl -i -pe s/obsolete_name/new_name/g",
              "sd": f"{NAMES} sd -s obsolete_name new_name"}, mode="tree", names=3000),
    Workload("20 000 small files, all match", None, ["*", "-s", "-f:the", "-t:THE"],
             {"sed": "find . -type f -print0 | xargs -0 sed -i s/the/THE/g", "sd": "find . -type f -print0 | xargs -0 sd -s the THE"}, mode="tree", files=20_000),
    Workload("100 000 small files, none matches", None, ["*", "-s", "-f:Quetzalcoatl", "-t:x"], {"grep": "grep -r Quetzalcoatl ."}, mode="many", files=100_000),
    Workload("… several at once", None, ["*", "-s", "-f:Quetzalcoatl", "-t:x", "--jobs"], {"rg": "rg -uuu Quetzalcoatl"}, mode="many", files=100_000),
    Workload("tree: replace in a tenth", None, ["*.c", "-s", "-f:obsolete_name", "-t:new_name"],
             {"sed": f"{TREE} sed -i s/obsolete_name/new_name/g", "rg+sed": "rg -l -0 obsolete_name | xargs -0 sed -i s/obsolete_name/new_name/g",
              "rg+sd": "rg -l -0 obsolete_name | xargs -0 sd -s obsolete_name new_name"}, mode="tree", must=0.7, goal=1.0),
    Workload("to standard output", texts.english, ["-f:wheelbarrow", "-t:pushcart"],
             {"sed": "LC_ALL=C sed s/wheelbarrow/pushcart/g {f} > {o}", "perl": "perl -pe s/wheelbarrow/pushcart/g {f} > {o}", **rg("wheelbarrow", "pushcart", "-F"), **mawk("wheelbarrow", "pushcart")},
             mode="stdout", must=1.2, goal=1.7),
    Workload("to standard output, no match", texts.english, ["-f:Quetzalcoatl", "-t:x"],
             {"sed": "LC_ALL=C sed s/Quetzalcoatl/x/g {f} > {o}", **rg("Quetzalcoatl", "x", "-F"), **mawk("Quetzalcoatl", "x")}, mode="stdout"),
    Workload("pipe, literal", texts.english, ["-f:wheelbarrow", "-t:pushcart"],
             {"sed": "LC_ALL=C sed s/wheelbarrow/pushcart/g", "perl": "perl -pe s/wheelbarrow/pushcart/g", "mawk": "mawk '{{gsub(/wheelbarrow/, \"pushcart\"); print}}'", "rg": "rg --passthru -N -F -r pushcart wheelbarrow"},
             mode="pipe", must=0.7, goal=1.0),
    Workload("pipe, expression", texts.english, ["-r:[0-9]+", "-t:#"],
             {"sed": "LC_ALL=C sed -E 's/[0-9]+/#/g'", "perl": "perl -pe 's/[0-9]+/#/g'", "rg": "rg --passthru -N -r '#' '[0-9]+'"}, mode="pipe", must=1.0, goal=1.8),
    Workload("pipe, conversion", texts.chinese, ["-any", "-encin:gbk", "-encout:utf-8"],
             {"iconv": "iconv -f gbk -t utf-8", "recode": "recode gbk..utf-8", "uconv": "uconv -f gbk -t utf-8"}, charset="gbk", mode="pipe", must=1.0, goal=1.5),
    Workload("one 20 MB line, literal", texts.one_line, ["-f:wheelbarrow", "-t:pushcart"], literal("wheelbarrow", "pushcart"), size=20 * MB, must=1.0, goal=1.3),
    Workload("one 20 MB line, expression", texts.one_line, ["-r:[0-9]+", "-t:#"], expression("[0-9]+", "#"), size=20 * MB, must=0.7, goal=1.0),
    Workload("5 GiB, a match at its end", texts.english, ["-f:wheelbarrow", "-t:pushcart"], {}, size=10 * MB, mode="huge"),
    # uchardet stops reading when it has made up its mind, and tsub looks whether the text decodes.
    Workload("charset of 1 MB in Shift_JIS", texts.japanese, ["--report"], UCHARDET, size=MB, charset="shift_jis", must=0),
    Workload("charset of 1 MB in GBK", texts.chinese, ["--report"], UCHARDET, size=MB, charset="gbk", must=0),
    Workload("charset of 100 MB in UTF-8", texts.mixed, ["--report", "--whole"], UCHARDET, must=0),
    Workload("charset of 100 MB in ASCII", texts.english, ["--report", "--whole"], UCHARDET, must=0),
    *(rules(count, kind) for kind in (lists.rare, lists.dense) for count in (10, 100, 1000, 10_000, 100_000)),
    rules(10_000, lists.chinese, texts.chinese),
    Workload("start on 1 KB", texts.english, ["-f:Quetzalcoatl", "-t:x"],
             {"sed": "sed s/Quetzalcoatl/x/ text", "mawk": "mawk {gsub(/Quetzalcoatl/,\"x\");print} text"}, size=1000, mode="start", must=0.87),
]
