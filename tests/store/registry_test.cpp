// The store of settings: what it holds, what it refuses, and what a file of it survives.
#include "tests/file/temp_tree.h"
#include "tests/sys/message_of.h"
#include "util/file/CFile.h"
#include "util/file/dir.h"
#include "util/store/Csv.h"
#include "util/store/FakeRegistry.h"
#include "util/sys/errhdl.h"

#include <atomic>
#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <thread>

namespace {

using namespace Quil;
using VALUE = CFakeRegistry::VALUE;
namespace fs = std::filesystem;

/// All of it as one text, to be compared.
std::string Told(const CFakeRegistry& registry) {
    return registry.ExportCsv().Format({',', '"', false}).c_str();
}

/// All bits that a number in a file has, and beyond the range of shorter ones.
const long double LONG = std::ldexp(1.0L + std::ldexp(1.0L, -63), 4000);

CFakeRegistry Sample() {
    CFakeRegistry registry;
    registry.Set("name", stringEx("a \"text\"\nof two lines"));
    registry.Set("numbers/byte", std::uint8_t{0});
    registry.Set("numbers/word", std::uint16_t{65535});
    registry.Set("numbers/dword", std::uint32_t{42});
    registry.Set("numbers/qword", std::numeric_limits<std::uint64_t>::max());
    registry.Set("numbers/float32", 0.1F);
    registry.Set("numbers/float64", -1e300);
    registry.Set("numbers/float80", LONG);
    registry.Set("flags/on", true);
    registry.Set("flags/off", false);
    registry.Set("flags/deep/er/none", VALUE());
    registry.Set("texts/wide", wstringEx(L"Gr\u00F6\u00DFe \U0001F600"));
    registry.Set("texts/empty", stEMPTY);
    registry.Set("texts/like a type", stringEx("dword:42"));
    registry.Set("texts/like = a line", stringEx("; no comment"));
    registry.Set("texts/blanks", stringEx("  "));
    registry.Set("texts/path", stringEx("C:\\dir\\"));
    registry.Set("bytes", byteEx(reinterpret_cast<const unsigned char*>("\0\xFFz"), 3));
    registry.Set(" odd\n]/key]/value = \\", true);
    registry.MakeKey("an/empty/key");
    return registry;
}

TEST(Registry, GivesBackWhatWasSet) {
    CFakeRegistry registry = Sample();
    EXPECT_EQ(registry.Get("//numbers/dword/", std::uint32_t{0}), 42U);
    EXPECT_EQ(registry.Get("numbers/none", std::uint32_t{7}), 7U);
    EXPECT_EQ(registry.Get("none/at/all", stringEx("x")), "x");
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.Get("numbers/word", std::uint32_t{0}); }),
              CFakeRegistry::BAD_TYPE);
    EXPECT_EQ(registry.GetNumber("numbers/word", 0), 65535U);
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.GetNumber("flags/on", 0); }),
              CFakeRegistry::BAD_TYPE);
    EXPECT_TRUE(registry.HasKey("flags/deep") && !registry.HasValue("flags/deep"));
    EXPECT_TRUE(registry.IsChanged());
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.Set("//", true); }), CFakeRegistry::BAD_PATH);
}

TEST(Registry, ACopyIsTheSameStoreAndACloneIsNone) {
    CFakeRegistry registry;
    const CFakeRegistry clone = registry.Clone();
    [](CFakeRegistry given) { given.Set("filled/in", true); }(registry);
    EXPECT_TRUE(registry.HasValue("filled/in"));
    EXPECT_FALSE(clone.HasValue("filled/in"));
}

TEST(Registry, BranchesAreRenamedCopiedAndRemoved) {
    CFakeRegistry registry;
    registry.Set("a/x", std::uint8_t{1});
    registry.Set("a/b/y", std::uint8_t{2});
    registry.CopyKey("a", "a/b/copy"); // into itself
    EXPECT_EQ(Told(registry), "a/x,byte,1\na/b/y,byte,2\na/b/copy/x,byte,1\na/b/copy/b/y,byte,2\n");
    registry.RenameKey("a/b", "c");
    registry.RenameValue("a/x", "z");
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.RenameValue("a/none", "z"); }),
              CFakeRegistry::BAD_PATH);
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.RenameKey("a/c", "c"); }),
              CFakeRegistry::BAD_PATH);
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.RenameKey("a/c", "d/e"); }),
              CFakeRegistry::BAD_PATH);
    EXPECT_TRUE(registry.RemoveKey("a/c/copy"));
    EXPECT_FALSE(registry.RemoveKey("a/c/copy"));
    EXPECT_EQ(Told(registry), "a/z,byte,1\na/c/y,byte,2\n");
    CFakeRegistry::VAL_COOKIE values;
    CFakeRegistry::KEY_COOKIE keys;
    stringEx name;
    VALUE value;
    EXPECT_TRUE(registry.EnumValue(values, "a", name, value));
    EXPECT_EQ(name, "z");
    EXPECT_EQ(value, VALUE(std::uint8_t{1}));
    registry.Clear(); // what goes on knows the names that were there
    EXPECT_FALSE(registry.EnumValue(values, "a", name, value));
    EXPECT_FALSE(registry.EnumKey(keys, "", name));
}

