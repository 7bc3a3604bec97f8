#include "tool/road/Utf8Road.h"

#include "util/conv/utf8_validation.h"

#include <algorithm>
#include <cstring>

namespace Quil {

namespace {

/// Bytes that a valid sequence has at most.
constexpr std::size_t LONGEST = 4;
/// And those of a number beyond Unicode, which libraries may take and nobody else does; and the
/// first byte that may begin one.
constexpr std::size_t LONGEST_BEYOND = 6;
constexpr unsigned char FIRST_BEYOND = 0xF4;

bool IsUtf8(const CHARSET& charset) {
    return !charset.isWide && charset.converter->IsUtf8();
}

constexpr wchar_t FIRST_FOREIGN = 0x80;
/// No character above folds to one in ASCII.
constexpr wchar_t LAST_WITH_CASE = 0xFFFF;

/// Characters outside ASCII that count as one of `text`'s when case doesn't count.
std::vector<std::string> ForeignPartners(const wstringEx& text, const TTextConv& utf8) {
    using fold = IMPL::lower_fold<wstringEx>;
    bool isInText[FIRST_FOREIGN] = {};
    for (unsigned int i = 0; i < text.length(); ++i) {
        isInText[fold::apply(text[i])] = true;
    }
    std::vector<std::string> partners;
    IMPL::each_partner<fold>(
        FIRST_FOREIGN, LAST_WITH_CASE,
        [&isInText](wchar_t folded) {
            return static_cast<std::uint32_t>(folded) < FIRST_FOREIGN && isInText[folded];
        },
        [&](wchar_t c) { partners.emplace_back(utf8.WCtoMB(wstringEx(1, c)).c_str()); });
    return partners;
}

/// Whether what stands at a place begins a sequence, valid or beyond Unicode, that the end of the
/// text cuts.
bool IsCut(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead >= 0xFC   ? LONGEST_BEYOND
                               : lead >= 0xF8 ? 5
                               : lead >= 0xF0 ? 4
                               : lead >= 0xE0 ? 3
                                              : 2;
    if (lead < 0xC2 || lead > 0xFD || text.size() >= length) {
        return false;
    }
    if (lead >= FIRST_BEYOND) {
        return std::all_of(text.begin() + 1, text.end(),
                           [](char byte) { return (byte & 0xC0) == 0x80; });
    }
    // The second byte has the narrowest bounds; with any that fits, the rest can be made valid.
    const auto isValidWith = [&](char fill) {
        std::string whole(text);
        whole.resize(length, fill);
        return IMPL::ValidUtf8Length(whole.data(), length) == length;
    };
    return isValidWith('\x80') || isValidWith('\xBF');
}

} // namespace

bool CUtf8Road::CanServe(const Run& run) {
    return IsUtf8(run.in) && IsUtf8(run.out);
}

CUtf8Road::CUtf8Road(const Run& run, std::unique_ptr<ISearch<unsigned char>> search,
                     const wstringEx& folded, MAKE_OTHER makeOther)
    : __run(run), __search(std::move(search)), __makeOther(makeOther) {
    if (!folded.empty()) {
        __foreign = ForeignPartners(folded, *run.out.converter);
    }
}

void CUtf8Road::AddRuleCounts(RULE_MATCHES& matches) const {
    AddMet(matches, __search->GetRuleCounts());
    if (__isAtLoss) {
        __other->AddRuleCounts(matches);
    }
}

void CUtf8Road::Start(const TASK& task) {
    __task = task;
    __search->Start(task.size, task.place, task.isAgain);
    __isAtStart = task.place == 0;
    __hasText = !__isAtStart;
    __hasChanged = __isAtLoss = false;
    __checked = 0;
    __mended.clear();
    __place = 0;
    __lost = {};
}

std::size_t CUtf8Road::Take(const BLOCK& block, ISink& sink) {
    std::size_t begin = 0;
    __sink = &sink;
    if (__isAtLoss) {
        return __other->Take(block, sink);
    }
    if (__isAtStart && !__TakesMark(block, begin)) {
        return 0;
    }
    __hasText = __hasText || block.length != 0;
    __block = block.data;
    __told = 0;
    __checked = std::max(__checked, begin);
    const GIVE_BACK atEnd{*this};
    const bool isValid = __Check(block);
    const auto* const text = reinterpret_cast<const unsigned char*>(block.data);
    const std::size_t taken =
        begin + __search->Take({text + begin, static_cast<unsigned int>(__checked - begin)},
                               block.isLast && isValid, *this);
    __NoteLosses(taken);
    __Unmend(taken);
    __place += taken;
    if (isValid) {
        return taken;
    }
    __GiveUp();
    return taken + __other->Take({block.data + taken, block.length - taken, block.isLast}, sink);
}

/// From here on the text is the other road's.
void CUtf8Road::__GiveUp() {
    TASK task = __task;
    task.place = std::max<std::uint64_t>(1, task.place); // not at the start, that is
    __isAtLoss = true;
    __hasChanged = true;
    if (__other == nullptr) {
        __other = __makeOther(__run);
    }
    __other->Start(task);
}

/// Takes the byte-order mark, or gives one. False if more must come to tell.
bool CUtf8Road::__TakesMark(const BLOCK& block, std::size_t& begin) {
    const byteEx& bytes = __run.constants.btUtf8Sign;
    const std::string_view sign(reinterpret_cast<const char*>(bytes.data()), bytes.length());
    const std::string_view front = std::string_view(block.data, block.length).substr(0, 3);
    const bool hasSign = front == sign;
    if (!hasSign && !block.isLast && front == sign.substr(0, front.size())) {
        return false;
    }
    if (front.empty()) {
        return true;
    }
    const bool givesSign = (hasSign && __run.KeepsMark()) ||
                           __run.WritesMark(hasSign, __task.result != TASK::RESULT::OUTPUT);
    __isAtStart = false;
    begin = hasSign ? sign.size() : 0;
    __hasChanged = hasSign != givesSign;
    if (hasSign || givesSign) {
        __sink->Replace(front.substr(0, begin), givesSign ? sign : std::string_view());
    }
    return true;
}

/// Finds out up to where the block is valid, or can be made so. False where the other road has to
/// go on.
bool CUtf8Road::__Check(const BLOCK& block) {
    const std::size_t before = __checked;
    bool isValid = true;
    if (__run.keepsBytes) {
        __checked = block.length;
    }
    while (__checked < block.length && isValid) {
        __checked += IMPL::ValidUtf8Length(block.data + __checked, block.length - __checked);
        if (__checked == block.length || __IsCutAt(block, __checked)) {
            break;
        }
        const std::size_t count = __CountBad(block, __checked);
        isValid = __Mend(block, __checked, count);
        __checked += isValid ? count : 0;
    }
    if (!__foreign.empty() && __IsForeign({block.data + before, __checked - before})) {
        __checked = before;
        return false;
    }
    return isValid;
}

bool CUtf8Road::__IsCutAt(const BLOCK& block, std::size_t pos) {
    return !block.isLast && IsCut({block.data + pos, block.length - pos});
}

/// Some of the bytes at a place that aren't valid. None of the sequences among them is parted.
std::size_t CUtf8Road::__CountBad(const BLOCK& block, std::size_t pos) {
    constexpr std::size_t ENOUGH = 16;
    std::size_t count = 1;
    for (std::size_t at = pos + 1; count < ENOUGH && at < block.length; ++at, ++count) {
        const std::size_t rest = std::min(block.length - at, LONGEST);
        const bool isParted = count + LONGEST_BEYOND > ENOUGH &&
                              static_cast<unsigned char>(block.data[at]) >= FIRST_BEYOND;
        if (isParted || IMPL::ValidUtf8Length(block.data + at, rest) != 0 || __IsCutAt(block, at)) {
            break;
        }
    }
    return count;
}

/// Replaces bytes that aren't valid by what they decode to. False where these aren't as many.
bool CUtf8Road::__Mend(const BLOCK& block, std::size_t pos, std::size_t count) {
    const stringEx old(block.data + pos, static_cast<unsigned int>(count));
    const stringEx bytes = __run.out.converter->WCtoMB(__run.in.converter->MBtoWC(old));
    if (bytes.length() != count || IMPL::ValidUtf8Length(bytes.data(), count) != count) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        __mended.push_back({pos + i, block.data[pos + i]});
    }
    __hasChanged = true;
    std::memcpy(block.data + pos, bytes.data(), count);
    return true;
}

