#!/bin/sh
# Removes the files that an installation listed, and the folders of ours that are empty then.
#
# usage: uninstall.sh MANIFEST   with DESTDIR in the environment as it was for the installation
set -eu

manifest=$1
if [ ! -f "$manifest" ]; then
    echo "Nothing was installed from here: there is no $manifest" >&2
    exit 1
fi

remove_empty_folders_of_ours() {
    folder=$1
    case "$folder" in
    */qz | */qz/* | */qz_audio | */qz_audio/*) ;;
    *) return ;;
    esac
    if rmdir "$folder" 2>/dev/null; then
        remove_empty_folders_of_ours "$(dirname "$folder")"
    fi
}

# The last line of a manifest has no end of line.
while read -r path || [ -n "$path" ]; do
    file=${DESTDIR:-}$path
    rm -f "$file"
    remove_empty_folders_of_ours "$(dirname "$file")"
done <"$manifest"
rm -f "$manifest"
