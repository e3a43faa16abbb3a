# Completion of kestrova-develop for bash.
_kestrova_develop() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    COMPREPLY=()
    case $previous in
        --metadata) COMPREPLY=($(compgen -W 'all copyright none' -- "$word")); return ;;
        --format) COMPREPLY=($(compgen -W 'jpg png tif webp' -- "$word")); return ;;
        --bits) COMPREPLY=($(compgen -W '8 16' -- "$word")); return ;;
        --rotate) COMPREPLY=($(compgen -W '0 90 180 270' -- "$word")); return ;;
        --filter) COMPREPLY=($(compgen -W 'guided bilateral laplacian wls' -- "$word")); return ;;
        --profile) COMPREPLY=($(compgen -W 'own srgb p3 adobe' -- "$word") $(compgen -f -X '!*.ic[cm]' -- "$word")); return ;;
        -d|--directory) COMPREPLY=($(compgen -d -- "$word")); return ;;
    esac
    case $word in
        -*) COMPREPLY=($(compgen -W "$(kestrova-develop --help | grep -oE '(^|[ ,])--?[a-z][a-z-]*' | tr -d ' ,' | sort -u)" -- "$word")) ;;
        *) COMPREPLY=($(compgen -f -- "$word")) ;;
    esac
}
complete -o filenames -F _kestrova_develop kestrova-develop
