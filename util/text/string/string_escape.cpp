#include "util/text/string/string_escape.h"

#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

namespace Quil {

/// The text after all escapes have been treated. A rule is asked about the escape at a position,
/// and for a replacement it also tells how many elements are replaced and by what.
template <class Self, class T>
template <class Rule>
Self string_escape<Self, T>::__Rewritten(T esc, bool removeLone, bool keepDouble, Rule rule) const {
    const unsigned int length = this->length();
    Self result;
    result.reserve(std::uint64_t{length} + 1);
    Self out;
    unsigned int copied = 0;
    unsigned int hit = this->find(esc);
    const auto replace = [&](unsigned int n, const Self& by) {
        result.append(*this, copied, hit - copied).append(by);
        copied = hit + n;
    };
    while (hit != npos) {
        unsigned int next = hit + 1;
        if (next == length) {
            if (removeLone) {
                replace(1, Self());
            }
            break;
        }
        if ((*this)[next] == esc) {
            if (!keepDouble) {
                replace(1, Self());
            }
            ++next;
        } else {
            unsigned int used = 1;
            const OUTCOME outcome = rule(hit, used, out);
            if (outcome == OUTCOME::STOP) {
                break;
            }
            if (outcome == OUTCOME::REMOVE) {
                replace(1, Self());
            } else if (outcome == OUTCOME::REPLACE) {
                replace(used, out);
                next = copied;
            }
        }
        hit = this->find(esc, next);
    }
    result.append(*this, copied, npos);
    return result;
}

template <class Self, class T>
template <class Rule>
Self& string_escape<Self, T>::__Rewrite(T esc, bool removeLone, bool keepDouble, Rule rule) {
    if (this->find(esc) != npos) {
        this->_Become(__Rewritten(esc, removeLone, keepDouble, rule));
    }
    return this->_self();
}

template <class Self, class T>
Self& string_escape<Self, T>::escape_restore(T esc, const Self (*table)[2], bool removeLone,
                                             bool keepDouble) {
    return __Rewrite(esc, removeLone, keepDouble,
                     [&](unsigned int hit, unsigned int& used, Self& out) {
                         const Self behind = this->substr_static(hit + 1);
                         for (auto row = table; !(*row)[0].empty() || !(*row)[1].empty(); ++row) {
                             const Self& key = (*row)[1];
                             if (behind.begin_with(key)) {
                                 used = 1 + key.length();
                                 out = (*row)[0];
                                 return OUTCOME::REPLACE;
                             }
                         }
                         return removeLone ? OUTCOME::REMOVE : OUTCOME::KEEP;
                     });
}

template <class Self, class T>
Self& string_escape<Self, T>::escape_translate(T esc, const Self (*table)[2], bool doubleEsc) {
    // The rows may look into this string, which stays whole until the last one is done.
    Self text = this->_self();
    text.detach_if_static();
    unsigned int count = 0;
    if (doubleEsc) {
        count += text.find_replace(Self(1, esc), Self(2, esc));
    }
    for (auto row = table; !(*row)[0].empty() || !(*row)[1].empty(); ++row) {
        const Self& value = (*row)[0];
        if (!value.empty()) {
            count += text.find_replace(value, Self(1, esc) + (*row)[1]);
        }
    }
    return count != 0 ? this->_Become(std::move(text)) : this->_self();
}

template <class Self, class T>
auto string_escape<Self, T>::__Outcome(int answer) noexcept -> OUTCOME {
    return answer == 0 ? OUTCOME::KEEP : answer == 1 ? OUTCOME::REPLACE : OUTCOME::STOP;
}

template <class Self, class T>
auto string_escape<Self, T>::__CommandRule(Command& command) const {
    return [this, &command](unsigned int hit, unsigned int& used, Self& out) {
        const Self behind = this->substr_static(hit + 1);
        const OUTCOME outcome = __Outcome(command(behind, out));
        if (outcome == OUTCOME::REPLACE) {
            used = 1 + std::min(command.TellReplaceLength(), behind.length());
        }
        return outcome;
    };
}

template <class Self, class T>
Self& string_escape<Self, T>::escape_restore_op(T esc, Command& command, bool removeLone,
                                                bool keepDouble) {
    return __Rewrite(esc, removeLone, keepDouble, __CommandRule(command));
}

template <class Self, class T>
Self& string_escape<Self, T>::escape_restore_op_to(Self& to, T esc, Command& command,
                                                   bool removeLone, bool keepDouble) const {
    Self result = __Rewritten(esc, removeLone, keepDouble, __CommandRule(command));
    to.swap(result);
    return to;
}

template <class Self, class T>
auto string_escape<Self, T>::__FieldRule(const Self& begin, const Self& end,
                                         Command& command) const {
    return [this, &begin, &end, &command](unsigned int hit, unsigned int& used, Self& out) {
        const Self rest = this->substr_static(hit);
        if (rest.length() < std::uint64_t{begin.length()} + end.length() ||
            !rest.begin_with(begin)) {
            return OUTCOME::KEEP;
        }
        const unsigned int stop = rest.find(end, begin.length());
        if (stop == npos) {
            return OUTCOME::STOP;
        }
        used = stop + end.length();
        return __Outcome(command(rest.substr_static(begin.length(), stop - begin.length()), out));
    };
}

template <class Self, class T>
Self& string_escape<Self, T>::escape_field_op(const Self& begin, const Self& end, Command& command,
                                              bool keepDouble) {
    if (begin.empty() || end.empty()) {
        return this->_self();
    }
    return __Rewrite(begin[0], false, keepDouble, __FieldRule(begin, end, command));
}

template <class Self, class T>
Self& string_escape<Self, T>::escape_field_op_to(Self& to, const Self& begin, const Self& end,
                                                 Command& command, bool keepDouble) const {
    if (begin.empty() || end.empty()) {
        return to.assign(*this);
    }
    Self result = __Rewritten(begin[0], false, keepDouble, __FieldRule(begin, end, command));
    to.swap(result);
    return to;
}

template class string_escape<stringEx, char>;
template class string_escape<wstringEx, wchar_t>;
template class string_escape<byteEx, unsigned char>;

} // namespace Quil
