# Prints the first block of a Markdown file that is fenced as `language` and has a line that matches
# `pattern`, if one is given.
#
# usage: awk -v language=LANGUAGE [-v pattern=REGEX] -f first_block.awk FILE
!inside && $0 == "```" language {
    inside = 1
    block = ""
    next
}
inside && $0 == "```" {
    inside = 0
    if (block ~ pattern) {
        printf "%s", block
        found = 1
        exit
    }
}
inside { block = block $0 "\n" }
END { exit !found }
