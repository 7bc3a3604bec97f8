// Files of a tree each in its own charset: what is found out of them, and what is done with that.
// How often it is right is measured elsewhere, on a corpus (tests/charsets).
#include "tests/tool/command.h"

#include <algorithm>

namespace {

const std::string GBK =
    "\xBD\xF1\xCC\xEC\xCC\xEC\xC6\xF8\xBA\xDC\xBA\xC3\xA3\xAC\xCE\xD2\xC3\xC7\xC8\xA5"
    "\xB9\xAB\xD4\xB0\xC9\xA2\xB2\xBD\xB0\xC9\xA1\xA3\n"; // 今天天气很好，我们去公园散步吧。
const std::string GBK_IN_UTF8 = "今天天气很好，我们去公园散步吧。\n";
const std::string SJIS =
    "\x8D\xA1\x93\xFA\x82\xCD\x82\xA2\x82\xA2\x93\x56\x8B\x43\x82\xC5\x82\xB7\x81\x42\n";
const std::string SJIS_IN_UTF8 = "今日はいい天気です。\n";
const std::string KOI8 =
    "\xF3\xC5\xC7\xCF\xC4\xCE\xD1 \xC8\xCF\xD2\xCF\xDB\xC1\xD1 \xD0\xCF\xC7\xCF\xC4\xC1\n";
const std::string KOI8_IN_UTF8 = "Сегодня хорошая погода\n";

class DetectTest : public CommandTest {
protected:
    void SetUp() override {
        CommandTest::SetUp();
        environment = {{"LANG", nullptr}};
    }

