#!/bin/sh
# Checks that segments.sh finds what it is there to find, and nothing else.
#
# segments-check.sh SEGMENTS PEER: the path of that script, and a program that makes segments on
# command and does not remove them when it ends (tests/support/NamedPeer.cpp).
# shellcheck disable=SC2317 # the trap reaches what seems unreachable
set -eu

segments=$1
peer=$2
dir=$(mktemp -d)
name=vorn-test-$$-segments
failures=0

# Asks one more peer to do something. Opening and closing removes the segment with the name.
ask() { printf '%s\n' "$@" | "$peer" >/dev/null; }

# A build with assertions ends a peer that closes what does not exist.
clean_up() {
    ! is_known_to_system || ask "shm-open 1 $name" shm-close
    rm -rf "$dir"
}
trap clean_up EXIT

is_known_to_system() { [ -n "${key:-}" ] && grep -q "^ *$key " /proc/sysvipc/shm; }

fail() {
    echo "$*"
    failures=1
}

# Whether the check, without waiting for anything to go, tells of the segment. Segments that other
# tests have just now are no matter here.
is_reported() {
    sh "$segments" check "$dir/before" 0 >"$dir/report" && status=0 || status=$?
    grep -q "key $key, identifier $id: 4096 bytes, permissions 666," "$dir/report" || return 1
    [ "$status" -eq 1 ] || fail "the segment was told of, with the status $status"
}

mkfifo "$dir/commands" "$dir/answers"
sh "$segments" record "$dir/before"

# A peer that lives until its commands end.
"$peer" <"$dir/commands" >"$dir/answers" &
pid=$!
exec 3>"$dir/commands" 4<"$dir/answers"
echo "shm-create 4096 1 $name" >&3
read -r answer <&4
[ "$answer" = 1 ] || fail "the peer could not make its segment"
key=$(awk -v pid="$pid" '$5 == pid { print $1 }' /proc/sysvipc/shm)
id=$(awk -v pid="$pid" '$5 == pid { print $2 }' /proc/sysvipc/shm)
[ -n "$id" ] || fail "the peer has no segment"

! is_reported || fail "a segment was reported whose process lives"
exec 3>&-
wait "$pid"
is_reported || fail "a segment that was left behind was not reported"
sh "$segments" record "$dir/after"
mv "$dir/after" "$dir/before"
! is_reported || fail "a segment was reported that was there before"
exit "$failures"
