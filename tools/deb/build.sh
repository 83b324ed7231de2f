#!/bin/sh
# Builds the Debian packages from a copy of the tree as it stands, and has lintian look at them.
#
# usage: build.sh
set -eu
cd "$(dirname "$0")/../.."

folder=build-deb
source=$folder/qz-audio

# The packages that `make build` takes to build, and not to run; g++ and make are part of build-essential.
needed() {
    sed -n 's/^build="\(.*\)"$/\1/p' tools/setup/install-packages.sh | tr ' ' '\n' |
        grep -vxE 'g\+\+|make|mpg123'
}

# Without one of them something might be left out of our packages unnoticed.
needed | while read -r package; do
    grep -qx " $package," debian/control || {
        echo "build.sh: $package is missing in debian/control" >&2
        exit 1
    }
done

rm -rf "$folder"
mkdir -p "$source"
git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$source"

(cd "$source" && dpkg-buildpackage --no-sign)
lintian --pedantic --fail-on error,warning "$folder"/*.changes
