# For scripts/install and scripts/uninstall: the words on their command line, where the note of what
# was installed lies, and who may write there.
say() { printf '%s: %s\n' "${0##*/}" "$1" >&2; }

prefix=/usr/local
case ${1:-} in
--prefix=*) prefix=${1#*=} ;;
--prefix) prefix=${2:?"which folder?"} ;;
"") ;;
*) say "isn't known: $1 (only --prefix DIR is)"; exit 1 ;;
esac
prefix=$(realpath -m "$prefix")
noted=$prefix/share/tsub/installed

existing=$prefix
while [ ! -e "$existing" ]; do
    existing=$(dirname "$existing")
done
as_owner=()
[ -w "$existing" ] || as_owner=(sudo)
