// The command itself, with switches and files by the input: it ends by one of its exit statuses, a
// preview changes nothing, and what a run with a backup has changed, --undo gives back to the byte.
#include "fuzz/FuzzInput.h"
#include "fuzz/TemporaryFolder.h"
#include "fuzz/affordable.h"
#include "tool/option/option_table.h"

#include <fcntl.h>
#include <iostream>
#include <unistd.h>
#include <vector>

using namespace Quil;

/// The command's own `main`.
int TsubMain(int argc, char** argv);

namespace {

// Nothing that is named may lie outside the target's folder: the command does what it is told.
constexpr const char* FILES[] = {"a.txt", "sub", "*", "sub/*.txt", "b", "none", "."};
constexpr const char* LISTS[] = {"list", "-"};
constexpr const char* CHARSETS[] = {"utf-8",  "gbk",         "SHIFT_JIS", "utf-16le",
                                    "UTF-16", "latin1",      "ascii",     "UTF-16BE",
                                    "UTF-32", "ISO-2022-JP", "cp1252",    "x"};

/// A text that can be an argument.
std::string Argument(FUZZ::CFuzzInput& input, unsigned int most) {
    std::string text = input.Text(most);
    std::erase(text, '\0');
    return text;
}

std::string ValueFor(const OPTION& option, FUZZ::CFuzzInput& input) {
    if (const auto words = GetWords(option); !words.empty()) {
        return std::string(words[input.Below(static_cast<unsigned int>(words.size()))]);
    }
    switch (option.kind) {
    case KIND::FILE:
        return input.OneOf(LISTS);
    case KIND::FOLDER:
        return "";
    case KIND::RUN:
        return input.Flag() ? "list" : "";
    case KIND::ENCODING:
    case KIND::CHARSET:
        return input.OneOf(CHARSETS);
    default:
        break;
    }
    if (std::string_view(option.name) == "jobs") {
        return std::to_string(input.Below(4));
    }
    return Argument(input, 16);
}

struct LINE {
    std::vector<std::string> arguments{"tsub"};
    bool isPreview = false;
    bool isUndo = false;
    bool isAffordable = true;

    bool Has(std::string_view name) const {
        return std::any_of(arguments.begin(), arguments.end(),
                           [&](const std::string& word) { return word.starts_with(name); });
    }
};

void Add(LINE& line, const OPTION& option, FUZZ::CFuzzInput& input) {
    const std::string name(option.name);
    std::string word = (option.IsLong() ? "--" : "-") + name;
    if (option.value == VALUE::NEEDED || (option.value == VALUE::OPTIONAL && input.Flag())) {
        const std::string value = ValueFor(option, input);
        word += option.GetValueSign() + value;
        line.isAffordable =
            line.isAffordable && FUZZ::IsAffordable(std::wstring(value.begin(), value.end()));
    }
    line.isPreview = line.isPreview || name == "preview" || name == "dry-run" || name == "count" ||
                     name == "files-with-matches" || name == "stdout";
    line.isUndo = line.isUndo || name == "undo" || name == "forget";
    line.arguments.push_back(word);
}

LINE ReadLine(FUZZ::CFuzzInput& input) {
    LINE line;
    constexpr std::string_view FINDS[] = {"f", "fic", "r", "ric", "rnnl", "any"};
    const std::string_view find = input.OneOf(FINDS);
    for (const OPTION& option : GetOptions()) {
        if (option.name == find || option.name == std::string_view("t")) {
            Add(line, option, input);
        }
    }
    for (unsigned int count = input.Below(6); count != 0; --count) {
        Add(line, GetOptions()[input.Below(static_cast<unsigned int>(GetOptions().size()))], input);
    }
    for (unsigned int count = input.Below(3); count != 0; --count) {
        line.arguments.emplace_back(input.OneOf(FILES));
    }
    return line;
}

/// Runs the command with these bytes on standard input; answers its exit status as a shell sees it.
int Command(std::vector<std::string> arguments, const std::string& bytes) {
    int pipe[2];
    FUZZ::Require(::pipe(pipe) == 0 && ::write(pipe[1], bytes.data(), bytes.size()) >= 0, "a pipe");
    ::close(pipe[1]);
    ::dup2(pipe[0], STDIN_FILENO);
    ::close(pipe[0]);
    std::wcin.clear();
    std::clearerr(stdin);
    std::vector<char*> words;
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    return TsubMain(static_cast<int>(arguments.size()), words.data()) & 0xFF;
}

bool IsStatus(int status) {
    return status == 0 || status == 1 || status == 255;
}

/// What the command says goes nowhere, and what it keeps stays in the folder.
void BeQuiet() {
    std::cerr.rdbuf(nullptr);
    ::dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);
    ::setenv("HOME", std::filesystem::absolute("../home").c_str(), 1);
    ::setenv("XDG_STATE_HOME", std::filesystem::absolute("../home").c_str(), 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const FUZZ::CTemporaryFolder folder;
    static const bool isQuiet = (BeQuiet(), true);
    FUZZ::CFuzzInput input(data, size);
    const LINE line = ReadLine(input);
    if (!isQuiet || !line.isAffordable) {
        return 0;
    }
    folder.Clear();
    std::filesystem::remove_all("../home");
    std::filesystem::create_directory("sub");
    folder.Put("list", "a.txt\nsub/c.txt\nnone\n");
    folder.Put("sub/c.txt", input.Text(40));
    folder.Put("sub/.hidden", input.Text(10));
    const std::string rest = input.Rest();
    folder.Put("a.txt", rest);
    folder.Put("b", rest + rest + rest);
    const auto before = folder.Contents();
    FUZZ::Require(IsStatus(Command(line.arguments, rest.substr(0, 4096))),
                  "a status of the command's");
    FUZZ::Require(!line.isPreview || line.isUndo || folder.Contents() == before,
                  "a preview changes nothing");
    if ((line.Has("--backup") || line.Has("--careful")) && !line.isUndo) {
        FUZZ::Require(IsStatus(Command({"tsub", "--undo"}, "")), "a status of the undoing");
        FUZZ::Require(folder.Contents() == before, "what was changed is given back");
    }
    return 0;
}
