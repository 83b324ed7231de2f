#!/bin/sh
# Builds the Debian packages from a copy of the tree as it stands, and has lintian look at them.
#
# usage: build.sh
set -eu
cd "$(dirname "$0")/../.."

folder=build-deb
source=$folder/qz-audio

rm -rf "$folder"
mkdir -p "$source"
git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$source"

(cd "$source" && dpkg-buildpackage --no-sign)
lintian --pedantic --fail-on error,warning "$folder"/*.changes
