# changelog.awk - the newest release of CHANGELOG.md as an entry of a Debian changelog.
#
#   awk -v date="$(date -R)" -v maintainer='NAME <ADDRESS>' -f changelog.awk CHANGELOG.md

# Prints the gathered words as one point, in lines of 78 characters at most.
function print_point(    count, words, line, i)
{
    count = split(point, words)
    point = ""
    if (count == 0) return
    line = "  *"
    for (i = 1; i <= count; ++i) {
        if (length(line) + 1 + length(words[i]) > 78) {
            print line
            line = "   "
        }
        line = line " " words[i]
    }
    print line
}

/^## / && version { exit }
/^## / {
    version = $2
    sub(/,$/, "", version)
    printf "quarlo (%s) unstable; urgency=medium\n\n", version
    next
}
!version { next }
/^- / {
    print_point()
    sub(/^- /, "")
}
{ point = point " " $0 }

END {
    print_point()
    printf "\n -- %s  %s\n", maintainer, date
}