bool CUtf8Road::__IsForeign(std::string_view text) const {
    return std::any_of(__foreign.begin(), __foreign.end(), [text](const std::string& letter) {
        return memmem(text.data(), text.size(), letter.data(), letter.size()) != nullptr;
    });
}

/// Gives the block back as it came, of which so much is taken: it may be read again, by this road
/// or another one. What is left is counted from its own begin, and needs no second look as far as
/// nothing was mended.
void CUtf8Road::__Unmend(std::size_t taken) {
    for (const MENDED& mended : __mended) {
        __block[mended.pos] = mended.old;
        if (mended.pos >= taken) {
            __checked = std::min(__checked, mended.pos);
        }
    }
    __mended.clear();
    __checked -= std::min(taken, __checked);
}

void CUtf8Road::__NoteLosses(std::size_t taken) {
    for (const MENDED& mended : __mended) {
        if (mended.pos < taken) {
            __lost.Add(__place + mended.pos, static_cast<unsigned char>(mended.old));
        }
    }
}

void CUtf8Road::Keep(text_ref<unsigned char> text) {
    const char* at = reinterpret_cast<const char*>(text.data);
    const char* const end = at + text.length;
    for (; __told < __mended.size() && __block + __mended[__told].pos < end; ++__told) {
        const char* const place = __block + __mended[__told].pos;
        if (place < at) {
            continue; // it was part of a match
        }
        if (place != at) {
            __sink->Keep({at, place});
        }
        __sink->Replace({&__mended[__told].old, 1}, {place, 1});
        at = place + 1;
    }
    if (at != end) {
        __sink->Keep({at, end});
    }
}

/// The sink is told the bytes as they came.
void CUtf8Road::Replace(text_ref<unsigned char> old, text_ref<unsigned char> text) {
    std::string_view came(reinterpret_cast<const char*>(old.data), old.length);
    const auto pos = static_cast<std::size_t>(came.data() - __block);
    const auto isBefore = [](const MENDED& mended, std::size_t place) {
        return mended.pos < place;
    };
    const auto first = std::lower_bound(__mended.begin(), __mended.end(), pos, isBefore);
    const auto last = std::lower_bound(first, __mended.end(), pos + old.length, isBefore);
    if (first != last) {
        __came = came;
        std::for_each(first, last,
                      [&](const MENDED& mended) { __came[mended.pos - pos] = mended.old; });
        came = __came;
    }
    __sink->Replace(came, {reinterpret_cast<const char*>(text.data), text.length});
}

LOSSES CUtf8Road::GetLosses() const {
    LOSSES losses{__lost, {}, 0};
    if (__isAtLoss) {
        const LOSSES behind = __other->GetLosses();
        losses.undecoded.Append(behind.undecoded, __place);
        losses.unencoded = behind.unencoded;
    }
    return losses;
}

std::uint64_t CUtf8Road::GetMostBytes(std::uint64_t size) const {
    return __search->GetMost(size) + __run.GetMark().size();
}

} // namespace Quil
