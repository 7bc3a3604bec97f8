// The bound, and what each tag calls for.
#include "util/store/ISXFBasic.h"

#include "util/sys/errhdl.h"
#include "util/text/stringEx.h"

namespace Quil {

void CISXFBasic::_CheckBound(std::uint64_t n) const {
    if (_bound == NO_BOUND) {
        return;
    }
    const auto size = static_cast<std::int64_t>(n);
    if (_bound < size) {
        std::int64_t rest = 0;
        if (__builtin_sub_overflow(_bound.Value(), size, &rest)) {
            rest = NO_BOUND.Value();
        }
        __ThrowOverrun(n, rest);
    }
    _bound -= size;
}

void CISXFBasic::_ThrowShortage(std::uint64_t n, std::uint64_t got) const {
    __ThrowOverrun(n, CLongLongNative(got) - n);
}

void CISXFBasic::__ThrowOverrun(std::uint64_t n, const CLongLongNative& rest) const {
    _bound = 0;
    stringEx message("CISXFBasic::_CheckBound - buffer overflow\n");
    message << "  expected size = " << n << "\n  check bound   = " << rest.Value();
    throw isxfExp(ERROR_OVERRUN, message);
}

CISXFBasic::PAYLOAD CISXFBasic::_PayloadOf(DATATYPE type) {
    switch (type) {
    case TYPE_VOID:
    case TYPE_BOOL:
    case TYPE_EOF_SEG:
    case TYPE_EOF_BIG_SEG:
        return {PAYLOAD::FIXED, 0};
    case TYPE_BYTE:
    case TYPE_CTRL_CODE:
    case TYPE_TINY_ID:
    case TYPE_SMALL_ENUM:
    case TYPE_SMALL_VERSION:
        return {PAYLOAD::FIXED, 1};
    case TYPE_WORD:
    case TYPE_SEG_NUMBER:
    case TYPE_SMALL_ID:
    case TYPE_VERSION:
    case TYPE_COMPACT_COMMAND:
        return {PAYLOAD::FIXED, 2};
    case TYPE_DWORD:
    case TYPE_FLOAT32:
    case TYPE_ENUM:
    case TYPE_ID:
    case TYPE_SIZE:
    case TYPE_COMMAND:
    case TYPE_BIG_SEG_NUMBER:
        return {PAYLOAD::FIXED, 4};
    case TYPE_QWORD:
    case TYPE_FLOAT64:
    case TYPE_BIG_SIZE:
    case TYPE_BIG_ID:
        return {PAYLOAD::FIXED, 8};
    case TYPE_FLOAT80:
        return {PAYLOAD::FIXED, 12};
    case TYPE_STRING:
    case TYPE_WSTRING:
    case TYPE_BLOB:
        return {PAYLOAD::TEXT, 0};
    }
    return {PAYLOAD::UNKNOWN, 0};
}

} // namespace Quil
