#!/bin/bash
# fakemac without root, in a user namespace of its own: launchd still runs
# the Mac, en0 exists, a helper installs and starts on demand. Run as root,
# it drops to nobody for this; skipped (77) where user namespaces are off.
#   unprivileged.sh FAKEMAC TOOLS_DIR STUB
set -u
fakemac=$1 tools=$2 stub=$3

as_user=()
if [ "$EUID" -eq 0 ]; then
  command -v setpriv >/dev/null || exit 77
  as_user=(setpriv --reuid=65534 --regid=65534 --clear-groups env HOME=/tmp)
fi
"${as_user[@]}" unshare --user --map-root-user true 2>/dev/null || exit 77
# nobody has to reach the build tree.
"${as_user[@]}" test -x "$stub" || exit 77

cd /tmp || exit 1
output=$("${as_user[@]}" "$fakemac" --tools "$tools" run -- sh -ec "
  [ \$(id -u) = 0 ]
  [ \$(cat /proc/1/comm) = launchd ]
  ip link show en0 >/dev/null
  /usr/local/bin/smjobbless '$stub' >/dev/null
  '$stub' --send com.example.fakemac.stub ping
  /usr/bin/killall -HUP cfprefsd
" 2>&1)
case $output in
  "pong "*) echo "unprivileged: ok" ;;
  *) echo "FAIL: $output"; exit 1 ;;
esac
