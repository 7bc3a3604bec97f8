// In which charsets a run reads, writes, and takes its arguments.
//
// The switches with one hyphen take the names of the catalogue, whose gate then says which
// conversions lose nothing. The options take any usual name, and the text itself decides.
#pragma once

#include "util/text/stringEx.h"

#include <memory>

namespace Quil {

class CCmdArgParser;
struct Run;

/// `-encarg`. False, after saying so, for an encoding that can't stand on a command line.
bool SettleArgumentEncoding(const CCmdArgParser& parser, Run& run);

/// Those of the text. False, after saying so, for a name that isn't known; a switch's throws.
bool SettleTextEncodings(const CCmdArgParser& parser, Run& run);

/// What the run is on texts in a charset that was found out, by a name that the converters know. A
/// text in ASCII is one in UTF-8, so that what is put into it has any character.
std::shared_ptr<const Run> MakeRunFor(const Run& run, const stringEx& charset);

/// Where marks tell the order of bytes, what the run is on texts of the other one. To be called
/// when all else is settled. False, after saying so, if that order can't be had.
bool SettleBigEndian(Run& run);

/// Whether the conversion may be made. Where nothing can get lost unseen the text itself decides,
/// and nobody else is asked. Says why if not.
bool PassGate(Run& run);

} // namespace Quil
