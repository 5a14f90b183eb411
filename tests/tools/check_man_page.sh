#!/bin/sh
# The qsfpctl man page renders without a groff warning and holds the
# manual's sections. usage: check_man_page.sh PAGE
set -eu
page="$1"
# -k: the page is UTF-8 (preconv, as man runs it); -ww: every warning.
warnings=$(groff -k -t -man -Tutf8 -ww -z "$page" 2>&1)
if [ -n "$warnings" ]; then
    echo "groff warns about $page:"
    echo "$warnings"
    exit 1
fi
# Plain text: no bold or underline sequences between the letters.
text=$(groff -k -t -man -Tutf8 -P-cbou "$page")
for heading in "NAME" "qsfpctl - the operator's tool" "Exit codes" "cdb CAGES query" "si CAGE" \
               "watch CAGE" "metrics [--output FILE]" "serve --listen ADDR:PORT" "--record FILE, --replay FILE"; do
    if ! printf '%s\n' "$text" | grep -qF -- "$heading"; then
        echo "no \"$heading\" in $page"
        exit 1
    fi
done
