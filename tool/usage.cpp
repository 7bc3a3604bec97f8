// The usage text, byte for byte. Two of its stretches can't stand in a raw literal: a control
// character in an example, and the last two examples, whose Chinese text is in GBK whatever the
// locale is, since that is the charset of the terminals they were written for.
#include "tool/usage.h"

namespace Quil {

const char USAGE_TEXT[] =
    R"USAGE(
===============================================================================
    Tsub Ver 2.3.6.1213
    https://tsub.invalid/
===============================================================================
Find string in files or pipe, and replace it to another string With Multi-
charset encoding support.

USAGE: tsub [filePattern1 filePattern2 ...] {FindOption:StringToFind}
           {ReplaceOption:StringToReplacement} [OtherOptions]

===============================================================================
FIND OPTIONs:
  -f:      - find
  -fic:    - find ignore case
  -r:      - regular expresion find
  -ric:    - regular expresion find ignore case
  -rnnl:   - regular expresion find ignore newline
  -rnnlic: - regular expresion find ignore newline ignore case
  -any     - match anything in file, usually use to performing text encoding
             convertion

===============================================================================
REPLACE OPTIONs:
  -t:      - change the match to"StringToReplacement"
  -tu:     - make the "StringToReplacement" upper case, and change the match
             to it.
  -tl:     - make the "StringToReplacement" lower case, and change the match
             to it.
  NOTE: If find option you specified is a regular expresion method, the replace
        option will support sub expressions (\0-\9) as well.

===============================================================================
CHARSET ENCODING OPTIONs:
  -encin:  - specify charset encoding for the input text (file or pipe).
               DEFAULT: use current system's default codepage.
  -encout: - specify charset encoding for the output text.
               DEFAULT: same as "-encin".
  -encarg: - specify charset encoding of the find and replace options.
               DEFAULT: current system's default codepage.
  -unisign - if the output encoding is unicode (i.e. UCS-2, UTF-8/16, etc.),
             then add BOM signature to the file.
  -listenc - list all accepted charset encoding names.
  -listcmp - list all compatible encoding convertion combination.
  -force   - enforce the text encoding convertion specified by "-encin" and
             "-encout", even if it is not compatible.

===============================================================================
OTHER OPTIONs:
  -h -?    - Is screen
  -s       - include sub folders
  -exp     - enable the memory expand algorithm, will double the memory usage,
             but MUCH quick in many case. Now Default.
  -noexp   - disable the memory expension algorithm, see also: -exp.
  -stdio   - get input from standard input device (keyboard and pipe),
             and put the results to standard output device.
             default when file pattern is omitted.
  -stdout  - get input from file(s) as normally, but put the results to
             standard output device.
  -frc     - show File Replacements Count
  -trc     - show Total Replacements Count
  -errstop - stop on a file or sub-directory access error (the old behave).
             DEFAULT: ignore the access error and try to continue.

===============================================================================
POSIX and perl style Regular Expression:

  - "find - replace" fully support POSIX.2 Extended and Perl style Regular
     Expresion. Here is a list of they character classes:
       POSIX           perl       Description
       --------------------------------------------------------------------
       [:alnum:]                  letters and digits
       [:alpha:]       \a         letters
       [:lower:]       \l         lowercase letters
       [:upper:]       \u         uppercase letters
       [:blank:]                  space and tab characters
       [:space:]       \s         whitespace characters
       [:cntrl:]                  control characters
       [:digit:]       \d         decimal digits
       [:xdigit:]      \x         hexadecimal digits
       [:graph:]                  printable characters excluding space
       [:print:]       \p         printable characters including space
       [:punct:]                  punctuation characters

  - And here a some special char classes in perl:
       perl   POSIX equivalent  Description
       --------------------------------------------------------------------
       \o     [0-7]             octal digit
       \O     [^0-7]            non-octal digit
       \w     [[:alnum:]_]      word character
       \W     [^[:alnum:]_]     non-word character
       \A     [^[:alpha:]]      non-alphabetic character
       \L     [^[:lower:]]      non-lowercase character
       \U     [^[:upper:]]      non-uppercase character
       \S     [^[:space:]]      non-whitespace character
       \D     [^[:digit:]]      non-digit
       \X     [^[:xdigit:]]     non-hex digit
       \P     [^[:print:]]      non-printable characters
       \<     [^[:alpha:]_]     begin of word
       \>     [^[:alnum:]_]     end of word

  - note: posix char class must working in the square brackets. contrary,
          perl's must stay outside of the brackets.

  - And several alias has been created to help input some special char:
       perl style    POSIX style     Description
       -----------------------------------------------------------------------
       \"            [:dq:]          double quotation
       \'            [:sq:]          single quotation
       \t            [:tb:]          table
       \n            [:nl:]          new line (0x0A)
       \r            [:rt:]          return (0x0D)
       \b            [:bs:]          backspace

    NOTE: the posix style alias also available on /t, /tu and /tl when using
          the regex ("/r" and "/ric") match.

===============================================================================
Compatibal ARE expression:

  - Use '***:' prefix with -r:, -ric:, -rnnl: or -rnnlic: to enable Advanced
    Regular Expression mode. The ARE mode have more powerful expression then
    POSIX BRE and ERE rule. And it has it's own char classes. More info at:
    https://tsub.invalid/expressions/

===============================================================================
RETURN CODE:
  -1  - error occured when performing replacement.
   0  - replacement has been done successfully.
   1  - nothing to replace (pattern not found).

===============================================================================
SWITCH PREFIX and SUFFIX:
  * All switchs (options) are case-insensitive (i.e: "-fic:" or "-FIC:")
  * Switch Prefix can be either "-" or "/" (i.e: "/s" or "-s")
  * Switch Suffix can be either ":" or "=" (i.e: "/f:", "/f=", "-f:" or "-f=")

===============================================================================
EXAMPLEs:
  tsub *.txt *.htm -f:teh -t:the
  tsub *.txt -fic:"My Dir" -tu:"%ROOTDIR%"
  tsub *.cpp *.h -r:"***:(#define.*?)MY_DEF" /t:")USAGE"
    "\x01"
    R"USAGE(HER_DEF"
  type server.log | tsub /r:"Connected.*218.79" /t:"**Attack** \0"
  type server.log | tsub /r:"^(Smith|James).*\n" /t
  unzip -l *.zip | tsub /r:"^(.{22}:\d\d\s*|(A|  \a| -|.*files$).*\n)" /t
  tsub *.txt /s /any /encin:gbk /encout:utf-8
  tsub *.log /any /encin:ucs-2 /encout:gbk /stdout | OtherApp.exe ...
)USAGE"
    "  tsub *.txt *.htm -r:\"\xD5\xC5(\\a+/>)\" -t:\"\xC0\xEE\\1\"\n"
    "  tsub *.txt *.htm -r:\"[\xC4\xE3\xCE\xD2\xCB\xFB\xCB\xFD\xCB\xFC]\xC3\xC7\" "
    "-t:\"\xC5\xF3\xD3\xD1\xC3\xC7\"\n"
    "\n";

} // namespace Quil
