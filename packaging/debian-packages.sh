#!/usr/bin/env bash
# packaging/debian-packages.sh OUTPUT [BUILT]: the Debian packages, into the directory OUTPUT.
#
# They are compiled as Debian does it, hardened, in a copy of the sources below OUTPUT; or, given a tree that is BUILT for /usr,
# put together from that in seconds.
set -euo pipefail
root=$(dirname "$(dirname "$(readlink -f "$0")")")
mkdir -p "$1"
output=$(readlink -f "$1")
if [ $# -gt 1 ]; then
  SIFTERRA_BUILT=$(readlink -f "$2")
  export SIFTERRA_BUILT
fi

# debhelper gives the compiler a home of its own, where ccache would find neither its settings nor what it kept.
if command -v ccache >/dev/null; then
  CCACHE_DIR=$(ccache --get-config cache_dir)
  CCACHE_CONFIGPATH=$(ccache --show-config | sed -n 's/^(\(\/[^)]*ccache\.conf\)) .*/\1/p' | head -1)
  export CCACHE_DIR
  [ -z "$CCACHE_CONFIGPATH" ] || export CCACHE_CONFIGPATH
fi

sources=$output/source
rm -rf "$sources" "$output"/*.deb "$output"/*.buildinfo "$output"/*.changes
mkdir -p "$sources"
cd "$root"
# What a clone holds; without one, everything but what was built.
if git rev-parse --git-dir >/dev/null 2>&1; then
  git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -P -t "$sources" --
else
  tar --exclude=./build -cf - . | tar -xf - -C "$sources"
fi
mv "$sources/packaging/debian" "$sources/debian"
cd "$sources"
export DEB_BUILD_OPTIONS="${DEB_BUILD_OPTIONS:-parallel=$(nproc)}"
dpkg-buildpackage --build=binary --unsigned-changes --unsigned-buildinfo
cd "$output"
rm -rf "$sources"
ls -- *.deb
