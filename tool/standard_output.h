// What the run prints on standard output must not get lost without a word: a stream only notes that
// a write failed, and who asks for no note ends with success and half of a text.
//
// Texts end the run where they can't be printed. Reports don't, for the files that they tell of
// must not depend on who listens: the run goes on, and the loss is told at its end.
#pragma once

#include "util/sys/errhdl.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <string_view>

namespace Quil {

/// Standard output takes no more. The message is the system's text.
class outputExp : public qlExp {
public:
    using qlExp::qlExp;
};

/// Prints a text as it stands. Throws `outputExp` if the device refuses it; where the reader of a
/// pipe has gone away the process ends here, by SIGPIPE, like its neighbours in the pipe.
void PrintText(std::string_view text);
void PrintText(const stringEx& text);

/// The same for a wide text, as far as the locale's charset can take it. What it can't take is not
/// the device's failure: the end of a wide pipe is itself such a character.
void PrintText(const wstringEx& text);

/// Prints a report.
void PrintReport(const stringEx& text);

/// Writes out what the streams hold back, and fails as above for anything that has been lost since
/// the start of the run.
void FinishPrinting();

} // namespace Quil