TEST(Registry, EveryFormOfItHoldsAllOfIt) {
    const CFakeRegistry registry = Sample();
    CFakeRegistry fromBytes;
    fromBytes.Decode(registry.Encode());
    EXPECT_EQ(Told(fromBytes), Told(registry));
    EXPECT_TRUE(fromBytes.HasKey("an/empty/key"));
    CFakeRegistry fromIni;
    fromIni.ImportIni(registry.ExportIni());
    EXPECT_EQ(Told(fromIni), Told(registry)) << registry.ExportIni();
    EXPECT_TRUE(fromIni.HasKey("an/empty/key"));
    CFakeRegistry fromCsv;
    fromCsv.ImportCsv(registry.ExportCsv());
    EXPECT_EQ(Told(fromCsv), Told(registry));
    EXPECT_EQ(fromIni.Get("numbers/float80", 0.0L), LONG) << "to the last bit";
}

TEST(Registry, AnIniFileIsReadAsPeopleWriteIt) {
    CFakeRegistry registry;
    registry.ImportIni(
        "\xEF\xBB\xBF; a comment\r\ntop = level\r\n\r\n[ a/b ]\n  key=some text ; all of "
        "it \n# comment\nlong = one \\\n   two\n\"odd = name\" = \"a\\tb\\x41\"\n"
        "number = dword:7\nurl = http://x/y\nempty =\n");
    EXPECT_EQ(Told(registry), "top,string,level\na/b/empty,string,\n"
                              "a/b/key,string,some text ; all of it\na/b/long,string,one two\n"
                              "a/b/number,dword,7\na/b/odd = name,string,a\tbA\n"
                              "a/b/url,string,http://x/y\n");
    const struct {
        const char* text;
        const char* line;
    } rows[] = {{"a = 1\n[b\n", "line = 2"},        {"just text\n", "line = 1"},
                {"a = \"open\n", "line = 1"},       {"a = \"x\" y\n", "line = 1"},
                {"\n\na = byte:256\n", "line = 3"}, {"a = bool:yes\n", "line = 1"},
                {"a = \"\\q\"\n", "line = 1"},      {"a/b = 1\n", "line = 1"},
                {"x = y\\\n z\n = 1\n", "line = 3"}};
    const std::string before = Told(registry);
    for (const auto& row : rows) {
        const std::string message =
            TEST::MessageOf<regExp>([&] { registry.ImportIni(row.text); }).c_str();
        EXPECT_NE(message.find(row.line), std::string::npos) << row.text << message;
    }
    EXPECT_EQ(Told(registry), before) << "all of an import, or nothing";
    CCsv table;
    table.Append({"a/b", "dword", "-1"});
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.ImportCsv(table); }), CFakeRegistry::BAD_TEXT);
}

TEST(Registry, ItsBoundsHold) {
    CFakeRegistry registry;
    stringEx path;
    for (std::size_t i = 0; i < CFakeRegistry::sm_deepest; ++i) {
        path.append("k/");
    }
    registry.Set(path + "value", true);
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.Set(path + "k/value", true); }),
              CFakeRegistry::TOO_MUCH);
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.CopyKey("k", "k/k/k"); }),
              CFakeRegistry::TOO_MUCH);
    CFakeRegistry again;
    again.Decode(registry.Encode());
    EXPECT_EQ(Told(again), Told(registry));
}

