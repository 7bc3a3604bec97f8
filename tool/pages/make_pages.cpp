// Makes a page from its template: the man page, or what a shell completes. What is written by hand
// stands in the template; where "@NAME@" stands there comes what the table of options knows, in the
// page's own language.
#include "tool/option/option_table.h"

#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <string>

namespace Quil {
namespace {

std::string Replaced(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// --- The man page --------------------------------------------------------------------------------

std::string Mdoc(std::string_view text) {
    return Replaced(std::string(text), "\\", "\\e");
}

std::string MdocOption(const OPTION& option) {
    std::string item = option.IsLong() ? ".It Fl Fl " : ".It Fl ";
    item += option.name;
    // A colon stands close to what is before it by itself.
    const std::string value =
        std::string(option.IsLong() ? "= Ns Ar " : ": Ns Ar ") + option.valueName;
    if (option.value == VALUE::NEEDED) {
        item += (option.IsLong() ? " Ns " : " ") + value;
    } else if (option.value == VALUE::OPTIONAL) {
        item += " Ns Op " + value;
    }
    return item + "\n" + Mdoc(option.help) + "\n";
}

std::string MdocOptions() {
    std::string text;
    for (const TASK_TITLE& task : GetTasks()) {
        text += ".Ss " + Mdoc(task.text) + "\n.Bl -tag -width Ds\n";
        for (const OPTION& option : GetOptions()) {
            text += option.task == task.task ? MdocOption(option) : "";
        }
        text += ".El\n";
    }
    return text;
}

// --- Completions ---------------------------------------------------------------------------------

/// Calls for each word that can be completed, without its value: "-f:", "--jobs" and "--jobs=".
void ForEachWord(const std::function<void(const std::string& word, const OPTION& option)>& take) {
    for (const OPTION& option : GetOptions()) {
        const std::string word = std::string(option.IsLong() ? "--" : "-") + option.name;
        if (option.value != VALUE::NEEDED) {
            take(word, option);
        }
        if (option.value != VALUE::NONE) {
            take(word + option.GetValueSign(), option);
        }
    }
}

/// In the quotes of all three shells: what ends them is put in from outside.
std::string Quoted(std::string_view text, std::string_view quote) {
    return "'" + Replaced(std::string(text), "'", quote) + "'";
}

std::string BashWords() {
    std::string text;
    ForEachWord([&](const std::string& word, const OPTION&) { text += "    " + word + "\n"; });
    return text;
}

std::string ZshWords() {
    std::string text;
    ForEachWord([&](const std::string& word, const OPTION& option) {
        text += "    " + Quoted(Replaced(word, ":", "\\:") + ":" + option.help, "'\\''") + "\n";
    });
    return text;
}

std::string FishWords() {
    std::string text;
    ForEachWord([&](const std::string& word, const OPTION& option) {
        const std::string help = Replaced(option.help, "\\", "\\\\");
        text += std::string(text.empty() ? "" : " \\\n") + "    " + Quoted(word, "\\'") + "\\t" +
                Quoted(help, "\\'");
    });
    return text + "\n";
}

const char* KindName(KIND kind) {
    switch (kind) {
    case KIND::ANYTHING:
        return "";
    case KIND::WORD:
        return "words";
    case KIND::FILE:
        return "files";
    case KIND::FOLDER:
        return "folders";
    case KIND::ENCODING:
        return "encodings";
    case KIND::CHARSET:
        return "charsets";
    case KIND::RUN:
        return "runs";
    }
    return "";
}

/// The branches of a case over an option's name, each made by `branch` from the option and the
/// call, without its prefix, of what lists its values.
std::string Branches(const std::function<std::string(const OPTION&, const std::string&)>& branch) {
    std::string text;
    for (const OPTION& option : GetOptions()) {
        if (option.kind != KIND::ANYTHING) {
            const std::string words = *option.words != '\0' ? " " + std::string(option.words) : "";
            text += branch(option, KindName(option.kind) + words);
        }
    }
    return text;
}

std::string PosixBranches() {
    return Branches([](const OPTION& option, const std::string& call) {
        return "    " + std::string(option.name) + ") _tsub_" + call + " ;;\n";
    });
}

std::string FishBranches() {
    return Branches([](const OPTION& option, const std::string& call) {
        return "        case " + std::string(option.name) +
               "\n            printf '%s\\n' $parts[1](__tsub_" + call +
               (*option.words != '\0' ? "" : " $value") + ")\n";
    });
}

std::string MakePage(std::string page) {
    const struct {
        const char* name;
        std::string (*make)();
    } ROWS[] = {{"@OPTIONS@\n", MdocOptions},    {"@BASH_WORDS@\n", BashWords},
                {"@ZSH_WORDS@\n", ZshWords},     {"@FISH_WORDS@\n", FishWords},
                {"@BRANCHES@\n", PosixBranches}, {"@FISH_BRANCHES@\n", FishBranches}};
    for (const auto& row : ROWS) {
        if (page.find(row.name) != std::string::npos) {
            page = Replaced(page, row.name, row.make());
        }
    }
    return page;
}

} // namespace
} // namespace Quil

/// make_pages TEMPLATE PAGE
int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "make_pages TEMPLATE PAGE\n";
        return 1;
    }
    std::ifstream from(argv[1], std::ios::binary);
    const std::string page{std::istreambuf_iterator<char>(from), std::istreambuf_iterator<char>()};
    std::ofstream to(argv[2], std::ios::binary);
    to << Quil::MakePage(page);
    to.close();
    if (!from || page.empty() || !to) {
        std::cerr << "make_pages: can't make " << argv[2] << " of " << argv[1] << "\n";
        return 1;
    }
    return 0;
}
