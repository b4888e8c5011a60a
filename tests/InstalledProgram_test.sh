#!/usr/bin/env bash
# Installs the build under a prefix and uses the installed program through its link.
# Usage: InstalledProgram_test.sh CMAKE BUILD
set -euo pipefail
cmake=$1 build=$2
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
mkdir "$place/home"

"$cmake" --install "$build" --prefix "$place/prefix" >/dev/null
cd /
output=$(XDG_STATE_HOME="$place/state" "$place/prefix/bin/orvo-installer" --install --root "$place/home")

fail() { echo "$1" >&2; exit 1; }
[[ $output == "11 transitions installées. "* ]] || fail "unexpected output: $output"
[ -f "$place/home/Applications/Orvo Transitions.app/Contents/Info.plist" ] || fail "the application is missing"
[ "$(find "$place/home/Movies" -name '*.motr' | wc -l)" -eq 11 ] || fail "templates are missing"
grep -q "Orvo Transitions.app" "$place/state/orvo-installer/registrations" || fail "nothing was registered"
