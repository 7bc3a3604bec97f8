// Several files at once against one after the other: the same bytes, reports in the same order,
// counts and exit status, also of files that are reached more than once.
#include "tests/tool/command.h"

#include <csignal>
#include <random>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

TEST_F(CommandTest, FilesAtOnceComeOutAsOneAfterTheOther) {
    std::mt19937 random(3);
    const std::vector<std::string> switches[] = {{"-f:a", "-t:ba"},
                                                 {"-r:a+", "-t:<\\0>"},
                                                 {"-f:ab", "-t:"},
                                                 {"-any", "-encin:utf-8", "-encout:gbk", "-force"},
                                                 {"-f:none", "-t:x"}};
    for (const std::vector<std::string>& what : switches) {
        std::vector<std::string> names;
        std::vector<std::string> texts;
        for (int i = 0; i < 150; ++i) {
            names.push_back("d/" + std::to_string(i));
            std::string text;
            for (auto n = random() % (i % 10 == 0 ? 300000 : 50); n != 0; --n) {
                text += "ab\xC3\xA9\n"[random() % 5];
            }
            texts.push_back(i % 7 == 0 ? "" : text);
        }
        std::vector<std::string> arguments{"-frc", "-trc", "gone"};
        for (int i = 0; i < 250; ++i) { // many twice and more, by three kinds of names
            const std::string& name = names[random() % names.size()];
            arguments.push_back(i % 5 == 0   ? "hard/" + name.substr(2)
                                : i % 5 == 1 ? "soft/" + name.substr(2)
                                             : name);
        }
        arguments.insert(arguments.end(), what.begin(), what.end());
        const auto run = [&](const char* jobs) {
            fs::remove_all(folder);
            fs::create_directories(folder / "hard");
            fs::create_directories(folder / "soft");
            for (std::size_t i = 0; i < names.size(); ++i) {
                Write(names[i], texts[i]);
                fs::create_hard_link(folder / names[i], folder / "hard" / names[i].substr(2));
                fs::create_symlink("../" + names[i], folder / "soft" / names[i].substr(2));
            }
            std::vector<std::string> all = arguments;
            if (jobs != nullptr) {
                all.emplace_back(jobs);
            }
            const Outcome outcome = Tsub(all);
            std::string files;
            for (const std::string& name : names) {
                files += Read(name) + '\0';
            }
            return std::make_pair(std::to_string(outcome.status) + outcome.out + outcome.err,
                                  files);
        };
        const auto inTurn = run(nullptr);
        for (const char* const jobs : {"--jobs=2", "--jobs=7", "--jobs"}) {
            const auto atOnce = run(jobs);
            EXPECT_EQ(atOnce.first, inTurn.first) << jobs << what[0];
            EXPECT_TRUE(atOnce.second == inTurn.second) << jobs << what[0];
        }
    }
}

/// A signal that comes while files are being changed leaves none of them half done.
TEST_F(CommandTest, ASignalEndsAllJobsBehindTheirFiles) {
    std::vector<std::string> arguments{"-f:a", "-t:bb", "-frc", "--jobs=3"};
    for (int i = 0; i < 60; ++i) {
        Write(std::to_string(i), std::string(100000, 'a'));
        arguments.push_back(std::to_string(i));
    }
    fault = "write 20 " + std::to_string(-SIGTERM);
    const Outcome outcome = Tsub(arguments);
    EXPECT_EQ(outcome.status, 256 + SIGTERM);
    unsigned int changed = 0;
    for (int i = 0; i < 60; ++i) {
        const std::string text = Read(std::to_string(i));
        EXPECT_TRUE(text == std::string(100000, 'a') || text == std::string(200000, 'b')) << i;
        changed += text.size() == 200000 ? 1 : 0;
    }
    EXPECT_GE(changed, 10U);
    EXPECT_LT(changed, 60U);
    unsigned int reported = 0;
    for (std::size_t at = 0;
         (at = outcome.out.find("100000 replacements", at)) != std::string::npos; ++at) {
        ++reported;
    }
    EXPECT_EQ(reported, changed) << "what was done is told of";
}

} // namespace
