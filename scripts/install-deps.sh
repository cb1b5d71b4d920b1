#!/usr/bin/env bash
# Installs what a purpose needs from Debian's packages, and nothing when all of it is there.
#   install-deps.sh run    to build and run the program
#   install-deps.sh test   also to build and run every test
#   install-deps.sh bench  also to build and run the benchmarks
#   install-deps.sh dev    also formatters, linters and fuzzers, and to make packages
set -euo pipefail

run="g++ cmake ninja-build pkg-config qt6-base-dev ca-certificates libc-ares-dev libcurl4-openssl-dev freetds-dev libarchive-dev libcrypt-dev liblmdb-dev libmicrohttpd-dev libre2-dev libsystemd-dev prometheus-cpp-dev rapidjson-dev zlib1g-dev python3-minimal procps"
# The window is built where there is a display to show it on.
window="qt6-svg-dev libxcb1-dev"
[ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] || run="$run $window"
tests="$window prometheus libgtest-dev libgmock-dev libbenchmark-dev nginx-light dnsmasq-base python3 python3-dnslib curl faketime tor-geoipdb python3-dbfread shapelib python3-aiosmtpd freetds-bin python3-tds openssl dbus-daemon libglib2.0-bin systemd python3-gi chromium chromium-driver python3-selenium python3-pil fonts-dejavu-core lynx kannel-extras logrotate strace unzip iproute2 xvfb xauth at-spi2-core python3-pyatspi python3-pyftpdlib python3-paramiko clang clang-format clang-tidy"
bench="libbenchmark-dev zip faketime apache2-utils dbus-daemon"
# uap-core, python3-yaml and npm: for scripts/renew-lists. The last line: for scripts/make-packages and what looks at its results.
dev="uap-core python3-yaml libclang-rt-dev universal-ctags"
dev="$dev $window build-essential fakeroot debhelper dh-apparmor lintian apparmor appstream desktop-file-utils bash-completion man-db"
# Debian's npm excludes a Node.js from elsewhere, which brings its own.
command -v npm >/dev/null || dev="$dev npm"
# A second mail server to try mails with, unless this machine has one: two exclude each other.
[ -e /usr/sbin/sendmail ] && [ ! -e /usr/sbin/exim4 ] || tests="$tests exim4-daemon-light"
# FTP servers exclude each other too. The tests have one installed, and one unpacked.
[ -e /usr/sbin/proftpd ] || tests="$tests vsftpd"
unpack_proftpd() {
  local folder="${XDG_CACHE_HOME:-$HOME/.cache}/vantry-tests/proftpd" new
  [ -e "$folder" ] || [ -e /usr/sbin/proftpd ] && return 0
  new=$(mktemp -d)
  # What it is linked with and other packages here don't bring. Without it its tests say that they are skipped.
  if (cd "$new" && apt-get download proftpd-core libmemcached11 libmemcachedutil2 libhashkit2 libpcre2-posix3 libhiredis0.14) >"$new/log" 2>&1 ||
     (cd "$new" && apt-get download proftpd-core libmemcached11t64 libmemcachedutil2t64 libhashkit2t64 libpcre2-posix3 libhiredis1.1.0) >>"$new/log" 2>&1; then
    mkdir -p "$folder"
    for deb in "$new"/*.deb; do dpkg-deb -x "$deb" "$folder"; done
  else
    echo "proftpd could not be fetched; its tests will be skipped" >&2
  fi
  rm -rf "$new"
}

# What looks for mistakes in the live page that keep people from using it; never part of the program.
fetch_axe() {
  local folder="${XDG_CACHE_HOME:-$HOME/.cache}/vantry-tests" version=4.14.1 new
  local sum=29348999450cdf2849a8e70b7912fc2da85a849da39c0d0d5394f51d4a9ed95c
  [ -e "$folder/axe.min.js" ] && return 0
  new=$(mktemp -d)
  if (cd "$new" && curl -fsSL "https://registry.npmjs.org/axe-core/-/axe-core-$version.tgz" | tar xz package/axe.min.js) >"$new/log" 2>&1 &&
     echo "$sum  $new/package/axe.min.js" | sha256sum --check --quiet >>"$new/log" 2>&1; then
    mkdir -p "$folder"
    mv "$new/package/axe.min.js" "$folder/"
  else
    echo "axe-core could not be fetched; the live page's accessibility test will be skipped" >&2
  fi
  rm -rf "$new"
}

case "${1:-run}" in
  run) wanted="$run" ;;
  test) wanted="$run $tests" ;;
  bench) wanted="$run $bench" ;;
  dev) wanted="$run $tests $bench $dev" ;;
  *) echo "usage: $0 run|test|bench|dev" >&2; exit 2 ;;
esac

missing=""
for package in $wanted; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing="$missing $package"
done
fetch_others() {
  case "${1:-run}" in test | dev) unpack_proftpd; fetch_axe ;; esac
}
[ -n "$missing" ] || { fetch_others "$@"; exit 0; }

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "These packages are missing:$missing. Run this as root, or install sudo." >&2; exit 1; }
  sudo="sudo"
fi
echo "Installing:$missing"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { $sudo apt-get update && $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "Installing failed; the packages were:$missing" >&2
  exit 1
fi
fetch_others "$@"
