// The expression engine: its fast ways against the plain one, narrow against wide, on any
// expression and text; and on expressions that are built, against a matcher that works on the
// expression itself.
#include "fuzz/FuzzInput.h"
#include "fuzz/affordable.h"
#include "tests/regex/comparison.h"
#include "tests/regex/sweep.h"

using namespace Quil;

namespace {

/// Mostly the character of a byte; some bytes begin one of two or three.
std::wstring Wide(const std::string& bytes) {
    const auto at = [&](std::size_t i) -> std::uint32_t {
        return static_cast<unsigned char>(bytes[i]);
    };
    std::wstring text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (at(i) >= 0xF0 && i + 2 < bytes.size()) {
            text += static_cast<wchar_t>((at(i) & 0xF) << 16 | at(i + 1) << 8 | at(i + 2));
            i += 2;
        } else {
            text += static_cast<wchar_t>(at(i));
        }
    }
    return text;
}

void CheckBuilt(FUZZ::CFuzzInput& input) {
    const auto pick = [&input](int n) {
        return static_cast<int>(input.Below(static_cast<unsigned int>(n)));
    };
    const reference::options options{input.Flag(), input.Flag(), input.Flag()};
    const test::astp root = test::flatten(test::random(pick, 3));
    std::string text;
    while (!input.IsAtEnd() && text.size() < 10) {
        text += "ab \n"[input.Below(4)];
    }
    test::compare(root, {text, text.substr(0, 3)}, options);
}

void CheckAny(FUZZ::CFuzzInput& input) {
    constexpr int FLAGS[] = {REG_ADVANCED,
                             REG_ADVANCED | REG_ICASE,
                             REG_ADVANCED | REG_NEWLINE,
                             REG_EXTENDED,
                             REG_ADVANCED | REG_ICASE | REG_NEWLINE,
                             REG_QUOTE,
                             0};
    const int flags = input.OneOf(FLAGS);
    const unsigned int times = input.Below(4);
    const std::wstring pattern = Wide(input.Text(48));
    std::string text = input.Rest().substr(0, 300);
    if (!FUZZ::IsAffordable(pattern)) {
        return;
    }
    for (unsigned int i = 0; i < times && text.size() < 100; ++i) {
        text += text + text;
    }
    test::comparesweeps(pattern, flags, Wide(text));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FUZZ::CFuzzInput input(data, size);
    if (input.Below(4) == 0) {
        CheckBuilt(input);
    } else {
        CheckAny(input);
    }
    FUZZ::Require(!testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed(),
                  "the engine's ways agree");
    return 0;
}
