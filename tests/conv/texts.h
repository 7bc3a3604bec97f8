// The library's texts as standard ones, and back.
#pragma once

#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <string>

namespace Quil::TEST {

inline stringEx Bytes(const std::string& s) {
    return stringEx(s.data(), static_cast<unsigned int>(s.size()));
}
inline wstringEx Wide(const std::wstring& s) {
    return wstringEx(s.data(), static_cast<unsigned int>(s.size()));
}
inline std::string Str(const stringEx& s) {
    return std::string(s.c_str(), s.length());
}
inline std::wstring Str(const wstringEx& s) {
    return std::wstring(s.c_str(), s.length());
}

} // namespace Quil::TEST
