#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that a defect is noticed.
#
# canary.sh TEXT COMMAND...: the command fails and prints the text.
set -eu

text=$1
shift
status=0
output=$("$@" 2>&1) || status=$?
case $status:$output in
0:*) echo "was not noticed: $*" ;;
*"$text"*) exit 0 ;;
*) printf 'failed without "%s":\n%s\n' "$text" "$output" ;;
esac
exit 1
