#!/bin/sh
# Finds shared-memory segments that tests have left behind on the machine.
#
# segments.sh record FILE: notes in FILE which segments there are.
# segments.sh check FILE [SECONDS]: fails, and tells them, when segments have come since that
# somebody left behind.
#
# Other programs make and remove segments at the same time, so only those count that
# - have exactly the permissions that the library gives, and are not waiting for their last mapping
#   to go;
# - belong to this user, or, where this is the superuser, to the one that tests become;
# - were made by a process that is gone;
# - are still there after SECONDS, 20 unless given. Another run of the tests may be about to remove
#   what a process of its own has left on purpose.
#
# What another program leaves for good meanwhile, under these conditions, is told of as well: once
# its maker is gone, nothing tells to whom a segment belongs.
set -eu

readonly TABLE=/proc/sysvipc/shm
readonly NOBODY=65534

# Prints "KEY IDENTIFIER PERMISSIONS BYTES PROCESS USER" for each segment that may be one of ours.
list_segments() {
    awk -v me="$(id -u)" -v nobody="$NOBODY" '
        FNR == 1 {
            for (i = 1; i <= NF; ++i)
                at[$i] = i
            next
        }
        {
            user = $at["cuid"]
            perms = $at["perms"]
        }
        (perms == 666 || perms == 555) && (user == me || (me == 0 && user == nobody)) {
            print $at["key"], $at["shmid"], perms, $at["size"], $at["cpid"], user
        }
    ' "$TABLE"
}

# Prints those of them that are not in the file and whose makers are gone. An identifier is not used
# again before many thousand others.
list_left_behind() {
    list_segments | while read -r key id perms bytes process user; do
        [ ! -d "/proc/$process" ] || continue
        ! grep -q "^$key $id " "$1" || continue
        echo "key $key, identifier $id: $bytes bytes, permissions $perms," \
            "made by process $process of user $user"
    done
}

check() {
    remaining=$((${2:-20} * 5))
    while left=$(list_left_behind "$1") && [ -n "$left" ]; do
        if [ "$remaining" -le 0 ]; then
            printf 'shared memory was left behind:\n%s\n' "$left"
            return 1
        fi
        remaining=$((remaining - 1))
        sleep 0.2
    done
}

case "$1" in
record) list_segments >"$2" ;;
check) check "$2" "${3:-20}" ;;
*) exit 2 ;;
esac
