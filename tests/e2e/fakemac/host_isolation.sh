#!/bin/bash
# A fake Mac that installs and runs a helper, writes at macOS paths and
# changes interface flags, and a host that sees none of it: the same paths,
# links, host name and image before and after.
#   host_isolation.sh FAKEMAC TOOLS_DIR STUB
set -u
fakemac=$1 tools=$2 stub=$3
image=$(dirname "$fakemac")/root

snapshot() {
  local path
  for path in /Library /System /Users /Applications /var/root /run/xpc /var/log/launchd.log \
              /sbin/launchd /usr/sbin/cfprefsd /usr/local/bin/smjobbless; do
    if [ -e "$path" ] || [ -L "$path" ]; then ls -laR --time-style=full-iso "$path"; else echo "no $path"; fi
  done
  ip -o link show | cut -d' ' -f2-3
  hostname
  grep -E '^(root|alex):' /etc/passwd
  find "$image" -type f -exec md5sum {} + | sort
}

before=$(snapshot)
ip -o link show | grep -qE ': (en0|en1|bridge0)[:@]' && { echo "FAIL: the host has Mac interfaces already"; exit 1; }

"$fakemac" --tools "$tools" run -- sh -ec "
  /usr/local/bin/smjobbless '$stub' >/dev/null
  '$stub' --send com.example.fakemac.stub ping >/dev/null
  ip link set en0 down
  ip link set en1 mtu 1400
  echo changed >/Library/Preferences/com.apple.alf.plist
  mkdir -p /Users/alex/Desktop /var/root/.config
  : >/Applications/Added.app
  : >/var/run/xpc/stray
  : >/Library/Keychains/System.keychain
" || { echo "FAIL: the fake Mac run failed"; exit 1; }

after=$(snapshot)
if [ "$before" != "$after" ]; then
  echo "FAIL: the host changed:"
  diff <(echo "$before") <(echo "$after")
  exit 1
fi
echo "host_isolation: ok"
