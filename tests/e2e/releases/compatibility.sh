#!/usr/bin/env bash
# The onboarding session of the demo, lean, on every release a fake Mac boots
# as: one request per command, each classified from its reply and the log lines
# the helper sent with it:
#   works                   the reply the command gives on the releases that allow it
#   works differently (n)   the same reply, and the helper said how this release differs
#   refused by the OS (n)   the helper said what this release refused and what the user does instead
# A command that fails without such a line is a fault, and fails the test. The
# table the run produced must be the one in emu/fakemac/README.md; with
# UPDATE_README=1 the README is rewritten instead.
#
#   compatibility.sh FAKEMAC BUILD_DIR
set -u
fakemac=$1 build=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source_dir=$(cd "$here/../../.." && pwd)
readme=$source_dir/README.md
label=$(sed -n 's/^MACHELPER_LABEL:STRING=//p' "$build/CMakeCache.txt")
helper=$build/service/$label
ctl=$build/tools/machelperctl/machelperctl
work=$(mktemp -d)
name=releases-$$
trap 'fm down "$name" >/dev/null 2>&1; rm -rf "$work"' EXIT

fm() { "$fakemac" --tools "$build/emu/tools" "$@"; }
inside() { fm exec "$name" -- "$@"; }
fail() {
  echo "FAIL: $*" >&2
  exit 1
}

wifi=AB93766D-7442-4933-9E58-5494AA69EC06
ethernet=38C9FE51-C1A3-4CC9-AD73-425D4F3C28A9
eap=com.apple.network.eap.user.item.wlan.ssid.Campus-Secure
cas=/usr/share/ca-certificates/mozilla
isrg=$cas/ISRG_Root_X1.crt amazon=$cas/Amazon_Root_CA_1.crt
thumbprint() { openssl x509 -in "$1" -noout -fingerprint -sha1 | sed 's/^[^=]*=//; s/:/ /g'; }
campus=$build/tests/fixtures/profiles/Campus-Secure-signed.mobileconfig
zip=$build/tests/fixtures/profiles/helloworld.zip

# One request per line: the command, then its arguments separated by tabs.
scenario() {
  local tab=$'\t'
  cat <<SCENARIO
ping
getversion
proxysetmanualserver${tab}Uuid=$wifi${tab}NewValue=proxy.corp.example${tab}Port:int=8080
proxyautobyurl${tab}Uuid=$wifi${tab}Url=http://wpad.corp.example/proxy.pac${tab}ResetOthers:bool=true
setipv6toautomatic${tab}Uuid=$ethernet
addnetworklocation${tab}Location=Onboarding
deletenetworklocation${tab}Location=Onboarding
changenetworklocation${tab}Location=Office
changefirewallstate${tab}Enabled:int=1
changeupdatechecksettings${tab}Enable:bool=true${tab}SetFrequency:bool=true${tab}Frequency:int=7
setinterfaceadminstate${tab}InterfaceName=en0${tab}DesiredState:bool=true
dhcprenew${tab}InterfaceName=en0
setssidpriority${tab}InterfaceName=en1${tab}SSID:ssid=Cafe Guest${tab}NewPriority:int=0${tab}APILevel:uint=1
deletessidconfiguration${tab}InterfaceName=en1${tab}SSID:ssid=HomeNet${tab}Username=alex${tab}WlanApiVersion:int=1
createsystemkeychainentry${tab}Account=alex${tab}Service=$eap${tab}Label=Campus-Secure${tab}Description=802.1X Password${tab}Password=correct-horse
deletesystemkeychainentry${tab}Service=$eap${tab}Account=alex
installsystemcacert${tab}CertificateData:data@=/tmp/isrg.der
certificateexistsinsystemstore${tab}CertLabel=ISRG Root X1${tab}Thumbprint=$(thumbprint "$isrg")
deletesystemcert${tab}CertLabel=ISRG Root X1${tab}Thumbprint=$(thumbprint "$isrg")
installsystemcacertwithsecuritycmd${tab}PEMdata=$(sed -z 's/\n/\\n/g' "$amazon")
commitmobileconfig${tab}MobileConfigPath=$campus${tab}AsSystemProfile:bool=true
deleteprofilesforssid${tab}SSID:ssid=Campus-Secure${tab}Username=_computerlevel
installzipappasroot${tab}ZipFile=$zip
deletefileasroot${tab}File=/Applications/helloworld.app/Contents/MacOS/helloworld
uninstall
SCENARIO
}

