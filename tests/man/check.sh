#!/usr/bin/env bash
# check.sh PAGE: mandoc finds nothing to say about the man page. Whether other programs' pages, which it
# refers to, are installed here is not the page's business.
set -euo pipefail
found=$(mandoc -T lint -W all "$1" 2>&1 | grep -v -e 'STYLE: referenced manual not found' -e 'outdated mandoc.db') || true
[ -z "$found" ] || { printf '%s\n' "$found"; exit 1; }
