#include "tool/run.h"

namespace Quil {

bool Run::WritesMark(bool hadMark, bool isFile) const {
    switch (mark) {
    case MARK::BY_SWITCH:
        return isFile && addSign && !out.isWide && out.name.equal_no_case("utf-8");
    case MARK::YES:
        return !out.mark.empty();
    case MARK::NO:
        return false;
    case MARK::KEEP:
        return hadMark && !out.mark.empty();
    case MARK::KEEP_OR_TELL:
        break;
    }
    return true;
}

std::string_view Run::GetMark() const {
    const byteEx& sign = constants.btUtf8Sign;
    return mark == MARK::BY_SWITCH
               ? std::string_view(reinterpret_cast<const char*>(sign.data()), sign.length())
               : std::string_view(out.mark.data(), out.mark.length());
}

} // namespace Quil
