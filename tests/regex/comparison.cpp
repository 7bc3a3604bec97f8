// The engine's roads against the plain matcher.
#include "tests/regex/comparison.h"

#include "regex/regcontext.h"
#include "tests/regex/engine.h"

#include <algorithm>

namespace test {

using reference::MANY;

namespace {

/// Gives groups their numbers, from left to right, and back references their groups' content.
/// Copies the nodes: expressions are built from shared parts. False: a reference to no group.
bool settle(astp& a, std::vector<astp>& groups) {
    a = std::make_shared<ast>(*a);
    if (a->kind == '(') {
        a->group = static_cast<int>(groups.size());
        groups.push_back(nullptr);
    }
    if (a->kind == '\\') {
        if (static_cast<std::size_t>(a->group) >= groups.size() ||
            !groups[static_cast<std::size_t>(a->group)]) {
            return false;
        }
        a->referred = groups[static_cast<std::size_t>(a->group)];
    }
    for (astp& part : a->parts) {
        if (!settle(part, groups)) {
            return false;
        }
    }
    if (a->kind == '(') {
        groups[static_cast<std::size_t>(a->group)] = a->parts[0];
    }
    return true;
}

std::string asspans(const std::vector<reference::span>& spans) {
    std::vector<Quil::regmatch_t> m;
    for (const auto& [begin, end] : spans) {
        m.push_back({begin, end});
    }
    return print(m);
}

} // namespace

astp leaf(char kind, char c) {
    return std::make_shared<ast>(ast{.kind = kind, .c = c});
}

astp over(char kind, std::vector<astp> parts) {
    return std::make_shared<ast>(ast{.kind = kind, .parts = std::move(parts)});
}

astp repeated(const astp& a, int min, int max, char preference) {
    return std::make_shared<ast>(
        ast{.kind = '*', .parts = {a}, .min = min, .max = max, .preference = preference});
}

astp referring(int group) {
    astp a = leaf('\\');
    a->group = group;
    return a;
}

astp random(const chooser& pick, int depth, bool grouping) {
    if (depth == 0 || pick(8) == 0) {
        if (pick(5) == 0) {
            return leaf('^', "^$AZyYmM"[pick(8)]);
        }
        if (grouping && pick(4) == 0) {
            return referring(1 + pick(2));
        }
        return pick(5) == 0 ? leaf('.') : leaf('c', "aab "[pick(4)]);
    }
    const auto child = [&] { return random(pick, depth - 1, grouping); };
    switch (pick(8)) {
    case 0:
    case 1: {
        const int min = pick(3);
        const int max = pick(2) ? MANY : std::max(1, min + pick(2));
        const char preference = pick(3) ? 'L' : 'S';
        return repeated(child(), min, max, preference);
    }
    case 2:
        return over('|', {child(), child()});
    case 3:
        return grouping ? over('(', {child()}) : child();
    case 4: {
        const char kind = pick(2) ? '=' : '!';
        return over(kind, {random(pick, depth - 1, false)});
    }
    default:
        return over(',', {child(), child(), child()});
    }
}

astp flatten(const astp& a) {
    auto copy = std::make_shared<ast>(*a);
    copy->parts.clear();
    for (const astp& part : a->parts) {
        const astp flat = flatten(part);
        if (a->kind == flat->kind && (a->kind == ',' || a->kind == '|')) {
            copy->parts.insert(copy->parts.end(), flat->parts.begin(), flat->parts.end());
        } else {
            copy->parts.push_back(flat);
        }
    }
    return copy;
}

bool compare(astp root, const std::vector<std::string>& subjects, reference::options o) {
    using namespace Quil;
    std::vector<astp> groups{nullptr};
    if (!settle(root, groups)) {
        return false;
    }
    const std::string pattern = reference::print(*root);
    const int cflags = REG_ADVANCED | (o.newline ? REG_NEWLINE : 0);
    const int eflags = (o.notbol ? REG_NOTBOL : 0) | (o.noteol ? REG_NOTEOL : 0);
    expression<wchar_t> wide(widen<wchar_t>(pattern), cflags);
    expression<char> narrow(pattern, cflags);
    if (wide.error() == REG_ESPACE || narrow.error() == REG_ESPACE) {
        return false;
    }
    EXPECT_EQ(wide.error(), REG_OKAY) << pattern;
    EXPECT_EQ(narrow.error(), REG_OKAY) << pattern;
    if (wide.error() != REG_OKAY || narrow.error() != REG_OKAY) {
        return false;
    }
    TRegexContext<wchar_t> kept(wide.handle()), plain(wide.handle());
    TRegexContext<char> keptnarrow(narrow.handle());
    plain.setfastroads(false);
    reference::matcher matcher(*root, static_cast<int>(groups.size()) - 1, o);
    for (const std::string& text : subjects) {
        const std::wstring widetext = widen<wchar_t>(text);
        const std::vector<reference::span> spans = matcher.match(text);
        EXPECT_TRUE(matcher.isreading(spans)) << pattern << " on '" << text << "'";
        const std::string expected = asspans(spans);
        const std::size_t slots = groups.size();
        const auto by = [&](auto& context, const auto& subject, int more) {
            return print(exec(context, subject, 0, slots, eflags | more));
        };
        EXPECT_EQ(by(kept, widetext, 0), expected) << pattern << " on '" << text << "' " << cflags;
        EXPECT_EQ(by(plain, widetext, REG_SMALL), expected) << pattern << " on '" << text << "'";
        EXPECT_EQ(by(keptnarrow, text, 0), expected) << pattern << " on '" << text << "'";
    }
    return true;
}

} // namespace test
