// Both listings are columns of fixed width: a cell is a text padded with blanks, and a name too
// long for its column stands on a line alone, so that the next column stays where it is.
#include "tool/listings.h"

#include "util/conv/TextConv.h"

#include <iostream>
#include <sstream>

namespace Quil {

namespace {

constexpr unsigned int NAME_WIDTH = 20;
constexpr unsigned int CODE_PAGE_WIDTH = 11;
constexpr unsigned int FROM_WIDTH = 40;

const char RULE[] =
    "===============================================================================\n";
const char ANY[] = "<ANY>";

stringEx Padded(const stringEx& cell, unsigned int width) {
    stringEx result(cell);
    if (result.length() < width) {
        result.append(width - result.length(), ' ');
    }
    return result;
}

void PutEncoding(std::ostream& out, const stringEx& name, const TTextConv::ENCINFO& info) {
    out << name;
    if (name.length() < NAME_WIDTH) {
        out << stringEx(NAME_WIDTH - name.length(), ' ');
    } else {
        out << "\n" << stringEx(NAME_WIDTH, ' ');
    }
    stringEx codePage("CP");
    codePage.append_ulong(info.codePage, 10);
    out << Padded(codePage, CODE_PAGE_WIDTH) << info.description << "\n";
}

/// The two sets side by side. A side that is empty as a whole says so in its first line; one that
/// has run out leaves its column blank.
void PutSides(std::ostream& out, const TTextConv::NAME_SET& from, const TTextConv::NAME_SET& to) {
    auto left = from.begin();
    auto right = to.begin();
    for (bool first = true; left != from.end() || right != to.end(); first = false) {
        const bool anyLeft = from.empty() && first;
        const bool anyRight = to.empty() && first;
        const stringEx cell = anyLeft ? stringEx(ANY) : left != from.end() ? *left++ : stEMPTY;
        if (to.empty() && !first) {
            out << cell << "\n";
            continue;
        }
        out << Padded(cell, FROM_WIDTH);
        out << (anyRight ? stringEx(ANY) : right != to.end() ? *right++ : stEMPTY) << "\n";
    }
}

} // namespace

stringEx EncodingListing() {
    std::ostringstream out;
    out << "\n"
        << "Name                Codepage   Description\n"
        << RULE;
    TTextConv::ENC_COOKIE cookie;
    stringEx name;
    TTextConv::ENCINFO info;
    while (TTextConv::EnumEncoding(cookie, name, info)) {
        PutEncoding(out, name, info);
    }
    return stringEx(out.str().c_str());
}

stringEx ConversionListing() {
    std::ostringstream out;
    TTextConv::CMP_COOKIE cookie;
    TTextConv::COMPENC_INFO group;
    while (TTextConv::EnumCompatibleCata(cookie, group)) {
        out << "\n-- " << group.name << " --\n" << Padded("From", FROM_WIDTH) << "To\n" << RULE;
        if (!group.mutual) {
            PutSides(out, group.from, group.to);
            continue;
        }
        for (const stringEx& name : group.from) {
            out << Padded(name, FROM_WIDTH) << name << "\n";
        }
    }
    return stringEx(out.str().c_str());
}

bool PassCompatibilityGate(const stringEx& from, const stringEx& to) {
    if (TTextConv::CouldConv(from, to, nullptr)) {
        return true;
    }
    std::cout << "\n"
              << "## Incompatible text encoding convertion detected:"
              << " encoding from \"" << from << "\" to \"" << to
              << "\" will lost infomation and should not be used."
              << " use: \"tsub -listcmp\" for a list of the compatible convertion"
              << " combinations. or use \"-force\" to enforce the convertion.\n"
              << std::flush;
    return false;
}

} // namespace Quil
