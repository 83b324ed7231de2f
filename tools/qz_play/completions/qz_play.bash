# Completes command lines of qz_play in bash.
_qz_play()
{
    local current=${COMP_WORDS[COMP_CWORD]}
    local options="-h --help --version --volume --fade-in --fade-out --repeat --loop --wav --shuffle
        --start --no-smooth --no-mpris --bin-path -q --quiet -v --verbose"
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --bin-path)
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    --volume | --fade-in | --fade-out | --start)
        COMPREPLY=()
        return
        ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}
complete -o filenames -F _qz_play qz_play