declare -A cell=() notes=()
releases=()
commands=()
while read -r release _; do releases+=("$release"); done < <(fm releases)

for release in "${releases[@]}"; do
  fm --release "$release" up "$name" >/dev/null || fail "macOS $release did not boot"
  fm install "$name" "$helper" >/dev/null || fail "macOS $release: the helper did not install"
  inside openssl x509 -in "$isrg" -outform der -out /tmp/isrg.der || fail "no ISRG Root X1 on this machine"
  while IFS=$'\t' read -r -a request; do
    command=${request[0]}
    [ "$release" = "${releases[0]}" ] && commands+=("$command")
    args=()
    for arg in "${request[@]:1}"; do args+=("$(printf '%b' "$arg")"); done
    status=0
    inside "$ctl" "$command" "${args[@]}" >"$work/reply" 2>"$work/log" || status=$?
    # The lines that say how this release differs ("macOS N and later ...").
    refused=$(sed -n 's/^\[4\] \(macOS [0-9]* and later .*\)$/\1/p' "$work/log")
    differs=$(sed -n 's/^\[5\] \(macOS [0-9]* and later .*\)$/\1/p' "$work/log")
    if [ -n "$refused" ]; then
      kind="refused by the OS" note=$refused
    elif [ -n "$differs" ]; then
      kind="works differently" note=$differs
    elif [ "$status" -eq 0 ]; then
      kind=works note=
    else
      echo "--- macOS $release: $command replied $(cat "$work/reply") (exit status $status):" >&2
      cat "$work/log" >&2
      fail "macOS $release: $command failed and the helper gave no reason of this release"
    fi
    if [ -n "$note" ]; then
      [ -n "${notes[$note]:-}" ] || notes[$note]=$((${#notes[@]} + 1))
      kind="$kind (${notes[$note]})"
    fi
    cell[$command,$release]=$kind
  done < <(scenario)
  fm down "$name" >/dev/null
done

# The table: one row per command, one column per release, notes below.
table=$work/table.md
{
  printf '| command |'
  printf ' %s |' "${releases[@]}"
  printf '\n|---|'
  printf -- '---|%.0s' "${releases[@]}"
  printf '\n'
  for command in "${commands[@]}"; do
    printf '| %s |' "$command"
    for release in "${releases[@]}"; do printf ' %s |' "${cell[$command,$release]}"; done
    printf '\n'
  done
  printf '\n'
  for note in "${!notes[@]}"; do printf '%s. %s\n' "${notes[$note]}" "$note"; done | sort -n
} >"$table"
cp "$table" "$build/compatibility-table.md"

begin='<!-- compatibility table: made by tests/e2e/releases/compatibility.sh -->'
end='<!-- end of the compatibility table -->'
current=$(sed -n "\|^$begin\$|,\|^$end\$|p" "$readme" | sed '1d;$d')
if [ "$current" != "$(cat "$table")" ]; then
  if [ "${UPDATE_README:-}" = 1 ]; then
    awk -v begin="$begin" -v end="$end" -v table="$table" '
      $0 == begin { print; while ((getline line < table) > 0) print line; skip = 1; next }
      $0 == end { skip = 0 }
      !skip' "$readme" >"$work/readme" && cp "$work/readme" "$readme"
    echo "compatibility: README table rewritten"
    exit 0
  fi
  diff <(echo "$current") "$table" >&2
  fail "the README's compatibility table is not the one this run produced (see $build/compatibility-table.md; UPDATE_README=1 rewrites it)"
fi
echo "compatibility: every command on ${#releases[@]} releases as the README says"
