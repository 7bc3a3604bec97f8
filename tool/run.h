// What one run of the command is: all that its switches decide, and what its passes add up.
#pragma once

#include "util/conv/TextConv.h"
#include "util/text/byteEx.h"
#include "util/text/stringEx.h"
#include "util/text/wstringEx.h"

#include <memory>
#include <set>
#include <string_view>
#include <vector>

namespace Quil {

class CJournal;
class CMatchChoice;
class CProgress;

using ENC_SET = std::set<stringEx, less_no_case<stringEx>>;

/// The names under which text is held as raw wide characters, and those of them with swapped bytes.
struct CONSTANTS {
    const ENC_SET UnicodeEncs{"UTF-16",  "CP1200",   "UTF-16LE", "UCS-2",
                              "UCS-2LE", "UTF-16BE", "UCS-2BE",  "CP1201"};
    const ENC_SET BigEndianEncs{"UTF-16BE", "UCS-2BE", "CP1201"};
    const wstringEx wsUniSign = wstringEx::get_bom();
    const byteEx btUtf8Sign = byteEx(reinterpret_cast<const unsigned char*>("\xEF\xBB\xBF"), 3);
};

/// In which form text comes or goes: by a converter, or as raw wide characters, for which the
/// converter isn't asked.
struct CHARSET {
    stringEx name;
    CTextConvHandle converter;
    bool isWide = false;
    bool isBigEndian = false;
    stringEx mark; ///< its byte-order mark, if the text is in a charset that --from-code named
};

/// When results begin with a byte-order mark: by -unisign; always; never; if the text did; or that,
/// and where there is no other way to tell the order.
enum class MARK { BY_SWITCH, YES, NO, KEEP, KEEP_OR_TELL };

/// What is shown of files instead of changing them.
enum class SHOW { NOTHING, DIFFS, NAMES, COUNTS };
enum class COLOR { AUTO, ALWAYS, NEVER };

/// Which of a file's matches are to be replaced.
class IChoice {
public:
    virtual ~IChoice() = default;
    virtual bool Wants(unsigned long match) const = 0; ///< by its number in the file, from 0 on
};

enum class FIND { NONE, LITERAL, LITERAL_NO_CASE, REGEX, ANY };

/// All that the switches decide, and what the passes add up.
struct Run {
    const CONSTANTS constants{};

    wstringEx findText;
    wstringEx replaceText;
    FIND findFunc = FIND::NONE;
    bool regexNoCase = false;
    bool regexNoNewline = false;
    bool useExpand = true;
    bool hasReplace = false;
    bool withSubDirs = false;
    bool stdioMode = false;
    bool isFilter = false; ///< a pipe without the character that its end reads as
    bool toStdout = false;
    bool showFileCount = false;
    bool showTotalCount = false;
    bool addSign = false;
    bool errStop = false;
    unsigned int jobs = 1;           ///< files at once
    bool keepsBytes = false;         ///< those that belong to no character stay as they are
    bool isStrict = false;           ///< files of which anything would be lost are left alone
    bool isWatched = false;          ///< standard error is a terminal
    const IChoice* choice = nullptr; ///< null: all
    bool makesBackup = false;        ///< what is changed is kept, to be given back by --undo
    stringEx backupFolder;           ///< where; empty: the user's own folder
    unsigned int keepRuns = 10;      ///< that are kept there
    CJournal* journal = nullptr;     ///< of this run; null: nothing is kept
    bool wantsUndo = false;          ///< the run gives back what another one has changed
    stringEx undo;                   ///< its name, or what else is asked for; empty: the newest
    stringEx forget;                 ///< runs whose old contents go
    bool forces = false;             ///< -force
    SHOW show = SHOW::NOTHING;
    COLOR color = COLOR::AUTO;     ///< of what is shown
    bool wantsProgress = true;     ///< where somebody looks on
    CProgress* progress = nullptr; ///< of this run; null: none is shown
    bool isCareful = false;        ///< what else is passed over is an error
    bool wantsHelp = false;
    bool wantsVersion = false;
    bool wantsCharsets = false;

    stringEx fromCode; ///< as the options name them
    stringEx toCode;
    MARK mark = MARK::BY_SWITCH;
    /// The same run on texts whose mark says that they are big endian, if that is to be looked at.
    std::shared_ptr<const Run> bigEndian;
    bool asks = false; ///< before each file is changed
    /// The same run, by this choice of matches, if that is possible and may be wanted.
    std::shared_ptr<const Run> byMatch;
    std::shared_ptr<CMatchChoice> matchChoice;

    CHARSET arg;
    CHARSET in;
    CHARSET out;

    std::vector<stringEx> names;    ///< the arguments behind "--"
    stringEx filesFrom;             ///< where the names of files are listed; "-": standard input
    bool endsByNull = false;        ///< names end in NUL instead of a line feed
    std::vector<stringEx> excludes; ///< patterns of files and folders to leave alone
    bool excludeVcs = false;        ///< leave version control's folders alone
    bool excludeBinary = false;     ///< and files that hold NUL near their begin
    bool skipBroken = false;        ///< what can't be looked at doesn't end the run
    bool isGuarded = false;         ///< an option asks for care
    std::vector<stringEx> fileList;
    std::set<stringEx> fifos; ///< those of the list that must not be opened
    wstringEx::regex_handle regexComp;

    unsigned long totalCount = 0;
    bool foundAny = false;
    bool changedFile = false;   ///< a file was rewritten
    bool failedToWrite = false; ///< a file should have been rewritten and was not
    bool hasPassedOver = false; ///< something couldn't be looked at

    /// Whether a result begins with a mark. By the switch only files do, and only in UTF-8 under
    /// this one name of it.
    bool WritesMark(bool hadMark, bool isFile) const;
    /// The bytes of the mark.
    std::string_view GetMark() const;
};

} // namespace Quil
