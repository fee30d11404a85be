#!/bin/sh
# Writes the table of docs/codes.md anew from the sources.
#   scripts/write-codes.sh PROGRAM     such as build/dev/bin/orvo
set -eu
page=$(dirname "$0")/../docs/codes.md
{
  sed '/^|---|---|---|---|---|$/q' "$page"
  "$1" help --markdown
} > "$page.new"
mv "$page.new" "$page"
