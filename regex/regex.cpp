// The entries of the two engines, the narrow and the wide one: each is one line over the templates
// that do the work.
#include "regex/regex.h"

#include "regex/compile/compile.h"
#include "regex/regcontext.h"

#include <new>
#include <utility>

namespace Quil {

namespace IMPL::engine {

template <class chr>
guts<chr>* newguts() {
    arena mem;
    void* place = mem.alloc(sizeof(guts<chr>));
    if (place == nullptr) {
        return nullptr;
    }
    auto* g = new (place) guts<chr>{};
    g->mem = std::move(mem);
    return g;
}

template <class chr>
void rfree(regex_t* re) {
    if (re == nullptr || re->re_magic != REMAGIC) {
        return;
    }
    auto* g = static_cast<guts<chr>*>(re->re_guts);
    re->re_magic = 0;
    re->re_guts = nullptr;
    re->re_fns = nullptr;
    if (g == nullptr) {
        return;
    }
    g->magic = 0;
    const arena last = std::move(g->mem); // holds the record too
    g->~guts();
}

template guts<char>* newguts<char>();
template guts<wchar_t>* newguts<wchar_t>();
template void rfree<char>(regex_t* re);
template void rfree<wchar_t>(regex_t* re);

namespace {

template <class chr>
int execute(regex_t* re, const chr* string, std::size_t len, rm_detail_t* details,
            std::size_t nmatch, regmatch_t pmatch[], int flags) {
    TRegexContext<chr> context(re);
    context.settext(string, len);
    return context.exec(0, nmatch, pmatch, flags, details);
}

/// Releases a handle through its own engine.
void freehandle(regex_t* re) {
    if (re != nullptr) {
        re->re_fns->rfree(re);
    }
}

} // namespace
} // namespace IMPL::engine

using namespace IMPL::engine;

int sre_comp(regex_t* re, const char* pattern, std::size_t len, int flags) {
    std::ptrdiff_t at;
    return compile(re, pattern, len, flags, at);
}

int wre_comp(regex_t* re, const wchar_t* pattern, std::size_t len, int flags) {
    std::ptrdiff_t at;
    return compile(re, pattern, len, flags, at);
}

int sre_comp_at(regex_t* re, const char* pattern, std::size_t len, int flags, std::ptrdiff_t& at) {
    return compile(re, pattern, len, flags, at);
}

int wre_comp_at(regex_t* re, const wchar_t* pattern, std::size_t len, int flags,
                std::ptrdiff_t& at) {
    return compile(re, pattern, len, flags, at);
}

int sre_exec(regex_t* re, const char* string, std::size_t len, rm_detail_t* details,
             std::size_t nmatch, regmatch_t pmatch[], int flags) {
    return execute(re, string, len, details, nmatch, pmatch, flags);
}

int wre_exec(regex_t* re, const wchar_t* string, std::size_t len, rm_detail_t* details,
             std::size_t nmatch, regmatch_t pmatch[], int flags) {
    return execute(re, string, len, details, nmatch, pmatch, flags);
}

void sregfree(regex_t* re) {
    freehandle(re);
}

void wregfree(regex_t* re) {
    freehandle(re);
}

} // namespace Quil
