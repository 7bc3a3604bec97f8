// The replacement text of a regular expression, taken apart once and filled in for each match.
#pragma once

#include "util/text/replace/cased_text.h"
#include "util/text/text_build.h"

#include <vector>

namespace Quil::IMPL {

/// A replacement: `\0` to `\9` stand for a group, a backslash before any other element for that
/// element. A group that the expression doesn't have, and a backslash at the end, stand for
/// nothing. Borrows the text. What is filled in is not looked at again.
template <class T>
class regex_template {
public:
    /// @param groupCount the groups of the expression, the whole match included
    regex_template(text_ref<T> text, std::size_t groupCount) {
        unsigned int literal = 0; // start of the literal being read
        for (unsigned int i = 0; i < text.length; ++i) {
            if (text.data[i] != static_cast<T>('\\')) {
                continue;
            }
            __AddLiteral(text, literal, i);
            literal = ++i; // the element behind the backslash stands for itself ...
            if (i < text.length && text.data[i] >= T('0') && text.data[i] <= T('9')) {
                const auto group = static_cast<unsigned int>(text.data[i] - T('0'));
                if (group < groupCount) {
                    __pieces.push_back({group, text_ref<T>(text.data, 0)});
                    __groupsUsed = std::max(__groupsUsed, group + 1);
                }
                ++literal; // ... unless it is a digit
            }
        }
        __AddLiteral(text, literal, text.length);
    }

    /// One more than the highest group that is filled in: what a search must tell of.
    unsigned int groups_used() const noexcept { return __groupsUsed; }

    /// @param group answers the text of a group by its number, as a `text_ref<T>`
    template <class Group>
    void put(text_writer<T>& out, Group group) const {
        __Put(out, group, [&out](text_ref<T> text) { out.put(text); });
    }
    /// The same with groups in another case.
    template <class Group>
    void put_changed(text_writer<T>& out, Group group, CASE_CHANGE change) const {
        __Put(out, group, [&](text_ref<T> text) { IMPL::put_changed(out, text, change); });
    }

private:
    static constexpr unsigned int sm_literal = ~0U;

    template <class Group, class PutGroup>
    void __Put(text_writer<T>& out, Group group, PutGroup putGroup) const {
        for (const PIECE& piece : __pieces) {
            if (piece.group == sm_literal) {
                out.put(piece.literal);
            } else {
                putGroup(group(piece.group));
            }
        }
    }

    struct PIECE {
        unsigned int group;
        text_ref<T> literal;
    };

    void __AddLiteral(text_ref<T> text, unsigned int from, unsigned int to) {
        if (from < to) {
            __pieces.push_back({sm_literal, text_ref<T>(text.data + from, to - from)});
        }
    }

    std::vector<PIECE> __pieces;
    unsigned int __groupsUsed = 1;
};

/// The same where case is looked after.
template <class T>
class cased_template {
public:
    cased_template(text_ref<T> text, std::size_t groupCount, const CASE_RULES& cases)
        : __template(text, groupCount), __cases(cases) {}

    unsigned int groups_used() const noexcept { return __template.groups_used(); }

    template <class Group>
    void put(text_writer<T>& out, Group group) const {
        if (__cases.IsPlain()) {
            __template.put(out, group);
        } else if (!__cases.follows) {
            __template.put_changed(out, group, __cases.groups);
        } else {
            basic_buffer<T> text;
            text_writer<T> writer(text);
            __template.put_changed(writer, group, __cases.groups);
            writer.finish();
            put_like<T>(out, text, group(0));
        }
    }

private:
    regex_template<T> __template;
    CASE_RULES __cases;
};

} // namespace Quil::IMPL
