#!/bin/bash
# check_recipes.sh TOOL SOURCE_DIR WORK_DIR [--all] - runs the commands of docs/recipes.md as they stand, each recipe in
# a folder of its own, and looks at what they made. Recipes for programs that are not installed are left out, and
# without --all the slow ones, too.
set -euo pipefail
tool=$(realpath "$1")
source=$(realpath "$2")
work=$3
rm -rf "$work"
mkdir -p "$work/bin"
work=$(realpath "$work")

fail() {
    echo "check_recipes: ${title:-}: $*"
    exit 1
}

# A page without a frame is part of a recipe.
printf '#!/bin/sh\n"%s" -j 2 "$@" || [ $? -eq 3 ]\n' "$tool" >"$work/bin/quarlo"
chmod +x "$work/bin/quarlo"
PATH=$work/bin:$PATH

# Blocks of one language in the recipe of that title, from the first to the last that are asked for.
blocks() { # LANGUAGE TITLE [FIRST LAST]
    awk -v language="$1" -v title="## $2" -v first="${3:-1}" -v last="${4:-99}" '
        /^## / { in_recipe = $0 == title }
        $0 == "```" { in_block = 0 }
        in_block && number >= first && number <= last
        in_recipe && $0 == "```" language { in_block = 1; ++number }' "$source/docs/recipes.md"
}

begin() { # TITLE FOLDER PROGRAM...
    title=$1
    local program
    for program in "${@:3}"; do
        command -v "$program" >/dev/null && continue
        echo "$title: left out, there is no $program"
        return 1
    done
    mkdir "$work/$2"
    cd "$work/$2"
}

run() { # TITLE [FIRST LAST]
    blocks sh "$@" >"commands.sh"
    [ -s commands.sh ] || fail "there is no such recipe"
    bash -euo pipefail commands.sh 2>&1 || fail "the commands fail"
    rm commands.sh
}

# A sample as it came from the scanner, in another format.
scan() { # SAMPLE FILE [OPTION...]
    mkdir -p "$(dirname "$2")"
    "$tool" -q --no-crop --no-deskew "${@:3}" -o "$2" "$source"/samples/"$1"_*.bmp
}

demand_files() { # FOLDER FILE...
    local found
    found=$(cd "$1" && find . -type f | sort | cut -c 3- | tr '\n' ' ')
    [ "$found" = "${*:2} " ] || fail "$1 holds $found"
}

scans() {
    scan s09 scans/2.tif
    scan s10 scans/10.png
    scan s01 scans/more/1.jpg
}

to_pdf() {
    begin "A folder of scans to one PDF" pdf img2pdf || return 0
    scans
    run "$title"
    demand_files pages 10_q.png 2_q.tif more/1_q.jpg
    [ "$(grep -ac '/Type /Page >>' scans.pdf)" = 3 ] || fail "the PDF has other than 3 pages"
}

recognise_text() {
    begin "Text recognition" text tesseract img2pdf ocrmypdf || return 0
    scans
    scan s09 scan.tif
    run "$title"
    grep -q 'Bauprodukte erhalten' page.txt || fail "page.txt lacks words of the receipt"
    [[ -s page.pdf && -s searchable.pdf ]] || fail "a PDF is missing"
}

cut_colour() {
    begin "Colour cut by the frame that was found in black and white" colour || return 0
    scan s01 bw/0001.tif --depth 1
    scan s01 colour/0001.jpg
    run "$title"
    demand_files bw-pages 0001_q.tif
    demand_files colour-pages 0001_q.jpg
}

# What is in the service's ExecStart, on the folders of the recipe below this one.
serve() { bash -c "$(sed -n "s|^ExecStart=/usr/bin/||p" units/*.service | sed "s|/srv/scans|$PWD|g")" 2>"$1"; }

watch_folder() {
    begin "A watched folder" watch || return 0
    mkdir units
    blocks ini "$title" | awk '/^# \// { n = split($2, path, "/"); file = "units/" path[n]; next } { print >file }'
    demand_files units quarlo-inbox.path quarlo-inbox.service quarlo-inbox.timer
    scan s09 inbox/first.tif
    scan s10 inbox/.hidden.tif
    serve first.txt || fail "the service fails"
    demand_files pages first_q.tif
    mv inbox/.hidden.tif inbox/second.tif
    scan s02 fresh.tif
    touch --date='5 minutes ago' inbox/*
    mv fresh.tif inbox/fresh.tif
    run "$title"
    demand_files pages first_q.tif second_q.tif
    serve last.txt || fail "the service fails"
    demand_files pages first_q.tif fresh_q.tif second_q.tif
    grep -q 'first.tif: .* exists and is left' last.txt || fail "the journal does not tell of scans that are left"
    if command -v systemd-analyze >/dev/null; then
        sed -i "s|/usr/bin/quarlo|$tool|" units/*.service
        SYSTEMD_LOG_LEVEL=warning systemd-analyze verify --man=no units/quarlo-inbox.* 2>units.txt ||
            fail "$(cat units.txt)"
        [ ! -s units.txt ] || fail "$(cat units.txt)"
    fi
}

# The lines of a report without what differs from run to run.
told() { jq -c 'select(.file) | del(.ms)' report.jsonl; }

batch_by_night() {
    begin "A nightly batch that is gone on with" batch flock jq || return 0
    scans
    : >scans/3.tif
    blocks sh "$title" 1 1 >night.sh
    bash -eu night.sh 2>/dev/null && fail "the empty file is no failure"
    run "$title" 2 2 >answers.txt
    grep -q '^ *3 ok$' answers.txt || fail "the report tells of other than 3 pages"
    grep -q '^scans/3.tif' answers.txt || fail "the report does not tell of the empty file"
    rm scans/3.tif
    scan s02 scans/3.tif
    bash -eu night.sh || fail "the second night fails"
    demand_files pages 10_q.png 2_q.tif 3_q.tif more/1_q.jpg
    told >nights.txt
    run "$title" 3 3
    diff -r pages shared-pages || fail "the shards make other pages"
    jq -c 'select(.file) | del(.ms, .out)' both.jsonl | diff <(jq -c 'del(.out)' nights.txt) - ||
        fail "the reports of the shards are not that of the whole"
    rm -r pages report.jsonl
    bash -eu night.sh
    told | diff nights.txt - || fail "a run without interruption gives another report"
}

review() {
    begin "The worst pages first" review jq || return 0
    scans
    cp "$source/tests/golden/blank8.bmp" scans/blank.bmp
    run "$title"
    demand_files pages 10_q.png 2_q.tif more/1_q.jpg
    [ "$(cat again.txt)" = scans/blank.bmp ] || fail "another page than the blank one is to be done again"
    [[ -s check/index.html && -s again/index.html ]] || fail "a contact sheet is missing"
}

to_pdf
[ "${4:-}" != --all ] || recognise_text
cut_colour
watch_folder
batch_by_night
review
