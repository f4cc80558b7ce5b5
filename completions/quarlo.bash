# Completion of quarlo for bash, with the help of bash-completion.

_quarlo()
{
    # shellcheck disable=SC2034 # bash-completion fills them all
    local cur prev words cword split
    _init_completion -s || return

    local pictures='@(bmp|dib|png|jpg|jpeg|jpe|tif|tiff|pbm|pgm|ppm|pnm)'
    local options='
        -r --recursive --files-from -0 --null --shard -j --jobs --max-pixels --progress
        -o --output -O --output-dir --parents --name -f --format --overwrite --skip-existing --in-place --compress
        --quality --pages
        --ground -t --threshold -a --max-angle -l --min-angle --min-area --on-fail
        -i --interpolate --fill --margin --size --rotate --depth --smooth --no-crop --no-deskew
        -n --dry-run --angle --json --overlay --apply --fail-fast -q --quiet -v --verbose --explain -h --help
        -V --version'
    local words_of=

    case $prev in
    --progress) words_of='auto bar lines none' ;;
    --jobs | -j) words_of=auto ;;
    --format | -f) words_of='bmp png jpeg tiff pnm' ;;
    --compress) words_of='same none lzw deflate g4 jpeg' ;;
    --quality) words_of=same ;;
    --ground) words_of='dark light auto' ;;
    --threshold | -t) words_of=auto ;;
    --on-fail) words_of='copy skip stop' ;;
    --interpolate | -i) words_of='cubic linear nearest' ;;
    --fill) words_of='white black edge' ;;
    --size)
        words_of='a3 a4 a5 a6 letter legal a3-landscape a4-landscape a5-landscape a6-landscape letter-landscape
            legal-landscape'
        ;;
    --rotate) words_of='0 90 180 270 -90' ;;
    --depth) words_of='same 1 8 24' ;;
    --output-dir | -O)
        _filedir -d
        return
        ;;
    --output | -o)
        _filedir "$pictures"
        return
        ;;
    --files-from | --apply | --overlay)
        _filedir
        return
        ;;
    --json)
        # Its value comes after an equals sign, or not at all.
        if [[ $split == true ]]; then
            _filedir
            return
        fi
        ;;
    --name | --shard | --max-pixels | --pages | --max-angle | -a | --min-angle | -l | --min-area | --margin | --explain)
        return
        ;;
    esac

    if [[ $words_of ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words_of" -- "$cur")
    elif [[ $split == true ]]; then
        return
    elif [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
    else
        _filedir "$pictures"
    fi
} && complete -F _quarlo quarlo