    /// The row of --report for a file of that content, without its path, its columns parted by one
    /// blank.
    std::string RowOf(const std::string& content, std::vector<std::string> options = {}) {
        Write("a", content);
        options.insert(options.begin(), {"a", "--report"});
        std::string table = Tsub(options).out;
        table.erase(0, table.find('\n') + 1);
        const auto isPair = [](char a, char b) { return a == ' ' && b == ' '; };
        table.erase(std::unique(table.begin(), table.end(), isPair), table.end());
        return table.size() < 3 ? table : table.substr(2, table.size() - 3);
    }
};

std::string Repeated(const std::string& text, std::size_t size) {
    std::string all;
    while (all.size() < size) {
        all += text;
    }
    return all;
}

TEST_F(DetectTest, WhatProvesItselfIsToldForWhatItIs) {
    using namespace std::string_literals;
    const std::string megabyte = Repeated("plain text of some length\n", 1 << 20);
    const struct {
        std::string content;
        std::vector<std::string> options;
        const char* row;
    } rows[] = {
        {"", {}, "empty - no - -"},
        {"plain\n", {}, "ascii 100 no LF -"},
        {"\xEF\xBB\xBFplain\r\n", {}, "utf-8 100 yes CRLF -"},
        {"caf\xC3\xA9 \xE2\x82\xAC \xC3\xA9\r", {}, "utf-8 100 no CR -"},
        {"\xFF\xFE\x41\0\x0A\0"s, {}, "utf-16le 100 yes LF -"},
        {"h\0i\0 \0t\0h\0e\0r\0e\0\r\0\n\0"s, {}, "utf-16le 99 no CRLF -"},
        {"\0h\0i\0 \0t\0h\0e\0r\0e\0\n"s, {}, "utf-16be 99 no LF -"},
        {"h\0\0\0i\0\0\0!\0\0\0!\0\0\0\n\0\0\0"s, {}, "utf-32le 99 no LF -"},
        {"\x1B$B$3$s\x1B(B a\nb\r\n", {}, "iso-2022-jp 99 no mixed -"},
        {"\x1B$)C\x0E\x30\x21\x0F\n", {}, "iso-2022-kr 99 no LF -"},
        {"see ~{<:Ky2;S{#,NpJ)l6HK!#~} there\n", {}, "hz 99 no LF -"},
        {"a hash: ~{ no text }\n", {}, "ascii 100 no LF -"},
        {"see ~{<:Ky2;S{#,NpJ)l6HK!#~} there\n", {"--from-code=auto:gbk"}, "ascii 100 no LF -"},
        {"\x7F"
         "ELF\x02\x01\x01\0\0\0\0\0\x03\0\x3E\0\x01\0\0\0"s,
         {},
         "binary - no - -"},
        {std::string(100, '\x01') + std::string(100, '\xE9'), {}, "binary - no - -"},
        // What comes behind the first megabyte counts only if somebody wants that.
        {megabyte + GBK, {}, "ascii 100 no LF -"},
        {megabyte + GBK, {"--whole"}, "gb18030 98 no LF -"},
        {megabyte + "\xC3\xA9\xC3\xA9\xC3\xA9" + megabyte + "\xFF",
         {"--whole"},
         "utf-8 100 no LF -; doesn't decode from offset 2097166"},
        {GBK_IN_UTF8 + GBK, {}, "utf-8 60 no LF -; doesn't decode from offset 49"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(RowOf(row.content, row.options), row.row) << row.content.substr(0, 40);
    }
}

TEST_F(DetectTest, AReportForProgramsSaysTheSameOfAnyName) {
    Write("a\n\"\xFF", GBK);
    EXPECT_EQ(Tsub({"*", "--report", "--json"}).out,
              "{\"path\":\"a\\u000a\\\"\\udcff\",\"charset\":\"gb18030\",\"confidence\":98,"
              "\"mark\":false,\"lineEnds\":\"LF\"}\n");
    std::string fields = Tsub({"*", "--report", "--null"}).out;
    std::replace(fields.begin(), fields.end(), '\0', '|');
    EXPECT_EQ(fields, "a\n\"\xFF|gb18030|98|no|LF||");
    const Outcome pipe = Tsub({"--report"}, KOI8);
    EXPECT_NE(pipe.out.find("-     koi8-r"), std::string::npos) << pipe.out;
    EXPECT_EQ(pipe.status, 0);
}

TEST_F(DetectTest, EachFileIsDecodedByItsOwnAndTheSecondRunChangesNothing) {
    for (const char* const jobs : {"--jobs=1", "--jobs=3"}) {
        Write("a.txt", GBK);
        Write("b.txt", SJIS);
        Write("c.txt", KOI8);
        Write("d.txt", "\xEF\xBB\xBF" + KOI8_IN_UTF8);
        Write("list", "a.txt\nb.txt\nc.txt\nd.txt\n");
        const std::vector<std::string> convert{"--files-from=list", "-any", "--from-code=auto",
                                               "--to-code=utf-8", jobs};
        EXPECT_EQ(Tsub(convert).err, "");
        EXPECT_EQ(Read("a.txt"), GBK_IN_UTF8);
        EXPECT_EQ(Read("b.txt"), SJIS_IN_UTF8);
        EXPECT_EQ(Read("c.txt"), KOI8_IN_UTF8);
        EXPECT_EQ(Read("d.txt"), "\xEF\xBB\xBF" + KOI8_IN_UTF8) << "a mark stays";
        const auto before = std::filesystem::last_write_time(folder / "d.txt");
        fault = "write 1 5"; // of which a run that writes nothing hears nothing
        EXPECT_EQ(Tsub(convert).err, "");
        fault.clear();
        EXPECT_EQ(std::filesystem::last_write_time(folder / "d.txt"), before);
    }
}

TEST_F(DetectTest, WhatIsReplacedIsWrittenBackInTheFilesCharset) {
    Write("a.txt", GBK);
    Write("b.txt", SJIS);
    Write("c.txt", "no day\n");
    const std::vector<std::string> files{"a.txt", "b.txt", "c.txt"};
    std::vector<std::string> run{"a.txt",     "b.txt", "c.txt", "--from-code=auto",
                                 "-r:天|day", "-t:日"};
    run.emplace_back("--preview");
    const std::string diff = Tsub(run).out;
    EXPECT_NE(diff.find("--- a.txt\t(gb18030)\n"), std::string::npos) << diff;
    EXPECT_NE(diff.find("--- b.txt\t(shift_jis)\n"), std::string::npos) << diff;
    run.back() = "--strict";
    run.emplace_back("--backup=kept");
    EXPECT_EQ(Tsub(run).status, 0);
    EXPECT_EQ(Read("a.txt").substr(0, 6), "\xBD\xF1\xC8\xD5\xC8\xD5");
    EXPECT_EQ(Read("b.txt").substr(8, 4), "\x82\xA2\x93\xFA");
    EXPECT_EQ(Read("c.txt"), "no 日\n") << "a text in ASCII may become any";
    EXPECT_EQ(Tsub({"--undo", "--backup=kept"}).status, 0);
    EXPECT_TRUE(Read("a.txt") == GBK && Read("b.txt") == SJIS);
    // What the file's charset lacks is lost as it would be if the charset was named.
    const Outcome lossy = Tsub({"b.txt", "--from-code=auto", "-f:今", "-t:€"});
    EXPECT_NE(lossy.err.find("1 character isn't in shift_jis, the first is U+20AC"),
              std::string::npos)
        << lossy.err;
    EXPECT_EQ(Read("b.txt"), SJIS);
}

TEST_F(DetectTest, WhatIsInDoubtIsNamedAndLeftAlone) {
    const std::string megabyte = Repeated(GBK, 1 << 20);
    const struct {
        std::string content;
        std::vector<std::string> options;
        const char* error; ///< empty: it is done
    } rows[] = {
        {"caf\xE9\n", {}, "windows-1252 by "},
        {"caf\xE9\n", {"--confidence=20"}, ""},
        {"caf\xE9\n", {"--from-code=auto:latin1"}, ""},
        {std::string("\0\1\2", 3) + "\xE9", {}, "it is binary\n"},
        {std::string("\0\1\2", 3) + "\xE9", {"--exclude-binary"}, nullptr},
        {GBK_IN_UTF8 + GBK, {}, "utf-8 up to offset 49, from where it doesn't decode\n"},
        {megabyte + "\xFF\n", {}, "1 byte isn't gb18030, the first is 0xFF at offset 10"},
        {megabyte + "\xFF\n", {"--keep-bytes"}, ""},
        {"\xE9\n", {"--from-code=auto:gbk,big5"}, "gbk up to offset 0, from where"},
    };
    for (const auto& row : rows) {
        Write("a", row.content);
        std::vector<std::string> run{"a", "--from-code=auto", "-r:é|吧", "-t:x"};
        run.insert(run.end(), row.options.begin(), row.options.end());
        const Outcome outcome = Tsub(run);
        const bool isDone = row.error != nullptr && *row.error == '\0';
        EXPECT_NE(outcome.err.find(row.error != nullptr ? row.error : ""), std::string::npos)
            << outcome.err;
        EXPECT_EQ(outcome.err.empty(), isDone || row.error == nullptr) << outcome.err;
        EXPECT_EQ(Read("a") == row.content, !isDone) << row.content.substr(0, 20);
    }
}

TEST_F(DetectTest, APipeAndAWrongCommandLine) {
    EXPECT_EQ(Tsub({"--filter", "-any", "--from-code=auto", "--to-code=utf-8"}, SJIS).out,
              SJIS_IN_UTF8);
    const Outcome doubt = Tsub({"--filter", "-any", "--from-code=auto", "--to-code=utf-8"}, "\xE9");
    EXPECT_EQ(doubt.status, 255);
    EXPECT_EQ(doubt.out, "");
    Write("a", SJIS);
    const struct {
        std::vector<std::string> run;
        const char* error;
    } rows[] = {
        {{"a", "-any", "--from-code=auto:gbk,shift_jos"},
         "shift_jos isn't a charset that is known"},
        {{"a", "-any", "--from-code=auto", "--confidence=101"}, "wants a number from 1 to 100"},
        {{"a", "-f:x", "-t:y", "--report"}, "--report finds out charsets and changes nothing"},
        {{"a", "--report", "--from-code=gbk"}, "--report finds out charsets and changes nothing"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = Tsub(row.run);
        EXPECT_EQ(outcome.status, 255);
        EXPECT_NE(outcome.err.find(row.error), std::string::npos) << outcome.err;
    }
    EXPECT_EQ(Read("a"), SJIS);
}

} // namespace