TEST(Registry, TakesAMillionValuesAndNotOneMore) {
    CFakeRegistry registry;
    stringEx name;
    for (std::size_t i = 0; i < CFakeRegistry::sm_most; ++i) {
        name.clear();
        registry.Set(name.append("k/").append_ulong(i, 16), VALUE());
    }
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.Set("one/more", true); }),
              CFakeRegistry::TOO_MUCH);
    EXPECT_FALSE(registry.HasKey("one"));
    registry.Set("k/0", true); // in the place of another one
    EXPECT_EQ(TEST::CodeOf<regExp>([&] { registry.CopyKey("k", "l"); }), CFakeRegistry::TOO_MUCH);
    EXPECT_TRUE(registry.RemoveValue("k/1"));
    registry.Set("one/more", true);
    EXPECT_TRUE(registry.RemoveKey("k"));
    EXPECT_EQ(Told(registry), "one/more,bool,true\n");
}

class RegistryFileTest : public TEST::TempTree {
protected:
    const stringEx path = "store"; ///< in the folder that the test works in
};

TEST_F(RegistryFileTest, AFileIsTheOldOneOrTheNewOne) {
    CFakeRegistry registry = Sample();
    registry.Save(path);
    EXPECT_FALSE(registry.IsChanged());
    CFakeRegistry loaded;
    loaded.Set("gone", true);
    loaded.Load(path);
    EXPECT_EQ(Told(loaded), Told(registry));
    EXPECT_FALSE(loaded.IsChanged());
    registry.Set("more", true);
    registry.Save(path);
    EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 1)
        << "nothing is left beside it";
    EXPECT_THROW(registry.Save("none/store"), sysfileExp);
    EXPECT_THROW(loaded.Load("none"), sysfileExp);
}

TEST_F(RegistryFileTest, WhatWasDamagedIsRefusedAndSaysWhere) {
    const CFakeRegistry registry = Sample();
    const byteEx whole = registry.Encode();
    CFakeRegistry target;
    target.Set("kept", true);
    std::mt19937 random(5);
    for (unsigned int i = 0; i < whole.length(); ++i) {
        byteEx cut = whole.substr(0, i);
        EXPECT_EQ(TEST::CodeOf<regExp>([&] { target.Decode(cut); }), CFakeRegistry::BROKEN) << i;
        byteEx changed(whole);
        changed.ref()[i] = static_cast<unsigned char>(changed[i] ^ (1U << random() % 8));
        EXPECT_EQ(TEST::CodeOf<regExp>([&] { target.Decode(changed); }), CFakeRegistry::BROKEN)
            << i;
    }
    EXPECT_EQ(Told(target), "kept,bool,true\n");
    const std::string message =
        TEST::MessageOf<regExp>([&] { target.Decode(whole.substr(0, 60)); }).c_str();
    EXPECT_NE(message.find("\n  byte = "), std::string::npos) << message;
}

TEST_F(RegistryFileTest, AConfigurationOpensAFileAndTellsOfIt) {
    CFakeRegistry configuration;
    configuration.Set("path", path);
    {
        CCFileSink sink{CCFile()};
        sink.QueryInfo(configuration, "closed");
        sink.Reset(configuration);
        sink.Write("hello", 5);
        sink.QueryInfo(configuration, "open");
    }
    EXPECT_FALSE(configuration.Get("closed/valid", true));
    EXPECT_FALSE(configuration.HasValue("closed/size"));
    EXPECT_TRUE(configuration.Get("open/valid", false));
    EXPECT_EQ(configuration.GetNumber("open/size", 0), 5U);
    const CCFileSource none{CCFile()};
    const std::unique_ptr<IDataObject> made(none.New(configuration));
    char text[8];
    EXPECT_EQ(dynamic_cast<TDataSource&>(*made).Read(text, sizeof text), 5U);
    configuration.Set("mode", stringEx("a"));
    const std::unique_ptr<IDataObject> more(CCFileSink{CCFile()}.New(configuration));
    EXPECT_EQ(dynamic_cast<TDataSink&>(*more).Write("!", 1), 1U);
    more->QueryInfo(configuration, "more");
    EXPECT_EQ(configuration.GetNumber("more/size", 0), 6U);
}

TEST(Registry, ReadersAndAWriterDoNotMeet) {
    CFakeRegistry registry;
    std::atomic<bool> isDone = false;
    std::thread reader([&] {
        while (!isDone) {
            const auto text = registry.Get("a/text", stringEx("even"));
            EXPECT_TRUE(text == "even" || text == "odd");
            EXPECT_LE(registry.Clone().ExportCsv().GetRowCount(), 2U);
        }
    });
    for (int i = 0; i < 2000; ++i) {
        registry.Set("a/text", stringEx(i % 2 == 0 ? "even" : "odd"));
        registry.Set("b/" + stringEx(i % 2 == 0 ? "x" : "y"), true);
        registry.RemoveKey("b");
    }
    isDone = true;
    reader.join();
}

} // namespace
