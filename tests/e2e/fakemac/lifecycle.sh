#!/bin/bash
# fakemac's commands from the host: a fake Mac kept up across several
# commands, a helper installed into it and started on demand, and nothing
# left of it after `down`.
#   lifecycle.sh FAKEMAC TOOLS_DIR STUB
set -u
fakemac=$1 tools=$2 stub=$3
name=lifecycle-$$
service=com.example.fakemac.stub
if [ "$EUID" -eq 0 ]; then state=/run/fakemac/$name; else state=${XDG_RUNTIME_DIR:-/tmp}/fakemac-$EUID/$name; fi

fm() { "$fakemac" --tools "$tools" "$@"; }
fail() {
  echo "FAIL: $*" >&2
  fm down "$name" >/dev/null 2>&1
  exit 1
}

status() { "$@" >/dev/null 2>&1; echo $?; }
[ "$(status fm run -- sh -c 'exit 5')" = 5 ] || fail "run does not pass the exit status on"

# A checkout under the host's /tmp (which the fake Mac replaces with a fresh
# one) is still seen from inside, and only seen: a clone may live anywhere.
work=$(mktemp -d /tmp/fakemac-lifecycle-XXXXXX)
printf '#!/bin/sh\necho seen\n' >"$work/script" && chmod +x "$work/script"
[ "$(cd "$work" && fm run -- ./script 2>/dev/null)" = seen ] || fail "a folder under /tmp is not visible inside"
(cd "$work" && fm run -- sh -c 'echo x >changed') 2>/dev/null
[ -e "$work/changed" ] && fail "the fake Mac wrote into a host folder under /tmp"
marker=$(mktemp /tmp/fakemac-host-file-XXXXXX)
fm run -- test -e "$marker" 2>/dev/null && fail "the fake Mac's /tmp shows the host's files"
rm -rf "$work" "$marker"

fm up "$name" || fail "up"
fm up "$name" 2>/dev/null && fail "a second up under the same name succeeded"
holder=$(cat "$state/pid") || fail "no pid in $state"
[ "$(cat "/proc/$holder/comm")" = launchd ] || fail "the holder is not launchd"

fm exec "$name" -- sh -c 'echo kept >/Library/Preferences/marker' || fail "exec"
[ "$(fm exec "$name" -- cat /Library/Preferences/marker)" = kept ] ||
  fail "a file written by one exec is not there for the next"
[ "$(status fm exec "$name" -- sh -c 'exit 7')" = 7 ] || fail "exec does not pass the exit status on"
[ "$(fm exec "$name" -- sh -c 'echo $$')" != "$(fm exec "$name" -- sh -c 'echo $$')" ] ||
  fail "exec commands share a pid"

# A fresh process per demand and cfprefsd's hangup are LaunchdTest.cpp's.
fm install "$name" "$stub" | grep -q "installed $service" || fail "install"
fm exec "$name" -- "$stub" --send "$service" ping >/dev/null || fail "the installed helper is not started on demand"

fm down "$name" || fail "down"
[ -e "$state" ] && fail "$state is left behind"
for _ in $(seq 100); do [ -e "/proc/$holder" ] || break; sleep 0.05; done
[ -e "/proc/$holder" ] && fail "launchd $holder still runs after down"
fm exec "$name" -- true 2>/dev/null && fail "exec into a fake Mac that is down succeeded"
fm down "$name" 2>/dev/null && fail "down of a fake Mac that is down succeeded"
echo "lifecycle: ok"
