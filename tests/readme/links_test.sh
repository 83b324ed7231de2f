#!/bin/sh
# Fails if a link between the documents leads to a file or a heading that does not exist.
#
# usage: links_test.sh SOURCE_DIR
set -eu
cd "$1"

# Prints the headings of a Markdown file as the forge names them in links.
headings() {
    awk '/^```/ { inside = !inside } !inside && /^#+ / { sub(/^#+ /, ""); print tolower($0) }' "$1" |
        sed 's/[^a-z0-9_ -]//g; s/ /-/g'
}

# Prints the targets of the links in a Markdown file, except those into the web.
links() {
    awk '/^```/ { inside = !inside } !inside' "$1" |
        grep -o '](\([^) ]*\))' | sed 's/^](//; s/)$//' | grep -v '^https\?:' || true
}

broken=0
for page in *.md docs/*.md docs/*/*.md samples/*.md tests/*/*.md; do
    for link in $(links "$page"); do
        file=${link%%#*}
        target=$(dirname "$page")/$file
        [ -n "$file" ] || target=$page
        heading=${link#"$file"}
        if [ ! -e "$target" ] || { [ -n "$heading" ] && ! headings "$target" | grep -qx "${heading#\#}"; }; then
            echo "$page: broken link: $link" >&2
            broken=1
        fi
    done
done
exit "$broken"
