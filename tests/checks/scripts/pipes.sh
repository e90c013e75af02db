#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that no script under `set -o pipefail` pipes into `grep -q`, `grep -m` or `head`. These may
# end before all is written, the writer then dies of the broken pipe, and the pipe fails: now and
# then, as it depends on who is quicker. A here-string or a variable between the two does not.
#
# pipes.sh SCRIPT...: prints the lines that do.
set -eu

awk '
    FNR == 1 { pipefail = 0; line = "" }
    /^[[:space:]]*#/ { next }
    /^[[:space:]]*set .*pipefail/ { pipefail = 1 }
    { line = line $0 }
    /[^|]\|$/ { next } # goes on in the next line
    pipefail && line ~ /[^|]\|[[:space:]]*(grep( -[^[:space:]]+)* -[[:alnum:]]*[qm]|head)/ {
        print FILENAME ":" FNR ": pipes into a reader that may end early"
        found = 1
    }
    { line = "" }
    END { exit found }
' "$@"
