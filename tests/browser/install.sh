#!/bin/sh
# install.sh DIRECTORY: the modules that package-lock.json names, in DIRECTORY/node_modules; does nothing when they
# are there already.
set -eu
here=$(dirname "$(readlink -f "$0")")
directory=$1
command -v npm >/dev/null || { echo "npm is missing: packaging/apt-packages.txt" >&2; exit 1; }
mkdir -p "$directory"
if [ -d "$directory/node_modules" ] && cmp -s "$here/package-lock.json" "$directory/package-lock.json"; then
  exit 0
fi
rm -rf "$directory/node_modules" "$directory/package-lock.json"
# The lock file comes last into its place: it says that all is installed.
staging=$(mktemp -d "$directory/install.XXXXXX")
trap 'rm -rf "$staging"' EXIT
cp "$here/package.json" "$here/package-lock.json" "$here/.npmrc" "$staging"
(cd "$staging" && npm ci --no-audit --no-fund --prefer-offline)
mv "$staging/node_modules" "$directory/node_modules"
cp "$here/package-lock.json" "$directory/package-lock.json"
