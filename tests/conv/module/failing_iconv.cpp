// An iconv library in which nothing can be opened, for the reason that the environment gives.
#include <cerrno>
#include <cstddef>
#include <cstdlib>

extern "C" void* libiconv_open(const char* /*to*/, const char* /*from*/) {
    errno = std::atoi(std::getenv("QUIL_TEST_ICONV_ERRNO"));
    return reinterpret_cast<void*>(-1);
}

extern "C" std::size_t libiconv(void*, char**, std::size_t*, char**, std::size_t*) {
    return static_cast<std::size_t>(-1);
}

extern "C" int libiconv_close(void*) {
    return 0;
}
