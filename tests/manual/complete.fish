# complete.fish FILE - what fish offers at the end of each line that is read: a line each, and an empty one behind.
source $argv[1]
while read --local line
    complete -C "$line" | string replace --regex '\t.*' ''
    echo
end
