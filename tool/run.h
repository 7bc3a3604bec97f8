// What one run of the command is: all that its switches decide, and what its passes add up.
#pragma once

#include "util/conv/TextConv.h"
#include "util/text/byteEx.h"
#include "util/text/case_change.h"
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
class CRuleCounts;
struct RULE_LIST;

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

enum class FIND { NONE, LITERAL, LITERAL_NO_CASE, REGEX, ANY, RULES };

/// All that the switches decide, and what the passes add up.
struct Run {
    const CONSTANTS constants{};

    // What is looked for, and what becomes of it.

    wstringEx findText;
    wstringEx replaceText;
    wstringEx::regex_handle regexComp;
    FIND findFunc = FIND::NONE;
    bool regexNoCase = false;
    bool regexNoNewline = false;
    bool useExpand = true;
    bool hasReplace = false;
    CASE_RULES cases;                        ///< what becomes of letters that are put in
    std::shared_ptr<const RULE_LIST> rules;  ///< instead of these
    std::shared_ptr<CRuleCounts> ruleCounts; ///< what was met of them in all inputs
    std::vector<stringEx> ruleFiles;         ///< where they are read; "-": standard input
    stringEx rulesCharset;
    stringEx ruleReport; ///< the file that the report goes to; empty: standard output
    bool rulesAsTable = false;
    bool wantsRuleReport = false;

    // Which files.

    std::vector<stringEx> names;    ///< the arguments behind "--"
    std::vector<stringEx> excludes; ///< patterns of files and folders to leave alone
    stringEx filesFrom;             ///< where the names of files are listed; "-": standard input
    std::vector<stringEx> fileList;
    std::set<stringEx> fifos; ///< those of the list that must not be opened
    unsigned int jobs = 1;    ///< files at once
    bool withSubDirs = false;
    bool errStop = false;
    bool endsByNull = false;    ///< names end in NUL instead of a line feed
    bool excludeVcs = false;    ///< leave version control's folders alone
    bool excludeBinary = false; ///< and files that hold NUL near their begin
    bool skipBroken = false;    ///< what can't be looked at doesn't end the run

    // Where text comes from and goes to.

    bool stdioMode = false;
    bool isFilter = false; ///< a pipe without the character that its end reads as
    bool toStdout = false;
    bool showFileCount = false;
    bool showTotalCount = false;

    // Charsets.

    CHARSET arg;
    CHARSET in;
    CHARSET out;
    stringEx fromCode; ///< as the options name them
    stringEx toCode;
    /// The same run on texts whose mark says that they are big endian, if that is to be looked at.
    std::shared_ptr<const Run> bigEndian;
    std::vector<stringEx> candidates; ///< that inputs may be in; none: what is usual here
    unsigned int confidence = 70;     ///< of 100, that a charset is the right one
    bool keepsCharset = false;        ///< what is written is in the input's charset
    bool isFound = false;             ///< the input's charset was found out
    bool detects = false;             ///< each input's charset is to be found out
    MARK mark = MARK::BY_SWITCH;
    bool addSign = false;
    bool forces = false;     ///< -force
    bool keepsBytes = false; ///< those that belong to no character stay as they are
    bool isStrict = false;   ///< files of which anything would be lost are left alone

    // What is shown, asked and kept.

    /// The same run, by this choice of matches, if that is possible and may be wanted.
    std::shared_ptr<const Run> byMatch;
    std::shared_ptr<CMatchChoice> matchChoice;
    const IChoice* choice = nullptr; ///< null: all
    CJournal* journal = nullptr;     ///< of this run; null: nothing is kept
    CProgress* progress = nullptr;   ///< of this run
    stringEx backupFolder;           ///< where old contents are kept; empty: the user's own folder
    stringEx undo;                   ///< a run, or what else is asked for; empty: the newest run
    stringEx forget;                 ///< runs whose old contents go
    unsigned int keepRuns = 10;      ///< that are kept there
    SHOW show = SHOW::NOTHING;
    COLOR color = COLOR::AUTO; ///< of what is shown
    bool asks = false;         ///< before each file is changed
    bool makesBackup = false;  ///< what is changed is kept, to be given back by --undo
    bool wantsUndo = false;    ///< the run gives back what another one has changed
    bool wantsProgress = true; ///< where somebody looks on
    bool isWatched = false;    ///< standard error is a terminal
    bool isGuarded = false;    ///< an option asks for care
    bool isCareful = false;    ///< what else is passed over is an error
    bool wantsHelp = false;
    bool wantsVersion = false;
    bool wantsCharsets = false;
    bool wantsReport = false; ///< of the inputs' charsets
    bool readsAll = false;    ///< of inputs for that
    bool asJson = false;

    // What the passes add up.

    bool foundAny = false;
    bool changedFile = false;   ///< a file was rewritten
    bool failedToWrite = false; ///< a file should have been rewritten and was not
    bool hasPassedOver = false; ///< something couldn't be looked at
    bool hasLoss = false;       ///< files were left alone since something would be lost
    bool isInDoubt = false;     ///< or since nobody knows their charset
    unsigned long totalCount = 0;

    /// Whether a result begins with a mark. By the switch only files do, and only in UTF-8 under
    /// this one name of it.
    bool WritesMark(bool hadMark, bool isFile) const;
    /// Whether a mark that is there is one of the bytes to be kept.
    bool KeepsMark() const { return keepsBytes && mark != MARK::NO; }
    /// The bytes of the mark.
    std::string_view GetMark() const;
};

} // namespace Quil
