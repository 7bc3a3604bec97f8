// Tables of text cells: what the standard leaves open, and that all comes back.
#include "util/file/ByteIO.h"
#include "util/file/generic_stream.h"
#include "util/store/Csv.h"
#include "util/sys/errhdl.h"
#include "util/text/byteEx.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <random>

namespace {

using namespace Quil;

CCsv Table(std::initializer_list<CSV_ROW> rows) {
    CCsv table;
    for (const CSV_ROW& row : rows) {
        table.Append(row);
    }
    return table;
}

stringEx Random(std::mt19937& random, unsigned int length) {
    static const char LETTERS[] = "ab,\"\r\n;' \xE9";
    stringEx text;
    for (std::size_t i = random() % (length + 1); i != 0; --i) {
        text.push_back(LETTERS[random() % (sizeof LETTERS - 1)]);
    }
    return text;
}

CCsv RandomTable(std::mt19937& random) {
    CCsv table;
    for (std::size_t row = random() % 6; row != 0; --row) {
        CSV_ROW cells(random() % 4);
        for (stringEx& cell : cells) {
            cell = Random(random, 6);
        }
        table.Append(cells);
    }
    return table;
}

TEST(Csv, ReadsWhatProgramsWrite) {
    const struct {
        const char* text;
        CCsv table;
    } rows[] = {
        {"", Table({})},
        {"a,b\r\nc\n", Table({{"a", "b"}, {"c"}})},
        {"a,b", Table({{"a", "b"}})},
        {"\xEF\xBB\xBF\"a\",b\n", Table({{"a", "b"}})},
        {",\n\n\"\"\n\r\n", Table({{"", ""}, {}, {""}, {}})},
        {"\"a\nb\",\"say \"\"hi\"\"\"\n", Table({{"a\nb", "say \"hi\""}})},
        {"\"a\r\"\n\"b\r\"\r\nc\rd\r\ne\r", Table({{"a\r"}, {"b\r"}, {"c\rd"}, {"e\r"}})},
        {"\"a\"b\"c\",d\n", Table({{"ab\"c\"", "d"}})},
        {"a\"b\",c\n", Table({{"a\"b\"", "c"}})},
    };
    for (const auto& row : rows) {
        CCsv table;
        table.Parse(row.text);
        EXPECT_EQ(table, row.table) << row.text;
    }
    CCsv table;
    table.Parse("a;'b;''c'\n", {';', '\''});
    EXPECT_EQ(table, Table({{"a", "b;'c"}}));
}

TEST(Csv, AQuoteThatIsNeverClosedIsNamedAndNothingIsTaken) {
    CCsv table = Table({{"kept"}});
    try {
        table.Parse("a\nb,\"c\nd\n");
        FAIL();
    } catch (const csvExp& failure) {
        EXPECT_EQ(failure.GetErrCode(), 1U);
        EXPECT_EQ(failure.GetErrString(),
                  "CCsvReader::Next - unclosed quote\n  line   = 2\n  column = 3");
    }
    EXPECT_EQ(table, Table({{"kept"}}));
}

TEST(Csv, WhatIsWrittenComesBack) {
    CCsv marked;
    marked.Parse(Table({{"\xEF\xBB\xBFx"}}).Format());
    EXPECT_EQ(marked, Table({{"\xEF\xBB\xBFx"}}));
    std::mt19937 random(17);
    for (int i = 0; i < 2000; ++i) {
        const CCsv table = RandomTable(random);
        const CSV_FORM form{i % 3 == 0 ? ';' : ',', i % 2 == 0 ? '\'' : '"', i % 5 != 0};
        CCsv again;
        again.Parse(table.Format(form), form);
        ASSERT_EQ(again, table) << table.Format(form);
    }
}

/// A source that makes rows as long as they are asked for, a few bytes at a time.
class CEndlessRows final : public TDataSource {
public:
    bool IsValid() const override { return true; }
    bool IsEOF() const override { return __left == 0; }
    unsigned int Read(void* buffer, unsigned int size) const override {
        static constexpr char ROW[] = "name,\"a \"\"value\"\"\"\r\n";
        unsigned int count = 0;
        for (; count < size && count < 7 && __left != 0; ++count, --__left) {
            static_cast<char*>(buffer)[count] = ROW[__place++ % (sizeof ROW - 1)];
        }
        return count;
    }

private:
    mutable std::size_t __place = 0;
    mutable std::size_t __left = 20UL * 50000;
};

TEST(Csv, AStreamGivesItsRowsOneByOne) {
    const CEndlessRows source;
    CCsvReader reader(source);
    CSV_ROW row;
    std::size_t count = 0;
    for (; reader.Next(row); ++count) {
        ASSERT_EQ(row, (CSV_ROW{"name", "a \"value\""}));
        ASSERT_EQ(reader.GetLine(), count + 1);
    }
    EXPECT_EQ(count, 50000U);
}

/// What a command prints that gets the text, in hexadecimal digits.
std::string Ask(const std::string& command, const stringEx& text) {
    std::string line = command + " ";
    for (const char byte : text) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
        line += digits;
    }
    std::string answer;
    FILE* const pipe = ::popen(line.c_str(), "r");
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
        answer.push_back(static_cast<char>(c));
    }
    return ::pclose(pipe) == 0 ? answer : "it failed";
}

TEST(Csv, AnotherProgramReadsItTheSameAndWritesWhatIsReadTheSame) {
    // Reads a table, and gives it back as it would write it.
    const char* const program =
        "python3 -c 'import csv, io, sys; text = bytes.fromhex(sys.argv[1]).decode(\"latin1\"); "
        "out = io.StringIO(newline=\"\"); "
        "csv.writer(out).writerows(csv.reader(io.StringIO(text, newline=\"\"))); "
        "sys.stdout.buffer.write(out.getvalue().encode(\"latin1\"))'";
    std::mt19937 random(4);
    for (int i = 0; i < 8; ++i) {
        const CCsv table = RandomTable(random);
        const std::string answer = Ask(program, table.Format() + "end\r\n");
        CCsv again;
        again.Parse(stringEx(answer.data(), static_cast<unsigned int>(answer.size())));
        CCsv expected = table;
        expected.Append({"end"});
        ASSERT_EQ(again, expected) << answer;
    }
}

} // namespace
