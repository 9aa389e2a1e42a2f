#!/usr/bin/env bash
# Makes the Debian package, unpacks it elsewhere and uses what is in it. Run from anywhere.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
source test/consumer/installed.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --preset release >/dev/null
cmake --build --preset release | tail -n 1
(cd build/release && cpack -G DEB -B "$work/made" >"$work/log" 2>&1) || { cat "$work/log"; exit 1; }
package=$(echo "$work"/made/*.deb)

# Read from the programs and libraries, with versions: the codec library's must be among them.
depends=$(dpkg-deb -f "$package" Depends)
for needed in libavcodec libc6 libstdc++6 libjsoncpp; do
  grep -q "$needed.*(>= " <<<"$depends" || { echo "the package does not depend on $needed: $depends"; exit 1; }
done
dpkg-deb --ctrl-tarfile "$package" | tar -xO ./postinst | grep -q ldconfig

dpkg-deb -x "$package" "$work/root"
outside=$(find "$work/root" ! -type d ! -path "$work/root/usr/*")
[ -z "$outside" ] || { echo "outside /usr: $outside"; exit 1; }
[ "$(find "$work/root" ! -type d -printf '/%P\n' | sort)" = "$(dpkg-deb -c "$package" | awk '!/^d/ { print substr($6, 2) }' | sort)" ]
[ "$("$work/root/usr/bin/kivclip" --version)" = "kivclip $(dpkg-deb -f "$package" Version)" ]
check_installed "$work/root/usr" "$PWD/samples/city.mp4" "$work"
echo "the package works: $(basename "$package"), $(du -k "$package" | cut -f1) KiB"
