#include "tool/standard_output.h"

#include "tool/HeldSignals.h"

#include <cerrno>
#include <csignal>
#include <iostream>

namespace Quil {

namespace {

/// The system's number of the first failure, 0 as long as all goes well.
int firstFailure = 0;

/// A stream may also fail by itself, without the device: a narrow text is refused where a wide one
/// has been printed. The system has no error number then.
template <class Stream, class Print>
void Watch(Stream& stream, Print print) {
    const bool hasFailed = stream.fail();
    errno = 0;
    print();
    if (!hasFailed && stream.fail() && errno != EILSEQ && firstFailure == 0) {
        firstFailure = errno;
    }
}

void FailIfLost() {
    if (firstFailure == EPIPE) {
        EndBySignal(SIGPIPE);
    }
    if (firstFailure != 0) {
        const auto code = static_cast<unsigned int>(firstFailure);
        throw outputExp(code, GetSysErrString(code));
    }
}

} // namespace

void PrintText(std::string_view text) {
    Watch(std::cout,
          [&] { std::cout.write(text.data(), static_cast<std::streamsize>(text.size())); });
    FailIfLost();
}

void PrintText(const stringEx& text) {
    PrintText(std::string_view(text.data(), text.length()));
}

void PrintText(const wstringEx& text) {
    Watch(std::wcout, [&] { std::wcout << text; });
    FailIfLost();
}

void PrintReport(const stringEx& text) {
    Watch(std::cout, [&] { std::cout << text; });
}

void FinishPrinting() {
    Watch(std::cout, [] { std::cout.flush(); });
    Watch(std::wcout, [] { std::wcout.flush(); });
    FailIfLost();
}

} // namespace Quil
